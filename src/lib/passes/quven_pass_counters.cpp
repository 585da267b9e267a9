#include "passes/quven_pass_counters.h"

#include <sys/resource.h>

#include <iomanip>
#include <ostream>
#include <string>

namespace {

constexpr int nameWidth = 6;
constexpr int countWidth = 14;
constexpr int secondsWidth = 11;
constexpr double million = 1e6;
constexpr double megabyte = 1 << 20;

double millionsPerSecond(std::int64_t records, double seconds) {
  return seconds > 0 ? static_cast<double>(records) / seconds / million : 0;
}

void printCounters(const std::string& name, const QUVENPassCounters& counters, std::ostream& out) {
  out << std::setw(nameWidth) << name << std::setw(countWidth) << counters.records;
  for (const double seconds : counters.seconds) out << std::setw(secondsWidth) << seconds;
  const double scan = counters.seconds[QUVENPassCounters::Read] + counters.seconds[QUVENPassCounters::Update];
  out << std::setw(secondsWidth) << millionsPerSecond(counters.records, scan) << std::setw(secondsWidth)
      << static_cast<double>(counters.bytes) / megabyte << '\n';
}

double secondsOf(const timeval& time) {
  constexpr double microseconds = 1e6;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / microseconds;
}

}  // namespace

void QUVENRunTimings::measureProcess() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  constexpr std::int64_t unitOfPeak = 1024;
  peakMemoryBytes = usage.ru_maxrss * unitOfPeak;
  cpuSeconds = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

const char* quvenPhaseName(std::size_t phase) {
  constexpr std::array<const char*, QUVENPassCounters::NumPhases> names = {"read", "update", "transport", "merge",
                                                                           "end"};
  return names[phase];
}

QUVENPassCounters quvenSumOfPasses(std::span<const QUVENPassCounters> passes) {
  QUVENPassCounters sum;
  for (const QUVENPassCounters& pass : passes) {
    sum.records += pass.records;
    sum.bytes += pass.bytes;
    for (std::size_t phase = 0; phase < pass.seconds.size(); ++phase) sum.seconds[phase] += pass.seconds[phase];
  }
  return sum;
}

std::optional<QUVENPassPhase> quvenCostliestPhase(std::span<const QUVENPassCounters> passes) {
  std::optional<QUVENPassPhase> costliest;
  for (std::size_t pass = 0; pass < passes.size(); ++pass) {
    for (std::size_t phase = 0; phase < QUVENPassCounters::NumPhases; ++phase) {
      const double seconds = passes[pass].seconds[phase];
      if (costliest && seconds <= costliest->seconds) continue;
      costliest = {pass + 1, static_cast<QUVENPassCounters::Phase>(phase), seconds};
    }
  }
  return costliest;
}

void quvenPrintTimings(const QUVENRunTimings& timings, std::ostream& out) {
  out << "seconds of worker " << timings.rank << '\n'
      << std::setw(nameWidth) << "pass" << std::setw(countWidth) << "records";
  for (std::size_t phase = 0; phase < QUVENPassCounters::NumPhases; ++phase) {
    out << std::setw(secondsWidth) << quvenPhaseName(phase);
  }
  out << std::setw(secondsWidth) << "Mrec/s" << std::setw(secondsWidth) << "MB read" << '\n'
      << std::fixed << std::setprecision(3);
  int number = 0;
  for (const QUVENPassCounters& pass : timings.passes) printCounters(std::to_string(++number), pass, out);
  const QUVENPassCounters sum = quvenSumOfPasses(timings.passes);
  printCounters("all", sum, out);
  out << std::setw(nameWidth) << "Mrec/s" << std::setw(countWidth) << "";
  for (const double seconds : sum.seconds) out << std::setw(secondsWidth) << millionsPerSecond(sum.records, seconds);
  out << "\npeak memory: " << static_cast<double>(timings.peakMemoryBytes) / megabyte << " MB\n";
  const std::optional<QUVENPassPhase> costliest = quvenCostliestPhase(timings.passes);
  if (!costliest) return;
  out << "most time: " << quvenPhaseName(costliest->phase) << " of pass " << costliest->pass << ", "
      << costliest->seconds << " s of " << timings.seconds << " s\n";
}
