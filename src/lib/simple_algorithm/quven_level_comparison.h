#ifndef QUVEN_LEVEL_COMPARISON_H
#define QUVEN_LEVEL_COMPARISON_H

// The groups that sparsity levels give, and how good they are as a partition of the network.

#include <cstdint>
#include <iosfwd>
#include <set>
#include <span>
#include <vector>

#include "simple_algorithm/quven_kept_rows.h"

/// A pair of two callers whose similarity is known. The nodes are those of kept rows.
struct QUVENComparedPair {
  std::uint32_t column : 31;    ///< the contact that the row was compared with
  std::uint32_t hasCommon : 1;  ///< whether the two have a contact in common
  std::uint32_t row;
  double value;
};

/// What a level gives. Groups are those that the analysis writes: clusters with their connected members, of a legal
/// size.
///
/// The modularity is that of the undirected network in which the weight between two subscribers is the number of
/// entries that name one of them in the row of the other: with m all entries, L those inside a group and D the entries
/// that name a member or are in the row of one, counted twice where they do both,
///   Q = L / m - sum over the groups of (D / 2m)^2.
/// A subscriber in no group is a group of one. All sums are of integers, so Q does not depend on their order.
/// Source: Newman, "Analysis of weighted networks", Physical Review E 70, 2004, equations 3 and 5.
struct QUVENLevelResult {
  double level = 0;
  double cutoff = 0;
  std::uint64_t keptPairs = 0;
  std::uint64_t keptWithoutCommon = 0;  ///< kept pairs without a contact in common
  std::uint64_t groups = 0;
  std::uint64_t members = 0;
  std::uint64_t largest = 0;      ///< members of the largest group
  std::uint64_t fullGroups = 0;   ///< groups of the largest legal size
  std::uint64_t callsInside = 0;  ///< entries of rows that name a member of the caller's group
  double callsInsideShare = 0;    ///< of all entries
  double coverage = 0;            ///< members as a share of the callers
  double modularity = 0;
  double meanDensity = 0;  ///< mean over the groups of e / (n (n - 1)): e calls between n members
};

/// Compares levels over kept rows and the pairs that the kernel has compared.
///
/// The groups of a level are those of an analysis with this level and the order of numbers.
/// Memory: at most 64 bytes per pair and 64 per subscriber.
/// Cost:   a level takes a walk over its pairs, and one over the rows for each connecting pass and for the counts.
class QUVENLevelComparison {
 public:
  struct Settings {
    std::int32_t minClusterSize = 1;
    std::int32_t maxClusterSize = 1;
    std::int32_t numIterationsConnecting = 1;
  };

  /// The rows are borrowed. Requires: the pairs are ascending by column and row, and are all pairs whose value is not
  /// below one of them. numBelow is the number of values below, of numValues in all.
  QUVENLevelComparison(const QUVENKeptRows& keptRows, std::vector<QUVENComparedPair> comparedPairs,
                       std::uint64_t numValues, std::uint64_t numBelow, const Settings& groupSettings);

  /// Requires: a level not below that of the pairs.
  QUVENLevelResult compare(double level);
  const std::vector<QUVENComparedPair>& getPairs() const { return pairs; }
  /// How many values are below a cutoff that compare has found.
  std::uint64_t countBelow(double cutoff) const;

 private:
  using Node = QUVENKeptRows::Node;

  struct Clusters {
    std::vector<std::int32_t> clusterOf;  // by node, 0 for none
    std::vector<std::int32_t> sizes;      // by cluster; element 0 is not used
  };

  void joinNeighbours();
  double cutoffAt(double level);
  void numberNodes(double cutoff, QUVENLevelResult& result);
  void keepNeighbours(double cutoff);
  std::size_t getNumKept(Node node) const { return firstKept[node + 1] - firstKept[node]; }
  std::vector<Node> startOrder() const;
  Clusters clustersAbove(double cutoff, QUVENLevelResult& result);
  void addFreeNeighbours(Node node, std::vector<Node>& queue);
  bool connect(Clusters& clusters);
  std::int32_t bestCluster(std::int64_t row, const Clusters& clusters);
  void dropIllegalSizes(Clusters& clusters) const;
  void judge(const Clusters& clusters, QUVENLevelResult& result);

  const QUVENKeptRows& rows;
  std::vector<QUVENComparedPair> pairs;
  std::uint64_t numAllValues;
  std::uint64_t numValuesBelow;
  Settings settings;
  std::vector<std::int64_t> rowsByCaller;  // the rows in ascending order of their callers
  std::vector<std::uint64_t> degrees;      // by node
  std::uint64_t numEntries = 0;
  std::vector<bool> mayRepeat;  // by row: its contacts do not ascend

  // The neighbours of a node: all with whom it is in a pair, ascending.
  std::vector<std::size_t> firstNeighbours;  // by node; one more than nodes
  std::vector<Node> neighbours;
  std::vector<double> neighbourValues;  // the higher one of the two orders of the pair

  std::vector<double> values;           // of the pairs, partly in order
  std::set<std::size_t> orderedPlaces;  // those at which a value is the one of the ascending order

  // Of one level.
  std::vector<Node> metNodes;           // the nodes of kept pairs in the order in which they are met
  std::vector<std::uint32_t> numberOf;  // by node: its place in this order
  std::vector<std::size_t> firstKept;   // by node: where its neighbours at this level begin; one more than nodes
  std::vector<Node> keptNeighbours;
  std::vector<std::uint8_t> isTaken;  // by node: a cluster or the queue of the open one has it
  std::vector<std::int32_t> counts;   // of the contacts of a row, by cluster; 0 between rows
  std::vector<std::int32_t> touched;  // those that are not 0
};

/// Writes the table of the levels as CSV: a head line and one line per level. Chosen is 1 for the level at chosenPlace,
/// from 0, and 0 for all others; -1 for no chosen level.
void quvenWriteLevels(std::ostream& out, std::span<const QUVENLevelResult> levels, long chosenPlace);

#endif  // QUVEN_LEVEL_COMPARISON_H
