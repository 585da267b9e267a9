#include "groups/partition_measures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <set>

namespace vesk_groups {
namespace {

using Sets = std::vector<std::vector<std::uint64_t>>;

Grouping groupingOf(const Sets& sets) {
  Grouping grouping;
  std::map<std::uint64_t, std::size_t> groups;
  for (std::size_t g = 0; g < sets.size(); ++g) {
    grouping.numbers.push_back(100 + g);
    for (const std::uint64_t node : sets[g]) groups[node] = g;
  }
  for (const auto& [node, group] : groups) grouping.members.push_back({node, group});
  return grouping;
}

std::vector<std::uint64_t> range(std::uint64_t first, std::uint64_t end) {
  std::vector<std::uint64_t> nodes;
  for (; first < end; ++first) nodes.push_back(first);
  return nodes;
}

PartitionMeasures measure(const Sets& first, const Sets& second, ComparedNodes nodes) {
  const PartitionMeasures measures = measurePartitions(groupingOf(first), groupingOf(second), nodes);
  // Both measures are symmetric.
  const PartitionMeasures swapped = measurePartitions(groupingOf(second), groupingOf(first), nodes);
  EXPECT_EQ(swapped.nodes, measures.nodes);
  EXPECT_EQ(swapped.adjustedRand, measures.adjustedRand);
  EXPECT_NEAR(swapped.normalizedMutualInformation, measures.normalizedMutualInformation, 1e-15);
  return measures;
}

struct MeasuresCase {
  Sets first;
  Sets second;
  PartitionMeasures inBoth;
  PartitionMeasures inEither;
};

// The expected values are those of scikit-learn 1.2.1 (adjusted_rand_score, normalized_mutual_info_score), where each
// missing node has a label of its own.
TEST(PartitionMeasuresTest, EqualsScikitLearn) {
  const MeasuresCase cases[] = {
      {{{1, 2, 3}, {4, 5}, {8, 9}},
       {{1, 2}, {3, 4, 6}},
       {4, 0.0, 0.34371101848545077},
       {8, 0.07547169811320754, 0.6457465281985653}},
      {{range(0, 10), range(10, 13), range(20, 27)},
       {range(5, 12), {0, 1, 2, 22}, range(23, 40)},
       {15, 0.32611311672683513, 0.5327843453165941},
       {33, -0.01373972520549589, 0.42730405269411215}},
      {{{1, 2}, {3}}, {{1, 2}, {3}}, {3, 1, 1}, {3, 1, 1}},
      {{{1, 2, 3}}, {{1, 2, 3}}, {3, 1, 1}, {3, 1, 1}},
      {{{1, 2, 3}}, {{1, 2}, {3}}, {3, 0, 0}, {3, 0, 0}},
      {{{1}, {2}}, {{1}, {2}}, {2, 1, 1}, {2, 1, 1}},
      {{{1, 2}}, {{3, 4}}, {0, 1, 1}, {4, -0.2, 0.6666666666666666}},
      {{}, {}, {0, 1, 1}, {0, 1, 1}},
      {{}, {{1, 2}}, {0, 1, 1}, {2, 0, 0}},
      {{{1, 2}, {3, 4}}, {{1, 3}, {2, 4}}, {4, -0.5, 0}, {4, -0.5, 0}},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const auto expect = [&](ComparedNodes nodes, const PartitionMeasures& expected) {
      const PartitionMeasures found = measure(cases[i].first, cases[i].second, nodes);
      EXPECT_EQ(found.nodes, expected.nodes);
      EXPECT_NEAR(found.adjustedRand, expected.adjustedRand, 1e-14);
      EXPECT_NEAR(found.normalizedMutualInformation, expected.normalizedMutualInformation, 1e-14);
    };
    expect(ComparedNodes::InBoth, cases[i].inBoth);
    expect(ComparedNodes::InEither, cases[i].inEither);
  }
}

/// The adjusted Rand index from each pair of nodes.
double literalAdjustedRand(const std::map<std::uint64_t, int>& first, const std::map<std::uint64_t, int>& second) {
  double both = 0;
  double inFirst = 0;
  double inSecond = 0;
  double all = 0;
  for (auto a = first.begin(); a != first.end(); ++a) {
    for (auto b = std::next(a); b != first.end(); ++b) {
      const bool together = a->second == b->second;
      const bool togetherInSecond = second.at(a->first) == second.at(b->first);
      ++all;
      inFirst += together ? 1 : 0;
      inSecond += togetherInSecond ? 1 : 0;
      both += together && togetherInSecond ? 1 : 0;
    }
  }
  const double expected = inFirst * inSecond / all;
  return (both - expected) / ((inFirst + inSecond) / 2 - expected);
}

// Source of the literal information: its definition, node by node, as the mean of log(p_ij / (p_i p_j)).
double literalInformation(const std::map<std::uint64_t, int>& first, const std::map<std::uint64_t, int>& second) {
  const auto n = static_cast<double>(first.size());
  std::map<int, double> a;
  std::map<int, double> b;
  std::map<std::pair<int, int>, double> shared;
  for (const auto& [node, group] : first) {
    a[group] += 1 / n;
    b[second.at(node)] += 1 / n;
    shared[{group, second.at(node)}] += 1 / n;
  }
  double information = 0;
  double entropies = 0;
  for (const auto& [node, group] : first) {
    const int other = second.at(node);
    information += std::log(shared[{group, other}] / (a[group] * b[other])) / n;
    entropies -= (std::log(a[group]) + std::log(b[other])) / n;
  }
  return information / (entropies / 2);
}

TEST(PartitionMeasuresTest, EqualsTheLiteralMeasuresOfRandomPartitions) {
  for (unsigned seed = 1; seed <= 100; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Sets sets[2] = {Sets(4), Sets(5)};
    std::map<std::uint64_t, int> labels[2];
    std::map<std::uint64_t, int> labelsInBoth[2];
    for (std::uint64_t node = 1; node <= 60; ++node) {
      bool isMissing[2];
      for (int side = 0; side < 2; ++side) {
        isMissing[side] = random() % 4 == 0;
        const std::size_t group = random() % sets[side].size();
        labels[side][node] = isMissing[side] ? 1000 + static_cast<int>(node) : static_cast<int>(group);
        if (!isMissing[side]) sets[side][group].push_back(node);
      }
      if (isMissing[0] && isMissing[1]) {
        labels[0].erase(node);
        labels[1].erase(node);
      }
      if (isMissing[0] || isMissing[1]) continue;
      for (int side = 0; side < 2; ++side) labelsInBoth[side][node] = labels[side][node];
    }
    const PartitionMeasures either = measure(sets[0], sets[1], ComparedNodes::InEither);
    EXPECT_EQ(either.nodes, labels[0].size());
    EXPECT_NEAR(either.adjustedRand, literalAdjustedRand(labels[0], labels[1]), 1e-13);
    EXPECT_NEAR(either.normalizedMutualInformation, literalInformation(labels[0], labels[1]), 1e-13);
    const PartitionMeasures both = measure(sets[0], sets[1], ComparedNodes::InBoth);
    EXPECT_EQ(both.nodes, labelsInBoth[0].size());
    EXPECT_NEAR(both.adjustedRand, literalAdjustedRand(labelsInBoth[0], labelsInBoth[1]), 1e-13);
    EXPECT_NEAR(both.normalizedMutualInformation, literalInformation(labelsInBoth[0], labelsInBoth[1]), 1e-13);
  }
}

// A million groups of two against themselves, shifted by one node: the products of pairs are above 2^64.
// B = 0; with n = 2e6 nodes F = K = 1e6 pairs and N = n(n-1)/2 - 2e6, so ARI = -2 F^2 / (2 F (F + N)) = -F / (F + N).
TEST(PartitionMeasuresTest, CountsPairsExactlyInLargePartitions) {
  constexpr std::uint64_t numGroups = 1000000;
  Grouping first;
  Grouping second;
  for (std::uint64_t g = 0; g < numGroups; ++g) {
    first.numbers.push_back(g);
    second.numbers.push_back(g);
  }
  for (std::uint64_t node = 0; node < 2 * numGroups; ++node) {
    first.members.push_back({node, static_cast<std::size_t>(node / 2)});
    second.members.push_back({node, static_cast<std::size_t>((node + 1) / 2 % numGroups)});
  }
  const PartitionMeasures measures = measurePartitions(first, second, ComparedNodes::InEither);
  const double neither = 1e6 * (2e6 - 1) - 2e6;
  EXPECT_DOUBLE_EQ(measures.adjustedRand, -1e6 / (1e6 + neither));
  // I = log(n / 4), H = log(n / 2).
  EXPECT_NEAR(measures.normalizedMutualInformation, std::log(5e5) / std::log(1e6), 1e-14);
}

struct Call {
  std::size_t caller;
  std::size_t callee;
  double weight;
};

std::optional<double> modularityOf(const std::vector<Call>& calls, const std::vector<std::size_t>& groups) {
  Modularity modularity;
  for (const Call& call : calls) modularity.add(groups.at(call.caller), groups.at(call.callee), call.weight);
  return modularity.get();
}

const std::vector<Call> wholeCalls{{1, 2, 1}, {2, 1, 1}, {2, 3, 1}, {3, 1, 1}, {3, 4, 1},
                                   {4, 5, 1}, {5, 6, 1}, {6, 4, 1}, {7, 7, 1}, {7, 1, 1}};
const std::vector<Call> realCalls{{1, 2, 0.5}, {2, 1, 0.25}, {2, 3, 1.5}, {3, 4, 0.1}, {4, 4, 2.25}};

// The expected values are those of networkx 2.8.8 (community.modularity) with the sums of the weights in both
// directions. Node 7 calls itself.
TEST(ModularityTest, EqualsNetworkx) {
  EXPECT_EQ(modularityOf(wholeCalls, {9, 0, 0, 0, 1, 1, 1, 2}), 0.405);
  EXPECT_NEAR(*modularityOf(wholeCalls, {9, 0, 1, 2, 3, 4, 5, 6}), -0.05, 1e-16);
  EXPECT_EQ(modularityOf(wholeCalls, {9, 0, 0, 0, 0, 0, 0, 0}), 0.0);
  EXPECT_NEAR(*modularityOf(realCalls, {9, 0, 0, 1, 1}), 0.11342155009451804, 1e-15);
  EXPECT_NEAR(*modularityOf(realCalls, {9, 0, 0, 1, 2}), 0.26559546313799626, 1e-15);
}

TEST(ModularityTest, IsUndefinedWithoutCalls) {
  EXPECT_EQ(Modularity().get(), std::nullopt);
  EXPECT_EQ(modularityOf({{1, 2, 0}}, {0, 0, 0}), std::nullopt);
  EXPECT_EQ(Modularity().getTotal(), 0.0);
}

// Halved weights give the same modularity, although whole numbers end with the first of them.
TEST(ModularityTest, IsTheSameForWholeAndHalvedWeights) {
  for (unsigned seed = 1; seed <= 50; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Modularity whole;
    Modularity halved;
    for (int i = 0; i < 200; ++i) {
      const std::size_t caller = random() % 7;
      const std::size_t callee = random() % 7;
      const auto weight = static_cast<double>(random() % 9);
      whole.add(caller, callee, weight);
      halved.add(caller, callee, weight / 2);
    }
    ASSERT_TRUE(whole.get());
    EXPECT_NEAR(*halved.get(), *whole.get(), 1e-15);
    EXPECT_EQ(halved.getTotal(), whole.getTotal() / 2);
  }
}

// Two groups of weight 2^60 each: Q = 1 - 2 / 4. The third weight would pass the limit of whole numbers.
TEST(ModularityTest, GoesOnAboveTheLimitOfWholeNumbers) {
  Modularity modularity;
  modularity.add(0, 0, 0x1p60);
  modularity.add(1, 1, 0x1p60 - 256);
  EXPECT_NEAR(*modularity.get(), 0.5, 1e-15);
  modularity.add(1, 1, 0x1p60 + 256);
  modularity.add(0, 0, 0x1p60);
  EXPECT_EQ(modularity.getTotal(), 0x1p62);
  EXPECT_NEAR(*modularity.get(), 0.5, 1e-15);
}

TEST(CompensatedSumTest, KeepsWhatAPlainSumLoses) {
  CompensatedSum sum;
  for (const double term : {1.0, 1e100, 1.0, -1e100}) sum.add(term);
  EXPECT_EQ(sum.get(), 2.0);
}

}  // namespace
}  // namespace vesk_groups
