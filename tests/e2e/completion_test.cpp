// The completion of the shell offers what --help lists.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "support/program_run.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The words offered for a command line whose last word is being written.
std::vector<std::string> offered(const std::string& words, int place) {
  const TemporaryFolder folder;
  const std::string script = "source " VESK_SOURCE_DIR "/completions/vesk.bash; COMP_WORDS=(" VESK_BIN_DIR "/vesk " +
                             words + "); COMP_CWORD=" + std::to_string(place) +
                             "; _vesk; printf '%s\\n' \"${COMPREPLY[@]}\"";
  const ProgramRun run = runProgram("/bin/bash", {"-c", script}, folder.path());
  EXPECT_EQ(run.err, "");
  std::istringstream lines(run.out);
  std::vector<std::string> result;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) result.push_back(line);
  }
  return result;
}

TEST(CompletionTest, CommandsAndOptions) {
  EXPECT_THAT(offered("''", 1), AllOf(Contains("day"), Contains("check"), Contains("convert"), Contains("top"),
                                      Contains("report"), Contains("export"), Contains("ids"), Contains("table")));
  EXPECT_THAT(offered("da", 1), ElementsAre("day"));
  EXPECT_THAT(offered("table ''", 2), AllOf(Contains("csv"), Contains("rows"), Contains("join")));
  EXPECT_THAT(offered("day --re", 2), ElementsAre("--record-dates", "--redo", "--rejects", "--rejects-max"));
  EXPECT_THAT(offered("day p.xml in st --roll", 5), ElementsAre("--rollback"));
  EXPECT_THAT(offered("table csv --tar", 3), ElementsAre("--target"));
  EXPECT_THAT(offered("day p", 2), IsEmpty()) << "files are left to the shell";
}

}  // namespace
