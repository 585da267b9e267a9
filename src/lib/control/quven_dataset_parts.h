#ifndef QUVEN_DATASET_PARTS_H
#define QUVEN_DATASET_PARTS_H

// The files of a dataset: one file, or parts.

#include <string>
#include <vector>

/// The files of the dataset `name`, by their names alone.
struct QUVENDatasetFiles {
  /// The file `name`, or the parts `name.0`, `name.1`, ... in their order; `name` when there is neither.
  std::vector<std::string> paths{};
  bool areParts = false;
  /// A part that is missing, or a part that exists beside the single file. Empty if there is none.
  std::string wrongFile{};
  std::string mistake{};  ///< what is wrong with `wrongFile`
};

/// Looks for the files of a dataset. A number of largestPartitionCount or above is not taken as the number of a part,
/// because no loader run writes such a part.
QUVENDatasetFiles quvenFindDatasetFiles(const std::string& name);

#endif  // QUVEN_DATASET_PARTS_H
