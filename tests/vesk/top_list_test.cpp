#include "top/top_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "command.h"
#include "ids/id_map.h"
#include "support/temporary_folder.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// An energy file of six subscribers, with groups, seeds and pair sums on request.
class TopListTest : public ::testing::Test {
 protected:
  TopListTest() {
    options.energy = folder.write("e.csv",
                                  "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n"
                                  "1,0.5,1,1,2,1\n"
                                  "2,0.25,1,1,10,1\n"
                                  "3,0.25,1,1,0,1\n"
                                  "4,0.5,1,1,1,1\n"
                                  "5,0,1,1,1,1\n"
                                  "7,1,1,1,100,1\n");
  }
  void writeGroups(const std::string& rows) {
    options.groups =
        folder.write("n.csv", "NodeNumber,GroupNumber,IsCoreNode,IsGroupLeaderType1,IsGroupLeaderType2\n" + rows);
  }
  void writePairs(const std::vector<double>& numbers) {
    options.dataset =
        folder.write("pairs", {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)});
  }
  std::vector<std::uint64_t> ids() const {
    std::vector<std::uint64_t> result;
    for (const TopRow& row : findTop(options).rows) result.push_back(row.id);
    return result;
  }
  std::string list() const {
    std::ostringstream out;
    writeTop(options, findTop(options), out);
    return out.str();
  }
  std::string refusal() const {
    try {
      list();
    } catch (const CommandFailure& failure) {
      return std::to_string(static_cast<int>(failure.getStatus())) + " " + failure.what();
    }
    return "";
  }

  TemporaryFolder folder;
  TopOptions options;
};

TEST_F(TopListTest, OrdersByEnergyAndById) {
  EXPECT_THAT(ids(), ElementsAre(7, 1, 4, 2, 3));
  options.rows = 2;
  EXPECT_THAT(ids(), ElementsAre(7, 1));
}

// Lifts: 4: 0.5, 1: 0.25, 2: 0.025, 7: 0.01; 3 receives no call.
TEST_F(TopListTest, OrdersByLift) {
  options.order = TopOrder::Lift;
  EXPECT_EQ(list(),
            "rank,id,energy,lift,group,leader_1,leader_2,seed_contacts\n"
            "1,4,0.5,0.5,,,,\n2,1,0.5,0.25,,,,\n3,2,0.25,0.025,,,,\n4,7,1,0.01,,,,\n5,3,0.25,,,,,\n");
}

TEST_F(TopListTest, LeavesSeedsOut) {
  options.seeds = folder.write("s", "7\r\n 4 \n7\n9");
  EXPECT_THAT(ids(), ElementsAre(1, 2, 3));
  EXPECT_EQ(findTop(options).seeds, 3U);
  EXPECT_EQ(findTop(options).seedsFound, 2U);
  options.withSeeds = true;
  EXPECT_THAT(ids(), ElementsAre(7, 1, 4, 2, 3));
}

TEST_F(TopListTest, NamesGroupsAndLeadersAndLimitsMembers) {
  writeGroups("1,5,1,0,1\n4,5,1,0,0\n7,5,1,1,0\n2,6,1,1,1\n");
  EXPECT_EQ(list(),
            "rank,id,energy,lift,group,leader_1,leader_2,seed_contacts\n"
            "1,7,1,0.01,5,7,1,\n2,1,0.5,0.25,5,7,1,\n3,4,0.5,0.5,5,7,1,\n4,2,0.25,0.025,6,2,2,\n5,3,0.25,,,,,\n");
  options.perGroup = 2;
  EXPECT_THAT(ids(), ElementsAre(7, 1, 2, 3));
}

// Pairs: 1 calls 7 and 4, 7 calls 1 and 2, 2 calls 2. Seeds 4 and 7 know 1, seed 7 knows 2.
TEST_F(TopListTest, CountsContactsAmongTheSeeds) {
  options.seeds = folder.write("s", "4\n7\n");
  const double mark = 7788;
  writePairs(
      {1, 0, 2, 1, 4, 1, 1, 7, 3, 1, 0, mark, 2, 0, 1, 2, 2, 1, 2, 0, mark, 7, 0, 2, 7, 1, 5, 7, 2, 1, 7, 0, mark});
  EXPECT_EQ(list(),
            "rank,id,energy,lift,group,leader_1,leader_2,seed_contacts\n"
            "1,1,0.5,0.25,,,,2\n2,2,0.25,0.025,,,,1\n3,3,0.25,,,,,0\n");
}

