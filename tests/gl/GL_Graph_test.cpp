#include "gl/GL_Graph.h"

#include <type_traits>

#include "gl/literal_graphs.h"
#include "support/internal_error.h"

namespace {

using Clusters = std::vector<std::vector<GL_Node>>;

/// The clusters of a graph; the densities beside.
struct Clustering {
  Clustering(std::size_t numNodes, const std::vector<GL_Edge>& edges, std::int32_t maxClusterSize) {
    // What was in the results does not stay.
    list = {{7, 7, 7}};
    densities = {9, 9};
    Graph(numNodes, edges).clusters(list, maxClusterSize, densities);
  }
  Clusters list;
  std::vector<double> densities;
};

std::vector<GL_Edge> path(GL_Node numNodes) {
  std::vector<GL_Edge> edges;
  for (GL_Node v = 0; v + 1 < numNodes; ++v) edges.emplace_back(v, v + 1);
  return edges;
}

std::vector<GL_Edge> cycle(GL_Node numNodes) {
  auto edges = path(numNodes);
  edges.emplace_back(numNodes - 1, 0);
  return edges;
}

/// Node 0 in the middle.
std::vector<GL_Edge> star(GL_Node numNodes) {
  std::vector<GL_Edge> edges;
  for (GL_Node v = 1; v < numNodes; ++v) edges.emplace_back(0, v);
  return edges;
}

void addClique(std::vector<GL_Edge>& edges, GL_Node first, GL_Node last) {
  for (GL_Node a = first; a <= last; ++a) {
    for (GL_Node b = a + 1; b <= last; ++b) edges.emplace_back(a, b);
  }
}

}  // namespace

TEST(Graph, EntersNeighboursBothWays) {
  const Graph graph(3, std::vector<GL_Edge>{{2, 0}, {2, 1}, {2, 0}});
  EXPECT_EQ(graph.getNumNodes(), 3U);
  EXPECT_EQ(graph.getNumEdges(), 4U);
  EXPECT_EQ(graph.getDirected(), 0);
  const auto found = graph.getSuccessors(2);
  EXPECT_EQ(std::vector<GL_Node>(found.begin(), found.end()), (std::vector<GL_Node>{0, 1}));
  EXPECT_EQ(graph.getSuccessors(0).size(), 1U);
  EXPECT_INTERNAL_ERROR(graph.getSuccessors(3), "Trying to access node 3 in graph of size 3",
                        "src/lib/gl/GL_AdjacencyLists");
  EXPECT_TRUE(std::is_abstract_v<GraphBase>);
  EXPECT_TRUE(std::has_virtual_destructor_v<GraphBase>);
}

TEST(Graph, NoNodesHaveNoClusters) {
  const Clustering result(0, {}, 3);
  EXPECT_EQ(result.list, Clusters());
  EXPECT_EQ(result.densities, std::vector<double>());
}

TEST(Graph, IsolatedNodeIsNoCluster) {
  const Clustering result(4, {{1, 3}}, -1);
  EXPECT_EQ(result.list, (Clusters{{1, 3}}));
  EXPECT_EQ(result.densities, std::vector{1.0});
  EXPECT_EQ(Clustering(3, {}, -1).list, Clusters());
}

TEST(Graph, LowerNodeOfEqualDegreeStarts) {
  // Degrees: 3 of node 5, 2 of 1, 2 and 3, 1 of the others. From 5: 0, 4, 6. Then of 1, 2 and 3 the lowest.
  const std::vector<GL_Edge> edges = {{5, 0}, {5, 4}, {5, 6}, {3, 2}, {2, 1}, {1, 3}};
  EXPECT_EQ(Clustering(7, edges, -1).list, (Clusters{{5, 0, 4, 6}, {1, 2, 3}}));
}

TEST(Graph, PathWithACapOfThree) {
  // 1 to 6 have degree 2. From 1: 0 and 2 enter, and with three members the cluster is full. From 3: 4 enters (2 is
  // covered), from it 5. 6 and 7 are left.
  const Clustering result(8, path(8), 3);
  EXPECT_EQ(result.list, (Clusters{{1, 0, 2}, {3, 4, 5}, {6, 7}}));
  // Two edges, each seen from both ends, of 3 * 2 pairs; one of 2 * 1.
  EXPECT_EQ(result.densities, (std::vector{4.0 / 6, 4.0 / 6, 1.0}));
}

TEST(Graph, RestOfTheQueueIsServedByLaterStarts) {
  // From 0 all four others enter at once, but three find room. The last is free again, and has nobody.
  EXPECT_EQ(Clustering(5, star(5), 4).list, (Clusters{{0, 1, 2, 3}}));
  // With a neighbour of its own the last has somebody.
  auto edges = star(5);
  edges.emplace_back(4, 5);
  EXPECT_EQ(Clustering(6, edges, 4).list, (Clusters{{0, 1, 2, 3}, {4, 5}}));
}

