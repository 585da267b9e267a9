#ifndef VESK_SPARSE_ROWS_H
#define VESK_SPARSE_ROWS_H

#include <optional>
#include <string>

#include "table/record_file.h"

namespace vesk {

/// The two ways in which the rows of a sparse dataset are written.
enum class SparseForm {
  Positions,  ///< entries (position, value) of a table, its payloads or sums; the footer is (width + 1, 0)
  Pairs       ///< entries (callee, weight); the footer is (0, 7788)
};

/// Reads the rows of any sparse dataset in one file. A row ends where the key changes or the file ends, and its last
/// triple is its footer, so an entry that looks like a footer is read as an entry.
///
/// Errors: std::runtime_error with the file, the number of the triple, from 1, and the key.
class SparseRows {
 public:
  struct Entry {
    double position;  ///< from 1, or the callee
    double value;     ///< or the weight
  };

  SparseRows(const std::string& path, SparseForm rowForm);

  /// Reads the header of the next row; false at the end of the file. Entries of the row before that were not read are
  /// passed over.
  bool nextRow();
  double getKey() const { return key; }
  /// The width of the last row.
  double getWidth() const { return width; }
  /// The next entry of the row; nothing after the last.
  std::optional<Entry> nextEntry();

 private:
  struct Triple {
    double key;
    double position;
    double value;
  };
  bool advance();
  void checkFooter() const;
  void checkPosition();
  [[noreturn]] void fail(const std::string& what) const;

  RecordFile triples;
  SparseForm form;
  Triple current{};
  Triple following{};
  bool hasFollowing = false;
  bool isInRow = false;
  double key = 0;
  double width = 0;
  double lastPosition = 0;
};

/// The form of a sparse dataset, by the footer of its first row; nothing for an empty file.
/// Errors: std::runtime_error with the file.
std::optional<SparseForm> findSparseForm(const std::string& path);

/// Whether a file of rows with positions is a table of contacts or its payloads, and not sums: only a table has an
/// entry at the position `width`. Reads the file up to that entry. Errors: as SparseRows.
bool hasEntryAtWidth(const std::string& path);

}  // namespace vesk

#endif  // VESK_SPARSE_ROWS_H
