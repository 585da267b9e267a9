#include "groups/group_changes.h"

#include <random>
#include <sstream>

#include "groups/groups_fixture.h"
#include "groups/literal_continuity.h"
#include "support/formats_page.h"

namespace vesk_groups {
namespace {

using testing::NodeRow;
using testing::nodesFile;

class GroupChangesTest : public testing::GroupsFilesTest {
 protected:
  /// Reads both texts and compares with the literal changes.
  std::string changes(const std::string& previousText, const std::string& currentText) {
    writeText(previousText, "previous");
    writeText(currentText, "current");
    const FoundGroups previous = readFoundGroups(path("previous"));
    const FoundGroups current = readFoundGroups(path("current"));
    const ContinuedNumbers continued = continueNumbers(previous.grouping, current.grouping);

    const literal::TimedGroups timedPrevious = literal::readTimedGroups(previousText);
    const literal::TimedGroups timedCurrent = literal::readTimedGroups(currentText);
    const std::map<std::uint64_t, std::uint64_t> numbers = literal::continuedNumbers(timedPrevious, timedCurrent);
    literal::TimedGroups timedContinued;
    for (const auto& [number, group] : timedCurrent) timedContinued[numbers.at(number)] = group;
    std::size_t numKept = 0;
    for (std::size_t g = 0; g < current.grouping.numbers.size(); ++g) {
      EXPECT_EQ(continued.numbers[g], numbers.at(current.grouping.numbers[g]));
      if (continued.previous[g] != noGroup) ++numKept;
    }
    EXPECT_EQ(continued.numKept, numKept);

    std::ostringstream out;
    writeGroupChanges(out, previous, current, continued);
    EXPECT_EQ(out.str(), literal::changesOf(timedPrevious, timedContinued));
    return out.str();
  }
};

/// A nodes file from groups by number; the first member leads by type 1, the last by type 2.
std::string fileOf(const std::map<std::uint64_t, std::vector<std::uint64_t>>& groups) {
  std::vector<NodeRow> rows;
  for (const auto& [number, members] : groups) {
    for (const std::uint64_t node : members) {
      rows.push_back(
          {node, number, true, node == members.front() ? "1,2" : "0,0", node == members.back() ? "1,2" : "0,0"});
    }
  }
  return nodesFile(rows);
}

// By hand, the example of docs/formats.md. 5 loses 14; 6 and 7 go together under the number of 6, because 4/8 is above
// 3/8; 8 falls apart, and 3/5 is more than 2/5; 9 ends. Of the new groups one has the number 41 before, so that the
// first new number is 42.
TEST_F(GroupChangesTest, NamesEachEvent) {
  EXPECT_EQ(changes(fileOf({{5, {10, 11, 12, 13, 14}},
                            {6, {20, 21, 22, 23}},
                            {7, {30, 31, 32}},
                            {8, {40, 41, 42, 43, 44}},
                            {9, {50, 51}}}),
                    fileOf({{1, {10, 11, 12, 13}},
                            {2, {20, 21, 22, 23, 30, 31, 32, 99}},
                            {3, {40, 41}},
                            {4, {42, 43, 44}},
                            {41, {60, 61}}})),
            page_blocks().at("text groupchanges"));
}

TEST_F(GroupChangesTest, HasNothingToSayOfNoGroups) {
  const std::string header = "Event,PreviousGroup,Group,PreviousSize,Size,Shared,Jaccard,PreviousNode,Node\n";
  EXPECT_EQ(changes(fileOf({}), fileOf({})), header);
  EXPECT_EQ(changes(fileOf({}), fileOf({{0, {1, 2}}, {7, {3}}})), header + "born,,8,,2,,,,\nborn,,9,,1,,,,\n");
  EXPECT_EQ(changes(fileOf({{0, {1, 2}}}), fileOf({})), header + "gone,0,,2,,,,,\n");
  EXPECT_EQ(changes(fileOf({{3, {1, 2}}}), fileOf({{0, {1, 2}}})), header + "kept,3,3,2,2,2,1,,\n");
}

// A leader that a file does not have is empty in its row.
TEST_F(GroupChangesTest, ShowsALeaderThatIsMissing) {
  EXPECT_THAT(changes(nodesFile({{1, 3, true, "1,2"}, {2, 3}}), nodesFile({{1, 0}, {2, 0, true, "0,0", "1,2"}})),
              ::testing::EndsWith("leader1,3,3,2,2,2,1,1,\nleader2,3,3,2,2,2,1,,2\n"));
}

// Two days of groups: members stay together, groups fall apart and join, numbers are mixed.
TEST_F(GroupChangesTest, EqualsTheLiteralChangesOfRandomGroups) {
  int rowsOf[5] = {0, 0, 0, 0, 0};
  for (unsigned seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::uint64_t numNodes = 4 + random() % 36;
    std::map<std::uint64_t, std::vector<std::uint64_t>> days[2];
    const std::uint64_t size = 2 + random() % 6;
    const unsigned noise = random() % 4;
    const std::uint64_t shift = random() % 2 == 0 ? 0 : size / 2;
    for (std::uint64_t node = 0; node < numNodes; ++node) {
      const std::uint64_t group = node / size;
      if (random() % 10 > 0) days[0][3 * group + 1].push_back(node);
      const bool isMixed = random() % 10 < noise;
      const std::uint64_t now = isMixed ? random() % 6 : (node + shift) / size;
      if (random() % 10 > 0) days[1][(now * 5) % 17].push_back(node);
    }
    const std::string text = changes(fileOf(days[0]), fileOf(days[1]));
    const char* const events[] = {"\nborn", "\nmerged", "\nsplit", "\nmoved", "\nleader2"};
    for (int event = 0; event < 5; ++event) rowsOf[event] += text.find(events[event]) != std::string::npos ? 1 : 0;
    if (HasFatalFailure() || HasNonfatalFailure()) break;
  }
  for (const int rows : rowsOf) EXPECT_GT(rows, 20);
}

}  // namespace
}  // namespace vesk_groups
