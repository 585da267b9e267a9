#include "gl/GL_Digraph.h"

#include <cmath>
#include <limits>

#include "gl/literal_graphs.h"
#include "support/internal_error.h"

namespace {

using Edges = std::vector<GL_Edge>;
using EdgeValues = Digraph::EdgeValues;

constexpr const char* digraphFile = "src/lib/gl/GL_Digraph";

LiteralLists setsOf(const Digraph& graph) {
  LiteralLists sets;
  for (GL_Node v = 0; v < graph.getNumNodes(); ++v) {
    const auto found = graph.getSuccessors(v);
    sets.emplace_back(found.begin(), found.end());
  }
  return sets;
}

std::vector<double> pageRank(std::size_t numNodes, const Edges& edges, std::int32_t maxIterations, double tolerance,
                             double jumpProbability) {
  std::vector<double> result = {9, 9};  // does not stay
  Digraph(numNodes, edges).pageRank(result, maxIterations, tolerance, jumpProbability);
  return result;
}

/// The page rank by the operations of arrays.
std::vector<double> arrayPageRank(const Digraph& graph, int maxIterations, double tolerance, double jumpProbability) {
  const auto n = static_cast<std::uint32_t>(graph.getNumNodes());
  const MDArray<double> matrix = graph.transitionMatrix(jumpProbability);
  MDArray<double> rank({n}, std::vector<double>(n, 1.0 / n));
  for (int t = 1;; ++t) {
    MDArray<double> next = matrix.product(rank);
    next.add((1 - next.sum()) / n);
    double difference = 0;
    for (std::uint64_t i = 0; i < n; ++i) difference += std::abs(next.get(i) - rank.get(i));
    rank = next;
    if (!(difference > tolerance) || t >= maxIterations) break;
  }
  std::vector<double> result;
  for (std::uint64_t i = 0; i < n; ++i) result.push_back(rank.get(i));
  return result;
}

/// Runs maxFlow and keeps what it leaves.
struct Flow {
  Flow(std::size_t numNodes, const EdgeValues& values, GL_Node source, GL_Node sink)
      : graph(numNodes, edgesOf(values)), capacities(values) {
    graph.maxFlow(source, sink, capacities, flow);
  }
  static Edges edgesOf(const EdgeValues& values) {
    Edges edges;
    for (const auto& [edge, value] : values) edges.push_back(edge);
    return edges;
  }
  Digraph graph;
  EdgeValues capacities;
  EdgeValues flow = {{{8, 9}, 7.0}};  // does not stay
};

void checkFlow(const Edges& edges, const EdgeValues& flows) { Digraph(4, edges).checkFlow(flows); }

}  // namespace

TEST(Digraph, EdgeGoesOneWay) {
  const Digraph graph(3, Edges{{2, 0}, {2, 1}, {2, 0}});
  EXPECT_EQ(graph.getDirected(), 1);
  EXPECT_EQ(setsOf(graph), (LiteralLists{{}, {}, {0, 1}}));
}

TEST(Digraph, TransposeReversesTheEdges) {
  Digraph graph(3, Edges{{2, 0}, {2, 1}, {1, 1}, {0, 2}});
  graph.transpose();
  EXPECT_EQ(setsOf(graph), (LiteralLists{{2}, {1, 2}, {0}}));
  graph.transpose();
  EXPECT_EQ(setsOf(graph), (LiteralLists{{2}, {1}, {0, 1}}));
}

TEST(Digraph, TransitionMatrixHoldsTheSharesOfSuccessors) {
  const auto matrix = Digraph(3, Edges{{0, 1}, {0, 2}, {1, 1}}).transitionMatrix(0.25);
  EXPECT_EQ(matrix.getDimensionSizes(), (DimensionSizes{3, 3}));
  EXPECT_EQ(matrix.get({1, 0}), 0.375);
  EXPECT_EQ(matrix.get({2, 0}), 0.375);
  EXPECT_EQ(matrix.get({1, 1}), 0.75);
  EXPECT_EQ(matrix.sum(), 1.5);
  EXPECT_EQ(matrix.count(0.0), 6U);
  // What the jump takes away whole is not stored.
  EXPECT_EQ(Digraph(2, Edges{{0, 1}}).transitionMatrix(1).count(0.0), 4U);
}

TEST(Digraph, PageRankOfOneNodeIsOne) {
  EXPECT_EQ(pageRank(1, {}, 10, 0.1, 0.15), std::vector{1.0});
  EXPECT_EQ(pageRank(1, {}, 1, 0, 0.15), std::vector{1.0});
  EXPECT_EQ(pageRank(1, {{0, 0}}, 10, 0.1, 0.5), std::vector{1.0});
}

