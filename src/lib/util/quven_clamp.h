#ifndef QUVEN_CLAMP_H
#define QUVEN_CLAMP_H

#include <algorithm>
#include <span>

#include "util/quven_numbers.h"

/// Clamps the infinite ones of many numbers, of which there are none as a rule.
inline void quvenClampAll(std::span<double> values) {
  if (!quvenAllFinite(values)) std::transform(values.begin(), values.end(), values.begin(), quvenClampDouble);
}

/// Adds numbers as if they and the sums had come from a stream and went into one. So sums that overflow are the same,
/// wherever their parts were gathered.
inline void quvenAddClamped(std::span<double> sums, std::span<const double> numbers) {
  std::transform(sums.begin(), sums.end(), numbers.begin(), sums.begin(),
                 [](double a, double b) { return quvenClampDouble(quvenClampDouble(a) + quvenClampDouble(b)); });
}

#endif  // QUVEN_CLAMP_H
