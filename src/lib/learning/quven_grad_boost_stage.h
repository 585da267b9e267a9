#ifndef QUVEN_GRAD_BOOST_STAGE_H
#define QUVEN_GRAD_BOOST_STAGE_H

#include "learning/quven_forwarding_model.h"
#include "learning/quven_general_loss.h"

/// One stage of gradient boosting: a loss and, for each target, a model of its pseudo-residuals.
///
/// The passes of a stage: those of the residual models, then, after the first stage, one in which the size of the step
/// is searched.
/// Lifetime: owns the loss and the models; the name map, in which they make their fields, is borrowed and outlives it.
class QUVENGradBoostStage : public QUVENObjectOf<QUVENGradBoostStage, QUVENForwardingModel> {
 public:
  using ResidualModels = QUVENXaRay<QUVENOwnPtr<QUVENModel>, 0>;

  explicit QUVENGradBoostStage(const QUVENEnvHandle& env) : Members(env) {}

  /// Makes the loss and the residual models of a first stage. The suffix, such as "2" or "2_output", is a part of the
  /// names of all fields of the stage. Requires: the inputs were added, and setNames.
  void configureFirstStage(std::int32_t lossId, const QUVENTypeName& residualType, std::string_view suffix,
                           const QUVENEnvHandle& env);
  /// Makes those of a later stage, with a loss of the class of that of the previous stage. A residual model that is a
  /// QUVENFeatureTransform is split by the prediction of the previous stage.
  void configureFromPrevious(const QUVENGradBoostStage& previousStage, const QUVENTypeName& residualType,
                             std::string_view suffix, const QUVENEnvHandle& env);

  const QUVENGeneralLoss& getLoss() const { return *ivLossFuncPtr; }
  QUVENGeneralLoss& getLoss() { return *ivLossFuncPtr; }
  std::int32_t getLossId() const { return ivLossId; }
  /// Index = target.
  const ResidualModels& getResidualModels() const { return ivResidualModelVec; }
  /// Makes the outputs Predicted_ and StdDev_ of each target, which repeat the prediction of the ensemble.
  /// Requires: a trained stage.
  void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& outputNames,
                  const QUVENEnvHandle& env) override;

  /// Errors: a loss without a residual model for each target is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;

  /// Errors: a loss in a state that sees no records is "Invalid loss function state".
  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
  bool beginPass(const QUVENEnvHandle& env) override;
  /// Reports "Invalid loss function state", and ends the training, in a state that has no pass.
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  /// Whether every step that was taken rests on a model without signal.
  bool hasNoSignal(const QUVENEnvHandle& env) const override;
  void pruneInputs(const QUVENEnvHandle& env) override;
  void finishScoring(const QUVENEnvHandle& env) override;
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// What the residual models use, and the predictions of the stage before.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 protected:
  /// The residual model of the first target.
  const QUVENModel& answering(const QUVENEnvHandle& env) const override;

 private:
  void createResidualModels(const QUVENTypeName& residualType, const QUVENGeneralLoss* previousLoss,
                            const QUVENEnvHandle& env);
  bool endResidualModels(std::int32_t lastPass, const QUVENEnvHandle& env);
  void learnResiduals(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void searchStep(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void scoreRecord(QUVENDataPoint& point, const QUVENEnvHandle& env) { scorePoint(point, QUVEN_ENV); }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLossFuncPtr, QUVENOwnPtr<QUVENGeneralLoss>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivResidualModelVec, ResidualModels);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLossId, std::int32_t) = 1;
};

#endif  // QUVEN_GRAD_BOOST_STAGE_H
