#ifndef QUVEN_TRANSFORM_REGRESSION_H
#define QUVEN_TRANSFORM_REGRESSION_H

#include <functional>
#include <vector>

#include "learning/quven_forwarding_model.h"
#include "learning/quven_grad_boost_stage.h"
#include "learning/quven_trans_reg_residual_model.h"

/// The score of a stage: that of its output transform.
class QUVENStageScore : public QUVENObjectOf<QUVENStageScore, QUVENObject> {
 public:
  QUVENStageScore() = default;
  explicit QUVENStageScore(const QUVENScoreTriple& triple)
      : ivPts(triple.ivPts), ivFit(triple.ivFit), ivVar(triple.ivVar) {}
  QUVENScoreTriple get() const { return {ivPts, ivFit, ivVar}; }

  QUVEN_MEMBER(ivPts, double) = 0;
  QUVEN_MEMBER(ivFit, double) = 0;
  QUVEN_MEMBER(ivVar, double) = 0;
};

/// Transform regression: gradient boosting in which the learner of each stage is a QUVENTransRegResidualModel.
///
/// Stage s >= 2 has a rival, its output transform: a feature transform of the prediction of stage s - 1, trained after
/// the stage. The score of a stage is that of its output transform. When training stops, the rival with the best score
/// takes the place of its stage, and later stages are dropped.
/// Passes:   two in stage 1 (transforms, regression), five in each later stage (transforms, regression, step, output
///           transform, its step); one more for each further batch of transforms.
/// Lifetime: owns its stages; the name map, in which they make their fields, is borrowed and outlives it.
class QUVENTransformRegression : public QUVENObjectOf<QUVENTransformRegression, QUVENForwardingModel> {
 public:
  using Stages = QUVENXaRay<QUVENOwnPtr<QUVENGradBoostStage>, 0>;
  using StageScores = QUVENXaRay<QUVENStageScore, 0>;
  enum class StopReason { None, LastPass, NoSignal, MostStages, NothingSignificant };
  static constexpr long MostStages = 10;

  explicit QUVENTransformRegression(const QUVENEnvHandle& env) : Members(env) {}

  void setLossId(std::int32_t lossId) { ivLossId = lossId; }
  std::int32_t getLossId() const { return ivLossId; }
  /// Called when a stage has got its score, before anything is dropped. No stream has the observer.
  void setStageObserver(std::function<void(long stage)> observer) { stageObserver = std::move(observer); }
  /// The model keeps all stages and output transforms when training stops, scores all of them, and waits for keep. No
  /// stream has this setting.
  void setChoosesLater(bool later) { choosesLater = later; }
  /// Keeps the first stages, and drops the rest; isOutput: the last of them gives way to its output transform.
  /// Requires: training has stopped, and the model chooses later.
  void keep(long numStages, bool isOutput, const QUVENEnvHandle& env);

  /// Stages run 1..getNumStages().
  long getNumStages() const { return ivGradBoostVec.getSize(); }
  const QUVENGradBoostStage& getStage(long stage) const { return *ivGradBoostVec.at(stage); }
  /// Null for a stage without one, and after training.
  const QUVENGradBoostStage* getOutputTransform(long stage) const;
  /// Empty after training.
  const StageScores& getStageScores() const { return ivStageScoreVec; }
  /// Why training stopped; None in a model from a stream.
  StopReason getStopReason() const { return stopReason; }
  /// The stage whose score is the best when training stopped; 1 for none.
  long getBestStage() const { return bestStage; }

  /// How far back the nearest stage lies that the last stage is significantly better than, by a two-sample t-type test.
  static long significantBack(const StageScores& scores);
  /// The stage from 2 upward with the smallest fit that has points, the later of equal ones; 1 without one.
  static long findBestStage(const StageScores& scores);

  /// Makes the outputs Predicted_ and StdDev_ of each target, which repeat the prediction of the ensemble.
  /// Requires: a trained model.
  void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& outputNames,
                  const QUVENEnvHandle& env) override;

  /// Errors: a stage that is not there is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;

  /// While the model is scanning, the predictions of the finished stages.
  void collectFinalOutputs(std::vector<QUVENField*>& fields) const override;
  /// Scores the finished stages without predictions in this record, in their order, then shows the record to the stage
  /// or output transform that scans.
  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  bool beginPass(const QUVENEnvHandle& env) override;
  /// From a pass with lastPass on, no stage is begun.
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  /// That of the only stage; false when there are more.
  bool hasNoSignal(const QUVENEnvHandle& env) const override;
  void pruneInputs(const QUVENEnvHandle& env) override;
  void finishScoring(const QUVENEnvHandle& env) override;
  /// Scores the stages in their order, and the output transforms that are there.
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  // A step is a stage.
  long getNumScoringSteps() const override { return getNumStages(); }
  long firstStepReading(const QUVENField* field, const QUVENEnvHandle& env) const override;
  void scoreChannelFrom(long step, std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// What the stages use of the model's own inputs.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 protected:
  /// The last stage.
  const QUVENModel& answering(const QUVENEnvHandle& env) const override;

 private:
  QUVENGradBoostStage& lastStage() const { return *ivGradBoostVec.at(getNumStages()); }
  QUVENGradBoostStage* outputTransform(long stage) const;
  /// The stage or output transform that scans, or null.
  QUVENGradBoostStage* scanningPart() const;
  QUVENOwnPtr<QUVENGradBoostStage> makeStage(long number, const QUVENTypeName& residualType, std::int32_t mode,
                                             const QUVENEnvHandle& env) const;
  void begin(QUVENGradBoostStage& stage, const QUVENEnvHandle& env) const;
  void addStage(const QUVENEnvHandle& env);
  void addOutputTransform(const QUVENEnvHandle& env);
  void setPredecessors(bool areRunning, const QUVENEnvHandle& env);
  bool endParts(std::int32_t lastPass, const QUVENEnvHandle& env);
  void scoreStage(const QUVENEnvHandle& env);
  StopReason decide(std::int32_t lastPass, const QUVENEnvHandle& env) const;
  void finish(const QUVENEnvHandle& env);
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env);

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivGradBoostVec, Stages);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivStageScoreVec, StageScores);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivOutputTransformVec, Stages);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLossId, std::int32_t) = 1;
  QUVEN_STATE(choosesLater, bool) = false;
  QUVEN_STATE(stopReason, StopReason) = StopReason::None;
  QUVEN_STATE(bestStage, long) = 1;
  std::function<void(long)> stageObserver;
};

#endif  // QUVEN_TRANSFORM_REGRESSION_H
