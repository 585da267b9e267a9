#ifndef VESK_GROUPS_CONTINGENCY_H
#define VESK_GROUPS_CONTINGENCY_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "groups/grouping.h"

namespace vesk_groups {

/// A group of a first grouping and a group of a second one that have members in common.
struct SharedMembers {
  std::size_t first = 0;      ///< place of the group in the first grouping
  std::size_t second = 0;     ///< place of the group in the second grouping
  std::uint64_t members = 0;  ///< how many they share, at least 1
};

/// The contingency table of two groupings without its zeros, ascending by first and second.
///
/// Cost: O(n log n) for n members in both.
[[nodiscard]] std::vector<SharedMembers> findSharedMembers(const Grouping& first, const Grouping& second);

/// The number of members of each group, by its place.
[[nodiscard]] std::vector<std::uint64_t> sizesOf(const Grouping& grouping);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_CONTINGENCY_H
