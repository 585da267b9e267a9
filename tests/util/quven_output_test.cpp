#include "util/quven_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "support/captured_run.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_reports.h"

namespace {

using Strings = std::vector<std::string>;

/// The writes to standard output during an action: each is a packet of a pipe in packet mode.
template <class Action>
Strings writesOf(Action&& action) {
  std::array<int, 2> ends{};
  std::fflush(stdout);
  const int saved = ::dup(STDOUT_FILENO);
  if (saved < 0 || ::pipe2(ends.data(), O_DIRECT | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  ::dup2(ends[1], STDOUT_FILENO);
  try {
    action();
  } catch (int) {  // the library exception
  }
  std::fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  ::close(ends[1]);
  Strings writes;
  std::array<char, 4096> packet{};
  for (ssize_t count = 0; (count = ::read(ends[0], packet.data(), packet.size())) > 0;) {
    writes.emplace_back(packet.data(), static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  return writes;
}

TEST(QUVENOutput, WritesItsPiecesAtOnceAfterWhatStdoutHolds) {
  EXPECT_EQ(writesOf([] {
              std::fputs("before ", stdout);
              quvenWriteOutput({"one", "", " two\n", "three"});
              std::fputs("after", stdout);
            }),
            (Strings{"before ", "one two\nthree", "after"}));
}

TEST(QUVENOutput, OfNothingIsNoWrite) {
  EXPECT_EQ(writesOf([] { quvenWriteOutput({"", ""}); }), Strings{});
  EXPECT_EQ(writesOf([] { quvenWriteOutput({}); }), Strings{});
}

TEST(QUVENOutput, TakesAnyNumberOfPieces) {
  const std::vector<std::string_view> pieces(1000, "ab");
  std::string all;
  for (const std::string_view piece : pieces) all += piece;
  EXPECT_EQ(capturedRun([&] { quvenWriteOutput(pieces); }).out, all);
}

TEST(QUVENOutput, IsCompleteWhenAPipeTakesItInParts) {
  const std::string text(1000000, 'x');
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  std::size_t received = 0;
  std::thread reader([&] {
    std::array<char, 10000> part{};
    for (ssize_t count = 0; (count = ::read(ends[0], part.data(), part.size())) > 0;) {
      received += static_cast<std::size_t>(count);
    }
  });
  std::fflush(stdout);
  const int saved = ::dup(STDOUT_FILENO);
  ::dup2(ends[1], STDOUT_FILENO);
  quvenWriteOutput({text, "\n", text});
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  ::close(ends[1]);
  reader.join();
  ::close(ends[0]);
  EXPECT_EQ(received, 2 * text.size() + 1);
}

// A report used to go out in six to nine writes, and reports of other ranks came between them.
TEST(QUVENOutput, AReportIsOneWrite) {
  EXPECT_EQ(writesOf([] { report_log(1, "\n[Worker:0]\ntext\n\n"); }),
            Strings{"Log;|1;|\n[Worker:0]\ntext\n\n;|LogEnd\n"});
  EXPECT_EQ(writesOf([] { report_warning(1000, "parameter", "text"); }),
            Strings{"Warning;|1000;|parameter;|text;|WarningEnd\n"});
  EXPECT_EQ(writesOf([] { report_error(2303, "text", quvenFalse); }), Strings{"Error;|2303;|text;|ErrorEnd\n"});
  EXPECT_EQ(writesOf([] { quvenFatalReport("f", 7, "a.cpp", "text"); }),
            Strings{"\n*** ERROR in function f at line 7 in file a.cpp\n    text\n"});
  EXPECT_EQ(writesOf([] { quvenAssertionFailed("x > 0", "cause", "f", 7, "a.cpp"); }),
            Strings{"\n*** ERROR in function f at line 7 in file a.cpp\n    ASSERTION FAILED (x > 0)\n"
                    "    PROBABLE CAUSE: cause\n"});
  quvenDebugWords = {};
}

}  // namespace
