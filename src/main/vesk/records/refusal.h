#ifndef VESK_RECORDS_REFUSAL_H
#define VESK_RECORDS_REFUSAL_H

#include <cstddef>
#include <string_view>

namespace vesk {

/// Why a line, or for Restricted one entry of it, is not loaded.
enum class Cause {
  ShortLine,             ///< ends before the start of a field
  CutLine,               ///< the last of a file, without a line end and of another length than the line before
  LongLine,              ///< 10000 characters or more
  Binary,                ///< holds a NUL
  Blank,                 ///< a field is blank
  InnerBlank,            ///< a field is more than one word
  InnerSeparator,        ///< a comma or a tab inside a field
  NotANumber,            ///< a field that is used is no decimal number, or an id is no whole number
  NumberTooLarge,        ///< an id is above 2^53
  MultiplicityTooLarge,  ///< above 2^31 - 1, the largest that the loader counts with
  ReservedNumber,        ///< -1 or -2 where the state uses it as a separator
  CallerNotPositive,
  NoSuchDate,  ///< no calendar has the date
  AfterDay,    ///< more than one day after the day that is loaded
  BeforeHorizon,
  Restricted  ///< left out by the special list; the line itself is loaded
};

constexpr std::size_t CauseCount = static_cast<std::size_t>(Cause::Restricted) + 1;

/// In words, as reports and files have it: "short line", "before the horizon", ...
std::string_view nameOf(Cause cause);

/// A cause with the field that it is about.
struct Refusal {
  static constexpr std::size_t WholeLine = static_cast<std::size_t>(-1);

  Cause cause;
  std::size_t field = WholeLine;  ///< 0-based
};

}  // namespace vesk

#endif  // VESK_RECORDS_REFUSAL_H
