#include "gl/GL_AdjacencyLists.h"

#include "gl/literal_graphs.h"
#include "support/internal_error.h"

namespace {

using Direction = GL_AdjacencyLists::Direction;

constexpr const char* listsFile = "src/lib/gl/GL_AdjacencyLists";

LiteralLists setsOf(const GL_AdjacencyLists& lists) {
  LiteralLists sets(lists.getNumNodes());
  for (GL_Node v = 0; v < lists.getNumNodes(); ++v) {
    const auto found = lists.getSuccessors(v);
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end())) << v;
    sets[v].insert(found.begin(), found.end());
    EXPECT_EQ(sets[v].size(), found.size()) << v;
  }
  return sets;
}

std::size_t numEdgesOf(const LiteralLists& sets) {
  std::size_t count = 0;
  for (const auto& set : sets) count += set.size();
  return count;
}

}  // namespace

TEST(GLAdjacencyLists, EdgeEntersItsSecondNodeOnly) {
  const std::vector<GL_Edge> edges = {{2, 1}, {2, 0}, {0, 2}, {2, 1}, {1, 1}};
  const GL_AdjacencyLists lists(4, edges, Direction::Forward);
  EXPECT_EQ(setsOf(lists), (LiteralLists{{2}, {1}, {0, 1}, {}}));
  EXPECT_EQ(lists.getNumEdges(), 4U);
}

TEST(GLAdjacencyLists, EdgeOfBothDirectionsEntersBothNodes) {
  const std::vector<GL_Edge> edges = {{2, 1}, {2, 0}, {0, 2}, {2, 1}, {1, 1}};
  const GL_AdjacencyLists lists(4, edges, Direction::Both);
  EXPECT_EQ(setsOf(lists), (LiteralLists{{2}, {1, 2}, {0, 1}, {}}));
  EXPECT_EQ(lists.getNumEdges(), 5U);
}

TEST(GLAdjacencyLists, HoldTheSetsOfRandomEdges) {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t numNodes = 1 + random() % 40;
    const auto edges = randomEdges(random, numNodes, random() % 200);
    for (const Direction direction : {Direction::Forward, Direction::Both}) {
      GL_AdjacencyLists lists(numNodes, edges, direction);
      LiteralLists sets = literalLists(numNodes, edges, direction == Direction::Both);
      ASSERT_EQ(setsOf(lists), sets);
      for (int i = 0; i < 60; ++i) {
        const GL_Edge edge(random() % numNodes, random() % numNodes);
        ASSERT_EQ(lists.hasEdge(edge), sets[edge.first].contains(edge.second));
        lists.removeEdge(edge);
        sets[edge.first].erase(edge.second);
      }
      ASSERT_EQ(setsOf(lists), sets);
      ASSERT_EQ(lists.getNumEdges(), numEdgesOf(sets));

      lists.transpose();
      LiteralLists reversed(numNodes);
      for (GL_Node a = 0; a < numNodes; ++a) {
        for (const GL_Node b : sets[a]) reversed[b].insert(a);
      }
      ASSERT_EQ(setsOf(lists), reversed);
    }
  }
}

TEST(GLAdjacencyLists, NoNodesAndNoEdges) {
  GL_AdjacencyLists none(0, {}, Direction::Both);
  EXPECT_EQ(none.getNumNodes(), 0U);
  EXPECT_EQ(none.getNumEdges(), 0U);
  none.transpose();
  GL_AdjacencyLists lists(2, {}, Direction::Forward);
  lists.transpose();
  lists.removeEdge({1, 0});
  EXPECT_EQ(setsOf(lists), (LiteralLists{{}, {}}));
}

TEST(GLAdjacencyLists, NodeBeyondTheSizeEndsTheProcess) {
  GL_AdjacencyLists lists(3, {}, Direction::Forward);
  EXPECT_TRUE(lists.getSuccessors(2).empty());
  const auto message = [](const std::string& node) { return "Trying to access node " + node + " in graph of size 3"; };
  EXPECT_INTERNAL_ERROR(lists.getSuccessors(3), message("3"), listsFile);
  EXPECT_INTERNAL_ERROR(lists.getSuccessors(4294967295), message("4294967295"), listsFile);
  EXPECT_INTERNAL_ERROR(lists.hasEdge({3, 0}), message("3"), listsFile);
  EXPECT_INTERNAL_ERROR(lists.removeEdge({5, 0}), message("5"), listsFile);
  EXPECT_INTERNAL_ERROR(GL_AdjacencyLists(0, {}, Direction::Both).getSuccessors(0),
                        "Trying to access node 0 in graph of size 0", listsFile);
}

TEST(GLAdjacencyLists, EdgeOfANodeBeyondTheSizeEndsTheProcess) {
  const std::string message = "Trying to access node 3 in graph of size 3";
  const std::vector<GL_Edge> first = {{0, 1}, {3, 0}};
  const std::vector<GL_Edge> second = {{0, 1}, {0, 3}};
  for (const Direction direction : {Direction::Forward, Direction::Both}) {
    EXPECT_INTERNAL_ERROR(GL_AdjacencyLists(3, first, direction), message, listsFile);
    EXPECT_INTERNAL_ERROR(GL_AdjacencyLists(3, second, direction), message, listsFile);
  }
}
