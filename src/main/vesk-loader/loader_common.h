#ifndef LOADER_COMMON_H
#define LOADER_COMMON_H

// What every step of the loader shares: the report lines on standard output, how a run is terminated,
// and the count of problem lines.

#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vesk_loader {

/// Thrown by every failed stream operation of the loader. Each step turns it into an error line of its own.
class exception_loader : public std::exception {
 public:
  const char* what() const noexcept override { return "unexpected loader exception"; }
};

/// Prints "Error;|code;|text;|ErrorEnd" and raises the termination exception, after its report. Allocates nothing.
[[noreturn]] void report_error(std::int32_t code, std::string_view text);

/// The same with a parameter in front of the text.
[[noreturn]] void report_error(std::int32_t code, const std::string& parameter, const std::string& text);

/// Prints the error line and ends the process with status 1: no termination report, no exception.
[[noreturn]] void report_error_and_exit(std::int32_t code, const std::string& text);

/// Prints "Warning;|code;|text;|WarningEnd".
void report_warning(std::int32_t code, const std::string& text);
void report_warning(std::int32_t code, const std::string& parameter, const std::string& text);

/// The general warning, code 1000.
void report_warning(const std::string& text);

/// Prints "Log;|level;|text;|LogEnd". Level 0: a major step; 1: detail; 2: settings, serious ends. After a line of
/// level 0 standard output is flushed, so that a reader of a pipe sees each step when it begins.
void report_log(std::int32_t level, std::string_view text);

/// Prints one plain line for people among the report lines.
void print_line(std::string_view text);

/// Flushes standard output. Called before each step that takes long.
void flush_reports();

/// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string format_text(const char* format, ...);

enum class Problem : std::int32_t {
  BadAllocation = 0,
  NegativeCaller = 1,
  ConditionFails = 2,
  RestrictedNumber = 3,
  DroppedDate = 4,
  TableLimit = 5,
  Parsing = 6,
  Spacing = 7
};

/// The problems of one record file in one partition.
struct FileStatistics {
  std::string fileName;
  std::int32_t index = 0;  ///< its place among the records of the run
  std::vector<std::string> operationNames;
  std::int32_t operationCount = 0;
  bool problemsFound = false;
  bool tableRun = false;
  std::uint32_t linesScanned = 0;  ///< set at the end of the file
  std::uint32_t linesOmitted = 0;
  std::uint32_t date = 0;
  std::uint32_t negativeCallers = 0;
  std::uint32_t parsing = 0;
  std::uint32_t spacing = 0;
  std::vector<std::int32_t> firstProblemLine;  ///< by operation, -1 at first
  std::uint64_t tableLimitCount = 0;
  // By operation:
  std::vector<std::int32_t> problemLines;
  std::vector<std::int32_t> restrictedNumbers;
  std::vector<std::int32_t> conditions;
};

/// One instance for a process: counts what was skipped, file by file, and says so at the end of the run.
struct ScanStatistics {
  std::uint32_t processRecords = 0;  ///< records read from process files
  std::int32_t currentFile = -1;     ///< index of the newest record
  std::vector<std::unique_ptr<FileStatistics>> fileRecords;

  FileStatistics& current() { return *fileRecords[static_cast<std::size_t>(currentFile)]; }
};

/// The statistics of this process.
ScanStatistics& scan_statistics();

void start_new_file_statistics(ScanStatistics& statistics, const std::string& fileName,
                               const std::vector<std::string>& operationNames);

/// Counts one problem in the current record. `operation` is a 0-based index, -1 for none; a restricted
/// number needs one. A restricted number does not make its line omitted: the line's other operations still run.
void report_problem(ScanStatistics& statistics, Problem type, std::uint32_t line, std::int32_t operation = -1);

/// One log line a record; a record with omitted lines also gives the warning 1372.
void print_scan_statistics(const ScanStatistics& statistics);

}  // namespace vesk_loader

#endif  // LOADER_COMMON_H
