#ifndef VESK_ANALYZE_TRAINING_RUN_H
#define VESK_ANALYZE_TRAINING_RUN_H

#include <optional>

#include "control/quven_table_labels.h"
#include "kernel/quven_model_outputs.h"
#include "learning/quven_model_file.h"
#include "learning/quven_model_losses.h"
#include "learning/quven_term_variances.h"
#include "model_kind.h"
#include "run.h"
#include "run_dataset.h"
#include "training_fields.h"
#include "training_parameters.h"
#include "training_report.h"

namespace vesk_analyze {

/// `train`: learns a model from a table and writes it, with reports. It knows no class of models.
///
/// Passes: two for the distributions of the columns, those of the model, one to choose the last stage if the parameters
///         say so, and one that gathers the losses and the importance of the inputs.
class TrainingRun final : public Run {
 public:
  TrainingRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport, const QUVENEnvHandle& env);

  std::string getCommand() const override { return options.kind->command; }
  /// Rank 0 reads the parameters and opens the table; the others get the settings and the fields.
  void open(const QUVENEnvHandle& env) override;
  QUVENPassDriver& getDriver() override { return *driver; }
  void work(const QUVENEnvHandle& env) override;
  void finish(const QUVENEnvHandle& env) override;
  void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const override;
  const ParameterFile* getParameterFile() const override { return &parameterFile; }
  void release(const QUVENEnvHandle& env) override;

 private:
  void readParameters(const QUVENEnvHandle& env);
  void makeDriver(const QUVENEnvHandle& env);
  void openTable(const QUVENEnvHandle& env);
  void checkInputs(const QUVENEnvHandle& env) const;
  void addModel(const QUVENEnvHandle& env);
  void readLossFunction(const QUVENEnvHandle& env);
  void checkColumns(const QUVENEnvHandle& env);
  void dropOutputDistributions(const QUVENEnvHandle& env);
  QUVENModelLosses& addLosses(const std::vector<QUVENField*>& predictions, const QUVENEnvHandle& env);
  void chooseStage(const QUVENEnvHandle& env);
  void addReportScans(const QUVENEnvHandle& env);
  void checkRecords(const QUVENEnvHandle& env) const;
  void writeModel(const QUVENEnvHandle& env) const;
  std::vector<DescribedStage> describeStages(const QUVENEnvHandle& env) const;
  TrainingReport makeReport(const std::vector<DescribedStage>& stages,
                            const std::vector<InputImportance>& importances) const;
  void logResults(const QUVENEnvHandle& env) const;
  void writeReports(const QUVENEnvHandle& env) const;

  const AnalyzeOptions& options;
  const QUVENWorkerTransport& transport;
  ParameterFile parameterFile;
  RunDataset dataset;
  std::optional<QUVENPassDriver> driver;
  bool choosesLater = false;  // the last stage is chosen in a pass after the training

  // On rank 0.
  TrainingParameters parameters;
  TrainingFields fields;
  QUVENTableLabels labels;
  const ModelKind* kind = nullptr;
  std::int32_t lossId = 1;
  std::vector<TrainingWarning> warnings;
  StageHistory history;
  QUVENModel* model = nullptr;  // owned by the driver, as the losses and variances
  QUVENModelLosses* losses = nullptr;
  std::vector<PredictionTerm> terms;
  QUVENTermVariances* variances = nullptr;  // of the terms; null when the prediction is no sum of terms
  QUVENOwnPtr<QUVENModelOutputs> outputs;
  std::size_t trainingPasses = 0;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TRAINING_RUN_H
