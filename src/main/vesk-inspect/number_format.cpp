#include "number_format.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace vesk_inspect {

std::string formatNumber(double number) {
  constexpr double integerLimit = 0x1p63;  // beyond it no integer type holds the number
  const bool negativeZero = number == 0.0 && std::signbit(number);
  if (number == std::trunc(number) && std::abs(number) < integerLimit && !negativeZero) {
    return std::to_string(static_cast<std::int64_t>(number));
  }
  char text[32];
  const auto [end, error] = std::to_chars(text, text + sizeof text, number);
  (void)error;  // the shortest text of any double has at most 24 characters
  return {text, end};
}

}  // namespace vesk_inspect
