#ifndef VESK_GROUPS_PARTITION_MEASURES_H
#define VESK_GROUPS_PARTITION_MEASURES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "groups/grouping.h"

namespace vesk_groups {

/// The nodes over which two groupings are compared.
enum class ComparedNodes {
  InBoth,   ///< the nodes that are in a group of both
  InEither  ///< the nodes that are in a group of at least one; a node that the other lacks is a group of one there
};

/// How well two partitions of the same n nodes agree.
///
/// With n_ij the nodes that group i of the one shares with group j of the other, a_i and b_j the sizes of the groups:
///   adjusted Rand = 2 (B N - F K) / ((B + F)(F + N) + (B + K)(K + N)), of the pairs of nodes that are together in both
///     (B), in neither (N), in the first only (F), in the second only (K); 1 for equal partitions;
///   I = sum over i, j of n_ij / n log(n_ij n / (a_i b_j)), H_a = - sum over i of a_i / n log(a_i / n), H_b likewise;
///   normalised mutual information = I / ((H_a + H_b) / 2).
/// Edge cases: partitions that are both one group, or both empty, have normalised mutual information 1; otherwise it is
///   0 if I is not above 2^-52.
/// Accuracy: the adjusted Rand index is exact but for the last division; the sums of the information are compensated.
/// Source: Hubert, Arabie, "Comparing partitions", Journal of Classification 2, 1985; Strehl, Ghosh, "Cluster
///   ensembles", Journal of Machine Learning Research 3, 2002, here with the arithmetic mean of the entropies.
struct PartitionMeasures {
  std::uint64_t nodes = 0;  ///< n
  double adjustedRand = 1.0;
  double normalizedMutualInformation = 1.0;
};

/// Requires: fewer than 2^31 members in each grouping.
/// Cost: O(n log n).
[[nodiscard]] PartitionMeasures measurePartitions(const Grouping& first, const Grouping& second, ComparedNodes nodes);

/// A sum of doubles whose error does not grow with the number of terms.
/// Source: Neumaier, "Rundungsfehleranalyse einiger Verfahren zur Summation endlicher Summen", ZAMM 54, 1974.
class CompensatedSum {
 public:
  void add(double term);
  double get() const { return sum + lost; }

 private:
  double sum = 0.0;
  double lost = 0.0;
};

/// The modularity of a partition, from weights that are added one by one.
///
/// The weight of the undirected edge between two nodes is the sum of the calls in both directions; a call to oneself is
/// an edge to oneself. With m the sum of all weights, L the weight of the edges inside groups, and D_g the sum of the
/// weighted degrees of group g, in which an edge to oneself counts twice:
///   Q = L / m - sum over g of (D_g / (2 m))^2.
/// Units:    groups are known by numbers from 0 without large gaps. A node of no group needs a number of its own.
/// Accuracy: as long as all weights are whole numbers and m is below 2^61, Q is exact but for the last division.
///           After that the sums are compensated doubles.
/// Memory:   8 bytes a group for whole numbers, 16 otherwise.
/// Source:   Newman, Girvan, "Finding and evaluating community structure in networks", Physical Review E 69, 026113,
///           2004; the form of the sum: Clauset, Newman, Moore, Physical Review E 70, 066111, 2004, equation 7.
class Modularity {
 public:
  /// Requires: weight is finite and not negative.
  void add(std::size_t groupOfCaller, std::size_t groupOfCallee, double weight);
  /// m.
  double getTotal() const;
  /// Q; nothing when m is 0.
  [[nodiscard]] std::optional<double> get() const;

 private:
  void leaveWholeNumbers();

  bool isWhole = true;
  // While isWhole.
  std::uint64_t wholeTotal = 0;
  std::uint64_t wholeInside = 0;
  std::vector<std::uint64_t> wholeDegrees;
  // After that.
  CompensatedSum total;
  CompensatedSum inside;
  std::vector<CompensatedSum> degrees;
};

}  // namespace vesk_groups

#endif  // VESK_GROUPS_PARTITION_MEASURES_H
