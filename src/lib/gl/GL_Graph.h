#ifndef GL_GRAPH_H
#define GL_GRAPH_H

#include "gl/GL_GraphBase.h"

/// An undirected graph.
class Graph : public GraphBase {
 public:
  Graph(std::size_t numNodes, std::span<const GL_Edge> edges) : GraphBase(0, numNodes, edges) {}

  /// Cuts the graph into clusters of neighbours of limited size.
  ///
  /// A cluster starts at the free node of the highest degree (of these the lowest number) and takes nodes from a queue,
  /// first in, first out. The free neighbours of a node that is taken enter the queue together, ascending, if the
  /// members and the queue together are below the limit then. At the limit, the rest of the queue is free again. The
  /// degree of a node is the number of its distinct neighbours; a node with an edge to itself is one of them.
  ///
  /// list:           receives the clusters of two members and more in the order in which they were made, each with its
  ///                 members in the order in which they were reached.
  /// maxClusterSize: a negative one is the number of nodes; below 2 there are no clusters.
  /// densities:      receives, for each cluster of m members in the list, e / ((m - 1) m), where e is the number of
  /// ordered
  ///                 pairs (u, v) of members with v among the neighbours of u, so an edge (u, u) counts once.
  /// Cost:           linear in nodes and edges.
  void clusters(std::vector<std::vector<GL_Node>>& list, std::int32_t maxClusterSize,
                std::vector<double>& densities) const;

 private:
  /// The nodes by descending degree; nodes of a degree ascend.
  std::vector<GL_Node> startOrder() const;
  std::vector<double> densitiesOf(const std::vector<std::vector<GL_Node>>& list) const;
};

#endif  // GL_GRAPH_H
