#ifndef VESK_ANALYZE_ANALYSIS_RUN_H
#define VESK_ANALYZE_ANALYSIS_RUN_H

#include <string>

#include "analysis_kind.h"
#include "control/quven_binaryindataset.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_field_name_map.h"
#include "output_check.h"
#include "parameter_file.h"
#include "run_results.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"
#include "worker_transport.h"

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

/// What a run works on, on one worker: the dataset, the data point with its fields, the model. It knows no analysis.
///
/// Lifetime: release(env) before it ends.
class AnalysisRun {
 public:
  AnalysisRun(const AnalyzeOptions& runOptions, const WorkerTransport& workerTransport, const QUVENEnvHandle& env);

  /// Collective: the master reads the parameter file, opens dataset and model; the others get the fields, and open
  /// their dataset with them. Errors: the terminating reports of what is wrong with the files and parameters.
  void open(const QUVENEnvHandle& env);
  /// Reads the master's model into this worker's.
  void readModel(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env);
  void writeModel(QUVENMemoryBlobIO& blob, std::int32_t writerMode, const QUVENEnvHandle& env) const;
  /// Whether all that the analysis writes is there. Called on the master, after the last pass.
  /// Errors: the terminating report 2302 with the name of the file.
  void checkOutputs(const QUVENEnvHandle& env) const;
  /// Writes the parameters and counters of the run.
  /// Errors: the terminating report 2302 with the name of the file.
  void writeResults(const RunSummary& summary, const QUVENEnvHandle& env) const;
  void release(const QUVENEnvHandle& env);

  QUVENBinaryInputDataset& getDataset() { return *dataset; }
  QUVENDataPoint& getPoint() { return *point; }
  QUVENSimpleAlgorithmModel& getModel() { return *model; }

 private:
  void openDataset(const QUVENEnvHandle& env);
  void checkNames(const QUVENEnvHandle& env) const;
  void openModel(const QUVENXMLTag& parameters, const QUVENEnvHandle& env);
  void shareFields(const QUVENEnvHandle& env);

  const AnalyzeOptions& options;
  const WorkerTransport& transport;
  ParameterFile parameterFile;
  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  QUVENOwnPtr<QUVENBinaryInputDataset> dataset;
  QUVENOwnPtr<QUVENSimpleAlgorithmModel> model;
  std::vector<OutputFile> outputFiles;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_ANALYSIS_RUN_H
