#ifndef VESK_GENERATE_POWER_LAW_H
#define VESK_GENERATE_POWER_LAW_H

#include <cstdint>
#include <vector>

namespace vesk_generate {

/// x to the given exponent, by multiplications and square roots alone, which IEEE 754 rounds exactly: pow() does not
/// promise its last bit, this gives the same bits on every machine.
///
/// Requires: x >= 1, 0 <= exponent <= 16.
/// Accuracy: the exponent is cut to a multiple of 1/1024.
double powerBySquareRoots(double x, double exponent);

/// The weight of each rank from 1 to n: 2^32 times rank to the power of minus exponent, at least 1.
///
/// Shapes: element r - 1 is the weight of rank r. Exponent 0 makes all weights equal.
std::vector<std::uint64_t> powerLawWeights(std::uint32_t n, double exponent);

/// The quantiles of a heavy-tailed duration at the middles of `count` equal slices: mean * ((1 - u)^(-1/2) - 1).
///
/// Units:  seconds, at least 1.
/// Source: Lomax (Pareto type II) distribution with shape 2, whose mean is its scale.
std::vector<std::uint32_t> durationQuantiles(std::uint32_t count, double meanSeconds);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_POWER_LAW_H
