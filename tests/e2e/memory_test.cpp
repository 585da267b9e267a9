#include <set>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

/// Runs with too little memory, from far too little to enough. Whichever step it is that fails, the run must end with
/// that step's error.
class LoaderMemoryRun : public LoaderCase {
 protected:
  static constexpr rlim_t mebibyte = 1024 * 1024;
  // Below the first, the program does not start; with the last, every run here completes.
  static constexpr rlim_t smallest = 16 * mebibyte;
  static constexpr rlim_t largest = 160 * mebibyte;
  static constexpr rlim_t step = 2 * mebibyte;

  void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs the address space that these runs are denied";
#endif
  }

  /// Runs with each limit up to the first with which the run completes. Returns the first errors of the runs.
  std::set<std::string> sweep() {
    std::set<std::string> errors;
    const std::string stored = exists("process") ? content("process") : "";
    for (limits.memoryBytes = smallest; limits.memoryBytes <= largest; limits.memoryBytes += step) {
      SCOPED_TRACE(limits.memoryBytes);
      if (!stored.empty()) writeFile("process", stored);
      run();
      EXPECT_EQ(result.err, "");
      if (result.status == 0) return errors;
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, ::testing::EndsWith("    QUVEN Terminating\n" + illEnd()));
      const std::size_t start = result.out.find("Error;|");
      if (start == std::string::npos) {
        ADD_FAILURE() << "no error line";
        return errors;
      }
      std::string error = result.out.substr(start, result.out.find(";|ErrorEnd") - start);
      const std::string lastLine = "Last line read = ";
      if (const std::size_t at = error.find(lastLine); at != std::string::npos) {
        EXPECT_LE(std::stoi(error.substr(at + lastLine.size())), lineCount);
        error.resize(at + lastLine.size());
      }
      errors.insert(error);
    }
    ADD_FAILURE() << "no limit was enough";
    return errors;
  }

  int lineCount = 0;

  void manyRecords() {
    lineCount = 300000;
    std::string bytes;
    for (int key = 1; key <= lineCount; ++key) {
      const std::string text = std::to_string(key);
      bytes += text + std::string(7 - text.size(), ' ') + "5\n";
    }
    writeFile("in/a", bytes);
  }
};

const std::string scanFailed =
    "Error;|1311;|update map: Unexpected memory exception. It is likely that the loader ran out of memory. Last line "
    "read = ";
const std::string outputFailed = "Error;|1311;|write_pml_file: Unexpected memory exception";
const std::string sortFailed = "Error;|1311;|sort: Unexpected memory exception";
const std::string storeFailed = "Error;|1323;|write_process_file: Unexpected exception occured (probably IO)";
const std::string readFailed =
    "Error;|1311;|read_process_file: Unexpected memory exception. It is likely that the loader ran out of memory.";
const std::string dropFailed = "Error;|1360;|drop_old_entries: Unexpected memory exception";

TEST_F(LoaderMemoryRun, TheScanAndTheOutputReportThatMemoryRanOut) {
  // The output needs a copy of the longest row, which is more than what it gives back before.
  lineCount = 1000000;
  std::string bytes;
  for (int line = 1; line <= lineCount; ++line) {
    const std::string key = line <= 20000 ? std::to_string(line) : "1";
    bytes += key + std::string(7 - key.size(), ' ') + "5\n";
  }
  writeFile("in/a", bytes);
  parameters("fields 1-7 8-8; Key 1; Output Sparse; CyclicTableSize 2000000; op CyclicAdd 2");
  EXPECT_THAT(sweep(), ::testing::ElementsAre(sortFailed, scanFailed, outputFailed));
}

TEST_F(LoaderMemoryRun, TheSortOfALongRowReportsIt) {
  lineCount = 400000;
  std::string bytes;
  for (int line = 1; line <= lineCount; ++line) bytes += "1 " + std::to_string(line % 10) + "\n";
  writeFile("in/a", bytes);
  parameters("fields 1-1 3-3; Key 1; Output Sparse; CyclicTableSize 1000000; op CyclicAdd 2");
  EXPECT_THAT(sweep(), ::testing::Contains(sortFailed));
}

TEST_F(LoaderMemoryRun, TheStepOfTheProcessFileReportsItTooUnderItsOwnCode) {
  manyRecords();
  processFile = "process";
  parameters("fields 1-7 8-8; Key 1; Output Sparse; op Add 2 2");
  EXPECT_THAT(sweep(), ::testing::IsSupersetOf({scanFailed, storeFailed}));
}

TEST_F(LoaderMemoryRun, TheProcessFileIsReadUntilMemoryRunsOut) {
  processFile = "process";
  std::vector<double> numbers;
  for (int key = 1; key <= 100000; ++key) {
    numbers.push_back(key);
    // Ten entries, of which the last two are young.
    for (int i = 1; i <= 10; ++i) numbers.insert(numbers.end(), {double(i), i > 8 ? 20120302.0 : 20110302.0});
    numbers.insert(numbers.end(), {-2, -1});
  }
  // Young and old entries of one caller: the rest of them is a row of its own until the old one is given back.
  numbers.push_back(100001);
  for (int i = 1; i <= 500000; ++i) numbers.insert(numbers.end(), {double(i), i % 8 != 0 ? 20120302.0 : 20110302.0});
  numbers.insert(numbers.end(), {-2, -1});
  writeNumbers("process", numbers);
  records("a", {"1      5 20120302"});
  lineCount = 1;
  dateFormat = "1";
  parameters(
      "fields 1-7 8-8 10-17; Key 1; Output Sparse; CyclicTableSize 3; DateField 3; DateHorizon 1; op CyclicAdd 2");
  EXPECT_THAT(sweep(), ::testing::IsSupersetOf({readFailed, dropFailed}));
}

// The fill of a line was once collected in memory: 10 GB here, for one caller.
TEST_F(LoaderMemoryRun, TheFillOfATextLineNeedsNone) {
  records("a", {"1 5"});
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 2147483647; op CyclicAdd 2");
  limits.memoryBytes = largest;
  limits.fileBytes = mebibyte;
  run();
  expectRun(99, head() + opened() + listed({"a"}) + scanned("a", 1, 3) + writingBegins() +
                    fatal(1325, "write_pml_file: Unexpected exception occured (check io and memory)") + illEnd());
  EXPECT_EQ(content("out").substr(0, 12), "1, 5, 0.0, 0");
  EXPECT_EQ(content("out").size(), mebibyte);
}

}  // namespace
}  // namespace vesk_e2e
