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

#define REQUIRE(condition)                                                 \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (false)

/// A folder for the life of the process.
class FuzzFolder {
 public:
  FuzzFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk-fuzz-XXXXXX").string();
    REQUIRE(::mkdtemp(pattern.data()) != nullptr);
    folder = pattern;
  }
  ~FuzzFolder() { std::filesystem::remove_all(folder); }
  FuzzFolder(const FuzzFolder&) = delete;
  FuzzFolder& operator=(const FuzzFolder&) = delete;

  std::string path() const { return folder.string(); }
  std::string path(const std::string& name) const { return (folder / name).string(); }

  std::string write(const std::string& name, std::span<const std::uint8_t> bytes) const {
    std::ofstream file(folder / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    REQUIRE(file.good());
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::ifstream file(folder / name, std::ios::binary);
    REQUIRE(file.good());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path folder;
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
  return run;
}

#endif  // TESTS_FUZZ_SUPPORT_H
