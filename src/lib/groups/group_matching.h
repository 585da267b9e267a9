#ifndef VESK_GROUPS_GROUP_MATCHING_H
#define VESK_GROUPS_GROUP_MATCHING_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "groups/grouping.h"

namespace vesk_groups {

/// The place of no group.
inline constexpr std::size_t noGroup = std::numeric_limits<std::size_t>::max();

/// A pair of an earlier and a present group that may be the same group.
struct GroupOverlap {
  std::size_t previous = 0;
  std::size_t current = 0;
  std::int64_t weight = 0;  ///< above 0
};

/// Chooses pairs so that each group is in one pair at most and the sum of their weights is greatest.
///
/// The result is, for each current group, the earlier group that it is paired with, or noGroup. Of several choices with
/// the greatest sum it is the one in which the first earlier group has the first current group that is possible, then
/// the second earlier group, and so on; a group without a partner comes after all partners.
/// Requires: overlaps ascend by previous and current, and no pair is repeated.
/// Cost:     for each earlier group a search among the groups that overlaps connect with it; for the order among equal
///           choices the same once more. In the worst case O(n^2 log n) for n groups that are all connected.
/// Source:   Kuhn, "The Hungarian method for the assignment problem", Naval Research Logistics Quarterly 2, 1955, on
///           sparse pairs with shortest augmenting paths: Edmonds, Karp, Journal of the ACM 19, 1972.
[[nodiscard]] std::vector<std::size_t> assignGroups(std::size_t numPrevious, std::size_t numCurrent,
                                                    const std::vector<GroupOverlap>& overlaps);

/// The pairs of groups whose Jaccard index, shared members divided by members of either, is above 0.3. The weight is
/// the index in units of 1e-12, rounded down.
[[nodiscard]] std::vector<GroupOverlap> findOverlaps(const Grouping& previous, const Grouping& current);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_GROUP_MATCHING_H
