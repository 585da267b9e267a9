#ifndef VESK_TABLE_SOURCE_H
#define VESK_TABLE_SOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"
#include "table/record_file.h"

namespace vesk {

/// A table with named columns that is read once, record by record: one file, or its parts in their order.
///
/// Errors: every operation throws std::runtime_error with the file.
class TableSource {
 public:
  /// Reads the description and the labels. A table without a file of labels has no labels.
  explicit TableSource(const std::string& tableName);

  const std::string& getName() const { return name; }
  const std::vector<dataset_info::Column>& getColumns() const { return columns; }
  const QUVENTableLabels& getLabels() const { return labels; }
  /// All files that are read: records, description, labels.
  const std::vector<std::string>& getFiles() const { return files; }
  /// The index of a column, from 0.
  std::optional<std::size_t> findColumn(const std::string& columnName) const;

  /// The number of records, from the sizes of the files; 0 if the sizes are not known.
  std::uint64_t countRecords() const;
  /// The next record, valid until the next call; null at the end.
  const double* next();
  /// For a message: the file of the last record of next(), and the number of the record in that file.
  std::string place() const;

 private:
  std::string name;
  std::vector<std::string> parts;
  std::vector<std::string> files;
  std::vector<dataset_info::Column> columns;
  QUVENTableLabels labels;
  std::size_t nextPart = 0;
  std::unique_ptr<RecordFile> part;
};

}  // namespace vesk

#endif  // VESK_TABLE_SOURCE_H
