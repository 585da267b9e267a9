#ifndef TESTS_GROUPS_LITERAL_GROUPS_H
#define TESTS_GROUPS_LITERAL_GROUPS_H

// Groups of callers as they are told, worker by worker and pass by pass: the slow twin of the group analysis.

#include <map>
#include <optional>
#include <string>

#include "literal_kernel.h"

namespace literal {

struct GroupParameters : KernelParameters {
  int minClusterSize = 1;
  int maxClusterSize = 100;
  int numIterationsConnectingNodes = 1;
  int numIterationsCollectingEdges = 1;
  bool connectsByNumbers = false;   ///< the order of numbers; a cutoff from all pairs has it, too
  int maxNodesCollectingEdges = 0;  ///< nodes of a slice; 0: slices are told by their number
};

using NodePair = std::pair<std::uint64_t, std::uint64_t>;
using NodePairs = std::vector<NodePair>;

struct GroupResult {
  bool failed = false;  ///< no cutoff could be found; nothing else holds then
  std::string clustersCsv;
  std::string nodesCsv;
  double cutoff = 0;                                   ///< 0 from a kernel values file
  std::vector<std::vector<KernelValue>> keptByWorker;  ///< by rank; nothing from a kernel values file

  std::size_t numClusters = 0;                   ///< initial ones, of any size
  std::map<std::uint64_t, int> nodeToCluster;    ///< from 1, after connecting
  std::map<std::uint64_t, int> nodeToIteration;  ///< pass in which a node was connected; 0 for core nodes
  std::vector<int> clusterSizes;                 ///< [c - 1]; counts a node as often as it was connected
  int refusedProposals = 0;                      ///< nodes that found their cluster full, over all passes
  std::vector<std::pair<int, int>> slices;       ///< least and greatest cluster number of each
};

/// A whole run. With kernelPairs it starts from the pairs of a kernel values file.
GroupResult runGroups(const std::vector<Line>& lines, const GroupParameters& parameters, int numWorkers,
                      const std::optional<NodePairs>& kernelPairs = std::nullopt);

/// The pairs of the text of a kernel values file. The empty last line behind a line end is a pair of zeros.
NodePairs readKernelValues(const std::string& text);

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_GROUPS_H
