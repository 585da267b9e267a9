#include "alias_table.h"

#include <cmath>
#include <stdexcept>

namespace vesk_generate {
namespace {

std::vector<int> drawCounts(const std::vector<std::uint64_t>& weights, int draws) {
  const AliasTable table(weights);
  Xoshiro256 random(3, RandomStream::Records);
  std::vector<int> counts(weights.size(), 0);
  for (int i = 0; i < draws; ++i) ++counts.at(table.draw(random));
  return counts;
}

TEST(AliasTable, DrawsInProportionToTheWeights) {
  const std::vector<std::uint64_t> weights{1, 50, 7, 0, 12, 30};  // together 100
  const int draws = 1000000;
  const std::vector<int> counts = drawCounts(weights, draws);
  for (std::size_t i = 0; i < weights.size(); ++i) {
    const double share = static_cast<double>(weights[i]) / 100.0;
    const double fiveSigma = 5.0 * std::sqrt(draws * share * (1.0 - share));
    EXPECT_NEAR(counts[i], draws * share, fiveSigma) << "index " << i;
  }
}

TEST(AliasTable, NeverDrawsTheWeightZero) { EXPECT_EQ(drawCounts({0, 1, 0}, 10000), (std::vector<int>{0, 10000, 0})); }

TEST(AliasTable, OneWeightIsAlwaysDrawn) { EXPECT_EQ(drawCounts({5}, 100), std::vector<int>{100}); }

TEST(AliasTable, TakesTheLargestWeight) {
  const std::vector<int> counts = drawCounts({1ULL << 32, 1, 1ULL << 32}, 100000);
  EXPECT_NEAR(counts[0], 50000, 800);  // 5 standard deviations of 158
  EXPECT_LE(counts[1], 1);
}

TEST(AliasTable, RefusesWeightsOutOfRange) {
  const std::vector<std::uint64_t> none;
  const std::vector<std::uint64_t> zeros{0, 0};
  const std::vector<std::uint64_t> tooHeavy{(1ULL << 32) + 1};
  EXPECT_THROW(AliasTable{none}, std::invalid_argument);
  EXPECT_THROW(AliasTable{zeros}, std::invalid_argument);
  EXPECT_THROW(AliasTable{tooHeavy}, std::invalid_argument);
}

}  // namespace
}  // namespace vesk_generate
