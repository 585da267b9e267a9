#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

/// Sequences of runs through the process file, and process files from elsewhere.
class LoaderProcessFileRun : public LoaderCase {
 protected:
  LoaderProcessFileRun() { processFile = "process"; }

  std::string readingBegins() const {
    return logLine(0, ">>> VESK loader: starting read_process_file, file = process");
  }
  std::string cutoff(const std::string& date) const { return "Everything before " + date + " will be dropped \n"; }
  void expectRefused(const std::string& warnings, const std::string& errors) {
    const std::string before = content("process");
    run();
    expectRun(99, head() + opened() + readingBegins() + warnings + errors + illEnd());
    EXPECT_EQ(files(), Strings{"process"});
    EXPECT_TRUE(content("process") == before);
  }
};

const std::string cut = fatal(1312, "read_process_file: Unexpected exception");
const std::string wrongPayloads =
    fatal(1310, "read_process_file: Unexpected number of payload fields found in process file") + cut;

std::string negativeValue(const std::string& value, int record, const std::string& key) {
  const std::string number = std::to_string(record);
  return warningLine(1370, value + ";" + number + ";" + key + ";|read_process_file: negative callee id " + value +
                               ", line " + number + " (caller = " + key + ")");
}

std::string negativeKey(const std::string& key, int record) {
  const std::string number = std::to_string(record);
  return warningLine(1371, key + ";" + number + ";|read_process_file: negative caller id " + key + ", line " + number);
}

TEST_F(LoaderProcessFileRun, ATableGoesOnAndItsOldEntriesDropOutByTheHorizon) {
  dateFormat = "2";
  parameters(
      "fields 1-1 3-3 5-12 14-15; Key 1; Output CSV; CyclicTableSize 3; DateField 3; DateHorizon 1; op CyclicAdd 2; "
      "op CyclicAddPayload 4");
  startDate = "20120102";
  records("a", {"1 9 20120201 10", "2 8 20120201 11", "1 7 20120131 12", "3 6 20120130 13"});
  run();
  expectRun(0, head() + opened() + processFileMissing() + cutoff("20123101") + listed({"a"}) + scanned("a", 4, 15) +
                   processFileWritten(2) + written(2) + statistics("a", 4, {.date = 1}, noProblems(0)) + completed());
  EXPECT_EQ(content("out"), "1, 7, 12, 9, 10, 0.0, 0.0\n2, 8, 11, 0.0, 0.0, 0.0, 0.0\n");
  EXPECT_EQ(numbers("process"), (Numbers{1, 9, 20120201, 7, 20120131, -2, 10, 12, -2, -1,  //
                                         2, 8, 20120201, -2, 11, -2, -1}));

  // The next day: the entry of 31 January drops out.
  startDate = "20120202";
  records("a", {"1 5 20120202 20", "4 4 20120202 21"});
  run();
  expectRun(0, head() + opened() + processFileRead() + cutoff("20120102") + listed({"a"}) + scanned("a", 2, 15) +
                   processFileWritten(3) + written(3) + statistics("a", 2) + completed());
  EXPECT_EQ(content("out"), "1, 5, 20, 9, 10, 0.0, 0.0\n2, 8, 11, 0.0, 0.0, 0.0, 0.0\n4, 4, 21, 0.0, 0.0, 0.0, 0.0\n");
  EXPECT_EQ(numbers("process"), (Numbers{1, 9, 20120201, 5,  20120202, -2, 10, 20, -2, -1,  //
                                         2, 8, 20120201, -2, 11,       -2, -1,              //
                                         4, 4, 20120202, -2, 21,       -2, -1}));

  // A month later nothing is left, in neither file.
  startDate = "20120103";
  records("a", {});
  run();
  expectRun(0, head() + opened() + processFileRead() + cutoff("20122902") + listed({"a"}) + scanned("a", 0, 0) +
                   processFileWritten(0) + written(0) + statistics("a", 0) + completed());
  EXPECT_EQ(content("out"), "");
  EXPECT_EQ(content("process"), "");

  // An empty process file is an empty table.
  run();
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, ::testing::HasSubstr(processFileRead() + cutoff("20122902")));
}

TEST_F(LoaderProcessFileRun, ATableKeepsTheOrderOfArrivalOverRuns) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"1 9", "1 8"});
  run();
  records("a", {"1 7", "1 6"});
  run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(numbers("process"), (Numbers{1, 8, 7, 6, -2, -1}));
  EXPECT_EQ(content("out"), "1, 6, 7, 8\n");
}

TEST_F(LoaderProcessFileRun, SumsGoOn) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; op Add 2 2; op Count 2 3");
  records("a", {"1 9", "1 8", "2 1"});
  run();
  run();
  expectRun(0, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 3, 3) + processFileWritten(2) +
                   written(2) + statistics("a", 3) + completed());
  EXPECT_EQ(numbers("process"), (Numbers{1, 0, 34, 4, -2, -1, 2, 0, 2, 2, -2, -1}));
  EXPECT_EQ(content("out"), "1, 34, 4\n2, 2, 2\n");
}

