#ifndef VESK_INSPECT_NUMBER_FILE_H
#define VESK_INSPECT_NUMBER_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vesk_inspect {

/// Reads a file of doubles from its start to its end in large blocks, so that its size does not matter.
///
/// Errors: std::runtime_error with the file's name and the system's reason, when it cannot be opened or read.
class NumberFile {
 public:
  explicit NumberFile(std::string path);
  ~NumberFile();
  NumberFile(const NumberFile&) = delete;
  NumberFile& operator=(const NumberFile&) = delete;

  /// Takes the next number; false at the end of the file, where `number` is left alone.
  [[nodiscard]] bool next(double& number) {
    if (blockEnd - place < sizeof(double) && !readBlock()) return false;
    std::memcpy(&number, block.data() + place, sizeof(double));
    place += sizeof(double);
    return true;
  }

  /// Where the next number begins, from the start of the file.
  std::uint64_t offsetBytes() const { return blockOffset + place; }

  /// At the end: the bytes behind the last whole number, 0 to 7. They begin at offsetBytes().
  std::size_t leftoverBytes() const { return blockEnd - place; }

 private:
  bool readBlock();

  std::string path;
  int descriptor;
  std::vector<char> block;
  std::size_t place = 0;
  std::size_t blockEnd = 0;
  std::uint64_t blockOffset = 0;  // of the block's first byte
};

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_NUMBER_FILE_H