TEST(Graph, QueueThatFillsTheClusterLeavesNoRoom) {
  // From 0 the nodes 1, 2 and 3 enter; 4, a neighbour of 1, would be the fifth.
  const std::vector<GL_Edge> edges = {{0, 1}, {0, 2}, {0, 3}, {1, 4}};
  EXPECT_EQ(Clustering(5, edges, 4).list, (Clusters{{0, 1, 2, 3}}));
  EXPECT_EQ(Clustering(5, edges, 5).list, (Clusters{{0, 1, 2, 3, 4}}));
}

TEST(Graph, SmallLimits) {
  EXPECT_EQ(Clustering(4, path(4), 0).list, Clusters());
  EXPECT_EQ(Clustering(4, path(4), 1).list, Clusters());
  EXPECT_EQ(Clustering(4, path(4), 2).list, (Clusters{{1, 0}, {2, 3}}));
  EXPECT_EQ(Clustering(4, path(4), -1).list, (Clusters{{1, 0, 2, 3}}));
  EXPECT_EQ(Clustering(4, path(4), -2147483647 - 1).list, (Clusters{{1, 0, 2, 3}}));
  EXPECT_EQ(Clustering(4, path(4), 2147483647).list, (Clusters{{1, 0, 2, 3}}));
}

TEST(Graph, CycleIsOneCluster) {
  const Clustering result(6, cycle(6), -1);
  EXPECT_EQ(result.list, (Clusters{{0, 1, 5, 2, 4, 3}}));
  EXPECT_EQ(result.densities, std::vector{12.0 / 30});
}

TEST(Graph, TwoCliquesAreTwoClusters) {
  std::vector<GL_Edge> edges;
  addClique(edges, 0, 3);
  addClique(edges, 4, 8);
  const Clustering apart(9, edges, -1);
  EXPECT_EQ(apart.list, (Clusters{{4, 5, 6, 7, 8}, {0, 1, 2, 3}}));
  EXPECT_EQ(apart.densities, (std::vector{1.0, 1.0}));

  // A bridge from 3 to 4: 4 has the highest degree, and its cluster takes 3 first.
  edges.emplace_back(3, 4);
  const Clustering joined(9, edges, 5);
  EXPECT_EQ(joined.list, (Clusters{{4, 3, 5, 6, 7}, {0, 1, 2}}));
  // Of 20 pairs the clique of 4, 5, 6, 7 has 12, the bridge has 2.
  EXPECT_EQ(joined.densities, (std::vector{14.0 / 20, 1.0}));
}

TEST(Graph, EdgeOfANodeToItselfIsOneNeighbour) {
  // Node 1 starts for its degree of 2; the pair (1, 1) counts.
  const Clustering result(2, {{0, 1}, {1, 1}}, -1);
  EXPECT_EQ(result.list, (Clusters{{1, 0}}));
  EXPECT_EQ(result.densities, std::vector{1.5});
  EXPECT_EQ(Clustering(1, {{0, 0}}, -1).list, Clusters());
}

TEST(Graph, RepeatedEdgesCountOnce) {
  // Node 2 has the highest degree, although 0 and 1 have more edges.
  const Clustering result(5, {{0, 1}, {1, 0}, {0, 1}, {2, 3}, {2, 4}}, -1);
  EXPECT_EQ(result.list, (Clusters{{2, 3, 4}, {0, 1}}));
  EXPECT_EQ(result.densities, (std::vector{4.0 / 6, 1.0}));
}

TEST(Graph, ClustersAreThoseOfTheLiteralModel) {
  for (unsigned seed = 1; seed <= 600; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t numNodes = 1 + random() % 150;
    const auto edges = randomEdges(random, numNodes, random() % (3 * numNodes));
    const auto maxClusterSize = static_cast<std::int32_t>(random() % 12) - 1;
    const Clustering result(numNodes, edges, maxClusterSize);
    const auto expected = literalClusters(literalLists(numNodes, edges, true), maxClusterSize);
    ASSERT_EQ(result.list, expected.list) << "limit " << maxClusterSize;
    ASSERT_EQ(result.densities, expected.densities) << "limit " << maxClusterSize;
  }
}

TEST(Graph, ManySmallClustersOfALargeGraph) {
  // Clearing what a cluster queued for the whole graph would take 200000 times 400000 steps here.
  constexpr GL_Node numPairs = 200000;
  std::vector<GL_Edge> edges;
  for (GL_Node v = 0; v < numPairs; ++v) edges.emplace_back(v, v + numPairs);
  const Clustering result(2 * numPairs, edges, 100);
  ASSERT_EQ(result.list.size(), numPairs);
  EXPECT_EQ(result.list[numPairs - 1], (std::vector<GL_Node>{numPairs - 1, 2 * numPairs - 1}));
  EXPECT_EQ(result.densities, std::vector(numPairs, 1.0));
}
