#include "power_law.h"

#include <algorithm>
#include <cmath>

namespace vesk_generate {

double powerBySquareRoots(double x, double exponent) {
  double result = 1.0;
  for (; exponent >= 1.0; exponent -= 1.0) result *= x;
  double root = x;
  for (int bit = 0; bit < 10 && exponent > 0.0; ++bit) {
    root = std::sqrt(root);
    exponent *= 2.0;
    if (exponent >= 1.0) {
      result *= root;
      exponent -= 1.0;
    }
  }
  return result;
}

std::vector<std::uint64_t> powerLawWeights(std::uint32_t n, double exponent) {
  std::vector<std::uint64_t> weights(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    const double weight = 0x1p32 / powerBySquareRoots(i + 1.0, exponent);
    weights[i] = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(weight));
  }
  return weights;
}

std::vector<std::uint32_t> durationQuantiles(std::uint32_t count, double meanSeconds) {
  std::vector<std::uint32_t> seconds(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const double rest = 1.0 - (i + 0.5) / count;
    const double duration = meanSeconds * (1.0 / std::sqrt(rest) - 1.0);
    seconds[i] = std::max<std::uint32_t>(1, static_cast<std::uint32_t>(duration));
  }
  return seconds;
}

}  // namespace vesk_generate
