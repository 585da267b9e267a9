#ifndef VESK_SUMS_FILE_H
#define VESK_SUMS_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "table/record_file.h"

namespace vesk {

/// A position of the sums, and the index in a record, from 0, at which its value is stored.
struct WantedPosition {
  double position;
  std::size_t place;
};

/// Reads the rows of a sparse dataset that a loader run with sums has written, and checks them.
///
/// A table of contacts (CyclicTableSize) and its payloads have the same form. They are recognised by their longest row,
/// which has an entry at the position `width`, and refused.
///
/// Errors: std::runtime_error with the file, the number of the triple, from 1, and the key.
class SumsFile {
 public:
  /// Requires: the wanted positions are in ascending order.
  /// Lifetime: the view is valid as long as the reader.
  SumsFile(const std::string& path, std::span<const WantedPosition> wantedPositions);

  /// Reads the header of the next row; false at the end of the file.
  /// Requires: readRow has read the previous row.
  bool nextRow();
  double getKey() const { return key; }
  const std::string& getPath() const { return triples.getPath(); }

  /// Reads the row to its footer. Stores the values of the wanted positions in the record, and adds 1 to the count of
  /// each wanted position that the row has. `counts` has one count per wanted position.
  void readRow(std::span<double> record, std::span<std::uint64_t> counts);
  std::uint64_t countOtherEntries() const { return otherEntries; }

 private:
  [[noreturn]] void fail(const std::string& what) const;
  [[noreturn]] void failInRow(const std::string& what);
  void checkHeader(const double* triple);
  const double* nextInRow();
  void checkEntry(double position, double value, double previous);

  RecordFile triples;
  std::span<const WantedPosition> wanted;
  bool hasKey = false;
  double key = 0;
  double width = 0;
  std::uint64_t otherEntries = 0;
};

}  // namespace vesk

#endif  // VESK_SUMS_FILE_H
