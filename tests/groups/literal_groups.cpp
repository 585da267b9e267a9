#include "literal_groups.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <sstream>

#include "literal_graph.h"
#include "literal_ranking.h"

namespace literal {

namespace {

struct Proposal {
  std::uint64_t node;
  int cluster;
};

class GroupRun {
 public:
  GroupRun(const std::vector<Line>& theLines, const GroupParameters& theParameters, int theNumWorkers)
      : lines(theLines), parameters(theParameters), numWorkers(theNumWorkers) {}

  GroupResult run(const std::optional<NodePairs>& kernelPairs) {
    if (kernelPairs) {
      buildInitialClusters(*kernelPairs);
    } else {
      const KernelResult kernel = runKernel(lines, parameters, numWorkers);
      result.failed = kernel.failed;
      if (result.failed) return result;
      result.cutoff = kernel.cutoff;
      result.keptByWorker = kernel.keptByWorker;
      buildInitialClusters(kernelEdges());
    }
    connectNodes();
    for (sliceNumber = 1;; ++sliceNumber) {
      chooseSlice();
      const std::vector<NodePairs> clusterEdges = buildFinalClusters(collectEdges());
      std::vector<RankedCluster> clusters = analyzeClusters(clusterEdges, numWorkers);
      if (isByNumbers()) {
        std::sort(clusters.begin(), clusters.end(), [&](const RankedCluster& a, const RankedCluster& b) {
          return clusterOf(a.asItStands.front().node) < clusterOf(b.asItStands.front().node);
        });
      }
      printResults(clusters);
      if (greatest >= numClusters()) return result;
    }
  }

 private:
  bool isByNumbers() const { return parameters.connectsByNumbers || parameters.cutoffFromAllPairs; }
  int numClusters() const { return static_cast<int>(result.numClusters); }
  int& sizeOf(int cluster) { return result.clusterSizes.at(static_cast<std::size_t>(cluster - 1)); }
  int clusterOf(std::uint64_t node) const {
    const auto found = result.nodeToCluster.find(node);
    return found == result.nodeToCluster.end() ? 0 : found->second;
  }

  NodePairs kernelEdges() const {
    NodePairs edges;
    for (const auto& kept : result.keptByWorker) {
      for (const KernelValue& value : kept) {
        if (value.column != value.row) edges.emplace_back(value.column, value.row);
      }
    }
    if (isByNumbers()) std::sort(edges.begin(), edges.end());
    return edges;
  }

  void buildInitialClusters(const NodePairs& pairs) {
    std::map<std::uint64_t, std::size_t> compact;
    std::vector<std::uint64_t> nodes;
    const auto numberOf = [&](std::uint64_t node) {
      const auto [entry, isNew] = compact.emplace(node, nodes.size());
      if (isNew) nodes.push_back(node);
      return entry->second;
    };
    std::vector<NodeEdge> edges;
    for (const auto& [a, b] : pairs) {
      // The second number is looked up first.
      const std::size_t second = numberOf(b);
      edges.emplace_back(numberOf(a), second);
    }
    const Clusters clusters = clustersOf(nodes.size(), edges, parameters.maxClusterSize);
    result.numClusters = clusters.members.size();
    kernelDensities = clusters.densities;
    densities.assign(result.numClusters, 0);
    for (std::size_t i = 0; i < result.numClusters; ++i) {
      for (const std::size_t node : clusters.members[i]) {
        result.nodeToCluster[nodes[node]] = static_cast<int>(i + 1);
        result.nodeToIteration[nodes[node]] = 0;
      }
      result.clusterSizes.push_back(static_cast<int>(clusters.members[i].size()));
    }
  }

  /// The cluster that most contacts of a row are in; 0 for none. The first that reached the count wins.
  int bestCluster(const Row& row) const {
    std::map<int, int> counts;
    int best = 0;
    int bestCount = 0;
    for (const double contact : row) {
      if (!(contact > 0)) break;
      const int cluster = clusterOf(static_cast<std::uint64_t>(contact));
      if (cluster == 0) continue;
      if (++counts[cluster] > bestCount) {
        bestCount = counts[cluster];
        best = cluster;
      }
    }
    return best;
  }

  std::vector<Proposal> proposals() const {
    std::vector<Proposal> all;
    for (int rank = 0; rank < numWorkers; ++rank) {
      SparseToDense sparseData;
      for (const Line& line : shareOf(lines, rank, numWorkers)) {
        const std::optional<Record> record = sparseData.update(line);
        if (!record || clusterOf(record->sample) != 0) continue;
        const int cluster = bestCluster(record->row);
        if (cluster != 0) all.push_back({record->sample, cluster});
      }
    }
    if (isByNumbers()) {
      std::stable_sort(all.begin(), all.end(), [](const Proposal& a, const Proposal& b) { return a.node < b.node; });
    }
    return all;
  }

