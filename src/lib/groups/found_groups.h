#ifndef VESK_GROUPS_FOUND_GROUPS_H
#define VESK_GROUPS_FOUND_GROUPS_H

#include <array>
#include <string>
#include <vector>

#include "groups/grouping.h"
#include "simple_algorithm/quven_group_results.h"

namespace vesk_groups {

/// The head line of the nodes file of the group analysis.
inline constexpr const char* foundGroupsHeader = quvenNodeFileHeader;

/// Who leads a group by one of the two rankings.
struct GroupLeader {
  std::uint64_t node = 0;
  double confidence = 0.0;  ///< its rank as a multiple of the lowest rank in the group
};

/// What the nodes file says of a group.
struct FoundGroup {
  std::uint64_t size = 0;
  std::uint64_t coreNodes = 0;  ///< members that were in it before isolated nodes were connected
  std::array<std::optional<GroupLeader>, 2> leaders{};  ///< of type 1 and of type 2
};

struct FoundGroups {
  Grouping grouping{};
  std::vector<FoundGroup> groups{};  ///< by place, like grouping.numbers
  std::vector<bool> isCore{};        ///< by member, like grouping.members
};

/// Reads the nodes file of the group analysis: foundGroupsHeader, then a line a node. It may have no nodes.
///
/// Errors: std::runtime_error naming the file, and the line when one is at fault: it cannot be read, the head line is
/// another, a line has not 15 values or a value of another kind, a node stands twice, a group has two leaders of a
/// type, the last line has no end.
[[nodiscard]] FoundGroups readFoundGroups(const std::string& path);

/// The groups with their core nodes alone. Groups without one are left out; leaders stay, whether core nodes or not.
[[nodiscard]] FoundGroups coreOf(const FoundGroups& found);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_FOUND_GROUPS_H
