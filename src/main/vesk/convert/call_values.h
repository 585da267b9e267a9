#ifndef VESK_CALL_VALUES_H
#define VESK_CALL_VALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

/// Why a row is bad.
enum class RowCause : unsigned {
  None,
  CellsMissing,
  CellsExtra,
  HeaderAgain,
  UnclosedQuote,
  TextAfterQuote,
  RowTooLong,
  Empty,
  IdZero,
  IdNoNumber,
  IdTooLarge,
  IdTooLong,
  IdBytes,
  TimeForm,
  NoSuchDay,
  YearOutside,
  DayMonthTurned,
  NoDuration,
  NoCount,
  NoPayload,
  TooWide
};
inline constexpr unsigned causes = static_cast<unsigned>(RowCause::TooWide) + 1;

/// The cause in words, as the end of "FIELD: ".
std::string_view wordsOf(RowCause cause);

/// The largest number that stays itself, and the first number of a map of ids. A map's numbers are never those of a
/// plain id, because plain ids from FirstMappedId on go through the map as well.
inline constexpr std::uint64_t LargestPlainId = std::uint64_t{1} << 53;
inline constexpr std::uint64_t FirstMappedId = std::uint64_t{1} << 52;

/// The number of a text of decimal digits without a leading zero, or "0"; empty for any other text and above 2^53.
std::optional<std::uint64_t> readPlainId(std::string_view text);

/// Why a text cannot be an id of a map: it is too long, no UTF-8, or has a control character. None if it can.
RowCause mistakeInIdText(std::string_view text);

enum class TimeForm { Auto, Iso, UnixSeconds, UnixMilliseconds, YearMonthDay, YearDayMonth };

/// Whose date a time gets.
struct TimeZoneRule {
  bool asWritten = false;          ///< the date that is written, whatever its zone
  std::int32_t offsetMinutes = 0;  ///< of the zone of the dates, east of UTC; 0 for UTC
};

/// Reads a time as a date, yyyymmdd. A time without zone has the date that is written; one with a zone and a unix time
/// get the date of the rule's zone.
/// Forms that Auto knows: yyyy-mm-dd with or without a time and a zone, yyyymmdd, yyyymmddhhmmss, 9 or 10 digits (unix
/// seconds), 12 or 13 digits (unix milliseconds).
RowCause readDate(std::string_view text, TimeForm form, const TimeZoneRule& zone, std::uint32_t& date);

/// Reads seconds, or h:m:s, as the text of a number of seconds. Fractions of seconds stay as they are written.
RowCause readDuration(std::string_view text, std::string& seconds);

/// Reads a whole number from 1 to 2147483647.
RowCause readCount(std::string_view text, std::uint32_t& count);

/// Checks a decimal number that is not negative; `number` is its text without a plus sign. A process file of the loader
/// has no place for -1 and -2, so negative numbers are refused.
RowCause readPayload(std::string_view text, std::string_view& number);

}  // namespace vesk

#endif  // VESK_CALL_VALUES_H
