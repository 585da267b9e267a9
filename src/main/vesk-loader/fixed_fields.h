#ifndef FIXED_FIELDS_H
#define FIXED_FIELDS_H

// A line cut into its fields by columns, and the test that each field holds one word.

#include <cstdint>
#include <vector>

#include "line_reader.h"
#include "number_reading.h"

namespace vesk_loader {

/// The fields of the current line, as views into it.
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
    if (line.length < fullLength) return splitShortLine(line);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      fields[i].begin = line.text + columns[i].start;
      fields[i].length = columns[i].length;
    }
    cut = fields.size();
    return true;
  }

  /// Number of fields that the last split could cut.
  std::size_t cutCount() const { return cut; }

  /// Finds the word of one field that was cut. False if the field is blank or holds more than one word; separators are
  /// blank, comma, tab and line feed.
  bool findWord(std::size_t field);

  /// Finds the word of every field in order; false at the first that is not one word.
  bool findWords() {
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (!findWord(i)) return false;
    }
    return true;
  }

  const FieldText& operator[](std::size_t field) const { return fields[field]; }

 private:
  struct Column {
    std::size_t start;
    std::uint32_t length;
    bool exists;  // false: starts before the line's first column, so that no line has it
  };

  bool splitShortLine(const Line& line);

  std::vector<Column> columns;
  std::vector<FieldText> fields;
  std::size_t cut = 0;
  std::size_t fullLength = 0;  // lines from this length on hold all columns whole
};

}  // namespace vesk_loader

#endif  // FIXED_FIELDS_H
