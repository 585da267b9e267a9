#ifndef QUVEN_CLASS_RANKS_H
#define QUVEN_CLASS_RANKS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// How predictions order the records of two classes: the exact area under the ROC curve, from the counts of both
/// classes at each different prediction.
///
/// Memory: 24 bytes for each different prediction, and 16 for each of the last records.
/// Source: J. A. Hanley and B. J. McNeil, "The meaning and use of the area under a receiver operating characteristic
///         (ROC) curve", 1982.
class QUVENClassRanks : public QUVENObjectOf<QUVENClassRanks, QUVENObject> {
 public:
  /// Adds a record.
  /// Requires: a prediction that is not NaN.
  void add(double prediction, bool isPositive, const QUVENEnvHandle& env);
  /// Sorts the last records in: before the counts are written, merged or asked for.
  void sortIn(const QUVENEnvHandle& env);
  /// Adds the counts of another object.
  /// Requires: sortIn of both.
  void merge(const QUVENClassRanks& other, const QUVENEnvHandle& env);
  void clear(const QUVENEnvHandle& env);

  /// The share of the pairs of a positive and a negative record in which the positive one has the larger prediction;
  /// equal predictions are half a pair. NaN without a pair.
  /// Requires: sortIn.
  double getArea() const;
  long getNumPredictions() const { return ivPredictions.getSize(); }

 private:
  /// Counts at a prediction.
  struct Counts {
    double prediction;
    double positives;
    double negatives;
  };

  void mergeCounts(const std::vector<Counts>& ascending, const QUVENEnvHandle& env);

  // Parallel, the predictions ascending.
  QUVEN_MEMBER(ivPredictions, QUVENXaRay<double>);
  QUVEN_MEMBER(ivPositives, QUVENXaRay<double>);
  QUVEN_MEMBER(ivNegatives, QUVENXaRay<double>);
  std::vector<std::pair<double, bool>> lastRecords;  // that are not sorted in; not copied
};

#endif  // QUVEN_CLASS_RANKS_H
