#include "xrt/xrt_trace.h"

#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "support/captured_run.h"
#include "xrt/xrt_thread.h"

namespace {

constexpr const char* levelVariable = "VESK_TEST_TRACELEVEL";
constexpr const char* componentVariable = "VESK_TEST_TRACECOMP";
constexpr const char* fileVariable = "VESK_TEST_TRACEFILE";
constexpr const char* switchVariable = "VESK_TEST_TRACESWITCH";

class XRTTraceTest : public testing::Test {
 protected:
  void TearDown() override {
    for (const char* variable : {levelVariable, componentVariable, fileVariable, switchVariable}) unsetenv(variable);
  }

  /// What a trace prints behind its header.
  template <class Action>
  static std::string afterHeader(Action&& action) {
    const std::string out = capturedRun(action).out;
    const std::string last = "Tracing component initialized\n";
    const std::size_t at = out.find(last);
    return at == std::string::npos ? "no header: " + out : out.substr(at + last.size());
  }

  template <class Action>
  static std::string output(Action&& action) {
    return capturedRun(action).out;
  }

  /// The components that are enabled, by index.
  static std::vector<int> enabled(XRTTrace& trace) {
    std::vector<int> indices;
    for (int i = 0; i < xrt_component::count; ++i) {
      if (trace.isComponentEnabled(i) == 1) indices.push_back(i);
    }
    return indices;
  }
  static std::vector<int> enabledBy(const char* list) {
    setenv(componentVariable, list, 1);
    XRTTrace trace(fileVariable, levelVariable, componentVariable);
    return enabled(trace);
  }

  const std::vector<int> everything{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const std::string thread = std::to_string(xrtThreadNumber());
};

const std::string headerBody =
    "                         UTIL     is ENABLED\n"
    "                         DACC     is ENABLED\n"
    "                         PPL      is ENABLED\n"
    "                         KERNEL   is ENABLED\n"
    "                         STAT     is ENABLED\n"
    "                         EVL      is ENABLED\n"
    "                         CSAPI    is ENABLED\n"
    "                         CLSLIB   is ENABLED\n"
    "                         RDBCLI   is ENABLED\n"
    "                         RESULT   is ENABLED\n"
    "                         GUI      is ENABLED\n"
    "                         SCORING  is ENABLED\n"
    "                         MODELING is ENABLED\n"
    "Append to file if exists:            ENABLED\n"
    "Flush after each call to XRTTRACE(): DISABLED\n"
    "Print sourceline references:         DISABLED\n"
    "Print timestamps:                    ENABLED\n"
    "Tracing component initialized\n";

const std::string headerTop =
    "\n/--------------------------- NEW RUN ---------------------------\\\n\n"
    "Tracing started on \n\n"
    "Current Settings\n"
    "----------------\n";

int hookCalls = 0;
std::string hookText;
void recordingHook(const char* condition, const char* file, int line) {
  ++hookCalls;
  hookText = std::string(condition) + "|" + file + "|" + std::to_string(line);
}

}  // namespace

TEST_F(XRTTraceTest, FirstMessagePrintsTheHeaderOnce) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] {
              trace.message(0, "first", XRTTRC_MINIMUM);
              trace.message(12, {"sec", "ond"}, XRTTRC_MINIMUM);
            }),
            headerTop + "Trace level:                         XRTTRC_MINIMUM\nStatus of tracing for components:    \n" +
                headerBody + "(UTIL    , " + thread + ") first\n(MODELING, " + thread + ") second\n");
}

TEST_F(XRTTraceTest, HeaderNamesTheVariablesThatSetIt) {
  setenv(levelVariable, "ALL", 1);
  setenv(componentVariable, "ALL", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] { trace.message(3, "m", XRTTRC_ALL); }),
            headerTop +
                "Trace level:                         XRTTRC_ALL (from environment variable VESK_TEST_TRACELEVEL)\n"
                "Status of tracing for components:     (from environment variable VESK_TEST_TRACECOMP)\n" +
                headerBody + "(KERNEL  , " + thread + ") m\n");
}

