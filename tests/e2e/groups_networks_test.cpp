// Groups in networks whose groups are known.
//
// The karate club stands here (W. W. Zachary, Journal of Anthropological Research 33, 1977). Larger ones are read from
// the folder that VESK_EXAMPLE_DATA names, each from NAME/NAME.edges and NAME/NAME.clusters, and left out without it.

#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "groups_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;

constexpr const char* karateClub =
    "1-2 1-3 1-4 1-5 1-6 1-7 1-8 1-9 1-11 1-12 1-13 1-14 1-18 1-20 1-22 1-32 2-3 2-4 2-8 2-14 2-18 2-20 2-22 2-31 3-4 "
    "3-8 3-9 3-10 3-14 3-28 3-29 3-33 4-8 4-13 4-14 5-7 5-11 6-7 6-11 6-17 7-17 9-31 9-33 9-34 10-34 14-34 15-33 15-34 "
    "16-33 16-34 19-33 19-34 20-34 21-33 21-34 23-33 23-34 24-26 24-28 24-30 24-33 24-34 25-26 25-28 25-32 26-32 27-30 "
    "27-34 28-34 29-32 29-34 30-33 30-34 31-33 31-34 32-33 32-34 33-34";

class GroupsNetworks : public GroupsCase {
 protected:
  /// Everybody names all neighbours, ascending.
  static Contacts contactsOf(const std::set<std::pair<std::uint64_t, std::uint64_t>>& edges) {
    std::map<std::uint64_t, std::set<std::uint64_t>> neighbours;
    for (const auto& [a, b] : edges) {
      if (a == b) continue;
      neighbours[a].insert(b);
      neighbours[b].insert(a);
    }
    Contacts contacts;
    for (const auto& [node, list] : neighbours) contacts[node].assign(list.begin(), list.end());
    return contacts;
  }
  void karate() {
    std::set<std::pair<std::uint64_t, std::uint64_t>> edges;
    std::istringstream pairs(karateClub);
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    for (char hyphen = 0; pairs >> a >> hyphen >> b;) edges.emplace(a, b);
    ASSERT_EQ(edges.size(), 78U);
    dataset(contactsOf(edges));
    tags = {{"MaxClusterSize", "20"},
            {"NumIterationsConnectingNodes", "3"},
            {"OutputFileName", "found"},
            {"OutputFormat", "CSV"}};
    kernelTags["SparsityLevel"] = "0.7";
    kernelTags["NormalizingFactor"] = "34";
  }

  /// Reads a network of the folder into "calls.bin" and "known", where numbers are one up: theirs begin with 0.
  bool readNetwork(const std::string& name) {
    const char* const data = std::getenv("VESK_EXAMPLE_DATA");
    if (data == nullptr) return false;
    const std::string base = std::string(data) + "/" + name + "/" + name;
    std::set<std::pair<std::uint64_t, std::uint64_t>> edges;
    std::ifstream edgeFile(base + ".edges");
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    while (edgeFile >> a >> b) edges.emplace(a + 1, b + 1);
    if (edges.empty()) return false;
    dataset(contactsOf(edges));
    std::map<std::string, std::string> members;
    std::ifstream clusterFile(base + ".clusters");
    for (std::string group; clusterFile >> a >> group;) members[group] += " " + std::to_string(a + 1);
    std::string known;
    int number = 0;
    for (const auto& [group, list] : members) known += std::to_string(++number) + list + "\n";
    writeFile("known", known);
    return true;
  }
  /// A measure of agreement with the known groups.
  double agreement(const std::string& measure) {
    result = runOther("vesk-inspect", {"groups", "found_1.nodes.csv", "known"});
    const std::size_t place = result.out.find(measure);
    if (result.status != 0 || place == std::string::npos) {
      ADD_FAILURE() << result.out << result.err;
      return 0;
    }
    return std::stod(result.out.substr(place + measure.size()));
  }
};

