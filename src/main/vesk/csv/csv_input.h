#ifndef VESK_CSV_INPUT_H
#define VESK_CSV_INPUT_H

#include <cstddef>
#include <string>

#include "files/input_bytes.h"

namespace vesk {

/// The bytes of an input that a user names, compressed or not.
///
/// Errors: CommandFailure with Status::Data and the file from every operation: a file that is missing, cannot be read,
///         is a folder, or has damaged content.
class CsvInput {
 public:
  /// "-" is standard input.
  explicit CsvInput(const std::string& path);

  /// Reads up to `size` bytes; 0 at the end only.
  std::size_t read(char* data, std::size_t size);
  vesk_files::Compression getCompression() const { return bytes.getCompression(); }
  /// The SHA-256 of the content. Requires: read has returned 0. To be called once.
  std::string finishHash() { return bytes.finishHashes().content; }

 private:
  vesk_files::InputBytes bytes;
};

}  // namespace vesk

#endif  // VESK_CSV_INPUT_H
