#ifndef PROCESS_FILE_H
#define PROCESS_FILE_H

// The process file: the tables of a partition between two runs.

#include <cstdint>
#include <string>

#include "loader_settings.h"
#include "loader_tables.h"

namespace vesk_loader {

/// Reads a process file into new tables. Returns 0, with the tables as they were, if the file cannot be opened.
/// Requires: the settings that the file was written with; nothing in the file tells them.
/// Errors: 1311 if memory ends; 1310 and then 1312 for another number of payload columns; 1312 for a file that ends
/// inside a record or cannot be read. Negative ids give the warnings 1370 and 1371 and are kept.
int read_process_file(const std::string& fileName, const LoaderSettings& settings, LoaderTables& tables);

/// Writes the tables in ascending order of the keys, in place of what the file held; keys without an entry are left
/// out. Returns 1.
/// Errors: 1201 if the file cannot be opened, 1000 for a caller without pairs in a pair sum run, both followed by 1323;
/// 1323 if a write fails: the file then holds what had been written. 1323 as well if memory ends: the file then is as
/// it was.
int write_process_file(const std::string& fileName, LoaderTables& tables);

/// Takes the entries with a date before the cutoff out of the rows. The keys stay. Returns 1.
/// Errors: 1360 if memory ends, 1300 for anything else.
int drop_old_entries(LoaderTables& tables, double cutoffDate, std::uint32_t dateFormat);

}  // namespace vesk_loader

#endif  // PROCESS_FILE_H
