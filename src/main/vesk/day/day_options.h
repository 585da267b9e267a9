#ifndef VESK_DAY_DAY_OPTIONS_H
#define VESK_DAY_DAY_OPTIONS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "day/calendar_day.h"

namespace vesk {

/// The command line of `vesk day` for a run.
struct DayOptions {
  std::string parameters;
  std::string input;
  std::string state;
  CalendarDay date = CalendarDay::today();
  std::string recordDates;        ///< ymd, ydm or none; "": that of the state
  std::string output = "dataset"; ///< name of the dataset without its ending
  double maxBad = 0.05;           ///< share of refused lines that is still loaded
  std::size_t keep = 7;           ///< generations
  bool isNew = false;
  bool redo = false;
  bool force = false;
  bool check = true;
  double waitSeconds = 0.0;
  std::string rejects;            ///< "": in the generation
  std::uint64_t rejectsMax = 1000;
  std::string json;               ///< "": none
};

}  // namespace vesk

#endif  // VESK_DAY_DAY_OPTIONS_H
