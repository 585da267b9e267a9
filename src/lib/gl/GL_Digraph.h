#ifndef GL_DIGRAPH_H
#define GL_DIGRAPH_H

#include <map>

#include "gl/GL_GraphBase.h"
#include "mat/MAT_MDArray.h"

/// A directed graph.
///
/// Errors: misuse is an internal error that ends the process with status 1; the texts stand at the operations.
class Digraph : public GraphBase {
 public:
  Digraph(std::size_t numNodes, std::span<const GL_Edge> edges) : GraphBase(1, numNodes, edges) {}

  /// Turns each edge (a, b) into (b, a).
  void transpose() { lists.transpose(); }

  /// The page rank of each node, by power iteration from 1/n.
  ///
  /// A step is r' = M r with M of transitionMatrix, plus (1 - s)/n for each element, where s is the sum of M r: that is
  /// the jump and the mass of the nodes without successors together. All sums add in ascending order of nodes, so the
  /// result is that of the product with the array, bit by bit.
  ///
  /// result:        receives one element per node; none for a graph without nodes.
  /// maxIterations: steps at most; the first one is made in any case, as for 1.
  /// tolerance:     the steps end when the sum of the absolute differences of two vectors is not above it.
  /// Cost:          nodes and edges, a step.
  void pageRank(std::vector<double>& result, std::int32_t maxIterations, double tolerance,
                double jumpProbability) const;

  /// The sparse n by n array M of the probabilities of a step: M[i, j] = 1/k (1 - jumpProbability) for each of the k
  /// successors i of j, else 0.
  MDArray<double> transitionMatrix(double jumpProbability) const;

  /// Values of edges, in the order of the edges.
  using EdgeValues = std::map<GL_Edge, double>;

  /// The maximum flow from the source to the sink along augmenting paths, as far as they are found without residual
  /// edges.
  ///
  /// A path follows the lowest successor of each node. An edge that leads nowhere and one whose capacity falls to 0 are
  /// taken out of the graph: graph and capacities are consumed.
  ///
  /// Requires:   no cycle on the way of the search, for it does not mark what it visited.
  /// capacities: an entry for each edge; receives what is left.
  /// flow:       receives an entry for each edge of a path; what was in it is dropped.
  /// Errors:     "Max flow called where source same as destination"; those of checkCapacity, and its text also if no
  /// edge
  ///             of a path has a finite capacity; a source or sink that is no node; "Max flow called on a graph with a
  ///             cycle".
  void maxFlow(GL_Node source, GL_Node sink, EdgeValues& capacities, EdgeValues& flow);

  /// Errors: "Capacity not defined properly" if an edge has no entry.
  void checkCapacity(const EdgeValues& capacities) const;
  /// Errors: "Flow not defined properly" if an edge has no entry; "Positive flow defined on anti-parallel edges" if
  /// both
  ///         an edge (a, b) and (b, a) of two nodes have a flow above 0. In ascending order of the edges.
  void checkFlow(const EdgeValues& flows) const;

 private:
  /// The lowest path; false if there is none (any more). Takes out the edges that lead nowhere.
  bool findPath(GL_Node source, GL_Node sink, std::vector<GL_Edge>& path);
};

#endif  // GL_DIGRAPH_H
