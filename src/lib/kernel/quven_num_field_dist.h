#ifndef QUVEN_NUM_FIELD_DIST_H
#define QUVEN_NUM_FIELD_DIST_H

// The distribution of a column of numbers: bins from a sample of the first pass, exact statistics of them afterwards.

#include <cstdint>
#include <limits>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

class QUVENNumField;

/// A number of a sample with its priority.
class QUVENRealPQElement : public QUVENObjectOf<QUVENRealPQElement, QUVENObject> {
 public:
  QUVENRealPQElement() = default;
  QUVENRealPQElement(double value, std::uint32_t priority) : ivValue(value), ivPriority(priority) {}

  double getValue() const { return ivValue; }
  std::uint32_t getPriority() const { return ivPriority; }
  /// The order in which elements leave a full sample: by priority, and of one priority by value.
  ///
  /// The second key is there for the channels of a record, which share a priority: what a sample keeps must not depend
  /// on the order in which it met them.
  bool leavesBefore(const QUVENRealPQElement& other) const;

 private:
  QUVEN_MEMBER(ivValue, double) = 0;
  QUVEN_MEMBER(ivPriority, std::uint32_t) = 0;
};

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
  void update(double x);
  void merge(const QUVENNumFieldBin& other);
  /// Ends a pass: what was current becomes that of the last finished pass.
  void finishPass();
  /// Forgets what the current pass has gathered.
  void startPass();
  /// A number for a draw from 0 to the count: the minimum, the mean or the maximum, weighted so that they have the mean
  /// and the variance of the bin. A bin whose mean is not between two ends gives its mean.
  double valueOfDraw(double draw) const;

 private:
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
  const QUVENXaRay<QUVENRealPQElement, 0>& getSample() const { return ivSampleSortVec; }
  std::int32_t getSampleCapacity() const { return ivSampleSortVecCapacity; }
  std::int32_t getScansDone() const { return ivScansDone; }
  double getMissingCount() const { return ivMissingCount; }
  double getValidCount() const { return ivValidCount; }
  double getCurrMissingCount() const { return ivCurrMissingCount; }
  double getCurrValidCount() const { return ivCurrValidCount; }

  /// Rebuilds what no stream carries.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  void addSample(std::uint32_t priority, double value, const QUVENEnvHandle& env);
  void computePotentialBins(const QUVENEnvHandle& env);
  void addBin(double loEnd, double hiEnd, bool incLoEnd, bool incHiEnd, const QUVENEnvHandle& env);
  void rebuildEnds(const QUVENEnvHandle& env);

  QUVEN_MEMBER(ivSampleSortVec, QUVENXaRay<QUVENRealPQElement, 0>);  // a heap when it is full, the first leaves first
  QUVEN_MEMBER(ivSampleSortVecCapacity, std::int32_t) = 0;
  QUVEN_MEMBER(ivPotBinsVec, QUVENXaRay<QUVENNumFieldBin, 0>);
  QUVEN_MEMBER(ivScansDone, std::int32_t) = 0;
  QUVEN_MEMBER(ivMissingCount, double) = 0;
  QUVEN_MEMBER(ivValidCount, double) = 0;
  QUVEN_MEMBER(ivCurrMissingCount, double) = 0;
  QUVEN_MEMBER(ivCurrValidCount, double) = 0;

  QUVEN_STATE(sortedEnds, QUVENXaRay<double>);  // the upper ends of the bins
  const QUVENNumField* field = nullptr;         // the owner's, never that of a source
};

#endif  // QUVEN_NUM_FIELD_DIST_H
