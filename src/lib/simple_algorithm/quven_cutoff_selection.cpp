#include "simple_algorithm/quven_cutoff_selection.h"

#include <algorithm>
#include <bit>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENCutoffSelection);

namespace {

constexpr std::uint64_t signBit = std::uint64_t{1} << 63;

}  // namespace

std::uint64_t QUVENCutoffSelection::keyOf(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value + 0.0);  // the sum of -0 and 0 is 0
  return (bits & signBit) != 0 ? ~bits : bits | signBit;
}

void QUVENCutoffSelection::begin(double theLevel, const QUVENEnvHandle& env) {
  level = theLevel;
  digit = 0;
  prefix = 0;
  place = 0;
  numValues = 0;
  numBelow = 0;
  beginRound(QUVEN_ENV);
}

void QUVENCutoffSelection::beginRound(const QUVENEnvHandle& env) {
  counts.setSize(0, QUVEN_ENV);
  counts.setSize(static_cast<long>(numBuckets), QUVEN_ENV);
}

void QUVENCutoffSelection::merge(const QUVENCutoffSelection& other) {
  QUVEN_ASSERT(other.digit == digit && other.counts.getSize() == counts.getSize());
  std::transform(counts.begin(), counts.end(), other.counts.begin(), counts.begin(), std::plus<>());
}

bool QUVENCutoffSelection::endRound() {
  if (digit == 0) {
    for (const std::uint64_t count : counts) numValues += count;
    if (numValues == 0) return false;
    place = std::min(static_cast<std::uint64_t>(static_cast<double>(numValues) * level), numValues - 1);
  }
  std::uint64_t bucket = 0;
  for (; place >= counts.begin()[bucket]; ++bucket) {
    place -= counts.begin()[bucket];
    numBelow += counts.begin()[bucket];
  }
  prefix = (prefix << bitsOfDigit) | bucket;
  ++digit;
  return isFound();
}

double QUVENCutoffSelection::getCutoff() const {
  QUVEN_ASSERT(isFound());
  return std::bit_cast<double>((prefix & signBit) != 0 ? prefix & ~signBit : ~prefix);
}
