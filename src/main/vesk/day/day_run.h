#ifndef VESK_DAY_DAY_RUN_H
#define VESK_DAY_DAY_RUN_H

#include <iosfwd>

#include "day/day_options.h"
#include "day/day_report.h"

namespace vesk {

/// Loads one day into a state, whole or not at all. The report is filled as far as the run comes, also when it ends early.
/// Remarks go to `err` as they are found.
///
/// Errors: CommandFailure, see Status; std::runtime_error when a system call fails. The state is then what it was.
void runDay(const DayOptions& options, DayReport& report, std::ostream& out, std::ostream& err);

}  // namespace vesk

#endif  // VESK_DAY_DAY_RUN_H
