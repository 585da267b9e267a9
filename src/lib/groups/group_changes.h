#ifndef VESK_GROUPS_GROUP_CHANGES_H
#define VESK_GROUPS_GROUP_CHANGES_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

#include "groups/found_groups.h"
#include "groups/group_matching.h"

namespace vesk_groups {

/// The numbers with which the groups of a run go on from those of an earlier run.
struct ContinuedNumbers {
  std::vector<std::size_t> previous{};   ///< by current group: the earlier group whose number it keeps, or noGroup
  std::vector<std::uint64_t> numbers{};  ///< by current group: its number
  std::size_t numKept = 0;               ///< current groups that keep a number
};

/// A current group keeps the number of the earlier group with which assignGroups pairs it. The others get new numbers
/// in the order of their own, from the highest number of both groupings + 1 on.
/// Requires: the highest number + the number of groups is below 2^64.
[[nodiscard]] ContinuedNumbers continueNumbers(const Grouping& previous, const Grouping& current);

/// The head line of the file of changes, without its line break.
inline constexpr const char* groupChangesHeader =
    "Event,PreviousGroup,Group,PreviousSize,Size,Shared,Jaccard,PreviousNode,Node";

/// Writes the head line and a row for each event between two runs. What does not apply to an event stays empty.
///
/// "Group" and "Size" are of the current group, with its continued number; "Shared" and "Jaccard" are of the two
/// groups.
///   kept, grown, shrunk  a group that keeps its number and has as many, more, or fewer members; ascending by number
///   born                 a group that keeps no number, among these rows
///   gone                 an earlier group whose number no group keeps; ascending by number
///   merged               a current group that has more than half of the members of each of several earlier groups: a
///   row
///                        for each of these; ascending by current and earlier number
///   split                an earlier group that has more than half of the members of each of several current groups: a
///                        row for each of these; ascending by earlier and current number
///   moved                a member of both runs whose group has another number, "Node"; ascending
///   leader1, leader2     the leader of a group that keeps its number was "PreviousNode" and is "Node"; ascending by
///                        number, type 1 first
void writeGroupChanges(std::ostream& out, const FoundGroups& previous, const FoundGroups& current,
                       const ContinuedNumbers& continued);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_GROUP_CHANGES_H
