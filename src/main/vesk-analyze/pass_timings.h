#ifndef VESK_ANALYZE_PASS_TIMINGS_H
#define VESK_ANALYZE_PASS_TIMINGS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <vector>

namespace vesk_analyze {

/// What a pass did, in the phases of the timing table.
struct PassCounters {
  enum Phase : std::size_t { Read, Update, Transport, Merge, End, NumPhases };

  std::int64_t records = 0;
  std::int64_t bytes = 0;
  std::array<double, NumPhases> seconds{};
};

/// Adds the time from its construction to its end to a phase.
class PhaseTimer {
 public:
  PhaseTimer(PassCounters& passCounters, PassCounters::Phase timedPhase)
      : counters(passCounters), phase(timedPhase), start(std::chrono::steady_clock::now()) {}
  ~PhaseTimer() {
    counters.seconds[phase] += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  PhaseTimer(const PhaseTimer&) = delete;
  PhaseTimer& operator=(const PhaseTimer&) = delete;

 private:
  PassCounters& counters;
  PassCounters::Phase phase;
  std::chrono::steady_clock::time_point start;
};

/// A line a pass: records, their rate, the seconds of each phase.
void printTimings(const std::vector<PassCounters>& passes, int rank, std::ostream& out);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PASS_TIMINGS_H
