// Runs that are killed, or whose disk is full, at every call that changes a file and at any moment: the state is the
// one before or the one after, whole, and the next run goes on from it.

#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <thread>

#include "day_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// The faults that programs have while it lives.
class WriteFault {
 public:
  WriteFault(const char* program, long at, const char* how, const std::string& countFile) {
    ::setenv("LD_PRELOAD", VESK_WRITE_FAULTS, 1);
    ::setenv("WRITE_FAULT_PROGRAM", program, 1);
    ::setenv("WRITE_FAULT_AT", std::to_string(at).c_str(), 1);
    ::setenv("WRITE_FAULT_HOW", how, 1);
    ::setenv("WRITE_FAULT_COUNT", countFile.c_str(), 1);
    // The library must come first, before that of the sanitizers.
    ::setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 1);
  }
  ~WriteFault() {
    for (const char* name : {"LD_PRELOAD", "WRITE_FAULT_PROGRAM", "WRITE_FAULT_AT", "WRITE_FAULT_HOW",
                             "WRITE_FAULT_COUNT", "ASAN_OPTIONS"}) {
      ::unsetenv(name);
    }
  }
};

#ifdef __SANITIZE_ADDRESS__
constexpr int randomMoments = 50;  // programs with sanitizers take several times as long
#else
constexpr int randomMoments = 200;
#endif

class DayFaultsTest : public DayCase {
 protected:
  void SetUp() override {
    DayCase::SetUp();
    writeFirstDay();
    writeSecondDay();
    ASSERT_EQ(firstDay().status, 0);
    firstProcess = process();
    firstDataset = dataset();
    ASSERT_EQ(day("in2", "2020-01-08").status, 0);
    secondProcess = process();
    secondDataset = dataset();
    ASSERT_NE(firstProcess, secondProcess);
    reset();
  }

