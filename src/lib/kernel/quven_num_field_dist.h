#ifndef QUVEN_NUM_FIELD_DIST_H
#define QUVEN_NUM_FIELD_DIST_H

// The distribution of a column of numbers: bins from a sample of the first pass, exact statistics of them afterwards.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "kernel/quven_number_sample.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

class QUVENNumField;

/// An interval of the numbers, and what was seen in it: in the last finished pass and in the current one.
class QUVENNumFieldBin : public QUVENObjectOf<QUVENNumFieldBin, QUVENObject> {
 public:
  static constexpr double LowestValue = -std::numeric_limits<double>::max();
  static constexpr double HighestValue = std::numeric_limits<double>::max();

  QUVENNumFieldBin() = default;
  QUVENNumFieldBin(double loEnd, double hiEnd, bool incLoEnd, bool incHiEnd)
      : ivLoEnd(loEnd), ivHiEnd(hiEnd), ivIncLoEnd(incLoEnd ? 1 : 0), ivIncHiEnd(incHiEnd ? 1 : 0) {}

  double getLoEnd() const { return ivLoEnd; }
  double getHiEnd() const { return ivHiEnd; }
  bool includesLoEnd() const { return ivIncLoEnd != 0; }
  bool includesHiEnd() const { return ivIncHiEnd != 0; }
  std::int32_t getCount() const { return ivCount; }
  double getMean() const { return ivMean; }
  /// Of the population: the sum of squared deviations over the count.
  double getVariance() const { return ivVariance; }
  double getMaxValue() const { return ivMaxValue; }
  double getMinValue() const { return ivMinValue; }
  std::int32_t getCurrCount() const { return ivCurrCount; }
  double getCurrSum() const { return ivCurrSum; }
  /// The sum of squared deviations so far.
  double getCurrVariance() const { return ivCurrVariance; }
  double getCurrMaxValue() const { return ivCurrMaxValue; }
  double getCurrMinValue() const { return ivCurrMinValue; }

  /// Whether a number is not above the bin.
  bool reachesUpTo(double x) const { return ivIncHiEnd != 0 ? x <= ivHiEnd : ivHiEnd > x; }
  /// Counts a number. At the largest count only the ends change, so that mean and variance stay those of the numbers
  /// counted.
  void update(double x) {
    ivCurrMaxValue = std::max(ivCurrMaxValue, x);
    ivCurrMinValue = std::min(ivCurrMinValue, x);
    if (ivCurrCount < 1) {
      ivCurrSum = currMean = x;
      ivCurrCount = 1;
      ivCurrVariance = 0;
      return;
    }
    if (ivCurrCount == std::numeric_limits<std::int32_t>::max()) return;
    const double oldMean = currMean;
    ivCurrSum += x;
    ++ivCurrCount;
    currMean = ivCurrSum / ivCurrCount;
    ivCurrVariance += (x - currMean) * (x - oldMean);
  }
  void merge(const QUVENNumFieldBin& other);
  /// Ends a pass: what was current becomes that of the last finished pass.
  void finishPass();
  /// Forgets what the current pass has gathered.
  void startPass();
  /// A number for a draw from 0 to the count: the minimum, the mean or the maximum, weighted so that they have the mean
  /// and the variance of the bin. A bin whose mean is not between two ends gives its mean.
  double valueOfDraw(double draw) const;

  /// Computes the mean, which no stream carries.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  void computeCurrMean() { currMean = ivCurrCount < 1 ? 0 : ivCurrSum / ivCurrCount; }

  QUVEN_MEMBER(ivLoEnd, double) = 0;
  QUVEN_MEMBER(ivHiEnd, double) = 0;
  QUVEN_MEMBER(ivIncLoEnd, std::int32_t) = 0;
  QUVEN_MEMBER(ivIncHiEnd, std::int32_t) = 0;
  QUVEN_MEMBER(ivCount, std::int32_t) = 0;
  QUVEN_MEMBER(ivMean, double) = 0;
  QUVEN_MEMBER(ivVariance, double) = 0;
  QUVEN_MEMBER(ivMaxValue, double) = 0;
  QUVEN_MEMBER(ivMinValue, double) = 0;
  QUVEN_MEMBER(ivCurrCount, std::int32_t) = 0;
  QUVEN_MEMBER(ivCurrSum, double) = 0;
  QUVEN_MEMBER(ivCurrVariance, double) = 0;
  QUVEN_MEMBER(ivCurrMaxValue, double) = LowestValue;
  QUVEN_MEMBER(ivCurrMinValue, double) = HighestValue;
  QUVEN_STATE(currMean, double) = 0;  // ivCurrSum / ivCurrCount, kept to divide once for each number
};

/// The upper limits of bins, for a search without branches that depend on the number.
///
/// A number is in the first bin whose limit is above it: the limit of a bin is its upper end, or the next number where
/// the end belongs to the bin. The limits are in ascending order in groups of 16, unused limits are infinity.
class QUVENBinLimits {
 public:
  /// Takes over the limits of the bins.
  void set(const QUVENXaRay<QUVENNumFieldBin, 0>& bins);
  /// Takes over the limits of intervals that each have their end in them; find gives the interval after the last one
  /// for a larger number. Searchable for at most MostBins ends in ascending order.
  void setEnds(const QUVENXaRay<double>& ends);
  /// Whether the bins of set can be searched: at most MostBins, limits in ascending order, the largest number as last
  /// end. Bins made from a sample always can; those of a damaged stream may not.
  bool isSearchable() const { return searchable; }
  /// The bins are gone.
  void deleteMemory(const QUVENEnvHandle&) { searchable = false; }
  /// The index from 0 of the bin of a finite number; at or above the number of bins when every limit is at or below it.
  /// Requires: isSearchable().
  std::int32_t find(double x) const {
    const std::int32_t group = countUpTo(groupLimits.data(), x);
    return group * GroupSize + countUpTo(limits.data() + static_cast<std::ptrdiff_t>(group) * GroupSize, x);
  }

