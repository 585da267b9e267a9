// Literal clusters and page rank on cases worked out by hand.

#include "literal_graph.h"

#include <gtest/gtest.h>

namespace literal {
namespace {

using Members = std::vector<std::vector<std::size_t>>;

TEST(LiteralClusters, OfAPathStopAtTheirSize) {
  // 1, 2 and 3 have two neighbours. From 1: 0 and 2; then 3 and its free neighbour 4.
  const Clusters clusters = clustersOf(5, {{0, 1}, {1, 2}, {2, 3}, {3, 4}}, 3);
  EXPECT_EQ(clusters.members, (Members{{1, 0, 2}, {3, 4}}));
  EXPECT_EQ(clusters.densities, (std::vector<double>{4.0 / 6, 1}));
}

TEST(LiteralClusters, ALargerSizeReachesOneStepFurther) {
  // 0 and 2 wait behind 1; with 0 the three are not below 4 in sum of members and waiting ones, with 2 again.
  EXPECT_EQ(clustersOf(5, {{0, 1}, {1, 2}, {2, 3}, {3, 4}}, 4).members, (Members{{1, 0, 2, 3}}));
  EXPECT_EQ(clustersOf(5, {{0, 1}, {1, 2}, {2, 3}, {3, 4}}, -1).members, (Members{{1, 0, 2, 3, 4}}));
}

TEST(LiteralClusters, WhoWaitsWhenAStarIsFullStaysAlone) {
  const Clusters clusters = clustersOf(6, {{3, 0}, {3, 1}, {3, 2}, {3, 4}}, 3);
  EXPECT_EQ(clusters.members, (Members{{3, 0, 1}}));
  EXPECT_EQ(clusters.densities, (std::vector<double>{4.0 / 6}));
}

TEST(LiteralClusters, WhoWaitedStartsALaterCluster) {
  // 0 takes 1 and 2; 3 waits and then finds 4.
  EXPECT_EQ(clustersOf(5, {{0, 1}, {0, 2}, {0, 3}, {3, 4}}, 3).members, (Members{{0, 1, 2}, {3, 4}}));
}

TEST(LiteralClusters, SingletonsAreDropped) {
  EXPECT_EQ(clustersOf(3, {{1, 1}}, 10).members, Members{});
  EXPECT_EQ(clustersOf(3, {{0, 1}, {1, 2}}, 1).members, Members{});
  EXPECT_EQ(clustersOf(0, {}, 10).members, Members{});
}

TEST(LiteralClusters, AnEdgeToItselfCountsOnce) {
  // (0,0), (0,1), (1,0) of two ordered pairs; 1 alone has but one neighbour and comes second.
  const Clusters clusters = clustersOf(2, {{1, 0}, {0, 0}, {0, 1}}, 10);
  EXPECT_EQ(clusters.members, (Members{{0, 1}}));
  EXPECT_EQ(clusters.densities, (std::vector<double>{1.5}));
}

TEST(LiteralPageRank, IsEqualInACycle) {
  for (const double rank : pageRank(successorsOf(4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}), 10, 0.1, 0.15)) {
    EXPECT_DOUBLE_EQ(rank, 0.25);
  }
}

TEST(LiteralPageRank, OfOneEdgeIsThatOfTheStepsByHand) {
  // (.5 .5), (.2875 .7125), (.3778125 .6221875), (.3394296875 .6605703125): the last step is below 0.1.
  const Successors edge = successorsOf(2, {{0, 1}, {0, 1}});
  const std::vector<double> one = pageRank(edge, 1, 0.1, 0.15);
  EXPECT_NEAR(one[0], 0.2875, 1e-15);
  EXPECT_NEAR(one[1], 0.7125, 1e-15);
  const std::vector<double> three = pageRank(edge, 10, 0.1, 0.15);
  EXPECT_NEAR(three[0], 0.3394296875, 1e-15);
  EXPECT_NEAR(three[1], 0.6605703125, 1e-15);
  const std::vector<double> reversed = pageRank(transposed(edge), 10, 0.1, 0.15);
  EXPECT_EQ(reversed[0], three[1]);
  EXPECT_EQ(reversed[1], three[0]);
}

TEST(LiteralPageRank, OfOneNodeStaysOne) {
  EXPECT_EQ(pageRank(Successors(1), 10, 0.1, 0.15), (std::vector<double>{1}));
}

TEST(LiteralPageRank, SharesARankOverTheSuccessors) {
  // One step from 1/3 each: 1 and 2 get .425/3, and all a third of what is missing to 1.
  const std::vector<double> ranks = pageRank(successorsOf(3, {{0, 1}, {0, 2}}), 1, 0.1, 0.15);
  const double missing = (1 - 0.85 / 3) / 3;
  EXPECT_NEAR(ranks[0], missing, 1e-15);
  EXPECT_NEAR(ranks[1], 0.425 / 3 + missing, 1e-15);
  EXPECT_EQ(ranks[1], ranks[2]);
}

}  // namespace
}  // namespace literal