TEST(Digraph, PageRankOfNoNodesIsEmpty) { EXPECT_EQ(pageRank(0, {}, 10, 0.1, 0.15), std::vector<double>()); }

TEST(Digraph, FirstStepIsCorrected) {
  // From (1/2, 1/2): M r = (0, 1/4), and 3/4 are spread: (3/8, 5/8).
  EXPECT_EQ(pageRank(2, {{0, 1}}, 1, 0, 0.5), (std::vector{0.375, 0.625}));
  // From there M r = (0, 3/16), and 13/16 are spread.
  EXPECT_EQ(pageRank(2, {{0, 1}}, 2, 0, 0.5), (std::vector{0.40625, 0.59375}));
}

TEST(Digraph, StepsAreAtLeastOne) {
  EXPECT_EQ(pageRank(2, {{0, 1}}, 0, 0, 0.5), (std::vector{0.375, 0.625}));
  EXPECT_EQ(pageRank(2, {{0, 1}}, -5, 0, 0.5), (std::vector{0.375, 0.625}));
}

TEST(Digraph, StepsEndWhenTheDifferenceIsNotAboveTheTolerance) {
  // The first step moves 1/8 from one node to the other: the difference is 1/4.
  EXPECT_EQ(pageRank(2, {{0, 1}}, 2, 0.25, 0.5), (std::vector{0.375, 0.625}));
  EXPECT_EQ(pageRank(2, {{0, 1}}, 2, 0.2499, 0.5), (std::vector{0.40625, 0.59375}));
  EXPECT_EQ(pageRank(2, {{0, 1}}, 2, std::nan(""), 0.5), (std::vector{0.375, 0.625}));
}

TEST(Digraph, PageRankOfACycleIsUniform) {
  const auto result = pageRank(4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}, 100, 0, 0.15);
  for (const double value : result) EXPECT_NEAR(value, 0.25, 1e-15);
}

TEST(Digraph, PageRankSolvesItsEquation) {
  // A star into node 0, n = 5, d = 0.15: leaves x, middle y, with x = 0.15/5 + 0.85 y/5 (the middle has no successor)
  // and y = x + 4 * 0.85 x; so y = 4.4 x and x = 0.03 / (1 - 0.17 * 4.4).
  const auto result = pageRank(5, {{1, 0}, {2, 0}, {3, 0}, {4, 0}}, 1000, 0, 0.15);
  const double leaf = 0.03 / (1 - 0.17 * 4.4);
  EXPECT_NEAR(result[0], 4.4 * leaf, 1e-14);
  for (std::size_t i = 1; i < 5; ++i) EXPECT_NEAR(result[i], leaf, 1e-14);
}

TEST(Digraph, PageRankIsThatOfTheArraysBitByBit) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t numNodes = 1 + random() % 60;
    const auto edges = randomEdges(random, numNodes, random() % (4 * numNodes));
    const auto maxIterations = static_cast<int>(random() % 20);
    const double tolerance = std::pow(10.0, -static_cast<double>(random() % 8));
    const double jumpProbability = static_cast<double>(random() % 101) / 100;
    const auto result = pageRank(numNodes, edges, maxIterations, tolerance, jumpProbability);
    ASSERT_EQ(result, arrayPageRank(Digraph(numNodes, edges), maxIterations, tolerance, jumpProbability));
    ASSERT_EQ(result, literalPageRank(literalLists(numNodes, edges, false), maxIterations, tolerance, jumpProbability));
  }
}

TEST(Digraph, FlowFollowsTheLowestSuccessors) {
  // 0 -> 1 -> 3 takes 2, of (0, 1) 1 is left, and goes by 1 -> 2 -> 3; then 0 -> 2 -> 3 takes what 2 -> 3 has left.
  const Flow run(4, {{{0, 1}, 3}, {{0, 2}, 5}, {{1, 3}, 4}, {{1, 2}, 1}, {{2, 3}, 2}}, 0, 3);
  EXPECT_EQ(run.flow, (EdgeValues{{{0, 1}, 3}, {{0, 2}, 1}, {{1, 2}, 1}, {{1, 3}, 2}, {{2, 3}, 2}}));
  EXPECT_EQ(run.capacities, (EdgeValues{{{0, 1}, 0}, {{0, 2}, 4}, {{1, 2}, 0}, {{1, 3}, 2}, {{2, 3}, 0}}));
  // (0, 2) has led nowhere in the end.
  EXPECT_EQ(setsOf(run.graph), (LiteralLists{{}, {3}, {}, {}}));
}

