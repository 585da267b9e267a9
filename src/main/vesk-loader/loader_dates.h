#ifndef LOADER_DATES_H
#define LOADER_DATES_H

// Dates are eight-digit numbers held as f64. The start date and the cutoff are always yyyyddmm;
// record dates are in the form that the command line's date format says (2: yyyymmdd, otherwise yyyyddmm).

#include <cstdint>
#include <limits>

namespace vesk_loader {

/// The local date of now in yyyyddmm digits.
double current_start_date();

/// The date `horizonDays` before `startDate`, both yyyyddmm. Impossible dates are normalised by the C library's
/// calendar; the time of day and the daylight flag are those of now. The seconds of the horizon are formed in
/// 32 bits, so horizons above 24855 days wrap around: files written so far rely on it.
double compute_cutoff_date(double startDate, std::uint32_t horizonDays);

/// 1 if `date`, in the given date format, lies before `reference` (yyyyddmm), otherwise 0. The digits are compared as
/// text, year, month, day; an equal date is not before.
int date_is_before(double date, double reference, std::uint32_t dateFormat);

/// date_is_before against one reference, for the scan: eight-digit dates need no text.
class CutoffTest {
 public:
  CutoffTest(double reference, std::uint32_t dateFormat);

  bool isBefore(double date) const {
    if (date == lastDate) return lastResult;  // days come in runs
    lastResult = test(date);
    lastDate = date != 0.0 ? date : std::numeric_limits<double>::quiet_NaN();  // the zeros are equal, their texts not
    return lastResult;
  }

 private:
  bool test(double date) const;

  double reference;
  std::uint32_t dateFormat;
  bool referenceHasEightDigits;
  std::uint32_t referenceDay;  // yyyymmdd
  mutable double lastDate;
  mutable bool lastResult = false;
};

}  // namespace vesk_loader

#endif  // LOADER_DATES_H