 private:
  static constexpr std::int32_t GroupSize = 16;
  static constexpr std::int32_t MostBins = GroupSize * GroupSize - 1;

  /// Takes over count limits, and returns whether they are in ascending order and not too many.
  template <class LimitAt>
  bool setLimits(long count, LimitAt limitAt);
  /// How many limits of a group are at or below a number. Two at a time, by vectors of the compiler: it does not make
  /// them of a plain loop here, and the search is in every pass.
  static std::int32_t countUpTo(const double* group, double x) {
    using Numbers = double __attribute__((vector_size(16)));
    using Counts = std::int64_t __attribute__((vector_size(16)));
    const Numbers all = {x, x};
    Counts count = {0, 0};
    for (std::int32_t i = 0; i < GroupSize; i += 2) {
      const Numbers limitsOfTwo = {group[i], group[i + 1]};
      count -= limitsOfTwo <= all;  // a comparison that holds is -1
    }
    return static_cast<std::int32_t>(count[0] + count[1]);
  }

  bool searchable = false;
  std::array<double, GroupSize> groupLimits{};  // the last limit of each group
  std::array<double, GroupSize * GroupSize> limits{};
};

/// The distribution of a numeric field.
///
/// The first pass takes a sample of the values with the highest priorities, which are drawn from the number of the
/// record and the name of the field; its end makes the bins. All later passes gather the exact statistics of the bins.
/// So neither depends on how the records are divided among workers. The parts of the workers are merged before the pass
/// is ended: only what is current is merged.
/// Shapes:   the bins run 1..getNumBins(), upward, and cover the line: the last takes the largest number and infinity.
/// Lifetime: owned by its field, which it points back to.
class QUVENNumFieldDist : public QUVENObjectOf<QUVENNumFieldDist, QUVENObject> {
 public:
  static constexpr std::int32_t MostQuantiles = 100;

  void setField(const QUVENNumField* itsField) { field = itsField; }
  /// Requires: no sample was begun.
  void setSampleCapacity(std::int32_t capacity);

  /// Counts a value and shows it to the sample or to the bins. Infinity counts as the largest number.
  /// Errors: a value that is not a number has no bin: "Program control should never reach this point".
  void update(std::uint32_t recordId, double value, const QUVENEnvHandle& env);
  void updateMissing() { ivCurrMissingCount += 1.0; }
  /// Drops what an unfinished pass has gathered.
  void beginPass(const QUVENEnvHandle& env);
  void endPass(const QUVENEnvHandle& env);
  /// Folds in what another distribution of the same field has gathered in the same pass.
  void merge(const QUVENNumFieldDist& other, const QUVENEnvHandle& env);

  /// The bin of a number, 0 when there are no bins.
  std::int32_t getBinIndex(double x, const QUVENEnvHandle& env) const;
  long getNumBins() const { return ivPotBinsVec.getSize(); }
  const QUVENNumFieldBin& getBin(long index) const { return ivPotBinsVec.at(index); }
  const QUVENNumberSample& getSample() const { return ivSampleSortVec; }
  std::int32_t getSampleCapacity() const { return ivSampleSortVecCapacity; }
  std::int32_t getScansDone() const { return ivScansDone; }
  double getMissingCount() const { return ivMissingCount; }
  double getValidCount() const { return ivValidCount; }
  double getCurrMissingCount() const { return ivCurrMissingCount; }
  double getCurrValidCount() const { return ivCurrValidCount; }

  /// Rebuilds what no stream carries.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  void computePotentialBins(const QUVENEnvHandle& env);
  void addBin(double loEnd, double hiEnd, bool incLoEnd, bool incHiEnd, const QUVENEnvHandle& env);
  /// Requires: limits that are set, and a finite number.
  std::int32_t binOfLimits(double x) const {
    // The largest end is excluded as well, but there is no bin above it.
    return std::min(binLimits.find(x), static_cast<std::int32_t>(ivPotBinsVec.getSize()) - 1) + 1;
  }
  std::int32_t walkToBin(double x, const QUVENEnvHandle& env) const;

  QUVEN_MEMBER(ivSampleSortVec, QUVENNumberSample);
  QUVEN_MEMBER(ivSampleSortVecCapacity, std::int32_t) = 0;
  QUVEN_MEMBER(ivPotBinsVec, QUVENXaRay<QUVENNumFieldBin, 0>);
  QUVEN_MEMBER(ivScansDone, std::int32_t) = 0;
  QUVEN_MEMBER(ivMissingCount, double) = 0;
  QUVEN_MEMBER(ivValidCount, double) = 0;
  QUVEN_MEMBER(ivCurrMissingCount, double) = 0;
  QUVEN_MEMBER(ivCurrValidCount, double) = 0;

  QUVEN_STATE(binLimits, QUVENBinLimits);
  const QUVENNumField* field = nullptr;  // the owner's, never that of a source
};

#endif  // QUVEN_NUM_FIELD_DIST_H
