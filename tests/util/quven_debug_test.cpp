#include "util/quven_debug.h"

#include <array>
#include <cstdint>

#include "support/captured_run.h"
#include "util/quven_env.h"
#include "xrt/xrt_thread.h"
#include "xrt/xrt_trace.h"

namespace {

class QUVENDebug : public testing::Test {
 protected:
  void SetUp() override { quvenDebugWords = QUVENDebugWords(); }
  void TearDown() override { quvenDebugWords = QUVENDebugWords(); }

  QUVENEnv environment;
  const QUVENEnvHandle place{environment, "/home/build/lib/quven_thing.cpp", 12, "doThing"};
};

}  // namespace

TEST_F(QUVENDebug, FatalReportIsAPlaceAndALineAndThrows) {
  const CapturedRun run =
      capturedRun([] { quvenFatalReport("report_error", 41, "loader_common", "QUVEN Terminating"); });
  EXPECT_EQ(run.out, "\n*** ERROR in function report_error at line 41 in file loader_common\n    QUVEN Terminating\n");
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.exceptionThrown, 1);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENDebug, FatalReportTakesThePlaceOfAHandleWithoutTheDirectory) {
  const CapturedRun run = capturedRun([&] { quvenFatalReport("Text", place); });
  EXPECT_EQ(run.out, "\n*** ERROR in function doThing at line 12 in file quven_thing.cpp\n    Text\n");
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(QUVENDebug, CutsDirectoriesOfBothKinds) {
  EXPECT_STREQ(quvenFileName("src/lib/base/BASE_Log"), "BASE_Log");
  EXPECT_STREQ(quvenFileName("c:\\lib\\quven_x.cpp"), "quven_x.cpp");
  EXPECT_STREQ(quvenFileName("plain"), "plain");
  EXPECT_STREQ(quvenFileName(""), "");
  EXPECT_STREQ(quvenFileName(nullptr), "???");
}

TEST_F(QUVENDebug, HeadingPrefersSimulatedThenExpected) {
  EXPECT_STREQ(quvenReportHeading(), "\n*** ERROR");
  quvenDebugWords.expected = 1;
  EXPECT_STREQ(quvenReportHeading(), "\n    Expected Error");
  quvenDebugWords.simulated = 1;
  EXPECT_STREQ(quvenReportHeading(), "\n    Simulated Error");
}

TEST_F(QUVENDebug, AssertionPrintsTheConditionSetsTheErrorWordAndThrows) {
  const CapturedRun run =
      capturedRun([] { quvenAssertionFailed("newPtr != 0", nullptr, "getGlobal", 7, "/x/quven_env.cpp"); });
  EXPECT_EQ(run.out,
            "\n*** ERROR in function getGlobal at line 7 in file quven_env.cpp"
            "\n    ASSERTION FAILED (newPtr != 0)\n");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(quvenDebugWords.exceptionThrown, 1);
}

TEST_F(QUVENDebug, AssertionWithACausePrintsItOnALineOfItsOwn) {
  const CapturedRun run = capturedRun([] { quvenAssertionFailed("a == b", "They differ", "f", 1, "g.cpp"); });
  EXPECT_EQ(run.out,
            "\n*** ERROR in function f at line 1 in file g.cpp"
            "\n    ASSERTION FAILED (a == b)"
            "\n    PROBABLE CAUSE: They differ\n");
}

TEST_F(QUVENDebug, AssertionWithoutAConditionPrintsQuestionMarks) {
  const CapturedRun run = capturedRun([] { quvenAssertionFailed(nullptr, nullptr, "f", 1, "g.cpp"); });
  EXPECT_THAT(run.out, testing::HasSubstr("ASSERTION FAILED (?"
                                          "?"
                                          "?)"));
}

TEST_F(QUVENDebug, AssertMacrosNameTheirPlaceAndLetTrueConditionsPass) {
  const int one = 1;
  int line = 0;
  const CapturedRun passed = capturedRun([&] {
    QUVEN_ASSERT(one == 1);
    QUVEN_ASSERT_CAUSE(one == 1, "never");
  });
  EXPECT_EQ(passed.out, "");
  EXPECT_FALSE(passed.threwLibraryException);

  const CapturedRun failed = capturedRun([&] {
    line = __LINE__ + 1;
    QUVEN_ASSERT_CAUSE(one == 2, "Bad sum");
  });
  EXPECT_EQ(failed.out, "\n*** ERROR in function operator() at line " + std::to_string(line) +
                            " in file quven_debug_test.cpp\n    ASSERTION FAILED (one == 2)"
                            "\n    PROBABLE CAUSE: Bad sum\n");
  EXPECT_TRUE(failed.threwLibraryException);
}

TEST_F(QUVENDebug, SimulatedFailureHasItsHeadingAndSparesTheErrorWord) {
  const CapturedRun run = capturedRun([&] { quvenSimulateFailure("x > 0", nullptr, place); });
  EXPECT_EQ(run.out,
            "\n    Simulated Error in function doThing at line 12 in file quven_thing.cpp"
            "\n    ASSERTION FAILED (x > 0)\n");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(quvenDebugWords.simulated, 0);
}

TEST_F(QUVENDebug, OrdinaryAssertionClearsTheSimulatedFlagFirst) {
  quvenDebugWords.simulated = 1;
  const CapturedRun run = capturedRun([] { QUVEN_ASSERT(1 == 2); });
  EXPECT_THAT(run.out, testing::StartsWith("\n*** ERROR in function"));
  EXPECT_EQ(quvenDebugWords.simulated, 0);
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENDebug, QuietAssertionWritesNothingAndStillThrows) {
  quvenDebugWords.quiet = 1;
  const CapturedRun run = capturedRun([] { QUVEN_ASSERT(1 == 2); });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENDebug, GuardSetsTheErrorWordUnlessExpectedOrSimulated) {
  CapturedRun run = capturedRun([] { quvenGuardReport(" destructor called without resetting array\n"); });
  EXPECT_EQ(run.out, "\n*** ERROR destructor called without resetting array\n");
  EXPECT_EQ(quvenDebugWords.error, 1);

  quvenDebugWords = QUVENDebugWords();
  quvenDebugWords.expected = 1;
  run = capturedRun([] { quvenGuardReport(" guard\n"); });
  EXPECT_EQ(run.out, "\n    Expected Error guard\n");
  EXPECT_EQ(quvenDebugWords.error, 0);

  quvenDebugWords = QUVENDebugWords();
  quvenDebugWords.simulated = 1;
  run = capturedRun([] { quvenGuardReport(" guard\n"); });
  EXPECT_EQ(run.out, "\n    Simulated Error guard\n");
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENDebug, TraceOfLevelTwoGetsALineForAssertionsAndExceptions) {
  const std::string thread = std::to_string(xrtThreadNumber());
  XRTTrace& trace = XRTTrace::instance();
  // The notes of the trace's own switches are of no interest here.
  capturedRun([&] {
    trace.message(0, "start", XRTTRC_MINIMUM);
    trace.setLevel(XRTTRC_BASIC);
  });
  const CapturedRun plain = capturedRun([] { quvenAssertionFailed("a == b", "They differ", "f", 1, "dir/g.cpp"); });
  capturedRun([&] { trace.setSourceLines(1); });
  const CapturedRun withPlaces = capturedRun([] { quvenFatalReport("f", 1, "dir/g.cpp", "Text"); });
  capturedRun([&] { trace.disableComponent(xrt_component::util); });
  const CapturedRun disabled = capturedRun([] { quvenFatalReport("f", 1, "g.cpp", "Text"); });
  capturedRun([&] { trace.enableComponent(xrt_component::util); });
  quvenDebugWords.quiet = 1;
  const CapturedRun quiet = capturedRun([] { quvenFatalReport("f", 1, "g.cpp", "Text"); });
  capturedRun([&] {
    trace.setSourceLines(0);
    trace.setLevel(XRTTRC_MINIMUM);
  });

  EXPECT_EQ(plain.out, "(UTIL    , " + thread +
                           ") g.cpp:1:f:ASSERTION FAILED (a == b) PROBABLE CAUSE: They differ\n"
                           "\n*** ERROR in function f at line 1 in file g.cpp"
                           "\n    ASSERTION FAILED (a == b)\n    PROBABLE CAUSE: They differ\n"
                           "(UTIL    , " +
                           thread + ") g.cpp:1:f:C++ Exception thrown.\n");
  EXPECT_THAT(withPlaces.out,
              testing::MatchesRegex("\n\\*\\*\\* ERROR in function f at line 1 in file g.cpp\n    Text\n"
                                    "\\(UTIL    , [0-9]+\\) quven_debug.cpp:[0-9]+: "
                                    "g.cpp:1:f:C\\+\\+ Exception thrown.\n"));
  EXPECT_EQ(disabled.out, "\n*** ERROR in function f at line 1 in file g.cpp\n    Text\n");
  EXPECT_EQ(quiet.out, "");
}

TEST_F(QUVENDebug, AbsentFeatureAndImpossibleStateHaveTheirTexts) {
  CapturedRun run = capturedRun([&] { quvenNotImplemented(place); });
  EXPECT_EQ(run.out,
            "\n*** ERROR in function doThing at line 12 in file quven_thing.cpp"
            "\n    Function/Feature not yet implemented\n");
  EXPECT_TRUE(run.threwLibraryException);
  run = capturedRun([&] { quvenUnreachable(place); });
  EXPECT_EQ(run.out,
            "\n*** ERROR in function doThing at line 12 in file quven_thing.cpp"
            "\n    Program control should never reach this point\n");
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(QUVENDebug, CallChainRunsInnermostFirstAndEndsBelowLineOne) {
  const QUVENEnvHandle outside(environment, "outside.cpp", 3, "outside");
  const QUVENEnvHandle end(outside, "end.cpp", 0, "end");
  const QUVENEnvHandle middle(end, "dir/middle.cpp", 20, "middle");
  const QUVENEnvHandle inner(middle, "inner.cpp", 1, "inner");
  EXPECT_EQ(capturedRun([&] { quvenPrintCallChain(inner); }).out,
            "\n    Function inner, Line 1, File inner.cpp"
            "\n    Function middle, Line 20, File middle.cpp");
  EXPECT_EQ(capturedRun([&] { quvenPrintCallChain(end); }).out, "");
  EXPECT_EQ(capturedRun([&] { quvenPrintCallChain(outside); }).out, "\n    Function outside, Line 3, File outside.cpp");
}

TEST_F(QUVENDebug, MemoryTracerCountsItsLines) {
  const auto* address = reinterpret_cast<const void*>(std::uintptr_t{0xab0});
  const std::string first = capturedRun([&] { quvenMemoryTrace(address, std::array<std::size_t, 2>{12, 8}); }).out;
  const std::string second = capturedRun([&] { quvenMemoryTrace(address, std::array<std::size_t, 1>{5}); }).out;
  EXPECT_THAT(first, testing::MatchesRegex("\n#mem# addr 0xab0 seq [0-9]+ \\* 12 \\* 8"));
  EXPECT_THAT(second, testing::MatchesRegex("\n#mem# addr 0xab0 seq [0-9]+ \\* 5"));
  const auto sequence = [](const std::string& line) { return std::stoul(line.substr(line.find("seq ") + 4)); };
  EXPECT_EQ(sequence(second), sequence(first) + 1);
}
