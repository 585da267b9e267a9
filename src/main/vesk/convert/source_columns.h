#ifndef VESK_SOURCE_COLUMNS_H
#define VESK_SOURCE_COLUMNS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "convert/convert.h"
#include "convert/record_columns.h"
#include "csv/csv_rows.h"

namespace vesk {

/// Where the fields of the records are in the rows of one file.
///
/// Errors: CommandFailure with the file: a column that it does not have, a name that two columns have, a caller and a
///         callee in one column, a header that looks like a record.
class SourceColumns {
 public:
  /// Takes the first row: the header, or without one a record.
  SourceColumns(const ConvertOptions& options, CsvRows& rows, std::string file);

  /// The first row is a record and still to be taken.
  bool hasRowWaiting() const { return rowWaiting; }
  /// The number of cells of a row.
  std::size_t getWidth() const { return headings.size(); }
  /// By field, in the order in which addTo adds them: the index of the cell, and the name of the column.
  const std::vector<std::size_t>& getPlaces() const { return places; }
  const std::vector<std::string>& getNames() const { return names; }

  /// Whether the row is the header once more, as in files that were put together.
  bool isHeader(const std::vector<std::string_view>& cells) const {
    return hasHeader && cells[places[0]] == headings[places[0]] && cells[places[1]] == headings[places[1]];
  }

  /// Refuses columns whose names, upper and lower case apart, are not those of the first file: a number would mean
  /// another column.
  void refuseOtherNames(const SourceColumns& first) const;

  /// Adds the fields to empty columns.
  void addTo(RecordColumns& columns) const;

 private:
  void choose(FieldRole role, const std::string& column, const char* name);

  std::string fileName;
  bool hasHeader;
  bool rowWaiting = false;
  std::vector<std::string> headings;
  std::vector<FieldRole> roles;
  std::vector<std::string> fieldNames;
  std::vector<std::size_t> places;
  std::vector<std::string> names;
};

}  // namespace vesk

#endif  // VESK_SOURCE_COLUMNS_H
