#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

/// Table runs over lines "caller callee payload multiplicity"; the CSV shows "caller, callee, ...".
class LoaderTableRun : public LoaderCase {
 protected:
  static constexpr const char* fields = "fields 1-1 3-3 5-6 8-11; Key 1; Output CSV; ";

  void runLines(const std::string& statements, const Strings& lines) {
    parameters(fields + statements);
    records("a", lines);
    lineCount = static_cast<int>(lines.size());
    run();
  }
  void expectOutput(const std::string& text, int recordCount) {
    expectCompleteRun(scanned("a", lineCount, 11), recordCount, statistics("a", lineCount));
    EXPECT_EQ(content("out"), text);
  }

  int lineCount = 0;
};

TEST_F(LoaderTableRun, TheOldestEntryFallsOut) {
  runLines("CyclicTableSize 3; op CyclicAdd 2",
           {"1 4 10    1", "1 3 10    1", "2 9 10    1", "1 2 10    1", "1 1 10    1"});
  expectOutput("1, 1, 2, 3\n2, 9, 0.0, 0.0\n", 2);
}

TEST_F(LoaderTableRun, WithoutSortTheOrderIsThatOfArrival) {
  runLines("CyclicTableSize 3; CyclicTableSort No; op CyclicAdd 2",
           {"1 4 10    1", "1 3 10    1", "1 2 10    1", "1 1 10    1"});
  expectOutput("1, 3, 2, 1\n", 1);
}

TEST_F(LoaderTableRun, TheProcessFileKeepsTheOrderOfArrivalOfASortedTable) {
  processFile = "process";
  runLines("CyclicTableSize 3; op CyclicAdd 2", {"1 4 10    1", "1 3 10    1", "1 2 10    1"});
  EXPECT_EQ(content("out"), "1, 2, 3, 4\n");
  EXPECT_EQ(numbers("process"), (Numbers{1, 4, 3, 2, -2, -1}));
}

// By hand: 4, 3, 4 again (3, 4), 2, 5 (3 falls out), 4 again.
TEST_F(LoaderTableRun, ADistinctCalleeMovesToTheEndOfItsRow) {
  processFile = "process";
  runLines("CyclicTableSize 3; CyclicTableDistinct Yes; MultiplicityField 4; op CyclicAdd 2; op CyclicAddPayload 3",
           {"1 4 40    1", "1 3 30    2", "1 4 41    3", "1 2 20    1", "1 5 50    1", "1 4 42    9"});
  EXPECT_EQ(content("out"), "1, 2, 20, 4, 42, 5, 50\n");
  EXPECT_EQ(numbers("process"), (Numbers{1, 2, 5, 4, -2, 20, 50, 42, -2, -1}));
}

TEST_F(LoaderTableRun, WithNoCalleesAreNotDistinct) {
  runLines("CyclicTableSize 3; CyclicTableDistinct No; op CyclicAdd 2", {"1 4 10    1", "1 4 10    1"});
  expectOutput("1, 4, 4, 0.0\n", 1);
}

TEST_F(LoaderTableRun, APayloadIsSortedWithItsEntry) {
  runLines("CyclicTableSize 3; op CyclicAdd 2; op CyclicAddPayload 3; op CyclicAddPayload 4",
           {"1 4 40    1", "1 3 30    2", "1 3 31    3"});
  expectOutput("1, 3, 30, 2, 3, 31, 3, 4, 40, 1\n", 1);
}

TEST_F(LoaderTableRun, AMissingEntryIsFilledUpWithItsPayloads) {
  runLines("CyclicTableSize 3; op CyclicAdd 2; op CyclicAddPayload 3", {"1 4 40    1"});
  expectOutput("1, 4, 40, 0.0, 0.0, 0.0, 0.0\n", 1);
}

