#include "dates.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "number_text.h"

namespace vesk_generate {

std::chrono::year_month_day lastDay(std::chrono::year_month_day start, std::uint32_t days) {
  return std::chrono::sys_days(start) + std::chrono::days(days - 1);
}

DateText dateText(std::chrono::year_month_day date, DateForm form) {
  const auto year = static_cast<std::uint32_t>(static_cast<int>(date.year()));
  const auto month = static_cast<unsigned>(date.month());
  const auto day = static_cast<unsigned>(date.day());
  const unsigned middle = form == DateForm::YearDayMonth ? day : month;
  const unsigned last = form == DateForm::YearDayMonth ? month : day;
  DateText text{};
  std::memcpy(&text[0], &digitPairs[2 * (year / 100)], 2);
  std::memcpy(&text[2], &digitPairs[2 * (year % 100)], 2);
  std::memcpy(&text[4], &digitPairs[2 * middle], 2);
  std::memcpy(&text[6], &digitPairs[2 * last], 2);
  return text;
}

std::vector<DateText> dateTexts(std::chrono::year_month_day start, std::uint32_t days, DateForm form) {
  std::vector<DateText> texts;
  texts.reserve(days);
  for (std::uint32_t day = 1; day <= days; ++day) texts.push_back(dateText(lastDay(start, day), form));
  return texts;
}

std::chrono::year_month_day parseDate(std::string_view text) {
  if (text.size() == 10 && text[4] == '-' && text[7] == '-') {
    const auto year = readNumber<unsigned>(text.substr(0, 4));
    const auto month = readNumber<unsigned>(text.substr(5, 2));
    const auto day = readNumber<unsigned>(text.substr(8, 2));
    if (year && month && day) {
      const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(*year)}, std::chrono::month{*month},
                                             std::chrono::day{*day}};
      if (date.ok()) return date;
    }
  }
  throw std::invalid_argument("'" + std::string(text) + "' is not a date (yyyy-mm-dd)");
}

}  // namespace vesk_generate
