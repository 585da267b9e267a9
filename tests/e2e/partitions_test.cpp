#include <cmath>
#include <cstdint>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

// A literal form of how keys are spread: multiplicative hashing of the key modulo the prime 7919.
int partitionOf(double key, int n) {
  const std::uint64_t k = static_cast<std::uint64_t>(key) % 7919;
  const double x = static_cast<double>(k) * ((std::sqrt(5.0) - 1.0) / 2.0);
  const auto b = static_cast<std::uint64_t>(std::floor(n * (x - std::floor(x))));
  return static_cast<int>((k % static_cast<std::uint64_t>(n) * 17 + b) % static_cast<std::uint64_t>(n));
}

/// Runs over callers 1 to 9 in three partitions, each caller with the sum 10 times its number.
class LoaderPartitionsRun : public LoaderCase {
 protected:
  void runCallers(const std::string& statements) {
    parameters("fields 1-1 3-4; Key 1; NumberOfPartitions 3; " + statements);
    Strings lines;
    for (int key = 1; key <= 9; ++key) lines.push_back(std::to_string(key) + " " + std::to_string(10 * key));
    records("a", lines);
    run();
  }

  static Numbers keysOf(int partition, int n = 3) {
    Numbers keys;
    for (int key = 1; key <= 9; ++key) {
      if (partitionOf(key, n) == partition) keys.push_back(key);
    }
    return keys;
  }
  static int count(int partition) { return static_cast<int>(keysOf(partition).size()); }
  static std::string suffix(int partition) { return "." + std::to_string(partition); }
};

TEST_F(LoaderPartitionsRun, EachPartitionScansAllLinesAndKeepsItsOwnCallers) {
  processFile = "process";
  runCallers("Output CSV; op Add 2 2");
  std::string expected = head();
  for (int p = 0; p < 3; ++p) {
    expected += opened(p) + processFileMissing(p) + listed({"a"}) + scanned("a", 9, 4, "", p) +
                processFileWritten(count(p), p) + written(count(p), p);
  }
  for (int p = 0; p < 3; ++p) expected += statistics("a", 9);
  expectRun(0, expected + completed());
  EXPECT_THAT(result.out, ::testing::HasSubstr("--- VESK loader: Starting partition 2\nprocess\n"
                                               "current output file full name = out.2\n"));
  EXPECT_THAT(result.out, ::testing::HasSubstr("\nData will be paritioned into 3 files\n"));
  EXPECT_EQ(files(), (Strings{"out.0", "out.1", "out.2", "process.0", "process.1", "process.2"}));
  for (int p = 0; p < 3; ++p) {
    SCOPED_TRACE(p);
    std::string csv;
    Numbers process;
    for (const double key : keysOf(p)) {
      const std::string text = std::to_string(static_cast<int>(key));
      csv += text + ", " + text + "0\n";
      process.insert(process.end(), {key, 0, 10 * key, -2, -1});
    }
    EXPECT_EQ(content("out" + suffix(p)), csv);
    EXPECT_EQ(numbers("process" + suffix(p)), process);
    EXPECT_GT(count(p), 0);
  }
}

TEST_F(LoaderPartitionsRun, EachPartitionGoesOnFromItsOwnProcessFile) {
  processFile = "process";
  runCallers("Output CSV; op Add 2 2");
  const Numbers other = numbers("process.1");
  std::filesystem::remove(path("process.1"));
  run();
  std::string expected = head();
  for (int p = 0; p < 3; ++p) {
    expected += opened(p) + (p == 1 ? processFileMissing(p) : processFileRead(p)) + listed({"a"}) +
                scanned("a", 9, 4, "", p) + processFileWritten(count(p), p) + written(count(p), p);
  }
  for (int p = 0; p < 3; ++p) expected += statistics("a", 9);
  expectRun(0, expected + completed());
  EXPECT_EQ(numbers("process.1"), other);
  EXPECT_EQ(numbers("process.0")[2], 20 * keysOf(0)[0]);
}

TEST_F(LoaderPartitionsRun, WithoutProcessFileEachPartitionHasNewTables) {
  runCallers("Output Dense; CyclicTableSize 2; op CyclicAdd 2; op CyclicAddPayload 1");
  std::string expected = head();
  for (int p = 0; p < 3; ++p) {
    expected += opened(p) + listed({"a"}) + scanned("a", 9, 4, "", p) + written(count(p), p);
  }
  for (int p = 0; p < 3; ++p) expected += statistics("a", 9);
  expectRun(0, expected + completed());
  EXPECT_EQ(files(), (Strings{"out.0", "out.0.info", "out.0_payload_1", "out.1", "out.1.info", "out.1_payload_1",
                              "out.2", "out.2.info", "out.2_payload_1"}));
  for (int p = 0; p < 3; ++p) {
    SCOPED_TRACE(p);
    Numbers rows;
    Numbers payloads;
    for (const double key : keysOf(p)) {
      rows.insert(rows.end(), {key, 10 * key, 0});
      payloads.insert(payloads.end(), {key, key, 0});
    }
    EXPECT_EQ(numbers("out" + suffix(p)), rows);
    EXPECT_EQ(numbers("out" + suffix(p) + "_payload_1"), payloads);
  }
}