TEST_F(LoaderTableRun, TheMultiplicityRepeatsAnEntryUpToTheTableSize) {
  const std::string table = "CyclicTableSize 3; CyclicTableSort No; MultiplicityField 4; op CyclicAdd 2";
  runLines(table, {"1 4 10    2", "2 5 10    0", "3 6 10   -3", "4 7 10 1000", "5 8 10    x"});
  expectOutput("1, 4, 4, 0.0\n2, 5, 0.0, 0.0\n3, 6, 0.0, 0.0\n4, 7, 7, 7\n5, 8, 0.0, 0.0\n", 5);
  runLines(table, {"1 4 10    1", "1 5 10    1", "1 6 10    2"});
  expectOutput("1, 5, 6, 6\n", 1);
}

TEST_F(LoaderTableRun, TheFirstFieldIsNoMultiplicity) {
  runLines("CyclicTableSize 3; MultiplicityField 1; op CyclicAdd 2", {"3 4 10    1"});
  expectOutput("3, 4, 0.0, 0.0\n", 1);
  EXPECT_THAT(result.out, ::testing::HasSubstr("\nNo multiplicity field\n"));
}

TEST_F(LoaderTableRun, TwoOperationsAppendTwoEntriesWithTheSamePayload) {
  runLines("CyclicTableSize 4; CyclicTableSort No; op CyclicAdd 2; op CyclicAdd 1; op CyclicAddPayload 3",
           {"1 4 40    1", "1 3 30    1"});
  expectOutput("1, 4, 40, 1, 40, 3, 30, 1, 30\n", 1);
}

TEST_F(LoaderTableRun, EachConditionComparesTheCallee) {
  const Strings lines{"1 4 10    1", "2 5 10    1", "3 6 10    1"};
  runLines("CyclicTableSize 1; op CyclicAdd 2 EQ 5", lines);
  expectOutput("2, 5\n", 1);
  runLines("CyclicTableSize 1; op CyclicAdd 2 LE 5", lines);
  expectOutput("1, 4\n2, 5\n", 2);
  runLines("CyclicTableSize 1; op CyclicAdd 2 GE 5", lines);
  expectOutput("2, 5\n3, 6\n", 2);
  runLines("CyclicTableSize 1; op CyclicAdd 2 GT 5", lines);
  expectOutput("3, 6\n", 1);
  runLines("CyclicTableSize 1; op CyclicAdd 2 LT 5", lines);
  expectOutput("1, 4\n", 1);
  runLines("CyclicTableSize 1; op CyclicAdd 2 GT", lines);  // the threshold is -1
  expectOutput("1, 4\n2, 5\n3, 6\n", 3);
}

TEST_F(LoaderTableRun, ACallerWithoutEntryHasNoRow) {
  processFile = "process";
  runLines("CyclicTableSize 2; op CyclicAdd 2 GT 5", {"1 4 10    1", "2 6 10    1"});
  EXPECT_EQ(content("out"), "2, 6, 0.0\n");
  EXPECT_EQ(numbers("process"), (Numbers{2, 6, -2, -1}));
}

TEST_F(LoaderTableRun, ARestrictingListKeepsItsNumbersOnly) {
  writeFile("numbers", "5\n 6\t6.0 7e0");
  runLines("CyclicTableSize 1; list numbers; op CyclicAdd 2",
           {"1 4 10    1", "2 5 10    1", "3 6 10    1", "4 7 10    1"});
  expectOutput("2, 5\n3, 6\n4, 7\n", 3);  // a number that the list keeps out omits no line
  runLines("CyclicTableSize 1; list numbers Restrict; op CyclicAdd 2", {"1 4 10    1", "2 5 10    1"});
  expectOutput("2, 5\n", 1);
}

TEST_F(LoaderTableRun, AnExcludingListKeepsItsNumbersOut) {
  writeFile("numbers", "5 6");
  runLines("CyclicTableSize 1; list numbers Exclude; op CyclicAdd 2",
           {"1 4 10    1", "2 5 10    1", "3 6 10    1", "4 7 10    1"});
  expectOutput("1, 4\n4, 7\n", 2);
}

TEST_F(LoaderTableRun, AnEmptyListRestrictsToNothing) {
  writeFile("numbers", "");
  runLines("CyclicTableSize 1; list numbers; op CyclicAdd 2", {"1 4 10    1"});
  expectOutput("", 0);
  writeFile("numbers", " \n\n");
  runLines("CyclicTableSize 1; list numbers Exclude; op CyclicAdd 2", {"1 4 10    1"});
  expectOutput("1, 4\n", 1);
}

