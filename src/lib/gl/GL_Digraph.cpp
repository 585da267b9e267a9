#include "gl/GL_Digraph.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/BASE_Exception.h"

namespace {

constexpr const char* reportedFile = "src/lib/gl/GL_Digraph";
constexpr const char* undefinedCapacity = "Capacity not defined properly";

/// The share that each of a node's successors gets of its rank.
double stepProbability(std::size_t numSuccessors, double jumpProbability) {
  return 1.0 / static_cast<double>(numSuccessors) * (1.0 - jumpProbability);
}

}  // namespace

void Digraph::pageRank(std::vector<double>& result, std::int32_t maxIterations, double tolerance,
                       double jumpProbability) const {
  result.clear();
  if (getNumNodes() == 0) return;
  const auto numNodes = static_cast<GL_Node>(getNumNodes());
  const auto n = static_cast<double>(numNodes);

  std::vector<double> probabilities(numNodes);
  for (GL_Node j = 0; j < numNodes; ++j) probabilities[j] = stepProbability(getSuccessors(j).size(), jumpProbability);

  std::vector<double> rank(numNodes, 1.0 / n);
  std::vector<double> next(numNodes);
  double difference = 0;
  std::int32_t t = 0;
  do {
    std::fill(next.begin(), next.end(), 0.0);
    // Column by column: each element gets its terms in ascending order of j.
    for (GL_Node j = 0; j < numNodes; ++j) {
      const double share = probabilities[j] * rank[j];
      for (const GL_Node i : getSuccessors(j)) next[i] += share;
    }
    double sum = 0;
    for (const double value : next) sum += value;
    const double correction = (1.0 - sum) / n;
    difference = 0;
    for (GL_Node i = 0; i < numNodes; ++i) {
      next[i] += correction;
      difference += std::abs(next[i] - rank[i]);
    }
    rank.swap(next);
    ++t;
  } while (difference > tolerance && t < maxIterations);
  result = std::move(rank);
}

MDArray<double> Digraph::transitionMatrix(double jumpProbability) const {
  const auto numNodes = static_cast<GL_Node>(getNumNodes());
  MDArray<double> matrix({numNodes, numNodes}, 0.0);
  for (GL_Node j = 0; j < numNodes; ++j) {
    const auto found = getSuccessors(j);
    for (const GL_Node i : found) matrix.set(Indexes{i, j}, stepProbability(found.size(), jumpProbability));
  }
  return matrix;
}

void Digraph::maxFlow(GL_Node source, GL_Node sink, EdgeValues& capacities, EdgeValues& flow) {
  if (source == sink) {
    BASE_StopOnInternalError("Max flow called where source same as destination", reportedFile, __LINE__);
  }
  lists.checkNode(source);
  lists.checkNode(sink);
  checkCapacity(capacities);
  flow.clear();

  std::vector<GL_Edge> path;
  while (findPath(source, sink, path)) {
    double bottleneck = std::numeric_limits<double>::max();
    for (const GL_Edge& edge : path) bottleneck = std::min(bottleneck, capacities[edge]);
    bool isUsedUp = false;
    for (const GL_Edge& edge : path) {
      flow[edge] += bottleneck;
      double& capacity = capacities[edge];
      capacity -= bottleneck;
      if (capacity != 0) continue;
      lists.removeEdge(edge);
      isUsedUp = true;
    }
    // The same path would be found for ever. That takes capacities that are all infinite or no numbers.
    if (!isUsedUp) BASE_StopOnInternalError(undefinedCapacity, reportedFile, __LINE__);
  }
}

bool Digraph::findPath(GL_Node source, GL_Node sink, std::vector<GL_Edge>& path) {
  path.clear();
  for (GL_Node v = source; v != sink;) {
    if (const auto found = getSuccessors(v); !found.empty()) {
      if (path.size() == getNumNodes()) {
        BASE_StopOnInternalError("Max flow called on a graph with a cycle", reportedFile, __LINE__);
      }
      path.emplace_back(v, found.front());
      v = found.front();
    } else {
      if (path.empty()) return false;
      v = path.back().first;
      lists.removeEdge(path.back());
      path.pop_back();
    }
  }
  return true;
}

void Digraph::checkCapacity(const EdgeValues& capacities) const {
  for (GL_Node a = 0; a < getNumNodes(); ++a) {
    for (const GL_Node b : getSuccessors(a)) {
      if (!capacities.contains({a, b})) BASE_StopOnInternalError(undefinedCapacity, reportedFile, __LINE__);
    }
  }
}

void Digraph::checkFlow(const EdgeValues& flows) const {
  for (GL_Node a = 0; a < getNumNodes(); ++a) {
    for (const GL_Node b : getSuccessors(a)) {
      const auto flow = flows.find({a, b});
      if (flow == flows.end()) BASE_StopOnInternalError("Flow not defined properly", reportedFile, __LINE__);
      // The entry of (b, a) has been seen before.
      if (a > b && lists.hasEdge({b, a}) && flow->second > 0 && flows.at({b, a}) > 0) {
        BASE_StopOnInternalError("Positive flow defined on anti-parallel edges", reportedFile, __LINE__);
      }
    }
  }
}
