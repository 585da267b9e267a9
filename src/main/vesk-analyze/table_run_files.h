#ifndef VESK_ANALYZE_TABLE_RUN_FILES_H
#define VESK_ANALYZE_TABLE_RUN_FILES_H

#include "run.h"
#include "run_dataset.h"

namespace vesk_analyze {

/// Checks the files of a run over a table, on rank 0 before the first pass: the outputs must be writable and must not
/// overwrite an input. A strict run ends here if its parameters have given a warning.
/// Errors: the terminating reports 2302 and 4608.
void checkTableRunFiles(const AnalyzeOptions& options, const ParameterFile& parameterFile, const RunDataset& dataset,
                        const QUVENWorkerTransport& transport, const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TABLE_RUN_FILES_H
