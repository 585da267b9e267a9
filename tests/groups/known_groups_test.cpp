#include "groups/known_groups.h"

#include "groups/groups_fixture.h"

namespace vesk_groups {
namespace {

using testing::membersOf;
using ::testing::ThrowsMessage;
using Groups = std::map<std::uint64_t, std::vector<std::uint64_t>>;

class KnownGroupsTest : public testing::GroupsFilesTest {
 protected:
  Groups read(const std::string& text) {
    writeText(text);
    return membersOf(readKnownGroups(path()));
  }

  void expectRefused(const std::string& text, const std::string& what) {
    SCOPED_TRACE(text);
    writeText(text);
    EXPECT_THAT([&] { (void)readKnownGroups(path()); }, ThrowsMessage<std::runtime_error>(path() + what));
  }
};

TEST_F(KnownGroupsTest, ReadsALineAGroup) {
  EXPECT_EQ(read("1 5 3 4\n2 18446744073709551615 1\n"), (Groups{{1, {3, 4, 5}}, {2, {1, 18446744073709551615U}}}));
}

TEST_F(KnownGroupsTest, ReadsALineANode) { EXPECT_EQ(read("0 2\n1 1\n5 2\n"), (Groups{{1, {1}}, {2, {0, 5}}})); }

TEST_F(KnownGroupsTest, TakesBlanksTabsAndCommasBetweenItems) {
  for (const char* text : {"7\t1\n8\t2\n", "7,1\n8,2\n", "7 , 1\n 8,\t2 ", "7  1\r\n8 2\r\n", "\n7 1\n \t\n8 2\n\n"}) {
    EXPECT_EQ(read(text), (Groups{{1, {7}}, {2, {8}}})) << text;
  }
  EXPECT_EQ(read("1,5,3,4\n"), (Groups{{1, {3, 4, 5}}}));
}

TEST_F(KnownGroupsTest, TheFirstLineSaysWhichFormItIs) {
  EXPECT_EQ(read("1 2 3\n2 4\n"), (Groups{{1, {2, 3}}, {2, {4}}}));
  expectRefused("1 2\n3 4 5\n", ", line 2: 3 items, but the file has a node and its group a line");
  expectRefused("1 2\n3\n", ", line 2: 1 items, but the file has a node and its group a line");
}

TEST_F(KnownGroupsTest, RefusesWhatIsNoGroups) {
  expectRefused("", ", line 1: the file ends without any group");
  expectRefused(" \n\n", ", line 2: the file ends without any group");
  expectRefused("1\n", ", line 1: group 1 has no members");
  expectRefused("1 2 3\n4\n", ", line 2: group 4 has no members");
  expectRefused("1 2 3\n1 4 5\n", ", line 2: group 1 stands already in line 1");
  expectRefused("1 2 3\n2 4 3\n", ", line 2: node 3 stands already in line 1, in group 1");
  expectRefused("5 1\n6 1\n5 1\n", ", line 3: node 5 stands already in line 1, in group 1");
}

TEST_F(KnownGroupsTest, RefusesItemsThatAreNoWholeNumbers) {
  for (const std::string item : {"-2", "x", "2.5", "18446744073709551616", "2;3"}) {
    expectRefused("1 1 1\n2 " + item + " 4\n", ", line 2: '" + item + "' is no whole number");
  }
  expectRefused("1,,2\n", ", line 1: '' is no whole number");
  expectRefused(",1,2\n", ", line 1: '' is no whole number");
  expectRefused("1,2,\n", ", line 1: nothing follows the last comma");
}

TEST_F(KnownGroupsTest, NamesTheFileThatIsNotThere) {
  EXPECT_THAT([&] { (void)readKnownGroups(path("missing")); },
              ThrowsMessage<std::runtime_error>("cannot open " + path("missing") + ": No such file or directory"));
}

}  // namespace
}  // namespace vesk_groups
