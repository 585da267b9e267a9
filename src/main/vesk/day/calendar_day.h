#ifndef VESK_DAY_CALENDAR_DAY_H
#define VESK_DAY_CALENDAR_DAY_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vesk {

/// A day of the calendar.
class CalendarDay {
 public:
  /// The local day of now.
  static CalendarDay today();
  /// Reads YYYY-MM-DD; none for another form and for a day that no calendar has.
  static std::optional<CalendarDay> parse(const std::string& text);

  std::string iso() const;
  CalendarDay plusDays(int count) const;
  /// As the loader takes a start date: yyyyddmm.
  std::uint32_t loaderNumber() const;
  /// yyyymmdd
  std::uint32_t number() const;

  friend bool operator==(const CalendarDay&, const CalendarDay&) = default;
  friend auto operator<=>(const CalendarDay& a, const CalendarDay& b) { return a.number() <=> b.number(); }

 private:
  explicit CalendarDay(std::chrono::year_month_day value) : date(value) {}

  std::chrono::year_month_day date;
};

}  // namespace vesk

#endif  // VESK_DAY_CALENDAR_DAY_H