TEST_F(LoaderProcessFileRun, ACallerWithoutEntryStaysOutOfTheProcessFile) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; op CyclicAdd 2");  // no table, no sum
  records("a", {"1 9"});
  run();
  expectRun(0, head() + opened() + processFileMissing() + listed({"a"}) + scanned("a", 1, 3) + processFileWritten(0) +
                   written(0) + statistics("a", 1) + completed());
  EXPECT_EQ(content("process"), "");
}

TEST_F(LoaderProcessFileRun, NegativeNumbersAreWarnedAboutAndKept) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"5 5"});
  writeNumbers("process", {-3, 4, -2, -1, 0.5, -7, 1e10, -1.5, -2, -1});
  run();
  expectRun(
      0,
      head() + opened() +
          processFileRead(0, negativeKey("-3", 1) + negativeValue("-7", 2, "0.5") + negativeValue("-1.5", 2, "0.5")) +
          listed({"a"}) + scanned("a", 1, 3) + processFileWritten(3) + written(3) + statistics("a", 1) + completed());
  EXPECT_EQ(numbers("process"), (Numbers{-3, 4, -2, -1, 0.5, -7, 1e10, -1.5, -2, -1, 5, 5, -2, -1}));
}

TEST_F(LoaderProcessFileRun, LargeNumbersInWarningsHaveSixDigits) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"5 5"});
  writeNumbers("process", {-972541234567.0, -2, -1, 3, -12345678, -2, -1});
  run();
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, ::testing::HasSubstr(negativeKey("-9.72541e+11", 1) + negativeValue("-1.23457e+07", 2, "3")));
}

TEST_F(LoaderProcessFileRun, StrayBytesBehindTheLastRecordAreAnEnd) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"5 5"});
  for (std::size_t count = 1; count <= 7; ++count) {
    SCOPED_TRACE(count);
    writeNumbers("process", {1, 4, -2, -1}, std::string(count, 'x'));
    run();
    expectRun(0, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 1, 3) + processFileWritten(2) +
                     written(2) + statistics("a", 1) + completed());
    EXPECT_EQ(numbers("process"), (Numbers{1, 4, -2, -1, 5, 5, -2, -1}));
  }
}

TEST_F(LoaderProcessFileRun, AFileThatEndsInsideARecordIsRefused) {
  parameters(
      "fields 1-1 3-3 5-12 14-15; Key 1; Output CSV; CyclicTableSize 3; DateField 3; op CyclicAdd 2; "
      "op CyclicAddPayload 4");
  records("a", {"5 5 20120101 10"});
  const Numbers record{1, 9, 20120201, 7, 20120131, -2, 10, 12, -2, -1};
  for (std::size_t count = 1; count < record.size(); ++count) {
    for (const std::string tail : {"", "x", "1234567"}) {
      SCOPED_TRACE(std::to_string(count) + " numbers and " + tail);
      writeNumbers("process", Numbers(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(count)), tail);
      expectRefused("", cut);
    }
  }
}

TEST_F(LoaderProcessFileRun, APairSumThatEndsInsideARecordIsRefused) {
  parameters("fields 1-1 3-3; Key 1; Output Sparse; op PairSum 2");
  records("a", {"5 5"});
  const Numbers record{1, 9, 2, 10, 3, -2, -1};
  for (std::size_t count = 1; count < record.size(); ++count) {
    SCOPED_TRACE(count);
    writeNumbers("process", Numbers(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(count)));
    expectRefused("", cut);
  }
}

TEST_F(LoaderProcessFileRun, AFileWithoutDatesCannotBeReadWithThem) {
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"1 9", "1 8", "2 7"});
  run();
  ASSERT_EQ(numbers("process"), (Numbers{1, 9, 8, -2, -1, 2, 7, -2, -1}));
  // 8 becomes the date of 9; behind the list the 2 of the next key ends the file of the first.
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; DateField 2; op CyclicAdd 2");
  run();
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, ::testing::EndsWith(cut + illEnd()));
  EXPECT_EQ(numbers("process"), (Numbers{1, 9, 8, -2, -1, 2, 7, -2, -1}));
}

TEST_F(LoaderProcessFileRun, AFileWithDatesIsReadAsLongerRowsWithoutThem) {
  writeNumbers("process", {1, 9, 20120101, -2, -1});
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"2 5"});
  run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(content("out"), "1, 9, 20120101, 0.0\n2, 5, 0.0, 0.0\n");
}

TEST_F(LoaderProcessFileRun, AnotherNumberOfPayloadsIsRefused) {
  records("a", {"5 5 1 2"});
  const std::string run = "fields 1-1 3-3 5-5 7-7; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2; ";
  writeNumbers("process", {1, 9, -2, 10, -2, -1});
  parameters(run);
  expectRefused("", wrongPayloads);
  parameters(run + "op CyclicAddPayload 3; op CyclicAddPayload 4");
  expectRefused("", wrongPayloads);
}

