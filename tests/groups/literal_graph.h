#ifndef TESTS_GROUPS_LITERAL_GRAPH_H
#define TESTS_GROUPS_LITERAL_GRAPH_H

// Clusters of capped size and page rank as they are told, over sets and a dense matrix. Nodes are 0..n-1.

#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace literal {

using NodeEdge = std::pair<std::size_t, std::size_t>;
using Successors = std::vector<std::set<std::size_t>>;  ///< by node

struct Clusters {
  std::vector<std::vector<std::size_t>> members;  ///< two or more in each, in the order in which they were reached
  std::vector<double> densities;                  ///< ordered pairs joined by an edge, of all ordered pairs
};

/// Of the undirected graph of these edges.
Clusters clustersOf(std::size_t numNodes, const std::vector<NodeEdge>& edges, int maxClusterSize);

/// The lists of the directed graph of these edges.
Successors successorsOf(std::size_t numNodes, const std::vector<NodeEdge>& edges);
Successors transposed(const Successors& successors);

std::vector<double> pageRank(const Successors& successors, int maxIterations, double tolerance, double jumpProbability);

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_GRAPH_H
