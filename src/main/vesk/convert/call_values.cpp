#include "convert/call_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>

namespace vesk {

namespace {

constexpr std::array<std::string_view, causes> causeWords = {
    "",
    "too few cells",
    "too many cells",
    "the header once more",
    "a quote that is not closed",
    "text after a closing quote",
    "more than 1048576 bytes",
    "empty",
    "0 stands for no subscriber",
    "not a plain number: use --ids",
    "above 2^53: use --ids",
    "more than 200 bytes",
    "not UTF-8 text, or a control character in it",
    "not a time of a known form",
    "a day that no calendar has",
    "a year before 1970 or after 2099",
    "a day as yyyyddmm only: use --time-format ydm",
    "not a duration in seconds or h:m:s",
    "not a whole number from 1 to 2147483647",
    "not a number from 0 on",
    "too long for its columns",
};

constexpr std::size_t maxIdBytes = 200;
constexpr int firstYear = 1970;
constexpr int lastYear = 2099;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool areDigits(std::string_view text) { return !text.empty() && std::ranges::all_of(text, isDigit); }

/// Takes numbers and signs from the begin of a text; after a failure it stays failed.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest(text) {}

  /// Takes exactly `digits` digits.
  int number(std::size_t digits) {
    if (failed || rest.size() < digits || !areDigits(rest.substr(0, digits))) {
      failed = true;
      return 0;
    }
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i) value = 10 * value + (rest[i] - '0');
    rest.remove_prefix(digits);
    return value;
  }
  /// Takes one of the characters if it is next.
  bool take(std::string_view characters) {
    if (rest.empty() || characters.find(rest.front()) == std::string_view::npos) return false;
    rest.remove_prefix(1);
    return true;
  }
  void demand(std::string_view characters) { failed = failed || !take(characters); }
  void fail() { failed = true; }
  void passOverDigits() {
    demand("0123456789");
    while (take("0123456789")) continue;
  }
  bool isAtDigit() const { return !rest.empty() && isDigit(rest.front()); }
  bool isAtEnd() const { return rest.empty(); }
  bool hasFailed() const { return failed; }

 private:
  std::string_view rest;
  bool failed = false;
};

using Days = std::chrono::sys_days;

RowCause writeDate(std::chrono::year_month_day day, std::uint32_t& date) {
  const int year = static_cast<int>(day.year());
  if (year < firstYear || year > lastYear) return RowCause::YearOutside;
  date = static_cast<std::uint32_t>(year) * 10000 + static_cast<unsigned>(day.month()) * 100 +
         static_cast<unsigned>(day.day());
  return RowCause::None;
}

std::chrono::year_month_day dayOf(int year, int month, int day) {
  return {std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
          std::chrono::day(static_cast<unsigned>(day))};
}

/// The date of a number of seconds since 1970 in UTC.
RowCause writeInstant(std::int64_t seconds, const TimeZoneRule& zone, std::uint32_t& date) {
  const std::int64_t local = seconds + (zone.asWritten ? 0 : std::int64_t{60} * zone.offsetMinutes);
  const auto days = std::chrono::floor<std::chrono::days>(std::chrono::seconds(local));
  return writeDate(Days(days), date);
}

/// The time of day and the zone after a date. `isExtended`: with colons.
struct Clock {
  std::int32_t seconds = 0;
  bool hasZone = false;
  std::int32_t offsetSeconds = 0;
};

Clock readClock(Scanner& scanner, bool isExtended) {
  Clock clock;
  const int hour = scanner.number(2);
  if (isExtended) scanner.demand(":");
  const int minute = scanner.number(2);
  int second = 0;
  const bool hasSecond = isExtended ? scanner.take(":") : scanner.isAtDigit();
  if (hasSecond) second = scanner.number(2);
  if (hasSecond && scanner.take(".,")) scanner.passOverDigits();
  if (hour > 23 || minute > 59 || second > 60) scanner.fail();
  clock.seconds = 3600 * hour + 60 * minute + second;
  if (scanner.isAtEnd()) return clock;
  scanner.take(" ");
  clock.hasZone = true;
  if (scanner.take("Zz")) return clock;
  const bool isWest = scanner.take("-");
  if (!isWest) scanner.demand("+");
  const int zoneHour = scanner.number(2);
  scanner.take(":");
  const int zoneMinute = scanner.isAtEnd() ? 0 : scanner.number(2);
  if (zoneHour > 15 || zoneMinute > 59) scanner.fail();
  clock.offsetSeconds = (isWest ? -1 : 1) * (3600 * zoneHour + 60 * zoneMinute);
  return clock;
}

RowCause readIso(std::string_view text, const TimeZoneRule& zone, std::uint32_t& date) {
  Scanner scanner(text);
  const int year = scanner.number(4);
  const bool isExtended = scanner.take("-");
  const int month = scanner.number(2);
  if (isExtended) scanner.demand("-");
  const int day = scanner.number(2);
  Clock clock;
  if (!scanner.isAtEnd()) {
    if (isExtended || !scanner.isAtDigit()) scanner.demand("Tt ");
    clock = readClock(scanner, isExtended);
  }
  if (scanner.hasFailed() || !scanner.isAtEnd()) return RowCause::TimeForm;
  const std::chrono::year_month_day written = dayOf(year, month, day);
  if (!written.ok()) return RowCause::NoSuchDay;
  if (!clock.hasZone || zone.asWritten) return writeDate(written, date);
  const std::int64_t midnight = std::chrono::seconds(Days(written).time_since_epoch()).count();
  return writeInstant(midnight + clock.seconds - clock.offsetSeconds, zone, date);
}

