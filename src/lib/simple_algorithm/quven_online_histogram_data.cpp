#include "simple_algorithm/quven_online_histogram_data.h"

#include <algorithm>
#include <limits>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENOnlineHistogramData);

namespace {

std::int32_t sumOf(std::int32_t a, std::int32_t b) {
  std::int32_t sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<std::int32_t>::max() : sum;
}

/// The first place whose bin and the next are the nearest of all.
long nearestPair(const QUVENXaRay<double>& locations) {
  // Four minima at a time, as one would wait for itself; then the first place that has the smallest.
  const double* cell = locations.begin();
  const long numGaps = locations.getSize() - 1;
  constexpr double infinity = std::numeric_limits<double>::infinity();
  double smallest[4] = {infinity, infinity, infinity, infinity};
  long i = 0;
  for (; i + 4 <= numGaps; i += 4) {
    for (long lane = 0; lane < 4; ++lane) {
      smallest[lane] = std::min(smallest[lane], cell[i + lane + 1] - cell[i + lane]);
    }
  }
  for (; i < numGaps; ++i) smallest[0] = std::min(smallest[0], cell[i + 1] - cell[i]);
  const double gap = std::min(std::min(smallest[0], smallest[1]), std::min(smallest[2], smallest[3]));
  for (i = 0; i < numGaps; ++i) {
    if (cell[i + 1] - cell[i] == gap) return i + 1;
  }
  return 1;  // no gap is a number
}

}  // namespace

void QUVENOnlineHistogramData::setBins(std::int32_t count, const QUVENEnvHandle&) {
  QUVEN_ASSERT_CAUSE(count >= 1, "A histogram without bins");
  ivMaxBins = count;
  while (getNumBins() > ivMaxBins) compress();
}

long QUVENOnlineHistogramData::placeOf(double location) const {
  return std::lower_bound(ivLocations.begin(), ivLocations.end(), location) - ivLocations.begin() + 1;
}

void QUVENOnlineHistogramData::insertAt(long place, double location, std::int32_t count, const QUVENEnvHandle& env) {
  ivLocations.append(location, QUVEN_ENV);
  ivCounts.append(count, QUVEN_ENV);
  std::rotate(ivLocations.begin() + place - 1, ivLocations.end() - 1, ivLocations.end());
  std::rotate(ivCounts.begin() + place - 1, ivCounts.end() - 1, ivCounts.end());
}

void QUVENOnlineHistogramData::addCount(double location, std::int32_t count, const QUVENEnvHandle& env) {
  const long place = placeOf(location);
  if (place <= getNumBins() && ivLocations[place] == location) {
    ivCounts[place] = sumOf(ivCounts[place], count);
  } else {
    insertAt(place, location, count, QUVEN_ENV);
  }
}

void QUVENOnlineHistogramData::removeAt(long place) {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  std::copy(ivLocations.begin() + place, ivLocations.end(), ivLocations.begin() + place - 1);
  std::copy(ivCounts.begin() + place, ivCounts.end(), ivCounts.begin() + place - 1);
  ivLocations.setSize(ivLocations.getSize() - 1, QUVEN_ENV);
  ivCounts.setSize(ivCounts.getSize() - 1, QUVEN_ENV);
}

void QUVENOnlineHistogramData::add(double value, const QUVENEnvHandle& env) {
  long place = placeOf(value);
  const auto isThere = [&] { return place <= getNumBins() && ivLocations[place] == value; };
  if (isThere()) {
    ivCounts[place] = sumOf(ivCounts[place], 1);
    return;
  }
  if (getNumBins() >= ivMaxBins) {
    compress();
    place = placeOf(value);
    if (isThere()) {  // the mean has come to lie on the value: the value's bin takes its place
      ivCounts[place] = 1;
      return;
    }
  }
  insertAt(place, value, 1, QUVEN_ENV);
}

void QUVENOnlineHistogramData::compress() {
  if (getNumBins() < 2) return;
  const long low = nearestPair(ivLocations);
  const double lowCount = ivCounts[low];
  const double highCount = ivCounts[low + 1];
  const double mean = (lowCount * ivLocations[low] + highCount * ivLocations[low + 1]) / (lowCount + highCount);
  const std::int32_t count = sumOf(ivCounts[low], ivCounts[low + 1]);
  removeAt(low + 1);
  removeAt(low);
  const long place = placeOf(mean);
  if (place <= getNumBins() && ivLocations[place] == mean) {
    ivCounts[place] = count;
    return;
  }
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  insertAt(place, mean, count, QUVEN_ENV);  // within the memory that was there before
}

void QUVENOnlineHistogramData::merge(QUVENXaRay<double>& locationsA, QUVENXaRay<std::int32_t>& countsA,
                                     const QUVENXaRay<double>& locationsB, const QUVENXaRay<std::int32_t>& countsB,
                                     const QUVENEnvHandle& env) {
  QUVEN_ASSERT(locationsA.getSize() == countsA.getSize());
  QUVEN_ASSERT(locationsB.getSize() == countsB.getSize());
  ivLocations.setSize(0, QUVEN_ENV);
  ivCounts.setSize(0, QUVEN_ENV);
  for (long i = 1; i <= locationsA.getSize(); ++i) addCount(locationsA[i], countsA[i], QUVEN_ENV);
  for (long i = 1; i <= locationsB.getSize(); ++i) addCount(locationsB[i], countsB[i], QUVEN_ENV);
  while (getNumBins() > ivMaxBins) compress();
  getBins(locationsA, countsA, QUVEN_ENV);
}

void QUVENOnlineHistogramData::getBins(QUVENXaRay<double>& locations, QUVENXaRay<std::int32_t>& counts,
                                       const QUVENEnvHandle& env) const {
  locations.copyFrom(ivLocations, QUVEN_ENV);
  counts.copyFrom(ivCounts, QUVEN_ENV);
}

int QUVENOnlineHistogramData::finishIteration(const QUVENEnvHandle&) { return 1; }

void QUVENOnlineHistogramData::merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(other != nullptr && other->isA(typeName()));
  const auto& histogram = static_cast<const QUVENOnlineHistogramData&>(*other);
  QUVENXaRay<double> locations;
  QUVENXaRay<std::int32_t> counts;
  getBins(locations, counts, QUVEN_ENV);
  merge(locations, counts, histogram.ivLocations, histogram.ivCounts, QUVEN_ENV);
  QUVEN_DELETE(locations);
  QUVEN_DELETE(counts);
}

int QUVENOnlineHistogramData::needsMerge() const { return 1; }
