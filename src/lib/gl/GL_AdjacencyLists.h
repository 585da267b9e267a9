#ifndef GL_ADJACENCY_LISTS_H
#define GL_ADJACENCY_LISTS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

/// The number of a node, from 0.
using GL_Node = std::uint32_t;
/// An ordered pair of nodes.
using GL_Edge = std::pair<GL_Node, GL_Node>;

/// The set of successors of each node, ascending.
///
/// The sets lie one behind the other in one array, 4 bytes a successor, with 16 bytes a node beside.
/// Errors: a node number at or beyond the number of nodes is an internal error that ends the process with status 1:
///         "Trying to access node ", the number, " in graph of size ", the size.
class GL_AdjacencyLists {
 public:
  enum class Direction {
    Forward,  ///< an edge (a, b) enters b among the successors of a
    Both      ///< and a among those of b
  };

  /// A repeated edge has no further effect. Cost: linear but for the sorting of each set.
  GL_AdjacencyLists(std::size_t numNodes, std::span<const GL_Edge> edges, Direction direction);

  std::size_t getNumNodes() const { return lists.size(); }
  /// The sum of the sizes of all sets. Cost: linear in the nodes.
  std::size_t getNumEdges() const;
  /// A view that is valid until the lists change.
  std::span<const GL_Node> getSuccessors(GL_Node node) const {
    checkNode(node);
    return {successors.data() + lists[node].begin, successors.data() + lists[node].end};
  }
  bool hasEdge(GL_Edge edge) const;
  /// Takes the edge out, if it is there. Cost: constant for the lowest successor, else linear in those below.
  void removeEdge(GL_Edge edge);
  /// Turns each edge (a, b) into (b, a). Cost: linear.
  void transpose();

  void checkNode(GL_Node node) const {
    if (node >= lists.size()) stopAtNode(node);
  }

 private:
  /// Places in the array of successors; begin moves up when an edge is taken out.
  struct List {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  [[noreturn]] void stopAtNode(GL_Node node) const;
  /// From the sizes that the ends hold to places for as many; the ends are at the begins then.
  void layOut();
  void append(GL_Node from, GL_Node to) { successors[lists[from].end++] = to; }

  std::vector<List> lists;
  std::vector<GL_Node> successors;
};

#endif  // GL_ADJACENCY_LISTS_H
