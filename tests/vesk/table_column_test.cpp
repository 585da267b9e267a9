#include "table/table_column.h"

#include <gtest/gtest.h>

namespace vesk {
namespace {

using Wish = TableColumn::Wish;
using Type = TableColumn::Type;

const CellReader reader({"NA"});

/// A column after its first reading.
TableColumn columnOf(const std::vector<std::string>& cells, bool target = false, Wish wish = Wish::Any) {
  TableColumn column("c", wish, target);
  std::uint64_t line = 1;
  for (const std::string& cell : cells) column.look(cell, reader.read(cell), ++line);
  EXPECT_FALSE(column.decide().has_value());
  return column;
}

std::optional<double> take(TableColumn& column, const std::string& cell) {
  return column.take(cell, reader.read(cell));
}

// So a file that changes between its two readings is found out.
TEST(TableColumn, RefusesCellsThatTheFirstReadingCannotHaveSeen) {
  TableColumn numeric = columnOf({"1", "2"});
  EXPECT_EQ(take(numeric, "3"), 3);
  EXPECT_EQ(take(numeric, "NA"), -99999);
  for (const char* cell : {"x", "inf", "-99999"}) EXPECT_EQ(take(numeric, cell), std::nullopt) << cell;
  TableColumn target = columnOf({"no", "yes"}, true);
  EXPECT_EQ(target.getType(), Type::TwoTexts);
  EXPECT_EQ(take(target, "yes"), 1);
  EXPECT_EQ(take(target, ""), -99999);
  EXPECT_EQ(take(target, "maybe"), std::nullopt);
}

TEST(TableColumn, NamesTheFirstTextOfANumericColumn) {
  TableColumn column("c", Wish::Numeric, false);
  for (const char* cell : {"1", "inf", "-99999", "x", "y"}) column.look(cell, reader.read(cell), 7);
  const std::optional<CellMistake> mistake = column.decide();
  ASSERT_TRUE(mistake.has_value());
  EXPECT_EQ(mistake->line, 7U);
  EXPECT_EQ(mistake->what, "'x' of column c is not a number");
}

TEST(TableColumn, ShowsLongTextsOnOneLine) {
  TableColumn column("c", Wish::Numeric, false);
  const std::string text = "a\nb" + std::string(100, 'x');
  column.look(text, reader.read(text), 2);
  EXPECT_EQ(column.decide()->what, "'a b" + std::string(57, 'x') + "...' of column c is not a number");
}

TEST(TableColumn, KeepsTheTextsOfItsCategories) {
  TableColumn column = columnOf({"a", "7"});
  EXPECT_EQ(take(column, "7"), 7);
  EXPECT_EQ(take(column, "a"), static_cast<double>(quvenCategoryCode("a")));
  EXPECT_EQ(take(column, "a"), static_cast<double>(quvenCategoryCode("a")));
  EXPECT_EQ(take(column, "NA"), -99999);
  EXPECT_EQ(column.countCategories(), 2U);
  QUVENTableLabels labels;
  column.addLabels(labels);
  EXPECT_EQ(labels.findColumn("c")->labels.size(), 2U);
  EXPECT_EQ(*labels.find("c", 7), "7");
}

}  // namespace
}  // namespace vesk
