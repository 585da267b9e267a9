#include "kernel/quven_num_field_dist.h"

#include <algorithm>
#include <cmath>

#include "kernel/quven_num_field.h"
#include "util/quven_debug.h"
#include "util/quven_numbers.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENNumFieldBin);
QUVEN_REGISTER(QUVENNumFieldDist);

void QUVENNumFieldBin::merge(const QUVENNumFieldBin& other) {
  ivCurrMaxValue = std::max(ivCurrMaxValue, other.ivCurrMaxValue);
  ivCurrMinValue = std::min(ivCurrMinValue, other.ivCurrMinValue);
  if (other.ivCurrCount < 1) return;
  if (ivCurrCount < 1) {
    ivCurrCount = other.ivCurrCount;
    ivCurrSum = other.ivCurrSum;
    ivCurrVariance = other.ivCurrVariance;
    computeCurrMean();
    return;
  }
  const std::int64_t total = std::int64_t{ivCurrCount} + other.ivCurrCount;
  // On purpose the quotient of integers: a chosen approximation of the cross term, the same on all platforms.
  const std::int64_t quotient = total / ivCurrCount;
  ivCurrSum += other.ivCurrSum;
  ivCurrCount = quvenSaturate<std::int32_t>(total);
  const double distance = ivCurrSum / static_cast<double>(total) - other.ivCurrSum / other.ivCurrCount;
  const double weight = static_cast<double>(quotient) * other.ivCurrCount;
  ivCurrVariance = distance * distance * weight + other.ivCurrVariance + ivCurrVariance;
  computeCurrMean();
}

void QUVENNumFieldBin::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  computeCurrMean();
}

void QUVENNumFieldBin::startPass() {
  ivCurrCount = 0;
  ivCurrSum = 0;
  ivCurrVariance = 0;
  ivCurrMaxValue = LowestValue;
  ivCurrMinValue = HighestValue;
}

void QUVENNumFieldBin::finishPass() {
  ivCount = ivCurrCount;
  ivMaxValue = ivCurrMaxValue;
  ivMinValue = ivCurrMinValue;
  if (ivCount >= 1) {
    ivMean = ivCurrSum / ivCount;
    ivVariance = ivCurrVariance / ivCount;
  } else {
    // The sum of two largest ends is infinite, which no stream holds.
    ivMean = quvenClampDouble((ivLoEnd + ivHiEnd) * 0.5);
    ivVariance = 0;
  }
  startPass();
}

double QUVENNumFieldBin::valueOfDraw(double draw) const {
  const double a = ivMinValue;
  const double b = ivMaxValue;
  const double m = ivMean;
  // A mean that rounding has pushed to an end leaves no weights to divide, and a sum that overflows leaves no mean.
  if (!(a < m && m < b)) return std::max(a, std::min(m, b));
  const double lowWeight = ivCount * ivVariance / ((m - a) * (b - a));
  const double highWeight = ivCount * ivVariance / ((b - m) * (b - a));
  if (draw < lowWeight) return a;
  return draw < ivCount - highWeight ? m : b;
}

void QUVENNumFieldDist::setSampleCapacity(std::int32_t capacity) {
  QUVEN_ASSERT(ivSampleSortVec.isEmpty());
  ivSampleSortVecCapacity = capacity;
}

void QUVENNumFieldDist::update(std::uint32_t recordId, double value, const QUVENEnvHandle& env) {
  // Infinity would come back from a worker as the largest number: it is that from the beginning.
  value = quvenClampDouble(value);
  ivCurrValidCount += 1.0;
  if (binLimits.isSearchable() && !std::isnan(value)) {
    ivPotBinsVec[binOfLimits(value)].update(value);
    return;
  }
  if (ivPotBinsVec.isEmpty() && ivScansDone == 0) {
    QUVEN_ASSERT(field != nullptr);
    const QUVENSampledNumber number(value, hashPair(recordId, field->getName().hash()));
    ivSampleSortVec.add(number, ivSampleSortVecCapacity, QUVEN_ENV);
    return;
  }
  const std::int32_t index = getBinIndex(value, QUVEN_ENV);
  if (index != 0) ivPotBinsVec[index].update(value);
}

void QUVENNumFieldDist::beginPass(const QUVENEnvHandle& env) {
  ivCurrMissingCount = ivCurrValidCount = 0;
  ivSampleSortVec.clear(QUVEN_ENV);
  for (QUVENNumFieldBin& bin : ivPotBinsVec) bin.startPass();
}

void QUVENNumFieldDist::endPass(const QUVENEnvHandle& env) {
  ++ivScansDone;
  ivMissingCount = ivCurrMissingCount;
  ivValidCount = ivCurrValidCount;
  ivCurrMissingCount = ivCurrValidCount = 0;
  if (ivPotBinsVec.isEmpty() && ivScansDone == 1) {
    computePotentialBins(QUVEN_ENV);
    ivSampleSortVec.deleteMemory(QUVEN_ENV);
    ivSampleSortVecCapacity = 0;
  }
  for (QUVENNumFieldBin& bin : ivPotBinsVec) bin.finishPass();
}

