#ifndef VESK_ANALYZE_DATASET_CHECK_H
#define VESK_ANALYZE_DATASET_CHECK_H

#include <cstdint>
#include <string>

#include "analysis_kind.h"
#include "kernel/quven_data_point.h"

namespace vesk_analyze {

/// Whether the fields of the point are those of the kind of dataset: the records of another one would be taken for what
/// they are not.
/// Errors: the terminating report 2302 with the name of the dataset.
void checkColumns(const AnalysisKind& kind, const std::string& dataset, const QUVENDataPoint& point,
                  const QUVENEnvHandle& env);

/// Whether each file of the dataset holds whole records of such columns. What a copy or a full disk has cut would be
/// analysed as if it were all.
/// Errors: the terminating report 2302 with the name of the dataset or the part.
void checkLengths(const std::string& dataset, std::int64_t columns, const QUVENEnvHandle& env);

/// Whether a dataset with such columns begins like a table in sparse form, and ends with the end of a row. What a copy
/// or a full disk has cut between two records would be analysed as if it were all. Requires: checkColumns. Errors: the
/// terminating report 2302 with the name of the dataset or the part.
void checkTable(const AnalysisKind& kind, const std::string& dataset, const QUVENDataPoint& point,
                const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_DATASET_CHECK_H
