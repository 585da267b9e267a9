#ifndef GL_GRAPH_BASE_H
#define GL_GRAPH_BASE_H

#include "gl/GL_AdjacencyLists.h"

/// A graph of nodes with compact numbers, from 0 to the number of nodes less 1.
class GraphBase {
 public:
  virtual ~GraphBase() = 0;

  std::size_t getNumNodes() const { return lists.getNumNodes(); }
  std::size_t getNumEdges() const { return lists.getNumEdges(); }
  /// 1 for a directed graph, else 0.
  int getDirected() const { return directed; }
  /// Ascending; of an undirected graph the neighbours. Errors and lifetime: as of GL_AdjacencyLists.
  std::span<const GL_Node> getSuccessors(GL_Node node) const { return lists.getSuccessors(node); }

 protected:
  /// Errors: a node of an edge that is beyond the number of nodes.
  GraphBase(int directedFlag, std::size_t numNodes, std::span<const GL_Edge> edges)
      : lists(numNodes, edges,
              directedFlag == 0 ? GL_AdjacencyLists::Direction::Both : GL_AdjacencyLists::Direction::Forward),
        directed(directedFlag) {}
  GraphBase(const GraphBase&) = default;
  GraphBase& operator=(const GraphBase&) = default;

  GL_AdjacencyLists lists;

 private:
  int directed;
};

inline GraphBase::~GraphBase() = default;

#endif  // GL_GRAPH_BASE_H
