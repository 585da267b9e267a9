#include "learning/quven_fold_dealing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

class QUVENFoldDealingTest : public testing::Test {
 protected:
  static std::vector<std::int32_t> first(const QUVENFoldDealing& dealing, int count, std::int64_t from = 0) {
    std::vector<std::int32_t> channels;
    for (int i = 0; i < count; ++i) channels.push_back(dealing.channelOf(from + i));
    return channels;
  }
};

TEST_F(QUVENFoldDealingTest, HasTheseNumbers) {
  // From the formula in integers of any length.
  using Channels = std::vector<std::int32_t>;
  EXPECT_EQ(first({}, 20), (Channels{3, 1, 4, 7, 5, 3, 2, 7, 5, 6, 1, 5, 4, 7, 2, 1, 7, 1, 3, 7}));
  EXPECT_EQ(first({.seed = 4294967295}, 12), (Channels{4, 6, 4, 1, 4, 6, 4, 7, 5, 1, 6, 4}));
  EXPECT_EQ(first({.testPercent = 0, .heldOutPercent = 50, .numFolds = 20, .seed = 7}, 12),
            (Channels{7, 2, 2, 2, 19, 2, 20, 14, 22, 2, 13, 2}));
  EXPECT_EQ(first({.testPercent = 50, .heldOutPercent = 0, .numFolds = 2, .seed = 1}, 12),
            (Channels{3, 1, 4, 1, 4, 1, 1, 1, 1, 4, 1, 3}));
  EXPECT_EQ(first({}, 10, std::int64_t{1} << 40), (Channels{7, 5, 5, 3, 2, 4, 5, 7, 4, 3}));
  EXPECT_EQ(first({}, 1, std::numeric_limits<std::int64_t>::max() - 1), Channels{5});
}

TEST_F(QUVENFoldDealingTest, GivesTheSharesThatAreAskedFor) {
  constexpr int records = 200000;
  for (const QUVENFoldDealing dealing : {QUVENFoldDealing{}, QUVENFoldDealing{30, 5, 3, 9},
                                         QUVENFoldDealing{0, 0, 20, 1}, QUVENFoldDealing{50, 50, 2, 2}}) {
    std::vector<double> counts(static_cast<std::size_t>(dealing.getNumChannels()) + 1);
    for (const std::int32_t channel : first(dealing, records)) ++counts.at(static_cast<std::size_t>(channel));
    const double folds = 100.0 - dealing.testPercent - dealing.heldOutPercent;
    for (std::size_t c = 1; c < counts.size(); ++c) {
      const double percent = c == 1 ? dealing.testPercent : c == 2 ? dealing.heldOutPercent : folds / dealing.numFolds;
      // Five standard deviations of a binomial count.
      const double deviation = std::sqrt(records * percent / 100 * (1 - percent / 100));
      EXPECT_NEAR(counts[c], records * percent / 100, 5 * deviation) << c;
    }
  }
}

TEST_F(QUVENFoldDealingTest, NeighboursAreIndependent) {
  constexpr int records = 200000;
  for (const int distance : {1, 2, 3, 7, 8, 64}) {
    const QUVENFoldDealing dealing{.testPercent = 20, .heldOutPercent = 20, .numFolds = 3};
    const std::vector<std::int32_t> channels = first(dealing, records + distance);
    double pairs[6][6] = {};
    for (std::size_t i = 0; i < records; ++i) ++pairs[channels[i]][channels[i + static_cast<std::size_t>(distance)]];
    double chiSquare = 0;
    for (int a = 1; a <= 5; ++a) {
      for (int b = 1; b <= 5; ++b) {
        const double expected = records * 0.04;
        chiSquare += (pairs[a][b] - expected) * (pairs[a][b] - expected) / expected;
      }
    }
    EXPECT_LT(chiSquare, 60) << distance;  // 24 degrees of freedom: exceeded once in 15000
  }
}

}  // namespace
