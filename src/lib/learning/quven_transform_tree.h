#ifndef QUVEN_TRANSFORM_TREE_H
#define QUVEN_TRANSFORM_TREE_H

// Merges the segments of a feature transform bottom-up, and keeps the merges that the evaluation data favour.

#include <cstdint>
#include <limits>
#include <string>

#include "kernel/quven_model.h"

/// A set of initial segments: one for a leaf, those of both children otherwise.
class QUVENTransformTreeNode : public QUVENObjectOf<QUVENTransformTreeNode, QUVENObject> {
 public:
  static constexpr double NoCost = std::numeric_limits<double>::max();
  static constexpr double Unusable = -1.0;
  static constexpr std::int32_t None = -1;

  bool isInFrontier() const { return previous != None; }
  bool isUsable() const { return vol >= 0; }
  /// Whether the node is so small that its merges go before all others.
  bool isLow() const { return vol < 1.0; }

  QUVEN_STATE(segments, QUVENXaRay<std::int32_t>);
  QUVEN_STATE(mergeCosts, QUVENXaRay<double>);  // by node of a lower index; NoCost where no merge is allowed
  QUVEN_STATE(vol, double) = Unusable;
  QUVEN_STATE(bestCost, double) = NoCost;
  QUVEN_STATE(bestLowCost, double) = NoCost;
  QUVEN_STATE(best, std::int32_t) = None;
  QUVEN_STATE(bestLow, std::int32_t) = None;  // the best among the merges in which a node isLow
  QUVEN_STATE(child1, std::int32_t) = 0;
  QUVEN_STATE(child2, std::int32_t) = 0;
  QUVEN_STATE(previous, std::int32_t) = None;  // in the frontier: 0 at its ends
  QUVEN_STATE(next, std::int32_t) = None;
  QUVEN_STATE(selected, std::int32_t) = 0;
};

/// The tree of merges of one feature transform.
///
/// The frontier is the list of the nodes that cover all segments at present, at first the leaves. The missing segment
/// is never merged with another. The steps are fold, mergeAll, prune and collect, each once and in this order.
/// Shapes:   leaves have the numbers of their segments, 1..n; the node of a merge gets the next number, so children
///           have lower numbers than their parent.
/// Lifetime: owns the models until collect. The owner calls deleteMemory(env) before the tree ends.
/// Cost:     one merge with refit per pair of neighbours, or per pair, and per node that is made; the costs of pairs
///           are kept. All models keep their statistics until deleteMemory.
/// Source:   agglomerative clustering by the smallest increase of a criterion: J. H. Ward, "Hierarchical grouping to
///           optimize an objective function", JASA 58, 1963; the bottom-up pruning: L. Breiman, J. Friedman, R. Olshen,
///           C. Stone, Classification and Regression Trees, 1984, chapter 3.
class QUVENTransformTree {
 public:
  using Models = QUVENXaRay<QUVENOwnPtr<QUVENModel>, 0>;
  /// Makes a model of the gathered data of another, to be merged.
  using CloneFunction = void (*)(QUVENOwnPtr<QUVENModel>& result, const QUVENModel& source, const QUVENEnvHandle& env);

  enum class Partners { Neighbours, All };

  QUVENTransformTree(Partners allowedPartners, CloneFunction cloneModel)
      : partners(allowedPartners), cloneOf(cloneModel) {}
  QUVENTransformTree(const QUVENTransformTree&) = delete;
  QUVENTransformTree& operator=(const QUVENTransformTree&) = delete;

  /// Makes a leaf for each model, and takes over all models.
  /// Shapes: models: per segment. missingSegment: one of them.
  void open(Models& segmentModels, std::int32_t missingSegment, const QUVENEnvHandle& env);
  /// Merges each node without usable data into its smaller neighbour. One that has no neighbour but the missing segment
  /// stays.
  void fold(const QUVENEnvHandle& env);
  /// Merges the cheapest pair until no merge is allowed.
  void mergeAll(const QUVENEnvHandle& env);
  /// Marks the nodes that become final segments.
  void prune(const QUVENEnvHandle& env);
  /// Moves the models of the final segments to an empty array, and says which final segment each initial one is in.
  /// Shapes: map: per initial segment, from 1.
  void collect(Models& finalModels, QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle& env);

  long getNumNodes() const { return nodes.getSize(); }
  const QUVENTransformTreeNode& getNode(long index) const { return nodes[index]; }
  /// For debugging: one line per node of the frontier, in its order.
  std::string describeFrontier() const;
  std::string describeNode(std::int32_t index) const;

  void deleteMemory(const QUVENEnvHandle& env);

 private:
  using Node = QUVENTransformTreeNode;

  std::int32_t getNewest() const;
  std::int32_t getFirst() const;
  void setVolume(std::int32_t index, const QUVENEnvHandle& env);
  std::int32_t chooseNeighbour(const Node& node) const;
  void leaveFrontier(Node& node);
  void mergeInto(QUVENModel& target, QUVENModel& source, const QUVENEnvHandle& env) const;
  double computeCost(std::int32_t index, std::int32_t partner, const QUVENEnvHandle& env);
  void computeCosts(std::int32_t index, const QUVENEnvHandle& env);
  void updateBest(Node& node) const;
  std::int32_t pickNode() const;
  void mergeNodes(std::int32_t index, std::int32_t partner, const QUVENEnvHandle& env);

  Partners partners;
  CloneFunction cloneOf;
  std::int32_t missingNode = 0;
  QUVENXaRay<Node, 0> nodes;
  Models models;  // by node; null for a leaf that was folded
};

#endif  // QUVEN_TRANSFORM_TREE_H
