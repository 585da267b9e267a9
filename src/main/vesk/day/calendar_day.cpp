#include "day/calendar_day.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace vesk {

namespace {

std::uint32_t yearOf(std::chrono::year_month_day date) {
  return static_cast<std::uint32_t>(static_cast<int>(date.year()));
}
unsigned monthOf(std::chrono::year_month_day date) { return static_cast<unsigned>(date.month()); }
unsigned dayOf(std::chrono::year_month_day date) { return static_cast<unsigned>(date.day()); }

}  // namespace

CalendarDay CalendarDay::today() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  return CalendarDay(std::chrono::year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday);
}

std::optional<CalendarDay> CalendarDay::parse(const std::string& text) {
  if (text.size() != 10) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDash = i == 4 || i == 7;
    if (isDash ? text[i] != '-' : text[i] < '0' || text[i] > '9') return std::nullopt;
  }
  const std::chrono::year_month_day date =
      std::chrono::year(std::stoi(text.substr(0, 4))) / std::stoi(text.substr(5, 2)) / std::stoi(text.substr(8, 2));
  if (!date.ok() || static_cast<int>(date.year()) < 1000) return std::nullopt;
  return CalendarDay(date);
}

std::string CalendarDay::iso() const {
  std::array<char, 32> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%04u-%02u-%02u", yearOf(date), monthOf(date), dayOf(date));
  return {text.data(), static_cast<std::size_t>(length)};
}

CalendarDay CalendarDay::plusDays(int count) const {
  return CalendarDay(std::chrono::year_month_day(std::chrono::sys_days(date) + std::chrono::days(count)));
}

std::uint32_t CalendarDay::loaderNumber() const { return yearOf(date) * 10000 + dayOf(date) * 100 + monthOf(date); }
std::uint32_t CalendarDay::number() const { return yearOf(date) * 10000 + monthOf(date) * 100 + dayOf(date); }

}  // namespace vesk
