#ifndef VESK_JOIN_TABLE_H
#define VESK_JOIN_TABLE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"
#include "table/right_side.h"

namespace vesk {

struct JoinOptions {
  std::string base{};  ///< a table with named columns: one file, or its parts
  std::string output{};
  std::string key{};
  std::vector<RightFile> with{};
  std::optional<std::string> target{};  ///< a column of the result
};

/// The result of makeJoinTable.
struct JoinTable {
  struct Side {
    std::string path;
    std::string keyName;
    std::vector<dataset_info::Column> columns;  ///< with their names in the result
    std::uint64_t keys = 0;
    std::uint64_t keysInBase = 0;
    std::uint64_t recordsWithoutPartner = 0;  ///< records of the base table whose key this side does not have
  };

  std::uint64_t records = 0;
  std::uint64_t columns = 0;
  std::uint64_t missingKeys = 0;  ///< records of the base table without a key
  std::vector<Side> sides{};
  QUVENTableLabels labels{};
  std::vector<std::string> remarks{};  ///< warnings for the user, one line each
};

/// Makes a table of a base table and the columns of other files, whose rows are found by a key. The records and columns
/// of the base table keep their order; the added cells of a record without a partner are missing.
///
/// Memory: the right sides, see KeyedRows, the different texts of their categorical columns, and the labels. The base
/// table is read once and may be larger than memory.
/// Errors: std::runtime_error with the file, and with the line or record where one is wrong. Then nothing is written.
JoinTable makeJoinTable(const JoinOptions& options);

}  // namespace vesk

#endif  // VESK_JOIN_TABLE_H
