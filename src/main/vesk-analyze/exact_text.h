#ifndef VESK_ANALYZE_EXACT_TEXT_H
#define VESK_ANALYZE_EXACT_TEXT_H

#include <array>
#include <cmath>
#include <cstdio>
#include <string>

namespace vesk_analyze {

/// A number with the 17 significant digits that read back to it; empty for NaN.
inline std::string exactText(double value) {
  if (std::isnan(value)) return "";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.17g", value);
  return text.data();
}

/// The same with the word nan for NaN, where a cell without a number means something else.
inline std::string numberText(double value) { return std::isnan(value) ? "nan" : exactText(value); }

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EXACT_TEXT_H