TEST(Digraph, FlowDoesNotGoBack) {
  // A residual edge would find 2; the first path takes the edge in the middle.
  const Flow run(4, {{{0, 1}, 1}, {{0, 2}, 1}, {{1, 2}, 1}, {{1, 3}, 1}, {{2, 3}, 1}}, 0, 3);
  EXPECT_EQ(run.flow, (EdgeValues{{{0, 1}, 1}, {{1, 2}, 1}, {{2, 3}, 1}}));
}

TEST(Digraph, EdgeToADeadEndIsGoneAfterTheFirstSearch) {
  // 1 and 2 lead nowhere; node 5 is on the way of no search.
  const Flow run(6, {{{0, 1}, 1}, {{1, 2}, 1}, {{0, 3}, 2}, {{3, 4}, 3}, {{5, 1}, 1}}, 0, 4);
  EXPECT_EQ(run.flow, (EdgeValues{{{0, 3}, 2}, {{3, 4}, 2}}));
  EXPECT_EQ(setsOf(run.graph), (LiteralLists{{}, {}, {}, {4}, {}, {1}}));
  EXPECT_EQ(run.capacities.at({0, 1}), 1);
}

TEST(Digraph, NoPathIsNoFlow) {
  const Flow run(3, {{{1, 2}, 1}}, 0, 2);
  EXPECT_EQ(run.flow, EdgeValues());
  EXPECT_EQ(setsOf(run.graph), (LiteralLists{{}, {2}, {}}));
}

TEST(Digraph, CapacitiesOfNoUseTakeNoFlow) {
  const Flow run(3, {{{0, 1}, 0}, {{1, 2}, 5}}, 0, 2);
  EXPECT_EQ(run.flow, (EdgeValues{{{0, 1}, 0}, {{1, 2}, 0}}));
  EXPECT_EQ(setsOf(run.graph), (LiteralLists{{}, {2}, {}}));
}

TEST(Digraph, LargestCapacityIsUsedUp) {
  constexpr double largest = std::numeric_limits<double>::max();
  EXPECT_EQ(Flow(2, {{{0, 1}, largest}}, 0, 1).flow, (EdgeValues{{{0, 1}, largest}}));
  constexpr double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Flow(3, {{{0, 1}, infinite}, {{1, 2}, 4}}, 0, 2).flow, (EdgeValues{{{0, 1}, 4}, {{1, 2}, 4}}));
}

TEST(Digraph, LongPathNeedsNoDeepStack) {
  constexpr GL_Node numNodes = 2000000;
  Edges edges;
  for (GL_Node v = 0; v + 1 < numNodes; ++v) edges.emplace_back(v, v + 1);
  Digraph graph(numNodes, edges);
  EdgeValues capacities;
  for (const GL_Edge& edge : edges) capacities.emplace_hint(capacities.end(), edge, 2.0);
  EdgeValues flow;
  graph.maxFlow(0, numNodes - 1, capacities, flow);
  EXPECT_EQ(flow.size(), edges.size());
  EXPECT_EQ(flow.at({numNodes - 2, numNodes - 1}), 2.0);
  EXPECT_EQ(graph.getNumEdges(), 0U);
}

TEST(Digraph, FlowIsThatOfTheLiteralModel) {
  for (unsigned seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t numNodes = 2 + random() % 30;
    const auto edges = randomAscendingEdges(random, numNodes, random() % (5 * numNodes));
    EdgeValues capacities;
    for (const GL_Edge& edge : edges) capacities[edge] = static_cast<double>(random() % 6) + 0.1;
    const auto source = static_cast<GL_Node>(random() % (numNodes / 2));
    const auto sink = static_cast<GL_Node>(numNodes - 1 - random() % (numNodes / 2));
    LiteralLists lists = literalLists(numNodes, edges, false);
    EdgeValues left = capacities;
    const EdgeValues expected = literalMaxFlow(lists, source, sink, left);

    const Flow run(numNodes, capacities, source, sink);
    ASSERT_EQ(run.flow, expected);
    ASSERT_EQ(run.capacities, left);
    ASSERT_EQ(setsOf(run.graph), lists);
    // What flows into a node flows out of it, within the capacities.
    std::vector<double> balance(numNodes);
    for (const auto& [edge, value] : run.flow) {
      ASSERT_LE(value, capacities.at(edge) + 1e-12);
      balance[edge.first] -= value;
      balance[edge.second] += value;
    }
    balance[source] = balance[sink] = 0;
    for (const double value : balance) ASSERT_NEAR(value, 0, 1e-12);
  }
}

