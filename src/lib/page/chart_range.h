#ifndef VESK_PAGE_CHART_RANGE_H
#define VESK_PAGE_CHART_RANGE_H

#include <string>
#include <vector>

namespace vesk_page {

/// A round value on an axis with its text.
struct ChartMark {
  double value = 0;
  std::string text;
};

enum class ChartScale { Linear, Logarithmic };

/// The finite values that an axis of a chart shows; on a logarithmic scale the values above 0.
class ChartRange {
 public:
  ChartRange() = default;
  explicit ChartRange(ChartScale axisScale) : scale(axisScale) {}

  /// Widens the range to hold the value. Values that the axis does not show change nothing.
  void include(double value);

  /// Adds a twentieth of the length at both ends, so that shapes at the ends are not cut.
  /// Requires: a linear scale.
  void widen();

  bool isEmpty() const { return low > high; }
  double getLow() const { return low; }
  double getHigh() const { return high; }

  /// The position of a value between the ends: 0 at the low end, 1 at the high end. A value outside of the range has
  /// the position of the nearer end; NaN, and any value in a range of one value, has the middle.
  double placeOf(double value) const;

  /// Three to eleven round values within the range, or its single value. All texts are different. On a logarithmic
  /// scale they are powers of ten, at most nine, if the range has two of them; else one,
  /// two and five times such powers, if there are three; else round values at least 0.08 of the axis apart, so that
  /// their texts do not overlap.
  std::vector<ChartMark> getMarks() const;

 private:
  std::vector<double> roundValues() const;
  std::vector<ChartMark> powersOfTen() const;
  std::vector<double> multiplesOfPowers() const;
  void keepApart(std::vector<double>& values) const;

  ChartScale scale = ChartScale::Linear;
  double low = 1;
  double high = 0;  // below low: empty
};

}  // namespace vesk_page

#endif  // VESK_PAGE_CHART_RANGE_H
