// vesk check from outside: a good input, each of the ordinary mistakes, and the example of its page.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class CheckProgram : public ::testing::Test {
 protected:
  CheckProgram() {
    generate({"-n", "3000", "-c", "2000", "--days", "3", "-o", "in/calls"});
    folder.write("table.xml", parametersOf("table"));
  }

  void generate(std::vector<std::string> arguments) {
    std::filesystem::create_directories(folder.path("in"));
    arguments.insert(arguments.begin(), "--quiet");
    ASSERT_EQ(runProgram("vesk-generate", arguments, folder.path()).status, 0);
  }
  std::string parametersOf(const std::string& run) const {
    return runProgram("vesk-generate", {"--quiet", "--params", run}, folder.path()).out;
  }
  void change(const std::string& from, const std::string& to) {
    std::string text = folder.read("table.xml");
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    folder.write("table.xml", text.replace(at, from.size(), to));
  }
  ProgramRun check(std::vector<std::string> arguments = {"table.xml", "in"}) const {
    arguments.insert(arguments.begin(), "check");
    return runProgram("vesk", arguments, folder.path());
  }
  /// Checks with errors: the report, without line breaks in its findings.
  std::string refused(const std::vector<std::string>& arguments = {"table.xml", "in"}) const {
    const ProgramRun run = check(arguments);
    EXPECT_EQ(run.status, 3) << run.out;
    EXPECT_THAT(run.err, HasSubstr("vesk: the check found "));
    std::string text = run.out;
    for (std::size_t at = 0; (at = text.find("\n    ", at)) != std::string::npos;) text.replace(at, 5, " ");
    return text;
  }

  TemporaryFolder folder;
};

TEST_F(CheckProgram, GoodInputsOfAllRunsHaveNoErrors) {
  for (const char* name : {"table", "pairsum", "sums"}) {
    folder.write("table.xml", parametersOf(name));
    const ProgramRun run = check({"table.xml", "in", "--record-dates", "ymd", "--date", "2020-01-03"});
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("\n  3000 of 3000 would be loaded (100.0 %)\n"));
    EXPECT_THAT(run.out, HasSubstr("\nFindings\n  none\n"));
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100U) << line;
  }
}

TEST_F(CheckProgram, SaysWhatATableHolds) {
  folder.write("table.xml", parametersOf("table"));
  EXPECT_THAT(check().out, HasSubstr("\n  table run, the last 20 calls of a caller\n"));
  std::string text = parametersOf("table");
  text.insert(text.find("<CyclicTableSize>"), "<CyclicTableDistinct>Yes</CyclicTableDistinct>");
  folder.write("table.xml", text);
  EXPECT_THAT(check().out, HasSubstr("\n  table run, the last 20 different callees of a caller\n"));
}

TEST_F(CheckProgram, WritesNothing) {
  const auto state = [&] {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) {
      names.push_back(entry.path().string() + " " + std::to_string(entry.last_write_time().time_since_epoch().count()));
    }
    std::ranges::sort(names);
    return names;
  };
  const auto before = state();
  EXPECT_EQ(check().status, 0);
  EXPECT_EQ(state(), before);
}

TEST_F(CheckProgram, ParameterFilesHaveLineAndColumn) {
  change("<LoaderParams>\n", "<LoaderParams>\n  <!-- calls -->\n");
  EXPECT_THAT(refused(), HasSubstr("\n  error: table.xml:2:3: a comment; the loader reads none\n"));
  // The lines are shown all the same.
  EXPECT_THAT(check().out, HasSubstr("\nColumns of the first lines\n           1         2"));
}

TEST_F(CheckProgram, MisspeltTagsAndValues) {
  change("<DateHorizon>30</DateHorizon>", "<DateHorizont>one month</DateHorizont>");
  change("<CyclicTableSize>20", "<CyclicTableSize>-5");
  change("<Operation2>", "<Operation3>");
  change("</Operation2>", "</Operation3>");
  EXPECT_THAT(refused(), AllOf(HasSubstr(": DateHorizont: did you mean DateHorizon?\n"),
                               HasSubstr(": CyclicTableSize: [-5] is not from 0 to "),
                               HasSubstr(": Operation3: not read, because there is no Operation2;")));
}

