#ifndef QUVEN_NUMBERS_H
#define QUVEN_NUMBERS_H

#include <concepts>
#include <cstdint>
#include <limits>
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

#endif  // QUVEN_NUMBERS_H
