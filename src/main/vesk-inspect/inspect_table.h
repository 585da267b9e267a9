#ifndef VESK_INSPECT_INSPECT_TABLE_H
#define VESK_INSPECT_INSPECT_TABLE_H

#include <iosfwd>
#include <optional>
#include <string>

#include "control/quven_table_labels.h"
#include "inspect_dataset.h"

namespace vesk_inspect {

/// The labels beside a dataset: with them a dense dataset is a table with named columns. Nothing without description or
/// labels.
///
/// Errors: std::runtime_error with the file's name, and the line where one is wrong.
std::optional<QUVENTableLabels> readTableLabels(const std::string& path, const DatasetShape& shape);

/// Prints the columns of a table, its first records with the labels of their categories, and what is wrong with it: a
/// record that is cut, a numeric value that is not finite, a category without a label, labels of a column that the
/// table has not. True when it is sound.
///
/// Errors: std::runtime_error when the file cannot be read.
[[nodiscard]] bool inspectTable(const DatasetOptions& options, const DatasetShape& shape,
                                const QUVENTableLabels& labels, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_TABLE_H
