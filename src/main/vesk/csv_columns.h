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

#include "table_column.h"

namespace vesk {

class CsvFile;

/// How a CSV file is read.
struct CsvForm {
  std::string path{};
  char delimiter = ',';
  bool hasHeader = true;  ///< without it the columns are C1, C2, ...
  std::vector<std::string> missing{"NA", "NaN", "null", "?"};
};

/// Columns of a CSV file that is read twice: the first reading finds the types, the second one gives the numbers.
///
/// Requires: a regular file.
/// Memory: one row, and the different texts of the categorical columns.
/// Errors: std::runtime_error from every operation, with the file, and with the line where a line is wrong.
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
  /// A name that is a number; it shows that the file has no header.
  std::optional<std::string> findNumberForName() const;

  /// Adds a column of the file, by its place from 0, to those that are read.
  /// Requires: before findTypes.
  void choose(std::size_t place, TableColumn column);
  /// First reading: settles the types of the chosen columns. The result is the number of rows.
  std::uint64_t findTypes();

  /// The numbers of the chosen columns in a row, and the line in which the row starts.
  using TakeRow = std::function<void(std::span<const double> numbers, std::uint64_t line)>;
  /// Second reading. An exception of `take` ends it.
  void readRows(const TakeRow& take);

  /// A row of the file, of all columns; for messages.
  /// Requires: `row`, from 0, is below the number of rows.
  std::vector<std::string> readRow(std::uint64_t row, std::uint64_t& line) const;

  /// The chosen columns in the order of the calls of choose.
  const std::vector<TableColumn>& getColumns() const { return columns; }
  /// The same; nothing else may follow.
  std::vector<TableColumn> releaseColumns() { return std::move(columns); }

 private:
  CsvForm form;
  CellReader cells;
  std::vector<std::string> names;
  std::unique_ptr<CsvFile> first;  // of the first reading
  std::vector<std::size_t> places;
  std::vector<TableColumn> columns;
  std::uint64_t rows = 0;
};

}  // namespace vesk

#endif  // VESK_CSV_COLUMNS_H
