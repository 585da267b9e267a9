#ifndef RECORD_SCAN_H
#define RECORD_SCAN_H

// From record files to tables: the loader's hot loop.

#include <cstdint>
#include <string>
#include <vector>

#include "loader_settings.h"
#include "loader_tables.h"

namespace vesk_loader {

/// What one partition's scan is about, besides the settings.
struct ScanScope {
  double cutoffDate = 0.0;  ///< yyyyddmm; 0.0: no date is too old
  std::int32_t dateFormat = 0;
  std::uint32_t partition = 0;
  std::uint32_t partitions = 1;
};

/// Scans every record file of a directory, or the one whose name is `singleFile` unless that is empty, in the order in
/// which the system lists them: it is the order of the entries of a caller. Returns 1.
/// Errors: 1200 if there is no file; those of update_map.
int update_process_file(const std::string& directory, const std::string& singleFile, LoaderTables& tables,
                        const LoaderSettings& settings, const ScanScope& scope);

/// Scans one record file into the tables. Bad lines are counted and left out; a file that cannot be opened gives a
/// warning.
/// Errors: 1311 if memory ends; 1351 for a line of 10000 characters or more, a failed read, an operation on a field
/// that does not exist, and after 1350.
void update_map(const std::string& path, LoaderTables& tables, const LoaderSettings& settings, const ScanScope& scope);

/// The names in a directory, in the system's order, each printed on a line; only `filter` unless that is empty.
/// Returns 1 if there are any, 0 if not, -1 if the directory cannot be listed (said on standard output).
int list_directory_files(const std::string& directory, const std::string& filter, std::vector<std::string>& names);

}  // namespace vesk_loader

#endif  // RECORD_SCAN_H
