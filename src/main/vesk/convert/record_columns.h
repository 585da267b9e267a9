#ifndef VESK_RECORD_COLUMNS_H
#define VESK_RECORD_COLUMNS_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

/// What a field of a record is.
enum class FieldRole { Caller, Callee, Date, Duration, Count, Payload };

/// A field of the fixed-column records.
struct RecordField {
  FieldRole role;
  std::string name;       ///< in the parameter files
  std::size_t first = 0;  ///< column from 0
  std::size_t width = 0;
};

/// The fields of the records that are written, with a blank between any two of them. Values are right-aligned.
///
/// Widths: ids 16, the date 8, the duration 12, the count 10, a payload 24 columns.
class RecordColumns {
 public:
  /// Adds a field after the others. Letters, digits and _ are kept of a name, other characters become _.
  void add(FieldRole role, std::string_view name);

  const std::vector<RecordField>& getFields() const { return fields; }
  /// Bytes of a line with its line feed.
  std::size_t getLineBytes() const { return columns + 1; }

  /// The parameter files for the loader: a run with the table of the latest callees, with pair sums, and with sums per
  /// caller (positions of a dataset: 1 calls, 2 seconds, 3 calls of 300 seconds and more, then the payloads; without
  /// durations the payloads are from position 2 on).
  std::string tableParameters() const;
  std::string pairSumParameters() const;
  std::string sumsParameters() const;

 private:
  int numberOf(FieldRole role) const;
  std::string beginParameters() const;

  std::vector<RecordField> fields;
  std::size_t columns = 0;
};

/// The names of the files that belong to the records OUT: the parameters of a table run, of pair sums, of sums.
std::array<std::string, 3> parameterFileNames(const std::string& records);

}  // namespace vesk

#endif  // VESK_RECORD_COLUMNS_H
