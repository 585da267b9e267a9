#ifndef VESK_GROUPS_KNOWN_GROUPS_H
#define VESK_GROUPS_KNOWN_GROUPS_H

#include <string>

#include "groups/grouping.h"

namespace vesk_groups {

/// Reads groups that are known. The first line that is not blank says which of two forms the file has:
/// - more than two items: a line a group, its number and then its members, as vesk-generate --groups writes them;
/// - two items: a line a node, its number and then the number of its group.
/// Items are whole numbers below 2^64, with blanks, tabs or a comma between them. Blank lines are skipped.
///
/// Errors: std::runtime_error naming the file, and the line when one is at fault: it cannot be read, has no groups, an
/// item is no number, a line of the other form, a group without members or on two lines, a node that stands twice.
[[nodiscard]] Grouping readKnownGroups(const std::string& path);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_KNOWN_GROUPS_H
