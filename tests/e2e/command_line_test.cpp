#include <ctime>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;

const char* const usage =
    "Usage: binary ['datadir' | 'datafile' | ''] [inputdir | inputfile] inputfileformat processfilename outputfilename "
    "inputfiledateformat (0/1/2 where 1=yyyyddmm 2=yyyymmdd 0=date not considered) [startdate(yyyyddmm)] "
    "[-v 0/1/2 (verbosity level)]\n";

const std::string version = logLine(0, "vesk-loader version is 2.0.6");

class LoaderCommandLineRun : public LoaderCase {
 protected:
  LoaderCommandLineRun() {
    parameters("fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2");
    records("a", {"1 5"});
  }
  void expectComplete() { expectCompleteRun(scanned("a", 1, 3), 1, statistics("a", 1)); }
  void expectUsage() {
    expectRun(1, version + usage + errorLine(1102, "illegal command line arguments"));
    EXPECT_EQ(files(), Strings{});
  }
};

// The whole output as it stands, so that the pieces of the other tests rest on one text.
TEST_F(LoaderCommandLineRun, ACompleteRunPrintsEveryStep) {
  records("a", {"1 5", "0 6", "1 7"});
  runWith({"in", "fmt", "none", "out", "0", "20123112"});
  expectRun(0,
            "Log;|0;|vesk-loader version is 2.0.6;|LogEnd\n"
            "Log;|0;|>>> VESK loader: starting read_input_file_format: reading input file fmt;|LogEnd\n"
            "Log;|0;|>>> VESK loader: read input file format done.;|LogEnd\n"
            "Log;|2;|VESK loader settings information:\n"
            "f1 Number 0 0\n"
            "f2 Number 2 2\n"
            "Cyclic table size 0\n"
            "Sort cyclic table ? Yes\n"
            "Key 0\n"
            "Sparse 1\n"
            "No process file will be used.\n"
            "Output format: Binary\n"
            "Date -1\n"
            "Date Horizon -1\n"
            "Start Date 20123112\n"
            "Verbosity level 1\n"
            "No multiplicity field\n"
            "Add 1 1 NoCondition -1\n"
            "All data will be processed into one file\n"
            ";|LogEnd\n"
            "none\n"
            "current output file full name = out\n"
            "Log;|0;|>>> VESK loader: update_process_file ;|LogEnd\n"
            "a\n"
            "Processing in/a\n"
            "Log;|0;|>>> VESK loader: staring update_map, file = in/a;|LogEnd\n"
            "Log;|1;|>>> VESK loader: updating map, file = in/a, partition = 0;|LogEnd\n"
            "Log;|1;|Line length = 3;|LogEnd\n"
            "Log;|1;|negative caller ID, line number 2\n"
            ";|LogEnd\n"
            "Log;|1;|cdr file scan completed: 3 lines are scanned\n"
            ">>> VESK loader: update map is done.;|LogEnd\n"
            "Log;|0;|>>> VESK loader: starting write_pml_file, file = out;|LogEnd\n"
            "Log;|1;|>>> VESK loader: Writing output file \n"
            "Writing .info file.out.info\n"
            "Writing .info file is done.out.info\n"
            ">>> VESK loader: Writing output file is done. 1records are written into the .bin file.;|LogEnd\n"
            "Log;|0;|>>> VESK loader: write_pml_file is done;|LogEnd\n"
            "Warning;|1372;|1;|Warning: The total omitted lines count is 1;|WarningEnd\n"
            "Log;|1;|Stats for file: in/a\n"
            "3 lines are scanned, 1 omitted (0 date, 1 negative callers, 0 parsing, 0 space in the middle)\n"
            "  operation 0: 0 problem cdrs, 0 restricted numbers ;|LogEnd\n"
            "Log;|0;|VESK loader completed succesfully.;|LogEnd\n");
  EXPECT_EQ(numbers("out"), (std::vector<double>{1, 0, 2, 1, 1, 12, 1, 3, 0}));
  EXPECT_EQ(files(), (Strings{"out", "out.info"}));
}

TEST_F(LoaderCommandLineRun, ADirectoryNeedsNoModeWord) {
  run();
  expectComplete();
}

TEST_F(LoaderCommandLineRun, TheModeWordDatadirNamesTheDirectory) {
  input = {"datadir", "in"};
  run();
  expectComplete();
}

TEST_F(LoaderCommandLineRun, TheModeWordDatafileReadsOneFileOfADirectory) {
  records("b", {"2 6"});
  input = {"datafile", "in/a"};
  run();
  expectRun(0, head() + opened() + listed({"a"}) + scanned("a", 1, 3) + written(1) + statistics("a", 1) + completed());
}

