#include "table_run_files.h"

#include "output_check.h"

namespace vesk_analyze {

void checkTableRunFiles(const AnalyzeOptions& options, const ParameterFile& parameterFile, const RunDataset& dataset,
                        const QUVENWorkerTransport& transport, const QUVENEnvHandle& env) {
  RunFiles files{.outputs = parameterFile.outputFiles(transport.getCount(), QUVEN_ENV),
                 .results = options.resultsFile,
                 .resultsJson = options.resultsJsonFile,
                 .timings = options.timingsFile,
                 .inputs = parameterFile.inputFiles(QUVEN_ENV)};
  files.addInputs(dataset.tableFiles());
  if (!options.modelFile.empty()) files.inputs.push_back(options.modelFile);
  files.checkWritable(outputUnwritable, QUVEN_ENV);
  parameterFile.endIfStrict(QUVEN_ENV);
  files.checkNames(QUVEN_ENV);
}

}  // namespace vesk_analyze
