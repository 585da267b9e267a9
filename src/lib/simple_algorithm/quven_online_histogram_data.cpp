#include "simple_algorithm/quven_online_histogram_data.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENOnlineHistogramData);

namespace {

std::int32_t sumOf(std::int32_t a, std::int32_t b) {
  std::int32_t sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<std::int32_t>::max() : sum;
}

constexpr long groupSize = 32;  // gaps, and bins of a step of the search
constexpr long fewestIndexed = 3;

/// The smallest of count numbers, infinity if none is below.
template <class Number>
double smallestOf(long count, Number number) {
  // Four minima at a time, because the steps to a single one would wait for each other.
  constexpr double infinity = std::numeric_limits<double>::infinity();
  double smallest[4] = {infinity, infinity, infinity, infinity};
  long i = 0;
  for (; i + 4 <= count; i += 4) {
    for (long lane = 0; lane < 4; ++lane) smallest[lane] = std::min(smallest[lane], number(i + lane));
  }
  for (; i < count; ++i) smallest[0] = std::min(smallest[0], number(i));
  return std::min(std::min(smallest[0], smallest[1]), std::min(smallest[2], smallest[3]));
}

/// The first of count numbers that equals a value, counted from 0; count if there is none.
template <class Number>
long firstOf(long count, double value, Number number) {
  long i = 0;
  while (i < count && number(i) != value) ++i;
  return i;
}

/// The smallest difference of neighbouring cells among numGaps of them.
double smallestGap(const double* cell, long numGaps) {
  return smallestOf(numGaps, [cell](long i) { return cell[i + 1] - cell[i]; });
}

/// The first gap of that size among numGaps, counted from 0; numGaps if there is none.
long firstGap(const double* cell, long numGaps, double gap) {
  return firstOf(numGaps, gap, [cell](long i) { return cell[i + 1] - cell[i]; });
}

/// The first place whose bin and the next are the nearest of all; 1 if no gap is a number.
long nearestPair(const QUVENXaRay<double>& locations) {
  const long numGaps = locations.getSize() - 1;
  const long first = firstGap(locations.begin(), numGaps, smallestGap(locations.begin(), numGaps));
  return first < numGaps ? first + 1 : 1;
}

/// The mean of two neighbouring bins, weighted by their counts.
double meanOf(double low, std::int32_t lowCount, double high, std::int32_t highCount) {
  const double a = lowCount;
  const double b = highCount;
  return (a * low + b * high) / (a + b);
}

/// The number of cells below a value. Ascending cells are required.
long numBelow(const double* cell, long size, double value) {
  // Counts in ever narrower ranges, because a branch of a binary search would be taken half of the time.
  long first = 0;
  long end = size;
  for (const long step : {4 * groupSize, groupSize}) {
    long numSteps = 0;
    for (long i = first + step; i < end; i += step) numSteps += cell[i] < value ? 1 : 0;
    first += numSteps * step;
    end = std::min(first + step, size);
  }
  long count = 0;
  if (end - first == groupSize) {
    for (long i = 0; i < groupSize; ++i) count += cell[first + i] < value ? 1 : 0;
  } else {
    for (long i = first; i < end; ++i) count += cell[i] < value ? 1 : 0;
  }
  return first + count;
}

template <class T>
void moveCells(T* to, const T* from, long count) {
  std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(T));
}

}  // namespace

void QUVENOnlineHistogramData::setBins(std::int32_t count, const QUVENEnvHandle&) {
  QUVEN_ASSERT_CAUSE(count >= 1, "A histogram without bins");
  ivMaxBins = count;
  while (getNumBins() > ivMaxBins) compress();
}

long QUVENOnlineHistogramData::placeOf(double location) const {
  if (!gapMinima.isEmpty()) return numBelow(ivLocations.begin(), ivLocations.getSize(), location) + 1;
  return std::lower_bound(ivLocations.begin(), ivLocations.end(), location) - ivLocations.begin() + 1;
}

