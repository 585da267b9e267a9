#ifndef QUVEN_ONLINE_HISTOGRAM_DATA_H
#define QUVEN_ONLINE_HISTOGRAM_DATA_H

#include "simple_algorithm/quven_simple_algorithm_data.h"

/// A stream of numbers in a fixed number of bins, each a location and a count. The two nearest bins become one when
/// there are too many.
///
/// Units:  a bin counts up to the largest 32-bit integer, and stays there.
/// Cost:   a search and, for a value that is new to a full histogram, a walk over the bins.
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

 private:
  /// The place of the first bin at or above a location.
  long placeOf(double location) const;
  /// Adds to the bin of a location, which is made if there is none.
  void addCount(double location, std::int32_t count, const QUVENEnvHandle& env);
  void insertAt(long place, double location, std::int32_t count, const QUVENEnvHandle& env);
  void removeAt(long place);

  QUVEN_MEMBER(ivMaxBins, std::int32_t) = 1000;
  QUVEN_MEMBER(ivLocations, QUVENXaRay<double>);  // ascending
  QUVEN_MEMBER(ivCounts, QUVENXaRay<std::int32_t>);
};

#endif  // QUVEN_ONLINE_HISTOGRAM_DATA_H
