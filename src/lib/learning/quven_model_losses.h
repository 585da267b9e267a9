#ifndef QUVEN_MODEL_LOSSES_H
#define QUVEN_MODEL_LOSSES_H

#include <vector>

#include "kernel/quven_data_scan.h"
#include "learning/quven_general_loss.h"

/// The losses of predictions over the records of a training, gathered in one pass: for each stage of a model the mean
/// loss of what the model predicts after that stage, weighted by the case weight.
///
/// Shapes: stages run 1..getNumStages(); a model without stages has one.
/// Units:  of the loss function, as QUVENGeneralLoss::getReportedLoss says.
/// A record whose target is missing or NaN has no loss. A weight that is missing, NaN or below 0 counts as 0.0, and a
/// record of weight 0.0 adds no loss. A prediction that is NaN makes the losses of its stage NaN.
class QUVENModelLosses : public QUVENObjectOf<QUVENModelLosses, QUVENMultiScan> {
 public:
  enum Kind : std::int32_t {
    Train = 1,    ///< the records of channels 2 and up, predicted by the model of channel 1
    Folds = 2,    ///< those of each fold, predicted by the model of its channel
    HeldOut = 3,  ///< those of channel 2, by its own model
    Test = 4      ///< those of channel 1, by its own model
  };
  static constexpr std::int32_t NumKinds = 4;

  explicit QUVENModelLosses(const QUVENEnvHandle& env) : Members(env) {}

  /// The fields of the model: the target, the prediction after each stage, and the case weight or null. lossId: that of
  /// a loss function.
  void setFields(QUVENField* target, const std::vector<QUVENField*>& predictions, std::int32_t lossId,
                 QUVENField* caseWeight, const QUVENEnvHandle& env);

  long getNumStages() const { return ivPredictionFields.getSize(); }
  /// NaN when the records of the kind have no weight. Requires: a stage of 1..getNumStages(), an assertion failure
  /// otherwise.
  double getLoss(Kind kind, long stage) const;
  bool hasWeight(Kind kind) const { return ivWeights.at(kind) > 0; }
  /// The records of a channel that the pass has seen, those without a target too. Channels run 1..C.
  double getRecords(long channel) const { return ivRecords.at(channel); }
  /// The weight of all records with a target.
  double getTotalWeight() const { return ivTotalWeight; }

  void beginRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  bool changesOnlyItsResults() const override { return true; }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }

 private:
  void observe(QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Adds the losses of all stages by the model of a channel.
  void add(Kind kind, double target, std::int32_t predictor, double weight);
  static long indexOf(Kind kind, long stage) { return (stage - 1) * NumKinds + kind; }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTargetFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPredictionFields, QUVENXaRay<QUVENField*>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivCaseWeightFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivLossId, std::int32_t) = 1;
  QUVEN_MEMBER(ivWeights, QUVENXaRay<double>);  // per kind
  QUVEN_MEMBER(ivLosses, QUVENXaRay<double>);   // per stage and kind, weighted sums
  QUVEN_MEMBER(ivRecords, QUVENXaRay<double>);  // per channel
  QUVEN_MEMBER(ivTotalWeight, double) = 0;
  QUVEN_STATE(loss, QUVENOwnPtr<QUVENGeneralLoss>);  // from the first pass on
};

#endif  // QUVEN_MODEL_LOSSES_H
