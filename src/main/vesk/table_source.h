#ifndef VESK_TABLE_SOURCE_H
#define VESK_TABLE_SOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"
#include "record_file.h"

namespace vesk {

/// A table with named columns that is read once, record by record: one file, or its parts in their order.
///
/// Errors: std::runtime_error with the file, from every operation.
class TableSource {
 public:
  /// Reads the description and the labels; a table without the file of labels has none.
  explicit TableSource(const std::string& tableName);

  const std::string& getName() const { return name; }
  const std::vector<dataset_info::Column>& getColumns() const { return columns; }
  const QUVENTableLabels& getLabels() const { return labels; }
  /// Everything that is read: records, description, labels.
  const std::vector<std::string>& getFiles() const { return files; }
  /// The place of a column, from 0.
  std::optional<std::size_t> findColumn(const std::string& columnName) const;

  /// The number of records by the sizes of the files; 0 if the system does not tell them.
  std::uint64_t countRecords() const;
  /// The next record, valid until the next call; null at the end.
  const double* next();
  /// The file and the number in it of the record that next() gave last, for a message.
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