  void connectNodes() {
    if (parameters.numIterationsConnectingNodes < 1) return;
    for (int pass = 1;; ++pass) {
      bool changed = false;
      for (const auto& [node, cluster] : proposals()) {
        if (sizeOf(cluster) >= parameters.maxClusterSize) {
          ++result.refusedProposals;
          continue;
        }
        result.nodeToCluster[node] = cluster;
        result.nodeToIteration[node] = pass;
        ++sizeOf(cluster);
        changed = true;
      }
      if (!changed || pass == parameters.numIterationsConnectingNodes) return;
    }
  }

  void chooseSlice() {
    const int n = numClusters();
    if (parameters.maxNodesCollectingEdges == 0) {
      const int slices = parameters.numIterationsCollectingEdges;
      const int p = static_cast<int>(std::ceil(static_cast<double>(n) / slices));
      least = (sliceNumber - 1) * p + 1;
      greatest = sliceNumber == slices ? n : least + p - 1;
    } else {
      least = sliceNumber == 1 ? 1 : greatest + 1;
      greatest = least;
      if (greatest < n) {
        int sum = sizeOf(least);
        while (greatest < n && sum + sizeOf(greatest + 1) <= parameters.maxNodesCollectingEdges) {
          sum += sizeOf(greatest + 1);
          ++greatest;
        }
      }
    }
    result.slices.emplace_back(least, greatest);
  }

  NodePairs collectEdges() const {
    NodePairs edges;
    for (int rank = 0; rank < numWorkers; ++rank) {
      SparseToDense sparseData;
      for (const Line& line : shareOf(lines, rank, numWorkers)) {
        const std::uint64_t sample = sampleOf(line);
        if (coveredNodes.contains(sample)) continue;
        if (clusterOf(sample) < least || clusterOf(sample) > greatest) continue;
        const std::optional<Record> record = sparseData.update(line);
        if (record) addEdges(*record, edges);
      }
    }
    if (isByNumbers()) std::sort(edges.begin(), edges.end());
    return edges;
  }

  void addEdges(const Record& record, NodePairs& edges) const {
    const int cluster = clusterOf(record.sample);
    if (cluster == 0) return;
    std::set<std::uint64_t> known;
    for (const double element : record.row) {
      if (!(element > 0)) return;
      const auto contact = static_cast<std::uint64_t>(element);
      if (!known.insert(contact).second) continue;
      if (contact != record.sample && clusterOf(contact) == cluster) edges.emplace_back(record.sample, contact);
    }
  }

  /// The edges of the relevant clusters that have one, cluster after cluster.
  std::vector<NodePairs> buildFinalClusters(const NodePairs& edges) {
    std::map<int, NodePairs> byCluster;
    for (int c = least; c <= greatest && c <= numClusters(); ++c) {
      if (sizeOf(c) >= parameters.minClusterSize && sizeOf(c) <= parameters.maxClusterSize) byCluster[c];
    }
    for (const auto& [node, cluster] : result.nodeToCluster) {
      if (byCluster.contains(cluster)) coveredNodes.insert(node);
    }
    for (const NodePair& edge : edges) {
      const auto list = byCluster.find(clusterOf(edge.first));
      if (list != byCluster.end()) list->second.push_back(edge);
    }
    std::vector<NodePairs> clusterEdges;
    for (const auto& [cluster, list] : byCluster) {
      if (list.empty()) continue;
      const double m = sizeOf(cluster);
      densities.at(static_cast<std::size_t>(cluster - 1)) = static_cast<double>(list.size()) / ((m - 1) * m);
      clusterEdges.push_back(list);
    }
    return clusterEdges;
  }

  void printResults(const std::vector<RankedCluster>& clusters) {
    if (sliceNumber == 1) {
      result.clustersCsv = clustersHeader();
      result.nodesCsv = nodesHeader();
    }
    int group = least;
    for (const RankedCluster& cluster : clusters) {
      const auto c = static_cast<std::size_t>(clusterOf(cluster.asItStands.front().node) - 1);
      result.clustersCsv +=
          clusterRow(group, cluster, {densities.at(c), kernelDensities.at(c)}, result.nodeToIteration);
      result.nodesCsv += nodeRows(group, cluster, result.nodeToIteration);
      ++group;
    }
  }

  const std::vector<Line>& lines;
  const GroupParameters& parameters;
  int numWorkers;
  GroupResult result;
  std::vector<double> kernelDensities;  // [c - 1]
  std::vector<double> densities;        // [c - 1]
  std::set<std::uint64_t> coveredNodes;
  int sliceNumber = 0;
  int least = 0;
  int greatest = 0;
};

}  // namespace

GroupResult runGroups(const std::vector<Line>& lines, const GroupParameters& parameters, int numWorkers,
                      const std::optional<NodePairs>& kernelPairs) {
  return GroupRun(lines, parameters, numWorkers).run(kernelPairs);
}

NodePairs readKernelValues(const std::string& text) {
  NodePairs pairs;
  std::istringstream file(text);
  while (!file.eof()) {
    std::string line;
    std::getline(file, line);
    std::istringstream items(line);
    std::string first;
    std::string second;
    std::getline(items, first, ',');
    std::getline(items, second, ',');
    pairs.emplace_back(std::strtoull(first.c_str(), nullptr, 0), std::strtoull(second.c_str(), nullptr, 0));
  }
  return pairs;
}

}  // namespace literal