TEST_F(LoaderPartitionsRun, ALineTooShortForItsKeyIsAProblemOfPartitionZero) {
  parameters("fields 1-1 3-3; Key 2; NumberOfPartitions 2; Output CSV; op Add 1 2");
  records("a", {"1"});
  run();
  expectRun(0, head() + opened(0) + listed({"a"}) + scanned("a", 1, 1, problem("parsing problems", 1), 0) +
                   written(0, 0) + opened(1) + listed({"a"}) + scanned("a", 1, 1, "", 1) + written(0, 1) +
                   statistics("a", 1, {.parsing = 1}, noProblems(0)) + statistics("a", 1) + completed());
}

TEST_F(LoaderPartitionsRun, ABadLineIsAProblemOfThePartitionOfItsKey) {
  parameters("fields 1-1 3-3 5-5; Key 1; NumberOfPartitions 2; Output CSV; op Add 2 2");
  records("a", {"1 5 5", "1", "1   5", "0 5 5"});
  run();
  const int own = partitionOf(1, 2);
  const int zero = partitionOf(0, 2);
  std::string expected = head();
  std::string statisticsText;
  for (int p = 0; p < 2; ++p) {
    std::string problems;
    if (p == own) problems += problem("parsing problems", 2) + problem("spacing problems", 3);
    if (p == zero) problems += problem("negative caller ID", 4);
    const Omitted omitted{0, p == zero ? 1 : 0, p == own ? 1 : 0, p == own ? 1 : 0};
    expected += opened(p) + listed({"a"}) + scanned("a", 4, 5, problems, p) + written(p == own ? 1 : 0, p);
    statisticsText += problems.empty() ? statistics("a", 4) : statistics("a", 4, omitted, noProblems(0));
  }
  expectRun(0, expected + statisticsText + completed());
}

TEST_F(LoaderPartitionsRun, AKeyBeyondTheFieldsFailsInTheFirstLine) {
  parameters("fields 1-1 3-3; Key 3; NumberOfPartitions 2; Output CSV; op Add 2 2");
  records("a", {"1 5"});
  run();
  expectRun(99, head() + opened(0) + listed({"a"}) + scanBegins("a") + logLine(1, "Line length = 3") +
                    fatal(1351, "1;|update map: Unexpected error occured: last line read = 1") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderPartitionsRun, Key7919GoesWhereKeyZeroGoes) {
  for (const int n : {2, 3, 7, 100}) {
    SCOPED_TRACE(n);
    parameters("fields 1-5 7-7; Key 1; NumberOfPartitions " + std::to_string(n) + "; Output CSV; op Add 2 2");
    records("a", {"7919  5", "15838 6"});
    run();
    EXPECT_EQ(result.status, 0);
    const std::string last = "out." + std::to_string(n - 1);
    EXPECT_EQ(content("out.0"), "7919, 5\n15838, 6\n");
    EXPECT_EQ(content(last), "");
    EXPECT_FALSE(exists("out." + std::to_string(n)));
  }
}

TEST_F(LoaderPartitionsRun, AFileOfNoUseHasNoRecordInAnyPartition) {
  std::filesystem::create_directory(path("in/sub"));
  parameters("fields 1-1 3-3; Key 1; NumberOfPartitions 2; Output CSV; op Add 2 2");
  run();
  const std::string ignored = "Processing in/sub\n" + logLine(0, ">>> VESK loader: staring update_map, file = in/sub") +
                              warningLine(1000, "update_map: cannot open file in/sub, ignoring");
  expectRun(0, head() + opened(0) + listed({"sub"}) + ignored + written(0, 0) + opened(1) + listed({"sub"}) + ignored +
                   written(0, 1) + completed());
}

TEST_F(LoaderPartitionsRun, AnErrorInALaterPartitionLeavesTheEarlierOnesComplete) {
  processFile = "process";
  writeNumbers("process.1", {1});  // ends inside its record
  runCallers("Output Sparse; op Add 2 2");
  expectRun(99, head() + opened(0) + processFileMissing(0) + listed({"a"}) + scanned("a", 9, 4) +
                    processFileWritten(count(0), 0) + written(count(0), 0) + opened(1) +
                    logLine(0, ">>> VESK loader: starting read_process_file, file = process.1") +
                    fatal(1312, "read_process_file: Unexpected exception") + illEnd());
  EXPECT_EQ(files(), (Strings{"out.0", "out.0.info", "process.0", "process.1"}));
  EXPECT_EQ(numbers("process.1"), Numbers{1});
}

TEST_F(LoaderPartitionsRun, TheCutoffIsPrintedInEveryPartition) {
  dateFormat = "1";
  parameters(
      "fields 1-1 3-3 5-12; Key 1; NumberOfPartitions 2; Output CSV; CyclicTableSize 1; DateField 3; DateHorizon 1; "
      "op CyclicAdd 2");
  records("a", {"1 5 20110101"});
  run();
  const int own = partitionOf(1, 2);
  std::string expected = head();
  for (int p = 0; p < 2; ++p) {
    expected += opened(p) + "Everything before 20120202 will be dropped \n" + listed({"a"}) +
                scanned("a", 1, 12, "", p) + written(0, p);
  }
  for (int p = 0; p < 2; ++p) {
    expected += p == own ? statistics("a", 1, {.date = 1}, noProblems(0)) : statistics("a", 1);
  }
  expectRun(0, expected + completed());
}

TEST_F(LoaderPartitionsRun, AHundredPartitionsAreAllWritten) {
  parameters("fields 1-1 3-3; Key 1; NumberOfPartitions 100; Output CSV; op Add 2 2");
  records("a", {"1 5"});
  run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(files().size(), 100U);
  EXPECT_EQ(content("out." + std::to_string(partitionOf(1, 100))), "1, 5\n");
}

}  // namespace
}  // namespace vesk_e2e
