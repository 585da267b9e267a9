#include "literal_graph.h"

#include <cmath>
#include <deque>
#include <map>

namespace literal {

namespace {

/// Nodes by falling number of neighbours, equal ones by number.
std::vector<std::size_t> startOrder(const Successors& neighbours) {
  std::map<std::size_t, std::vector<std::size_t>> byDegree;
  for (std::size_t node = 0; node < neighbours.size(); ++node) byDegree[neighbours[node].size()].push_back(node);
  std::vector<std::size_t> order;
  for (auto degree = byDegree.rbegin(); degree != byDegree.rend(); ++degree) {
    order.insert(order.end(), degree->second.begin(), degree->second.end());
  }
  return order;
}

double densityOf(const std::vector<std::size_t>& members, const Successors& neighbours) {
  std::size_t pairs = 0;
  for (const std::size_t u : members) {
    for (const std::size_t v : members) pairs += neighbours[u].count(v);
  }
  const auto m = static_cast<double>(members.size());
  return static_cast<double>(pairs) / ((m - 1) * m);
}

}  // namespace

Clusters clustersOf(std::size_t numNodes, const std::vector<NodeEdge>& edges, int maxClusterSize) {
  const std::size_t limit = maxClusterSize < 0 ? numNodes : static_cast<std::size_t>(maxClusterSize);
  Successors neighbours(numNodes);
  for (const auto& [a, b] : edges) {
    neighbours[a].insert(b);
    neighbours[b].insert(a);
  }
  Clusters clusters;
  std::set<std::size_t> covered;
  for (const std::size_t start : startOrder(neighbours)) {
    if (covered.contains(start)) continue;
    std::vector<std::size_t> members;
    std::deque<std::size_t> queue{start};
    std::set<std::size_t> queued{start};
    do {
      const std::size_t v = queue.front();
      queue.pop_front();
      covered.insert(v);
      members.push_back(v);
      // Asked once a node: all of its free neighbours may then wait, more than there is room for.
      if (members.size() + queue.size() < limit) {
        for (const std::size_t neighbour : neighbours[v]) {
          if (!covered.contains(neighbour) && queued.insert(neighbour).second) queue.push_back(neighbour);
        }
      }
    } while (!queue.empty() && members.size() < limit);
    if (members.size() == 1) continue;
    clusters.members.push_back(members);
    clusters.densities.push_back(densityOf(members, neighbours));
  }
  return clusters;
}

Successors successorsOf(std::size_t numNodes, const std::vector<NodeEdge>& edges) {
  Successors successors(numNodes);
  for (const auto& [a, b] : edges) successors[a].insert(b);
  return successors;
}

Successors transposed(const Successors& successors) {
  Successors reversed(successors.size());
  for (std::size_t a = 0; a < successors.size(); ++a) {
    for (const std::size_t b : successors[a]) reversed[b].insert(a);
  }
  return reversed;
}

std::vector<double> pageRank(const Successors& successors, int maxIterations, double tolerance,
                             double jumpProbability) {
  const std::size_t n = successors.size();
  const auto count = static_cast<double>(n);
  std::vector<std::vector<double>> matrix(n, std::vector<double>(n));
  for (std::size_t j = 0; j < n; ++j) {
    const auto k = static_cast<double>(successors[j].size());
    for (const std::size_t i : successors[j]) matrix[i][j] = (1 / k) * (1 - jumpProbability);
  }
  std::vector<double> ranks(n, 1 / count);
  for (int t = 1;; ++t) {
    std::vector<double> next(n);
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) next[i] += matrix[i][j] * ranks[j];
      sum += next[i];
    }
    const double correction = (1 - sum) / count;
    double difference = 0;
    for (std::size_t i = 0; i < n; ++i) {
      next[i] += correction;
      difference += std::fabs(next[i] - ranks[i]);
    }
    ranks = next;
    if (difference <= tolerance || t >= maxIterations) return ranks;
  }
}

}  // namespace literal
