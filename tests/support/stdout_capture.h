#ifndef TESTS_SUPPORT_STDOUT_CAPTURE_H
#define TESTS_SUPPORT_STDOUT_CAPTURE_H

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>

/// Keeps what the process writes to standard output while it lives. In memory, for programs that capture often.
/// Errors: std::runtime_error if the system refuses.
class StdoutCapture {
 public:
  StdoutCapture() {
    std::fflush(stdout);
    saved = ::dup(STDOUT_FILENO);
    memory = ::memfd_create("stdout", 0);
    if (saved < 0 || memory < 0 || ::dup2(memory, STDOUT_FILENO) < 0) {
      throw std::runtime_error("standard output cannot be captured");
    }
  }
  ~StdoutCapture() {
    std::fflush(stdout);
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
    ::close(memory);
  }
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

  /// What was written since the start, by children that inherited the output as well.
  std::string text() const {
    std::fflush(stdout);
    struct stat state {};
    if (::fstat(memory, &state) != 0) throw std::runtime_error("captured output has no size");
    std::string bytes(static_cast<std::size_t>(state.st_size), '\0');
    if (::pread(memory, bytes.data(), bytes.size(), 0) != state.st_size) {
      throw std::runtime_error("captured output cannot be read");
    }
    return bytes;
  }

 private:
  int saved = -1;
  int memory = -1;
};

#endif  // TESTS_SUPPORT_STDOUT_CAPTURE_H
