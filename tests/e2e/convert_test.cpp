#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

class ConvertRun : public ::testing::Test {
 protected:
  ProgramRun run(const std::string& program, const Strings& arguments, const ProgramLimits& limits = {}) {
    return runProgram(program, arguments, folder.path(), limits);
  }
  Strings convertArguments(const std::string& input, const std::string& output, const Strings& more = {}) const {
    Strings arguments = {"convert", input,    "-o",    output,       "--caller", "caller",  "--callee",
                         "callee",  "--time", "start", "--duration", "duration", "--count", "calls"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  ProgramRun convert(const std::string& input, const std::string& output, const Strings& more = {},
                     const ProgramLimits& limits = {}) {
    return run("vesk", convertArguments(input, output, more), limits);
  }
  void generate(int records) {
    ASSERT_EQ(
        run("vesk-generate", {"-n", std::to_string(records), "-c", "500", "--csv", "-q", "-o", "calls.csv"}).status, 0);
  }
  /// The files whose names contain ".partial".
  std::set<std::string> partialFiles() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename();
      if (name.find(".partial") != std::string::npos) names.insert(name);
    }
    return names;
  }
  /// Whether the file system of the folder has files without a name, which end with their process.
  bool hasUnnamedFiles() const {
    const int file = ::open(folder.path().c_str(), O_TMPFILE | O_WRONLY, 0600);
    if (file >= 0) ::close(file);
    return file >= 0;
  }

  TemporaryFolder folder;
};

// The CSV file of the generator and its fixed-column lines give the same network, but for the names of the subscribers.
TEST_F(ConvertRun, GivesTheLoaderTheSameCalls) {
  ASSERT_EQ(
      run("vesk-generate", {"-n", "3000", "-c", "200", "--csv", "--csv-bad", "0", "-q", "-o", "calls.csv"}).status, 0);
  ASSERT_EQ(run("vesk-generate", {"-n", "3000", "-c", "200", "-q", "-o", "plain"}).status, 0);
  const ProgramRun converted = convert("calls.csv", "calls", {"--ids", "ids.map"});
  ASSERT_EQ(converted.status, 0) << converted.err;
  EXPECT_THAT(converted.out, StartsWith("calls: 3000 records of 3000 rows, dates 2020-01-01 to 2020-01-30\n"));
  std::istringstream records(folder.read("calls"));
  std::istringstream lines(folder.read("plain"));
  std::map<std::string, std::string> numbers;
  for (int i = 0; i < 3000; ++i) {
    std::array<std::string, 5> a;
    std::array<std::string, 5> b;
    for (std::string& field : a) records >> field;
    for (std::string& field : b) lines >> field;
    for (int f = 0; f < 2; ++f) ASSERT_EQ(numbers.try_emplace(b[f], a[f]).first->second, a[f]);
    for (int f = 2; f < 5; ++f) ASSERT_EQ(a[f], b[f]) << i;
  }
  std::set<std::string> different;
  for (const auto& [plain, number] : numbers) different.insert(number);
  EXPECT_EQ(different.size(), numbers.size());
  for (const char* parameters : {"calls.xml", "calls.pairs.xml", "calls.sums.xml"}) {
    const ProgramRun loaded =
        run("vesk-loader", {"datafile", "./calls", parameters, "none", "out.bin", "2", "20203001"});
    EXPECT_EQ(loaded.status, 0);
    EXPECT_THAT(loaded.out, HasSubstr("3000 lines scanned, no problem found")) << parameters;
  }
}