TEST_F(XRTTraceTest, HasTheNamesOfItsVariablesByDefault) {
  setenv("XRT_TRACELEVEL", "MOST", 1);
  const XRTTrace trace;
  unsetenv("XRT_TRACELEVEL");
  EXPECT_EQ(trace.getLevel(), XRTTRC_MOST);
}

TEST_F(XRTTraceTest, InstanceIsOne) { EXPECT_EQ(&XRTTrace::instance(), &XRTTrace::instance()); }

TEST_F(XRTTraceTest, MessagePassesByItsLevel) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] {
              trace.message(0, "too low", XRTTRC_NONE);
              trace.message(0, "too high", XRTTRC_BASIC);
              trace.message(0, "no level", -1);
              trace.message(0, "no level", 5);
            }),
            "");
  trace.setLevel(XRTTRC_ALL);
  EXPECT_EQ(afterHeader([&] {
              for (int level = -1; level <= 6; ++level) trace.message(0, std::to_string(level), level);
            }),
            "(UTIL    , " + thread + ") 1\n(UTIL    , " + thread + ") 2\n(UTIL    , " + thread + ") 3\n(UTIL    , " +
                thread + ") 4\n");
}

TEST_F(XRTTraceTest, MessagePassesByItsComponentIndex) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  trace.disableComponent(0);  // the flag is for the caller to ask
  EXPECT_EQ(afterHeader([&] {
              for (const int component : {-3, 13, -2, -1, 0, 12}) trace.message(component, "m", XRTTRC_MINIMUM);
            }),
            "(ALL     , " + thread + ") m\n(NONE    , " + thread + ") m\n(UTIL    , " + thread + ") m\n(MODELING, " +
                thread + ") m\n");
}

TEST_F(XRTTraceTest, MessageNamesItsThread) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  int number = 0;
  const std::string out = afterHeader([&] {
    std::thread([&] {
      number = xrtThreadNumber();
      trace.message(0, "m", XRTTRC_MINIMUM);
    }).join();
  });
  EXPECT_NE(number, xrtThreadNumber());
  EXPECT_EQ(out, "(UTIL    , " + std::to_string(number) + ") m\n");
}

TEST_F(XRTTraceTest, LevelVariableTakesItsFiveWordsExactly) {
  const std::vector<std::pair<const char*, int>> words = {
      {"NONE", 0}, {"MINIMUM", 1}, {"BASIC", 2}, {"MOST", 3}, {"ALL", 4}, {"all", 1}, {"BASIC ", 1}, {"", 1}, {"3", 1}};
  for (const auto& [word, expected] : words) {
    setenv(levelVariable, word, 1);
    const XRTTrace trace(fileVariable, levelVariable, componentVariable);
    EXPECT_EQ(trace.getLevel(), expected) << word;
  }
}

TEST_F(XRTTraceTest, LevelOfTheVariableBlocksLaterChanges) {
  setenv(levelVariable, "BASIC", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  int result = 0;
  EXPECT_EQ(afterHeader([&] { result = trace.setLevel(XRTTRC_ALL); }),
            "WARNING: Attempted to change tracelevel, environment variable overrides\n");
  EXPECT_EQ(result, -2);
  EXPECT_EQ(trace.getLevel(), XRTTRC_BASIC);
}

TEST_F(XRTTraceTest, UnknownWordLeavesTheLevelFree) {
  setenv(levelVariable, "all", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(trace.setLevel(XRTTRC_ALL), 0);
  EXPECT_EQ(trace.getLevel(), XRTTRC_ALL);
}

TEST_F(XRTTraceTest, SettingTheLevelIsNotedOnceStarted) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] { trace.setLevel(XRTTRC_BASIC); }), "");
  EXPECT_EQ(afterHeader([&] {
              trace.message(0, "m", XRTTRC_BASIC);
              EXPECT_EQ(trace.setLevel(XRTTRC_MOST), 0);
              trace.setLevel(XRTTRC_NONE);
              trace.setLevel(XRTTRC_MINIMUM);
            }),
            "(UTIL    , " + thread +
                ") m\nNOTE: Changed tracelevel to XRTTRC_MOST\n"
                "NOTE: Changed tracelevel to XRTTRC_MINIMUM\n");
}

