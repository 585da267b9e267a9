#include "number_format.h"

#include <cstdlib>
#include <limits>

namespace vesk_inspect {
namespace {

TEST(FormatNumber, PrintsIntegersWithoutPoint) {
  EXPECT_EQ(formatNumber(0.0), "0");
  EXPECT_EQ(formatNumber(-7.0), "-7");
  EXPECT_EQ(formatNumber(7788.0), "7788");
  EXPECT_EQ(formatNumber(972501234567.0), "972501234567");
  EXPECT_EQ(formatNumber(1e15), "1000000000000000");
  EXPECT_EQ(formatNumber(-4611686018427387904.0), "-4611686018427387904");
}

TEST(FormatNumber, PrintsTheShortestTextThatReadsBack) {
  EXPECT_EQ(formatNumber(0.1), "0.1");
  EXPECT_EQ(formatNumber(-2.5), "-2.5");
  EXPECT_EQ(formatNumber(1e20), "1e+20");
  EXPECT_EQ(formatNumber(-0.0), "-0");
  EXPECT_EQ(formatNumber(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(formatNumber(std::numeric_limits<double>::quiet_NaN()), "nan");
  for (const double number : {1.0 / 3.0, 0x1p63, -0x1p63, 5e-324, 1.7976931348623157e308, -123456.789}) {
    EXPECT_EQ(std::strtod(formatNumber(number).c_str(), nullptr), number);
  }
}

}  // namespace
}  // namespace vesk_inspect