TEST_F(LoaderProcessFileRun, AFullTableOfAFileMayBeLongerThanTheTableSize) {
  writeNumbers("process", {1, 9, 8, 7, 6, -2, -1, 2, 9, 8, 7, 6, -2, -1});
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 2; op CyclicAdd 2");
  records("a", {"2 5"});
  run();
  expectRun(0, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 1, 3) + processFileWritten(2) +
                   written(2) + statistics("a", 1) + completed());
  // Each record that is appended pushes one entry out; a row that gets none stays as it was.
  EXPECT_EQ(numbers("process"), (Numbers{1, 9, 8, 7, 6, -2, -1, 2, 8, 7, 6, 5, -2, -1}));
}

TEST_F(LoaderProcessFileRun, APayloadColumnShorterThanItsRowCannotBeSorted) {
  writeNumbers("process", {1, 9, 8, -2, 10, 11, -2, -1, 2, 9, 8, -2, 10, -2, -1});
  parameters("fields 1-1 3-3 5-5; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2; op CyclicAddPayload 3");
  records("a", {"3 5 1"});
  run();
  expectRun(99, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 1, 5) + processFileWritten(3) +
                    writingBegins() + fatal(1304, "Error writing pml file ") + illEnd());
  EXPECT_EQ(content("out"), "1, 8, 11, 9, 10, 0.0, 0.0\n");
  EXPECT_EQ(files(), (Strings{"out", "process"}));
}

// The closing tag was once written all the same, so that the cut document passed for a whole one.
TEST_F(LoaderProcessFileRun, AnXmlOutputThatIsGivenUpHasNoClosingTag) {
  writeNumbers("process", {1, 9, -2, 10, -2, -1, 2, 9, 8, -2, 10, -2, -1});
  parameters("fields 1-1 3-3 5-5; Key 1; Output XML; CyclicTableSize 3; op CyclicAdd 2; op CyclicAddPayload 3");
  records("a", {"3 5 1"});
  run();
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, ::testing::EndsWith(writingBegins() + fatal(1304, "Error writing pml file ") + illEnd()));
  EXPECT_EQ(content("out"),
            "<Loader-Output>\n\n<Row>\n\t<Key> 1 </Key>\n\t<Col>\n\t\t<Index> 1 </Index>\n\t\t<Value> 9 </Value>\n"
            "\t\t<Payload>\n\t\t\t<Index> 1 </Index>\n\t\t\t<Value> 10 </Value>\n\t\t</Payload>\n\t</Col>\n</Row>\n\n");
}

TEST_F(LoaderProcessFileRun, AnEmptyPayloadColumnDoesNotReadBack) {
  writeNumbers("process", {1, -2, -2, -1});
  parameters("fields 1-1 3-3 5-5; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2; op CyclicAddPayload 3");
  records("a", {"3 5 1"});
  expectRefused("", cut);  // the end of the list is the column's first value, its end never comes
}

TEST_F(LoaderProcessFileRun, ARowWithoutEntriesIsNotWrittenAgain) {
  writeNumbers("process", {1, -2, -1, 2, 7, -2, -1});
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"3 5"});
  run();
  expectRun(0, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 1, 3) + processFileWritten(2) +
                   written(2) + statistics("a", 1) + completed());
  EXPECT_EQ(numbers("process"), (Numbers{2, 7, -2, -1, 3, 5, -2, -1}));
}

TEST_F(LoaderProcessFileRun, ADirectoryCannotBeOpenedForReadingNorForWriting) {
  std::filesystem::create_directory(path("process"));
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"3 5"});
  run();
  expectRun(99, head() + opened() + processFileMissing() + listed({"a"}) + scanned("a", 1, 3) +
                    logLine(0, ">>> VESK loader: starting write_process_file, file = process") +
                    fatal(1201, "process;|write_process_file, Cannot open file process") +
                    fatal(1323, "write_process_file: Unexpected exception occured (probably IO)") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderProcessFileRun, ADirectoryThatIsMissingCannotTakeTheFile) {
  processFile = "missing/process";
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"3 5"});
  run();
  expectRun(99, head() + opened() + processFileMissing() + listed({"a"}) + scanned("a", 1, 3) +
                    logLine(0, ">>> VESK loader: starting write_process_file, file = missing/process") +
                    fatal(1201, "missing/process;|write_process_file, Cannot open file missing/process") +
                    fatal(1323, "write_process_file: Unexpected exception occured (probably IO)") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderProcessFileRun, AFileThatFailsToReadIsRefused) {
  std::filesystem::create_symlink("/proc/self/mem", path("process"));  // opens, and fails at its first read
  parameters("fields 1-1 3-3; Key 1; Output CSV; CyclicTableSize 3; op CyclicAdd 2");
  records("a", {"3 5"});
  run();
  expectRun(99, head() + opened() + readingBegins() + cut + illEnd());
}

}  // namespace
}  // namespace vesk_e2e
