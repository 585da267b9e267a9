#ifndef QUVEN_ANALYSIS_TRACE_H
#define QUVEN_ANALYSIS_TRACE_H

// What the analyses say of themselves: trace events, the sampled trace of records, progress reports.

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string_view>

#include "util/quven_xaray.h"

/// The trace of one analysis.
class QUVENAnalysisTrace {
 public:
  /// The word is "Trace" or, of the kernel, "TraceKernel": it stands in the marks around every event.
  explicit QUVENAnalysisTrace(std::string_view traceWord = "Trace") : word(traceWord) {}

  static constexpr std::int32_t FullVerbosity = 100;

  /// Writes an event at a level up to the verbosity, with the full dump of the object if there is one.
  void event(std::int32_t level, std::string_view text, std::int32_t verbosity,
             const std::function<void(std::ostream&)>& dump = nullptr) const;

  /// Whether a record of this level is traced: all at full verbosity, a few of each million below it.
  bool sample(std::int32_t level, std::int32_t verbosity);

  /// A log line of level 1 with the worker, the iteration and the number of the report, which goes up.
  void progress(std::string_view text, std::string_view methodName, std::int32_t iteration);

 private:
  std::string_view word;
  std::int32_t ivSampleTraceOn = 0;
  std::int64_t ivSampleTraceEventsCounter = 0;
  std::int32_t ivProgressReportCounter = 0;
};

/// Writes a record that an analysis is shown, with the name of its class and of its state member.
void quvenTraceRecord(std::string_view className, std::string_view stateName, std::int32_t state,
                      const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec,
                      std::uint64_t sampleNumber);

#endif  // QUVEN_ANALYSIS_TRACE_H
