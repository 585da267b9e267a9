#include "base/BASE_Log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

// Each case runs in a process of its own: the log belongs to the process.
class LogDeathTest : public testing::Test {
 protected:
  void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

  const std::string file =
      (std::filesystem::temp_directory_path() / ("vesk_log_test_" + std::to_string(getpid()))).string();
};

std::string contentOf(const std::string& name) {
  std::ostringstream content;
  content << std::ifstream(name).rdbuf();
  return content.str();
}

/// Opens the log and writes to it; the status says whether the text arrived.
[[noreturn]] void writeOneLine(const std::string& file) {
  Log::Open(file);
  Log::GetStream() << "a line\n" << std::flush;
  const bool arrived = contentOf(file) == "a line\n";
  std::filesystem::remove(file);
  std::exit(arrived ? 0 : 2);
}

}  // namespace

TEST_F(LogDeathTest, WritesToTheFileThatWasOpened) { EXPECT_EXIT(writeOneLine(file), testing::ExitedWithCode(0), ""); }

TEST_F(LogDeathTest, ClosesItsFileAtExit) {
  // The process of the case runs these lines, too, and takes over the name that the first process chose.
  setenv("VESK_TEST_LOG", file.c_str(), 0);
  const std::string name = std::getenv("VESK_TEST_LOG");
  EXPECT_EXIT(
      {
        Log::Open(name);
        Log::GetStream() << "a line\n";
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(contentOf(name), "a line\n");
  std::filesystem::remove(name);
  unsetenv("VESK_TEST_LOG");
}

TEST_F(LogDeathTest, SecondOpenEndsTheProcess) {
  EXPECT_EXIT(
      {
        Log::Open("/dev/null");
        Log::Open("/dev/null");
      },
      testing::ExitedWithCode(1),
      "\nInternal Error - Log file already open\nThrown         - src/lib/base/BASE_Log {29} :    54\n");
}

TEST_F(LogDeathTest, FileThatCannotBeOpenedEndsTheProcess) {
  EXPECT_EXIT(Log::Open("/no/such/folder/log"), testing::ExitedWithCode(1),
              "^\nUser Error     - Log file: '/no/such/folder/log' could not be opened\n$");
}

TEST_F(LogDeathTest, StreamOfNoFileEndsTheProcess) {
  EXPECT_EXIT(Log::GetStream(), testing::ExitedWithCode(1),
              "\nInternal Error - called Log::GetStream when stream is not opened\n"
              "Thrown         - src/lib/base/BASE_Log {29} :    64\n");
}
