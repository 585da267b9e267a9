#include "base/BASE_Exception.h"

#include "support/captured_run.h"

namespace {

class BASEException : public testing::Test {
 protected:
  void TearDown() override {
    BASE_MlException::setShowPositions(false);
    BASE_MlException::setSuppressPositions(false);
  }

  BASE_MlException internal;
  BASE_MlExceptionUser user;
};

// "src/a.cpp" in a column of 50, and 12 in a column of 5.
const std::string position = "src/a.cpp                                          :    12";

}  // namespace

TEST_F(BASEException, InternalErrorPrintsItsMessageAndPosition) {
  const CapturedRun run = capturedRun([&] { internal.Throw("Bad edge", "src/a.cpp", 12); });
  EXPECT_EQ(run.err, "\nInternal Error - Bad edge\nThrown         - " + position + "\n");
  EXPECT_EQ(run.out, "");
}

TEST_F(BASEException, InternalErrorPrintsWhereItIsCaught) {
  EXPECT_EQ(capturedRun([&] { internal.Catch("src/a.cpp", 12, "text"); }).err,
            "Catch          - " + position + " : text\n");
  EXPECT_EQ(capturedRun([&] { internal.FinalCatch("src/a.cpp", 12, "text"); }).err,
            "Final catch    - " + position + " : text\n");
}

TEST_F(BASEException, UserErrorPrintsOneHeadingAndNoPosition) {
  EXPECT_EQ(capturedRun([&] {
              user.Throw("No such file", "src/a.cpp", 12);
              user.Catch("src/a.cpp", 12, "text");
              user.FinalCatch("src/a.cpp", 12, "text");
            }).err,
            "\nUser Error     - No such file\n");
}

TEST_F(BASEException, UserErrorShowsPositionsWithTheFirstSwitch) {
  BASE_MlException::setShowPositions(true);
  EXPECT_EQ(capturedRun([&] {
              user.Throw("No such file", "src/a.cpp", 12);
              user.Catch("src/a.cpp", 12, "text");
              user.FinalCatch("src/a.cpp", 12, "end");
            }).err,
            "\nUser Error     - No such file\nThrown         - " + position + "\nCatch          - " + position +
                " : text\nFinal catch    - " + position + " : end\n");
}

TEST_F(BASEException, SecondSwitchLeavesThePositionOut) {
  BASE_MlException::setSuppressPositions(true);
  EXPECT_EQ(capturedRun([&] {
              internal.Throw("Bad edge", "src/a.cpp", 12);
              internal.Catch("src/a.cpp", 12, "text");
              user.Throw("No such file", "src/a.cpp", 12);
            }).err,
            "\nInternal Error - Bad edge\nThrown         - \nCatch          -  : text\n"
            "\nUser Error     - No such file\nThrown         - \n");
}

TEST_F(BASEException, UserErrorIsAnInternalErrorToItsCaller) {
  BASE_MlException& base = user;
  EXPECT_EQ(capturedRun([&] { base.Throw("text", "f", 1); }).err, "\nUser Error     - text\n");
}

TEST_F(BASEException, FileNameOfFiftyCharactersIsWhole) {
  const std::string name(50, 'n');
  EXPECT_EQ(BASE_FormatPosition(name, 7), name + " :     7");
}

TEST_F(BASEException, FileNameOfFiftyOneCharactersIsCutToItsEnd) {
  const std::string end(47, 'n');
  EXPECT_EQ(BASE_FormatPosition(std::string("abcd").append(end), 7), std::string("...").append(end) + " :     7");
}

TEST_F(BASEException, CutFileNameStartsAtADirectory) {
  // The last 47 characters begin within the x; the first "/" among them is that before the y.
  EXPECT_EQ(BASE_FormatPosition("/some/directory/xxxxxxxxxxxxxxxxxxxx/yyyyyyyyyy/zzzzzzzzzzzzzzzzzzzzzzzzz", 12345),
            ".../yyyyyyyyyy/zzzzzzzzzzzzzzzzzzzzzzzzz           : 12345");
}

TEST_F(BASEException, WideLineNumberIsNotCut) {
  EXPECT_EQ(BASE_FormatPosition("", 1234567), std::string(50, ' ') + " : 1234567");
}

TEST_F(BASEException, SelfTestSaysThatItsExceptionArrived) {
  EXPECT_EQ(capturedRun([] { BASE_ReportExpectedException(); }).err, "Exception arrived as expected.\n");
}

TEST_F(BASEException, StopPrintsTheErrorAndEndsTheProcess) {
  EXPECT_EXIT(BASE_StopOnInternalError("Bad edge", "src/a.cpp", 12), testing::ExitedWithCode(1),
              "^\nInternal Error - Bad edge\nThrown         - src/a.cpp {42}:    12\n$");
  EXPECT_EXIT(BASE_StopOnUserError("No such file", "src/a.cpp", 12), testing::ExitedWithCode(1),
              "^\nUser Error     - No such file\n$");
}
