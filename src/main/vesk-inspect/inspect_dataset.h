#ifndef VESK_INSPECT_INSPECT_DATASET_H
#define VESK_INSPECT_INSPECT_DATASET_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

#include "dataset_form.h"

namespace vesk_inspect {

struct DatasetOptions {
  std::string path{};
  std::optional<DatasetForm> form{};       ///< not given: as FILE.info says
  std::optional<std::uint32_t> columns{};  ///< the same
  std::size_t rows = 10;                   ///< records to print
  std::size_t shownDefects = 20;
};

/// Prints what a dataset is, its first records and what is wrong with it. True when it is sound.
///
/// Errors: std::runtime_error when a file cannot be read, or as findDatasetShape.
[[nodiscard]] bool inspectDataset(const DatasetOptions& options, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_DATASET_H
