#ifndef VESK_TESTS_INSPECT_GROUPS_FIXTURE_H
#define VESK_TESTS_INSPECT_GROUPS_FIXTURE_H

#include <map>

#include "found_groups.h"
#include "inspect_fixture.h"

namespace vesk_inspect::testing {

/// A line of the nodes file; what does not matter to a test is the same for all.
struct NodeRow {
  std::uint64_t node;
  std::uint64_t group;
  bool core = true;
  std::string leader1 = "0,0";  ///< flag and confidence
  std::string leader2 = "0,0";

  std::string text() const {
    return std::to_string(node) + "," + std::to_string(group) + (core ? ",1" : ",0") +
           ",0.25,1,0.125,2,3,4,0.5,1e-05," + leader1 + "," + leader2 + "\n";
  }
};

inline std::string nodesFile(const std::vector<NodeRow>& rows) {
  std::string text = std::string(foundGroupsHeader) + "\n";
  for (const NodeRow& row : rows) text += row.text();
  return text;
}

/// The same groups as a map from number to members, for comparing.
inline std::map<std::uint64_t, std::vector<std::uint64_t>> membersOf(const Grouping& grouping) {
  std::map<std::uint64_t, std::vector<std::uint64_t>> members;
  for (const Grouping::Member& member : grouping.members) {
    members[grouping.numbers.at(member.group)].push_back(member.node);
  }
  return members;
}

}  // namespace vesk_inspect::testing

#endif  // VESK_TESTS_INSPECT_GROUPS_FIXTURE_H
