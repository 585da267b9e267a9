#include "groups/grouping.h"

#include "groups/groups_fixture.h"
#include "groups/line_file.h"

namespace vesk_groups {
namespace {

using ::testing::ElementsAre;
using testing::membersOf;
using ::testing::ThrowsMessage;

class GroupingTest : public testing::GroupsFilesTest {
 protected:
  void SetUp() override { writeText(""); }

  Grouping finish() {
    const LineFile file(path());
    return builder.finish(file);
  }

  GroupingBuilder builder;
};

TEST_F(GroupingTest, GroupsAscendByNumberAndMembersByNode) {
  builder.add(30, 7, 1);
  builder.add(10, 9, 2);
  builder.add(20, 7, 3);
  const Grouping grouping = finish();
  EXPECT_THAT(grouping.numbers, ElementsAre(7U, 9U));
  ASSERT_EQ(grouping.members.size(), 3U);
  EXPECT_EQ(grouping.members[0].node, 10U);
  EXPECT_EQ(grouping.members[0].group, 1U);
  EXPECT_EQ(grouping.members[1].node, 20U);
  EXPECT_EQ(grouping.members[1].group, 0U);
  EXPECT_EQ(grouping.members[2].node, 30U);
}

TEST_F(GroupingTest, NothingAddedGivesNoGroups) {
  const Grouping grouping = finish();
  EXPECT_TRUE(grouping.numbers.empty());
  EXPECT_TRUE(grouping.members.empty());
}

// Nodes that differ in their last bit only are the same double.
TEST_F(GroupingTest, NodeNumbersAreExact) {
  const std::uint64_t large = 18446744073709551615U;
  builder.add(large, 1, 1);
  builder.add(large - 1, 2, 2);
  EXPECT_EQ(membersOf(finish()), (std::map<std::uint64_t, std::vector<std::uint64_t>>{{1, {large}}, {2, {large - 1}}}));
}

// Three nodes are repeated; line 4 holds the repetition that comes first, though its node is the largest.
TEST_F(GroupingTest, TheFirstRepetitionIsReported) {
  builder.add(10, 1, 1);
  builder.add(30, 2, 2);
  builder.add(20, 3, 3);
  builder.add(30, 4, 4);
  builder.add(10, 1, 5);
  builder.add(20, 3, 6);
  builder.add(30, 3, 7);
  EXPECT_THAT([&] { (void)finish(); },
              ThrowsMessage<std::runtime_error>(path() + ", line 4: node 30 stands already in line 2, in group 2"));
}

TEST_F(GroupingTest, ANodeTwiceInALineIsReported) {
  builder.add(5, 1, 3);
  builder.add(5, 1, 3);
  EXPECT_THAT([&] { (void)finish(); },
              ThrowsMessage<std::runtime_error>(path() + ", line 3: node 5 stands already in line 3, in group 1"));
}

TEST(ReadWholeNumber, TakesDigitsOnly) {
  EXPECT_EQ(readWholeNumber("0"), 0U);
  EXPECT_EQ(readWholeNumber("007"), 7U);
  EXPECT_EQ(readWholeNumber("18446744073709551615"), 18446744073709551615U);
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "1.0", "1e3", "0x1", "x", "18446744073709551616"}) {
    EXPECT_EQ(readWholeNumber(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vesk_groups
