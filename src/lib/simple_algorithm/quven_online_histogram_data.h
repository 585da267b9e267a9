#ifndef QUVEN_ONLINE_HISTOGRAM_DATA_H
#define QUVEN_ONLINE_HISTOGRAM_DATA_H

#include "simple_algorithm/quven_simple_algorithm_data.h"

/// A stream of numbers in a fixed number of bins, each a location and a count. The two nearest bins become one when
/// there are too many.
///
/// Units:  a bin counts up to the largest 32-bit integer, and stays there.
/// Cost:   a search; a value that is new to a full histogram moves the bins between its place and the two nearest ones.
/// Source: Ben-Haim and Tom-Tov, "A Streaming Parallel Decision Tree Algorithm", JMLR 11, 2010, Algorithm 1; here the
///         bins are brought together before the new value comes in, so that it keeps a bin of its own.
class QUVENOnlineHistogramData : public QUVENObjectOf<QUVENOnlineHistogramData, QUVENSimpleAlgorithmAbstractData> {
 public:
  QUVENOnlineHistogramData() = default;

  /// The most bins that there may be.
  void setBins(std::int32_t count, const QUVENEnvHandle& env);
  void add(double value, const QUVENEnvHandle& env);
  /// Makes one bin of the two nearest ones, of the lower ones when others are as near. A bin that stands exactly
  /// where the new one comes is overwritten. Fewer than two bins stay as they are.
  void compress();
  /// Folds the second pair of arrays into the first. What the histogram held before is gone.
  /// Shapes: the arrays of a pair have one size.
  void merge(QUVENXaRay<double>& locationsA, QUVENXaRay<std::int32_t>& countsA, const QUVENXaRay<double>& locationsB,
             const QUVENXaRay<std::int32_t>& countsB, const QUVENEnvHandle& env);
  /// The bins in ascending order of their locations.
  void getBins(QUVENXaRay<double>& locations, QUVENXaRay<std::int32_t>& counts, const QUVENEnvHandle& env) const;
  long getNumBins() const { return ivLocations.getSize(); }

  int finishIteration(const QUVENEnvHandle& env) override;
  /// Of the bins of another histogram.
  void merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) override;
  int needsMerge() const override;

  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  /// Computes gapMinima. Leaves it empty when there are fewer than three bins, or locations that do not ascend, which
  /// are those with NaN and those of a damaged stream.
  void indexGaps(const QUVENEnvHandle& env);
  void dropIndex() {
    gapMinima.setSize(0, QUVENEnvHandle(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__));
  }
  /// Adds a value that has no bin to a full, indexed histogram: what compress() and insertAt() do, in one move of the
  /// bins between.
  ///
  /// place: the place of the first bin above the value.
  /// Returns false, with nothing changed, when the value or the mean of the two nearest bins is not between the
  /// neighbours that it would have.
  bool replaceNearest(long place, double value);
  /// The smallest gaps again after the gaps first..last changed, counted from 0. The gaps firstMoved..lastMoved of them
  /// only moved by one place: up for step 1, down for step -1.
  void updateGaps(long first, long last, long firstMoved, long lastMoved, long step);
  /// The place of the first bin at or above a location.
  long placeOf(double location) const;
  /// Adds to the bin of a location, which is made if there is none.
  void addCount(double location, std::int32_t count, const QUVENEnvHandle& env);
  void insertAt(long place, double location, std::int32_t count, const QUVENEnvHandle& env);
  void removeAt(long place);

  QUVEN_MEMBER(ivMaxBins, std::int32_t) = 1000;
  QUVEN_MEMBER(ivLocations, QUVENXaRay<double>);  // ascending
  QUVEN_MEMBER(ivCounts, QUVENXaRay<std::int32_t>);
  QUVEN_STATE(gapMinima, QUVENXaRay<double>);  // of each 32 gaps of neighbours; empty when they have to be computed
};

#endif  // QUVEN_ONLINE_HISTOGRAM_DATA_H
