#ifndef VESK_RECORDS_RECORD_LINES_H
#define VESK_RECORDS_RECORD_LINES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "files/input_bytes.h"
#include "line_reader.h"

namespace vesk {

/// A line of a record file.
struct RecordLine {
  vesk_loader::Line line;    ///< without its end; of a line that is too long the first characters
  std::uint64_t number = 0;  ///< from 1
  std::uint64_t byte = 0;    ///< of its first character, from 0, in the content
  bool hasEnd = true;        ///< false: the last line of a file that does not end with a line feed
  bool hasReturn = false;    ///< a carriage return stood before the line feed; it is not part of the line
  bool isTooLong = false;    ///< as many characters as the loader cannot take, see LineReader::lineLimit
  bool isBinary = false;     ///< holds a NUL
};

/// The lines of one record file, plain or compressed. A UTF-8 byte order mark is passed over.
///
/// Errors: CommandFailure (Data) for UTF-16 text, std::runtime_error for damaged compressed files and when reading
/// fails.
class RecordLines {
 public:
  /// Blocks of another size are for tests; at least 1.
  explicit RecordLines(vesk_files::InputBytes bytes, std::string name, std::size_t blockSize = std::size_t{1} << 18);

  /// False at the end. 64 bytes on either side of the line can be read; it is valid until the next call.
  bool next(RecordLine& record);

  bool hasMark() const { return mark; }
  vesk_files::InputBytes& getBytes() { return bytes; }

 private:
  bool refill();
  bool skipMark();
  void take(std::size_t length, bool hasEnd, RecordLine& record);
  void takeLong(RecordLine& record);

  vesk_files::InputBytes bytes;
  std::string name;
  std::size_t blockSize;
  std::string buffer;        // margin, what was read, margin
  std::string longLine;      // margin, the start of the last line that was too long, margin
  std::size_t position = 0;  // of the next line in the buffer
  std::size_t end = 0;       // of what was read
  std::uint64_t byte = 0;    // of `position` in the content
  std::uint64_t lines = 0;
  bool started = false;
  bool mark = false;
};

}  // namespace vesk

#endif  // VESK_RECORDS_RECORD_LINES_H
