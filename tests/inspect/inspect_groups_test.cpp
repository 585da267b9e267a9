#include "inspect_groups.h"

#include <sstream>

#include "groups_fixture.h"

namespace vesk_inspect {
namespace {

using testing::nodesFile;

class InspectGroupsTest : public testing::InspectTest {
 protected:
  std::string inspect(std::size_t largest) {
    std::ostringstream out;
    inspectGroups({path("found"), path("known"), largest}, out);
    return out.str();
  }

  std::string head(const std::string& found, const std::string& known) const {
    return "found                " + path("found") + "\ngroups               " + found + "\nknown                " +
           path("known") + "\ngroups               " + known + "\n";
  }
};

// Of the groups 1 and 4 of two members each the lower number comes first; group 4 has nobody in a known group.
TEST_F(InspectGroupsTest, PrintsAgreementAndLargestGroups) {
  writeText(nodesFile({{1, 1, true, "1,2"},
                       {2, 1, true, "0,0", "1,2.5"},
                       {3, 3, true, "1,1e+06"},
                       {4, 3, false},
                       {5, 3, true, "0,0", "1,1.125"},
                       {8, 4},
                       {9, 4}}),
            "found");
  writeText("10 1 2\n20 3 4 6\n", "known");
  const std::string page = head("3, members 7", "2, members 5") +
                           "members in both      4\n\n"
                           "pairs found          5\n"
                           "pairs known          4\n"
                           "pairs in both        2\n"
                           "pairs recall         0.500000\n"
                           "pairs precision      0.400000\n"
                           "pairs F1             0.444444\n"
                           "adjusted Rand index  1.000000, over the members in both\n";
  EXPECT_EQ(inspect(0), page);
  const std::string rows[] = {
      "\n  group  size  core  leader 1  confidence  leader 2  confidence  known  members     share\n",
      "      3     3     2         3     1000000         5       1.125     20        2  0.666667\n",
      "      1     2     2         1           2         2         2.5     10        2  1.000000\n",
      "      4     2     2         -           -         -           -      -        0  0.000000\n"};
  EXPECT_EQ(inspect(2), page + rows[0] + rows[1] + rows[2]);
  EXPECT_EQ(inspect(1000), page + rows[0] + rows[1] + rows[2] + rows[3]);
}

TEST_F(InspectGroupsTest, SaysWhatIsUndefined) {
  writeText(nodesFile({}), "found");
  writeText("1 1 2\n", "known");
  EXPECT_EQ(inspect(5), head("0, members 0", "1, members 2") +
                            "members in both      0\n\n"
                            "pairs found          0\n"
                            "pairs known          1\n"
                            "pairs in both        0\n"
                            "pairs recall         0.000000\n"
                            "pairs precision      undefined\n"
                            "pairs F1             0.000000\n"
                            "adjusted Rand index  undefined, over the members in both\n");
}

// The labels of the two sides of a club of four, as the labelled networks have them.
TEST_F(InspectGroupsTest, ComparesWithLabels) {
  writeText(nodesFile({{1, 1}, {2, 1}, {3, 2}, {4, 2}}), "found");
  writeText("1\t1\n2\t1\n3\t2\n4\t2\n", "known");
  EXPECT_THAT(inspect(0), ::testing::HasSubstr("pairs F1             1.000000\n"));
}

}  // namespace
}  // namespace vesk_inspect
