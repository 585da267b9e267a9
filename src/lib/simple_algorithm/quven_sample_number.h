#ifndef QUVEN_SAMPLE_NUMBER_H
#define QUVEN_SAMPLE_NUMBER_H

#include <cstdint>

/// A subscriber's number of a value: rounded toward zero, over the whole unsigned range of 64 bits. NaN is 0; a number
/// below zero keeps its bits, so that different ones stay different.
inline std::uint64_t quvenSampleNumber(double value) {
  constexpr double twoTo63 = 9.223372036854775808e18;
  if (value >= twoTo63) {
    const double rest = value - twoTo63;
    return (rest >= twoTo63 ? ~std::uint64_t{0} >> 1 : static_cast<std::uint64_t>(rest)) | std::uint64_t{1} << 63;
  }
  return value >= -twoTo63 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) : 0;
}

#endif  // QUVEN_SAMPLE_NUMBER_H
