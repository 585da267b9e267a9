#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

/// Plain runs over lines "caller value multiplicity".
class LoaderPlainRun : public LoaderCase {
 protected:
  void runLines(const std::string& statements, const Strings& lines) {
    parameters("fields 1-1 3-5 7-8; Key 1; " + statements);
    records("a", lines);
    lineCount = static_cast<int>(lines.size());
    run();
  }
  void expectComplete(int recordCount) {
    expectCompleteRun(scanned("a", lineCount, 8), recordCount, statistics("a", lineCount));
  }

  int lineCount = 0;
};

TEST_F(LoaderPlainRun, AddSumsValuesAndCountSumsMultiplicities) {
  runLines("Output CSV; MultiplicityField 3; op Add 2 2; op Count 2 3; op Add 2 4 GT 50; op Count 2 5 LE 50",
           {"1  10  2", "1  60  3", "2  50  0", "2  70 -1"});
  expectComplete(2);
  EXPECT_EQ(content("out"), "1, 70, 5, 60, 2\n2, 120, 2, 70, 1\n");
}

TEST_F(LoaderPlainRun, AMultiplicityOfAPlainRunHasNoLimit) {
  runLines("Output CSV; MultiplicityField 3; op Count 2 2", {"1  10 99"});
  expectComplete(1);
  EXPECT_EQ(content("out"), "1, 99\n");
}

TEST_F(LoaderPlainRun, TwoOperationsMayShareAPosition) {
  runLines("Output CSV; op Add 2 2; op Count 2 2", {"1  10  1", "1  20  1"});
  expectComplete(1);
  EXPECT_EQ(content("out"), "1, 32\n");
}

TEST_F(LoaderPlainRun, ACallerWhoseConditionsAllFailStillHasARow) {
  runLines("Output CSV; op Add 2 3 GT 900", {"1  10  1"});
  expectComplete(1);
  EXPECT_EQ(content("out"), "1, 0, 0\n");
}

TEST_F(LoaderPlainRun, PositionsThatNoOperationReachesAreZero) {
  runLines("Output CSV; op Add 2 4", {"1  10  1"});
  expectComplete(1);
  EXPECT_EQ(content("out"), "1, 0, 0, 10\n");
}

TEST_F(LoaderPlainRun, TheFirstPositionGoesToTheProcessFileButNotToTheOutput) {
  processFile = "process";
  runLines("Output Sparse; op Add 2 1; op Add 2 2", {"1  10  1", "2   7  1"});
  expectRun(0, head() + opened() + processFileMissing() + listed({"a"}) + scanned("a", 2, 8) + processFileWritten(2) +
                   written(2) + statistics("a", 2) + completed());
  EXPECT_EQ(numbers("process"), (Numbers{1, 10, 10, -2, -1, 2, 7, 7, -2, -1}));
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 2, 1, 1, 10, 1, 3, 0,  //
                                     2, 0, 2, 2, 1, 7, 2, 3, 0}));
}

TEST_F(LoaderPlainRun, OnlyTheFirstPositionLeavesHeaderAndFooter) {
  runLines("Output Sparse; op Add 2 1", {"1  10  1"});
  expectComplete(1);
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 1, 1, 2, 0}));
  runLines("Output Dense; op Add 2 1", {"1  10  1"});
  EXPECT_EQ(numbers("out"), (Numbers{1}));
  EXPECT_EQ(content("out.info"), "Col0 Numeric Explanatory\n");
}

TEST_F(LoaderPlainRun, AStoredSumOfMinusTwoCutsItsRowShort) {
  processFile = "process";
  runLines("Output CSV; op Add 2 2; op Add 2 3", {"1  -2  1"});
  EXPECT_EQ(numbers("process"), (Numbers{1, 0, -2, -2, -2, -1}));
  run();  // behind the end of the list stands another, where a payload column would begin
  expectRun(99, head() + opened() + logLine(0, ">>> VESK loader: starting read_process_file, file = process") +
                    fatal(1310, "read_process_file: Unexpected number of payload fields found in process file") +
                    fatal(1312, "read_process_file: Unexpected exception") + illEnd());
}

TEST_F(LoaderPlainRun, TheSpecialListHasNoEffectOnAPlainRun) {
  writeFile("numbers", "10");
  runLines("Output CSV; list numbers Exclude; op Add 2 2", {"1  10  1"});
  expectComplete(1);
  EXPECT_EQ(content("out"), "1, 10\n");
}

TEST_F(LoaderPlainRun, TableOperationsHaveNoEffectOnAPlainRun) {
  runLines("Output CSV; op CyclicAdd 2; op Add 2 2", {"1  10  1"});
  expectComplete(1);
  EXPECT_EQ(content("out"), "1, 10\n");
  runLines("Output CSV; CyclicTableSize -1; op CyclicAdd 2", {"1  10  1"});
  expectComplete(0);
}

