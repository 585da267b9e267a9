// vesk-analyze groups --previous: the group numbers of an earlier run go on.

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <sstream>
#include <thread>

#include "groups/literal_continuity.h"
#include "groups_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;

constexpr const char* changesHeader = "Event,PreviousGroup,Group,PreviousSize,Size,Shared,Jaccard,PreviousNode,Node\n";

class GroupsHistory : public GroupsCase {
 protected:
  /// Everybody in a clique names all others in it.
  static Contacts inCliques(const std::vector<std::vector<std::uint64_t>>& cliques) {
    Contacts contacts;
    for (const auto& clique : cliques) {
      for (const std::uint64_t a : clique) {
        for (const std::uint64_t b : clique) {
          if (a != b) contacts[a].push_back(b);
        }
      }
    }
    return contacts;
  }
  static Contacts firstDay(std::uint64_t count = 6) {
    std::vector<std::vector<std::uint64_t>> cliques;
    for (std::uint64_t c = 10; c <= 10 * count; c += 10) cliques.push_back({c + 1, c + 2, c + 3, c + 4});
    return inCliques(cliques);
  }
  /// The first clique has a member more, the second lost one, the third is gone, of the fourth and the fifth one member
  /// each has changed places, and one is new.
  static Contacts secondDay() {
    return inCliques(
        {{11, 12, 13, 14, 95}, {21, 22, 23}, {41, 42, 43, 54}, {44, 51, 52, 53}, {61, 62, 63, 64}, {71, 72, 73}});
  }
  /// Kept pairs as a kernel would write them: of all that call each other.
  void useValuesOf(const Contacts& contacts) {
    std::string values;
    for (const auto& [a, list] : contacts) {
      for (const std::uint64_t b : list) values += std::to_string(a) + "," + std::to_string(b) + ",1\n";
    }
    writeFile("values", values);
    tags["KernelValuesFileName"] = "values";
    dataset(contacts);
  }
  void groupsOf(const Contacts& contacts, int workers, const Strings& more = {}) {
    useValuesOf(contacts);
    analyse("groups", workers, more);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  std::string changes() const { return content("found_changes.csv"); }

  /// A CSV text with other group numbers in a column.
  static std::string renumbered(const std::string& csv, int column,
                                const std::map<std::uint64_t, std::uint64_t>& numbers) {
    std::istringstream lines(csv);
    std::string line;
    std::getline(lines, line);
    std::string text = line + "\n";
    while (std::getline(lines, line)) {
      std::istringstream cells(line);
      std::string separator;
      int place = 0;
      for (std::string cell; std::getline(cells, cell, ','); ++place) {
        text += separator + (place == column ? std::to_string(numbers.at(std::stoull(cell))) : cell);
        separator = ",";
      }
      text += "\n";
    }
    return text;
  }

  /// A second day whose numbers go on from the first gives what the literal model makes of two days without it.
  void expectContinued(int workers) {
    SCOPED_TRACE(std::to_string(workers) + " workers");
    removeResults();
    std::filesystem::remove(path("found_changes.csv"));
    ASSERT_NO_FATAL_FAILURE(groupsOf(secondDay(), workers));
    const std::string plainClusters = clusters();
    const std::string plainNodes = nodes();
    ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(), workers));
    EXPECT_FALSE(exists("found_changes.csv"));
    const literal::TimedGroups previous = literal::readTimedGroups(nodes());
    ASSERT_NO_FATAL_FAILURE(groupsOf(secondDay(), workers, {"--previous", "found_1.nodes.csv"}));
    const literal::TimedGroups plain = literal::readTimedGroups(plainNodes);
    const auto numbers = literal::continuedNumbers(previous, plain);
    EXPECT_EQ(nodes(), renumbered(plainNodes, 1, numbers));
    EXPECT_EQ(clusters(), renumbered(plainClusters, 0, numbers));
    literal::TimedGroups continued;
    for (const auto& [number, group] : plain) continued[numbers.at(number)] = group;
    EXPECT_EQ(changes(), literal::changesOf(previous, continued));
    for (const char* event : {"\ngrown", "\nshrunk", "\nkept", "\nborn", "\ngone", "\nmoved"}) {
      EXPECT_THAT(changes(), HasSubstr(event));
    }
    EXPECT_THAT(result.out, HasSubstr("Log;|1;|Groups over time: 5 of 6 groups keep the number of an earlier group, 1 "
                                      "earlier groups are gone;|LogEnd\n"));
    EXPECT_EQ(partialFiles(), Strings{});
  }

  void expectRefusedFile(const std::string& name, const std::string& what) {
    expectFailureWith({"--previous", name}, "Error;|2302;|" + name + ";|vesk-analyze: " + what + ";|ErrorEnd\n");
  }
  void expectFailureWith(const Strings& options, const std::string& report) {
    for (const int workers : {1, 2}) {
      SCOPED_TRACE(std::to_string(workers) + " workers: " + report);
      analyse("groups", workers, options);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr(report));
      EXPECT_FALSE(hasBegun());
      EXPECT_EQ(partialFiles(), Strings{});
    }
  }
};

