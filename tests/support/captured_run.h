#ifndef TESTS_SUPPORT_CAPTURED_RUN_H
#define TESTS_SUPPORT_CAPTURED_RUN_H

#include <gtest/gtest.h>

#include <new>
#include <string>

/// What a piece of code wrote and how it ended.
struct CapturedRun {
  std::string out;
  std::string err;
  bool threwLibraryException = false;  ///< the int 0
  bool threwMemoryException = false;
};

/// Runs a piece of code and keeps what it writes. Any exception other than the two of the library goes on.
template <class Action>
CapturedRun capturedRun(Action&& action) {
  CapturedRun run;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  try {
    action();
  } catch (int payload) {
    EXPECT_EQ(payload, 0);
    run.threwLibraryException = true;
  } catch (const std::bad_alloc&) {
    run.threwMemoryException = true;
  }
  run.out = testing::internal::GetCapturedStdout();
  run.err = testing::internal::GetCapturedStderr();
  return run;
}

#endif  // TESTS_SUPPORT_CAPTURED_RUN_H
