#ifndef VESK_EXPORT_DATASET_H
#define VESK_EXPORT_DATASET_H

#include <cstdint>
#include <iosfwd>
#include <string>

namespace vesk {

/// What `vesk export` was asked for.
struct ExportOptions {
  std::string dataset;
  std::string output = "-";  ///< "-" is standard output
  bool isWide = false;       ///< one line per caller
  bool hasTabs = false;      ///< tabs between the cells, whatever the name of the output
  bool verifies = false;     ///< compare the hashes of the files with the card
};

/// What was written.
struct Exported {
  std::uint64_t lines = 0;  ///< without the line of the names
  std::uint64_t columns = 0;
};

/// Writes any binary dataset as CSV or TSV. A sparse dataset has one line per entry, or with isWide one per caller;
/// other datasets have one line per record. Reads and writes in blocks.
///
/// Errors: CommandFailure: Usage if the output is one of the inputs; Data with the file for a dataset that cannot be
///         read or differs from its card; Failed if the output cannot be written. No output is left then.
Exported exportDataset(const ExportOptions& options, std::ostream& standardOutput);

}  // namespace vesk

#endif  // VESK_EXPORT_DATASET_H