TEST_F(GroupsHistory, ADayGoesOnFromTheFileThatItReplaces) {
  for (const int workers : {1, 2, 3}) expectContinued(workers);
}

TEST_F(GroupsHistory, SlicesMakeNoDifference) {
  tags["NumIterationsCollectingEdges"] = "3";
  for (const int workers : {1, 2}) expectContinued(workers);
}

TEST_F(GroupsHistory, TheSameGroupsKeepTheirNumbers) {
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(4), 1));
  const std::string first = nodes() + clusters();
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(4), 1, {"--previous", "found_1.nodes.csv"}));
  EXPECT_EQ(nodes() + clusters(), first);
  std::string kept = changesHeader;
  for (const auto& [number, group] : literal::readTimedGroups(nodes())) {
    kept += "kept," + std::to_string(number) + "," + std::to_string(number) + ",4,4,4,1,,\n";
  }
  EXPECT_EQ(changes(), kept);
  // With other numbers in the earlier file these stay, and new groups come after them.
  std::map<std::uint64_t, std::uint64_t> large;
  for (const auto& [number, group] : literal::readTimedGroups(nodes())) large[number] = 9223372036854775807U - number;
  const std::string largeNodes = renumbered(nodes(), 1, large);
  writeFile("large.csv", largeNodes);
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(4), 1, {"--previous", "large.csv"}));
  EXPECT_EQ(nodes(), largeNodes);
  EXPECT_EQ(content("large.csv"), largeNodes);
}

TEST_F(GroupsHistory, WithoutAnyGroupAllAreGone) {
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(2), 1));
  tags["MinClusterSize"] = "5";
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(2), 1, {"--previous", "found_1.nodes.csv"}));
  EXPECT_EQ(nodes(), nodeHeader());
  EXPECT_THAT(changes(), ::testing::MatchesRegex(std::string(changesHeader) + "(gone,[0-9]+,,4,,,,,\n){2}"));
  tags["MinClusterSize"] = "1";
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(2), 1, {"--previous", "found_1.nodes.csv"}));
  EXPECT_THAT(changes(), ::testing::MatchesRegex(std::string(changesHeader) + "(born,,[0-9]+,,4,,,,\n){2}"));
}

TEST_F(GroupsHistory, AnEarlierFileThatIsWrongIsRefusedBeforeTheFirstPass) {
  useValuesOf(firstDay(2));
  expectRefusedFile("missing.csv", "cannot open missing.csv: No such file or directory");
  std::filesystem::create_directory(path("folder.csv"));
  expectRefusedFile("folder.csv", "cannot read folder.csv: Is a directory");
  const std::string row = ",0.5,1,0.5,1,1,1,0.5,0.5,0,0,0,0\n";
  const auto refuse = [&](const std::string& text, const std::string& what) {
    writeFile("earlier.csv", text);
    expectRefusedFile("earlier.csv", "earlier.csv" + what);
  };
  refuse("", ", line 1: the file is empty");
  refuse("NodeNumber,GroupNumber\n1,2\n", ", line 1: this is not the head line of a nodes file of the group analysis");
  refuse(nodeHeader() + "1,0,1" + row + "2,x,1" + row, ", line 3: GroupNumber is 'x' and not a whole number");
  refuse(nodeHeader() + "1,0,1" + row + "1,2,1" + row, ", line 3: node 1 stands already in line 2, in group 0");
  refuse(nodeHeader() + "1,0,1" + row.substr(0, row.size() - 1), ", line 2: the line has no end, the file is cut");
  refuse(nodeHeader() + "1,9223372036854775808,1" + row,
         ": group number 9223372036854775808 is too large to go on from");
}

