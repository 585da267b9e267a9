#ifndef VESK_ANALYZE_ANALYSIS_RUN_H
#define VESK_ANALYZE_ANALYSIS_RUN_H

#include <string>

#include "analysis_kind.h"
#include "control/quven_binaryindataset.h"
#include "output_check.h"
#include "parameter_file.h"
#include "passes/quven_pass_driver.h"
#include "run_results.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"

namespace vesk_analyze {

struct AnalyzeOptions {
  const AnalysisKind* kind = nullptr;
  std::string parameterFile;
  std::vector<ParameterSetting> settings = {};  ///< in place of what the parameter file says
  std::string dataset;
  std::string resultsFile = {};  ///< where writeResultsToTag goes, empty for nowhere
  bool timings = false;
  bool isStrict = false;  ///< a warning that the result is not what was asked for ends the run
};

/// One analysis of a dataset, on one rank: it reads the parameters, opens the dataset and the model, and lets the pass
/// driver run. It knows no analysis.
///
/// Lifetime: release(env) before it ends.
class AnalysisRun {
 public:
  AnalysisRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport, const QUVENEnvHandle& env);

  /// Collective: rank 0 reads the parameter file, opens dataset and model; the others get the fields, and open their
  /// dataset with them. Errors: the terminating reports of what is wrong with the files and parameters.
  void open(const QUVENEnvHandle& env);
  /// Whether all that the analysis writes is there. Called on rank 0, after the last pass.
  /// Errors: the terminating report 2302 with the name of the file.
  void checkOutputs(const QUVENEnvHandle& env) const;
  /// Writes the parameters and counters of the run. Called on rank 0.
  /// Errors: the terminating report 2302 with the name of the file.
  void writeResults(const RunSummary& summary, const QUVENEnvHandle& env) const;
  void release(const QUVENEnvHandle& env);

  QUVENPassDriver& getDriver() { return driver; }

 private:
  void openDataset(const QUVENEnvHandle& env);
  void checkNames(const QUVENEnvHandle& env) const;
  void openModel(const QUVENXMLTag& parameters, const QUVENEnvHandle& env);

  const AnalyzeOptions& options;
  const QUVENWorkerTransport& transport;
  ParameterFile parameterFile;
  QUVENPassDriver driver;
  QUVENOwnPtr<QUVENBinaryInputDataset> dataset;
  QUVENSimpleAlgorithmModel* model = nullptr;  // on rank 0, owned by the driver
  std::vector<OutputFile> outputFiles;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_ANALYSIS_RUN_H
