#ifndef QUVEN_RESIDUAL_GROUPS_H
#define QUVEN_RESIDUAL_GROUPS_H

#include "learning/quven_lift_curve.h"
#include "learning/quven_split_test.h"

/// The errors of predictions by groups of records: by intervals of the prediction, and by the segments of fields.
///
/// Shapes:   the intervals of the prediction run 1..getNumIntervals(); interval i holds end i-1 < x <= end i, and the
///           last interval has no end. Splits run from 1, each with the segments of its test.
/// Lifetime: owns copies of the tests; their fields are borrowed.
class QUVENResidualGroups : public QUVENObjectOf<QUVENResidualGroups, QUVENObject> {
 public:
  /// Adds the end of an interval.
  /// Requires: end is not below the previous end.
  void addEnd(double end, const QUVENEnvHandle& env);
  long getNumIntervals() const { return ivEnds.getSize() + 1; }
  double getEnd(long interval) const { return ivEnds.at(interval); }
  /// Adds a test and returns its number.
  long addSplit(const QUVENSplitTest& test, const QUVENEnvHandle& env);

  void clear(const QUVENEnvHandle& env);
  /// Adds the present record to the interval of its prediction and, for each split, to its segment on channel 1.
  void add(double actual, double predicted, const QUVENEnvHandle& env);
  /// Adds the groups of another object.
  /// Errors: a different number of groups is an assertion failure.
  void merge(const QUVENResidualGroups& other);

  // The results. Boundaries, standard deviations and chi squares of these bins are not used.
  const QUVENLiftCurveBin& getInterval(long interval) const { return ivGroups.at(interval); }
  const QUVENLiftCurveBin& getSegment(long split, std::int32_t segment) const;

 private:
  long countGroups() const;

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivEnds, QUVENXaRay<double>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSplits, QUVENXaRay<QUVENOwnPtr<QUVENSplitTest>, 0>);
  QUVEN_MEMBER(ivGroups, QUVENXaRay<QUVENLiftCurveBin, 0>);  // intervals, then the segments of each split
};

#endif  // QUVEN_RESIDUAL_GROUPS_H
