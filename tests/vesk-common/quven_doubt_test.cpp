#include "vesk-common/quven_doubt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_run.h"

namespace {

TEST(QUVENDoubt, EndsAStrictRunAlone) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  const auto doubt = [&] { return capturedRun([&] { report_doubt(5006, "Key", "some words", QUVEN_ENV); }); };
  const std::string warning = "Warning;|5006;|Key;|some words;|WarningEnd\n";
  EXPECT_FALSE(environment.isStrict());
  EXPECT_EQ(doubt().out, warning);
  EXPECT_FALSE(doubt().threwLibraryException);
  environment.setStrict(true);
  const CapturedRun run = doubt();
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out,
              ::testing::StartsWith(warning + "Error;|4608;|5006;|--strict: the warning above means that the result is "
                                              "not what was asked for;|ErrorEnd\nTerminating VESK\n"));
  environment.setStrict(false);
  EXPECT_FALSE(doubt().threwLibraryException);
}

}  // namespace
