#ifndef QUVEN_BLOB_IO_H
#define QUVEN_BLOB_IO_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <string>

#include "util/quven_env.h"

/// The byte stream under an object stream: a file, a block of memory, or whatever the driver of a run supplies.
///
/// A stream offers windows, the bytes that can be written or read without asking it; a class without windows gets every
/// call in writeBlock and readBlock.
/// Errors: nothing is thrown for what goes wrong outside the program; the status says it.
class QUVENBlobIO {
 public:
  enum Status : int { Good = 0, EndOfInput = 1, Failed = 2 };
  static constexpr std::uint64_t UnknownRemaining = std::numeric_limits<std::uint64_t>::max();

  QUVENBlobIO() = default;
  virtual ~QUVENBlobIO() = default;
  QUVENBlobIO(const QUVENBlobIO&) = delete;
  QUVENBlobIO& operator=(const QUVENBlobIO&) = delete;

  /// The end of the input is reported only after a read that came up short.
  int getStatus() const { return status; }

  // No bytes at all may come from or go to null, which memcpy does not take.

  void write(const void* bytes, std::size_t count, const QUVENEnvHandle& env) {
    if (count == 0) return;
    if (char* place = roomFor(count)) {
      std::memcpy(place, bytes, count);
      commit(count);
    } else {
      writeBlock(bytes, count, env);
    }
  }

  /// Reads up to count bytes and returns how many there were.
  std::size_t read(void* bytes, std::size_t count, const QUVENEnvHandle& env) {
    if (count == 0) return 0;
    if (count <= getReadWindow().size()) {
      std::memcpy(bytes, readAt, count);
      readAt += count;
      return count;
    }
    return readBlock(bytes, count, env);
  }

  /// How many bytes can still be read; UnknownRemaining where that cannot be known.
  virtual std::uint64_t getRemaining() const { return UnknownRemaining; }

  /// A place for up to count bytes, which commit then puts into the stream; null when the window is too small.
  char* roomFor(std::size_t count) { return count <= static_cast<std::size_t>(writeEnd - writeAt) ? writeAt : nullptr; }
  void commit(std::size_t count) { writeAt += count; }

  /// The next bytes of the input as far as they are at hand, maybe none; skip takes bytes of it.
  std::span<const char> getReadWindow() const { return {readAt, readEnd}; }
  void skip(std::size_t count) { readAt += count; }

 protected:
  virtual void writeBlock(const void* bytes, std::size_t count, const QUVENEnvHandle& env) = 0;
  virtual std::size_t readBlock(void* bytes, std::size_t count, const QUVENEnvHandle& env) = 0;

  Status status = Good;
  char* writeAt = nullptr;
  char* writeEnd = nullptr;
  const char* readAt = nullptr;
  const char* readEnd = nullptr;
};

/// A stream over bytes that somebody else keeps; it cannot be written.
class QUVENViewBlobIO final : public QUVENBlobIO {
 public:
  explicit QUVENViewBlobIO(std::span<const char> bytes) {
    readAt = bytes.data();
    readEnd = bytes.data() + bytes.size();
  }
  std::uint64_t getRemaining() const override { return getReadWindow().size(); }

 private:
  void writeBlock(const void*, std::size_t, const QUVENEnvHandle&) override { status = Failed; }
  std::size_t readBlock(void* bytes, std::size_t count, const QUVENEnvHandle& env) override;
};

/// A stream in memory: what is written can be read, from the beginning on, or be handed over as it stands.
///
/// Memory:   one block, charged to the environment, which grows by the factor of the arrays.
/// Errors:   "Cannot allocate array memory" and XRTMemoryException; the stream is as it was before the write.
/// Lifetime: deleteMemory(env) before it ends, as of every array. A move hands the bytes over without a copy.
class QUVENMemoryBlobIO final : public QUVENBlobIO {
 public:
  QUVENMemoryBlobIO() = default;
  QUVENMemoryBlobIO(QUVENMemoryBlobIO&& other) noexcept { swap(other); }
  QUVENMemoryBlobIO& operator=(QUVENMemoryBlobIO&& other) noexcept {
    swap(other);
    return *this;
  }
  ~QUVENMemoryBlobIO() override;
  void swap(QUVENMemoryBlobIO& other) noexcept;

  /// The bytes written so far; valid until the next write.
  std::span<const char> getBytes() const { return {block, writeAt}; }
  std::uint64_t getSize() const { return static_cast<std::uint64_t>(writeAt - block); }
  std::uint64_t getRemaining() const override { return getSize() - readPosition(); }

  /// Makes room for this many bytes in all; what follows allocates nothing until they are used up.
  void reserve(std::uint64_t bytes, const QUVENEnvHandle& env);
  /// Makes the stream count bytes long and returns them, for a transport to fill. What was in it is gone.
  std::span<char> resize(std::uint64_t bytes, const QUVENEnvHandle& env);
  /// Reads from the beginning again.
  void rewind();
  /// Empties the stream; its block stays.
  void clear();
  void deleteMemory(const QUVENEnvHandle& env);

 private:
  void writeBlock(const void* bytes, std::size_t count, const QUVENEnvHandle& env) override;
  std::size_t readBlock(void* bytes, std::size_t count, const QUVENEnvHandle& env) override;
  std::uint64_t readPosition() const { return readAt == nullptr ? 0 : static_cast<std::uint64_t>(readAt - block); }
  std::uint64_t capacityBytes() const { return static_cast<std::uint64_t>(writeEnd - block); }
  void grow(std::uint64_t bytes, const QUVENEnvHandle& env);

  char* block = nullptr;
};

/// A stream in a file, through a buffer.
///
/// Errors:   what fails sets the status to Failed; getErrorText says what it was.
/// Lifetime: close writes what the buffer still holds and says whether all bytes arrived; a file that is destroyed open
///           loses what its buffer holds.
class QUVENFileBlobIO final : public QUVENBlobIO {
 public:
  enum class Mode { Read, Write };

  /// Writing replaces what was there.
  QUVENFileBlobIO(const std::string& path, Mode mode);
  ~QUVENFileBlobIO() override;

  /// The bytes of a regular file behind those read so far.
  std::uint64_t getRemaining() const override;
  /// Returns whether the file is complete; a second call says the same again.
  [[nodiscard]] bool close();
  /// The text of the first failure, empty without one.
  const std::string& getErrorText() const { return errorText; }

 private:
  static constexpr std::size_t BufferBytes = 1 << 18;

  void writeBlock(const void* bytes, std::size_t count, const QUVENEnvHandle& env) override;
  std::size_t readBlock(void* bytes, std::size_t count, const QUVENEnvHandle& env) override;
  void flushBuffer();
  void writeAll(const char* bytes, std::size_t count);
  std::size_t readSome(char* bytes, std::size_t count);
  void fail();

  int descriptor = -1;
  Mode mode;
  std::uint64_t remainingOfFile = UnknownRemaining;  // behind the buffer
  std::string errorText;
  std::unique_ptr<char[]> buffer;
};

#endif  // QUVEN_BLOB_IO_H
