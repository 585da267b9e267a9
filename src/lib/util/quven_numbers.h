#ifndef QUVEN_NUMBERS_H
#define QUVEN_NUMBERS_H

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>

// Numbers on their way through an object stream, which knows five kinds: a byte of either sign, an integer of 64 bits
// of either sign, a double. Narrower numbers go as the widest of their kind and saturate on their way back.

namespace quven_numbers {
template <class T>
struct WideOf {
  using Type = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
};
template <class T>
requires(sizeof(T) == 1) struct WideOf<T> {
  using Type = std::conditional_t<std::is_signed_v<T>, std::int8_t, std::uint8_t>;
};
template <std::floating_point T>
struct WideOf<T> {
  using Type = double;
};
}  // namespace quven_numbers

/// The kind in which a stream carries a number.
template <class T>
using QUVENWide = typename quven_numbers::WideOf<T>::Type;

/// A number of the largest size at most: infinity becomes the largest number, NaN stays.
template <std::floating_point T>
constexpr T quvenClampTo(double value) {
  constexpr T largest = std::numeric_limits<T>::max();
  if (value > static_cast<double>(largest)) return largest;
  if (value < static_cast<double>(-largest)) return -largest;
  return static_cast<T>(value);
}

constexpr double quvenClampDouble(double value) { return quvenClampTo<double>(value); }

/// A number of a narrower type, the nearest that it has.
template <class T>
constexpr T quvenSaturate(QUVENWide<T> value) {
  if constexpr (std::floating_point<T>) {
    return quvenClampTo<T>(value);
  } else if constexpr (std::same_as<T, bool>) {
    return value != 0;
  } else {
    constexpr QUVENWide<T> largest = std::numeric_limits<T>::max();
    constexpr QUVENWide<T> smallest = std::numeric_limits<T>::min();
    return static_cast<T>(value > largest ? largest : value < smallest ? smallest : value);
  }
}

/// Whether no number is infinite or NaN, in a form that becomes vector instructions: one more in the exponent field
/// carries into the sign just where all bits of the exponent are set.
inline bool quvenAllFinite(std::span<const double> values) {
  constexpr std::uint64_t sign = std::uint64_t{1} << 63;
  constexpr std::uint64_t lowestExponentBit = std::uint64_t{1} << 52;
  constexpr std::size_t lanes = 8;
  std::array<std::uint64_t, lanes> carried{};
  const auto look = [&](std::size_t lane, double value) {
    carried[lane] |= (std::bit_cast<std::uint64_t>(value) & ~sign) + lowestExponentBit;
  };
  std::size_t done = 0;
  for (; done + lanes <= values.size(); done += lanes) {
    for (std::size_t lane = 0; lane < lanes; ++lane) look(lane, values[done + lane]);
  }
  for (; done < values.size(); ++done) look(0, values[done]);
  return std::none_of(carried.begin(), carried.end(), [](std::uint64_t lane) { return (lane & sign) != 0; });
}

#endif  // QUVEN_NUMBERS_H
