#ifndef TESTS_FUZZ_NUMBERS_H
#define TESTS_FUZZ_NUMBERS_H

#include <array>
#include <cstdint>
#include <limits>

/// Turns a byte of the fuzzer's input into a number of a dataset: a small whole number or a special value.
inline double fuzzNumber(std::uint8_t byte) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  constexpr std::array<double, 16> special = {std::numeric_limits<double>::quiet_NaN(),
                                              inf,
                                              -inf,
                                              -99999.0,
                                              7788.0,
                                              1.5,
                                              -1.0,
                                              -0.0,
                                              9007199254740991.0,
                                              9007199254740992.0,
                                              -9007199254740991.0,
                                              1e300,
                                              5e-324,
                                              99999999999999.0,
                                              391934661501700.0,  // code of "north"
                                              4294967296.0};
  constexpr std::uint8_t firstSpecial = 240;
  return byte < firstSpecial ? static_cast<double>(byte) : special[byte - firstSpecial];
}

#endif  // TESTS_FUZZ_NUMBERS_H
