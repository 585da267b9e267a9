#ifndef OUTPUT_ROWS_H
#define OUTPUT_ROWS_H

// The rows of a partition as the output files show them.

#include <cstdint>
#include <span>
#include <vector>

#include "loader_tables.h"

namespace vesk_loader {

/// One caller's row in output order. Lifetime: until the next row is made.
struct OutputRow {
  double key = 0.0;
  std::span<const double> values;                 ///< callees or sums
  std::span<const double> weights;                ///< pair sum run: one of each value
  std::span<const std::vector<double>> payloads;  ///< columns beside the values
  bool pairSum = false;
};

/// Sorts a row in ascending order; equal values keep their order. The permutation gives for each place the place that
/// its value had before.
/// Errors: 1311 if memory ends, 1324 for anything else.
void sort(std::vector<double>& row, std::vector<std::uint32_t>& permutation);

/// Makes the output row of each caller in turn: sums without their first position, sorted tables, weighted pairs.
class OutputRows {
 public:
  enum class Result {
    Row,
    Skipped,        ///< the row has no place in the output
    ReorderFailed,  ///< a payload column is longer or shorter than its row
  };

  OutputRows(LoaderTables& tables, bool sortTables);

  /// The longest row of the whole table, before anything is removed.
  std::size_t width() const;

  /// All callers in ascending order of their keys.
  const std::vector<std::uint32_t>& order() const { return rows; }

  /// The row of the caller at a place of the order.
  Result make(std::size_t place, OutputRow& row);

 private:
  Result makeTableRow(std::uint32_t number, OutputRow& row);
  Result makePlainRow(std::uint32_t number, OutputRow& row);
  Result makePairRow(std::uint32_t number, OutputRow& row);

  LoaderTables& tables;
  bool sortTables;
  std::vector<std::uint32_t> rows;
  RowColumns columns;
  std::vector<double> weights;
  std::vector<double> column;
  std::vector<std::uint32_t> permutation;
};

}  // namespace vesk_loader

#endif  // OUTPUT_ROWS_H