RowCause readEightDigits(std::string_view text, bool dayFirst, std::uint32_t& date) {
  if (text.size() != 8 || !areDigits(text)) return RowCause::TimeForm;
  Scanner scanner(text);
  const int year = scanner.number(4);
  const int middle = scanner.number(2);
  const int last = scanner.number(2);
  const auto written = dayFirst ? dayOf(year, last, middle) : dayOf(year, middle, last);
  if (written.ok()) return writeDate(written, date);
  return !dayFirst && dayOf(year, last, middle).ok() ? RowCause::DayMonthTurned : RowCause::NoSuchDay;
}

/// Digits, and a fraction that does not count.
RowCause readUnix(std::string_view text, std::int64_t perSecond, const TimeZoneRule& zone, std::uint32_t& date) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  const bool isNumber =
      error == std::errc{} && isDigit(text.front()) && (stop == end || (*stop == '.' && areDigits({stop + 1, end})));
  if (!isNumber) return RowCause::TimeForm;
  const std::int64_t seconds = number / perSecond;
  constexpr std::int64_t tooLate = 5000000000;  // in the year 2128
  return seconds > tooLate ? RowCause::YearOutside : writeInstant(seconds, zone, date);
}

/// Whether the bytes are a UTF-8 text without control characters. Source: RFC 3629.
bool isCleanText(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = [&](std::size_t k) { return i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0U; };
    const unsigned first = byte(0);
    if (first < 0x80) {
      if (first < 0x20 || first == 0x7F) return false;
      ++i;
      continue;
    }
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4) return false;
    for (std::size_t k = 1; k <= more; ++k) {
      if (byte(k) < 0x80 || byte(k) > 0xBF) return false;
    }
    const unsigned second = byte(1);
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) || (first == 0xF0 && second < 0x90) ||
        (first == 0xF4 && second > 0x8F)) {
      return false;
    }
    i += more + 1;
  }
  return true;
}

}  // namespace

std::string_view wordsOf(RowCause cause) { return causeWords[static_cast<unsigned>(cause)]; }

std::optional<std::uint64_t> readPlainId(std::string_view text) {
  constexpr std::size_t mostDigits = 16;
  if (text.empty() || text.size() > mostDigits || (text.front() == '0' && text.size() > 1)) return std::nullopt;
  std::uint64_t id = 0;
  for (const char c : text) {
    if (!isDigit(c)) return std::nullopt;
    id = 10 * id + static_cast<unsigned>(c - '0');
  }
  return id <= LargestPlainId ? std::optional(id) : std::nullopt;
}

RowCause mistakeInIdText(std::string_view text) {
  if (text.size() > maxIdBytes) return RowCause::IdTooLong;
  return isCleanText(text) ? RowCause::None : RowCause::IdBytes;
}

RowCause readDate(std::string_view text, TimeForm form, const TimeZoneRule& zone, std::uint32_t& date) {
  if (text.empty()) return RowCause::Empty;
  if (form == TimeForm::Auto) {
    form = TimeForm::Iso;
    const std::size_t whole = std::min(text.find('.'), text.size());
    if (areDigits(text.substr(0, whole))) {
      if (whole == 8 && text.size() == 8) form = TimeForm::YearMonthDay;
      if (whole == 9 || whole == 10) form = TimeForm::UnixSeconds;
      if (whole == 12 || whole == 13) form = TimeForm::UnixMilliseconds;
    }
  }
  switch (form) {
    case TimeForm::YearMonthDay:
      return readEightDigits(text, false, date);
    case TimeForm::YearDayMonth:
      return readEightDigits(text, true, date);
    case TimeForm::UnixSeconds:
      return readUnix(text, 1, zone, date);
    case TimeForm::UnixMilliseconds:
      return readUnix(text, 1000, zone, date);
    default:
      return readIso(text, zone, date);
  }
}

RowCause readDuration(std::string_view text, std::string& seconds) {
  if (text.empty()) return RowCause::Empty;
  constexpr std::size_t mostDigits = 9;
  const std::size_t point = std::min(text.find('.'), text.size());
  std::string_view whole = text.substr(0, point);
  const std::string_view fraction = text.substr(point);
  if (!fraction.empty() && !areDigits(fraction.substr(1))) return RowCause::NoDuration;
  std::array<std::uint64_t, 3> parts{};  // hours, minutes, seconds
  const auto colons = std::ranges::count(whole, ':');
  if (colons != 0 && colons != 2) return RowCause::NoDuration;
  for (std::size_t part = colons == 0 ? 2 : 0; part < parts.size(); ++part) {
    const std::string_view number = whole.substr(0, whole.find(':'));
    whole.remove_prefix(std::min(number.size() + 1, whole.size()));
    if (!areDigits(number) || number.size() > mostDigits) return RowCause::NoDuration;
    for (const char c : number) parts[part] = 10 * parts[part] + static_cast<unsigned>(c - '0');
  }
  if (colons == 2 && (parts[1] > 59 || parts[2] > 59)) return RowCause::NoDuration;
  seconds = std::to_string(3600 * parts[0] + 60 * parts[1] + parts[2]);
  seconds += fraction;
  return RowCause::None;
}

RowCause readCount(std::string_view text, std::uint32_t& count) {
  if (text.empty()) return RowCause::Empty;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  constexpr std::uint32_t largest = std::numeric_limits<std::int32_t>::max();
  return error == std::errc{} && stop == end && count >= 1 && count <= largest ? RowCause::None : RowCause::NoCount;
}

RowCause readPayload(std::string_view text, std::string_view& number) {
  if (text.empty()) return RowCause::Empty;
  if (text.front() == '+') text.remove_prefix(1);
  double value = -1;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end || !std::isfinite(value) || !(value >= 0)) return RowCause::NoPayload;
  number = text;
  return RowCause::None;
}

}  // namespace vesk
