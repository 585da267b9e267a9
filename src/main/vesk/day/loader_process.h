#ifndef VESK_DAY_LOADER_PROCESS_H
#define VESK_DAY_LOADER_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk {

/// How a loader process ended.
struct LoaderEnd {
  int status = 0;  ///< exit status, or 128 and the number of the signal that ended it
  std::uint64_t peakMemoryBytes = 0;
};

/// vesk-loader as a child process. It ends with this process, however that ends.
class LoaderProcess {
 public:
  /// Starts the program beside the running one. Its reports go to the file `log`, which is replaced.
  /// Errors: std::runtime_error when it cannot be started.
  LoaderProcess(const std::vector<std::string>& arguments, const std::string& log);
  /// Ends the process if it still runs.
  ~LoaderProcess();
  LoaderProcess(const LoaderProcess&) = delete;
  LoaderProcess& operator=(const LoaderProcess&) = delete;

  bool isRunning();
  /// Waits for the end. Errors: CommandFailure on a stop signal.
  LoaderEnd wait();

 private:
  void take(int status, std::uint64_t peakMemoryBytes);

  pid_t child = -1;
  std::optional<LoaderEnd> end;
};

/// What the reports of a loader run say.
struct LoaderReports {
  std::vector<std::string> errors;    ///< "CODE: TEXT" of the error lines, without the follow-ups of outer steps
  std::vector<std::string> warnings;  ///< the same of the warnings, each once
  std::uint64_t linesScanned = 0;     ///< of all record files and partitions
  std::uint64_t linesOmitted = 0;
};

/// Reads the log of a loader run on one record file, by the name that the loader was given.
/// Errors: std::runtime_error when the log cannot be read.
LoaderReports readLoaderLog(const std::string& path, const std::string& recordFile);

}  // namespace vesk

#endif  // VESK_DAY_LOADER_PROCESS_H
