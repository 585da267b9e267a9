#ifndef FIELD_WINDOW_H
#define FIELD_WINDOW_H

// The words of neighbouring fields of a line, found together.

#include <bit>
#include <cstdint>

#include "number_reading.h"
#include "separators.h"

namespace vesk_loader {

/// Fields within 64 columns of a line, none of which overlaps another. Bit i of a mask is column `start` + i.
class FieldWindow {
 public:
  static constexpr std::uint32_t columns = 64;

  explicit FieldWindow(std::size_t start_) : start(start_) {}

  /// Adds a field; returns its columns as a mask, 0 if the field does not fit. Fields come in the order of their
  /// columns.
  std::uint64_t add(std::size_t fieldStart, std::uint32_t length) {
    if (length == 0 || fieldStart < start + width || fieldStart + length > start + columns) return 0;
    const auto first = static_cast<std::uint32_t>(fieldStart - start);
    const std::uint64_t field = (~std::uint64_t{0} >> (columns - length)) << first;
    fields |= field;
    firsts |= std::uint64_t{1} << first;
    width = first + length;
    lasts |= std::uint64_t{1} << (width - 1);
    return field;
  }

  /// Finds the words of all fields. False if a field is blank or holds more than one word.
  /// Requires: the line holds all columns of the fields; 64 characters from the first column on can be read.
  bool findWords(const char* line) {
    const SeparatorMask mask = separators(line + start, width);
    words = ~mask.all & fields;
    notBlanks = mask.notBlanks;
    // Each sum is taken within the fields: the last column of a field is added without its carry. The first one
    // carries into the last column of a field if one of the columns before it belongs to a word.
    const std::uint64_t covered = ((words & ~lasts) + (fields & ~lasts)) | words;
    if ((covered & lasts) != lasts) return false;
    // Every field has a word now, so subtracting 1 from each field borrows from no other.
    const std::uint64_t lowest = words & ~(words - firsts);
    // Adding its lowest bit to one run of bits carries out of the run; of a second run bits stay.
    const std::uint64_t sum = ((words & ~lasts) + (lowest & ~lasts)) ^ ((words ^ lowest) & lasts);
    return (sum & words) == 0;
  }

  /// The word of a field, by the mask that add gave, after findWords. `text` and `length` are those of the field.
  FieldText word(std::uint64_t field, const char* text, std::uint32_t length) const {
    const std::uint64_t own = words & field;
    const auto first = static_cast<std::uint32_t>(std::countr_zero(own));
    const auto end = columns - static_cast<std::uint32_t>(std::countl_zero(own));
    const auto fieldFirst = static_cast<std::uint32_t>(std::countr_zero(field));
    // atof steps over blanks and tabs but not over commas: then the library reads the text.
    const bool isPlain = (notBlanks & field & ((own & (~own + 1)) - 1)) == 0;
    return {text, length, first - fieldFirst, isPlain ? end - first : 0};
  }

 private:
  std::size_t start;
  std::uint32_t width = 0;  // columns up to the end of the last field
  std::uint64_t fields = 0;
  std::uint64_t firsts = 0;  // first column of each field
  std::uint64_t lasts = 0;   // last column of each field
  std::uint64_t words = 0;   // of the current line: columns of words
  std::uint64_t notBlanks = 0;
};

}  // namespace vesk_loader

#endif  // FIELD_WINDOW_H
