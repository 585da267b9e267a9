#include "check/date_forms.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace vesk {

namespace {

using std::chrono::days;
using std::chrono::sys_days;

constexpr std::size_t dateDigits = 8;

bool isDigits(std::string_view text) { return text.find_first_not_of("0123456789") == std::string_view::npos; }

std::int32_t otherForm(std::int32_t format) { return format == DayFirst ? MonthFirst : DayFirst; }

std::uint64_t numberOfDigits(std::string_view digits) {
  std::uint64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

// Eight digits that end with a year: 01032014.
bool hasYearLast(std::uint64_t number) {
  const std::uint64_t a = number / 1000000;
  const std::uint64_t b = number / 10000 % 100;
  const std::uint64_t year = number % 10000;
  return year >= 1970 && year <= 2100 && a >= 1 && b >= 1 && std::min(a, b) <= 12 && std::max(a, b) <= 31;
}

/// Lines whose day is the day of the run, one of the three before it or the one after it.
std::uint64_t countNear(const DateCounts& counts, std::int32_t format, sys_days day) {
  std::uint64_t near = 0;
  for (const auto& [digits, lines] : counts.getDates()) {
    const auto date = dayOf(digits, format);
    if (date && *date >= day - days(3) && *date <= day + days(1)) near += lines;
  }
  return near;
}

std::string range(const DateReading& reading) {
  return reading.first == reading.last ? isoText(reading.first)
                                       : isoText(reading.first) + " to " + isoText(reading.last);
}

std::string sentence(std::int32_t format, const std::string& what, const std::string& whatOther) {
  std::string text = "the dates are ";
  text += what;
  text.append(" when they are read as ").append(nameOfDates(format)).append(", and ").append(whatOther);
  return text.append(" as ").append(nameOfDates(otherForm(format)));
}

}  // namespace

const char* nameOfDates(std::int32_t format) { return format == DayFirst ? "yyyyddmm" : "yyyymmdd"; }

std::optional<sys_days> dayOf(std::uint32_t digits, std::int32_t format) {
  const std::uint32_t a = digits / 100 % 100;
  const std::uint32_t b = digits % 100;
  const bool isMonthFirst = format == MonthFirst;
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(digits / 10000)),
                                         std::chrono::month(isMonthFirst ? a : b),
                                         std::chrono::day(isMonthFirst ? b : a)};
  constexpr std::uint32_t firstNumber = 10000000;  // of eight digits
  if (digits < firstNumber || !date.ok()) return std::nullopt;
  return sys_days(date);
}

std::string isoText(sys_days day) {
  const std::chrono::year_month_day date(day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()));
  return text;
}

void DateCounts::add(std::string_view word) {
  ++lines;
  if (word.size() == dateDigits && isDigits(word) && word.front() != '0') {
    ++dates[static_cast<std::uint32_t>(numberOfDigits(word))];
    return;
  }
  if (others++ == 0) firstOther = word;
}

DateReading readDates(const DateCounts& counts, std::int32_t format) {
  DateReading reading;
  for (const auto& [digits, lines] : counts.getDates()) {
    const auto day = dayOf(digits, format);
    if (!day) {
      if (reading.noDays == 0) reading.firstNoDay = digits;
      reading.noDays += lines;
      continue;
    }
    if (reading.days == 0) reading.first = reading.last = *day;
    reading.first = std::min(reading.first, *day);
    reading.last = std::max(reading.last, *day);
    reading.days += lines;
    ++reading.differentDays;
  }
  return reading;
}

std::string whyOtherForm(const DateCounts& counts, std::int32_t format, std::optional<sys_days> day) {
  const DateReading own = readDates(counts, format);
  const DateReading other = readDates(counts, otherForm(format));
  const auto lines = static_cast<double>(own.days + own.noDays);
  if (lines == 0) return "";
  const auto reads = [lines](std::uint64_t count, double share) { return static_cast<double>(count) >= share * lines; };
  // Bad lines may have any date, so that no share is asked to be whole.
  if (!reads(own.days, 0.9) && reads(other.days, 0.95)) {
    return sentence(format, "not all days of the calendar (" + std::to_string(own.firstNoDay) + ")", "all are");
  }
  if (day) {
    const std::uint64_t near = countNear(counts, format, *day);
    const std::uint64_t otherNear = countNear(counts, otherForm(format), *day);
    // Such as 20200101 is the same day in both forms.
    if (reads(otherNear, 0.9) && !reads(near, 0.6)) return sentence(format, range(own), range(other));
    if (reads(near, 0.9)) return "";
  }
  // A few days in a row, read in the wrong form, are one day of each of some months.
  constexpr std::size_t leastDays = 3;
  const auto span = [](const DateReading& reading) { return (reading.last - reading.first).count(); };
  if (own.differentDays >= leastDays && reads(own.days, 0.95) && reads(other.days, 0.95) && span(own) >= 28 &&
      span(other) * 8 <= span(own)) {
    return sentence(format, range(own), range(other));
  }
  return "";
}

std::int32_t likelyForm(const DateCounts& counts) {
  if (!whyOtherForm(counts, DayFirst, std::nullopt).empty()) return MonthFirst;
  if (!whyOtherForm(counts, MonthFirst, std::nullopt).empty()) return DayFirst;
  return NoDates;
}

std::string_view notationOf(std::string_view word) {
  constexpr std::size_t isoLength = 10;
  if (word.size() >= isoLength && isDigits(word.substr(0, 4)) && (word[4] == '-' || word[4] == '/') &&
      word[7] == word[4]) {
    return "ISO dates";
  }
  if (word.size() >= dateDigits && (word.find('.') != word.npos || word.find('/') != word.npos))
    return "dates with points";
  if (word.empty() || word.size() > 18 || !isDigits(word)) return "";
  const std::uint64_t number = numberOfDigits(word);
  constexpr std::uint64_t earliest = 315532800;  // 1980
  constexpr std::uint64_t latest = 4102444800;   // 2100
  if (word.size() == dateDigits && hasYearLast(number)) return "dates with the year last";
  if (word.size() <= 10 && number >= earliest && number < latest) return "unix seconds";
  if (word.size() <= 13 && number / 1000 >= earliest && number / 1000 < latest) return "unix milliseconds";
  if ((word.size() == 12 || word.size() == 14) &&
      dayOf(static_cast<std::uint32_t>(numberOfDigits(word.substr(0, 8))), MonthFirst)) {
    return "dates with a time";
  }
  return "";
}

}  // namespace vesk