TEST(Digraph, FlowNeedsTwoNodes) {
  EXPECT_INTERNAL_ERROR(Flow(2, {{{0, 1}, 1}}, 1, 1), "Max flow called where source same as destination", digraphFile);
  const char* const listsFile = "src/lib/gl/GL_AdjacencyLists";
  EXPECT_INTERNAL_ERROR(Flow(2, {{{0, 1}, 1}}, 2, 1), "Trying to access node 2 in graph of size 2", listsFile);
  EXPECT_INTERNAL_ERROR(Flow(2, {{{0, 1}, 1}}, 0, 3), "Trying to access node 3 in graph of size 2", listsFile);
}

TEST(Digraph, FlowNeedsACapacityForEachEdge) {
  Digraph graph(3, Edges{{0, 1}, {1, 2}});
  EdgeValues capacities = {{{0, 1}, 1}, {{2, 1}, 1}};
  EdgeValues flow;
  const std::string message = "Capacity not defined properly";
  EXPECT_INTERNAL_ERROR(graph.checkCapacity(capacities), message, digraphFile);
  EXPECT_INTERNAL_ERROR(graph.maxFlow(0, 2, capacities, flow), message, digraphFile);
  // Further entries do not matter.
  capacities[{1, 2}] = 1;
  graph.checkCapacity(capacities);
  graph.maxFlow(0, 2, capacities, flow);
  EXPECT_EQ(flow.size(), 2U);

  // No path would ever be used up.
  constexpr double infinite = std::numeric_limits<double>::infinity();
  EXPECT_INTERNAL_ERROR(Flow(3, {{{0, 1}, infinite}, {{1, 2}, infinite}}, 0, 2), message, digraphFile);
  EXPECT_INTERNAL_ERROR(Flow(2, {{{0, 1}, std::nan("")}}, 0, 1), message, digraphFile);
}

TEST(Digraph, FlowAcceptsNoCycle) {
  EXPECT_INTERNAL_ERROR(Flow(4, {{{0, 1}, 1}, {{1, 2}, 1}, {{2, 1}, 1}, {{2, 3}, 1}}, 0, 3),
                        "Max flow called on a graph with a cycle", digraphFile);
  // One that is on the way of no search does no harm; nor does a path through every node.
  EXPECT_EQ(Flow(4, {{{0, 1}, 1}, {{2, 3}, 1}, {{3, 2}, 1}}, 0, 1).flow, (EdgeValues{{{0, 1}, 1}}));
  EXPECT_EQ(Flow(4, {{{0, 1}, 1}, {{1, 2}, 1}, {{2, 3}, 1}}, 0, 3).flow.size(), 3U);
}

TEST(Digraph, FlowsAreDefinedForEachEdge) {
  checkFlow({{0, 1}, {1, 2}}, {{{0, 1}, 1}, {{1, 2}, 0}, {{3, 0}, 1}});
  EXPECT_INTERNAL_ERROR(checkFlow({{0, 1}, {1, 2}}, {{{0, 1}, 1}}), "Flow not defined properly", digraphFile);
  EXPECT_INTERNAL_ERROR(checkFlow({{0, 1}, {1, 0}}, {{{0, 1}, 1}}), "Flow not defined properly", digraphFile);
}

TEST(Digraph, FlowsGoOneWay) {
  checkFlow({{0, 1}, {1, 0}}, {{{0, 1}, 1}, {{1, 0}, 0}});
  checkFlow({{0, 1}, {1, 0}}, {{{0, 1}, 0}, {{1, 0}, 1}});
  checkFlow({{0, 1}, {1, 0}}, {{{0, 1}, -1}, {{1, 0}, 1}});
  // An edge of a node with itself is no pair; flows without an edge are none either.
  checkFlow({{2, 2}}, {{{2, 2}, 1}});
  checkFlow({{0, 1}}, {{{0, 1}, 1}, {{1, 0}, 1}});
  EXPECT_INTERNAL_ERROR(checkFlow({{0, 1}, {1, 0}}, {{{0, 1}, 1}, {{1, 0}, 2}}),
                        "Positive flow defined on anti-parallel edges", digraphFile);
  EXPECT_INTERNAL_ERROR(
      checkFlow({{0, 3}, {2, 1}, {1, 2}, {3, 0}}, {{{0, 3}, 0}, {{3, 0}, 1}, {{1, 2}, 1}, {{2, 1}, 1}}),
      "Positive flow defined on anti-parallel edges", digraphFile);
}
