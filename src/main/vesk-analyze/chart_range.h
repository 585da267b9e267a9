#ifndef VESK_ANALYZE_CHART_RANGE_H
#define VESK_ANALYZE_CHART_RANGE_H

#include <string>
#include <vector>

namespace vesk_analyze {

/// A round value on an axis with its text.
struct ChartMark {
  double value = 0;
  std::string text;
};

/// The finite values that an axis of a chart shows.
class ChartRange {
 public:
  /// Widens the range to hold the value. Values that are not finite change nothing.
  void include(double value);

  /// Adds a twentieth of the length at both ends, so that shapes at the ends are not cut.
  void widen();

  bool isEmpty() const { return low > high; }
  double getLow() const { return low; }
  double getHigh() const { return high; }

  /// The position of a value between the ends: 0 at the low end, 1 at the high end. A value outside of the range has
  /// the position of the nearer end; NaN, and any value in a range of one value, has the middle.
  double placeOf(double value) const;

  /// Three to eleven round values within the range, or its single value. All texts are different.
  std::vector<ChartMark> getMarks() const;

 private:
  std::vector<double> roundValues() const;

  double low = 1;
  double high = 0;  // below low: empty
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_CHART_RANGE_H
