#ifndef VESK_CHECK_DATE_FORMS_H
#define VESK_CHECK_DATE_FORMS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

/// The date formats of the loader.
constexpr std::int32_t NoDates = 0;
constexpr std::int32_t DayFirst = 1;    ///< yyyyddmm
constexpr std::int32_t MonthFirst = 2;  ///< yyyymmdd

/// "yyyyddmm" or "yyyymmdd".
const char* nameOfDates(std::int32_t format);

/// The day that eight digits mean, or none if no calendar has it.
std::optional<std::chrono::sys_days> dayOf(std::uint32_t digits, std::int32_t format);

/// YYYY-MM-DD
std::string isoText(std::chrono::sys_days day);

/// The dates of many lines.
class DateCounts {
 public:
  /// Takes the word of a date field.
  void add(std::string_view word);

  std::uint64_t getLines() const { return lines; }
  /// By their digits, how many lines have each date of eight digits.
  const std::map<std::uint32_t, std::uint64_t>& getDates() const { return dates; }
  /// Lines whose word is not eight digits, and the first such word.
  std::uint64_t getOthers() const { return others; }
  const std::string& getFirstOther() const { return firstOther; }

 private:
  std::uint64_t lines = 0;
  std::uint64_t others = 0;
  std::string firstOther;
  std::map<std::uint32_t, std::uint64_t> dates;
};

/// The dates of eight digits, read in one form.
struct DateReading {
  std::uint64_t days = 0;        ///< lines with a day of the calendar
  std::uint64_t noDays = 0;      ///< lines with another number
  std::uint32_t firstNoDay = 0;  ///< the smallest such number
  std::size_t differentDays = 0;
  std::chrono::sys_days first;  ///< if days > 0, as the last
  std::chrono::sys_days last;
};
DateReading readDates(const DateCounts& counts, std::int32_t format);

/// Why the dates are of the other form: of 0 lines, or of dates that fit both, nothing is said.
///
/// @param day which the records are about, if that is known
/// @return one sentence, or "" if `format` fits at least as well
std::string whyOtherForm(const DateCounts& counts, std::int32_t format, std::optional<std::chrono::sys_days> day);

/// The form in which the dates are most probably written; NoDates if both fit or none does.
std::int32_t likelyForm(const DateCounts& counts);

/// What a word that is no eight-digit date is in another notation, for messages: "unix seconds", ...; "" if that is
/// unknown.
std::string_view notationOf(std::string_view word);

}  // namespace vesk

#endif  // VESK_CHECK_DATE_FORMS_H
