#ifndef VESK_INSPECT_INSPECT_PROCESS_H
#define VESK_INSPECT_INSPECT_PROCESS_H

#include <cstddef>
#include <iosfwd>
#include <string>

#include "process_check.h"

namespace vesk_inspect {

struct ProcessOptions {
  std::string path{};
  ProcessShape shape{};
  std::size_t rows = 10;  ///< entries to print
};

/// Prints what is in a process file, its first entries and the first defect. True when it is sound.
///
/// Errors: std::runtime_error when the file cannot be read.
[[nodiscard]] bool inspectProcess(const ProcessOptions& options, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_PROCESS_H
