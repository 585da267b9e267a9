#include "groups/found_groups.h"

#include <sstream>

#include "groups/groups_fixture.h"

namespace vesk_groups {
namespace {

using ::testing::HasSubstr;
using testing::membersOf;
using testing::nodesFile;
using ::testing::ThrowsMessage;
using Groups = std::map<std::uint64_t, std::vector<std::uint64_t>>;

class FoundGroupsTest : public testing::GroupsFilesTest {
 protected:
  FoundGroups read(const std::string& text) {
    writeText(text);
    return readFoundGroups(path());
  }

  void expectRefused(const std::string& text, const std::string& what) {
    SCOPED_TRACE(text);
    writeText(text);
    EXPECT_THAT([&] { (void)readFoundGroups(path()); }, ThrowsMessage<std::runtime_error>(path() + what));
  }
};

TEST_F(FoundGroupsTest, ReadsGroupsCoreNodesAndLeaders) {
  const FoundGroups found = read(nodesFile({{1, 5, true, "1,2.5"},
                                            {2, 5, false},
                                            {18446744073709551615U, 5, true, "0,0", "1,1e+06"},
                                            {18446744073709551614U, 3, true, "1,1", "1,1.5"}}));
  EXPECT_EQ(membersOf(found.grouping), (Groups{{3, {18446744073709551614U}}, {5, {1, 2, 18446744073709551615U}}}));
  ASSERT_EQ(found.groups.size(), 2U);
  const FoundGroup& third = found.groups[0];
  const FoundGroup& fifth = found.groups[1];
  EXPECT_EQ(third.size, 1U);
  EXPECT_EQ(third.coreNodes, 1U);
  EXPECT_EQ(fifth.size, 3U);
  EXPECT_EQ(fifth.coreNodes, 2U);
  ASSERT_TRUE(third.leaders[0] && third.leaders[1] && fifth.leaders[0] && fifth.leaders[1]);
  EXPECT_EQ(third.leaders[0]->node, 18446744073709551614U);
  EXPECT_EQ(third.leaders[0]->confidence, 1.0);
  EXPECT_EQ(third.leaders[1]->confidence, 1.5);
  EXPECT_EQ(fifth.leaders[0]->node, 1U);
  EXPECT_EQ(fifth.leaders[0]->confidence, 2.5);
  EXPECT_EQ(fifth.leaders[1]->node, 18446744073709551615U);
  EXPECT_EQ(fifth.leaders[1]->confidence, 1e6);
}

TEST_F(FoundGroupsTest, AFileOfTheHeadLineAloneHasNoGroups) {
  const FoundGroups found = read(nodesFile({}));
  EXPECT_TRUE(found.grouping.members.empty());
  EXPECT_TRUE(found.groups.empty());
}

TEST_F(FoundGroupsTest, AGroupMayBeWithoutLeaders) {
  const FoundGroups found = read(nodesFile({{1, 5}}));
  EXPECT_FALSE(found.groups.at(0).leaders[0].has_value());
  EXPECT_FALSE(found.groups.at(0).leaders[1].has_value());
}

TEST_F(FoundGroupsTest, RefusesAnotherHeadLine) {
  expectRefused("", ", line 1: the file is empty");
  const std::string other = ", line 1: this is not the head line of a nodes file of the group analysis";
  expectRefused("\n", other);
  expectRefused("GroupNumber,Size\n1,2\n", other);
  expectRefused(std::string(foundGroupsHeader) + ",\n", other);
  expectRefused(std::string(foundGroupsHeader) + "\r\n", other);
  expectRefused(testing::NodeRow{1, 2}.text(), other);
}

TEST_F(FoundGroupsTest, RefusesAFileThatIsCut) {
  const std::string text = nodesFile({{1, 2}, {3, 4}});
  expectRefused(text.substr(0, text.size() - 1), ", line 3: the line has no end, the file is cut");
  expectRefused(foundGroupsHeader, ", line 1: the line has no end, the file is cut");
  expectRefused(text.substr(0, text.size() - 6) + "\n", ", line 3: 13 values instead of 15");
}

TEST_F(FoundGroupsTest, RefusesALineOfOtherLength) {
  expectRefused(nodesFile({{1, 2}}) + "\n", ", line 3: 1 values instead of 15");
  expectRefused(nodesFile({{1, 2}}) + "1,2,3\n", ", line 3: 3 values instead of 15");
  expectRefused(nodesFile({{1, 2, true, "0,0", "0,0,0"}}), ", line 2: 16 values instead of 15");
}

// Every value of a sound line in turn is none, a word, negative, not finite, beyond 64 bits, or has something behind
// it.
TEST_F(FoundGroupsTest, RefusesAValueOfAnotherKind) {
  const std::vector<std::string> names{"NodeNumber",
                                       "GroupNumber",
                                       "IsCoreNode",
                                       "RankType1",
                                       "RankOrderType1",
                                       "RankType2",
                                       "RankOrderType2",
                                       "InDegree",
                                       "OutDegree",
                                       "WeightedInDegree",
                                       "WeightedOutDegree",
                                       "IsGroupLeaderType1",
                                       "GroupLeaderType1Conf",
                                       "IsGroupLeaderType2",
                                       "GroupLeaderType2Conf"};
  const std::string kinds = "wwfrwrwwwrrfrfr";
  const std::map<char, std::string> kindTexts{{'w', "whole number"}, {'f', "0 or 1"}, {'r', "number"}};
  const std::map<char, std::vector<std::string>> wrong{{'w', {"", "x", "-1", "1.5", "1 ", "18446744073709551616"}},
                                                       {'f', {"", "x", "-1", "2", "1.0"}},
                                                       {'r', {"", "x", "nan", "inf", "1e999", "1 ", " 1"}}};
  const std::string sound = testing::NodeRow{1, 2}.text();
  for (std::size_t column = 0; column < names.size(); ++column) {
    for (const std::string& value : wrong.at(kinds[column])) {
      std::vector<std::string> values;
      std::istringstream line(sound.substr(0, sound.size() - 1));
      for (std::string item; std::getline(line, item, ',');) values.push_back(item);
      ASSERT_EQ(values.size(), names.size());
      values[column] = value;
      std::string text = nodesFile({{9, 9}});
      for (std::size_t i = 0; i < values.size(); ++i) text += (i == 0 ? "" : ",") + values[i];
      expectRefused(text + "\n",
                    ", line 3: " + names[column] + " is '" + value + "' and not a " + kindTexts.at(kinds[column]));
    }
  }
}

TEST_F(FoundGroupsTest, RefusesANodeInTwoLines) {
  expectRefused(nodesFile({{1, 2}, {3, 2}, {1, 4}}), ", line 4: node 1 stands already in line 2, in group 2");
  expectRefused(nodesFile({{1, 2}, {1, 2}}), ", line 3: node 1 stands already in line 2, in group 2");
}

TEST_F(FoundGroupsTest, RefusesASecondLeaderOfAType) {
  expectRefused(nodesFile({{1, 2, true, "1,3"}, {5, 3, true, "1,3"}, {4, 2, true, "1,3"}}),
                ", line 4: node 4 is a second leader of type 1 in group 2, beside node 1");
  expectRefused(nodesFile({{1, 2, true, "1,3", "1,3"}, {4, 2, true, "0,0", "1,3"}}),
                ", line 3: node 4 is a second leader of type 2 in group 2, beside node 1");
}

TEST_F(FoundGroupsTest, NamesTheFileThatIsNotThere) {
  EXPECT_THAT([&] { (void)readFoundGroups(path("missing")); },
              ThrowsMessage<std::runtime_error>("cannot open " + path("missing") + ": No such file or directory"));
}

TEST_F(FoundGroupsTest, ReducesGroupsToTheirCoreNodes) {
  const FoundGroups found =
      read(nodesFile({{9, 5, false, "1,2.5"}, {2, 5}, {7, 5}, {4, 3, false}, {6, 8, true, "0,0", "1,1.5"}}));
  EXPECT_EQ(found.isCore, (std::vector<bool>{true, false, true, true, false}));  // 2, 4, 6, 7, 9
  const FoundGroups core = coreOf(found);
  EXPECT_EQ(membersOf(core.grouping), (Groups{{5, {2, 7}}, {8, {6}}}));
  EXPECT_EQ(core.isCore, (std::vector<bool>{true, true, true}));
  ASSERT_EQ(core.groups.size(), 2U);
  EXPECT_EQ(core.groups[0].size, 2U);
  EXPECT_EQ(core.groups[0].coreNodes, 2U);
  EXPECT_EQ(core.groups[0].leaders[0]->node, 9U);
  EXPECT_EQ(core.groups[1].size, 1U);
  EXPECT_EQ(core.groups[1].leaders[1]->node, 6U);
}

}  // namespace
}  // namespace vesk_groups
