#include "kernel/quven_num_field_dist.h"

#include <algorithm>
#include <cmath>
#include <compare>

#include "kernel/quven_num_field.h"
#include "util/quven_debug.h"
#include "util/quven_heap.h"
#include "util/quven_numbers.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENRealPQElement);
QUVEN_REGISTER(QUVENNumFieldBin);
QUVEN_REGISTER(QUVENNumFieldDist);

namespace {

using Sample = QUVENXaRay<QUVENRealPQElement, 0>;

struct ByFallingPriority {
  bool operator()(const QUVENRealPQElement& a, const QUVENRealPQElement& b) const { return b.leavesBefore(a); }
};
struct ByValue {
  bool operator()(const QUVENRealPQElement& a, const QUVENRealPQElement& b) const {
    return a.getValue() < b.getValue();
  }
};

}  // namespace

bool QUVENRealPQElement::leavesBefore(const QUVENRealPQElement& other) const {
  if (ivPriority != other.ivPriority) return ivPriority < other.ivPriority;
  return std::strong_order(ivValue, other.ivValue) < 0;
}

void QUVENNumFieldBin::update(double x) {
  ivCurrMaxValue = std::max(ivCurrMaxValue, x);
  ivCurrMinValue = std::min(ivCurrMinValue, x);
  if (ivCurrCount < 1) {
    ivCurrSum = x;
    ivCurrCount = 1;
    ivCurrVariance = 0;
    return;
  }
  const double oldMean = ivCurrSum / ivCurrCount;
  ivCurrSum += x;
  ++ivCurrCount;
  const double newMean = ivCurrSum / ivCurrCount;
  ivCurrVariance += (x - newMean) * (x - oldMean);
}

void QUVENNumFieldBin::merge(const QUVENNumFieldBin& other) {
  ivCurrMaxValue = std::max(ivCurrMaxValue, other.ivCurrMaxValue);
  ivCurrMinValue = std::min(ivCurrMinValue, other.ivCurrMinValue);
  if (other.ivCurrCount < 1) return;
  if (ivCurrCount < 1) {
    ivCurrCount = other.ivCurrCount;
    ivCurrSum = other.ivCurrSum;
    ivCurrVariance = other.ivCurrVariance;
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
    ivMean = (ivLoEnd + ivHiEnd) * 0.5;
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
  if (ivPotBinsVec.isEmpty() && ivScansDone == 0) {
    QUVEN_ASSERT(field != nullptr);
    addSample(hashPair(recordId, field->getName().hash()), value, QUVEN_ENV);
    return;
  }
  const std::int32_t index = getBinIndex(value, QUVEN_ENV);
  if (index != 0) ivPotBinsVec[index].update(value);
}

void QUVENNumFieldDist::addSample(std::uint32_t priority, double value, const QUVENEnvHandle& env) {
  const QUVENRealPQElement element(value, priority);
  const long size = ivSampleSortVec.getSize();
  if (ivSampleSortVecCapacity < 1) return;
  QUVENHeap heap(ivSampleSortVec, ByFallingPriority());
  if (size >= ivSampleSortVecCapacity) {
    if (!ivSampleSortVec[1].leavesBefore(element)) return;
    ivSampleSortVec[1].copyFromPrimitive(&element, QUVEN_ENV);
    heap.siftDown(1, size, QUVEN_ENV);
  } else {
    ivSampleSortVec.append(QUVENRealPQElement(value, priority), QUVEN_ENV);
    if (size + 1 == ivSampleSortVecCapacity) heap.heapify(size + 1, QUVEN_ENV);
  }
}

void QUVENNumFieldDist::beginPass(const QUVENEnvHandle& env) {
  ivCurrMissingCount = ivCurrValidCount = 0;
  ivSampleSortVec.setSize(0, QUVEN_ENV);
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
  QUVENHeap(ivSampleSortVec, ByValue()).heapSort(n, QUVEN_ENV);
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
  rebuildEnds(QUVEN_ENV);
  for (const QUVENRealPQElement& element : ivSampleSortVec) {
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
  for (const QUVENRealPQElement& element : other.ivSampleSortVec) {
    addSample(element.getPriority(), element.getValue(), QUVEN_ENV);
  }
  for (long i = 1; i <= ivPotBinsVec.getSize(); ++i) ivPotBinsVec[i].merge(other.ivPotBinsVec[i]);
}

std::int32_t QUVENNumFieldDist::getBinIndex(double x, const QUVENEnvHandle& env) const {
  const long numBins = ivPotBinsVec.getSize();
  if (numBins == 0) return 0;
  x = quvenClampDouble(x);
  const double* start = std::lower_bound(sortedEnds.begin(), sortedEnds.end(), x);
  for (long i = start - sortedEnds.begin() + 1; i <= numBins; ++i) {
    if (ivPotBinsVec[i].reachesUpTo(x)) return static_cast<std::int32_t>(i);
  }
  // The largest end is excluded as well, but there is no bin above it.
  if (x >= QUVENNumFieldBin::HighestValue) return static_cast<std::int32_t>(numBins);
  quvenUnreachable(QUVEN_ENV);
}

void QUVENNumFieldDist::rebuildEnds(const QUVENEnvHandle& env) {
  sortedEnds.setSize(ivPotBinsVec.getSize(), QUVEN_ENV);
  std::transform(ivPotBinsVec.begin(), ivPotBinsVec.end(), sortedEnds.begin(),
                 [](const QUVENNumFieldBin& bin) { return bin.getHiEnd(); });
  // In the total order, for a foreign stream may have an end that is not a number.
  std::sort(sortedEnds.begin(), sortedEnds.end(), [](double a, double b) { return std::strong_order(a, b) < 0; });
}

void QUVENNumFieldDist::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  rebuildEnds(QUVEN_ENV);
}