/// The numbers are those of the literal analysis of tests/groups. The leaders of the two groups are 1 and 34: the
/// teacher and the president, around whom the club split.
TEST_F(GroupsNetworks, TheKarateClub) {
  ASSERT_NO_FATAL_FAILURE(karate());
  expectGroups(1);
  EXPECT_THAT(result.out, HasSubstr("Added 156 samples to the histogram"));
  EXPECT_THAT(result.out, HasSubstr("cutoff threshold=0.060953\n"));
  EXPECT_THAT(result.out,
              HasSubstr("buildInitialClusters: Found 4 initial clusters\n"
                        "buildInitialClusters: Found 19 kernel nodes\n"
                        "buildInitialClusters: avg core cluster size = 4.75, avg kernel density = 0.439103"));
  EXPECT_EQ(clusters(), clusterHeader() +
                            "1,18,0.228758,0.25641,0.722222,0.189159,0.0190383,9.93568,0.189159,0.0190383,9.93568\n"
                            "2,14,0.296703,0.5,0.285714,0.183545,0.0414309,4.43015,0.183545,0.0414309,4.43015\n"
                            "3,2,1,1,1,0.5,0.5,1,0.5,0.5,1\n");
  EXPECT_EQ(nodes(), nodeHeader() +
                         "1,1,1,0.189159,1,0.189159,1,14,14,0.736993,0.736993,1,9.93563,1,9.93563\n"
                         "2,1,1,0.107083,2,0.107083,2,8,8,0.56255,0.56255,0,0,0,0\n"
                         "3,1,1,0.101301,3,0.101301,3,7,7,0.519468,0.519468,0,0,0,0\n"
                         "4,1,1,0.0787534,4,0.0787534,4,6,6,0.532171,0.532171,0,0,0,0\n"
                         "5,1,1,0.0447388,9,0.0447388,9,3,3,0.292857,0.292857,0,0,0,0\n"
                         "6,1,1,0.0589595,5,0.0589595,5,4,4,0.326778,0.326778,0,0,0,0\n"
                         "7,1,1,0.0589595,6,0.0589595,6,4,4,0.326778,0.326778,0,0,0,0\n"
                         "8,1,1,0.0522726,7,0.0522726,7,4,4,0.476296,0.476296,0,0,0,0\n"
                         "10,1,0,0.0199636,16,0.0199636,16,1,1,0.101301,0.101301,0,0,0,0\n"
                         "11,1,1,0.0447388,10,0.0447388,10,3,3,0.292857,0.292857,0,0,0,0\n"
                         "12,1,0,0.0190383,18,0.0190383,18,1,1,0.189159,0.189159,0,0,0,0\n"
                         "13,1,0,0.0300833,12,0.0300833,12,2,2,0.267912,0.267912,0,0,0,0\n"
                         "14,1,1,0.0522726,8,0.0522726,8,4,4,0.476296,0.476296,0,0,0,0\n"
                         "17,1,1,0.0339211,11,0.0339211,11,2,2,0.117919,0.117919,0,0,0,0\n"
                         "18,1,1,0.0295973,13,0.0295973,13,2,2,0.296242,0.296242,0,0,0,0\n"
                         "20,1,0,0.0295973,14,0.0295973,14,2,2,0.296242,0.296242,0,0,0,0\n"
                         "22,1,1,0.0295973,15,0.0295973,15,2,2,0.296242,0.296242,0,0,0,0\n"
                         "29,1,0,0.0199636,17,0.0199636,17,1,1,0.101301,0.101301,0,0,0,0\n"
                         "15,2,0,0.0421772,9,0.0421772,9,2,2,0.334043,0.334043,0,0,0,0\n"
                         "16,2,0,0.0421772,10,0.0421772,10,2,2,0.334043,0.334043,0,0,0,0\n"
                         "19,2,0,0.0421772,11,0.0421772,11,2,2,0.334043,0.334043,0,0,0,0\n"
                         "21,2,0,0.0421772,12,0.0421772,12,2,2,0.334043,0.334043,0,0,0,0\n"
                         "23,2,0,0.0421772,13,0.0421772,13,2,2,0.334043,0.334043,0,0,0,0\n"
                         "24,2,1,0.0898852,3,0.0898852,3,5,5,0.523508,0.523508,0,0,0,0\n"
                         "25,2,0,0.0581335,7,0.0581335,7,3,3,0.191712,0.191712,0,0,0,0\n"
                         "26,2,0,0.0573547,8,0.0573547,8,3,3,0.224175,0.224175,0,0,0,0\n"
                         "27,2,0,0.0414309,14,0.0414309,14,2,2,0.257455,0.257455,0,0,0,0\n"
                         "28,2,0,0.0582006,6,0.0582006,6,3,3,0.331564,0.331564,0,0,0,0\n"
                         "30,2,1,0.0739101,5,0.0739101,5,4,4,0.465359,0.465359,0,0,0,0\n"
                         "32,2,0,0.0761564,4,0.0761564,4,4,4,0.449531,0.449531,0,0,0,0\n"
                         "33,2,1,0.150497,2,0.150497,2,9,9,0.634383,0.634383,0,0,0,0\n"
                         "34,2,1,0.183545,1,0.183545,1,11,11,0.700967,0.700967,1,4.43014,1,4.43014\n"
                         "9,3,1,0.5,1,0.5,1,1,1,0.5,0.5,1,1,1,1\n"
                         "31,3,1,0.5,2,0.5,2,1,1,0.5,0.5,0,0,0,0\n");
}

