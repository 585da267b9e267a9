#ifndef VESK_GROUPS_LINE_FILE_H
#define VESK_GROUPS_LINE_FILE_H

#include <cstdint>
#include <fstream>
#include <string>

namespace vesk_groups {

/// Reads a text file line by line and knows where it is.
///
/// Errors: std::runtime_error with the file's name and the system's reason, when it cannot be opened or read.
class LineFile {
 public:
  explicit LineFile(std::string path);

  /// Takes the next line, without its line feed; false at the end of the file, where `line` is empty.
  [[nodiscard]] bool next(std::string& line);

  /// Of the line that next() gave last, from 1.
  std::uint64_t lineNumber() const { return lines; }

  /// The line that next() gave last is the file's last and has no line feed: the file may be cut.
  bool endsWithoutLineFeed() const { return stream.eof(); }

  /// Throws std::runtime_error: the file, the line and what is wrong with it.
  [[noreturn]] void fail(const std::string& what) const { failAt(lines, what); }
  [[noreturn]] void failAt(std::uint64_t line, const std::string& what) const;

 private:
  std::string path;
  std::ifstream stream;
  std::uint64_t lines = 0;
};

}  // namespace vesk_groups

#endif  // VESK_GROUPS_LINE_FILE_H
