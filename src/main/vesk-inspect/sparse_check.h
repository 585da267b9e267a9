#ifndef VESK_INSPECT_SPARSE_CHECK_H
#define VESK_INSPECT_SPARSE_CHECK_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "defect_list.h"

namespace vesk_inspect {

struct Triple {
  double key;
  double position;  ///< in a pair sum the callee
  double value;
};

enum class SparseKind {
  Table,   ///< positions 1, 2, ... of a table or of sums; the footer stands at width + 1
  PairSum  ///< ascending callees with their weights; the footer is the mark
};

enum class TripleRole { Header, Entry, Footer };

std::string_view nameOf(TripleRole role);

/// The kind of a sparse dataset, by the first footer of either kind in it; Table when there is none.
///
/// Errors: std::runtime_error as NumberFile.
SparseKind findSparseKind(const std::string& path);

/// Checks the triples of a sparse dataset one after the other.
///
/// A row is a header (key, 0, width), its entries, and a footer. The width is one for the whole dataset and belongs to
/// its longest row; a row of sums has one entry less than was counted, as the first sum stays behind.
class SparseCheck {
 public:
  SparseCheck(SparseKind sparseKind, DefectList& defectList) : kind(sparseKind), defects(defectList) {}

  /// Takes the next triple. The result is what it was taken for.
  TripleRole take(const Triple& triple);

  /// Takes the end of the file.
  void finish();

  std::uint64_t getTriples() const { return triples; }
  std::uint64_t getRows() const { return rows; }
  std::uint64_t getEntries() const { return entries; }
  std::uint64_t getLongestRow() const { return longestRow; }
  std::optional<double> getWidth() const { return width; }

 private:
  void report(const std::string& text);
  bool startsRow(const Triple& triple) const;
  bool isFooter(const Triple& triple) const;
  void openRow(const Triple& triple);
  void closeRow();
  void checkHeader(const Triple& triple);
  void checkEntry(const Triple& triple);
  void checkFooter(const Triple& triple);
  bool isLongestRowOfWidth() const;

  SparseKind kind;
  DefectList& defects;
  std::uint64_t triples = 0;
  std::uint64_t rows = 0;
  std::uint64_t entries = 0;
  std::uint64_t longestRow = 0;
  std::optional<double> width;    // of the first header
  std::optional<double> lastKey;  // of the last header

  // The open row.
  bool inRow = false;
  double rowKey = 0.0;
  std::uint64_t rowEntries = 0;
  std::optional<double> lastPosition;  // of the last entry
};

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_SPARSE_CHECK_H