  /// The state after the first day, as a run has left it.
  void reset() {
    std::filesystem::remove_all(folder.path("st"));
    if (folder.has("saved")) {
      std::filesystem::copy(folder.path("saved"), folder.path("st"),
                            std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
      return;
    }
    ASSERT_EQ(firstDay().status, 0);
    std::filesystem::copy(folder.path("st"), folder.path("saved"),
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
  }

  /// The state is the old one or the new one; then the next run makes it the new one.
  void expectOldOrNew() {
    const bool isNew = current() == "2020-01-08.1";
    ASSERT_TRUE(isNew || current() == "2020-01-07.1") << current();
    EXPECT_EQ(process(), isNew ? secondProcess : firstProcess);
    EXPECT_EQ(dataset(), isNew ? secondDataset : firstDataset);
    const ProgramRun next = day("in2", "2020-01-08");
    EXPECT_EQ(next.status, isNew ? 2 : 0) << next.err;
    EXPECT_EQ(process(), secondProcess);
    EXPECT_EQ(dataset(), secondDataset);
    const ProgramRun list = vesk({"day", "--list", "st"});
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_THAT(list.out, HasSubstr("* 2020-01-08.1"));
    for (const std::string& name : namesInState()) EXPECT_THAT(name, Not(HasSubstr(".work-")));
  }

  /// Lets each call of a program fail in turn, until a run has no such call any more. Returns the number of calls.
  long failAtEachCall(const char* program, const char* how) {
    for (long at = 1;; ++at) {
      SCOPED_TRACE(std::string(program) + " " + how + " at call " + std::to_string(at));
      reset();
      std::filesystem::remove(folder.path("count"));
      ProgramRun run;
      {
        const WriteFault fault(program, at, how, folder.path("count"));
        run = day("in2", "2020-01-08");
      }
      const long calls = folder.has("count") ? std::stol(folder.read("count")) : at;
      if (calls < at) {
        EXPECT_EQ(run.status, 0) << run.err;
        return calls;
      }
      const bool isKilled = std::string(how) == "kill" && std::string(program) == "vesk";
      EXPECT_TRUE(isKilled || run.status == 0 || !run.err.empty()) << "a failure without words";
      // A failure before the commit leaves the old state, and only then the run has failed.
      EXPECT_TRUE(isKilled || (run.status == 0) == (current() == "2020-01-08.1")) << run.err;
      expectOldOrNew();
      if (HasFailure()) return calls;
    }
  }

  std::string firstProcess;
  std::string firstDataset;
  std::string secondProcess;
  std::string secondDataset;
};

TEST_F(DayFaultsTest, KilledAtEachCallThatChangesFiles) { EXPECT_GT(failAtEachCall("vesk", "kill"), 20); }
TEST_F(DayFaultsTest, FullDiskAtEachCallThatChangesFiles) { EXPECT_GT(failAtEachCall("vesk", "full"), 20); }
TEST_F(DayFaultsTest, ShortWriteAtEachCallThatChangesFiles) { EXPECT_GT(failAtEachCall("vesk", "short"), 20); }
TEST_F(DayFaultsTest, LoaderKilledAtEachCallThatChangesFiles) { EXPECT_GT(failAtEachCall("vesk-loader", "kill"), 4); }
TEST_F(DayFaultsTest, FullDiskAtEachCallOfTheLoader) { EXPECT_GT(failAtEachCall("vesk-loader", "full"), 4); }
TEST_F(DayFaultsTest, ShortWriteAtEachCallOfTheLoader) { EXPECT_GT(failAtEachCall("vesk-loader", "short"), 4); }

TEST_F(DayFaultsTest, KilledAtAnyMoment) {
  // The moments are spread over a little more than the time that a whole run takes.
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(day("in2", "2020-01-08").status, 0);
  const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  std::mt19937 random(20200108);
  std::uniform_int_distribution<long> moments(0, whole.count() * 5 / 4);
  for (int i = 0; i < randomMoments && !HasFailure(); ++i) {
    reset();
    const bool isTerminated = i % 4 == 3;
    const long moment = moments(random);
    SCOPED_TRACE("moment " + std::to_string(moment));
    const pid_t child = ::fork();
    if (child == 0) {
      const int nothing = ::open("/dev/null", O_WRONLY);
      ::dup2(nothing, 1);
      ::dup2(nothing, 2);
      if (::chdir(folder.path().c_str()) != 0) ::_exit(126);
      const std::string program = std::string(VESK_BIN_DIR) + "/vesk";
      ::execl(program.c_str(), "vesk", "day", "p.xml", "in2", "st", "--date", "2020-01-08", nullptr);
      ::_exit(127);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(moment));
    ::kill(child, isTerminated ? SIGTERM : SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    expectOldOrNew();
  }
}

TEST_F(DayFaultsTest, AFailureOfTheLoaderNamesItsReport) {
  const WriteFault fault("vesk-loader", 1, "full", folder.path("count"));
  const ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 99);
  EXPECT_THAT(run.err, HasSubstr("vesk: the loader ended with status 99: 1201"));
  EXPECT_TRUE(folder.has("st/last-failed/loader.log"));
  EXPECT_TRUE(folder.has("st/last-failed/run.json"));
}

TEST_F(DayFaultsTest, FilesBeyondALimitLeaveTheState) {
  for (const rlim_t bytes : {rlim_t{0}, rlim_t{1}, rlim_t{100}, rlim_t{160}, rlim_t{250}, rlim_t{300}, rlim_t{900}}) {
    SCOPED_TRACE(bytes);
    reset();
    ProgramLimits limits;
    limits.fileBytes = bytes;
    limits.brokenPipe = true;  // the output of the test itself must not meet the limit
    const ProgramRun run = day("in2", "2020-01-08", {}, limits);
    EXPECT_NE(run.status, 0);
    expectOldOrNew();
  }
}

TEST_F(DayFaultsTest, MemoryLimitsLeaveTheState) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs the address space that these runs are denied";
#endif
  int failures = 0;
  for (int megabytes = 8; megabytes <= 22; megabytes += 2) {
    SCOPED_TRACE(megabytes);
    reset();
    ProgramLimits limits;
    limits.memoryBytes = static_cast<rlim_t>(megabytes) << 20;
    const ProgramRun run = day("in2", "2020-01-08", {"--force"}, limits);
    failures += run.status == 0 ? 0 : 1;
    EXPECT_TRUE(run.status == 0 || !run.err.empty());
    expectOldOrNew();
  }
  EXPECT_GT(failures, 0);
}

TEST_F(DayFaultsTest, AGenerationThatCannotBeRemovedIsARemark) {
  const std::string stuck = folder.path("st/.old-2020-01-07.1");
  ProgramRun run;
  {
    const WriteFault fault("vesk", 0, "stuck", folder.path("count"));
    run = day("in2", "2020-01-08", {"--keep", "1"});
  }
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("2020-01-07.1: cannot remove: "));
  EXPECT_EQ(current(), "2020-01-08.1");
  EXPECT_TRUE(std::filesystem::exists(stuck));
  EXPECT_FALSE(folder.has("st/generations/2020-01-07.1")) << "what is left of it is no generation";
}

}  // namespace
}  // namespace vesk_e2e
