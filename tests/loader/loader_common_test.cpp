#include "loader_common.h"

#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

class LoaderCommon : public LoaderTest {
 protected:
  ScanStatistics statistics;
  void start(const std::string& name = "in/calls", const std::vector<std::string>& operations = {"CyclicAdd"}) {
    start_new_file_statistics(statistics, name, operations);
  }
};

TEST_F(LoaderCommon, LogAndWarningLinesHaveTheirForm) {
  const CapturedRun run = capturedRun([] {
    report_log(0, "text");
    report_warning(1372, "12", "Warning: The total omitted lines count is 12");
    report_warning("general");
    report_log(2, "two\nlines ;| not escaped");
  });
  EXPECT_EQ(run.out,
            "Log;|0;|text;|LogEnd\n"
            "Warning;|1372;|12;|Warning: The total omitted lines count is 12;|WarningEnd\n"
            "Warning;|1000;|general;|WarningEnd\n"
            "Log;|2;|two\nlines ;| not escaped;|LogEnd\n");
}

TEST_F(LoaderCommon, AnErrorPrintsItsLineAndTerminates) {
  const CapturedRun run = capturedRun([] { report_error(1104, "Key field not specified"); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out,
            "Error;|1104;|Key field not specified;|ErrorEnd\n"
            "\n*** ERROR in function report_error at line 41 in file loader_common\n"
            "    QUVEN Terminating\n");
  EXPECT_EQ(run.err, "");
}

TEST_F(LoaderCommon, AnErrorMayHaveAParameter) {
  const CapturedRun run = capturedRun([] { report_error(1000, "7", "missing"); });
  EXPECT_EQ(run.out, errorLine(1000, "7;|missing"));
}

TEST_F(LoaderCommon, AnErrorWithTheExitFlagEndsTheProcessWithStatus1) {
  EXPECT_EXIT(
      {
        ::dup2(2, 1);
        report_error_and_exit(1102, "illegal command line arguments");
      },
      ::testing::ExitedWithCode(1), "^Error;\\|1102;\\|illegal command line arguments;\\|ErrorEnd\n$");
}

TEST_F(LoaderCommon, TheLoaderExceptionHasItsText) {
  EXPECT_STREQ(exception_loader().what(), "unexpected loader exception");
}

TEST_F(LoaderCommon, StatisticsStartEmpty) {
  EXPECT_EQ(statistics.processRecords, 0U);
  EXPECT_EQ(statistics.currentFile, -1);
  start();
  start("in/more", {"Add", "Count"});
  EXPECT_EQ(statistics.currentFile, 1);
  const FileStatistics& record = statistics.current();
  EXPECT_EQ(record.fileName, "in/more");
  EXPECT_EQ(record.index, 1);
  EXPECT_EQ(record.operationCount, 2);
  EXPECT_FALSE(record.problemsFound);
  EXPECT_EQ(record.firstProblemLine, (std::vector<std::int32_t>{-1, -1}));
  EXPECT_EQ(record.restrictedNumbers, (std::vector<std::int32_t>{0, 0}));
}

TEST_F(LoaderCommon, ProblemsOfALineAreLoggedAndCountedByCause) {
  start();
  const CapturedRun run = capturedRun([&] {
    report_problem(statistics, Problem::NegativeCaller, 3);
    report_problem(statistics, Problem::Parsing, 4);
    report_problem(statistics, Problem::Spacing, 5);
    report_problem(statistics, Problem::DroppedDate, 6);
  });
  EXPECT_EQ(run.out, logLine(1, "negative caller ID, line number 3\n") +
                         logLine(1, "parsing problems, line number 4\n") +
                         logLine(1, "spacing problems, line number 5\n"));
  const FileStatistics& record = statistics.current();
  EXPECT_EQ(record.negativeCallers, 1U);
  EXPECT_EQ(record.parsing, 1U);
  EXPECT_EQ(record.spacing, 1U);
  EXPECT_EQ(record.date, 1U);
  EXPECT_EQ(record.linesOmitted, 4U);
  EXPECT_TRUE(record.problemsFound);
}

TEST_F(LoaderCommon, VerbosityZeroCountsWithoutLogging) {
  start();
  setVerbosity(0);
  EXPECT_EQ(capturedRun([&] { report_problem(statistics, Problem::Parsing, 4); }).out, "");
  EXPECT_EQ(statistics.current().parsing, 1U);
}

TEST_F(LoaderCommon, DatesAreNotLoggedAtAnyVerbosity) {
  start();
  for (const std::int32_t level : {0, 1, 2, 100}) {
    setVerbosity(level);
    EXPECT_EQ(capturedRun([&] { report_problem(statistics, Problem::DroppedDate, 4); }).out, "");
  }
}

TEST_F(LoaderCommon, RestrictedNumbersAndTheTableLimitOmitNoLine) {
  start();
  const CapturedRun run = capturedRun([&] {
    report_problem(statistics, Problem::RestrictedNumber, 3, 0);
    report_problem(statistics, Problem::TableLimit, 3);
  });
  EXPECT_EQ(run.out, "");
  const FileStatistics& record = statistics.current();
  EXPECT_EQ(record.restrictedNumbers[0], 1);
  EXPECT_EQ(record.tableLimitCount, 1U);
  EXPECT_EQ(record.linesOmitted, 0U);
  EXPECT_FALSE(record.problemsFound);
}

TEST_F(LoaderCommon, ConditionsKeepTheFirstLineOfTheirOperation) {
  start();
  EXPECT_EQ(capturedRun([&] {
              report_problem(statistics, Problem::ConditionFails, 3, 0);
              report_problem(statistics, Problem::ConditionFails, 8, 0);
            }).out,
            "");
  const FileStatistics& record = statistics.current();
  EXPECT_EQ(record.conditions[0], 2);
  EXPECT_EQ(record.problemLines[0], 2);
  EXPECT_EQ(record.firstProblemLine[0], 3);
  EXPECT_EQ(record.linesOmitted, 2U);
}

TEST_F(LoaderCommon, BugsOfTheCallerAreErrors) {
  start();
  const auto report = [&](Problem type, std::int32_t operation) {
    return capturedRun([&] { report_problem(statistics, type, 3, operation); }).out;
  };
  EXPECT_EQ(report(Problem::ConditionFails, -1), errorLine(1001, "bug: nopeation should be provided\n"));
  EXPECT_EQ(report(Problem::RestrictedNumber, -1), errorLine(1001, "bug: noperation should be provided\n"));
  const std::string illegal = errorLine(1001, "illegal problem type (should not have got here!)\n");
  EXPECT_EQ(report(static_cast<Problem>(8), -1), illegal);
  EXPECT_EQ(report(static_cast<Problem>(-1), -1), illegal);
  EXPECT_EQ(report(Problem::BadAllocation, -1), logLine(1, "bad allocation, line number 3\n") + illegal);
}

TEST_F(LoaderCommon, TheSummaryOfACleanFileHasNoWarning) {
  start();
  statistics.current().linesScanned = 12;
  report_problem(statistics, Problem::RestrictedNumber, 3, 0);
  EXPECT_EQ(capturedRun([&] { print_scan_statistics(statistics); }).out,
            logLine(1, "Stats for file: in/calls\n12 lines scanned, no problem found \n"));
}

TEST_F(LoaderCommon, TheSummaryOfAFileWithProblemsNamesTheCausesAndTheOperations) {
  setVerbosity(0);
  start("in/calls", {"Add", "Count"});
  statistics.current().linesScanned = 20;
  report_problem(statistics, Problem::DroppedDate, 1);
  report_problem(statistics, Problem::NegativeCaller, 2);
  report_problem(statistics, Problem::NegativeCaller, 3);
  report_problem(statistics, Problem::Parsing, 4);
  report_problem(statistics, Problem::Spacing, 5);
  report_problem(statistics, Problem::RestrictedNumber, 6, 1);
  start("in/clean", {});
  EXPECT_EQ(
      capturedRun([&] { print_scan_statistics(statistics); }).out,
      warningLine(1372, "5;|Warning: The total omitted lines count is 5") +
          logLine(1,
                  "Stats for file: in/calls\n"
                  "20 lines are scanned, 5 omitted (1 date, 2 negative callers, 1 parsing, 1 space in the middle)\n"
                  "  operation 0: 0 problem cdrs, 0 restricted numbers "
                  "  operation 1: 0 problem cdrs, 1 restricted numbers ") +
          logLine(1, "Stats for file: in/clean\n0 lines scanned, no problem found \n"));
}

}  // namespace
}  // namespace vesk_loader::testing
