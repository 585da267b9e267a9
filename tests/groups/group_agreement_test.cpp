#include "groups/group_agreement.h"

#include <map>
#include <numeric>
#include <random>

#include "groups/groups_fixture.h"

namespace vesk_groups {
namespace {

using Groups = std::map<std::uint64_t, std::vector<std::uint64_t>>;

Grouping grouping(const Groups& groups) {
  Grouping result;
  for (const auto& [number, members] : groups) {
    for (const std::uint64_t node : members) result.members.push_back({node, result.numbers.size()});
    result.numbers.push_back(number);
  }
  std::sort(result.members.begin(), result.members.end(), [](const auto& a, const auto& b) { return a.node < b.node; });
  return result;
}

/// Counts pair by pair, with the four-way table of the pairs of nodes in both for the index.
/// Source: Hubert, Arabie 1985, in the form of Steinley, Psychological Methods 9(3), 2004, equation 4:
/// 2 (ad - bc) / ((a + b)(b + d) + (a + c)(c + d)).
struct LiteralAgreement {
  std::uint64_t found = 0;
  std::uint64_t known = 0;
  std::uint64_t both = 0;
  double a = 0, b = 0, c = 0, d = 0;

  LiteralAgreement(const Groups& foundGroups, const Groups& knownGroups) {
    const auto labels = [](const Groups& groups) {
      std::map<std::uint64_t, std::uint64_t> of;
      for (const auto& [number, members] : groups) {
        for (const std::uint64_t node : members) of[node] = number;
      }
      return of;
    };
    const auto f = labels(foundGroups);
    const auto k = labels(knownGroups);
    std::map<std::uint64_t, int> nodes;
    for (const auto& [node, group] : f) nodes[node] += 1;
    for (const auto& [node, group] : k) nodes[node] += 2;
    for (auto i = nodes.begin(); i != nodes.end(); ++i) {
      for (auto j = std::next(i); j != nodes.end(); ++j) {
        const bool inFound = (i->second & j->second & 1) != 0 && f.at(i->first) == f.at(j->first);
        const bool inKnown = (i->second & j->second & 2) != 0 && k.at(i->first) == k.at(j->first);
        found += inFound ? 1 : 0;
        known += inKnown ? 1 : 0;
        both += inFound && inKnown ? 1 : 0;
        if ((i->second & j->second) == 3) (inFound ? (inKnown ? a : b) : (inKnown ? c : d)) += 1;
      }
    }
  }

