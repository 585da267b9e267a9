#ifndef VESK_GENERATE_NUMBER_TEXT_H
#define VESK_GENERATE_NUMBER_TEXT_H

#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace vesk_generate {

/// The number that the whole text is, in decimal digits; nothing for any other text or one out of range.
template <std::unsigned_integral Number>
std::optional<Number> readNumber(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// "00" to "99": two digits are written at a time.
inline constexpr std::array<char, 200> digitPairs = [] {
  std::array<char, 200> pairs{};
  for (std::size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

/// Writes the digits of a number so that the last one stands before `end`; what stands in front is left alone.
inline void putNumberBefore(char* end, std::uint64_t number) {
  while (number >= 100) {
    end -= 2;
    std::memcpy(end, &digitPairs[2 * (number % 100)], 2);
    number /= 100;
  }
  if (number >= 10) {
    std::memcpy(end - 2, &digitPairs[2 * number], 2);
  } else {
    end[-1] = static_cast<char>('0' + number);
  }
}

}  // namespace vesk_generate

#endif  // VESK_GENERATE_NUMBER_TEXT_H
