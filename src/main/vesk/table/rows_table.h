#ifndef VESK_ROWS_TABLE_H
#define VESK_ROWS_TABLE_H

#include <cstdint>
#include <string>
#include <vector>

namespace vesk {

/// A column of a table of sums.
struct SumsColumn {
  std::uint64_t position;  ///< in the sparse dataset, from 1
  std::string name;
};

struct RowsOptions {
  std::string input{};  ///< the sparse dataset: one file, or its parts
  std::string output{};
  std::string key = "caller";  ///< name of the first column
  std::vector<SumsColumn> columns{};
};

/// The result of makeRowsTable.
struct RowsTable {
  std::uint64_t records = 0;
  std::vector<std::uint64_t> callers{};  ///< per column: number of callers that have its position
  std::uint64_t otherEntries = 0;        ///< number of entries at positions without a column
  std::vector<std::string> remarks{};    ///< warnings for the user, one line each
};

/// Makes a table of the sums of a loader run: one record per caller, in ascending order of the callers. The table does
/// not depend on the number of parts. The first column is the caller; a position that a caller does not have is 0.
///
/// Memory: 256 KiB per part and one record. The dataset is read once.
/// Errors: std::runtime_error that names the file, the triple and the caller. Then nothing is written.
RowsTable makeRowsTable(const RowsOptions& options);

}  // namespace vesk

#endif  // VESK_ROWS_TABLE_H
