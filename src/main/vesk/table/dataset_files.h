#ifndef VESK_DATASET_FILES_H
#define VESK_DATASET_FILES_H

#include <string>
#include <vector>

#include "control/quven_dataset_info.h"

namespace vesk {

/// The files of a dataset: the file of its name, or its parts in ascending order; the name alone if there is neither.
/// Errors: std::runtime_error that names a missing part, or a part beside the single file.
std::vector<std::string> datasetFilesOf(const std::string& name);

/// The description of a dataset: NAME.info, or NAME.0.info if only this exists; empty if there is none.
std::string descriptionPathOf(const std::string& name);

/// The columns of a description.
/// Errors: std::runtime_error with the file.
std::vector<dataset_info::Column> readDescription(const std::string& path);

}  // namespace vesk

#endif  // VESK_DATASET_FILES_H
