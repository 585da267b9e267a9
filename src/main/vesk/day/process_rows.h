#ifndef VESK_DAY_PROCESS_ROWS_H
#define VESK_DAY_PROCESS_ROWS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "files/dataset_card.h"
#include "files/descriptor.h"
#include "files/sha256.h"

namespace vesk {

/// Whether the writer of a file has finished it.
using IsWritten = std::function<bool()>;

/// The doubles of a file one after the other, and its hash. The file may still be growing: at its end the stream waits
/// until more is there or the file is written.
/// Errors: std::runtime_error with the file's name, for a size that is no multiple of 8 as well.
class NumberStream {
 public:
  /// Without `isWritten` the file is complete.
  explicit NumberStream(const std::string& path, IsWritten isWritten = nullptr);

  /// False at the end of the file.
  bool next(double& number) {
    if (position == available && !refill()) return false;
    number = block[position++];
    return true;
  }
  /// Byte of the next number.
  std::uint64_t byte() const { return blockStart + position * sizeof(double); }
  const std::string& getName() const { return file.getName(); }

  /// Name without its folder, size and hash. Requires: next has returned false. To be called once.
  vesk_files::CardFile describe();

 private:
  bool refill();
  std::size_t readOn(char* data, std::size_t size);

  vesk_files::Descriptor file;
  IsWritten fileIsWritten;
  vesk_files::Sha256 hash;
  std::vector<double> block;
  std::size_t position = 0;
  std::size_t available = 0;
  std::uint64_t blockStart = 0;
};

/// What a record of a process file holds besides its entries: nothing in the file tells.
struct ProcessShape {
  bool hasDates = false;
  bool isPairSum = false;
  std::size_t payloads = 0;
};

/// A record of a process file.
struct ProcessRow {
  double key = 0.0;
  std::vector<double> values;
  std::vector<double> dates;                  ///< with dates only, as long as the values
  std::vector<double> weights;                ///< of a pair sum only, as long as the values
  std::vector<std::vector<double>> payloads;  ///< columns, each as long as the values
};

/// The records of a process file, in ascending order of their keys.
/// Errors: std::runtime_error with file, record and byte, when the file does not read back as it was written.
class ProcessRows {
 public:
  ProcessRows(const std::string& path, const ProcessShape& rowShape);

  /// False at the end.
  bool next(ProcessRow& row);

  /// Of the file, as NumberStream has it.
  vesk_files::CardFile describe() { return numbers.describe(); }

 private:
  [[noreturn]] void fail(const std::string& what) const;
  double require();

  NumberStream numbers;
  ProcessShape shape;
  std::uint64_t record = 0;
  double lastKey = 0.0;
};

}  // namespace vesk

#endif  // VESK_DAY_PROCESS_ROWS_H
