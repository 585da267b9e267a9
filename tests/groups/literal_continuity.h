#ifndef TESTS_GROUPS_LITERAL_CONTINUITY_H
#define TESTS_GROUPS_LITERAL_CONTINUITY_H

// Group numbers over time and their changes, by the words of docs/groups.md: every assignment is tried.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace literal {

struct TimedGroup {
  std::set<std::uint64_t> members{};
  std::string leaders[2] = {};  ///< of type 1 and 2, empty for none
};

using TimedGroups = std::map<std::uint64_t, TimedGroup>;  ///< by number

/// The groups of a nodes file.
TimedGroups readTimedGroups(const std::string& nodesFile);

/// The number that each current group gets, by the number that it has.
std::map<std::uint64_t, std::uint64_t> continuedNumbers(const TimedGroups& previous, const TimedGroups& current);

/// The text of the file of changes; the current groups have their continued numbers.
std::string changesOf(const TimedGroups& previous, const TimedGroups& continued);

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_CONTINUITY_H
