#ifndef VESK_GENERATE_DATES_H
#define VESK_GENERATE_DATES_H

#include <array>
#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vesk_generate {

enum class DateForm { YearDayMonth, YearMonthDay };

using DateText = std::array<char, 8>;  ///< eight digits

/// The last of `days` days from the start on. Requires days >= 1.
std::chrono::year_month_day lastDay(std::chrono::year_month_day start, std::uint32_t days);

/// Requires: a year from 0 to 9999.
DateText dateText(std::chrono::year_month_day date, DateForm form);

/// The texts of `days` days from the start on.
std::vector<DateText> dateTexts(std::chrono::year_month_day start, std::uint32_t days, DateForm form);

/// Reads yyyy-mm-dd.
///
/// Errors: std::invalid_argument for any other text and for a day that the calendar does not have.
std::chrono::year_month_day parseDate(std::string_view text);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_DATES_H
