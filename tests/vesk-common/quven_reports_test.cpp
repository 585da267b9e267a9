#include "vesk-common/quven_reports.h"

#include <unistd.h>

#include <cstdio>
#include <sstream>

#include "support/captured_run.h"
#include "support/failing_allocation.h"

namespace {

class QUVENReports : public testing::Test {
 protected:
  void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

  template <class Action>
  static std::string output(Action&& action) {
    const CapturedRun run = capturedRun(action);
    EXPECT_FALSE(run.threwLibraryException);
    EXPECT_EQ(run.err, "");
    return run.out;
  }

  QUVENEnv env;
};

const std::string termination =
    "Terminating VESK\n\n*** ERROR in function report_error at line 44 in file quven_reports\n"
    "    QUVEN Terminating\n";

/// Moves what is printed to standard error, where a death test reads it, and runs an action.
template <class Action>
void onStandardError(Action&& action) {
  std::fflush(stdout);
  dup2(2, 1);
  action();
}

}  // namespace

TEST_F(QUVENReports, PrintsItsThreeKinds) {
  EXPECT_EQ(output([] { report_log(0, ">>> step"); }), "Log;|0;|>>> step;|LogEnd\n");
  EXPECT_EQ(output([] { report_warning(5001, "odd"); }), "Warning;|5001;|odd;|WarningEnd\n");
  EXPECT_EQ(output([&] { report_error(2202, "bad", QUVEN_ENV, quvenFalse); }), "Error;|2202;|bad;|ErrorEnd\n");
  EXPECT_EQ(output([] { report_error(2202, "bad", quvenFalse); }), "Error;|2202;|bad;|ErrorEnd\n");
}

TEST_F(QUVENReports, PutsAParameterInFrontOfTheText) {
  EXPECT_EQ(output([] { report_warning(1372, "12", "Warning: The total omitted lines count is 12"); }),
            "Warning;|1372;|12;|Warning: The total omitted lines count is 12;|WarningEnd\n");
  EXPECT_EQ(output([&] { report_error(2302, "file", "text", QUVEN_ENV, quvenFalse); }),
            "Error;|2302;|file;|text;|ErrorEnd\n");
  EXPECT_EQ(output([] { report_error(2302, std::string("file"), std::string("text"), quvenFalse); }),
            "Error;|2302;|file;|text;|ErrorEnd\n");
}

TEST_F(QUVENReports, TakesStringsAndTextStreams) {
  std::ostringstream text;
  text << "two\n"
       << "lines";
  EXPECT_EQ(output([&] { report_log(2, text); }), "Log;|2;|two\nlines;|LogEnd\n");
  EXPECT_EQ(output([&] { report_error(2100, text, QUVEN_ENV, quvenFalse); }), "Error;|2100;|two\nlines;|ErrorEnd\n");
  EXPECT_EQ(output([&] { report_error(2100, std::string("text"), QUVEN_ENV, quvenFalse); }),
            "Error;|2100;|text;|ErrorEnd\n");
}

TEST_F(QUVENReports, NeverEscapesAText) {
  EXPECT_EQ(output([] { report_log(1, "a;|b"); }), "Log;|1;|a;|b;|LogEnd\n");
}

TEST_F(QUVENReports, NeedsNoMemory) {
  const std::string text(1000, 't');
  EXPECT_EQ(output([&] {
              const FailingAllocation failure(0);
              report_log(-1, text);
              report_warning(2147483647, "parameter", text);
              report_error(-2147483647 - 1, "parameter", text, QUVEN_ENV, quvenFalse);
            }),
            "Log;|-1;|" + text + ";|LogEnd\nWarning;|2147483647;|parameter;|" + text +
                ";|WarningEnd\nError;|-2147483648;|parameter;|" + text + ";|ErrorEnd\n");
}

template <class... Arguments>
concept Reports = requires(Arguments... arguments) {
  report_error(1, arguments...);
};

