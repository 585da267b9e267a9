#include "page/chart_range.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace vesk_page {

namespace {

std::string textOf(double value, int numDigits) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.*g", numDigits, value);
  return text.data();
}

}  // namespace

void ChartRange::include(double value) {
  if (!std::isfinite(value) || (scale == ChartScale::Logarithmic && value <= 0)) return;
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
  if (scale == ChartScale::Logarithmic) {
    ChartRange exponents;
    exponents.low = std::log10(low);
    exponents.high = std::log10(high);
    return exponents.placeOf(value > 0 ? std::log10(value) : value <= 0 ? exponents.low - 1 : value);
  }
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

std::vector<double> ChartRange::multiplesOfPowers() const {
  std::vector<double> values;
  const double last = std::floor(std::log10(high));
  for (double exponent = std::floor(std::log10(low)); exponent <= last; ++exponent) {
    for (const double factor : {1.0, 2.0, 5.0}) {
      const double value = factor * std::pow(10, exponent);
      if (value >= low && value <= high) values.push_back(value);
    }
  }
  constexpr std::size_t fewestMarks = 3;
  if (values.size() >= fewestMarks) return values;
  values = roundValues();
  keepApart(values);
  return values;
}

void ChartRange::keepApart(std::vector<double>& values) const {
  constexpr double leastGap = 0.08;
  double lastPlace = -leastGap;
  std::erase_if(values, [&](double value) {
    const double place = placeOf(value);
    if (place - lastPlace < leastGap) return true;
    lastPlace = place;
    return false;
  });
}

std::vector<ChartMark> ChartRange::powersOfTen() const {
  constexpr double mostMarks = 9;
  constexpr double tolerance = 1e-9;  // of an exponent
  const double first = std::ceil(std::log10(low) - tolerance);
  const double last = std::floor(std::log10(high) + tolerance);
  const double step = std::max(1.0, std::ceil((last - first + 1) / mostMarks));
  std::vector<ChartMark> marks;
  for (double exponent = first; exponent <= last; exponent += step) {
    const bool isShort = exponent > -4 && exponent < 5;
    const std::string power = textOf(exponent, 4);
    const double value = std::pow(10, exponent);
    marks.push_back({value, isShort ? textOf(value, 5) : "1e" + power});
  }
  return marks;
}

std::vector<ChartMark> ChartRange::getMarks() const {
  if (isEmpty()) return {};
  if (scale == ChartScale::Logarithmic) {
    const std::vector<ChartMark> powers = powersOfTen();
    if (powers.size() >= 2) return powers;
  }
  std::vector<double> values = scale == ChartScale::Logarithmic ? multiplesOfPowers() : roundValues();
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

}  // namespace vesk_page
