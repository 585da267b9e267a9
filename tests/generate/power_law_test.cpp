#include "power_law.h"

#include <cmath>

namespace vesk_generate {
namespace {

TEST(PowerBySquareRoots, AgreesWithPowOnMultiplesOfTheSmallestStep) {
  for (const double exponent : {0.0, 1.0 / 1024, 0.25, 0.5, 0.75, 1.0, 1.625, 2.0, 4.0}) {
    for (const double x : {1.0, 2.0, 3.0, 1000.0, 1e7}) {
      const double expected = std::pow(x, exponent);
      EXPECT_NEAR(powerBySquareRoots(x, exponent), expected, expected * 1e-13) << x << "^" << exponent;
    }
  }
}

// 0.8 is cut to 819/1024.
TEST(PowerBySquareRoots, CutsTheExponentToThe1024thPart) {
  EXPECT_NEAR(powerBySquareRoots(10.0, 0.8), std::pow(10.0, 819.0 / 1024), 1e-12);
}

TEST(PowerLawWeights, FallWithTheRank) {
  const auto weights = powerLawWeights(4, 1.0);
  const std::uint64_t one = 1ULL << 32;
  EXPECT_EQ(weights, (std::vector<std::uint64_t>{one, one / 2, one / 3, one / 4}));
}

TEST(PowerLawWeights, AreAllAlikeAtExponentZero) {
  EXPECT_EQ(powerLawWeights(3, 0.0), std::vector<std::uint64_t>(3, 1ULL << 32));
}

TEST(PowerLawWeights, AreNeverZero) {
  EXPECT_EQ(powerLawWeights(1000, 4.0).back(), 1U);  // 2^32 / 10^12 is below 1
}

TEST(DurationQuantiles, RiseFromOneSecondAndHaveTheMean) {
  const auto seconds = durationQuantiles(4096, 120.0);
  EXPECT_EQ(seconds.front(), 1U);
  // The last: 120 * (sqrt(8192) - 1) = 120 * 89.5097 = 10741.16
  EXPECT_EQ(seconds.back(), 10741U);
  EXPECT_TRUE(std::is_sorted(seconds.begin(), seconds.end()));
  double sum = 0.0;
  for (const std::uint32_t duration : seconds) sum += duration;
  EXPECT_NEAR(sum / 4096, 120.0, 3.0);  // the tail above the last slice and the cut to whole seconds are missing
}

}  // namespace
}  // namespace vesk_generate