TEST_F(XRTTraceTest, InvalidLevelIsRefused) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(afterHeader([&] {
              EXPECT_EQ(trace.setLevel(5), -2);
              EXPECT_EQ(trace.setLevel(-1), -2);
            }),
            "WARNING: Attempted to set invalid tracelevel 5\nWARNING: Attempted to set invalid tracelevel -1\n");
  EXPECT_EQ(trace.getLevel(), XRTTRC_MINIMUM);
}

TEST_F(XRTTraceTest, LevelNoneHasNoHeaderAndNoWarnings) {
  setenv(levelVariable, "NONE", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] {
              EXPECT_EQ(trace.setLevel(XRTTRC_ALL), -2);
              trace.message(0, "m", XRTTRC_MINIMUM);
            }),
            "");
}

TEST_F(XRTTraceTest, ComponentVariableIsAListOfFullNames) {
  EXPECT_EQ(enabledBy("KERNEL  "), (std::vector<int>{3}));
  EXPECT_EQ(enabledBy("KERNEL"), everything);
  EXPECT_EQ(enabledBy("UTIL    ,DACC    "), (std::vector<int>{0, 1}));
  EXPECT_EQ(enabledBy("nothing,MODELING,,STAT    ,kernel  "), (std::vector<int>{4, 12}));
  EXPECT_EQ(enabledBy(""), everything);
  EXPECT_EQ(enabledBy("NONE"), (std::vector<int>{}));
  EXPECT_EQ(enabledBy("NONE,UTIL    "), (std::vector<int>{}));
  EXPECT_EQ(enabledBy("UTIL    ,ALL,NONE"), everything);
  EXPECT_EQ(enabledBy("GUI     ,NONE,UTIL    "), (std::vector<int>{}));
}

TEST_F(XRTTraceTest, ComponentsOfTheVariableBlockLaterChanges) {
  setenv(componentVariable, "KERNEL  ", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(afterHeader([&] {
              EXPECT_EQ(trace.enableComponent(0), -2);
              EXPECT_EQ(trace.disableComponent(xrt_component::allComponents), -2);
            }),
            "WARNING: Attempted to change enabled components, environment variable overrides\n"
            "WARNING: Attempted to change enabled components, environment variable overrides\n");
  EXPECT_EQ(enabled(trace), (std::vector<int>{3}));
}

TEST_F(XRTTraceTest, UnrecognisedListLeavesTheComponentsFree) {
  setenv(componentVariable, "KERNEL", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(trace.disableComponent(3), 0);
  EXPECT_EQ(trace.isComponentEnabled(3), 0);
}

TEST_F(XRTTraceTest, EnablesAndDisablesComponents) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(trace.disableComponent(xrt_component::allComponents), 0);
  EXPECT_EQ(enabled(trace), (std::vector<int>{}));
  EXPECT_EQ(trace.enableComponent(12), 0);
  EXPECT_EQ(enabled(trace), (std::vector<int>{12}));
  EXPECT_EQ(trace.enableComponent(xrt_component::allComponents), 0);
  EXPECT_EQ(enabled(trace), everything);
  EXPECT_EQ(trace.enableComponent(xrt_component::noComponents), 0);
  EXPECT_EQ(enabled(trace), (std::vector<int>{}));
  EXPECT_EQ(trace.disableComponent(xrt_component::noComponents), 0);
  EXPECT_EQ(enabled(trace), everything);
}

TEST_F(XRTTraceTest, ChangesOfComponentsAreNoted) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(afterHeader([&] {
              trace.message(0, "m", XRTTRC_MINIMUM);
              trace.enableComponent(-2);
              trace.enableComponent(-1);
              trace.enableComponent(3);
              trace.disableComponent(-2);
              trace.disableComponent(-1);
              trace.disableComponent(12);
            }),
            "(UTIL    , " + thread +
                ") m\nNOTE: All Components are now ENABLED\nNOTE: All Components are now DISABLED\n"
                "NOTE: Component KERNEL   is now ENABLED\nNOTE: All Components are now DISABLED\n"
                "NOTE: All Components are now ENABLED\nNOTE: Component MODELING is now DISABLED\n");
}

