#ifndef BLOCK_FILE_H
#define BLOCK_FILE_H

// Files in large blocks over the system's own calls. Every failed operation throws exception_loader.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vesk_loader {

/// An open file descriptor, closed at the end of its life.
class FileHandle {
 public:
  FileHandle() = default;
  ~FileHandle();
  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  /// False if the file cannot be opened for reading; a directory cannot.
  [[nodiscard]] bool openForReading(const std::string& path);

  /// Replaces what was there. False if the file cannot be opened for writing.
  [[nodiscard]] bool openForWriting(const std::string& path);

  /// Reads up to `size` bytes; 0 at the end of the file. Throws exception_loader if the read fails.
  std::size_t read(char* data, std::size_t size);

  /// Writes all the bytes or throws exception_loader.
  void write(const char* data, std::size_t size);

  /// Throws exception_loader if the system reports a late write error. Does nothing on a closed file.
  void close();

 private:
  int descriptor = -1;
};

/// Collects bytes and writes them in blocks of 1 MiB.
class BlockWriter {
 public:
  BlockWriter() = default;

  /// Replaces what was there. False if the file cannot be opened. Allocates the block before it opens the file; put,
  /// advance and close allocate nothing.
  [[nodiscard]] bool open(const std::string& path);

  void put(std::string_view text) { append(text.data(), text.size()); }
  void put(double number) { append(reinterpret_cast<const char*>(&number), sizeof number); }
  void put(std::span<const double> numbers) {
    append(reinterpret_cast<const char*>(numbers.data()), numbers.size_bytes());
  }

  /// Room for `size` bytes (at most blockSize) to be filled in place, then made part of the file by advance.
  char* reserve(std::size_t size) {
    if (blockSize - used < size) flush();
    return block.get() + used;
  }
  void advance(std::size_t size) { used += size; }

  /// Writes what is left and closes; throws exception_loader if that fails.
  void close();

  static constexpr std::size_t blockSize = std::size_t{1} << 20;

 private:
  void append(const char* data, std::size_t size);
  void flush();

  FileHandle file;
  std::unique_ptr<char[]> block;
  std::size_t used = 0;
};

/// Reads a file of doubles in blocks of 1 MiB.
class DoubleReader {
 public:
  /// False if the file cannot be opened.
  [[nodiscard]] bool open(const std::string& path);

  /// False at the end of the file; one to seven bytes left over are an end as well. Throws on a failed read.
  [[nodiscard]] bool next(double& number) {
    if (position == available && !refill()) return false;
    number = block[position++];
    return true;
  }

  /// The next double of a record that has begun; throws exception_loader at the end of the file.
  double require();

  void close() { file.close(); }

 private:
  bool refill();

  static constexpr std::size_t blockItems = (std::size_t{1} << 20) / sizeof(double);

  FileHandle file;
  std::unique_ptr<double[]> block;
  std::size_t position = 0;
  std::size_t available = 0;
};

}  // namespace vesk_loader

#endif  // BLOCK_FILE_H
