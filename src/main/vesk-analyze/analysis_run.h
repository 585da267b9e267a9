#ifndef VESK_ANALYZE_ANALYSIS_RUN_H
#define VESK_ANALYZE_ANALYSIS_RUN_H

#include <memory>

#include "output_check.h"
#include "run.h"
#include "run_dataset.h"
#include "simple_algorithm/quven_kept_rows.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"

namespace vesk_analyze {

/// One analysis of a dataset, on one rank: it reads the parameters, opens the dataset and the model, and lets the pass
/// driver run. It knows no analysis.
///
/// Lifetime: release(env) before it ends.
class AnalysisRun : public Run {
 public:
  AnalysisRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport, const QUVENEnvHandle& env);

  std::string getCommand() const override { return options.kind->command; }
  /// Rank 0 reads the parameter file, opens dataset and model; the others get the fields, and open their dataset with
  /// them.
  void open(const QUVENEnvHandle& env) override;
  QUVENPassDriver& getDriver() override { return driver; }
  void work(const QUVENEnvHandle& env) override { driver.runPasses(QUVEN_ENV); }
  /// Whether all that the analysis writes is there.
  void finish(const QUVENEnvHandle& env) override;
  void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const override;
  const ParameterFile* getParameterFile() const override { return &parameterFile; }
  void release(const QUVENEnvHandle& env) override;

 protected:
  const AnalyzeOptions& getOptions() const { return options; }
  /// Reads and checks what a derived run adds, and adds its outputs. Called on rank 0 by open, before the files are
  /// checked.
  virtual void prepare(RunFiles&, const QUVENEnvHandle&) {}
  /// On rank 0.
  QUVENSimpleAlgorithmAbstractData& getData(const QUVENEnvHandle& env) const { return model->getData(QUVEN_ENV); }

 private:
  void openDataset(const QUVENEnvHandle& env);
  /// Lets the analysis keep the rows of the dataset in memory.
  void keepRows();
  void openModel(const QUVENXMLTag& parameters, const QUVENEnvHandle& env);

  const AnalyzeOptions& options;
  const QUVENWorkerTransport& transport;
  ParameterFile parameterFile;
  QUVENPassDriver driver;
  RunDataset dataset;
  QUVENSimpleAlgorithmModel* model = nullptr;  // on rank 0, owned by the driver
  RunFiles files;
  std::unique_ptr<QUVENKeptRows> rows;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_ANALYSIS_RUN_H
