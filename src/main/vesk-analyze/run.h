#ifndef VESK_ANALYZE_RUN_H
#define VESK_ANALYZE_RUN_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "analysis_kind.h"
#include "parameter_file.h"
#include "passes/quven_pass_driver.h"
#include "run_results.h"

namespace vesk_analyze {

class Run;

/// What the command line says. The same on every rank.
struct AnalyzeOptions {
  const AnalysisKind* kind = nullptr;  ///< null for a sub-command without a parameter file
  std::string parameterFile;
  std::vector<ParameterSetting> settings = {};  ///< in place of what the parameter file says
  std::string dataset;
  std::string resultsFile = {};      ///< where the results of a run go as XML, empty for nowhere
  std::string resultsJsonFile = {};  ///< where they go as JSON, empty for nowhere
  bool timings = false;              ///< a table of the passes on standard error
  std::string timingsFile = {};      ///< where the timings of all ranks go as JSON, empty for nowhere
  bool isStrict = false;             ///< a warning that the result is not what was asked for ends the run
  bool verifies = false;             ///< the hashes of the dataset's files are compared with those of its card
  std::int64_t memoryBytes = -1;     ///< the most that a rank keeps of its rows, 0 for nothing, -1 when it is not given

  // Of groups.
  std::string levels = {};         ///< sparsity levels to compare, with commas between, or "auto"; empty for none
  std::string previousNodes = {};  ///< nodes file of an earlier run, whose group numbers go on; empty for none

  // Of score.
  std::string modelFile = {};
  std::string outputFile = {};
  bool writesChannels = false;                ///< columns for the channel and the prediction of each channel
  bool writesStages = false;                  ///< a column for the prediction after each stage
  std::int32_t numReasons = 0;                ///< reasons of each prediction, 0 for none
  std::vector<std::string> keptColumns = {};  ///< columns of the dataset that are copied

  std::unique_ptr<Run> (*makeRun)(const AnalyzeOptions& options, const QUVENWorkerTransport& transport,
                                  const QUVENEnvHandle& env) = nullptr;
};

/// The run of a sub-command on one rank, as a user of the pass driver.
///
/// Collective: open and work are calls of every rank.
/// Lifetime:   release(env) before it ends.
class Run {
 public:
  virtual ~Run() = default;

  /// The name of the sub-command, for the results.
  virtual std::string getCommand() const = 0;
  /// Reads and checks what the run needs, and makes the driver.
  /// Errors: the terminating reports of what is wrong with the files and parameters.
  virtual void open(const QUVENEnvHandle& env) = 0;
  /// Requires: open.
  virtual QUVENPassDriver& getDriver() = 0;
  virtual void work(const QUVENEnvHandle& env) = 0;
  /// Writes what is written at the end, or checks that it is there. Called on rank 0.
  /// Errors: the terminating report 2302 with the name of the file.
  virtual void finish(const QUVENEnvHandle& env) = 0;
  /// Adds what is known of the run to its results. Called on rank 0.
  virtual void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const = 0;
  /// The parameters of the run; null for a run without a parameter file. Valid until release.
  virtual const ParameterFile* getParameterFile() const { return nullptr; }
  virtual void release(const QUVENEnvHandle& env) = 0;

 protected:
  Run() = default;
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
};

/// Makes a run of a class that is constructed from the same arguments.
template <class R>
std::unique_ptr<Run> makeRunOf(const AnalyzeOptions& options, const QUVENWorkerTransport& transport,
                               const QUVENEnvHandle& env) {
  return std::make_unique<R>(options, transport, QUVEN_ENV);
}

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RUN_H
