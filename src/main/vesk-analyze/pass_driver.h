#ifndef VESK_ANALYZE_PASS_DRIVER_H
#define VESK_ANALYZE_PASS_DRIVER_H

#include <vector>

#include "analysis_run.h"
#include "pass_timings.h"
#include "progress_line.h"

namespace vesk_analyze {

/// The pass loop. It knows the scan protocol and no analysis.
///
/// The master's objects are live: they scan its share, and alone begin and end passes. The other workers' are copies
/// that the master's state is read into before every pass; their results go back merged, lower ranks first. Collective:
/// every worker runs it.
class PassDriver {
 public:
  PassDriver(AnalysisRun& analysisRun, const WorkerTransport& workerTransport, ProgressLine& progressLine)
      : run(analysisRun), transport(workerTransport), progress(progressLine) {}

  /// Runs passes until the analysis has ended.
  void runPasses(const QUVENEnvHandle& env);

  const std::vector<PassCounters>& getPasses() const { return passes; }

 private:
  /// What the master says between passes.
  enum Word : std::int32_t { Ended = 0, AnotherPass = 1 };

  void shareState(QUVENMemoryBlobIO& blob, PassCounters& counters, const QUVENEnvHandle& env);
  void scan(PassCounters& counters, const QUVENEnvHandle& env);
  void scanRecords(QUVENScanType type, PassCounters& counters, const QUVENEnvHandle& env);
  void finishIteration(PassCounters& counters, const QUVENEnvHandle& env);
  void collectResults(QUVENMemoryBlobIO& blob, PassCounters& counters, const QUVENEnvHandle& env);
  void mergeWith(int otherRank, QUVENMemoryBlobIO& blob, PassCounters& counters, const QUVENEnvHandle& env);
  bool endPass(PassCounters& counters, const QUVENEnvHandle& env);

  AnalysisRun& run;
  const WorkerTransport& transport;
  ProgressLine& progress;
  std::vector<PassCounters> passes;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PASS_DRIVER_H
