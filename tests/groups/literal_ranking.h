#ifndef TESTS_GROUPS_LITERAL_RANKING_H
#define TESTS_GROUPS_LITERAL_RANKING_H

// Ranks of the members of final clusters, and the two result files.

#include <functional>

#include "literal_graph.h"
#include "literal_groups.h"

namespace literal {

/// A member in one of the two rankings of its cluster.
struct RankedNode {
  std::uint64_t node;
  double rank;
  int degree;
  double weightedDegree;  ///< sum of the ranks of its successors
};

/// A cluster of the results. Both rankings hold the same nodes.
struct RankedCluster {
  std::vector<RankedNode> asItStands;  ///< type 1
  std::vector<RankedNode> reversed;    ///< type 2
};

/// The members that have an edge, ranked. Edges lead from caller to callee.
RankedCluster rankCluster(const NodePairs& edges);

/// The clusters of a slice in the order in which the workers' results come together: the i-th, from 1, is of the worker
/// i modulo their number.
std::vector<RankedCluster> analyzeClusters(const std::vector<NodePairs>& clusterEdges, int numWorkers);

struct ClusterNumbers {
  double density;
  double kernelDensity;
};

std::string clustersHeader();
std::string nodesHeader();
std::string clusterRow(int group, const RankedCluster& cluster, const ClusterNumbers& numbers,
                       const std::map<std::uint64_t, int>& nodeToIteration);
std::string nodeRows(int group, const RankedCluster& cluster, const std::map<std::uint64_t, int>& nodeToIteration);

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_RANKING_H
