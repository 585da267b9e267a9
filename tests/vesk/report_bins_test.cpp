#include <gmock/gmock.h>

#include <numeric>

#include "report/size_bins.h"

namespace vesk {
namespace {

FoundGroups groupsOf(const std::vector<std::pair<std::uint64_t, double>>& sizesAndDensities) {
  FoundGroups found;
  for (const auto& [size, density] : sizesAndDensities) {
    FoundGroup group;
    group.number = found.groups.size() + 1;
    group.size = size;
    group.density = density;
    found.groups.push_back(group);
  }
  return found;
}

TEST(SizeBins, AFewSizesHaveABinEach) {
  const SizesAndDensities result = binGroups(groupsOf({{3, 0.1}, {5, 0.2}, {5, 0.05}, {5, 0.1}}));
  ASSERT_EQ(result.bins.size(), 3U);
  EXPECT_EQ(result.bins[1].from, 4U);
  EXPECT_EQ(result.bins[1].groups, 0U);
  EXPECT_EQ(result.bins[2].groups, 3U);
  EXPECT_EQ(result.bins[2].members, 15U);
  EXPECT_EQ(result.bins[2].medianDensity, 0.1);
  EXPECT_EQ(result.densityTop, 0.2);
  // Steps of 0.01: 0.05 is in step 5, 0.1 in step 10, and the top in the last one.
  EXPECT_EQ(result.bins[2].ofDensity[5], 1U);
  EXPECT_EQ(result.bins[2].ofDensity[10], 1U);
  EXPECT_EQ(result.bins[2].ofDensity[19], 1U);
  EXPECT_TRUE(binGroups({}).bins.empty());
}

TEST(SizeBins, HoldEachGroupOnceWithoutGaps) {
  for (const std::uint64_t largest : {30, 31, 32, 33, 100, 1000, 123456789}) {
    for (const std::uint64_t smallest : {1, 2, 29}) {
      SCOPED_TRACE(std::to_string(smallest) + " to " + std::to_string(largest));
      const SizesAndDensities result =
          binGroups(groupsOf({{smallest, 0}, {largest, 1}, {(smallest + largest) / 2, 3}}));
      EXPECT_LE(result.bins.size(), 30U);
      EXPECT_EQ(result.bins.front().from, smallest);
      EXPECT_EQ(result.bins.back().to, largest);
      std::uint64_t groups = 0;
      for (std::size_t i = 0; i < result.bins.size(); ++i) {
        const SizeBin& bin = result.bins[i];
        EXPECT_LE(bin.from, bin.to);
        EXPECT_EQ(bin.from, i == 0 ? smallest : result.bins[i - 1].to + 1);
        EXPECT_EQ(std::accumulate(bin.ofDensity.begin(), bin.ofDensity.end(), std::uint64_t{0}), bin.groups);
        groups += bin.groups;
      }
      EXPECT_EQ(groups, 3U);
      EXPECT_EQ(result.densityTop, 3);
    }
  }
}

TEST(SizeBins, TheMedianOfAnEvenNumberIsTheMeanOfTheMiddle) {
  std::vector<double> values = {5, 1, 3, 2};
  EXPECT_EQ(medianOf(values), 2.5);
  values = {7};
  EXPECT_EQ(medianOf(values), 7);
  values = {3, 1, 2};
  EXPECT_EQ(medianOf(values), 2);
}

TEST(LargestGroups, AreOrderedBySizeDensityAndNumber) {
  const FoundGroups found = groupsOf({{3, 0.5}, {4, 0.1}, {3, 0.7}, {3, 0.5}});
  EXPECT_THAT(largestGroups(found, 10), ::testing::ElementsAre(1, 2, 0, 3));
  EXPECT_THAT(largestGroups(found, 2), ::testing::ElementsAre(1, 2));
  EXPECT_TRUE(largestGroups({}, 2).empty());
}

}  // namespace
}  // namespace vesk
