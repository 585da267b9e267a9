#include "loader_dates.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string_view>

namespace vesk_loader {

namespace {

constexpr std::uint32_t secondsADay = 86400;

std::tm local_time(std::time_t time) {
  std::tm fields{};
  localtime_r(&time, &fields);
  return fields;
}

double as_yyyyddmm(const std::tm& fields) {
  return (fields.tm_year + 1900) * 10000.0 + fields.tm_mday * 100.0 + (fields.tm_mon + 1);
}

// A double in "%f" notation has at most 309 digits before the point.
struct FixedText {
  explicit FixedText(double number) : length(std::snprintf(characters, sizeof characters, "%f", number)) {}

  // What lies beyond the text's end is empty, and so are the parts of short numbers there.
  std::string_view part(std::size_t start, std::size_t count) const {
    const std::string_view text(characters, static_cast<std::size_t>(length));
    return start < text.size() ? text.substr(start, count) : std::string_view();
  }

  char characters[330];
  int length;
};

// Eight digits before the point: the only numbers whose text can be cut by arithmetic.
bool has_eight_digits(double number) { return number >= 10000000.0 && number <= 99999999.0; }

std::uint32_t day_first(std::uint32_t yyyyddmm) {
  const std::uint32_t year = yyyyddmm / 10000;
  return year * 10000 + yyyyddmm % 100 * 100 + yyyyddmm / 100 % 100;
}

}  // namespace

double current_start_date() { return as_yyyyddmm(local_time(std::time(nullptr))); }

double compute_cutoff_date(double startDate, std::uint32_t horizonDays) {
  std::tm fields = local_time(std::time(nullptr));
  // Beyond 32 bits there is no calendar date; the limits keep the conversion defined.
  constexpr double limit = std::numeric_limits<std::int32_t>::max();
  const double bounded = startDate >= limit ? limit : startDate > -limit ? startDate : -limit;
  const auto date = static_cast<std::int32_t>(std::isnan(startDate) ? 0.0 : bounded);
  fields.tm_year = date / 10000 - 1900;
  fields.tm_mday = date % 10000 / 100;
  fields.tm_mon = date % 100 - 1;
  const auto horizonSeconds = static_cast<std::int32_t>(horizonDays * secondsADay);
  return as_yyyyddmm(local_time(std::mktime(&fields) - horizonSeconds));
}

int date_is_before(double date, double reference, std::uint32_t dateFormat) {
  const FixedText text(date);
  const FixedText referenceText(reference);
  const bool monthFirst = dateFormat == 2;
  const auto month = text.part(monthFirst ? 4 : 6, 2);
  const auto day = text.part(monthFirst ? 6 : 4, 2);
  int order = text.part(0, 4).compare(referenceText.part(0, 4));
  if (order == 0) order = month.compare(referenceText.part(6, 2));
  if (order == 0) order = day.compare(referenceText.part(4, 2));
  return order < 0 ? 1 : 0;
}

CutoffTest::CutoffTest(double reference_, std::uint32_t dateFormat_)
    : reference(reference_),
      dateFormat(dateFormat_),
      referenceHasEightDigits(has_eight_digits(reference_) && std::floor(reference_) == reference_),
      referenceDay(referenceHasEightDigits ? day_first(static_cast<std::uint32_t>(reference_)) : 0),
      lastDate(std::numeric_limits<double>::quiet_NaN()) {}

bool CutoffTest::test(double date) const {
  if (!referenceHasEightDigits || !has_eight_digits(date) || std::floor(date) != date) {
    return date_is_before(date, reference, dateFormat) != 0;
  }
  const auto digits = static_cast<std::uint32_t>(date);
  return (dateFormat == 2 ? digits : day_first(digits)) < referenceDay;
}

}  // namespace vesk_loader
