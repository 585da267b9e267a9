#include "gl/GL_Graph.h"

#include <algorithm>
#include <limits>

std::vector<GL_Node> Graph::startOrder() const {
  const auto numNodes = static_cast<GL_Node>(getNumNodes());
  std::size_t maxDegree = 0;
  for (GL_Node v = 0; v < numNodes; ++v) maxDegree = std::max(maxDegree, getSuccessors(v).size());

  // A counting sort: places[d] is the place of the next node of degree d, behind all nodes of higher degree.
  std::vector<std::size_t> places(maxDegree + 2);
  for (GL_Node v = 0; v < numNodes; ++v) ++places[getSuccessors(v).size()];
  std::size_t place = 0;
  for (std::size_t degree = maxDegree + 1; degree-- > 0;) {
    const std::size_t count = places[degree];
    places[degree] = place;
    place += count;
  }
  std::vector<GL_Node> order(numNodes);
  for (GL_Node v = 0; v < numNodes; ++v) order[places[getSuccessors(v).size()]++] = v;
  return order;
}

void Graph::clusters(std::vector<std::vector<GL_Node>>& list, std::int32_t maxClusterSize,
                     std::vector<double>& densities) const {
  list.clear();
  densities.clear();
  if (getNumNodes() == 0) return;
  const std::size_t maxSize = maxClusterSize < 0 ? getNumNodes() : static_cast<std::size_t>(maxClusterSize);

  // A node is taken if a cluster covers it or the queue of the open one holds it. The queue keeps what was taken from
  // it: its first numMembers nodes are the cluster.
  std::vector<bool> taken(getNumNodes());
  std::vector<GL_Node> queue;
  for (const GL_Node start : startOrder()) {
    if (taken[start]) continue;
    queue.assign(1, start);
    taken[start] = true;
    std::size_t numMembers = 0;
    do {
      const GL_Node v = queue[numMembers++];
      // Members and queue together are all that is in the vector; further nodes would find no room.
      if (queue.size() >= maxSize) continue;
      for (const GL_Node w : getSuccessors(v)) {
        if (taken[w]) continue;
        taken[w] = true;
        queue.push_back(w);
      }
    } while (numMembers < queue.size() && numMembers < maxSize);
    for (std::size_t i = numMembers; i < queue.size(); ++i) taken[queue[i]] = false;
    if (numMembers > 1) list.emplace_back(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(numMembers));
  }
  densities = densitiesOf(list);
}

std::vector<double> Graph::densitiesOf(const std::vector<std::vector<GL_Node>>& list) const {
  constexpr std::size_t fetchAhead = 4;
  // No list has so many clusters of two members.
  constexpr GL_Node noCluster = std::numeric_limits<GL_Node>::max();
  std::vector<GL_Node> clusterOf(getNumNodes(), noCluster);
  for (GL_Node c = 0; c < list.size(); ++c) {
    for (const GL_Node v : list[c]) clusterOf[v] = c;
  }
  std::vector<double> densities;
  densities.reserve(list.size());
  for (GL_Node c = 0; c < list.size(); ++c) {
    std::size_t numPairs = 0;
    for (std::size_t i = 0; i < list[c].size(); ++i) {
      // The lists of a cluster lie anywhere in a large graph.
      if (i + fetchAhead < list[c].size()) __builtin_prefetch(getSuccessors(list[c][i + fetchAhead]).data());
      for (const GL_Node v : getSuccessors(list[c][i])) numPairs += clusterOf[v] == c ? 1 : 0;
    }
    const auto m = static_cast<double>(list[c].size());
    densities.push_back(static_cast<double>(numPairs) / ((m - 1) * m));
  }
  return densities;
}
