#include "kernel/quven_sample_number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(QUVENSampleNumber, RoundsTowardZero) {
  EXPECT_EQ(quvenSampleNumber(0), 0U);
  EXPECT_EQ(quvenSampleNumber(-0.0), 0U);
  EXPECT_EQ(quvenSampleNumber(0.999), 0U);
  EXPECT_EQ(quvenSampleNumber(-0.999), 0U);
  EXPECT_EQ(quvenSampleNumber(972540000001.5), 972540000001U);
}

TEST(QUVENSampleNumber, IsExactAtEveryPowerOfTwoAndItsNeighbours) {
  for (int exponent = 0; exponent < 64; ++exponent) {
    const double power = std::ldexp(1.0, exponent);
    EXPECT_EQ(quvenSampleNumber(power), std::uint64_t{1} << exponent) << exponent;
    // The neighbours as their mantissa says: 53 bits, shifted to where they stand.
    for (const double value : {std::nextafter(power, 0), std::nextafter(power, infinity)}) {
      int bits = 0;
      const auto mantissa = static_cast<std::uint64_t>(std::ldexp(std::frexp(value, &bits), 53));
      const int shift = bits - 53;
      const std::uint64_t expected = shift >= 0 ? mantissa << shift : shift > -64 ? mantissa >> -shift : 0;
      EXPECT_EQ(quvenSampleNumber(value), expected) << exponent;
    }
  }
}

TEST(QUVENSampleNumber, BeyondTheRangeItIsTheLargest) {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(quvenSampleNumber(std::ldexp(1.0, 64)), largest);
  EXPECT_EQ(quvenSampleNumber(1e300), largest);
  EXPECT_EQ(quvenSampleNumber(infinity), largest);
}

TEST(QUVENSampleNumber, BelowZeroItKeepsItsBitsAndNoNumberIsZero) {
  EXPECT_EQ(quvenSampleNumber(-1), 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(quvenSampleNumber(-2.5), 0xFFFFFFFFFFFFFFFEU);
  EXPECT_EQ(quvenSampleNumber(-std::ldexp(1.0, 63)), 0x8000000000000000U);
  EXPECT_EQ(quvenSampleNumber(-std::ldexp(1.0, 64)), 0x8000000000000000U);
  EXPECT_EQ(quvenSampleNumber(-infinity), 0x8000000000000000U);
  EXPECT_EQ(quvenSampleNumber(std::numeric_limits<double>::quiet_NaN()), 0U);
}

}  // namespace