TEST_F(TopListTest, RefusesADatasetOfAnotherKind) {
  options.seeds = folder.write("s", "7\n");
  const std::string end = "; --dataset wants pair sums";
  const std::string begin = "3 " + folder.path("pairs");
  writePairs({1, 1, 2});
  EXPECT_EQ(refusal(), begin + ", triple 1: a row without a header" + end);
  writePairs({1, 0, 2, 1, 1, 5, 1, 3, 0, 2, 0, 2});
  EXPECT_EQ(refusal(), begin + ", triple 4: a row without a footer" + end);
  writePairs({1, 0, 2, 1, 0, 3});
  EXPECT_EQ(refusal(), begin + ", triple 2: a footer of another kind" + end);
  writePairs({1, 0, 2, 1, 2.5, 3});
  EXPECT_EQ(refusal(), begin + ", triple 2: a number that is no id" + end);
  writePairs({1, 0, 2});
  EXPECT_EQ(refusal(), begin + " ends inside a row" + end);
}

TEST_F(TopListTest, WritesIdsOfAMap) {
  options.idMap = folder.path("m");
  {
    IdMap map(options.idMap);
    IdTable table;
    map.load(table, MappedIds::Texts);
    for (const char* text : {"+49", "a, \"b\""}) map.addToTable(table, text);
    map.save(table, MappedIds::Texts);
  }
  folder.write("e.csv",
               "Number,DA_DiffusedEnergy,WeightedInDegree\n5,1,1\n4503599627370496,2,1\n4503599627370497,3,1\n");
  EXPECT_EQ(list(),
            "rank,id,energy,lift,group,leader_1,leader_2,seed_contacts\n"
            "1,\"a, \"\"b\"\"\",3,3,,,,\n2,+49,2,2,,,,\n3,5,1,1,,,,\n");
  options.seeds = folder.write("s", "+49\n5\n4503599627370497\n");
  EXPECT_THAT(ids(), ElementsAre());
  folder.write("s", "+48\n");
  EXPECT_EQ(refusal(), "3 " + folder.path("s") + ", line 1: [+48] is no plain number and no id of " + options.idMap);
  options.seeds.clear();
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n4503599627379999,2,1\n");
  EXPECT_EQ(refusal(),
            "3 " + options.idMap + " does not have the number 4503599627379999; it is the map of other data");
}

TEST_F(TopListTest, RefusesBadFiles) {
  options.seeds = folder.write("s", "+7\n");
  EXPECT_EQ(refusal(), "3 " + options.seeds + ", line 1: [+7] is no plain number; ids of another form need --ids");
  folder.write("s", "07\n");
  EXPECT_THAT(refusal(), HasSubstr("[07] is no plain number"));
  folder.write("s", "8\n9\n");
  EXPECT_EQ(refusal(), "3 " + options.energy + " has none of the 2 seeds of " + options.seeds);
  folder.write("s", "\n");
  EXPECT_EQ(refusal(), "3 " + options.seeds + " has no seed");
  options.seeds.clear();
  writeGroups("1,5,1,0,1\n1,6,1,0,0\n");
  EXPECT_EQ(refusal(), "3 " + options.groups + ", line 3: subscriber 1 has a second group");
  folder.write("n.csv", "NodeNumber,GroupNumber\n");
  EXPECT_EQ(refusal(), "3 " + options.groups +
                           " has no column IsGroupLeaderType1; it must be NAME_1.nodes.csv of vesk-analyze groups");
  options.groups.clear();
  for (const char* row : {"x,1,1", "1,nan,1", "1,1,1e999", "1,1", "-1,1,1", "1,,1", "1,0x1,1"}) {
    folder.write("e.csv", std::string("Number,DA_DiffusedEnergy,WeightedInDegree\n") + row + "\n");
    EXPECT_THAT(refusal(), HasSubstr("3 " + options.energy + ", line 2: ")) << row;
  }
  folder.write("e.csv", "");
  EXPECT_EQ(refusal(),
            "3 " + options.energy + " has no column Number; it must be the OutputFileName of vesk-analyze diffusion");
  options.output = options.energy;
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,1,1\n");
  EXPECT_EQ(refusal(), "1 the output " + options.energy + " would take the place of " + options.energy);
}

}  // namespace
}  // namespace vesk
