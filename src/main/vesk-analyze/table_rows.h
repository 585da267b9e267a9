#ifndef VESK_ANALYZE_TABLE_ROWS_H
#define VESK_ANALYZE_TABLE_ROWS_H

namespace vesk_analyze {

/// Whether the records of a dataset can be rows of a table in sparse form, by those of its first caller. A table that
/// is damaged further on is the analysis's affair: it leaves out what does not fit together.
class TableRows {
 public:
  /// The next record; false when it is one of another dataset: the first is no header, or there is the footer of a pair
  /// sum row.
  [[nodiscard]] bool accept(double caller, double position, double value);
  /// Whether a record can be the last one of a caller, and so of the dataset: behind the entries, with 0.
  [[nodiscard]] static bool isFooter(double position, double value);
  /// Whether the first caller has ended, so that nothing more is to be learned.
  bool isDecided() const { return decided; }

 private:
  bool begun = false;
  bool decided = false;
  double firstCaller = 0;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TABLE_ROWS_H
