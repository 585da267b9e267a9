#ifndef QUVEN_CLASS_RANKS_H
#define QUVEN_CLASS_RANKS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// The exact area under the ROC curve of two classes, computed from the counts of both classes at each distinct
/// prediction.
///
/// Memory: 24 bytes per distinct prediction, and 16 per record that is not sorted in yet.
/// Source: J. A. Hanley and B. J. McNeil, "The meaning and use of the area under a receiver operating characteristic
///         (ROC) curve", 1982.
class QUVENClassRanks : public QUVENObjectOf<QUVENClassRanks, QUVENObject> {
 public:
  /// Adds a record.
  /// Requires: the prediction is not NaN.
  void add(double prediction, bool isPositive, const QUVENEnvHandle& env);
  /// Adds the records since the last call to the sorted counts. Must be called before the counts are written, merged or
  /// read.
  void sortIn(const QUVENEnvHandle& env);
  /// Adds the counts of another object.
  /// Requires: sortIn of both.
  void merge(const QUVENClassRanks& other, const QUVENEnvHandle& env);
  void clear(const QUVENEnvHandle& env);

  /// The share of the pairs of a positive and a negative record in which the positive one has the larger prediction; a
  /// pair with equal predictions counts half. NaN if a class has no record.
  /// Requires: sortIn.
  double getArea() const;
  long getNumPredictions() const { return ivPredictions.getSize(); }

 private:
  /// The counts of both classes at one prediction.
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
  std::vector<std::pair<double, bool>> lastRecords;  // not sorted in yet; not copied
};

#endif  // QUVEN_CLASS_RANKS_H
