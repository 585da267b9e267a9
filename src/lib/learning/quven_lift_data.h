#ifndef QUVEN_LIFT_DATA_H
#define QUVEN_LIFT_DATA_H

#include <string>

#include "learning/quven_lift_curve.h"

/// How well a model orders and predicts the records of a target: its lift curve beside the best possible one, and the
/// variance of its errors beside that of the target.
///
/// The object that owns this one adds the records in a pass; no field is read here but in initialize.
class QUVENLiftData : public QUVENObjectOf<QUVENLiftData, QUVENMultiScan> {
 public:
  explicit QUVENLiftData(const QUVENEnvHandle& env) : Members(env) {}

  /// Makes the curves: that of the model is laid out from the distribution of the prediction, the optimum from that of
  /// the target. A curve has no bin if the distribution of its field has no value. usage: that of the target, see
  /// QUVENLiftCurve::getRSquared.
  void initialize(const QUVENNumField& target, const QUVENNumField& prediction, std::int32_t usage,
                  const QUVENEnvHandle& env);
  const std::string& getTargetFieldName() const { return ivTargetFieldName; }
  std::int32_t getDataUsageValue() const { return ivDataUsageValue; }

  void updateLiftData(double actual, double predicted, double stdDev, const QUVENEnvHandle& env);
  /// QUVENLiftCurve::finalizeStats of both curves.
  void finalizeStats(const QUVENEnvHandle& env);

  // Null before initialize.
  const QUVENLiftCurve* getModelLiftCurve() const { return ivModelLiftCurvePtr.get(); }
  const QUVENLiftCurve* getOptimumLiftCurve() const { return ivOptimumLiftCurvePtr.get(); }
  /// The records.
  double getWts() const { return ivWts; }
  /// The sum of squared distances of the actual values from their mean. After a merge without the distance between the
  /// groups.
  double getTrivialVar() const { return ivTrivialVar; }
  /// The sum of squared errors. The first record of each group that was merged adds nothing.
  double getModelVar() const { return ivModelVar; }
  /// The share of getTrivialVar that is not in getModelVar, from 0 to 1. A model worse than the mean writes a warning
  /// to the log.
  double getModelQuality(const QUVENEnvHandle& env) const;
  /// The area above random of the model over that of the optimum, from 0 to 1; QUVENLiftCurve::NoQuality without the
  /// curves.
  double getAreaRatio(const QUVENEnvHandle& env) const;

  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;
  /// The curves have results of their own.
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  bool changesOnlyItsResults() const override { return true; }
  // In a scan a handler that reports "Program control should never reach this point": the owner adds the records.
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
  QUVEN_MEMBER_IF(writerMode == QUVENObjWriter::ScanResults, sumActVal, double) = 0;  // of a pass only
};

#endif  // QUVEN_LIFT_DATA_H
