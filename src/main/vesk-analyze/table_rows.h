#ifndef VESK_ANALYZE_TABLE_ROWS_H
#define VESK_ANALYZE_TABLE_ROWS_H

#include <cstdint>

namespace vesk_analyze {

/// Whether records are rows of a table in sparse form: a header (0, n), entries at positions 1 to n, and a footer at
/// n + 1, all of one caller.
class TableRows {
 public:
  /// The next record; false when it does not fit.
  [[nodiscard]] bool accept(double caller, double position, double value);

 private:
  bool inside = false;
  double currentCaller = 0;
  double width = 0;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TABLE_ROWS_H
