#ifndef TESTS_GL_LITERAL_GRAPHS_H
#define TESTS_GL_LITERAL_GRAPHS_H

#include <map>
#include <random>
#include <set>
#include <vector>

#include "gl/GL_AdjacencyLists.h"

// Slow, literal forms of what the graphs do: ordered sets, dense matrices, queues and recursion.

using LiteralLists = std::vector<std::set<GL_Node>>;
using LiteralValues = std::map<GL_Edge, double>;

LiteralLists literalLists(std::size_t numNodes, const std::vector<GL_Edge>& edges, bool bothWays);

struct LiteralClusters {
  std::vector<std::vector<GL_Node>> list;
  std::vector<double> densities;
};
LiteralClusters literalClusters(const LiteralLists& neighbours, long maxClusterSize);

std::vector<double> literalPageRank(const LiteralLists& successors, int maxIterations, double tolerance,
                                    double jumpProbability);

/// The flow; consumes the graph and the capacities.
LiteralValues literalMaxFlow(LiteralLists& successors, GL_Node source, GL_Node sink, LiteralValues& capacities);

/// Pairs of random nodes, also repeated ones and pairs of a node with itself; half of them have a low number, so that
/// degrees differ.
std::vector<GL_Edge> randomEdges(std::mt19937& random, std::size_t numNodes, std::size_t numEdges);

/// The same for an acyclic graph: the first node is the lower one.
std::vector<GL_Edge> randomAscendingEdges(std::mt19937& random, std::size_t numNodes, std::size_t numEdges);

#endif  // TESTS_GL_LITERAL_GRAPHS_H
