#include "table/column_names.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace vesk {
namespace {

using ::testing::ElementsAre;

std::string mistakeOf(const std::vector<std::string_view>& headings) {
  try {
    columnNames(headings);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(ColumnNames, ReplaceWhatOtherFilesCannotHave) {
  EXPECT_THAT(columnNames({"total day calls", "a\tb", "x,y", "\"q\"", "two\r\nlines"}),
              ElementsAre("total_day_calls", "a_b", "x_y", "_q_", "two__lines"));
  EXPECT_EQ(plainColumnName("a b"), "a_b");
}

TEST(ColumnNames, AreGivenByPlaceWhereThereIsNone) {
  EXPECT_THAT(columnNames({"", "a", ""}), ElementsAre("C1", "a", "C3"));
}

TEST(ColumnNames, AreNumberedWhenRepeated) {
  EXPECT_THAT(columnNames({"a", "a", "a b", "a_b", "a"}), ElementsAre("a", "a_2", "a_b", "a_b_2", "a_3"));
  EXPECT_THAT(columnNames({"a", "a", "a_2", "a_2"}), ElementsAre("a", "a_3", "a_2", "a_2_2"));
  EXPECT_THAT(columnNames({"C2", ""}), ElementsAre("C2", "C2_2"));
}

TEST(ColumnNames, HaveNoControlCharacters) {
  using namespace std::string_view_literals;
  EXPECT_EQ(mistakeOf({"a", "b\x01"sv}), "the name of column 2 has a control character");
  EXPECT_EQ(mistakeOf({"\x7f"sv}), "the name of column 1 has a control character");
  EXPECT_EQ(mistakeOf({"\xC3\xA4"sv}), "");
}

TEST(ColumnNames, FitIntoALineOfTheDescription) {
  EXPECT_EQ(std::string(" Categorical Explanatory").size() + LongestColumnName, 1000U);
  const std::string longest(LongestColumnName, 'n');
  EXPECT_THAT(columnNames({longest}), ElementsAre(longest));
  EXPECT_EQ(mistakeOf({"a", longest + "n"}), "the name of column 2 has more than 976 bytes");
  EXPECT_EQ(mistakeOf({longest, longest}), "the name of column 2 has more than 976 bytes");
}

}  // namespace
}  // namespace vesk
