#ifndef FIXED_FIELDS_H
#define FIXED_FIELDS_H

// A line cut into its fields by columns, and the test that each field holds one word.

#include <cstdint>
#include <string_view>
#include <vector>

#include "field_window.h"
#include "line_reader.h"
#include "number_reading.h"

namespace vesk_loader {

/// The fields of the current line, as views into it.
///
/// The columns are the same for all lines, so the fields are spread over windows once. Of a line that holds all columns
/// whole, the words of a window's fields are found together; those of other lines, field by field.
///
/// Requires: LineReader::margin bytes on either side of a line can be read.
/// Lifetime: the views are those of the line that was split last.
class FixedFields {
 public:
  /// 0-based first and last columns, both inclusive, one of each a field.
  FixedFields(const std::vector<std::int32_t>& starts, const std::vector<std::int32_t>& ends);

  std::size_t size() const { return fields.size(); }

  /// Cuts the fields in order. A field that starts beyond the line's end stops the cut and makes the result false. One
  /// that starts at its end, or ends before it starts, is empty; a line that ends inside a field shortens it.
  bool split_fixed_fields(const Line& line) {
    lineText = line.text;
    isWhole = line.length >= fullLength;
    if (!isWhole) return splitShortLine(line);
    cut = fields.size();
    return true;
  }

  /// Number of fields that the last split could cut.
  std::size_t cutCount() const { return cut; }

  /// The characters of a field that was cut.
  std::string_view text(std::size_t field) const {
    if (isWhole) return {lineText + columns[field].start, columns[field].length};
    return fields[field].text();
  }

  /// Finds the word of one field that was cut. False if the field is blank or holds more than one word; separators are
  /// blank, comma, tab and line feed.
  bool findWord(std::size_t field, FieldText& word) const;

  /// Finds the word of every field; false if one of them is not one word.
  bool findWords() {
    if (!isWhole) return findWordsOfShortLine();
    for (FieldWindow& window : windows) {
      if (!window.findWords(lineText)) return false;
    }
    return separateFields.empty() || findSeparateWords();
  }

  /// A field with its word, after findWords.
  FieldText operator[](std::size_t field) const {
    const Column& column = columns[field];
    if (!isWhole || column.mask == 0) return fields[field];
    return windows[column.window].word(column.mask, lineText + column.start, column.length);
  }

 private:
  struct Column {
    std::size_t start = 0;
    std::uint32_t length = 0;
    bool exists = false;       // false: starts before the line's first column, so that no line has it
    std::uint32_t window = 0;  // index among the windows
    std::uint64_t mask = 0;    // in the window; 0: the field is in none
  };

  void spreadOverWindows();
  bool splitShortLine(const Line& line);
  bool findWordsOfShortLine();
  bool findSeparateWords();

  std::vector<Column> columns;
  std::vector<FieldWindow> windows;
  std::vector<std::size_t> separateFields;  // in no window: empty, or wider than one
  std::vector<FieldText> fields;            // of a short line; of a whole line those in no window
  const char* lineText = nullptr;
  bool isWhole = false;
  std::size_t cut = 0;
  std::size_t fullLength = 0;  // lines from this length on hold all columns whole
};

}  // namespace vesk_loader

#endif  // FIXED_FIELDS_H
