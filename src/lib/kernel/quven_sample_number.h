#ifndef QUVEN_SAMPLE_NUMBER_H
#define QUVEN_SAMPLE_NUMBER_H

#include <cstdint>

/// The number of a line or of a subscriber that a double stands for: rounded toward zero, over the whole unsigned range
/// of 64 bits. A number below zero keeps its bits, so that different ones stay different; what lies beyond an end
/// becomes that end, and NaN is 0. Whoever deals lines over workers and whoever keeps their subscribers has to read
/// them alike.
inline std::uint64_t quvenSampleNumber(double value) {
  constexpr double twoTo63 = 9.223372036854775808e18;
  constexpr std::uint64_t topBit = std::uint64_t{1} << 63;
  if (value < twoTo63) {
    // The signed conversion is the fast one.
    return value >= -twoTo63 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) : topBit;
  }
  if (value < 2 * twoTo63) return static_cast<std::uint64_t>(static_cast<std::int64_t>(value - twoTo63)) | topBit;
  return value >= 2 * twoTo63 ? ~std::uint64_t{0} : 0;
}

#endif  // QUVEN_SAMPLE_NUMBER_H
