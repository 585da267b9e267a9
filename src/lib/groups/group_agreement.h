#ifndef VESK_GROUPS_GROUP_AGREEMENT_H
#define VESK_GROUPS_GROUP_AGREEMENT_H

#include <cstdint>
#include <optional>
#include <vector>

#include "groups/grouping.h"

namespace vesk_groups {

/// How well groups that were found agree with groups that are known.
///
/// A pair is two nodes in one group, so a group of n has n(n-1)/2. With F the pairs of the found groups, K those of the
/// known ones and B those in both:
///   recall = B / K, precision = B / F, F1 = 2 B / (F + K).
/// All members count: a known pair is missed when one of the two was not found at all, a found pair is wrong when one
/// of the two is in no known group.
///
/// The adjusted Rand index is over the nodes in both only, n of them. With f, k and b their pairs in the found groups,
/// in the known ones and in both, and t = n(n-1)/2:
///   ARI = (b - f k / t) / ((f + k) / 2 - f k / t);
/// 1 is full agreement, 0 what chance gives.
/// Source: Hubert, Arabie, "Comparing partitions", Journal of Classification 2, 1985, equation 5.
///
/// A ratio whose divisor is 0 is not defined and stays empty.
struct GroupAgreement {
  /// The known group that holds most of a found group's members; of several the one with the lowest number.
  struct Match {
    std::size_t knownGroup = 0;  ///< its place
    std::uint64_t members = 0;   ///< 0: no member is in a known group
  };

  std::uint64_t sharedNodes = 0;
  std::uint64_t foundPairs = 0;
  std::uint64_t knownPairs = 0;
  std::uint64_t sharedPairs = 0;
  std::optional<double> recall{};
  std::optional<double> precision{};
  std::optional<double> f1{};
  std::optional<double> adjustedRand{};
  std::vector<Match> matches{};  ///< by the place of the found group
};

/// Requires: fewer than 2^32 members, so that pairs can be counted.
/// Cost: O(n log n).
[[nodiscard]] GroupAgreement compareGroups(const Grouping& found, const Grouping& known);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_GROUP_AGREEMENT_H
