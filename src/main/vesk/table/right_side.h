#ifndef VESK_RIGHT_SIDE_H
#define VESK_RIGHT_SIDE_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"
#include "table/keyed_rows.h"

namespace vesk {

/// A file whose columns are joined, and the prefix of their names.
struct RightFile {
  std::string path{};
  std::string prefix{};
};

/// The column of the base table by which rows are joined.
struct JoinKey {
  std::string base;  ///< name of the base table, for messages
  std::string name;
  bool isCategorical;
  const QUVENTableLabels::Column* labels;  ///< labels of the column in the base table; null if it has none
};

/// The right side of a join: a CSV file or a table with named columns, in memory, found by its keys.
///
/// Errors: every operation throws std::runtime_error with the file, and with the line or record where one is wrong.
class RightSide {
 public:
  /// Reads names and labels. A file is a CSV file when its name ends in .csv or when it has no description.
  /// Lifetime: the labels of the key must outlive the right side.
  static std::unique_ptr<RightSide> open(const RightFile& file, const JoinKey& key);
  virtual ~RightSide() = default;
  RightSide(const RightSide&) = delete;
  RightSide& operator=(const RightSide&) = delete;

  const std::string& getPath() const { return file.path; }
  const std::string& getKeyName() const { return keyName; }
  /// All columns except the key, with their names in the result. Their types are known after load.
  const std::vector<dataset_info::Column>& getColumns() const { return columns; }
  /// All files that are read.
  virtual std::vector<std::string> getFiles() const = 0;

  /// Reads the rows. `target` is the index, from 0, of the column that becomes the target.
  virtual void load(std::optional<std::size_t> target) = 0;
  /// Requires: load.
  const KeyedRows& getRows() const { return *rows; }
  virtual void addLabels(QUVENTableLabels& labels) const = 0;
  /// Warnings for the user, one line each.
  /// Requires: load.
  const std::vector<std::string>& getRemarks() const { return remarks; }

 protected:
  RightSide(RightFile rightFile, JoinKey joinKey) : file(std::move(rightFile)), key(std::move(joinKey)) {}

  /// Allocates the rows.
  /// Errors: no rows, or too many.
  void makeRows(std::uint64_t count);
  std::string newName(const std::string& name) const { return file.prefix + name; }

  RightFile file;
  JoinKey key;
  std::string keyName;
  std::vector<dataset_info::Column> columns;
  std::optional<KeyedRows> rows;
  std::vector<std::string> remarks;
};

}  // namespace vesk

#endif  // VESK_RIGHT_SIDE_H
