#ifndef VESK_FILES_INPUT_BYTES_H
#define VESK_FILES_INPUT_BYTES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "files/descriptor.h"

namespace vesk_files {

enum class Compression { None, Gzip, Zstd };

/// "plain", "gzip", "zstd".
const char* nameOf(Compression compression);

/// What a compressed file holds cannot be read.
class DamagedContent : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The bytes that a file holds: a compressed file is recognised by its first bytes and read as its content. Members of
/// a gzip file and frames of a zstd file that follow each other are read as one.
///
/// Errors: every operation throws std::runtime_error with the file's name; DamagedContent for a compressed file that is
///         damaged or ends too early, or that is followed by other bytes.
class InputBytes {
 public:
  /// "-" is standard input.
  explicit InputBytes(const std::string& path);
  explicit InputBytes(Descriptor file);
  ~InputBytes();
  InputBytes(InputBytes&&) noexcept;
  InputBytes& operator=(InputBytes&&) noexcept;

  /// Reads up to `size` bytes of the content; 0 at the end only.
  std::size_t read(char* data, std::size_t size);

  Compression getCompression() const;
  /// Bytes of the file that were read so far.
  std::uint64_t storedBytes() const;

  struct Hashes {
    std::string stored;   ///< SHA-256 of the file's own bytes, compressed or not
    std::string content;  ///< SHA-256 of what it holds; of a plain file the same
  };
  /// Requires: read has returned 0. To be called once.
  Hashes finishHashes();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace vesk_files

#endif  // VESK_FILES_INPUT_BYTES_H