// Numbers of a map pass the loader and an analysis digit by digit, and become texts again.
TEST_F(ConvertRun, KeepsIdsThroughAnAnalysis) {
  folder.write("calls.csv", "caller,callee,start,duration,calls\n+1,\"+4,\",2020-01-01,1,1\n0x2,+1,2020-01-01,1,3\n");
  ASSERT_EQ(convert("calls.csv", "calls", {"--ids", "ids.map"}).status, 0);
  ASSERT_EQ(run("vesk-loader", {"datafile", "./calls", "calls.pairs.xml", "none", "pairs.bin", "0"}).status, 0);
  folder.write("seeds.txt", "0x2\n");
  ASSERT_EQ(run("vesk", {"ids", "ids.map", "--to-numbers", "seeds.txt", "--no-header", "--column", "1", "-o", "seeds"})
                .status,
            0);
  EXPECT_EQ(folder.read("seeds"), "4503599627370498\n");
  const ProgramRun analysis =
      run("vesk-analyze", {"diffusion", "-", "pairs.bin", "--set", "Seed=seeds", "--set", "OutputFileName=energy.csv"});
  ASSERT_EQ(analysis.status, 0) << analysis.out;
  const ProgramRun texts = run("vesk", {"ids", "ids.map", "--to-text", "energy.csv", "--column", "Number"});
  EXPECT_EQ(texts.status, 0) << texts.err;
  EXPECT_THAT(texts.out, StartsWith("Number,DA_DiffusedEnergy,"));
  EXPECT_THAT(texts.out, HasSubstr("\n+1,"));
  EXPECT_THAT(texts.out, HasSubstr("\n\"+4,\","));
  EXPECT_THAT(texts.out, HasSubstr("\n0x2,"));
  EXPECT_EQ(texts.out.find("450359962737"), std::string::npos);
}

TEST_F(ConvertRun, ReadsCompressedFilesAndStandardInput) {
  generate(2000);
  ASSERT_EQ(convert("calls.csv", "a", {"--ids", "ids.map"}).status, 0);
  ASSERT_EQ(
      run("/bin/sh", {"-c", "gzip -k calls.csv && cat calls.csv.gz | " + std::string(VESK_BIN_DIR) +
                                "/vesk convert - -o b --caller caller --callee callee --time start --duration duration"
                                " --count calls --ids ids.map > report"})
          .status,
      0);
  EXPECT_EQ(folder.read("a"), folder.read("b"));
  EXPECT_THAT(folder.read("report"), HasSubstr("  standard input: 2000 rows, gzip, delimiter ,\n"));
  const std::string gzip = folder.read("calls.csv.gz");
  folder.write("cut.gz", gzip.substr(0, gzip.size() / 2));
  const ProgramRun cut = convert("cut.gz", "c", {"--ids", "ids.map"});
  EXPECT_NE(cut.status, 0);
  EXPECT_THAT(cut.err, HasSubstr("cut.gz: the gzip data ends too early"));
  EXPECT_FALSE(std::filesystem::exists(folder.path("c")));
}

TEST_F(ConvertRun, SaysWhatIsWrong) {
  generate(300);
  const ProgramRun noMap = convert("calls.csv", "out");
  EXPECT_EQ(noMap.status, 3);
  EXPECT_THAT(noMap.err, StartsWith("vesk: 300 of 300 rows are bad, none is good; "));
  EXPECT_THAT(noMap.err, HasSubstr("not a plain number: use --ids, such as calls.csv, line 2: ["));
  EXPECT_EQ(convert("missing.csv", "out").err, "vesk: missing.csv: cannot open the file: No such file or directory\n");
  EXPECT_EQ(convert("calls.csv", "-").status, 1);
  EXPECT_EQ(convert("calls.csv", "out", {"--time-zone", "CET"}).status, 1);
  EXPECT_EQ(convert("calls.csv", "out", {"--max-bad", "5"}).status, 1);
  EXPECT_EQ(convert("calls.csv", "out", {"--map-all"}).status, 1);
  EXPECT_EQ(convert("calls.csv", "calls.csv").status, 1);
  EXPECT_EQ(convert("calls.csv", "no/out", {"--ids", "m"}).status, 99);
  EXPECT_FALSE(std::filesystem::exists(folder.path("out")));
  EXPECT_FALSE(std::filesystem::exists(folder.path("m")));
  EXPECT_THAT(run("vesk", {"convert", "--help"}).out, HasSubstr("get their date in UTC")) << "the rule for time zones";
  EXPECT_THAT(run("vesk", {"convert", "--help"}).out, HasSubstr("Example:\n  vesk convert calls.csv.gz -o in/calls"));
}