TEST_F(XRTTraceTest, InvalidComponentsAreRefused) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(afterHeader([&] {
              EXPECT_EQ(trace.enableComponent(13), -2);
              EXPECT_EQ(trace.enableComponent(-3), -2);
              EXPECT_EQ(trace.disableComponent(13), -2);
              EXPECT_EQ(trace.isComponentEnabled(13), 0);
              EXPECT_EQ(trace.isComponentEnabled(12), 1);
              EXPECT_EQ(trace.isComponentEnabled(-1), 0);
            }),
            "WARNING: Attempted to enable invalid component 13\n"
            "WARNING: Attempted to enable invalid component -3\n"
            "WARNING: Attempted to disable invalid component 13\n"
            "WARNING: Attempted to get status of invalid component 13\n");
}

TEST_F(XRTTraceTest, SwitchesAreNoted) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(afterHeader([&] {
              trace.message(0, "m", XRTTRC_MINIMUM);
              EXPECT_EQ(trace.setFlush(1), 0);
              EXPECT_EQ(trace.setAppend(0), 0);
              EXPECT_EQ(trace.setTimestamps(0), 0);
              EXPECT_EQ(trace.setSourceLines(1), 0);
            }),
            "(UTIL    , " + thread +
                ") m\nNOTE: Status of flushing changed to ENABLED\nNOTE: Append mode was set to DISABLED\n"
                "NOTE: Timestamp printing mode was DISABLED\nNOTE: Source line printing mode was ENABLED\n");
  EXPECT_EQ(trace.getSourceLines(), 1);
}

TEST_F(XRTTraceTest, HeaderShowsTheSwitches) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  trace.setFlush(1);
  trace.setAppend(0);
  trace.setTimestamps(0);
  trace.setSourceLines(1);
  trace.disableComponent(4);
  const std::string out = output([&] { trace.message(0, "m", XRTTRC_MINIMUM); });
  EXPECT_THAT(out, testing::HasSubstr("                         STAT     is DISABLED\n"));
  EXPECT_THAT(out, testing::HasSubstr("Append to file if exists:            DISABLED\n"
                                      "Flush after each call to XRTTRACE(): ENABLED\n"
                                      "Print sourceline references:         ENABLED\n"
                                      "Print timestamps:                    DISABLED\n"));
}

TEST_F(XRTTraceTest, SwitchIsReadFromTrueAndFalseOnly) {
  const std::string fromVariable = "Append to file if exists:            DISABLED (from environment variable )\n";
  const std::string standard = "Append to file if exists:            ENABLED\n";
  const std::vector<std::pair<const char*, std::string>> words = {
      {"FALSE", fromVariable}, {"false", standard}, {"FALSE ", standard}, {"0", standard}, {"", standard}};
  for (const auto& [word, expected] : words) {
    setenv(switchVariable, word, 1);
    XRTTrace trace(fileVariable, levelVariable, componentVariable, {.append = switchVariable});
    EXPECT_THAT(output([&] { trace.message(0, "m", XRTTRC_MINIMUM); }), testing::HasSubstr(expected)) << word;
  }
  setenv(switchVariable, "TRUE", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable, {.sourceLines = switchVariable});
  EXPECT_EQ(trace.getSourceLines(), 1);
}

TEST_F(XRTTraceTest, SwitchesOfVariablesBlockLaterChanges) {
  setenv(switchVariable, "TRUE", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable,
                 {switchVariable, switchVariable, switchVariable, switchVariable});
  const std::string out = output([&] {
    EXPECT_EQ(trace.setFlush(0), -2);
    EXPECT_EQ(trace.setAppend(0), -2);
    EXPECT_EQ(trace.setTimestamps(0), -2);
    EXPECT_EQ(trace.setSourceLines(0), -2);
  });
  EXPECT_THAT(out, testing::EndsWith("Append to file if exists:            ENABLED (from environment variable )\n"
                                     "Flush after each call to XRTTRACE(): ENABLED (from environment variable )\n"
                                     "Print sourceline references:         ENABLED (from environment variable )\n"
                                     "Print timestamps:                    ENABLED (from environment variable )\n"
                                     "Tracing component initialized\n"
                                     "WARNING: Attempted to change flushing mode, environment variable overrides\n"
                                     "WARNING: Attempted to change append mode, environment variable overrides\n"
                                     "WARNING: Attempted to change mode of timestamp printing, environment variable "
                                     "overrides\n"
                                     "WARNING: Attempted to change mode of sourceline printing, environment variable "
                                     "overrides\n"));
  EXPECT_EQ(trace.getSourceLines(), 1);
}

