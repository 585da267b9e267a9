#ifndef VESK_GENERATE_LOADER_PARAMS_H
#define VESK_GENERATE_LOADER_PARAMS_H

#include <cstdint>
#include <iosfwd>

#include "record_layout.h"

namespace vesk_generate {

/// The runs of the loader that a parameter file can ask for.
enum class LoaderRun {
  Table,    ///< the latest callees of each caller, with their dates
  PairSum,  ///< the weight of each pair of caller and callee
  Sums      ///< calls, seconds and long calls of each caller
};

enum class DatasetForm { Sparse, Dense };

struct LoaderParamsSettings {
  LoaderRun run = LoaderRun::Table;
  DatasetForm form = DatasetForm::Sparse;  ///< PairSum has the sparse form only
  std::uint32_t tableSize = 20;            ///< of a table run
  std::uint32_t horizonDays = 30;          ///< of a table run
  bool payload = true;                     ///< of a table run: the duration stands beside each callee
  std::uint32_t partitions = 1;
};

/// Writes the loader's parameter file for records of the layout: tags only, as the loader's parser wants it.
///
/// Errors: std::invalid_argument for settings that the loader would refuse; nothing is written then.
void writeLoaderParams(std::ostream& out, const LoaderParamsSettings& settings, const RecordLayout& layout);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_LOADER_PARAMS_H
