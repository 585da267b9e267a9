// The literal groups on cases worked out by hand, and what must hold in any network.

#include "literal_groups.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "csv_rows.h"
#include "literal_ranking.h"
#include "networks.h"

namespace literal {
namespace {

std::vector<Line> linesOf(const std::map<double, std::vector<double>>& contacts) {
  std::vector<Line> lines;
  for (const auto& [caller, list] : contacts) appendBlock(lines, caller, list);
  return lines;
}

const NodePairs twoClusters{{1, 2}, {2, 3}, {10, 11}};

/// 1 2 3 and 10 11 are clusters; 4 knows more of the first, 5 meets the second first.
std::vector<Line> twoGroups() {
  return linesOf({{1, {2, 3, 10}}, {2, {1}}, {3, {1}}, {4, {1, 2, 10}}, {5, {10, 1}}, {10, {11}}, {11, {10}}});
}

// Cluster 2 by hand, nodes in the order 5 10 11. Type 1, from 1/3 each: 5 has .05 and 10 goes to .9 - .85 r from r;
// after ten steps r = .9/1.85 - .153153 * .85^10 = .456335, and 11 has .95 - r = .493665. Type 2, three steps: (.286111
// .427778 .286111), (.312870 .374259 .312870), (.297707 .404586 .297707).
constexpr const char* secondGroup =
    "5,2,0,0.05,3,0.297707,2,0,1,0,0.456335,0,0,0,0\n"
    "10,2,1,0.456335,2,0.404586,1,2,1,0.595414,0.493665,0,0,1,1.35901\n"
    "11,2,1,0.493665,1,0.297707,3,1,1,0.404586,0.456335,1,9.87329,0,0\n";

TEST(LiteralGroups, AreThoseByHand) {
  const GroupResult result = runGroups(twoGroups(), {}, 1, twoClusters);
  EXPECT_FALSE(result.failed);
  EXPECT_EQ(result.nodeToCluster,
            (std::map<std::uint64_t, int>{{1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 2}, {10, 2}, {11, 2}}));
  EXPECT_EQ(result.nodeToIteration,
            (std::map<std::uint64_t, int>{{1, 0}, {2, 0}, {3, 0}, {4, 1}, {5, 1}, {10, 0}, {11, 0}}));
  EXPECT_EQ(result.clusterSizes, (std::vector<int>{4, 3}));
  EXPECT_EQ(result.slices, (std::vector<std::pair<int, int>>{{1, 2}}));
  // Six edges of twelve, the core 2-1 2-3; three of six, the core 10-11.
  EXPECT_THAT(result.clustersCsv, ::testing::StartsWith(clustersHeader() + "1,4,0.5,0.666667,0.75,"));
  EXPECT_THAT(result.clustersCsv,
              ::testing::EndsWith("\n2,3,0.5,1,0.666667,0.493665,0.05,9.87331,0.404586,0.297707,1.35901\n"));
  EXPECT_THAT(result.nodesCsv, ::testing::StartsWith(nodesHeader() + "1,1,1,"));
  EXPECT_THAT(result.nodesCsv, ::testing::EndsWith(secondGroup));
  EXPECT_EQ(std::count(result.nodesCsv.begin(), result.nodesCsv.end(), '\n'), 8);
}

TEST(LiteralGroups, AreNumberedAsTheWorkersResultsComeTogether) {
  // Rank 0 of two analyses the second cluster.
  const GroupResult result = runGroups(twoGroups(), {}, 2, twoClusters);
  EXPECT_THAT(result.clustersCsv,
              ::testing::StartsWith(clustersHeader() +
                                    "1,3,0.5,1,0.666667,0.493665,0.05,9.87331,0.404586,0.297707,1.35901\n2,4,"));
  const auto rows = fieldsOf(result.nodesCsv);
  ASSERT_EQ(rows.size(), 7U);
  EXPECT_EQ(rows[0][0], "5");
  EXPECT_EQ(rows[3][0], "1");
  EXPECT_EQ(rows[3][1], "2");
}

TEST(LiteralGroups, OfAPairTheSecondIsSeenFirst) {
  // 1 and 2 have two neighbours each: 2, seen first, starts and takes 1 and 6.
  GroupParameters parameters;
  parameters.maxClusterSize = 3;
  EXPECT_EQ(runGroups({}, parameters, 1, NodePairs{{1, 2}, {1, 5}, {2, 6}}).nodeToCluster,
            (std::map<std::uint64_t, int>{{1, 1}, {2, 1}, {6, 1}}));
}

TEST(LiteralGroups, OfEqualRanksTheFirstSeenComesFirst) {
  const RankedCluster cluster = rankCluster({{9, 3}, {3, 9}});
  EXPECT_EQ(cluster.asItStands[0].node, 9U);
  EXPECT_EQ(cluster.asItStands[1].node, 3U);
  EXPECT_EQ(cluster.asItStands[0].rank, cluster.asItStands[1].rank);
  EXPECT_EQ(cluster.reversed[0].node, 9U);
}

TEST(LiteralGroups, AFullClusterRefusesANode) {
  GroupParameters parameters;
  parameters.maxClusterSize = 3;
  const GroupResult result = runGroups(twoGroups(), parameters, 1, twoClusters);
  EXPECT_EQ(result.refusedProposals, 1);
  EXPECT_FALSE(result.nodeToCluster.contains(4));
  EXPECT_EQ(result.clusterSizes, (std::vector<int>{3, 3}));
}

TEST(LiteralGroups, TheFirstProposalInTheOrderOfTheWorkersWins) {
  // One place beside 1 and 2; of two workers the one of even callers comes first.
  GroupParameters parameters;
  parameters.maxClusterSize = 3;
  const auto lines = linesOf({{1, {2}}, {2, {1}}, {3, {1}}, {4, {1}}});
  EXPECT_EQ(runGroups(lines, parameters, 1, NodePairs{{1, 2}}).nodeToCluster.count(3), 1U);
  EXPECT_EQ(runGroups(lines, parameters, 2, NodePairs{{1, 2}}).nodeToCluster.count(4), 1U);
}

TEST(LiteralGroups, APassConnectsWhatThePassBeforeReached) {
  GroupParameters parameters;
  const auto lines = linesOf({{1, {2}}, {2, {1}}, {3, {1}}, {4, {3}}, {5, {4}}});
  for (const int passes : {1, 2, 3, 9}) {
    parameters.numIterationsConnectingNodes = passes;
    const GroupResult result = runGroups(lines, parameters, 1, NodePairs{{1, 2}});
    std::map<std::uint64_t, int> expected{{1, 0}, {2, 0}, {3, 1}};
    if (passes >= 2) expected[4] = 2;
    if (passes >= 3) expected[5] = 3;
    EXPECT_EQ(result.nodeToIteration, expected) << passes;
  }
}

TEST(LiteralGroups, ARowEndsAtItsFirstZero) {
  const auto lines = linesOf({{1, {2}}, {2, {1}}, {3, {9, 0, 1}}, {4, {1, 0, 2}}});
  const GroupResult result = runGroups(lines, {}, 1, NodePairs{{1, 2}});
  EXPECT_FALSE(result.nodeToCluster.contains(3));
  EXPECT_TRUE(result.nodeToCluster.contains(4));
  EXPECT_THAT(result.clustersCsv, ::testing::HasSubstr("\n1,3,0.5,"));  // 1-2, 2-1, 4-1
}

TEST(LiteralGroups, ACallerWithTwoBlocksIsConnectedTwice) {
  auto lines = linesOf({{1, {2}}, {2, {1}}, {3, {1}}, {11, {12}}, {12, {11}}});
  appendBlock(lines, 3, {11, 12});
  const GroupResult result = runGroups(lines, {}, 1, NodePairs{{1, 2}, {11, 12}});
  EXPECT_EQ(result.nodeToCluster.at(3), 2);
  EXPECT_EQ(result.clusterSizes, (std::vector<int>{3, 3}));
  // Both blocks gave what is inside the second cluster: 11-12, 12-11, 3-11, 3-12; the first counts a node too many.
  EXPECT_THAT(result.clustersCsv, ::testing::HasSubstr("\n1,2,0.333333,1,1,"));
  EXPECT_THAT(result.clustersCsv, ::testing::HasSubstr("\n2,3,0.666667,1,0.666667,"));
}

TEST(LiteralGroups, ContactsAreEdgesOnceAndNeverToOneself) {
  const auto lines = linesOf({{1, {1, 2, 2, 3}}, {2, {1}}});
  const GroupResult result = runGroups(lines, {}, 1, NodePairs{{1, 2}, {2, 3}});
  // 1-2, 1-3, 2-1 of six; 3 never calls.
  EXPECT_THAT(result.clustersCsv, ::testing::StartsWith(clustersHeader() + "1,3,0.5,"));
  const auto rows = fieldsOf(result.nodesCsv);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[2][7], "1");  // in
  EXPECT_EQ(rows[2][8], "0");  // out
}

/// Clusters of five pairs, each with both edges.
std::vector<Line> fivePairs() {
  return linesOf(
      {{1, {2}}, {2, {1}}, {3, {4}}, {4, {3}}, {5, {6}}, {6, {5}}, {7, {8}}, {8, {7}}, {9, {10}}, {10, {9}}});
}
const NodePairs fivePairEdges{{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}};

TEST(LiteralGroups, SlicesByTheirNumber) {
  using Slices = std::vector<std::pair<int, int>>;
  GroupParameters parameters;
  const auto slices = [&](int number) {
    parameters.numIterationsCollectingEdges = number;
    return runGroups(fivePairs(), parameters, 1, fivePairEdges).slices;
  };
  EXPECT_EQ(slices(1), (Slices{{1, 5}}));
  EXPECT_EQ(slices(2), (Slices{{1, 3}, {4, 5}}));
  EXPECT_EQ(slices(4), (Slices{{1, 2}, {3, 4}, {5, 6}}));  // two of four clusters each: the third is the last
  EXPECT_EQ(slices(9), (Slices{{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}}));
}

TEST(LiteralGroups, SlicesByTheirNodes) {
  using Slices = std::vector<std::pair<int, int>>;
  GroupParameters parameters;
  const auto slices = [&](int nodes) {
    parameters.maxNodesCollectingEdges = nodes;
    return runGroups(fivePairs(), parameters, 1, fivePairEdges).slices;
  };
  const Slices single{{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}};
  EXPECT_EQ(slices(-1), single);
  EXPECT_EQ(slices(1), single);
  EXPECT_EQ(slices(3), single);
  EXPECT_EQ(slices(4), (Slices{{1, 2}, {3, 4}, {5, 5}}));
  EXPECT_EQ(slices(10), (Slices{{1, 5}}));
}

TEST(LiteralGroups, GroupNumbersOfALaterSliceGoOnFromItsLeastCluster) {
  // The first cluster is too small; in one slice its number is taken by the second, in two slices by nobody.
  GroupParameters parameters;
  parameters.minClusterSize = 3;
  const auto lines = linesOf({{1, {2}}, {2, {1, 3}}, {3, {2}}, {11, {12}}, {12, {11}}, {21, {22}}, {22, {23}}});
  const NodePairs pairs{{1, 2}, {2, 3}, {12, 11}, {21, 22}, {22, 23}};
  // Clusters: 2 1 3 and 22 21 23 begin at nodes of two neighbours, then 11 12.
  const auto groups = [&](int slices) {
    parameters.numIterationsCollectingEdges = slices;
    std::vector<std::string> numbers;
    for (const auto& row : fieldsOf(runGroups(lines, parameters, 1, pairs).clustersCsv)) numbers.push_back(row[0]);
    return numbers;
  };
  EXPECT_EQ(groups(1), (std::vector<std::string>{"1", "2"}));
  parameters.minClusterSize = 1;
  EXPECT_EQ(groups(3), (std::vector<std::string>{"1", "2", "3"}));
  // Without calls inside the first cluster.
  const auto fewer = linesOf({{11, {12}}, {12, {11}}, {21, {22}}, {22, {23}}});
  const auto numbersOf = [&](int slices) {
    parameters.numIterationsCollectingEdges = slices;
    std::vector<std::string> numbers;
    for (const auto& row : fieldsOf(runGroups(fewer, parameters, 1, pairs).clustersCsv)) numbers.push_back(row[0]);
    return numbers;
  };
  EXPECT_EQ(numbersOf(1), (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(numbersOf(3), (std::vector<std::string>{"2", "3"}));
}

TEST(LiteralGroups, WithoutClustersThereAreHeaderLinesOnly) {
  for (const int maxNodes : {0, 5, -1}) {
    GroupParameters parameters;
    parameters.maxNodesCollectingEdges = maxNodes;
    const GroupResult result = runGroups(fivePairs(), parameters, 2, NodePairs{});
    EXPECT_FALSE(result.failed);
    EXPECT_EQ(result.clustersCsv, clustersHeader());
    EXPECT_EQ(result.nodesCsv, nodesHeader());
    EXPECT_EQ(result.slices.size(), 1U);
  }
}

TEST(LiteralGroups, FailWithoutACutoff) { EXPECT_TRUE(runGroups(fivePairs(), {}, 2).failed); }

TEST(LiteralGroups, ReadsThePairsOfAKernelValuesFile) {
  EXPECT_EQ(readKernelValues("1,2,0.5\n              3,\t0x10,\t010\n"), (NodePairs{{1, 2}, {3, 16}, {0, 0}}));
  EXPECT_EQ(readKernelValues("010,18446744073709551615,x"), (NodePairs{{8, 18446744073709551615U}}));
}

/// The pairs that a run from the kernel gives to its clusters.
NodePairs pairsOf(const GroupResult& result) {
  NodePairs pairs;
  for (const auto& kept : result.keptByWorker) {
    for (const KernelValue& value : kept) {
      if (value.column != value.row) pairs.emplace_back(value.column, value.row);
    }
  }
  return pairs;
}

TEST(LiteralGroups, OfRandomNetworksHoldTogether) {
  int withGroups = 0;
  int inSlices = 0;
  for (std::uint64_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Choices choices(seed);
    const std::vector<Line> lines = randomNetwork(choices);
    const GroupParameters parameters = randomParameters(choices);
    for (const int workers : {1, 2, 3, 4}) {
      SCOPED_TRACE(workers);
      const GroupResult result = runGroups(lines, parameters, workers);
      if (result.failed) continue;
      withGroups += result.clustersCsv == clustersHeader() ? 0 : 1;
      inSlices += result.slices.size() > 1 ? 1 : 0;

      const GroupResult fromPairs = runGroups(lines, parameters, workers, pairsOf(result));
      EXPECT_EQ(fromPairs.clustersCsv, result.clustersCsv);
      EXPECT_EQ(fromPairs.nodesCsv, result.nodesCsv);

      std::map<std::string, int> sizes;
      for (const auto& row : fieldsOf(result.nodesCsv)) {
        ASSERT_EQ(row.size(), 15U);
        ++sizes[row[1]];
      }
      const auto clusterRows = fieldsOf(result.clustersCsv);
      EXPECT_EQ(sizes.size(), clusterRows.size());
      for (const auto& row : clusterRows) {
        ASSERT_EQ(row.size(), 11U);
        EXPECT_EQ(std::to_string(sizes[row[0]]), row[1]);
        EXPECT_LE(std::stoi(row[1]), parameters.maxClusterSize);
      }
    }
  }
  EXPECT_GT(withGroups, 300);
  EXPECT_GT(inSlices, 100);
}

TEST(LiteralGroups, SlicesOfAnySizeGiveTheRowsOfOne) {
  int compared = 0;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Choices choices(seed);
    const std::vector<Line> lines = randomNetwork(choices, Network::InOrder);
    GroupParameters parameters = randomParameters(choices);
    parameters.numIterationsCollectingEdges = 1;
    parameters.maxNodesCollectingEdges = 0;
    for (const int workers : {1, 3}) {
      const GroupResult whole = runGroups(lines, parameters, workers);
      if (whole.failed) continue;
      GroupParameters sliced = parameters;
      for (const int size : {-1, 5, 20, 100}) {
        sliced.maxNodesCollectingEdges = size;
        const GroupResult result = runGroups(lines, sliced, workers);
        EXPECT_EQ(withoutColumn(result.clustersCsv, GroupOfCluster), withoutColumn(whole.clustersCsv, GroupOfCluster));
        EXPECT_EQ(withoutColumn(result.nodesCsv, GroupOfNode), withoutColumn(whole.nodesCsv, GroupOfNode));
        ++compared;
      }
      sliced.maxNodesCollectingEdges = 0;
      for (const int number : {2, 3, 7}) {
        sliced.numIterationsCollectingEdges = number;
        const GroupResult result = runGroups(lines, sliced, workers);
        EXPECT_EQ(withoutColumn(result.clustersCsv, GroupOfCluster), withoutColumn(whole.clustersCsv, GroupOfCluster));
        EXPECT_EQ(withoutColumn(result.nodesCsv, GroupOfNode), withoutColumn(whole.nodesCsv, GroupOfNode));
      }
    }
  }
  EXPECT_GT(compared, 300);
}

}  // namespace
}  // namespace literal
