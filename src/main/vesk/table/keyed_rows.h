#ifndef VESK_KEYED_ROWS_H
#define VESK_KEYED_ROWS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vesk {

/// Rows of numbers in memory, found by a key.
///
/// Memory: per row 8 bytes for the key, 8 per column, and 6 to 12 in an index with open addressing.
class KeyedRows {
 public:
  static constexpr std::uint32_t NoRow = 0xFFFFFFFF;

  /// Requires: mostRows < NoRow.
  KeyedRows(std::size_t columnCount, std::uint64_t mostRows);

  std::uint32_t size() const { return count; }
  /// Adds a row; rows are numbered from 0. Returns NoRow, or, if the key already has a row, the number of that row.
  /// Nothing is added then.
  /// Requires: isKey(key); size() < mostRows of the constructor.
  std::uint32_t add(double key, std::span<const double> cells);
  /// The number of the row of a key, or NoRow. The key may be any number.
  std::uint32_t find(double key) const;
  double keyOf(std::uint32_t row) const { return rows[std::size_t{row} * width]; }
  /// The cells of a row.
  std::span<const double> cellsOf(std::uint32_t row) const {
    return std::span<const double>(rows).subspan(std::size_t{row} * width + 1, width - 1);
  }

 private:
  /// The slot of the key, or the empty slot where it belongs.
  std::size_t slotOf(double key) const;

  std::size_t width;  // the key and the cells
  std::vector<double> rows;
  std::vector<std::uint32_t> slots;  // numbers of rows; NoRow in an empty slot
  int shift;
  std::uint32_t count = 0;
};

}  // namespace vesk

#endif  // VESK_KEYED_ROWS_H
