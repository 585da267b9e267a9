#include "groups/group_matching.h"

#include <gtest/gtest.h>

#include <random>

namespace vesk_groups {
namespace {

using Choice = std::vector<std::size_t>;

/// Tries every assignment, earlier groups in ascending order, partners in ascending order and none last. The first one
/// of the greatest sum stays.
class EveryAssignment {
 public:
  EveryAssignment(std::size_t previousGroups, std::size_t currentGroups, const std::vector<GroupOverlap>& allOverlaps)
      : numPrevious(previousGroups), overlaps(allOverlaps), choice(currentGroups, noGroup), best(choice) {
    tryFrom(0, 0);
  }
  const Choice& get() const { return best; }

 private:
  void tryFrom(std::size_t previous, std::int64_t sum) {
    if (previous == numPrevious) {
      if (sum > bestSum) {
        bestSum = sum;
        best = choice;
      }
      return;
    }
    for (const GroupOverlap& overlap : overlaps) {
      if (overlap.previous != previous || choice[overlap.current] != noGroup) continue;
      choice[overlap.current] = previous;
      tryFrom(previous + 1, sum + overlap.weight);
      choice[overlap.current] = noGroup;
    }
    tryFrom(previous + 1, sum);
  }

  std::size_t numPrevious;
  const std::vector<GroupOverlap>& overlaps;
  Choice choice;
  Choice best;
  std::int64_t bestSum = -1;
};

std::int64_t sumOf(const Choice& choice, const std::vector<GroupOverlap>& overlaps) {
  std::int64_t sum = 0;
  for (const GroupOverlap& overlap : overlaps) {
    if (choice[overlap.current] == overlap.previous) sum += overlap.weight;
  }
  return sum;
}

// Few different weights make many assignments equally good.
TEST(GroupMatchingTest, IsTheFirstOfTheBestOfAllAssignments) {
  int withTies = 0;
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::size_t numPrevious = random() % 7;
    const std::size_t numCurrent = random() % 7;
    const unsigned density = 1 + random() % 4;
    const unsigned differentWeights = 1 + random() % 4;
    std::vector<GroupOverlap> overlaps;
    for (std::size_t p = 0; p < numPrevious; ++p) {
      for (std::size_t c = 0; c < numCurrent; ++c) {
        if (random() % 4 < density)
          overlaps.push_back({p, c, 1 + static_cast<std::int64_t>(random() % differentWeights)});
      }
    }
    const Choice expected = EveryAssignment(numPrevious, numCurrent, overlaps).get();
    const Choice found = assignGroups(numPrevious, numCurrent, overlaps);
    ASSERT_EQ(sumOf(found, overlaps), sumOf(expected, overlaps));
    ASSERT_EQ(found, expected);
    if (differentWeights == 1) ++withTies;
  }
  EXPECT_GT(withTies, 1000);
}

TEST(GroupMatchingTest, TakesTheGreaterSumAndNotTheGreatestPair) {
  EXPECT_EQ(assignGroups(2, 2, {{0, 0, 9}, {0, 1, 8}, {1, 0, 8}}), (Choice{1, 0}));
  EXPECT_EQ(assignGroups(2, 2, {{0, 0, 9}, {0, 1, 4}, {1, 0, 4}}), (Choice{0, noGroup}));
  EXPECT_EQ(assignGroups(0, 2, {}), (Choice{noGroup, noGroup}));
  EXPECT_EQ(assignGroups(2, 0, {}), Choice{});
}

// The groups 0 1 2 3 4 5 6, 7 8 9 10 and 20 21 22 against 0 1 2, 3 4 5 7 8 9 10, 11 and 6 20 21 22.
TEST(GroupMatchingTest, TakesPairsWithAJaccardIndexAboveThreeTenths) {
  const auto grouping = [](std::vector<std::vector<std::uint64_t>> sets) {
    std::vector<Grouping::Member> members;
    Grouping result;
    for (std::size_t g = 0; g < sets.size(); ++g) {
      result.numbers.push_back(g);
      for (const std::uint64_t node : sets[g]) members.push_back({node, g});
    }
    std::ranges::sort(members, {}, &Grouping::Member::node);
    result.members = members;
    return result;
  };
  const Grouping previous = grouping({{0, 1, 2, 3, 4, 5, 6}, {7, 8, 9, 10}, {20, 21, 22}});
  const Grouping current = grouping({{0, 1, 2}, {3, 4, 5, 7, 8, 9, 10}, {11}, {6, 20, 21, 22}});
  const std::vector<GroupOverlap> overlaps = findOverlaps(previous, current);
  ASSERT_EQ(overlaps.size(), 3U);  // 3/7, 4/7 and 3/4; 3/11 and 1/10 are too little
  EXPECT_EQ(overlaps[0].weight, 428571428571);
  EXPECT_EQ(overlaps[1].weight, 571428571428);
  EXPECT_EQ(overlaps[2].weight, 750000000000);
  EXPECT_EQ(overlaps[2].previous, 2U);
  EXPECT_EQ(overlaps[2].current, 3U);
  // 3 of 10 is not above 0.3.
  EXPECT_TRUE(findOverlaps(grouping({{1, 2, 3, 4, 5, 6}}), grouping({{1, 2, 3, 7, 8, 9, 10}})).empty());
  EXPECT_EQ(findOverlaps(grouping({{1, 2, 3, 4, 5, 6}}), grouping({{1, 2, 3, 7, 8, 9}})).size(), 1U);
}

// Each group shares a third with each of two others, so that all are connected. The first and the last current group
// have one partner.
TEST(GroupMatchingTest, SolvesLongChains) {
  constexpr std::size_t length = 20000;
  std::vector<GroupOverlap> overlaps;
  for (std::size_t p = 0; p < length; ++p) {
    overlaps.push_back({p, p, 333});
    overlaps.push_back({p, p + 1, 333});
  }
  const Choice found = assignGroups(length, length + 1, overlaps);
  for (std::size_t c = 0; c < length; ++c) ASSERT_EQ(found[c], c);
  EXPECT_EQ(found[length], noGroup);
  // One current group less at the beginning: every earlier group has to take its second partner.
  for (GroupOverlap& overlap : overlaps) --overlap.current;
  overlaps.erase(overlaps.begin());
  const Choice shifted = assignGroups(length, length, overlaps);
  for (std::size_t c = 0; c < length; ++c) ASSERT_EQ(shifted[c], c);
}

}  // namespace
}  // namespace vesk_groups
