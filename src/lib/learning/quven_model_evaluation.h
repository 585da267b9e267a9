#ifndef QUVEN_MODEL_EVALUATION_H
#define QUVEN_MODEL_EVALUATION_H

#include "learning/quven_class_ranks.h"
#include "learning/quven_general_loss.h"
#include "learning/quven_lift_data.h"
#include "learning/quven_residual_groups.h"

class QUVENNumField;

/// Gathers in one pass everything that judges the predictions of a model, except the sensitivities: lift data,
/// residuals by groups, mean loss, and the ranks of two classes.
///
/// A record takes part if its target is not missing and its prediction, on the scale of the target, is finite; the
/// other records are only counted. The class -1 of a logistic loss counts as 0, because the prediction is a
/// probability. Each record counts once, whatever its case weight. Lifetime: owns its results; fields are borrowed.
class QUVENModelEvaluation : public QUVENObjectOf<QUVENModelEvaluation, QUVENMultiScan> {
 public:
  explicit QUVENModelEvaluation(const QUVENEnvHandle& env) : Members(env) {}

  /// The fields of a record that was scored on channel 1.
  struct Fields {
    QUVENNumField* target;
    QUVENField* prediction;  ///< of the model
    QUVENNumField* scaled;   ///< the prediction on the scale of the target
    QUVENField* stdDev;      ///< standard deviation of the prediction, of the model
  };
  /// lossId: the loss function of the training. hasTwoClasses: whether the ranks of two classes are gathered; a target
  /// above 0 is the positive class.
  void setFields(const Fields& fields, std::int32_t lossId, bool hasTwoClasses);
  /// Makes the bins of the curves and the twentieths of the prediction from the distributions of target and scaled
  /// prediction.
  /// Requires: setFields.
  void layOut(const QUVENEnvHandle& env);
  /// Adds groups by the segments of a test, before the pass. Returns its number.
  long addSplit(const QUVENSplitTest& test, const QUVENEnvHandle& env) { return ivGroups.addSplit(test, QUVEN_ENV); }

  // After the pass.

  const QUVENLiftData& getLiftData() const { return *ivLiftData; }
  const QUVENResidualGroups& getGroups() const { return ivGroups; }
  const QUVENClassRanks& getClassRanks() const { return ivClassRanks; }
  double getNumRecords() const { return ivActuals.getNumRecords(); }
  double getNumWithoutTarget() const { return ivWithoutTarget; }
  double getNumNotFinite() const { return ivNotFinite; }
  double getMeanActual() const { return meanOf(ivActuals.getSumPredErr()); }
  /// NaN without a record, as the next.
  double getMeanLoss() const { return meanOf(ivLossSum); }
  /// 1 minus the sum of squared errors divided by the sum of squared distances of the targets from their mean. NaN for
  /// a constant target.
  double getRSquared() const;

  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  bool changesOnlyItsResults() const override { return true; }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle& env) override;
  /// Calls finalizeStats of the lift data.
  int endDataScanPrimitive(const QUVENEnvHandle& env) override;

 private:
  void observe(QUVENDataPoint& point, const QUVENEnvHandle& env);
  double meanOf(double sum) const { return sum / getNumRecords(); }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTargetFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPredictionFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivScaledFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivStdDevFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLossId, std::int32_t) = 1;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTwoClasses, std::int32_t) = 0;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLiftData, QUVENOwnPtr<QUVENLiftData>);
  QUVEN_MEMBER(ivWithoutTarget, double) = 0;
  QUVEN_MEMBER(ivNotFinite, double) = 0;
  QUVEN_MEMBER(ivLossSum, double) = 0;
  QUVEN_MEMBER(ivErrors, QUVENLiftCurveBin);   // of all records
  QUVEN_MEMBER(ivActuals, QUVENLiftCurveBin);  // the same with a prediction of 0.0, so the errors are the targets
  QUVEN_MEMBER(ivGroups, QUVENResidualGroups);
  // Gathered anew in each pass, so earlier counts are not sent to workers.
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::SaveForWorker, ivClassRanks, QUVENClassRanks);
  QUVEN_STATE(loss, QUVENOwnPtr<QUVENGeneralLoss>);  // from the first pass on
};

#endif  // QUVEN_MODEL_EVALUATION_H