TEST_F(CheckProgram, FieldsThatCutNumbers) {
  change("<End>31</End>", "<End>29</End>");
  EXPECT_THAT(refused(), HasSubstr("error: Field2 (Callee, columns 17-29): the numbers go on after the field"));
}

TEST_F(CheckProgram, DatesOfTheOtherForm) {
  EXPECT_THAT(refused({"table.xml", "in", "--record-dates", "ydm"}), HasSubstr("give --record-dates ymd\n"));
  generate({"-n", "300", "--start-date", "2014-03-01", "--days", "1", "-o", "in/calls"});
  EXPECT_THAT(refused({"table.xml", "in", "--record-dates", "ydm", "--date", "2014-03-01"}),
              HasSubstr("the dates are 2014-01-03 when they are read as yyyyddmm, and 2014-03-01 as yyyymmdd"));
}

TEST_F(CheckProgram, TheCutoffIsADayAndCountsLines) {
  const ProgramRun run = check({"table.xml", "in", "--record-dates", "ymd", "--date", "2020-02-01"});
  EXPECT_THAT(
      run.out,
      HasSubstr("\n  cutoff 2020-01-02, 30 days before 2020-02-01: 1000 of 3000 lines (33.3 %) lie before it\n"));
}

TEST_F(CheckProgram, CompressedWideAndEqualInputs) {
  ASSERT_EQ(std::system(("cd " + folder.path("in") + " && gzip calls && cp calls.gz copy.gz").c_str()), 0);
  const std::string report = refused();
  EXPECT_THAT(report, HasSubstr("error: in/copy.gz: holds the same as in/calls.gz\n"));
  EXPECT_THAT(report, HasSubstr("remark: in/calls.gz: compressed; vesk day reads it"));
  EXPECT_THAT(report, HasSubstr("\n  6000 of 6000 would be loaded"));
  folder.write("in/wide", std::string("\xFF\xFE"
                                      "1\0\n\0",
                                      6));
  EXPECT_THAT(refused(), HasSubstr("error: in/wide: UTF-16 text; convert it to UTF-8 first\n"));
}

TEST_F(CheckProgram, InputsThatAreNone) {
  EXPECT_THAT(refused({"table.xml", "nowhere"}), HasSubstr("error: nowhere: there is no such input"));
  std::filesystem::create_directory(folder.path("empty"));
  EXPECT_THAT(refused({"table.xml", "empty"}), HasSubstr("error: empty: the input folder is empty\n"));
  const ProgramRun swapped = check({"in", "table.xml"});
  EXPECT_EQ(swapped.status, 3);
  EXPECT_EQ(swapped.err, "vesk: in: a folder; the parameter file comes first, then the input\n");
  const ProgramRun missing = check({"none.xml", "in"});
  EXPECT_EQ(missing.status, 3);
  EXPECT_THAT(missing.err, HasSubstr("vesk: none.xml: cannot "));
}

TEST_F(CheckProgram, OptionsAreChecked) {
  EXPECT_EQ(check({"table.xml"}).status, 1);
  EXPECT_EQ(check({"table.xml", "in", "--record-dates", "yyyymmdd"}).status, 1);
  EXPECT_EQ(check({"table.xml", "in", "--lines", "0"}).status, 1);
  const ProgramRun run = check({"table.xml", "in", "--date", "20140301"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("[20140301] is no day in the form YYYY-MM-DD"));
  EXPECT_THAT(check({"--help"}).out, HasSubstr("Example:\n  vesk check table.xml in"));
}

// The example of docs/check.md prints what the page says.
TEST(CheckPage, ExamplePrintsWhatItSays) {
  std::ifstream page(std::string(VESK_SOURCE_DIR) + "/docs/check.md");
  std::vector<std::string> blocks;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("```")) {
      inside = !inside;
      if (inside) blocks.emplace_back();
    } else if (inside) {
      blocks.back() += line + "\n";
    }
  }
  ASSERT_EQ(blocks.size(), 2U);
  const TemporaryFolder folder;
  folder.write("example.sh", blocks[0]);
  const std::string command =
      "cd " + folder.path() + " && PATH=" + VESK_BIN_DIR + ":$PATH sh example.sh > printed 2> said";
  EXPECT_NE(std::system(command.c_str()), 0);
  EXPECT_EQ(folder.read("said"), "vesk: the check found 3 errors\n");
  EXPECT_EQ(folder.read("printed"), blocks[1]);
}

}  // namespace
