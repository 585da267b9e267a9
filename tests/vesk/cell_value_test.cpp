#include "table/cell_value.h"

#include <gtest/gtest.h>

#include <limits>

namespace vesk {
namespace {

const CellReader reader({"NA", "-1"});

void expectNumber(const std::string& text, double number) {
  const CellValue cell = reader.read(text);
  EXPECT_EQ(cell.kind, CellKind::Number) << text;
  EXPECT_EQ(cell.number, number) << text;
}

TEST(CellReader, ReadsDecimalNumbers) {
  expectNumber("0", 0);
  expectNumber("-12", -12);
  expectNumber("007", 7);
  expectNumber("1.5", 1.5);
  expectNumber(".5", 0.5);
  expectNumber("5.", 5);
  expectNumber("1e5", 1e5);
  expectNumber("-1.5E-3", -1.5e-3);
  expectNumber("0.1", 0.1);
  expectNumber("-99999.0", -99999);
  expectNumber("1.7976931348623157e308", std::numeric_limits<double>::max());
}

TEST(CellReader, MakesNumbersThatAreTooSmallNothing) {
  expectNumber("5e-324", std::numeric_limits<double>::denorm_min());
  expectNumber("1e-400", 0);
  expectNumber("-1e-400", 0);
}

TEST(CellReader, TakesEverythingElseForAText) {
  for (const char* text :
       {"a", "+1", "0x10", "1,5", "1 5", "1.5.", "1e", "-", ".", "--1", "TRUE", "12a", "1_000", "$5", "10%"}) {
    EXPECT_EQ(reader.read(text).kind, CellKind::Text) << text;
  }
}

TEST(CellReader, KnowsNumbersThatNoDatasetHolds) {
  for (const char* text : {"inf", "-inf", "Infinity", "INF", "nan", "-NaN", "NAN", "1e309", "-1e999"}) {
    EXPECT_EQ(reader.read(text).kind, CellKind::NotFinite) << text;
  }
}

TEST(CellReader, KnowsMissingValuesBeforeNumbers) {
  for (const char* text : {"", "NA", "-1"}) EXPECT_EQ(reader.read(text).kind, CellKind::Missing) << text;
  for (const char* text : {"na", "?", "NA "}) EXPECT_EQ(reader.read(text).kind, CellKind::Text) << text;
}

}  // namespace
}  // namespace vesk
