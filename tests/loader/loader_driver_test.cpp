#include "loader_driver.h"

#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

// What no command line and no parameter file can bring about; the rest is in the runs of the program.
class LoaderDriver : public LoaderTest {
 protected:
  CommandLine line;
};

TEST_F(LoaderDriver, AWordThatIsNoModeWordIsAnInternalError) {
  const CapturedRun run = capturedRun([&] { read_input("data", "in", line); });
  EXPECT_EQ(run.out, errorLine(1001, "vesk-loader: internal problem occured in parsing input file name"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(line.inputDirectory, "");
}

TEST_F(LoaderDriver, AModeWordSaysWhatTheInputIs) {
  EXPECT_EQ(capturedRun([&] { read_input("datafile", "a/b/calls", line); }).out,
            "using single cdr file input a/b/calls\n");
  EXPECT_EQ(line.inputDirectory, "a/b");
  EXPECT_EQ(line.singleFile, "calls");
  EXPECT_TRUE(line.singleInput);

  line = {};
  EXPECT_EQ(capturedRun([&] { read_input("datadir", "a/b/calls", line); }).out, "using input directory a/b/calls\n");
  EXPECT_EQ(line.inputDirectory, "a/b/calls");
  EXPECT_EQ(line.singleFile, "");
  EXPECT_FALSE(line.singleInput);
}

TEST_F(LoaderDriver, AnOutputFormWithoutNameIsShownAsUnknown) {
  LoaderSettings settings = plainSettings();
  settings.outputFormat = static_cast<OutputFormat>(3);
  EXPECT_THAT(settings_text(settings, line), ::testing::HasSubstr("\nOutput format: Unknown\n"));
}

}  // namespace
}  // namespace vesk_loader::testing
