// The loader runs on machines that have the language's own libraries and nothing else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/program_run.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(DependenciesTest, TheLoaderLinksNoForeignLibrary) {
  const TemporaryFolder folder;
  const auto librariesOf = [&](const std::string& program) {
    return runProgram("/usr/bin/ldd", {std::string(VESK_BIN_DIR) + "/" + program}, folder.path()).out;
  };
  const std::string loader = librariesOf("vesk-loader");
  EXPECT_THAT(loader, HasSubstr("libstdc++"));
  for (const char* library : {"libcrypto", "libsqlite", "libzstd", "libz.", "libmpi"}) {
    EXPECT_THAT(loader, Not(HasSubstr(library)));
  }
  EXPECT_THAT(librariesOf("vesk"), HasSubstr("libcrypto")) << "the test sees what a program links";
}

}  // namespace
