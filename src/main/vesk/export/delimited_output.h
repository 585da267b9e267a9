#ifndef VESK_DELIMITED_OUTPUT_H
#define VESK_DELIMITED_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace vesk {

/// Appends the shortest text that reads back as the number; a whole number below 2^53 in absolute value is digits
/// alone.
void appendNumber(std::string& text, double number);

/// Lines of cells with a separator between them, written in blocks.
///
/// A cell with the separator, a double quote or a line end is in double quotes, with its own quotes doubled.
/// Errors: CommandFailure with the status Failed and the name of the output, when a write fails.
class DelimitedOutput {
 public:
  /// `outputName` is for messages. The stream is borrowed.
  DelimitedOutput(std::ostream& output, std::string outputName, char cellSeparator);

  void addText(std::string_view cell);
  void addNumber(double number) {
    beginCell();
    appendNumber(line, number);
  }
  /// The missing value of a dataset is an empty cell.
  void addValue(double value);
  void addEmpty() { beginCell(); }
  void endLine();
  /// Writes what is left.
  void finish();

  /// Lines, with the one of the names.
  std::uint64_t countLines() const { return lines; }

 private:
  void beginCell() {
    if (!isFirst) line += separator;
    isFirst = false;
  }
  void write();

  std::ostream& out;
  std::string name;
  char separator;
  std::string line;  // and the lines before it that are not written yet
  bool isFirst = true;
  std::uint64_t lines = 0;
};

}  // namespace vesk

#endif  // VESK_DELIMITED_OUTPUT_H