TEST_F(LoaderCommandLineRun, ASingleFileMayHaveAnAbsolutePath) {
  runWith({"datafile", path("in/a"), "fmt", "none", "out", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, ::testing::HasSubstr("\nusing single cdr file input " + path("in/a") + "\n"));
  EXPECT_THAT(result.out, ::testing::HasSubstr("\nProcessing " + path("in/a") + "\n"));
}

TEST_F(LoaderCommandLineRun, ModeWordsCountOnlyWholeAndInSmallLetters) {
  for (const std::string word : {"Datadir", "datadirs", "DATAFILE", "data", ""}) {
    SCOPED_TRACE(word);
    input = {word};  // taken for a directory, which does not exist
    run();
    expectRun(0,
              head() + opened() + listed({}) + "Error: Invalid file handle. Error is 2\n" + written(0) + completed());
  }
}

TEST_F(LoaderCommandLineRun, ADirectoryWithTheNameOfAModeWordIsAModeWord) {
  runWith({"datadir", "fmt", "none", "out", "0"});
  expectUsage();
}

TEST_F(LoaderCommandLineRun, ASingleFileNeedsADirectoryInItsPath) {
  for (const std::string file : {"a", "/a", "in/", "/", ""}) {
    SCOPED_TRACE(file);
    runWith({"datafile", file, "fmt", "none", "out", "0"});
    expectRun(99, version +
                      fatal(1101,
                            "parse_file_name: a valid full path name should be given in case of a single file "
                            "input\n") +
                      illEnd());
    EXPECT_EQ(files(), Strings{});
  }
}

TEST_F(LoaderCommandLineRun, ASingleFileThatIsNotThereIsAnErrorOfTheDirectory) {
  input = {"datafile", "in/b"};
  run();
  expectRun(99,
            head() + opened() + listed({}) + fatal(1200, "update_process_file: Cannot open directory in") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderCommandLineRun, TooFewArgumentsPrintTheUsage) {
  const Strings all{"in", "fmt", "none", "out"};
  for (std::size_t count = 0; count <= all.size(); ++count) {
    SCOPED_TRACE(count);
    runWith(Strings(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)));
    expectUsage();
  }
}

TEST_F(LoaderCommandLineRun, AModeWordNeedsOneArgumentMore) {
  runWith({"datadir", "in", "fmt", "none", "out"});
  expectUsage();
  runWith({"datadir", "in", "fmt", "none", "out", "0"});
  EXPECT_EQ(result.status, 0);
}

TEST_F(LoaderCommandLineRun, TooManyArgumentsPrintTheUsage) {
  runWith({"in", "fmt", "none", "out", "0", "20120302", "1"});
  expectUsage();
  runWith({"datadir", "in", "fmt", "none", "out", "0", "20120302", "1"});
  expectUsage();
  runWith({"in", "fmt", "none", "out", "0", "20120302", "1", "-v", "1"});
  expectUsage();
}

TEST_F(LoaderCommandLineRun, TheVerbosityIsTheLastPairOfArguments) {
  for (const std::string level : {"0", "1", "2"}) {
    SCOPED_TRACE(level);
    verbosity = level;
    run();
    expectComplete();
  }
}

TEST_F(LoaderCommandLineRun, AVerbosityThatIsNoNumberIsZero) {
  runWith({"in", "fmt", "none", "out", "0", "20120302", "-v", "loud"});
  verbosity = "0";
  expectComplete();
}

TEST_F(LoaderCommandLineRun, AVerbosityElsewhereIsAnOrdinaryArgument) {
  // The pair stands at the end, but without it there is no output file and no date format.
  runWith({"in", "fmt", "none", "-v", "0"});
  expectUsage();
  // The start date "-v" is read as the number 0.
  runWith({"in", "fmt", "none", "out", "0", "-v"});
  startDate = "0";
  const std::string warning = warningLine(1000, "Start date is zero, possibly an input error");
  std::string expected =
      head() + opened() + listed({"a"}) + scanned("a", 1, 3) + written(1) + statistics("a", 1) + completed();
  expectRun(0, expected.insert(version.size(), warning));
}

TEST_F(LoaderCommandLineRun, ThePairBeforeTheLastIsNoVerbosityWithTooFewArguments) {
  runWith({"in", "fmt", "-v", "0"});
  expectUsage();
}

TEST_F(LoaderCommandLineRun, DateFormatsBeyondTwoAreRefused) {
  for (const std::string format : {"3", "-1", "100", "20120302"}) {
    SCOPED_TRACE(format);
    runWith({"in", "fmt", "none", "out", format});
    expectRun(99, version + fatal(1103, "illegal date format " + format) + illEnd());
    EXPECT_EQ(files(), Strings{});
  }
}

TEST_F(LoaderCommandLineRun, ADateFormatIsTheLeadingNumberOfItsText) {
  for (const std::string format : {"", "none", "1.9", "2x"}) {
    SCOPED_TRACE(format);
    dateFormat = format;
    run();
    expectComplete();
  }
}

TEST_F(LoaderCommandLineRun, AStartDateOfZeroIsAWarning) {
  startDate = "0";
  run();
  std::string expected =
      head() + opened() + listed({"a"}) + scanned("a", 1, 3) + written(1) + statistics("a", 1) + completed();
  expectRun(0, expected.insert(version.size(), warningLine(1000, "Start date is zero, possibly an input error")));
}

TEST_F(LoaderCommandLineRun, AStartDateIsPrintedAsAnInteger) {
  runWith({"in", "fmt", "none", "out", "0", "20120302.9xyz"});
  expectComplete();
  runWith({"in", "fmt", "none", "out", "0", "-5"});
  startDate = "-5";
  expectComplete();
}

// Year, day, month: the digit order of the loader.
std::string today() {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  ::localtime_r(&now, &fields);
  return std::to_string((fields.tm_year + 1900) * 10000 + fields.tm_mday * 100 + fields.tm_mon + 1);
}

TEST_F(LoaderCommandLineRun, WithoutStartDateTheClockGivesIt) {
  const std::string before = today();
  runWith({"in", "fmt", "none", "out", "0"});
  const std::string after = today();
  startDate = result.out.find("Start Date " + before + "\n") != std::string::npos ? before : after;
  expectComplete();
}

TEST_F(LoaderCommandLineRun, TheStartDateFollowsTheLocalTimeZone) {
  ::setenv("TZ", "UTC-14", 1);
  ::tzset();
  const std::string before = today();
  runWith({"in", "fmt", "none", "out", "0"});
  const std::string after = today();
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  startDate = result.out.find("Start Date " + before + "\n") != std::string::npos ? before : after;
  expectComplete();
}

TEST_F(LoaderCommandLineRun, OnlyTheExactWordNoneIsARunWithoutProcessFile) {
  processFile = "None";
  run();
  expectRun(0, head() + opened() + processFileMissing() + listed({"a"}) + scanned("a", 1, 3) + processFileWritten(1) +
                   written(1) + statistics("a", 1) + completed());
  EXPECT_EQ(files(), (Strings{"None", "out", "out.info"}));
}

TEST_F(LoaderCommandLineRun, TheTraceVariablesAddTheTerminationsToStandardOutput) {
  runWith({"in", "fmt", "none", "out", "9"});
  const std::string plain = result.out;
  ::setenv("XRT_TRACEFILE", path("trace").c_str(), 1);
  ::setenv("XRT_TRACELEVEL", "MINIMUM", 1);
  runWith({"in", "fmt", "none", "out", "9"});
  EXPECT_EQ(result.out, plain);  // a termination is traced from level 2 on
  ::setenv("XRT_TRACELEVEL", "BASIC", 1);
  ::setenv("XRT_TRACECOMP", "KERNEL  ", 1);
  runWith({"in", "fmt", "none", "out", "9"});
  EXPECT_EQ(result.out, plain);  // it belongs to another component
  ::setenv("XRT_TRACECOMP", "ALL", 1);
  runWith({"in", "fmt", "none", "out", "9"});
  EXPECT_THAT(result.out, ::testing::HasSubstr("(UTIL    , 1) loader_common:41:report_error:C++ Exception thrown.\n"));
  EXPECT_EQ(result.status, 99);
  run();
  expectComplete();  // nothing of a sound run is traced
  EXPECT_FALSE(exists("trace"));
}

TEST_F(LoaderCommandLineRun, AStandardOutputThatFailsDoesNotEndTheRun) {
  limits.standardOutput = "/dev/full";
  run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(numbers("out"), (std::vector<double>{1, 0, 2, 1, 1, 5, 1, 3, 0}));
}

// The loader once died of the signal that a reader who is gone raises, with the process file half way.
TEST_F(LoaderCommandLineRun, AStandardOutputThatNobodyReadsDoesNotEndTheRun) {
  limits.brokenPipe = true;
  records("a", Strings(200, "1 5"));
  verbosity = "100";  // more than is collected before standard output is written
  processFile = "process";
  run();
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(numbers("process"), (std::vector<double>{1, 0, 1000, -2, -1}));
  EXPECT_EQ(numbers("out"), (std::vector<double>{1, 0, 2, 1, 1, 1000, 1, 3, 0}));
}

}  // namespace
}  // namespace vesk_e2e
