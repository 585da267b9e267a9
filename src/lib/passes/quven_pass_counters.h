#ifndef QUVEN_PASS_COUNTERS_H
#define QUVEN_PASS_COUNTERS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <iosfwd>
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

/// Prints one line per pass: records, the seconds of each phase, millions of records per second.
void quvenPrintTimings(const std::vector<QUVENPassCounters>& passes, int rank, std::ostream& out);

#endif  // QUVEN_PASS_COUNTERS_H