void QUVENOnlineHistogramData::insertAt(long place, double location, std::int32_t count, const QUVENEnvHandle& env) {
  dropIndex();
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
  dropIndex();
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
    if (gapMinima.isEmpty()) indexGaps(QUVEN_ENV);
    if (replaceNearest(place, value)) return;
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
  const double mean = meanOf(ivLocations[low], ivCounts[low], ivLocations[low + 1], ivCounts[low + 1]);
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

void QUVENOnlineHistogramData::indexGaps(const QUVENEnvHandle& env) {
  const double* const cell = ivLocations.begin();
  const long size = getNumBins();
  if (size < fewestIndexed) return;
  for (long i = 1; i < size; ++i) {
    if (!(cell[i - 1] < cell[i])) return;
  }
  gapMinima.setSize((size - 1 + groupSize - 1) / groupSize, QUVEN_ENV);
  updateGaps(0, size - 2, size, -1, 1);
}

bool QUVENOnlineHistogramData::replaceNearest(long place, double value) {
  if (gapMinima.isEmpty()) return false;
  double* const cell = ivLocations.begin();
  std::int32_t* const count = ivCounts.begin();
  const long size = getNumBins();
  const double* const minima = gapMinima.begin();
  const auto minimum = [minima](long i) { return minima[i]; };
  const double gap = smallestOf(gapMinima.getSize(), minimum);
  const long group = firstOf(gapMinima.getSize(), gap, minimum);
  const long low = group * groupSize + firstGap(cell + group * groupSize, size - 1 - group * groupSize, gap);

  const double mean = meanOf(cell[low], count[low], cell[low + 1], count[low + 1]);
  const std::int32_t sum = sumOf(count[low], count[low + 1]);
  const bool isBetween = (low == 0 || cell[low - 1] < mean) && (low + 2 >= size || mean < cell[low + 2]);
  // NaN as a value compares false, as does a value at the mean.
  const long at = place - 1;
  const bool isBelow = at < low || (at <= low + 2 && value < mean);
  const bool isAbove = at > low + 2 || (at >= low && value > mean);
  if (!isBetween || std::isnan(value) || isBelow == isAbove) return false;

  if (isBelow) {
    const long to = std::min(at, low);
    moveCells(cell + to + 1, cell + to, low - to);
    moveCells(count + to + 1, count + to, low - to);
    cell[to] = value;
    count[to] = 1;
    cell[low + 1] = mean;
    count[low + 1] = sum;
    updateGaps(to - 1, low + 1, to + 1, low - 1, 1);
  } else {
    const long to = std::max(at - 1, low + 1);
    moveCells(cell + low + 1, cell + low + 2, to - low - 1);
    moveCells(count + low + 1, count + low + 2, to - low - 1);
    cell[low] = mean;
    count[low] = sum;
    cell[to] = value;
    count[to] = 1;
    updateGaps(low - 1, to, low + 1, to - 2, -1);
  }
  return true;
}

void QUVENOnlineHistogramData::updateGaps(long first, long last, long firstMoved, long lastMoved, long step) {
  const double* const cell = ivLocations.begin();
  double* const minima = gapMinima.begin();
  const long numGaps = getNumBins() - 1;
  const auto gapAt = [&](long i) { return cell[i + 1] - cell[i]; };
  const long lastGroup = std::min(last, numGaps - 1) / groupSize;
  for (long group = std::max(first, 0L) / groupSize; group <= lastGroup; ++group) {
    const long begin = group * groupSize;
    const long end = begin + groupSize;
    // A group of moved gaps gets one of them at one end, and loses one at the other end to the group beside it.
    const long entered = step > 0 ? begin : end - 1;
    const long left = step > 0 ? end : begin - 1;
    const bool isMoved = std::min(begin, left) >= firstMoved && std::max(end - 1, left) <= lastMoved;
    if (isMoved && gapAt(left) > minima[group]) {
      minima[group] = std::min(minima[group], gapAt(entered));
    } else {
      minima[group] = smallestGap(cell + begin, std::min(groupSize, numGaps - begin));
    }
  }
}

void QUVENOnlineHistogramData::merge(QUVENXaRay<double>& locationsA, QUVENXaRay<std::int32_t>& countsA,
                                     const QUVENXaRay<double>& locationsB, const QUVENXaRay<std::int32_t>& countsB,
                                     const QUVENEnvHandle& env) {
  QUVEN_ASSERT(locationsA.getSize() == countsA.getSize());
  QUVEN_ASSERT(locationsB.getSize() == countsB.getSize());
  dropIndex();
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

void QUVENOnlineHistogramData::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  dropIndex();
}