TEST_F(ConvertRun, LeavesNothingOnADiskWithoutRoom) {
  generate(3000);
  for (const rlim_t room : {rlim_t{1000}, rlim_t{50000}, rlim_t{195000}}) {  // of 196000 bytes and more
    ProgramLimits limits;
    limits.fileBytes = room;
    const ProgramRun full = convert("calls.csv", "out", {"--ids", "ids.map"}, limits);
    EXPECT_NE(full.status, 0);
    EXPECT_EQ(full.err.substr(0, 6), "vesk: ");
    EXPECT_FALSE(std::filesystem::exists(folder.path("out")));
    EXPECT_EQ(partialFiles(), std::set<std::string>{});
  }
  EXPECT_EQ(convert("calls.csv", "out", {"--ids", "ids.map"}).status, 0);
}

/// Starts a conversion in the folder and gives its process.
pid_t start(const std::string& folder, const Strings& arguments) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  if (::chdir(folder.c_str()) != 0 || std::freopen("/dev/null", "w", stdout) == nullptr) ::_exit(126);
  const std::string program = std::string(VESK_BIN_DIR) + "/vesk";
  std::vector<char*> argv = {const_cast<char*>("vesk")};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  ::execv(program.c_str(), argv.data());
  ::_exit(127);
}

// After a kill at any moment the output is absent or whole, and the map is sound and has all numbers of the output.
TEST_F(ConvertRun, IsWholeOrAbsentAfterAKill) {
  generate(20000);
  ASSERT_EQ(convert("calls.csv", "whole", {"--ids", "other.map"}).status, 0);
  const std::string whole = folder.read("whole");
  int finished = 0;
  for (useconds_t wait = 0; wait < 60000; wait += 1500) {
    for (const char* name : {"out", "ids.map", "ids.map-journal"}) std::filesystem::remove(folder.path(name));
    const pid_t child = start(folder.path(), convertArguments("calls.csv", "out", {"--ids", "ids.map"}));
    ::usleep(wait);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    // Half of a record file in a folder of records would be loaded with the others.
    if (hasUnnamedFiles()) {
      ASSERT_EQ(partialFiles(), std::set<std::string>{});
    }
    if (std::filesystem::exists(folder.path("out"))) {
      ++finished;
      ASSERT_EQ(folder.read("out"), whole);
      ASSERT_THAT(run("vesk", {"ids", "ids.map"}).out, HasSubstr("ids.map: 500 ids"));
    }
    // The next run takes any state that was left.
    if (wait % 6000 == 0) {
      const ProgramRun next = convert("calls.csv", "out", {"--ids", "ids.map"});
      ASSERT_EQ(next.status, 0) << next.err;
      ASSERT_EQ(folder.read("out"), whole);
    }
  }
  EXPECT_LT(finished, 40);
}

// Processes at once agree on the numbers of all texts.
TEST_F(ConvertRun, SharesAMapBetweenProcesses) {
  constexpr int processes = 4;
  constexpr int rows = 4000;
  std::array<pid_t, processes> children{};
  for (int p = 0; p < processes; ++p) {
    std::string text = "caller,callee,start,duration,calls\n";
    for (int i = 0; i < rows; ++i) {
      text += "c" + std::to_string((i + 1000 * p) % 5000) + ",d" + std::to_string(p) + "x" + std::to_string(i) +
              ",2020-01-01,1,1\n";
    }
    folder.write("in" + std::to_string(p), text);
  }
  for (int p = 0; p < processes; ++p) {
    const std::string number = std::to_string(p);
    children[static_cast<std::size_t>(p)] =
        start(folder.path(), convertArguments("in" + number, "out" + number, {"--ids", "ids.map"}));
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
  }
  EXPECT_THAT(run("vesk", {"ids", "ids.map"}).out, HasSubstr("ids.map: 21000 ids"));
  // A fresh conversion with the finished map gives the same numbers.
  for (int p = 0; p < processes; ++p) {
    const std::string number = std::to_string(p);
    ASSERT_EQ(convert("in" + number, "again", {"--ids", "ids.map"}).status, 0);
    EXPECT_EQ(folder.read("again"), folder.read("out" + number)) << p;
  }
}

}  // namespace
}  // namespace vesk_e2e