void QUVENNumFieldDist::computePotentialBins(const QUVENEnvHandle& env) {
  const long n = ivSampleSortVec.getSize();
  if (n < 1) return;
  const long quantiles = std::min(long{MostQuantiles}, static_cast<long>(std::sqrt(static_cast<double>(n))));
  const long step = n / quantiles;
  ivSampleSortVec.sortByValue(QUVEN_ENV);
  ivPotBinsVec.setSizeCapacity(0, 2 * quantiles + 2, QUVEN_ENV);

  double lo = QUVENNumFieldBin::LowestValue;
  bool nextIncLo = true;
  long pos = 1;
  do {
    double hi = QUVENNumFieldBin::HighestValue;
    bool run = false;
    pos += step;
    // Short of the last value: a run that reaches the end of the sample leaves a bin above it for what is larger.
    while (pos < n && !(ivSampleSortVec[pos].getValue() > lo)) {
      ++pos;
      run = true;
    }
    if (pos < n) {
      // The values equal to the end go to the next bin together, those before this place too.
      hi = ivSampleSortVec[pos].getValue();
      while (pos > 1 && !(ivSampleSortVec[pos - 1].getValue() < hi)) --pos;
    }
    if (run) {
      addBin(lo, lo, true, true, QUVEN_ENV);
      nextIncLo = false;
    } else {
      addBin(lo, hi, nextIncLo, false, QUVEN_ENV);
      lo = hi;
      nextIncLo = true;
    }
  } while (pos <= n);

  ivPotBinsVec.setSizeCapacity(ivPotBinsVec.getSize(), ivPotBinsVec.getSize(), QUVEN_ENV);
  binLimits.set(ivPotBinsVec);
  for (const QUVENSampledNumber& element : ivSampleSortVec) {
    ivPotBinsVec[getBinIndex(element.getValue(), QUVEN_ENV)].update(element.getValue());
  }
}

void QUVENNumFieldDist::addBin(double loEnd, double hiEnd, bool incLoEnd, bool incHiEnd, const QUVENEnvHandle& env) {
  ivPotBinsVec.append(QUVENNumFieldBin(loEnd, hiEnd, incLoEnd, incHiEnd), QUVEN_ENV);
}

void QUVENNumFieldDist::merge(const QUVENNumFieldDist& other, const QUVENEnvHandle& env) {
  // Both are made from the same sample.
  QUVEN_ASSERT(ivPotBinsVec.getSize() == other.ivPotBinsVec.getSize());
  ivCurrValidCount += other.ivCurrValidCount;
  ivCurrMissingCount += other.ivCurrMissingCount;
  ivSampleSortVec.addAll(other.ivSampleSortVec, ivSampleSortVecCapacity, QUVEN_ENV);
  for (long i = 1; i <= ivPotBinsVec.getSize(); ++i) ivPotBinsVec[i].merge(other.ivPotBinsVec[i]);
}

std::int32_t QUVENNumFieldDist::getBinIndex(double x, const QUVENEnvHandle& env) const {
  const std::int32_t numBins = static_cast<std::int32_t>(ivPotBinsVec.getSize());
  if (numBins == 0) return 0;
  x = quvenClampDouble(x);
  if (!binLimits.isSearchable() || std::isnan(x)) return walkToBin(x, QUVEN_ENV);
  return binOfLimits(x);
}

/// The bin of a number among bins of any order: the first whose end reaches it, from the first end that is not below.
std::int32_t QUVENNumFieldDist::walkToBin(double x, const QUVENEnvHandle& env) const {
  const std::int32_t numBins = static_cast<std::int32_t>(ivPotBinsVec.getSize());
  const long ends = std::count_if(ivPotBinsVec.begin(), ivPotBinsVec.end(),
                                  [x](const QUVENNumFieldBin& bin) { return bin.getHiEnd() < x; });
  for (std::int32_t i = static_cast<std::int32_t>(ends) + 1; i <= numBins; ++i) {
    if (ivPotBinsVec[i].reachesUpTo(x)) return i;
  }
  if (x >= QUVENNumFieldBin::HighestValue) return numBins;
  quvenUnreachable(QUVEN_ENV);
}

template <class LimitAt>
bool QUVENBinLimits::setLimits(long count, LimitAt limitAt) {
  if (count > MostBins) return false;
  limits.fill(std::numeric_limits<double>::infinity());
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    limits[i] = limitAt(static_cast<long>(i) + 1);
    if (std::isnan(limits[i]) || (i > 0 && limits[i] < limits[i - 1])) return false;
  }
  for (std::size_t i = 0; i < groupLimits.size(); ++i) groupLimits[i] = limits[(i + 1) * GroupSize - 1];
  return true;
}

namespace {

double numberAfter(double x) { return std::nextafter(x, std::numeric_limits<double>::infinity()); }

}  // namespace

void QUVENBinLimits::set(const QUVENXaRay<QUVENNumFieldBin, 0>& bins) {
  const auto limitAt = [&](long i) {
    return bins[i].includesHiEnd() ? numberAfter(bins[i].getHiEnd()) : bins[i].getHiEnd();
  };
  searchable = !bins.isEmpty() && setLimits(bins.getSize(), limitAt) &&
               bins[bins.getSize()].getHiEnd() == QUVENNumFieldBin::HighestValue;
}

void QUVENBinLimits::setEnds(const QUVENXaRay<double>& ends) {
  searchable = setLimits(ends.getSize(), [&](long i) { return numberAfter(ends[i]); });
}

void QUVENNumFieldDist::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  binLimits.set(ivPotBinsVec);
}
