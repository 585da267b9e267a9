#ifndef VESK_DAY_STATE_CHECK_H
#define VESK_DAY_STATE_CHECK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "day/process_rows.h"
#include "loader_dates.h"
#include "loader_settings.h"

namespace vesk {

ProcessShape shapeOf(const vesk_loader::LoaderSettings& settings);

/// What a process file holds.
struct StateCounts {
  std::uint64_t callers = 0;
  std::uint64_t entries = 0;
  std::uint64_t tooOld = 0;                   ///< entries before the cutoff
  std::vector<vesk_files::CardFile> files{};  ///< the process files

  StateCounts& operator+=(const StateCounts& other);
};

/// Reads a process file whole. `cutoff`: counts the entries before it.
/// Errors: std::runtime_error as ProcessRows.
StateCounts countState(const std::string& path, const ProcessShape& shape,
                       const std::optional<vesk_loader::CutoffTest>& cutoff);

/// What was found in the files of one partition.
struct PartitionCheck {
  StateCounts state;
  std::uint64_t callers = 0;                  ///< of the dataset
  std::uint64_t records = 0;                  ///< of the dataset: triples, or rows of the dense form
  std::vector<vesk_files::CardFile> files{};  ///< of the dataset: the main file and its payload files
};

/// Reads a process file and the binary dataset of the same partition side by side: every row of the one must be the row
/// of the other, in the form that the settings ask for, with its payload files. So the state of tomorrow is what the
/// dataset of today shows.
///
/// The dataset may still be growing until `isWritten`; the process file must be complete.
///
/// Requires: the output format is Binary.
/// Errors: std::runtime_error with the file and the caller or the byte.
PartitionCheck checkPartition(const std::string& process, const std::string& dataset,
                              const vesk_loader::LoaderSettings& settings, const IsWritten& isWritten);

}  // namespace vesk

#endif  // VESK_DAY_STATE_CHECK_H
