#ifndef VESK_GENERATE_RECORD_OUTPUT_H
#define VESK_GENERATE_RECORD_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "record_generator.h"

namespace vesk_generate {

/// A file that is written from its start to its end, straight from the caller's buffer.
///
/// Errors: std::runtime_error with the file's name and the system's reason, from every operation. A regular file that
///         was not closed is removed, so that no cut file is taken for a whole one.
class RecordOutput {
 public:
  /// Makes the file or empties it. The path "-" is standard output.
  explicit RecordOutput(std::string path);
  ~RecordOutput();
  RecordOutput(const RecordOutput&) = delete;
  RecordOutput& operator=(const RecordOutput&) = delete;

  void write(std::span<const char> bytes);

  /// Reports what the system kept back until now.
  void close();

 private:
  std::string path;
  int descriptor;
};

/// The names of the files of a run: the output itself when there is one file, else the output with ".1", ".2" and so
/// on, with zeros in front so that the names sort. In an existing directory the files are called "calls".
std::vector<std::string> recordFileNames(const std::string& output, std::uint32_t files);

/// Writes `records` records to an output. Returns the number of bytes.
using WriteRecords = std::function<std::uint64_t(std::uint64_t records, RecordOutput& output)>;

/// Shares the records out evenly and in order to the files. The result is the number of bytes.
///
/// Errors: std::runtime_error as RecordOutput; the regular files written before the failing one are removed as well.
std::uint64_t writeFiles(std::uint64_t records, const std::vector<std::string>& names, const WriteRecords& write);

/// The same with all records that are left as fixed-column lines.
std::uint64_t writeRecordFiles(RecordGenerator& generator, const std::vector<std::string>& names);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_RECORD_OUTPUT_H
