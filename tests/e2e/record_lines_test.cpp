#include "loader_case.h"

namespace vesk_e2e {
namespace {

using namespace std::string_literals;
using Strings = std::vector<std::string>;

const std::string parsing = "parsing problems";
const std::string spacing = "spacing problems";
const std::string negative = "negative caller ID";

/// Lines of one record file. The run sums field 2 for the caller in field 1, and the CSV shows "caller, sum".
class LoaderRecordLinesRun : public LoaderCase {
 protected:
  LoaderRecordLinesRun() { parameters("fields 1-2 4-6; Key 1; Output CSV; op Add 2 2"); }

  void runLines(const std::string& bytes) {
    writeFile("in/a", bytes);
    run();
  }

  /// The run must end in the scan of the file, at this line and with these reports before.
  void expectFailureInLine(int line, const std::string& reports) {
    const std::string number = std::to_string(line);
    expectRun(99, head() + opened() + listed({"a"}) + scanBegins("a") + reports +
                      fatal(1351, number + ";|update map: Unexpected error occured: last line read = " + number) +
                      illEnd());
    EXPECT_EQ(files(), Strings{});
  }
};

TEST_F(LoaderRecordLinesRun, ALineWithoutLineFeedIsDropped) {
  runLines("1  5  \n1  6  ");
  expectCompleteRun(scanned("a", 1, 6), 1, statistics("a", 1));
  EXPECT_EQ(content("out"), "1, 5\n");
}

TEST_F(LoaderRecordLinesRun, AnEmptyFileHasNoLines) {
  runLines("");
  expectCompleteRun(scanned("a", 0, 0), 0, statistics("a", 0));
  EXPECT_EQ(content("out"), "");
}

TEST_F(LoaderRecordLinesRun, ALineShorterThanTheStartOfAFieldIsAParsingProblem) {
  runLines("1  5\n12\n1\n\n");
  expectCompleteRun(scanned("a", 4, 4, problem(parsing, 2) + problem(parsing, 3) + problem(parsing, 4)), 1,
                    statistics("a", 4, {.parsing = 3}, noProblems(0)));
  EXPECT_EQ(content("out"), "1, 5\n");
}

TEST_F(LoaderRecordLinesRun, AFieldThatStartsAtTheEndOfTheLineIsBlank) {
  runLines("1  5\n12 \n");
  expectCompleteRun(scanned("a", 2, 4, problem(spacing, 2)), 1, statistics("a", 2, {.spacing = 1}, noProblems(0)));
}

TEST_F(LoaderRecordLinesRun, ALineThatEndsInsideAFieldShortensIt) {
  runLines("1  5\n1  50\n1  500\n1  5000\n");
  expectCompleteRun(scanned("a", 4, 4), 1, statistics("a", 4));
  EXPECT_EQ(content("out"), "1, 1055\n");
}

TEST_F(LoaderRecordLinesRun, BlanksCommasAndTabsPadAWord) {
  runLines("1, 5,\n 1 ,7\t\n1\t\t6 \n");
  expectCompleteRun(scanned("a", 3, 5), 1, statistics("a", 3));
  EXPECT_EQ(content("out"), "1, 11\n");  // a comma in front leaves no number: ",7" is 0
}

TEST_F(LoaderRecordLinesRun, AFieldIsOneWordAndNotBlank) {
  runLines("1  5 5\n1  5,5\n1  5\t5\n     5\n1     \n1  ,,,\n");
  std::string problems;
  for (int line = 1; line <= 6; ++line) problems += problem(spacing, line);
  expectCompleteRun(scanned("a", 6, 6, problems), 0, statistics("a", 6, {.spacing = 6}, noProblems(0)));
}

TEST_F(LoaderRecordLinesRun, AFieldThatNothingUsesMustNotBeBlankEither) {
  parameters("fields 1-2 4-6 8-8; Key 1; Output CSV; op Add 2 2");
  runLines("1  5    \n1  6   x\n");
  expectCompleteRun(scanned("a", 2, 8, problem(spacing, 1)), 1, statistics("a", 2, {.spacing = 1}, noProblems(0)));
  EXPECT_EQ(content("out"), "1, 6\n");
}

TEST_F(LoaderRecordLinesRun, CallersBelowOneAreNegative) {
  runLines("0  5\n-1 5\nx  5\n.9 5\n1  5\n");
  std::string problems;
  for (int line = 1; line <= 4; ++line) problems += problem(negative, line);
  expectCompleteRun(scanned("a", 5, 4, problems), 1, statistics("a", 5, {.negative = 4}, noProblems(0)));
  EXPECT_EQ(content("out"), "1, 5\n");
}

TEST_F(LoaderRecordLinesRun, ATextThatIsNoNumberIsZero) {
  runLines("1  abc\n1  7x\n1  1e2\n");
  expectCompleteRun(scanned("a", 3, 6), 1, statistics("a", 3));
  EXPECT_EQ(content("out"), "1, 107\n");
}

TEST_F(LoaderRecordLinesRun, AtVerbosityZeroProblemLinesAreCountedOnly) {
  verbosity = "0";
  runLines("0  5\n1\n1  5 5\n1  5\n");
  expectCompleteRun(scanned("a", 4, 4), 1,
                    statistics("a", 4, {.negative = 1, .parsing = 1, .spacing = 1}, noProblems(0)));
}

TEST_F(LoaderRecordLinesRun, ANulEndsTheTextOfItsLine) {
  runLines("1  5\0 9\n1\0  6 \n1  7\n"s);
  expectCompleteRun(scanned("a", 3, 4, problem(parsing, 2)), 1, statistics("a", 3, {.parsing = 1}, noProblems(0)));
  EXPECT_EQ(content("out"), "1, 12\n");
}

TEST_F(LoaderRecordLinesRun, CarriageReturnsStayInTheLine) {
  runLines("1  5\r\n1  6\r\n");
  expectCompleteRun(scanned("a", 2, 5), 1, statistics("a", 2));
  EXPECT_EQ(content("out"), "1, 11\n");
  parameters("fields 1-2 4-4 5-5; Key 1; Output CSV; op Add 2 2; op Count 3 3 EQ 0");
  runLines("1  5\r\n1  6\r\n");  // a carriage return is a word, its number is 0
  expectCompleteRun(scanned("a", 2, 5), 1, statistics("a", 2));
  EXPECT_EQ(content("out"), "1, 11, 2\n");
}

TEST_F(LoaderRecordLinesRun, TheLineLengthIsReportedUntilItIsNotZero) {
  runLines("\n\n1  5\n1  6  \n");
  const std::string zero = logLine(1, "Line length = 0");
  expectCompleteRun(
      scanned("a", 4, 0, problem(parsing, 1) + zero + problem(parsing, 2) + logLine(1, "Line length = 4")), 1,
      statistics("a", 4, {.parsing = 2}, noProblems(0)));
}

TEST_F(LoaderRecordLinesRun, ALineStaysBelowTenThousandCharacters) {
  const std::string filler(9995, ' ');
  runLines("1  5" + filler + "\n");
  expectCompleteRun(scanned("a", 1, 9999), 1, statistics("a", 1));
}

TEST_F(LoaderRecordLinesRun, ALineOfTenThousandCharactersEndsTheRun) {
  runLines("1  5\n1  5" + std::string(9996, ' ') + "\n1  5\n");
  expectFailureInLine(3,
                      logLine(1, "Line length = 4") + logLine(2, "Vesk Loader, update_map: reading failure in line 3"));
}

TEST_F(LoaderRecordLinesRun, ATailOfTenThousandCharactersEndsTheRun) {
  runLines("1  5\n" + std::string(10000, '1'));
  expectFailureInLine(3,
                      logLine(1, "Line length = 4") + logLine(2, "Vesk Loader, update_map: reading failure in line 3"));
}

TEST_F(LoaderRecordLinesRun, AShorterTailIsDropped) {
  runLines("1  5\n" + std::string(9999, '1'));
  expectCompleteRun(scanned("a", 1, 4), 1, statistics("a", 1));
}

TEST_F(LoaderRecordLinesRun, AFirstLineThatIsTooLongEndsTheRunInLineTwo) {
  runLines(std::string(20000, '1') + "\n");
  expectFailureInLine(2, logLine(2, "Vesk Loader, update_map: reading failure in line 2"));
}

TEST_F(LoaderRecordLinesRun, AKeyBeyondTheFieldsFailsInTheFirstGoodLine) {
  parameters("fields 1-2 4-6; Key 3; Output CSV; op Add 2 2");
  runLines("1\n1  5\n");
  expectFailureInLine(2, logLine(1, "Line length = 1") + problem(parsing, 1));
}

TEST_F(LoaderRecordLinesRun, ANegativeKeyFieldFailsLikeOneBeyondTheFields) {
  parameters("fields 1-2 4-6; Key -3; Output CSV; op Add 2 2");
  runLines("1  5\n");
  expectFailureInLine(1, logLine(1, "Line length = 4"));
}

TEST_F(LoaderRecordLinesRun, WithoutFieldsTheKeyFailsInTheFirstLine) {
  parameters("Key 1; Output CSV");
  runLines("\n");
  expectFailureInLine(1, logLine(1, "Line length = 0"));
}

TEST_F(LoaderRecordLinesRun, AnInputBeyondTheFieldsFailsInTheFirstLineOfACaller) {
  parameters("fields 1-2 4-6; Key 1; Output CSV; op Add 3 2");
  runLines("0  5\n1  5\n");
  expectFailureInLine(2, logLine(1, "Line length = 4") + problem(negative, 1));
}

TEST_F(LoaderRecordLinesRun, AMultiplicityBeyondTheFieldsFailsInTheFirstGoodLine) {
  parameters("fields 1-2 4-6; Key 1; Output CSV; MultiplicityField 3; op Add 2 2");
  runLines("1  5\n");
  expectFailureInLine(1, logLine(1, "Line length = 4"));
}

TEST_F(LoaderRecordLinesRun, ADateBeyondTheFieldsFailsInTheFirstLineOfACaller) {
  parameters("fields 1-2 4-6; Key 1; Output CSV; CyclicTableSize 2; DateField 3; op CyclicAdd 2");
  runLines("0  5\n1  5\n");
  expectFailureInLine(2, logLine(1, "Line length = 4") + problem(negative, 1));
}

TEST_F(LoaderRecordLinesRun, ADateFieldIsForTablesOnly) {
  parameters("fields 1-2 4-6; Key 1; Output CSV; DateField 2; op Add 2 2");
  runLines("1  5\n");
  expectRun(99,
            head() + opened() + listed({"a"}) + scanBegins("a") +
                fatal(1350, "update map: loader does not support date field in non table operations (fix ldr file)") +
                fatal(1351, "0;|update map: Unexpected error occured: last line read = 0") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderRecordLinesRun, FieldsMayOverlapAndStandInAnyOrder) {
  parameters("fields 4-6 1-6 1-2 4-4; Key 3; Output CSV; op Add 1 2; op Add 4 3");
  runLines("7  512\n7  512\n7,,34 \n");  // the second field is one word in the last line only
  expectCompleteRun(scanned("a", 3, 6, problem(spacing, 1) + problem(spacing, 2) + problem(spacing, 3)), 0,
                    statistics("a", 3, {.spacing = 3}, noProblems(0) + noProblems(1)));
  runLines("76543 \n");
  expectCompleteRun(scanned("a", 1, 6), 1, statistics("a", 1));
  EXPECT_EQ(content("out"), "76, 43, 4\n");
}

TEST_F(LoaderRecordLinesRun, AMillionLinesGiveOneSampleAtVerbosityTwo) {
  std::string bytes;
  for (int i = 1; i <= 1000001; ++i) bytes += "1  1\n";
  verbosity = "2";
  runLines(bytes);
  const std::string sample = logLine(1, "in/a: 1000000 lines scanned, sample line: 1  1\n") +
                             logLine(1, "--- caller ID = 1") + "--- Add: called ID = 1 multiplicity = 1\n";
  expectCompleteRun(scanned("a", 1000001, 4, sample), 1, statistics("a", 1000001));
  EXPECT_EQ(content("out"), "1, 1000001\n");
}

}  // namespace
}  // namespace vesk_e2e
