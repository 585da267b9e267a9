#ifndef VESK_ANALYZE_SCORING_RUN_H
#define VESK_ANALYZE_SCORING_RUN_H

#include <optional>

#include "applied_model.h"
#include "control/quven_table_labels.h"
#include "kernel/quven_model_outputs.h"
#include "prediction_scale.h"
#include "record_reasons.h"
#include "run.h"
#include "run_dataset.h"

namespace vesk_analyze {

/// `score`: writes the prediction of a model for each record of a table. It knows no class of models.
///
/// The table needs the explanatory columns of the training, by name and type; others may be there.
class ScoringRun final : public Run {
 public:
  ScoringRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport, const QUVENEnvHandle& env);

  std::string getCommand() const override { return "score"; }
  void open(const QUVENEnvHandle& env) override;
  QUVENPassDriver& getDriver() override { return *driver; }
  void work(const QUVENEnvHandle& env) override;
  void finish(const QUVENEnvHandle&) override {}
  void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const override;
  void release(const QUVENEnvHandle& env) override;

 private:
  /// The fields behind the columns of the output, on this rank.
  struct Columns {
    QUVENField* prediction = nullptr;
    QUVENField* stdDev = nullptr;
    QUVENField* warning = nullptr;
    std::vector<QUVENField*> stages = {};
    std::vector<QUVENField*> kept = {};
  };

  void makeDriver(const QUVENEnvHandle& env);
  void openTable(const QUVENEnvHandle& env);
  void checkOutputs(const QUVENEnvHandle& env) const;
  void addModel(const QUVENEnvHandle& env);
  std::vector<std::string> predictionColumns() const;
  std::string header() const;
  const Columns& findColumns(const QUVENEnvHandle& env);
  void appendStages(std::string& row) const;
  void appendReasons(std::string& row, const QUVENEnvHandle& env);
  void writeRow(std::int64_t record, std::string& row, const QUVENEnvHandle& env);
  void appendKept(const QUVENField& field, std::string& row, const QUVENEnvHandle& env) const;
  std::int64_t sumOverRanks(std::int64_t number, const QUVENEnvHandle& env) const;

  const AnalyzeOptions& options;
  const QUVENWorkerTransport& transport;
  AppliedModel model;
  const ModelFacts& facts;  // of the model
  RunDataset dataset;
  QUVENTableLabels labels;
  std::optional<QUVENPassDriver> driver;
  std::string warningName;
  PredictionScale scale{""};
  QUVENOwnPtr<QUVENModelOutputs> outputs;  // on rank 0
  std::optional<Columns> columns;          // found with the first record
  std::optional<RecordReasons> reasons;    // made with the first record
  std::int64_t numWarned = 0;              // records of this rank, then of all
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_SCORING_RUN_H
