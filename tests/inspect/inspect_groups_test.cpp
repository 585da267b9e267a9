#include "inspect_groups.h"

#include <sstream>
#include <stdexcept>

#include "groups/groups_fixture.h"
#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using testing::joined;
using testing::pairSumRow;
using testing::tableRow;
using vesk_groups::testing::nodesFile;

class InspectGroupsTest : public testing::InspectTest {
 protected:
  std::string inspect(std::size_t largest) { return inspect(GroupsOptions{path("found"), path("known"), largest}); }
  static std::string inspect(const GroupsOptions& options) {
    std::ostringstream out;
    inspectGroups(options, out);
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

// scikit-learn 1.2.1 gives the same numbers for these groups but for the last digit of the informations, networkx 2.8.8
// the modularities: 7 calls, of which 3 are
// inside of found groups, and 8 to 8, who is in none, is an edge to itself.
TEST_F(InspectGroupsTest, AddsMeasuresAndModularity) {
  writeText(nodesFile({{1, 1}, {2, 1}, {3, 1, false}, {4, 3}, {5, 3, false}, {9, 4, false}}), "found");
  writeText("1 1 2\n2 3 4 6\n", "known");
  writeText(
      bytesOf(joined({tableRow(1, 2, {2, 3}), tableRow(4, 2, {3, 6}), tableRow(6, 2, {3, 4}), tableRow(8, 2, {8})})),
      "calls.bin");
  GroupsOptions options{path("found"), path("known")};
  const std::string plain = inspect(0);
  options.full = true;
  options.dataset = path("calls.bin");
  EXPECT_EQ(
      inspect(options),
      plain +
          "\ncoverage             0.8, of the known members\n"
          "ARI, missing alone   0.07352941176470588, over the members in either, a missing one in a group of one\n"
          "NMI                  0.3437110184854508, over the members in both\n"
          "NMI, missing alone   0.6313068075421491, over the members in either, a missing one in a group of one\n"
          "\ncalls                " +
          path("calls.bin") +
          "\nsum of calls         7\n"
          "members with calls   4 of 6 found, 5 of 5 known\n"
          "modularity found     0.1326530612244898\n"
          "modularity known     0.37755102040816324\n");
}

TEST_F(InspectGroupsTest, TakesCoreNodesOnly) {
  writeText(nodesFile({{1, 1}, {2, 1}, {3, 1, false, "1,2"}, {4, 3}, {5, 3, false}, {9, 4, false}}), "found");
  writeText("1 1 2\n2 3 4 6\n", "known");
  GroupsOptions options{path("found"), path("known"), 9};
  options.coreOnly = true;
  EXPECT_EQ(inspect(options),
            head("2, members 3, core nodes only", "2, members 5") +
                "members in both      3\n\n"
                "pairs found          1\n"
                "pairs known          4\n"
                "pairs in both        1\n"
                "pairs recall         0.250000\n"
                "pairs precision      1.000000\n"
                "pairs F1             0.400000\n"
                "adjusted Rand index  1.000000, over the members in both\n"
                "\n  group  size  core  leader 1  confidence  leader 2  confidence  known  members     "
                "share\n"
                "      1     2     2         3           2         -           -      1        2  "
                "1.000000\n"
                "      3     1     1         -           -         -           -      2        1  "
                "1.000000\n");
}

TEST_F(InspectGroupsTest, SaysThatModularityWithoutCallsIsUndefined) {
  writeText(nodesFile({{1, 1}}), "found");
  writeText("1 1 2\n", "known");
  writeText("", "calls.bin");
  GroupsOptions options{path("found"), path("known")};
  options.dataset = path("calls.bin");
  EXPECT_THAT(inspect(options), ::testing::HasSubstr("sum of calls         0\n"
                                                     "members with calls   0 of 1 found, 0 of 2 known\n"
                                                     "modularity found     undefined\n"));
}

TEST_F(InspectGroupsTest, RefusesWeightsWithoutAFiniteSum) {
  writeText(nodesFile({{1, 1}}), "found");
  writeText("1 1 2\n", "known");
  writeText(bytesOf(pairSumRow(1, 2, {{2, 1e308}, {3, 1e308}})), "calls.bin");
  GroupsOptions options{path("found"), path("known")};
  options.dataset = path("calls.bin");
  EXPECT_THAT([&] { inspect(options); }, ::testing::ThrowsMessage<std::runtime_error>(
                                             path("calls.bin") + ": the weights sum to more than the largest number"));
}

// The labels of the two sides of a club of four, as the labelled networks have them.
TEST_F(InspectGroupsTest, ComparesWithLabels) {
  writeText(nodesFile({{1, 1}, {2, 1}, {3, 2}, {4, 2}}), "found");
  writeText("1\t1\n2\t1\n3\t2\n4\t2\n", "known");
  EXPECT_THAT(inspect(0), ::testing::HasSubstr("pairs F1             1.000000\n"));
}

}  // namespace
}  // namespace vesk_inspect
