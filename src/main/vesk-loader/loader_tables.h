#ifndef LOADER_TABLES_H
#define LOADER_TABLES_H

#include <memory>

#include "key_table.h"
#include "loader_settings.h"
#include "pair_sum_table.h"

namespace vesk_loader {

/// The tables of one partition, made at its start and freed at its end.
struct LoaderTables {
  std::unique_ptr<KeyTable> keys;
  std::unique_ptr<PairSumTable> pairs;  ///< only in a pair sum run

  /// Empty tables for a run with these settings.
  static LoaderTables create(const LoaderSettings& settings);
};

}  // namespace vesk_loader

#endif  // LOADER_TABLES_H