TEST_F(QUVENReports, TakeNoTextForAFlag) {
  // With the flag forgotten, a parameter and a text used to end the process with the parameter as the text.
  EXPECT_TRUE((Reports<const char*, bool>));
  EXPECT_TRUE((Reports<const char*, const char*, bool>));
  EXPECT_FALSE((Reports<const char*, const char*>));
  EXPECT_FALSE((Reports<const char*, std::string>));
}

TEST_F(QUVENReports, TerminatesByTheLibraryException) {
  CapturedRun run = capturedRun([&] { report_error(2303, "No file", QUVEN_ENV, quvenTrue); });
  EXPECT_EQ(run.out, "Error;|2303;|No file;|ErrorEnd\n" + termination);
  EXPECT_TRUE(run.threwLibraryException);

  run = capturedRun([&] { report_error(2303, "a.dat", "No file", QUVEN_ENV, quvenTrue); });
  EXPECT_EQ(run.out, "Error;|2303;|a.dat;|No file;|ErrorEnd\n" + termination);
  EXPECT_TRUE(run.threwLibraryException);

  std::ostringstream text;
  text << "No file";
  run = capturedRun([&] { report_error(2303, text, QUVEN_ENV, quvenTrue); });
  EXPECT_EQ(run.out, "Error;|2303;|No file;|ErrorEnd\n" + termination);
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(QUVENReports, ExitsWithoutEnvironment) {
  EXPECT_EXIT(onStandardError([] { report_error(2400, "text", quvenTrue); }), testing::ExitedWithCode(1),
              "^Error;\\|2400;\\|text;\\|ErrorEnd\n$");
  EXPECT_EXIT(onStandardError([] { report_error(2400, "12", "text", quvenTrue); }), testing::ExitedWithCode(1),
              "^Error;\\|2400;\\|12;\\|text;\\|ErrorEnd\n$");
}

TEST_F(QUVENReports, TestInputStringTypePassesIntegers) {
  for (const char* value : {"0", "12", "-7", "+3", "0x1F", "017", " 5", "99999999999999999999"}) {
    EXPECT_EQ(output([&] { EXPECT_TRUE(TestInputStringType(value, "int")) << value; }), "") << value;
  }
}

TEST_F(QUVENReports, TestInputStringTypeRefusesWhatIsNoInteger) {
  for (const std::string value : {"", "12a", "1.5", "x", "5 ", " ", "08", "0x"}) {
    EXPECT_EQ(output([&] { EXPECT_FALSE(TestInputStringType(value, "int")) << value; }),
              "TestInputStringType, illegal int value found: " + value + "\n");
  }
}

TEST_F(QUVENReports, TestInputStringTypePassesDoubles) {
  for (const char* value : {"", "0", "-1.5", "1e-3", ".5", "5.", "0x10", "inf", "nan"}) {
    EXPECT_EQ(output([&] { EXPECT_TRUE(TestInputStringType(value, "double")) << value; }), "") << value;
  }
}

TEST_F(QUVENReports, TestInputStringTypeRefusesWhatIsNoDouble) {
  for (const std::string value : {"x", "1.5x", "1e", "1,5", "1.5 ", " "}) {
    EXPECT_EQ(output([&] { EXPECT_FALSE(TestInputStringType(value, "double")) << value; }),
              "TestInputStringType, illegal double value found: " + value + "\n");
  }
}

TEST_F(QUVENReports, TestInputStringTypeSeesAZeroByteAsALeftover) {
  const std::string value("12\0", 3);
  capturedRun([&] {
    EXPECT_FALSE(TestInputStringType(value, "int"));
    EXPECT_FALSE(TestInputStringType(value, "double"));
  });
}

TEST_F(QUVENReports, TestInputStringTypeTakesAnUnknownTypeWithoutAValueAsDouble) {
  EXPECT_EQ(output([] { EXPECT_TRUE(TestInputStringType("", "text")); }), "");
}

TEST_F(QUVENReports, TestInputStringTypeEndsTheProcessOnAnUnknownTypeWithAValue) {
  EXPECT_EXIT(onStandardError([] { static_cast<void>(TestInputStringType("1", "text")); }), testing::ExitedWithCode(1),
              "^Error;\\|2400;\\|TestInputStringType:unknown type to compare;\\|ErrorEnd\n$");
}