/// The pairs that one worker keeps give the same groups to any number of workers.
TEST_F(GroupsNetworks, TheKarateClubFromItsPairs) {
  ASSERT_NO_FATAL_FAILURE(karate());
  tags["MaxClusterSize"] = "34";  // room for all: nobody is refused
  kernelTags["OutputFileName"] = "kept.txt";
  expectGroups(1);
  const Strings alone = groups();
  tags["KernelValuesFileName"] = "kept_worker_0.txt";
  for (const int workers : {1, 2, 3}) {
    expectGroups(workers);
    EXPECT_EQ(groups(), alone) << workers;
  }
}

/// What the settings give here, less a margin for the last places that are disputed.
TEST_F(GroupsNetworks, BooksBoughtTogether) {
  if (!readNetwork("polbooks")) GTEST_SKIP() << "VESK_EXAMPLE_DATA has no network polbooks";
  tags["MaxClusterSize"] = "60";
  tags["NumIterationsConnectingNodes"] = "5";
  kernelTags["NormalizingFactor"] = "105";
  expectGroups(1);
  EXPECT_GT(agreement("pairs recall"), 0.7);
  EXPECT_GT(agreement("pairs precision"), 0.7);
}

TEST_F(GroupsNetworks, DepartmentsOfAnInstitute) {
  if (!readNetwork("eu-core")) GTEST_SKIP() << "VESK_EXAMPLE_DATA has no network eu-core";
  tags["MaxClusterSize"] = "110";
  tags["NumIterationsConnectingNodes"] = "5";
  kernelTags["SparsityLevel"] = "0.9";
  kernelTags["NormalizingFactor"] = "1005";
  kernelTags["OutputFileName"] = "kept.txt";
  for (const int workers : {1, 2, 3}) {
    expectGroups(workers);
    // By chance a pair is of one department 1 time in 20.
    EXPECT_GT(agreement("pairs precision"), 0.15) << workers;
  }
  // In slices the same members come together.
  tags["KernelValuesFileName"] = "kept_worker_0.txt";
  expectGroups(2);
  const Strings whole = groups();
  tags["MaxNodesCollectingEdges"] = "150";
  expectGroups(2);
  EXPECT_EQ(groups(), whole);
  EXPECT_THAT(result.out, HasSubstr("(out of 1) ]"));
}

/// From the log of real calls to groups: as records of fixed columns, through the table of the loader.
TEST_F(GroupsNetworks, CallsOfFourWeeks) {
  const char* const data = std::getenv("VESK_EXAMPLE_DATA");
  if (data == nullptr || !std::filesystem::exists(std::string(data) + "/copenhagen/calls.csv")) {
    GTEST_SKIP() << "VESK_EXAMPLE_DATA has no calls copenhagen/calls.csv";
  }
  const std::string base(data);
  result = runOther("/usr/bin/env",
                    {"python3", base + "/to_fixed_columns.py", base + "/copenhagen/calls.csv", "-o", "in/calls",
                     "--shift", "1", "--duration", "duration", "--time-format", "offset", "--origin", "2014-02-02"});
  ASSERT_EQ(result.status, 0) << result.err;
  parameters("fields 1-15 17-31 33-40; Key 1; Output Sparse; CyclicTableSize 20; op CyclicAdd 2");
  outputFile = "calls.bin";
  run();
  ASSERT_EQ(result.status, 0) << result.out;
  tags["NumIterationsConnectingNodes"] = "5";
  kernelTags["NormalizingFactor"] = "536";
  for (const int workers : {1, 2, 3, 4}) {
    SCOPED_TRACE(workers);
    expectGroups(workers);
    std::map<std::string, std::string> sizes;
    std::istringstream groupLines(clusters());
    std::string line;
    std::getline(groupLines, line);
    for (std::string group, size; std::getline(groupLines, group, ',') && std::getline(groupLines, size, ',');) {
      EXPECT_TRUE(sizes.emplace(group, size).second) << group;
      EXPECT_LE(std::stoi(size), 20);
      std::getline(groupLines, line);
    }
    EXPECT_GE(sizes.size(), 20U);
    // Every group has the members that it says, and a leader of either type.
    std::map<std::string, std::array<int, 3>> counts;
    std::istringstream nodeLines(nodes());
    std::getline(nodeLines, line);
    while (std::getline(nodeLines, line)) {
      std::istringstream columns(line);
      Strings values;
      for (std::string value; std::getline(columns, value, ',');) values.push_back(value);
      ASSERT_EQ(values.size(), 15U) << line;
      std::array<int, 3>& count = counts[values[1]];
      ++count[0];
      count[1] += values[11] == "1" ? 1 : 0;
      count[2] += values[13] == "1" ? 1 : 0;
    }
    ASSERT_EQ(counts.size(), sizes.size());
    for (const auto& [group, count] : counts) {
      EXPECT_EQ(count, (std::array<int, 3>{std::stoi(sizes[group]), 1, 1})) << group;
    }
  }
}

}  // namespace
}  // namespace vesk_e2e
