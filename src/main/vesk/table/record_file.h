#ifndef VESK_RECORD_FILE_H
#define VESK_RECORD_FILE_H

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace vesk {

/// Reads the records of a binary file in their order, in blocks of 256 KiB or one record.
///
/// Units: a record is `width` doubles.
/// Errors: std::runtime_error with the file. A file that ends inside a record is refused when its end is reached.
class RecordFile {
 public:
  /// `recordName` is the word for a record in messages.
  RecordFile(std::string filePath, std::size_t recordWidth, std::string recordName);

  /// The next record, valid until the next call; null at the end.
  const double* next() {
    if (at == available && !refill()) return nullptr;
    const double* record = block.data() + at;
    at += width;
    ++number;
    return record;
  }
  /// The number of the last record of next(), from 1.
  std::uint64_t getNumber() const { return number; }
  const std::string& getPath() const { return path; }

 private:
  bool refill();

  std::string path;
  std::size_t width;
  std::string word;
  std::ifstream stream;
  std::vector<double> block;
  std::size_t at = 0;
  std::size_t available = 0;
  std::uint64_t number = 0;
};

}  // namespace vesk

#endif  // VESK_RECORD_FILE_H
