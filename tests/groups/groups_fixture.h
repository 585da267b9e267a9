#ifndef VESK_TESTS_GROUPS_GROUPS_FIXTURE_H
#define VESK_TESTS_GROUPS_GROUPS_FIXTURE_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "groups/found_groups.h"
#include "support/temporary_folder.h"

namespace vesk_groups::testing {

/// A test with a folder of its own, in which it writes files.
class GroupsFilesTest : public ::testing::Test {
 protected:
  std::string path(const std::string& name = "file") const { return folder.path(name); }
  void writeText(const std::string& text, const std::string& name = "file") const { folder.write(name, text); }

 private:
  TemporaryFolder folder;
};

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

}  // namespace vesk_groups::testing

#endif  // VESK_TESTS_GROUPS_GROUPS_FIXTURE_H
