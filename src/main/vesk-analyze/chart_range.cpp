#include "chart_range.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace vesk_analyze {

namespace {

std::string textOf(double value, int numDigits) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.*g", numDigits, value);
  return text.data();
}

}  // namespace

void ChartRange::include(double value) {
  if (!std::isfinite(value)) return;
  low = isEmpty() ? value : std::min(low, value);
  high = std::max(high, value);
  high = std::max(high, low);
}

void ChartRange::widen() {
  if (isEmpty()) return;
  const double part = high / 20 - low / 20;
  include(low - part);
  include(high + part);
}

double ChartRange::placeOf(double value) const {
  // Halves, because the difference of two doubles may overflow.
  const double place = (value / 2 - low / 2) / (high / 2 - low / 2);
  return std::isfinite(place) ? std::clamp(place, 0.0, 1.0) : value > high ? 1.0 : value < low ? 0.0 : 0.5;
}

std::vector<double> ChartRange::roundValues() const {
  constexpr int numSteps = 5;  // about
  const double rough = high / numSteps - low / numSteps;
  const double magnitude = std::pow(10, std::floor(std::log10(rough)));
  if (!(rough > 0) || !(magnitude > 0)) return {low};
  const double factor = rough / magnitude;
  const double step = magnitude * (factor < 1.5 ? 1 : factor < 3 ? 2 : factor < 7 ? 5 : 10);
  const double first = std::ceil(low / step);
  std::vector<double> values;
  for (int i = 0; i <= 2 * numSteps; ++i) {
    const double value = (first + i) * step;
    const bool isNew = std::isfinite(value) && (values.empty() || value > values.back());
    if (isNew && value >= low && value <= high + step * 1e-9) values.push_back(value == 0 ? 0.0 : value);
  }
  if (values.empty()) values.push_back(low);
  return values;
}

std::vector<ChartMark> ChartRange::getMarks() const {
  if (isEmpty()) return {};
  const std::vector<double> values = roundValues();
  std::vector<ChartMark> marks;
  for (int numDigits = 5; numDigits <= 17; ++numDigits) {
    marks.clear();
    for (const double value : values) marks.push_back({value, textOf(value, numDigits)});
    const bool differ = std::adjacent_find(marks.begin(), marks.end(), [](const ChartMark& a, const ChartMark& b) {
                          return a.text == b.text;
                        }) == marks.end();
    if (differ) break;
  }
  return marks;
}

}  // namespace vesk_analyze
