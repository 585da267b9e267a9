#ifndef VESK_EXPORTED_FILES_H
#define VESK_EXPORTED_FILES_H

#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"

namespace vesk {

/// What the entries of a dataset mean.
enum class ExportKind { Table, PairSum, Sums, Payload, Dense };

/// The files of a dataset, and what they hold.
struct ExportedFiles {
  ExportKind kind = ExportKind::Dense;
  bool isSparse = false;
  std::vector<std::string> parts{};             ///< the binary files in their order
  std::vector<std::string> inputs{};            ///< all files that are read
  std::vector<dataset_info::Column> columns{};  ///< of a dataset that is not sparse
  QUVENTableLabels labels{};
};

/// Finds the files of a dataset, compares them with its card if there is one, and reads its description and labels.
/// Without a card the rows tell what the entries mean; a table may be read up to its longest row for that. An empty
/// sparse dataset without a card counts as sums.
///
/// Errors: std::runtime_error with a file.
ExportedFiles findExportedFiles(const std::string& dataset, bool verifies);

}  // namespace vesk

#endif  // VESK_EXPORTED_FILES_H
