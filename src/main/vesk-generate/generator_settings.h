#ifndef VESK_GENERATE_GENERATOR_SETTINGS_H
#define VESK_GENERATE_GENERATOR_SETTINGS_H

#include <chrono>
#include <cstdint>

#include "bad_lines.h"
#include "dates.h"
#include "record_layout.h"

namespace vesk_generate {

/// What the records are to look like; the same settings give the same bytes.
struct GeneratorSettings {
  std::uint64_t records = 1000000;
  std::uint64_t seed = 1;

  std::uint32_t callers = 10000;    ///< the callees are drawn from the same numbers
  std::uint64_t firstCaller = 1;    ///< the numbers run from here without a gap
  double activityExponent = 0.8;    ///< the caller of rank r calls in proportion to r^-exponent; 0: all alike
  double popularityExponent = 0.6;  ///< the same for being called from outside the group

  std::uint32_t groupCount = 0;
  std::uint32_t groupSizeMin = 5;
  std::uint32_t groupSizeMax = 15;
  double insideShare = 0.8;  ///< share of the calls of a group's members that stay inside the group

  std::chrono::year_month_day startDate{std::chrono::year{2020} / 1 / 1};
  std::uint32_t days = 30;
  DateForm dateForm = DateForm::YearMonthDay;
  bool shuffleDates = false;  ///< false: the dates rise with the records

  double meanDurationSeconds = 120.0;
  std::uint32_t maxMultiplicity = 3;  ///< each further call of a record has the probability 1/4

  BadLineShares badShares{};  ///< share of all lines, by kind
  RecordLayout layout{};
};

/// Checks every setting and what they ask of each other.
///
/// Errors: std::invalid_argument with a text that names the setting.
void checkSettings(const GeneratorSettings& settings);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_GENERATOR_SETTINGS_H
