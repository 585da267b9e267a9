#ifndef VESK_CSV_COLUMNS_H
#define VESK_CSV_COLUMNS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "table/table_column.h"

namespace vesk {

class CsvFile;

/// How a CSV file is read.
struct CsvForm {
  std::string path{};
  char delimiter = ',';
  bool hasHeader = true;  ///< without it the columns are C1, C2, ...
  std::vector<std::string> missing{"NA", "NaN", "null", "?"};
};

/// Columns of a CSV file that is read twice: the first reading finds the types, the second one returns the numbers.
///
/// Requires: a regular file.
/// Memory: one row, and the different texts of the categorical columns.
/// Errors: every operation throws std::runtime_error with the file, and with the line where one is wrong.
class CsvColumns {
 public:
  /// Opens the file and takes the names from its first row.
  explicit CsvColumns(CsvForm csvForm);
  ~CsvColumns();
  CsvColumns(const CsvColumns&) = delete;
  CsvColumns& operator=(const CsvColumns&) = delete;

  const CsvForm& getForm() const { return form; }
  /// The names of all columns of the file, see columnNames.
  const std::vector<std::string>& getNames() const { return names; }
  /// A name that is a number; a sign that the file has no header.
  std::optional<std::string> findNumberForName() const;

  /// Adds a column of the file, by its index from 0, to those that are read.
  /// Requires: before findTypes.
  void choose(std::size_t place, TableColumn column);
  /// First reading: finds the types of the chosen columns. Returns the number of rows.
  std::uint64_t findTypes();

  /// The numbers of the chosen columns in a row, and the line in which the row starts.
  using TakeRow = std::function<void(std::span<const double> numbers, std::uint64_t line)>;
  /// Second reading: calls `take` for each row. An exception of `take` ends it.
  void readRows(const TakeRow& take);

  /// All cells of a row of the file, for messages. Sets `line` to the line in which the row starts.
  /// Requires: `row`, from 0, is below the number of rows.
  std::vector<std::string> readRow(std::uint64_t row, std::uint64_t& line) const;

  /// The chosen columns in the order of the calls of choose.
  const std::vector<TableColumn>& getColumns() const { return columns; }
  /// Moves the columns out. The object must not be used afterwards.
  std::vector<TableColumn> releaseColumns() { return std::move(columns); }

 private:
  CsvForm form;
  CellReader cells;
  std::vector<std::string> names;
  std::unique_ptr<CsvFile> first;  // the first reading
  std::vector<std::size_t> places;
  std::vector<TableColumn> columns;
  std::uint64_t rows = 0;
};

}  // namespace vesk

#endif  // VESK_CSV_COLUMNS_H
