#ifndef VESK_RESULT_ROWS_H
#define VESK_RESULT_ROWS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "csv/csv_input.h"
#include "csv/csv_rows.h"

namespace vesk {

/// The rows of a result of an analysis: CSV with a comma and a header.
///
/// Errors: CommandFailure with Status::Data, the file and the line, from every operation.
class ResultRows {
 public:
  /// Takes the header, in which all the columns must be. `source` says in a message where such a file comes from.
  ResultRows(const std::string& path, const std::vector<std::string>& columns, const std::string& source);

  /// Takes the next row; false at the end.
  bool next();
  /// A cell of the row by the index of its column in the constructor's list.
  std::uint64_t getWhole(std::size_t column) const;
  /// A finite number.
  double getNumber(std::size_t column) const;
  /// The text of a cell; valid until the next call of next.
  std::string_view getText(std::size_t column) const { return cellOf(column); }
  /// 0 or 1.
  bool getFlag(std::size_t column) const;
  /// The line in which the row starts, from 1.
  std::uint64_t getLine() const { return rows.getLine(); }
  [[noreturn]] void refuse(const std::string& why) const;

 private:
  std::string_view cellOf(std::size_t column) const { return rows.getCells()[places[column]]; }

  std::string file;
  std::vector<std::string> names;
  CsvInput bytes;
  CsvRows rows;
  std::vector<std::size_t> places;
  std::size_t width = 0;
};

}  // namespace vesk

#endif  // VESK_RESULT_ROWS_H
