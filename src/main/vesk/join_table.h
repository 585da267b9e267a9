#ifndef VESK_JOIN_TABLE_H
#define VESK_JOIN_TABLE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"
#include "right_side.h"

namespace vesk {

struct JoinOptions {
  std::string base{};  ///< a table with named columns: one file, or its parts
  std::string output{};
  std::string key{};
  std::vector<RightFile> with{};
  std::optional<std::string> target{};  ///< a column of the result
};

/// What became of a join.
struct JoinTable {
  struct Side {
    std::string path;
    std::string keyName;
    std::vector<dataset_info::Column> columns;  ///< as the result has them
    std::uint64_t keys = 0;
    std::uint64_t keysInBase = 0;
    std::uint64_t recordsWithoutPartner = 0;  ///< of the base table
  };

  std::uint64_t records = 0;
  std::uint64_t columns = 0;
  std::uint64_t missingKeys = 0;  ///< records of the base table
  std::vector<Side> sides{};
  QUVENTableLabels labels{};
  std::vector<std::string> remarks{};  ///< what a person should know, a line each
};

/// Makes a table of a base table and the columns of other files, which are found by a key. The records and columns of
/// the base table keep their order; what has no partner is missing.
///
/// Memory: the right sides, see KeyedRows, the different texts of their categorical columns, and the labels; the base
/// table is read once and may be larger than memory.
/// Errors: std::runtime_error with the file, and the line or record where one is wrong; nothing is written then.
JoinTable makeJoinTable(const JoinOptions& options);

}  // namespace vesk

#endif  // VESK_JOIN_TABLE_H
