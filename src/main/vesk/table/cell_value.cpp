#include "table/cell_value.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace vesk {

CellValue CellReader::read(std::string_view text) const {
  if (text.empty() || missingTexts.contains(text)) return {CellKind::Missing, 0};
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end != text.data() + text.size() || error == std::errc::invalid_argument) return {CellKind::Text, 0};
  // Out of range is either too large or too small; strtod gives infinity for the one and 0 for the other.
  if (error == std::errc::result_out_of_range) number = std::strtod(std::string(text).c_str(), nullptr);
  return std::isfinite(number) ? CellValue{CellKind::Number, number} : CellValue{CellKind::NotFinite, 0};
}

std::string shownText(std::string_view text) {
  constexpr std::size_t shownBytes = 60;
  std::string quoted = "'";
  for (const char c : text.substr(0, shownBytes)) quoted += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  return quoted.append(text.size() > shownBytes ? "...'" : "'");
}

}  // namespace vesk
