#ifndef VESK_ANALYZE_EVALUATION_RUN_H
#define VESK_ANALYZE_EVALUATION_RUN_H

#include <optional>

#include "applied_model.h"
#include "control/quven_table_labels.h"
#include "evaluation_parameters.h"
#include "evaluation_report.h"
#include "learning/quven_model_evaluation.h"
#include "learning/quven_model_sensitivity.h"
#include "model_kind.h"
#include "run.h"
#include "run_dataset.h"

namespace vesk_analyze {

/// `evaluate`: judges the predictions of a model for the records of a table with known targets.
///
/// The table needs the explanatory columns and the target of the training, with the same names and types. It may have
/// other columns.
/// Passes: two for the distributions of target and prediction, one for QUVENModelEvaluation, and one for the
/// sensitivity.
class EvaluationRun final : public Run {
 public:
  EvaluationRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                const QUVENEnvHandle& env);

  std::string getCommand() const override { return options.kind->command; }
  void open(const QUVENEnvHandle& env) override;
  QUVENPassDriver& getDriver() override { return *driver; }
  void work(const QUVENEnvHandle& env) override;
  void finish(const QUVENEnvHandle& env) override;
  void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const override;
  const ParameterFile* getParameterFile() const override { return &parameterFile; }
  void release(const QUVENEnvHandle& env) override;

 private:
  void makeDriver(const QUVENEnvHandle& env);
  void openTable(const QUVENEnvHandle& env);
  void addModel(const QUVENEnvHandle& env);
  void checkRecords(const QUVENEnvHandle& env) const;
  void warnOfTarget(const QUVENEnvHandle& env);
  void addEvaluation(const QUVENEnvHandle& env);
  void warnOfScale();
  void warnOfEvaluation(const QUVENEnvHandle& env);
  std::int64_t chooseSensitivityStep();
  void runSensitivity(const QUVENEnvHandle& env);
  QUVENNumField& fieldOf(const std::string& name) const;

  // The report
  EvaluationReport makeReport(const QUVENEnvHandle& env) const;
  void addQuality(EvaluationReport& report, const QUVENEnvHandle& env) const;
  void addSensitivities(EvaluationReport& report) const;
  void addSegments(EvaluationReport& report, const QUVENEnvHandle& env) const;
  void logResults() const;

  const AnalyzeOptions& options;
  const QUVENWorkerTransport& transport;
  ParameterFile parameterFile;
  AppliedModel model;
  const ModelFacts& facts;  // of the model
  RunDataset dataset;
  std::optional<QUVENPassDriver> driver;
  std::int32_t channel = 0;         // of the records that take part; 0 for all
  std::int32_t hasSensitivity = 0;  // 1: yes
  std::string scaledName;           // of the field with the prediction on the scale of the target

  // On rank 0.
  EvaluationParameters parameters;
  std::int32_t lossId = 1;
  const ModelKind* kind = nullptr;
  QUVENTableLabels labels;              // of the training
  const QUVENModel* trained = nullptr;  // owned by the driver, as the next two
  QUVENModelEvaluation* evaluation = nullptr;
  QUVENModelSensitivity* sensitivity = nullptr;
  std::vector<std::string> warnings;
  std::int64_t sensitivityStep = 1;  // one record in so many takes part
  EvaluationReport report;           // after work
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EVALUATION_RUN_H