TEST_F(XRTTraceTest, MessageIsFlushedIfTheSwitchIsOn) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  const auto written = [&] {
    trace.message(0, "m", XRTTRC_MINIMUM);
    return lseek(STDOUT_FILENO, 0, SEEK_CUR);
  };
  off_t buffered = -1;
  off_t flushed = -1;
  const std::string out = output([&] {
    buffered = written();
    trace.setFlush(1);
    flushed = written();
  });
  EXPECT_EQ(buffered, 0);
  EXPECT_EQ(flushed, static_cast<off_t>(out.size()));
}

TEST_F(XRTTraceTest, ChangesTheNameOfItsFile) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] { EXPECT_EQ(trace.setTraceFile("xrtTrace.log"), 0); }), "");
  EXPECT_EQ(afterHeader([&] {
              trace.message(0, "m", XRTTRC_MINIMUM);
              EXPECT_EQ(trace.setTraceFile("other.log"), 0);
              EXPECT_EQ(trace.setTraceFile("other.log"), 0);
            }),
            "(UTIL    , " + thread +
                ") m\nNOTE: Attempting to change name of tracefile to other.log\n"
                "NOTE: Previous tracefile wasxrtTrace.log\n");
}

TEST_F(XRTTraceTest, KeepsTheNewFileNameWithoutANoteBeforeTheStart) {
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(output([&] { trace.setTraceFile("first.log"); }), "");
  EXPECT_EQ(afterHeader([&] {
              trace.message(0, "m", XRTTRC_MINIMUM);
              trace.setTraceFile("second.log");
            }),
            "(UTIL    , " + thread +
                ") m\nNOTE: Attempting to change name of tracefile to second.log\n"
                "NOTE: Previous tracefile wasfirst.log\n");
}

TEST_F(XRTTraceTest, FileNameOfTheVariableIsKept) {
  setenv(fileVariable, "given.log", 1);
  XRTTrace trace(fileVariable, levelVariable, componentVariable);
  EXPECT_EQ(trace.setTraceFile("given.log"), 0);
  EXPECT_EQ(afterHeader([&] { EXPECT_EQ(trace.setTraceFile("other.log"), -2); }),
            "WARNING: Attempted to change name of tracefile to other.log, environment variable overrides\n");
}

TEST(XRTAssertion, PrintsOnStandardErrorAndRaisesTheTermination) {
  const CapturedRun run = capturedRun([] { xrtAssertionFailed("a < b", "file.cpp", 9); });
  EXPECT_EQ(run.err, "XRT Assertion failed: a < b, file file.cpp, line 9\n");
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(run.threwLibraryException);
}

TEST(XRTAssertion, CallsTheHookInPlaceOfTheMessage) {
  EXPECT_EQ(xrtSetAssertionHook(recordingHook), nullptr);
  const CapturedRun run = capturedRun([] { xrtAssertionFailed("a < b", "file.cpp", 9); });
  EXPECT_EQ(xrtSetAssertionHook(nullptr), recordingHook);
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(hookCalls, 1);
  EXPECT_EQ(hookText, "a < b|file.cpp|9");
}

TEST(XRTAssertion, MacroLetsTrueConditionsPass) {
  const int one = 1;
  EXPECT_FALSE(capturedRun([&] { XRT_ASSERT(one == 1); }).threwLibraryException);
  const CapturedRun run = capturedRun([&] { XRT_ASSERT(one == 2); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.err, testing::StartsWith("XRT Assertion failed: one == 2, file "));
}

TEST(XRTThreadNumber, IsOneForEachThread) {
  const int own = xrtThreadNumber();
  EXPECT_EQ(xrtThreadNumber(), own);
  int first = 0;
  int second = 0;
  std::thread([&] { first = xrtThreadNumber(); }).join();
  std::thread([&] { second = xrtThreadNumber(); }).join();
  EXPECT_NE(first, own);
  EXPECT_NE(second, own);
  EXPECT_NE(first, second);
}
