#ifndef QUVEN_PASS_COUNTERS_H
#define QUVEN_PASS_COUNTERS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <span>
#include <vector>

/// What a pass did, in the phases of the timing table.
struct QUVENPassCounters {
  enum Phase : std::size_t { Read, Update, Transport, Merge, End, NumPhases };

  std::int64_t records = 0;
  std::int64_t bytes = 0;
  std::array<double, NumPhases> seconds{};
};

/// Adds the time from its construction to its end to a phase.
class QUVENPhaseTimer {
 public:
  QUVENPhaseTimer(QUVENPassCounters& passCounters, QUVENPassCounters::Phase timedPhase)
      : counters(passCounters), phase(timedPhase), start(std::chrono::steady_clock::now()) {}
  ~QUVENPhaseTimer() {
    counters.seconds[phase] += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  QUVENPhaseTimer(const QUVENPhaseTimer&) = delete;
  QUVENPhaseTimer& operator=(const QUVENPhaseTimer&) = delete;

 private:
  QUVENPassCounters& counters;
  QUVENPassCounters::Phase phase;
  std::chrono::steady_clock::time_point start;
};

/// What a run has cost on one rank.
struct QUVENRunTimings {
  int rank = 0;
  double seconds = 0;                ///< since the start of the run, outside of its passes too
  double cpuSeconds = 0;             ///< of the process, all threads, user and system
  std::int64_t peakMemoryBytes = 0;  ///< the most that the process had in memory at one time
  std::span<const QUVENPassCounters> passes = {};

  /// Sets what the system knows of this process: CPU seconds and peak memory.
  void measureProcess();
};

/// One phase of one pass.
struct QUVENPassPhase {
  std::size_t pass = 0;  ///< from 1
  QUVENPassCounters::Phase phase = QUVENPassCounters::Read;
  double seconds = 0;
};

/// The name of a phase in tables and files.
const char* quvenPhaseName(std::size_t phase);

/// The records, bytes and seconds of all passes.
QUVENPassCounters quvenSumOfPasses(std::span<const QUVENPassCounters> passes);

/// The phase of a pass that took the most time, the first of equal ones; no value without passes.
std::optional<QUVENPassPhase> quvenCostliestPhase(std::span<const QUVENPassCounters> passes);

/// Prints one line per pass: records, the seconds of each phase, millions of records per second of reading and
/// updating, and the MB that were read, of 2^20 bytes. Then the sums of all passes, the millions of records per second
/// for each phase, the peak memory, and the phase that took the most time.
void quvenPrintTimings(const QUVENRunTimings& timings, std::ostream& out);

#endif  // QUVEN_PASS_COUNTERS_H
