#ifndef VESK_INSPECT_DATASET_FORM_H
#define VESK_INSPECT_DATASET_FORM_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"

namespace vesk_inspect {

enum class DatasetForm { Sparse, Dense };

/// What a dataset's records look like, and who says so.
struct DatasetShape {
  DatasetForm form;
  std::uint32_t columns;  ///< doubles a record
  std::string source;     ///< for people: the description file, the command line, or the lack of both
  std::vector<dataset_info::Column> description{};  ///< empty when none was read
};

/// The shape of a dataset by its description `path`.info and by what the command line says, which goes first.
///
/// A description whose first column has the purpose LineNumber is one of the sparse form, any other of the dense form.
/// Without description and form the sparse form is assumed, or the dense one when the number of columns is given.
///
/// Errors: std::runtime_error when the description cannot be read or understood, or nothing tells the columns of a
/// dense
///         dataset.
DatasetShape findDatasetShape(const std::string& path, std::optional<DatasetForm> form,
                              std::optional<std::uint32_t> columns);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_DATASET_FORM_H