TEST_F(GroupsHistory, NoOutputTakesThePlaceOfTheEarlierFileOrOfAnother) {
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(2), 1));
  const std::string earlier = nodes();
  const std::string replaces = "vesk-analyze: the output would take the place of what is read;|ErrorEnd\n";
  for (const std::string name : {"found_1.clusters.csv", "found_changes.csv", "run.xml"}) {
    writeFile(name, earlier);
    expectFailureWith({"--previous", name, "--results", "run.xml"}, "Error;|2302;|" + name + ";|" + replaces);
    EXPECT_EQ(content(name), earlier);
  }
  const Strings previous{"--previous", "found_1.nodes.csv"};
  expectFailureWith({"--previous", "found_1.nodes.csv", "--results", "found_changes.csv"},
                    "Error;|2302;|found_changes.csv;|vesk-analyze: two outputs have one name;|ErrorEnd\n");
  // An input has the name of the file of changes.
  std::filesystem::rename(path("values"), path("found_changes.csv"));
  tags["KernelValuesFileName"] = "found_changes.csv";
  expectFailureWith(previous, "Error;|2302;|found_changes.csv;|" + replaces);
  std::filesystem::rename(path("found_changes.csv"), path("values"));
  tags["KernelValuesFileName"] = "values";
  std::filesystem::create_directory(path("found_changes.csv"));
  expectFailureWith(previous, "Error;|2302;|found_changes.csv;|vesk-analyze: Unable to write output file;|ErrorEnd\n");
  EXPECT_EQ(nodes(), earlier);
}

TEST_F(GroupsHistory, ResultsThatAreNoRegularFilesAreRefused) {
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(2), 1));
  std::filesystem::rename(path("found_1.nodes.csv"), path("earlier.csv"));
  for (const std::string name : {"found_1.clusters.csv", "found_1.nodes.csv"}) {
    removeResults();
    std::filesystem::create_symlink("/dev/null", path(name));
    expectFailureWith(
        {"--previous", "earlier.csv"},
        "Error;|2302;|" + name + ";|vesk-analyze: with --previous the results must be regular files;|ErrorEnd\n");
  }
}

// The earlier results stay when the changes cannot be written.
TEST_F(GroupsHistory, AFullDiskLeavesTheEarlierResults) {
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(), 1));
  const std::string earlier = nodes() + clusters();
  std::filesystem::create_symlink("/dev/full", path("found_changes.csv"));
  useValuesOf(secondDay());
  for (const int workers : {1, 2}) {
    analyse("groups", workers, {"--previous", "found_1.nodes.csv"});
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out,
                HasSubstr("Error;|2302;|found_changes.csv;|vesk-analyze: Unable to write output file;|ErrorEnd\n"));
    EXPECT_TRUE(hasBegun());
    EXPECT_EQ(nodes() + clusters(), earlier);
    EXPECT_EQ(partialFiles(), Strings{});
  }
}

// The run waits for a reader of the pipe, after all groups are written and before their numbers go on.
TEST_F(GroupsHistory, AKilledRunLeavesNoOtherNumbersUnderTheNames) {
  ASSERT_NO_FATAL_FAILURE(groupsOf(firstDay(), 1));
  const std::string earlier = nodes() + clusters();
  ASSERT_EQ(::mkfifo(path("found_changes.csv").c_str(), 0600), 0);
  useValuesOf(secondDay());
  parameterFile();
  const pid_t program = ::fork();
  ASSERT_GE(program, 0);
  if (program == 0) {
    const int log = ::open(path("log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (::dup2(log, 1) < 0 || ::dup2(log, 2) < 0 || ::chdir(path("").c_str()) != 0) ::_exit(126);
    const std::string name = std::string(VESK_BIN_DIR) + "/vesk-analyze";
    ::execl(name.c_str(), name.c_str(), "groups", "params.xml", "calls.bin", "--previous", "found_1.nodes.csv",
            nullptr);
    ::_exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  const auto hasWritten = [&] {
    for (const std::string& name : partialFiles()) {
      if (name.find("nodes") != std::string::npos && content(name).find("\n95,") != std::string::npos) return true;
    }
    return false;
  };
  while (!hasWritten() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_TRUE(hasWritten()) << content("log");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(nodes() + clusters(), earlier);
  ASSERT_EQ(::kill(program, SIGKILL), 0);
  int status = 0;
  EXPECT_EQ(::waitpid(program, &status, 0), program);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(nodes() + clusters(), earlier);
}

TEST_F(GroupsHistory, OnlyGroupsHaveTheOption) {
  useValuesOf(firstDay(2));
  analyse("kernel", 1, {"--previous", "found_1.nodes.csv"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("--previous"));
  result = runOther("vesk-analyze", {"groups", "--help"});
  EXPECT_THAT(result.out, HasSubstr("--previous NODES.csv"));
}

}  // namespace
}  // namespace vesk_e2e
