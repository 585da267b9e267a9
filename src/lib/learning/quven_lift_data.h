#ifndef QUVEN_LIFT_DATA_H
#define QUVEN_LIFT_DATA_H

#include <string>

#include "learning/quven_lift_curve.h"

/// How well a model predicts a target and orders its records: the model's lift curve and the best possible one, the
/// variance of the model's errors and the variance of the target.
///
/// The object that owns the lift data adds the records in a pass. Only initialize reads fields.
class QUVENLiftData : public QUVENObjectOf<QUVENLiftData, QUVENMultiScan> {
 public:
  explicit QUVENLiftData(const QUVENEnvHandle& env) : Members(env) {}

  /// Makes the curves. The bins of the model's curve come from the distribution of the prediction, those of the optimum
  /// from the distribution of the target. A curve has no bin if the distribution of its field has no value.
  /// usage: that of the target, see QUVENLiftCurve::getRSquared.
  void initialize(const QUVENNumField& target, const QUVENNumField& prediction, std::int32_t usage,
                  const QUVENEnvHandle& env);
  const std::string& getTargetFieldName() const { return ivTargetFieldName; }
  std::int32_t getDataUsageValue() const { return ivDataUsageValue; }

  void updateLiftData(double actual, double predicted, double stdDev, const QUVENEnvHandle& env);
  /// Calls QUVENLiftCurve::finalizeStats of both curves.
  void finalizeStats(const QUVENEnvHandle& env);

  // Null before initialize.
  const QUVENLiftCurve* getModelLiftCurve() const { return ivModelLiftCurvePtr.get(); }
  const QUVENLiftCurve* getOptimumLiftCurve() const { return ivOptimumLiftCurvePtr.get(); }
  /// The number of records.
  double getWts() const { return ivWts; }
  /// The sum of squared distances of the actual values from their mean; after merges, from the mean of their group.
  double getTrivialVar() const { return ivTrivialVar; }
  /// The sum of squared errors, without the first record of each merged group.
  double getModelVar() const { return ivModelVar; }
  /// 1 - getModelVar / getTrivialVar, limited to 0..1. Writes a warning to the log if the model is worse than the mean.
  double getModelQuality(const QUVENEnvHandle& env) const;
  /// The area above random of the model divided by that of the optimum, limited to 0..1; QUVENLiftCurve::NoQuality
  /// before initialize.
  double getAreaRatio(const QUVENEnvHandle& env) const;

  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;
  /// Merges the sums. The curves merge their own results.
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  bool changesOnlyItsResults() const override { return true; }
  // During a scan, a handler that reports "Program control should never reach this point": the owner adds the records.
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle& env) const override;
  int beginDataScanPrimitive(const QUVENEnvHandle& env) override;
  int endDataScanPrimitive(const QUVENEnvHandle& env) override;

 private:
  void refuseRecord(QUVENDataPoint& point, const QUVENEnvHandle& env);
  template <class Action>
  void forEachCurve(Action action) const {
    for (const QUVENOwnPtr<QUVENLiftCurve>* curve : {&ivModelLiftCurvePtr, &ivOptimumLiftCurvePtr}) {
      if (*curve != nullptr) action(*curve->get());
    }
  }

  QUVEN_MEMBER(ivDataUsageValue, std::int32_t) = QUVENLiftCurve::PlainUsage;
  QUVEN_MEMBER(ivTargetFieldName, std::string);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivModelLiftCurvePtr, QUVENOwnPtr<QUVENLiftCurve>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivOptimumLiftCurvePtr, QUVENOwnPtr<QUVENLiftCurve>);
  QUVEN_MEMBER(ivWts, double) = 0;
  QUVEN_MEMBER(ivTrivialVar, double) = 0;
  QUVEN_MEMBER(ivModelVar, double) = 0;
  QUVEN_MEMBER_IF(writerMode == QUVENObjWriter::ScanResults, sumActVal, double) = 0;  // during a pass
};

#endif  // QUVEN_LIFT_DATA_H
