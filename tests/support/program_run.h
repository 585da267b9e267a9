#ifndef TESTS_SUPPORT_PROGRAM_RUN_H
#define TESTS_SUPPORT_PROGRAM_RUN_H

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

/// What a program printed and how it ended.
struct ProgramRun {
  std::string out;
  std::string err;
  int status = -1;  ///< exit status, or 128 + the signal
};

/// Limits of a run that a test sets.
struct ProgramLimits {
  rlim_t fileBytes = RLIM_INFINITY;    ///< a write beyond it fails
  rlim_t memoryBytes = RLIM_INFINITY;  ///< of address space
  std::string standardOutput;          ///< a file that takes the output in place of the result
  bool brokenPipe = false;             ///< standard output is a pipe that nobody reads; the result has none of it
};

/// Runs a program of the build, or any other by its whole path, in a directory and waits for it. Nothing is left of its
/// output files.
inline ProgramRun runProgram(const std::string& name, const std::vector<std::string>& arguments,
                             const std::string& directory, const ProgramLimits& limits = {}) {
  const std::string program = name.starts_with('/') ? name : std::string(VESK_BIN_DIR) + "/" + name;
  const TemporaryFolder folder;
  const std::string outPath = limits.standardOutput.empty() ? folder.path("out") : limits.standardOutput;
  const std::string errPath = folder.path("err");
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) {
    const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int pipe[2] = {-1, -1};
    if (limits.brokenPipe && (::pipe(pipe) != 0 || ::close(pipe[0]) != 0)) ::_exit(126);
    if (::dup2(limits.brokenPipe ? pipe[1] : out, 1) < 0 || ::dup2(err, 2) < 0 || ::chdir(directory.c_str()) != 0)
      ::_exit(126);
    // Whatever runs the tests: what becomes of these signals is up to the program.
    ::signal(SIGXFSZ, SIG_DFL);
    ::signal(SIGPIPE, SIG_DFL);
    if (limits.fileBytes != RLIM_INFINITY) {
      const rlimit limit{limits.fileBytes, limits.fileBytes};
      ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (limits.memoryBytes != RLIM_INFINITY) {
      const rlimit limit{limits.memoryBytes, limits.memoryBytes};
      ::setrlimit(RLIMIT_AS, &limit);
    }
    std::vector<char*> argv = {const_cast<char*>(name.c_str())};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  int status = 0;
  if (::waitpid(child, &status, 0) != child) throw std::runtime_error("cannot wait");
  return {limits.standardOutput.empty() ? folder.read("out") : "", folder.read("err"),
          WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

#endif  // TESTS_SUPPORT_PROGRAM_RUN_H
