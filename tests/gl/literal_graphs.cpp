#include "gl/literal_graphs.h"

#include <algorithm>
#include <cmath>
#include <deque>

LiteralLists literalLists(std::size_t numNodes, const std::vector<GL_Edge>& edges, bool bothWays) {
  LiteralLists lists(numNodes);
  for (const auto& [a, b] : edges) {
    lists.at(a).insert(b);
    if (bothWays) lists.at(b).insert(a);
  }
  return lists;
}

LiteralClusters literalClusters(const LiteralLists& neighbours, long maxClusterSize) {
  LiteralClusters result;
  const std::size_t n = neighbours.size();
  if (n == 0) return result;
  if (maxClusterSize < 0) maxClusterSize = static_cast<long>(n);
  const auto limit = static_cast<std::size_t>(maxClusterSize);

  std::map<std::size_t, std::vector<GL_Node>, std::greater<>> nodesOfDegree;
  for (GL_Node v = 0; v < n; ++v) nodesOfDegree[neighbours[v].size()].push_back(v);
  std::vector<GL_Node> startOrder;
  for (const auto& [degree, nodes] : nodesOfDegree) startOrder.insert(startOrder.end(), nodes.begin(), nodes.end());

  std::vector<std::vector<GL_Node>> all;
  std::vector<bool> covered(n);
  for (const GL_Node start : startOrder) {
    if (covered[start]) continue;
    std::vector<GL_Node> cluster;
    std::vector<bool> queued(n);
    std::deque<GL_Node> queue = {start};
    queued[start] = true;
    do {
      const GL_Node v = queue.front();
      queue.pop_front();
      covered[v] = true;
      queued[v] = true;
      cluster.push_back(v);
      if (cluster.size() + queue.size() < limit) {
        for (const GL_Node w : neighbours[v]) {
          if (covered[w] || queued[w]) continue;
          queue.push_back(w);
          queued[w] = true;
        }
      }
    } while (!queue.empty() && cluster.size() < limit);
    all.push_back(cluster);
  }

  for (const auto& cluster : all) {
    if (cluster.size() == 1) continue;
    double e = 0;
    for (const GL_Node u : cluster) {
      for (const GL_Node v : cluster) e += neighbours[u].contains(v) ? 1 : 0;
    }
    const auto m = static_cast<double>(cluster.size());
    result.list.push_back(cluster);
    result.densities.push_back(e / ((m - 1) * m));
  }
  return result;
}

std::vector<double> literalPageRank(const LiteralLists& successors, int maxIterations, double tolerance,
                                    double jumpProbability) {
  const std::size_t n = successors.size();
  std::vector<std::vector<double>> matrix(n, std::vector<double>(n));
  for (std::size_t j = 0; j < n; ++j) {
    const auto k = static_cast<double>(successors[j].size());
    for (const GL_Node i : successors[j]) matrix[i][j] = (1 / k) * (1 - jumpProbability);
  }
  std::vector<double> r(n, 1 / static_cast<double>(n));
  for (int t = 1;; ++t) {
    std::vector<double> next(n);
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) next[i] += matrix[i][j] * r[j];
    }
    double s = 0;
    for (const double value : next) s += value;
    for (double& value : next) value += (1 - s) / static_cast<double>(n);
    double e = 0;
    for (std::size_t i = 0; i < n; ++i) e += std::abs(next[i] - r[i]);
    r = next;
    if (!(e > tolerance) || t >= maxIterations) return r;
  }
}

namespace {

bool searchPath(LiteralLists& successors, GL_Node v, GL_Node sink, const LiteralValues& capacities,
                std::vector<GL_Edge>& path, double& bottleneck) {
  if (v == sink) {
    bottleneck = 1.7976931348623157e308;
    return true;
  }
  while (!successors[v].empty()) {
    const GL_Node w = *successors[v].begin();
    path.emplace_back(v, w);
    if (searchPath(successors, w, sink, capacities, path, bottleneck)) {
      if (capacities.at({v, w}) < bottleneck) bottleneck = capacities.at({v, w});
      return true;
    }
    path.pop_back();
    successors[v].erase(w);
  }
  return false;
}

}  // namespace

LiteralValues literalMaxFlow(LiteralLists& successors, GL_Node source, GL_Node sink, LiteralValues& capacities) {
  LiteralValues flow;
  std::vector<GL_Edge> path;
  double bottleneck = 0;
  while (searchPath(successors, source, sink, capacities, path, bottleneck)) {
    for (const GL_Edge& edge : path) {
      flow[edge] += bottleneck;
      capacities[edge] -= bottleneck;
      if (capacities[edge] == 0) successors[edge.first].erase(edge.second);
    }
    path.clear();
  }
  return flow;
}

std::vector<GL_Edge> randomEdges(std::mt19937& random, std::size_t numNodes, std::size_t numEdges) {
  const auto node = [&] {
    const auto any = static_cast<GL_Node>(random() % numNodes);
    return random() % 2 == 0 ? any : any / 4;
  };
  std::vector<GL_Edge> edges;
  for (std::size_t i = 0; i < numEdges; ++i) {
    const GL_Node from = node();
    edges.emplace_back(from, node());
  }
  return edges;
}

std::vector<GL_Edge> randomAscendingEdges(std::mt19937& random, std::size_t numNodes, std::size_t numEdges) {
  std::vector<GL_Edge> edges;
  for (const auto& [a, b] : randomEdges(random, numNodes, numEdges)) {
    if (a != b) edges.emplace_back(std::minmax(a, b));
  }
  return edges;
}
