#ifndef VESK_ANALYZE_CORRELATIONS_RUN_H
#define VESK_ANALYZE_CORRELATIONS_RUN_H

#include <optional>

#include "learning/quven_model_correlations.h"
#include "run.h"
#include "run_dataset.h"
#include "training_fields.h"
#include "training_parameters.h"

namespace vesk_analyze {

/// `correlations`: the correlations of the columns of a table with a target and with each other, after each column is
/// replaced by its transform.
///
/// Passes: two for the distributions of the columns, those that make the transforms, and one for the correlations.
class CorrelationsRun final : public Run {
 public:
  CorrelationsRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                  const QUVENEnvHandle& env);

  std::string getCommand() const override { return options.kind->command; }
  void open(const QUVENEnvHandle& env) override;
  QUVENPassDriver& getDriver() override { return *driver; }
  void work(const QUVENEnvHandle& env) override { driver->runPasses(QUVEN_ENV); }
  void finish(const QUVENEnvHandle& env) override;
  void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const override;
  const ParameterFile* getParameterFile() const override { return &parameterFile; }
  void release(const QUVENEnvHandle& env) override;

 private:
  void makeDriver(const QUVENEnvHandle& env);
  void openTable(const QUVENEnvHandle& env);
  void addScan(const QUVENEnvHandle& env);

  const AnalyzeOptions& options;
  const QUVENWorkerTransport& transport;
  ParameterFile parameterFile;
  RunDataset dataset;
  std::optional<QUVENPassDriver> driver;

  // On rank 0.
  TrainingParameters parameters;
  TrainingFields fields;
  QUVENModelCorrelations* correlations = nullptr;  // owned by the driver
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_CORRELATIONS_RUN_H