TEST_F(LoaderTableRun, RestrictedNumbersAreCountedByOperation) {
  writeFile("numbers", "5 6");
  runLines("CyclicTableSize 2; list numbers Exclude; op CyclicAdd 2; op CyclicAdd 1",
           {"1 5 10    1", "5 6 10    1", "0 1 10    1"});
  expectCompleteRun(scanned("a", 3, 11, problem("negative caller ID", 3)), 1,
                    statistics("a", 3, {.negative = 1},
                               "  operation 0: 0 problem cdrs, 2 restricted numbers "
                               "  operation 1: 0 problem cdrs, 1 restricted numbers "));
  EXPECT_EQ(content("out"), "1, 1, 0.0\n");
}

TEST_F(LoaderTableRun, AListThatHoldsAWordIsRefused) {
  writeFile("numbers", "5 six 7");
  runLines("CyclicTableSize 2; list numbers Exclude; op CyclicAdd 2", {"1 5 10    1"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              ::testing::HasSubstr(fatal(1170, "Special list file numbers holds a word that is no number: six") +
                                   fatal(1322, "unexpected error in read_input_file_format") + illEnd()));
  EXPECT_EQ(files(), Strings{"numbers"});
}

TEST_F(LoaderTableRun, AtVerbosity100EveryLineIsASample) {
  verbosity = "100";
  writeFile("numbers", "9");
  runLines("CyclicTableSize 2; MultiplicityField 4; list numbers Exclude; op CyclicAdd 2 GT 3; op CyclicAdd 1",
           {"1 5 10    7", "2 3 10    1", "3 9 10    1", "0 5 10    1"});
  const auto sample = [](int line, const std::string& text) {
    return logLine(1, "in/a: " + std::to_string(line) + " lines scanned, sample line: " + text + "\n");
  };
  const auto caller = [](int key, int multiplicity) {
    return logLine(1, "--- cyclic add sample trace \n--- caller ID (parsed) = " + std::to_string(key) +
                          "\n--- multiplicity = " + std::to_string(multiplicity));
  };
  const auto called = [](int callee) { return logLine(1, "--- called ID (parsed) = " + std::to_string(callee)); };
  const std::string end =
      logLine(1, "cdr file scan completed: 4 lines are scanned\n>>> VESK loader: update map is done.");
  const std::string scan = scanBegins("a") + sample(1, "1 5 10    7") + logLine(1, "Line length = 11") + caller(1, 2) +
                           called(5) + called(1) + sample(2, "2 3 10    1") + caller(2, 1) +
                           logLine(1, "--- skipping, conditions do not hold.") + called(2) + sample(3, "3 9 10    1") +
                           caller(3, 1) + called(3) + sample(4, "0 5 10    1") + problem("negative caller ID", 4) + end;
  expectCompleteRun(
      scan, 3,
      statistics("a", 4, {.negative = 1}, "  operation 0: 0 problem cdrs, 1 restricted numbers " + noProblems(1)));
  EXPECT_EQ(content("out"), "1, 1, 1\n2, 2, 0.0\n3, 3, 0.0\n");
}

/// Lines "caller callee date", a cutoff by the horizon.
class LoaderDatesRun : public LoaderCase {
 protected:
  LoaderDatesRun() { dateFormat = "1"; }

  void runLines(const std::string& statements, const Strings& lines) {
    parameters("fields 1-1 3-3 5-12; Key 1; Output CSV; CyclicTableSize 3; DateField 3; op CyclicAdd 2; " + statements);
    records("a", lines);
    run();
  }
  std::string cutoff(const std::string& date) const { return "Everything before " + date + " will be dropped \n"; }
  void expectDropped(const std::string& date, int lines, int dropped, int recordCount) const {
    expectRun(0, head() + opened() + cutoff(date) + listed({"a"}) + scanned("a", lines, 12) + written(recordCount) +
                     (dropped > 0 ? statistics("a", lines, {.date = dropped}, noProblems(0)) : statistics("a", lines)) +
                     completed());
  }
};

TEST_F(LoaderDatesRun, ADateEqualToTheCutoffIsKeptAndOneDayEarlierDropped) {
  runLines("DateHorizon 0", {"1 4 20120302", "2 5 20120202", "3 6 20120402", "4 7 20123101", "5 8 20113112"});
  expectDropped("20120302", 5, 3, 2);
  EXPECT_EQ(content("out"), "1, 4, 0.0, 0.0\n3, 6, 0.0, 0.0\n");
}

TEST_F(LoaderDatesRun, TheHorizonIsCountedInCalendarDays) {
  runLines("DateHorizon 3", {"1 4 20123101", "2 5 20123001"});
  expectDropped("20123101", 2, 1, 1);
  runLines("DateHorizon 365", {"1 4 20110302", "2 5 20110202"});
  expectDropped("20110302", 2, 1, 1);
  startDate = "20120103";  // 1 March of a leap year
  runLines("DateHorizon 1", {"1 4 20122902", "2 5 20122802"});
  expectDropped("20122902", 2, 1, 1);
}

TEST_F(LoaderDatesRun, TheDateFormatTwoReadsMonthAndDayInTheOtherOrder) {
  dateFormat = "2";
  runLines("DateHorizon 0", {"1 4 20120203", "2 5 20120202", "3 6 20120131", "4 7 20120301"});
  expectDropped("20120302", 4, 2, 2);
  EXPECT_EQ(content("out"), "1, 4, 0.0, 0.0\n4, 7, 0.0, 0.0\n");
}

TEST_F(LoaderDatesRun, DroppedDatesAreNotLoggedOneByOne) {
  verbosity = "2";
  runLines("DateHorizon 0", {"1 4 20120202", "2 5 20120302"});
  expectDropped("20120302", 2, 1, 1);
}

TEST_F(LoaderDatesRun, WithoutDateFormatHorizonOrDateFieldNothingIsDropped) {
  dateFormat = "0";
  runLines("DateHorizon 0", {"1 4 19000101"});
  expectCompleteRun(scanned("a", 1, 12), 1, statistics("a", 1));
  dateFormat = "1";
  runLines("", {"1 4 19000101"});
  expectCompleteRun(scanned("a", 1, 12), 1, statistics("a", 1));
  runLines("DateHorizon -1", {"1 4 19000101"});  // -1 is what an absent tag leaves
  expectCompleteRun(scanned("a", 1, 12), 1, statistics("a", 1));
  parameters("fields 1-1 3-3 5-12; Key 1; Output CSV; CyclicTableSize 1; DateHorizon 0; op CyclicAdd 2");
  run();
  expectCompleteRun(scanned("a", 1, 12), 1, statistics("a", 1));
}

TEST_F(LoaderDatesRun, TheProblemsOfALineAreTestedInOrder) {
  // Date before caller: the line of caller 0 counts as dropped by its date.
  runLines("DateHorizon 0", {"0 4 19000101", "0 4 20120302", "0   19000101"});
  expectRun(0, head() + opened() + cutoff("20120302") + listed({"a"}) +
                   scanned("a", 3, 12, problem("negative caller ID", 2) + problem("spacing problems", 3)) + written(0) +
                   statistics("a", 3, {.date = 1, .negative = 1, .spacing = 1}, noProblems(0)) + completed());
}

TEST_F(LoaderDatesRun, ADateBeyondEightDigitsIsShownWhole) {
  // Year 214748, day 36, month 47 are 6 December 214751, which 32 bits do not hold.
  startDate = "2147483647";
  runLines("DateHorizon 0", {"1 4 20120302"});
  // As text "2147" is the year of the cutoff.
  expectDropped("2147510612", 1, 1, 0);
}

TEST_F(LoaderDatesRun, ANewRunWithoutStartDateTakesTheClock) {
  startDate = "";
  runLines("DateHorizon 1", {"1 4 19000101", "2 5 29990101"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(content("out"), "2, 5, 0.0, 0.0\n");
}

}  // namespace
}  // namespace vesk_e2e
