#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

/// The installed program on tables.
class TableCsvRun : public ::testing::Test {
 protected:
  ProgramRun csv(const Strings& more = {}, const ProgramLimits& limits = {}) {
    Strings arguments = {"table", "csv", "in.csv", "out.bin"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runProgram("vesk", arguments, folder.path(), limits);
  }
  std::size_t countFiles() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder.path()), {}));
  }
  void writeRows(int rows) {
    std::string text = "x,plan\n";
    for (int i = 0; i < rows; ++i) text += std::to_string(i) + (i % 2 == 0 ? ",yes\n" : ",no\n");
    folder.write("in.csv", text);
  }

  TemporaryFolder folder;
};

TEST_F(TableCsvRun, MakesADataset) {
  folder.write("in.csv", "total mins,plan,churn\r\n1.5,yes,False\r\n,no,True\r\n");
  const ProgramRun run = csv({"--target", "churn"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "out.bin: 2 records, 3 columns\n  total_mins: numeric, 1 missing\n  plan: categorical, 2 categories\n"
            "  churn: target, numeric, 0 and 1 for two texts\n");
  EXPECT_EQ(folder.read("out.bin").size(), 48U);
  EXPECT_EQ(countFiles(), 4U);
}

TEST_F(TableCsvRun, LeavesNothingWhenItFails) {
  folder.write("in.csv", "a,b\n1,2\n3\n");
  const ProgramRun run = csv();
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "vesk: in.csv, line 3: 1 cells, not 2\n");
  EXPECT_EQ(csv({"--target"}).status, 1);
  EXPECT_EQ(countFiles(), 1U);
}

TEST_F(TableCsvRun, LeavesNothingOnADiskWithoutRoom) {
  writeRows(20000);
  for (const rlim_t room : {rlim_t{64} * 1024, rlim_t{319000}}) {  // of 320000 bytes
    ProgramLimits limits;
    limits.fileBytes = room;
    const ProgramRun run = csv({}, limits);
    EXPECT_EQ(run.status, 99);
    EXPECT_EQ(run.err, "vesk: cannot write out.bin: File too large\n");
  }
  ProgramLimits limits;
  limits.fileBytes = 40;  // the table of two rows has 32 bytes, its description more
  writeRows(2);
  EXPECT_EQ(csv({}, limits).status, 99);
  EXPECT_EQ(countFiles(), 1U);
}

TEST_F(TableCsvRun, ReportsADeviceThatIsFull) {
  writeRows(2);
  const ProgramRun run =
      runProgram("vesk", {"table", "csv", "in.csv", "out.bin"}, folder.path(), {.standardOutput = "/dev/full"});
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.err, "vesk: cannot write to standard output\n");
}

TEST_F(TableCsvRun, TakesNoMemoryForRows) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer takes more address space than the limit";
#endif
  writeRows(3000000);
  ProgramLimits limits;
  limits.memoryBytes = rlim_t{24} << 20;  // the file has 30 MB, the dataset 48 MB
  EXPECT_EQ(csv({}, limits).status, 0);
  EXPECT_EQ(std::filesystem::file_size(folder.path("out.bin")), 48000000U);
}

TEST_F(TableCsvRun, IsReadTwice) {
  ProgramLimits limits;
  const ProgramRun run = runProgram("vesk", {"table", "csv", "/dev/null", "out.bin"}, folder.path(), limits);
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.err, "vesk: /dev/null is not a regular file; a table is read twice\n");
}

}  // namespace
}  // namespace vesk_e2e
