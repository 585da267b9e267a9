// The comparison of two files of nodes accepts another numbering, and nothing else.

#include "same_groups.h"

#include <gtest/gtest.h>

#include <utility>

namespace literal {
namespace {

std::string nodes(const std::string& rows) { return "header\n" + rows; }

const std::string twoGroups = nodes(
    "5,2,0,0.05,3,0.297707,2,0,1,0,0.456335,0,0,0,0\n"
    "10,2,1,0.456335,2,0.404586,1,2,1,0.595414,0.493665,0,0,1,1.35901\n"
    "11,2,1,0.493665,1,0.297707,3,1,1,0.404586,0.456335,1,9.87329,0,0\n"
    "20,7,1,0.5,1,0.5,1,1,1,0.5,0.5,1,1,1,1\n"
    "21,7,1,0.5,2,0.5,2,1,1,0.5,0.5,0,0,0,0\n");

TEST(DifferenceOfGroups, AcceptsAnotherNumberingAndTheOrderOfEqualRanks) {
  EXPECT_EQ(differenceOfGroups(twoGroups, twoGroups), "");
  const std::string renumbered = nodes(
      "20,1,1,0.5,2,0.5,1,1,1,0.5,0.5,0,0,1,1\n"
      "21,1,1,0.5,1,0.5,2,1,1,0.5,0.5,1,1,0,0\n"
      "5,2,0,0.05,3,0.297707,3,0,1,0,0.456335,0,0,0,0\n"
      "10,2,1,0.456336,2,0.404586,1,2,1,0.595414,0.493665,0,0,1,1.35901\n"
      "11,2,1,0.493665,1,0.297707,2,1,1,0.404586,0.456335,1,9.87329,0,0\n");
  EXPECT_EQ(differenceOfGroups(twoGroups, renumbered), "");
  EXPECT_EQ(differenceOfGroups(renumbered, twoGroups), "");
}

TEST(DifferenceOfGroups, RefusesEverythingElse) {
  const std::pair<std::string, std::string> changes[] = {
      {"5,2,0,", "6,2,0,"},            // a node
      {"5,2,0,", "5,7,0,"},            // its group
      {"20,7,1,", "20,2,1,"},          // groups that are one
      {"20,7,1,", "20,8,1,"},          // a group that is two
      {"5,2,0,", "5,2,1,"},            // core
      {"0.456335,2,", "0.456435,2,"},  // ranks
      {"0.404586,1,2,1,", "0.404786,1,2,1,"},
      {"0.404586,1,2,1,", "0.404586,1,3,1,"},  // degrees
      {"0.404586,1,2,1,", "0.404586,1,2,2,"},
      {"0.595414,0.493665", "0.595514,0.493665"},
      {"0.595414,0.493665", "0.595414,0.493765"},
      {"1,9.87329", "1,9.97329"},  // confidences
      {"0,0,1,1.35901", "0,0,1,1.35801"},
      {"20,7,1,0.5,1,0.5,1,1,1,0.5,0.5,1,1,1,1\n", ""},  // a node less
  };
  for (const auto& [from, to] : changes) {
    std::string changed = twoGroups;
    const std::size_t at = changed.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    changed.replace(at, from.size(), to);
    EXPECT_NE(differenceOfGroups(twoGroups, changed), "") << to;
    EXPECT_NE(differenceOfGroups(changed, twoGroups), "") << to;
  }
  // Another leader, of a lower rank.
  std::string other = twoGroups;
  other.replace(other.find("0,0,1,1.35901"), 13, "1,9.87329,1,1.35901");
  other.replace(other.find("0.456335,1,9.87329"), 18, "0.456335,0,0");
  EXPECT_EQ(differenceOfGroups(twoGroups, other), "leader 11 of group 2");
}

}  // namespace
}  // namespace literal
