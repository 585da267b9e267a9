#include "passes/quven_pass_counters.h"

#include <iomanip>
#include <ostream>

void quvenPrintTimings(const std::vector<QUVENPassCounters>& passes, int rank, std::ostream& out) {
  constexpr int nameWidth = 6;
  constexpr int countWidth = 14;
  constexpr int secondsWidth = 11;
  out << "seconds of worker " << rank << '\n' << std::setw(nameWidth) << "pass" << std::setw(countWidth) << "records";
  for (const char* name : {"read", "update", "transport", "merge", "end", "Mrec/s"})
    out << std::setw(secondsWidth) << name;
  out << '\n' << std::fixed << std::setprecision(3);
  int number = 0;
  for (const QUVENPassCounters& pass : passes) {
    out << std::setw(nameWidth) << ++number << std::setw(countWidth) << pass.records;
    for (const double seconds : pass.seconds) out << std::setw(secondsWidth) << seconds;
    const double scan = pass.seconds[QUVENPassCounters::Read] + pass.seconds[QUVENPassCounters::Update];
    constexpr double million = 1e6;
    out << std::setw(secondsWidth) << (scan > 0 ? static_cast<double>(pass.records) / scan / million : 0) << '\n';
  }
}
