#ifndef LINE_READER_H
#define LINE_READER_H

// The lines of a record file as views into large blocks.

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "block_file.h"

namespace vesk_loader {

/// A line's text up to its line feed or its first NUL. 64 bytes on either side of the text can be read.
struct Line {
  const char* text = nullptr;
  std::size_t length = 0;
};

/// Gives the lines of a file one after the other. A line counts only with its line feed: what follows the last one is
/// dropped. A line of 10000 or more characters is a failure, with or without a line feed, and so is a failed read.
class LineReader {
 public:
  enum class Result { Line, End, Failure };

  /// Characters that a line must stay below.
  static constexpr std::size_t lineLimit = 10000;
  static constexpr std::size_t blockSize = std::size_t{1} << 18;
  static constexpr std::size_t margin = 64;

  /// Blocks of another size than blockSize are for tests; at least 1.
  explicit LineReader(std::size_t blockSize = LineReader::blockSize);

  /// False if the file cannot be opened for reading; a directory cannot.
  [[nodiscard]] bool open(const std::string& path) { return file.openForReading(path); }

  /// The line is valid until the next call.
  Result next(Line& line) {
    const auto* const feed =
        static_cast<const char*>(std::memchr(position, '\n', static_cast<std::size_t>(end - position)));
    if (feed == nullptr) return nextInNewBlock(line);
    return take(feed, line);
  }

 private:
  Result take(const char* feed, Line& line) {
    line = {position, static_cast<std::size_t>(feed - position)};
    position = feed + 1;
    if (line.length >= lineLimit) return Result::Failure;
    if (hasNul) line.length = ::strnlen(line.text, line.length);
    return Result::Line;
  }

  Result nextInNewBlock(Line& line);

  FileHandle file;
  std::size_t readSize;
  std::unique_ptr<char[]> buffer;  // margin, unfinished line, block, margin
  const char* position;            // start of the next line
  const char* end;                 // end of what was read
  bool hasNul = false;             // somewhere between position and end, or before
};

}  // namespace vesk_loader

#endif  // LINE_READER_H