  double adjustedRand() const { return 2 * (a * d - b * c) / ((a + b) * (b + d) + (a + c) * (c + d)); }
};

// Found {1,2,3} {4,5,6}, known {1,2} {3,4,5}: pairs 3 + 3, 1 + 3, in both {1,2} and {4,5}. In both are 1 to 5, found
// {1,2,3} {4,5}: f = 4, k = 4, t = 10, b = 2, so ARI = (2 - 1.6) / (4 - 1.6) = 1/6.
TEST(GroupAgreement, IsWhatItIsByHand) {
  const GroupAgreement result =
      compareGroups(grouping({{7, {1, 2, 3}}, {8, {4, 5, 6}}}), grouping({{1, {1, 2}}, {2, {3, 4, 5}}}));
  EXPECT_EQ(result.sharedNodes, 5U);
  EXPECT_EQ(result.foundPairs, 6U);
  EXPECT_EQ(result.knownPairs, 4U);
  EXPECT_EQ(result.sharedPairs, 2U);
  EXPECT_DOUBLE_EQ(result.recall.value(), 0.5);
  EXPECT_DOUBLE_EQ(result.precision.value(), 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(result.f1.value(), 0.4);
  EXPECT_NEAR(result.adjustedRand.value(), 1.0 / 6.0, 1e-14);
  ASSERT_EQ(result.matches.size(), 2U);
  EXPECT_EQ(result.matches[0].knownGroup, 0U);
  EXPECT_EQ(result.matches[0].members, 2U);
  EXPECT_EQ(result.matches[1].knownGroup, 1U);
  EXPECT_EQ(result.matches[1].members, 2U);
}

TEST(GroupAgreement, FullAgreementIsOneWhateverTheNumbers) {
  const GroupAgreement result =
      compareGroups(grouping({{7, {1, 2, 3}}, {8, {4, 5}}}), grouping({{1, {4, 5}}, {2, {1, 2, 3}}}));
  EXPECT_EQ(result.recall, 1.0);
  EXPECT_EQ(result.precision, 1.0);
  EXPECT_EQ(result.f1, 1.0);
  EXPECT_EQ(result.adjustedRand, 1.0);
}

// Of known groups that hold equally many members the first is named.
TEST(GroupAgreement, TheBestMatchOfEqualOnesIsTheLowestNumber) {
  const GroupAgreement result =
      compareGroups(grouping({{1, {1, 2, 3, 4, 5}}, {2, {8, 9}}}), grouping({{3, {5}}, {4, {1, 2}}, {5, {3, 4}}}));
  EXPECT_EQ(result.matches.at(0).knownGroup, 1U);
  EXPECT_EQ(result.matches.at(0).members, 2U);
  EXPECT_EQ(result.matches.at(1).members, 0U);
}

TEST(GroupAgreement, AMemberThatIsNotInBothCostsRecallOrPrecisionButNotTheIndex) {
  const GroupAgreement missing =
      compareGroups(grouping({{1, {1, 2}}, {2, {4, 5}}}), grouping({{1, {1, 2, 3}}, {2, {4, 5}}}));
  EXPECT_DOUBLE_EQ(missing.recall.value(), 0.5);
  EXPECT_EQ(missing.precision, 1.0);
  EXPECT_EQ(missing.adjustedRand, 1.0);
  const GroupAgreement foreign =
      compareGroups(grouping({{1, {1, 2, 3}}, {2, {4, 5}}}), grouping({{1, {1, 2}}, {2, {4, 5}}}));
  EXPECT_EQ(foreign.recall, 1.0);
  EXPECT_DOUBLE_EQ(foreign.precision.value(), 0.5);
  EXPECT_EQ(foreign.adjustedRand, 1.0);
}

TEST(GroupAgreement, WhatIsDividedByNothingIsUndefined) {
  const Grouping none = grouping({});
  const Grouping single = grouping({{1, {1}}, {2, {2}}});
  const Grouping pair = grouping({{1, {1, 2}}});
  const GroupAgreement noneFound = compareGroups(none, pair);
  EXPECT_EQ(noneFound.recall, 0.0);
  EXPECT_EQ(noneFound.precision, std::nullopt);
  EXPECT_EQ(noneFound.f1, 0.0);
  EXPECT_EQ(noneFound.adjustedRand, std::nullopt);
  EXPECT_TRUE(noneFound.matches.empty());
  const GroupAgreement singles = compareGroups(single, single);
  EXPECT_EQ(singles.recall, std::nullopt);
  EXPECT_EQ(singles.f1, std::nullopt);
  EXPECT_EQ(singles.adjustedRand, std::nullopt);
  EXPECT_EQ(compareGroups(pair, grouping({{1, {7, 8}}})).adjustedRand, std::nullopt);
  EXPECT_EQ(compareGroups(pair, single).adjustedRand, 0.0);
}

// With one group on each side the index is 0/0, and no rounding may hide it: of 13778 nodes the pairs' square is no
// double, and divided by the pairs it gives another number than these.
TEST(GroupAgreement, OneGroupOfAllIsUndefinedAtEverySize) {
  for (const std::uint64_t n : {2, 3, 100, 13777, 13778, 13779, 100000}) {
    std::vector<std::uint64_t> nodes(n);
    std::iota(nodes.begin(), nodes.end(), 1U);
    const Grouping all = grouping({{1, nodes}});
    EXPECT_EQ(compareGroups(all, all).adjustedRand, std::nullopt) << n;
  }
}

TEST(GroupAgreement, EqualsTheCountPairByPair) {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    const auto draw = [&](unsigned groups, unsigned absent) {
      Groups result;
      for (std::uint64_t node = 1; node <= 40; ++node) {
        const std::uint64_t group = 1 + random() % groups;
        if (random() % 10 >= absent) result[group].push_back(node * 1000000007);
      }
      return result;
    };
    const Groups found = draw(1 + seed % 7, seed % 4);
    const Groups known = draw(2 + seed % 5, seed % 3);
    const GroupAgreement result = compareGroups(grouping(found), grouping(known));
    const LiteralAgreement literal(found, known);
    ASSERT_EQ(result.foundPairs, literal.found) << seed;
    ASSERT_EQ(result.knownPairs, literal.known) << seed;
    ASSERT_EQ(result.sharedPairs, literal.both) << seed;
    ASSERT_TRUE(result.adjustedRand.has_value()) << seed;
    ASSERT_NEAR(*result.adjustedRand, literal.adjustedRand(), 1e-12) << seed;
  }
}

}  // namespace
}  // namespace vesk_groups