TEST_F(LoaderPlainRun, AtVerbosity100EveryLineIsASample) {
  verbosity = "100";
  runLines("Output CSV; MultiplicityField 3; op Add 2 2 GT 10; op Count 2 3", {"1  10  2", "1  11  1"});
  const std::string end =
      logLine(1, "cdr file scan completed: 2 lines are scanned\n>>> VESK loader: update map is done.");
  expectCompleteRun(scanBegins("a") + logLine(1, "in/a: 1 lines scanned, sample line: 1  10  2\n") +
                        logLine(1, "Line length = 8") + logLine(1, "--- caller ID = 1") +
                        "--- Add: called ID = 10 multiplicity = 2\n--- skipping due to conditions \n"
                        "--- Count: called ID = 10 multiplicity = 2\n" +
                        logLine(1, "in/a: 2 lines scanned, sample line: 1  11  1\n") + logLine(1, "--- caller ID = 1") +
                        "--- Add: called ID = 11 multiplicity = 1\n--- Count: called ID = 11 multiplicity = 1\n" + end,
                    1, statistics("a", 2));
}

/// Pair sum runs over the same lines.
class LoaderPairSumRun : public LoaderPlainRun {};

TEST_F(LoaderPairSumRun, TheWeightsOfACallerStandInTheOrderOfTheCallees) {
  runLines("Output Sparse; MultiplicityField 3; op PairSum 2",
           {"2   7  1", "1   9  2", "1   8  1", "1   9  3", "1 100 -5"});
  expectComplete(2);
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 3, 1, 8, 1, 1, 9, 5,   1, 100, 1, 1, 0, 7788,  //
                                     2, 0, 3, 2, 7, 1, 2, 0, 7788}));
  EXPECT_EQ(content("out.info"), "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
}

TEST_F(LoaderPairSumRun, TheXmlFormShowsTheWeightBesideTheCallee) {
  runLines("Output XML; op PairSum 2", {"1   9  1", "1   9  1"});
  expectComplete(1);
  EXPECT_EQ(content("out"),
            "<Loader-Output>\n\n<Row>\n\t<Key> 1 </Key>\n\t<Col>\n\t\t<Index> 1 </Index>\n\t\t<Value> 9 </Value>\n"
            "\t\t<SubValue> 2 </SubValue>\n\t</Col>\n</Row>\n\n</Loader-Output>\n");
}

TEST_F(LoaderPairSumRun, WithoutProcessFileACallerWithoutPairIsLeftOut) {
  runLines("Output Sparse; op PairSum 2 GT 8", {"1   8  1", "2   9  1"});
  expectComplete(1);
  EXPECT_EQ(numbers("out"), (Numbers{2, 0, 1, 2, 9, 1, 2, 0, 7788}));
}

TEST_F(LoaderPairSumRun, ACallerWithoutPairCannotBeStored) {
  processFile = "process";
  runLines("Output Sparse; op PairSum 2 GT 8", {"1   9  1", "2   8  1"});
  expectRun(99, head() + opened() + processFileMissing() + listed({"a"}) + scanned("a", 2, 8) +
                    logLine(0, ">>> VESK loader: starting write_process_file, file = process") +
                    fatal(1000, "2;|missing pairsum information for key 2") +
                    fatal(1323, "write_process_file: Unexpected exception occured (probably IO)") + illEnd());
  EXPECT_EQ(files(), Strings{"process"});
}

TEST_F(LoaderPairSumRun, WeightsGoOnFromTheProcessFile) {
  processFile = "process";
  runLines("Output Sparse; op PairSum 2", {"1   9  1", "2   7  1"});
  EXPECT_EQ(numbers("process"), (Numbers{1, 9, 1, -2, -1, 2, 7, 1, -2, -1}));
  runLines("Output Sparse; op PairSum 2", {"1   9  1", "1   8  1", "3   1  1"});
  expectRun(0, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 3, 8) + processFileWritten(3) +
                   written(3) + statistics("a", 3) + completed());
  EXPECT_EQ(numbers("process"), (Numbers{1, 8, 1, 9, 2, -2, -1, 2, 7, 1, -2, -1, 3, 1, 1, -2, -1}));
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 2, 1, 8, 1, 1, 9, 2,    1, 0, 7788,  //
                                     2, 0, 2, 2, 7, 1, 2, 0, 7788,              //
                                     3, 0, 2, 3, 1, 1, 3, 0, 7788}));
}

TEST_F(LoaderPairSumRun, AtVerbosity100EachPairShowsItsWeight) {
  verbosity = "100";
  runLines("Output Sparse; MultiplicityField 3; op PairSum 2 GT 8", {"1   9  2", "1   8  1", "1   9  3"});
  const auto sample = [](int line, const std::string& text) {
    return logLine(1, "in/a: " + std::to_string(line) + " lines scanned, sample line: " + text + "\n") +
           (line == 1 ? logLine(1, "Line length = 8") : std::string()) + logLine(1, "--- caller ID = 1");
  };
  const std::string end =
      logLine(1, "cdr file scan completed: 3 lines are scanned\n>>> VESK loader: update map is done.");
  expectCompleteRun(scanBegins("a") + sample(1, "1   9  2") +
                        "--- pairSum: called ID = 9 multiplicity = 2\nline 1, caller 1 called 9 dur 2\n" +
                        sample(2, "1   8  1") + "--- pairSum: called ID = 8 multiplicity = 1\n" +
                        sample(3, "1   9  3") +
                        "--- pairSum: called ID = 9 multiplicity = 3\nline 3, caller 1 called 9 dur 5\n" + end,
                    1, statistics("a", 3));
}

}  // namespace
}  // namespace vesk_e2e
