#ifndef VESK_CSV_TABLE_H
#define VESK_CSV_TABLE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "table/table_column.h"

namespace vesk {

struct CsvTableOptions {
  std::string input{};
  std::string output{};
  std::optional<std::string> target{};
  std::vector<std::string> categorical{};
  std::vector<std::string> numeric{};
  std::vector<std::string> drop{};
  std::vector<std::string> missing{"NA", "NaN", "null", "?"};
  bool hasHeader = true;
  char delimiter = ',';
};

/// What became of a table.
struct CsvTable {
  std::uint64_t rows = 0;
  std::vector<TableColumn> columns{};  ///< those of the dataset, in their order
  std::vector<std::string> remarks{};  ///< what a person should know, a line each
};

/// Makes a dataset of a CSV file: the numbers, OUTPUT.info and OUTPUT.labels.
///
/// The file is read twice, so it must be a regular file; it may be larger than memory. In memory are one row and the
/// different texts of the categorical columns.
/// Errors: std::runtime_error, with the file and the line where a line is wrong. Nothing is written then: the three
///         files appear under their names when all of them are complete.
CsvTable makeCsvTable(const CsvTableOptions& options);

}  // namespace vesk

#endif  // VESK_CSV_TABLE_H
