#ifndef OUTPUT_FILES_H
#define OUTPUT_FILES_H

// The output files of a partition: the binary dataset with its description, or a form for people.

#include <cstdint>
#include <span>
#include <string>

#include "block_file.h"
#include "loader_settings.h"
#include "loader_tables.h"

namespace vesk_loader {

/// Writes the output of one partition under the name `outputStem`. Returns 1; 0 if a file cannot be opened or the
/// payloads of a row cannot follow its order.
/// Errors: 1106 for a pair sum run in another form than sparse or XML; 1311 if memory ends; 1320 or 1321 and then 1325
/// for a failed write of a row to a binary file; 1325 alone for anything else.
int write_pml_file(const std::string& outputStem, LoaderTables& tables, const LoaderSettings& settings);

/// Writes one row in the sparse form: header, entries, footer. With `weights` the entries are pairs.
/// Errors: 1320.
void writeFeaturesToSparse(BlockWriter& file, double key, std::span<const double> row, std::size_t width,
                           const std::span<const double>* weights);

/// Writes one row in the dense form, filled up with 0.0 to `tableSize` values.
/// Errors: 1321.
void writeFeaturesToDense(BlockWriter& file, double key, std::span<const double> row, std::size_t tableSize);

}  // namespace vesk_loader

#endif  // OUTPUT_FILES_H
