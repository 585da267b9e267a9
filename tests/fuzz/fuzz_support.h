#ifndef TESTS_FUZZ_SUPPORT_H
#define TESTS_FUZZ_SUPPORT_H

// What the fuzzers of the loader share.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

#include "support/stdout_capture.h"
#include "support/temporary_folder.h"
#include "vesk-common/quven_warning_list.h"

#define REQUIRE(condition)                                                 \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (false)

/// A folder for the life of the process.
class FuzzFolder : public TemporaryFolder {
 public:
  using TemporaryFolder::write;
  std::string write(const std::string& name, std::span<const std::uint8_t> bytes) const {
    return write(name, std::string(bytes.begin(), bytes.end()));
  }
};

struct FuzzRun {
  bool terminated = false;  ///< by the termination exception; any other one leaves the fuzzer
  std::string out;          ///< standard output
};

/// Runs a step of the loader. A termination comes with an error line, and an error line with a termination.
template <class Step>
FuzzRun fuzzRun(Step&& step) {
  FuzzRun run;
  const StdoutCapture capture;
  try {
    step();
  } catch (int payload) {
    REQUIRE(payload == 0);
    run.terminated = true;
  }
  run.out = capture.text();
  constexpr const char* report = "QUVEN Terminating\n";
  const std::string end = run.out.substr(run.out.size() - std::min(run.out.size(), std::string(report).size()));
  REQUIRE(run.terminated == (end == report));
  QUVENWarningList::get().clear();  // or else the next input would find what this one has allocated
  return run;
}

#endif  // TESTS_FUZZ_SUPPORT_H
