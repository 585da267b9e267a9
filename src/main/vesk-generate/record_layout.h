#ifndef VESK_GENERATE_RECORD_LAYOUT_H
#define VESK_GENERATE_RECORD_LAYOUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vesk_generate {

/// The columns of one field; numbers stand right-aligned in them.
struct ColumnRange {
  std::uint32_t first;  ///< 1-based
  std::uint32_t last;   ///< inclusive

  std::uint32_t width() const { return last - first + 1; }

  /// The largest number that fits, at most 10^19 - 1.
  std::uint64_t largest() const;
};

/// Where the fields of a record stand in its line. What no field covers is blank.
struct RecordLayout {
  ColumnRange caller{1, 15};
  ColumnRange callee{17, 31};
  ColumnRange date{33, 40};
  ColumnRange duration{42, 47};
  ColumnRange multiplicity{49, 50};

  /// In the order in which the parameter file numbers them from 1.
  std::array<ColumnRange, 5> fields() const { return {caller, callee, date, duration, multiplicity}; }

  /// Bytes of a whole line with its line feed.
  std::size_t lineBytes() const;
};

/// Errors: std::invalid_argument when fields overlap, are reversed or too narrow, or the line is too long.
void checkLayout(const RecordLayout& layout);

/// Reads "FIRST-LAST" five times, separated by commas, in the order of RecordLayout::fields.
///
/// Errors: std::invalid_argument with the text that could not be read, or from checkLayout.
RecordLayout parseLayout(std::string_view text);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_RECORD_LAYOUT_H
