#include "simple_algorithm/quven_analysis_trace.h"

#include <iostream>
#include <sstream>

#include "kernel/quven_worker.h"
#include "util/quven_output.h"
#include "vesk-common/quven_reports.h"

void QUVENAnalysisTrace::event(std::int32_t level, std::string_view text, std::int32_t verbosity,
                               const std::function<void(std::ostream&)>& dump) const {
  if (level > verbosity) return;
  const int rank = quvenWorkerRank();
  std::ostringstream report;
  report << "<<<<<< Worker " << rank << " [" << word << "EventStarts]\n";
  if (!text.empty()) report << "-- " << text << '\n';
  if (dump) dump(report);
  report << ">>>>>> Worker " << rank << " [" << word << "EventEnds]\n";
  quvenWriteOutput({report.view()});
}

bool QUVENAnalysisTrace::sample(std::int32_t level, std::int32_t verbosity) {
  constexpr std::int64_t firstEvents = 9;
  constexpr std::int64_t period = 1000000;
  constexpr std::int64_t eventsOfPeriod = 5;
  bool on = verbosity == FullVerbosity;
  if (!on && level < verbosity) {
    ++ivSampleTraceEventsCounter;
    on = ivSampleTraceEventsCounter <= firstEvents || ivSampleTraceEventsCounter % period < eventsOfPeriod;
  }
  if (on == (ivSampleTraceOn != 0)) return on;
  std::cout << ">>>>>> Worker " << quvenWorkerRank() << "[Sample" << word << (on ? "EventStarts]\n" : "EventEnds]\n");
  ivSampleTraceOn = on ? 1 : 0;
  return on;
}

void QUVENAnalysisTrace::progress(std::string_view text, std::string_view methodName, std::int32_t iteration) {
  std::ostringstream report;
  report << "\n[Worker:" << quvenWorkerRank() << ", Iteration: " << iteration
         << ", ProgressReport:" << ivProgressReportCounter << "]\nMethod name:" << methodName << ": " << text << "\n\n";
  report_log(1, report.view());
  ++ivProgressReportCounter;
}

void quvenTraceRecord(std::string_view className, std::string_view stateName, std::int32_t state,
                      const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec,
                      std::uint64_t sampleNumber) {
  std::ostringstream report;
  const auto list = [&report](const char* name, const QUVENXaRay<double>& values) {
    report << name << values.getSize() << '\n';
    for (long i = 1; i <= values.getSize(); ++i) report << "  - Elm " << i << ": " << values[i] << '\n';
  };
  report << " Entering " << className << "::update, " << stateName << " = " << state
         << ", sample num = " << sampleNumber << '\n';
  list(" -- dataVec size =  ", dataVec);
  list("-- targetVec size =  ", targetVec);
  quvenWriteOutput({report.view()});
}
