#ifndef VESK_INSPECT_PROCESS_CHECK_H
#define VESK_INSPECT_PROCESS_CHECK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "number_file.h"

namespace vesk_inspect {

/// How a process file was written: nothing in the file says it.
struct ProcessShape {
  bool dates = false;          ///< a date field was configured
  std::uint32_t payloads = 0;  ///< number of payload columns
  bool pairSum = false;
};

/// An entry of a record with what stands beside it.
struct ProcessEntry {
  double value;
  double date;    ///< with dates only
  double weight;  ///< in a pair sum only
  std::vector<double> payloads;
};

/// A record of a process file; of a long one only the first entries are kept.
struct ProcessRecord {
  double key = 0.0;
  std::uint64_t offsetBytes = 0;
  std::uint64_t entries = 0;
  std::vector<ProcessEntry> firstEntries;
};

/// Why the reading of a process file stopped before its end.
struct ProcessDefect {
  std::uint64_t record;       ///< counted from 1
  std::uint64_t offsetBytes;  ///< of the number that is wrong, or of the end of the file
  std::string text;
};

/// Reads the records of a process file one after the other, as the loader does, and stops at the first defect.
class ProcessCheck {
 public:
  /// Errors: std::runtime_error as NumberFile, also from next().
  ProcessCheck(const std::string& path, const ProcessShape& processShape) : file(path), shape(processShape) {}

  /// Reads the next record, of which at most `keptEntries` entries are kept. False at the end and at a defect.
  [[nodiscard]] bool next(ProcessRecord& record, std::size_t keptEntries);

  const std::optional<ProcessDefect>& getDefect() const { return defect; }

  /// Where the reading stands: at the end the size of the file.
  std::uint64_t offsetBytes() const { return file.offsetBytes(); }

 private:
  bool fail(const std::string& text);
  bool failAt(std::uint64_t offsetBytes, const std::string& text);
  bool failCut(const std::string& where);
  bool readKey(ProcessRecord& record);
  bool readEntries(ProcessRecord& record, std::size_t keptEntries);
  bool readEntry(ProcessEntry& entry, std::uint64_t number);
  bool readBeside(const char* name, std::uint64_t entryNumber, double& number);
  bool readPayloads(ProcessRecord& record);
  bool readColumn(ProcessRecord& record, std::uint32_t column, double first);

  NumberFile file;
  ProcessShape shape;
  std::uint64_t recordNumber = 0;
  std::optional<double> lastKey;
  std::optional<ProcessDefect> defect;
};

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_PROCESS_CHECK_H
