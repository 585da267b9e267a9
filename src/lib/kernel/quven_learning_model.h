#ifndef QUVEN_LEARNING_MODEL_H
#define QUVEN_LEARNING_MODEL_H

#include "kernel/quven_model_outputs.h"

/// A model with one candidate that is trained in mode 1, in one pass, with the answers that most such models share.
///
/// A class below it says what is its own: beginRecords, learn, merge, getVolume, getScore, scoreChannel. Whatever else
/// it does differently it overrides as well: beginPass and endPass for what rank 0 does before and after a pass, and
/// for more passes than one.
class QUVENLearningModel : public QUVENObjectOf<QUVENLearningModel, QUVENModel> {
 public:
  /// Pure, because the default merges nothing and would lose the records of the other ranks. A result that is merged
  /// has no inputs: results travel without references to fields.
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override = 0;
  /// While it is scanning.
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanning(); }

  /// Empties what the model gathers, on every rank, also when it is trained again. Without it a model of several
  /// passes, or one that is trained again, would count its records twice.
  void beginRecords(const QUVENEnvHandle& env) override = 0;
  /// Learns from one record of the training.
  virtual void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) = 0;
  /// learn, while it is scanning.
  UpdateFunction recordHandler(const QUVENEnvHandle&) const override {
    return isScanning() ? static_cast<UpdateFunction>(&QUVENLearningModel::learn) : nullptr;
  }
  /// None.
  UpdateFunction batchHandler(const QUVENEnvHandle&) const override { return nullptr; }
  void prepareInput(const QUVENEnvHandle&) override {}
  /// Mode 1. Errors: any other is "Function/Feature not yet implemented".
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
  /// Called once per training, on rank 0 only. One pass is needed.
  bool beginPass(const QUVENEnvHandle&) override { return true; }
  /// Called after each pass, on rank 0 only, with the results of all ranks merged. The first pass is the last.
  bool endPass(std::int32_t, const QUVENEnvHandle&) override { return true; }
  /// Whether the volume is above 0.
  bool hasUsableData(const QUVENEnvHandle& env) const override { return getVolume(env) > 0; }
  /// One candidate: in each of the three triples the volume, the score and its variance.
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override;
  /// 0.
  double getScoreVariance(int, const QUVENEnvHandle&) const override { return 0; }
  bool hasNoSignal(const QUVENEnvHandle&) const override { return false; }
  /// There is one candidate: an assertion failure for any index but 1.
  void selectBest(long index, const QUVENEnvHandle& env) override;
  void pruneInputs(const QUVENEnvHandle&) override {}
  void finishScoring(const QUVENEnvHandle&) override {}
  /// Scores each channel, 1..getGlobalNumChannels().
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// All explanatory inputs.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 protected:
  using Members::QUVENObjectOf;
};

/// A model that owns its output: the prediction of its first target.
class QUVENPredictingModel : public QUVENObjectOf<QUVENPredictingModel, QUVENLearningModel> {
 public:
  /// Makes the field Predicted_<target> and returns it. Requires: a target was added.
  QUVENField* addPrediction(QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  /// Null before addPrediction.
  QUVENField* getPrediction() const;

 protected:
  using Members::QUVENObjectOf;

  /// Sets the prediction for a channel. NaN says that there is none: the field is missing in a run with one channel,
  /// and has NaN for that channel otherwise. Does nothing without an output.
  void predict(std::int32_t channel, double value, const QUVENEnvHandle& env);

 private:
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivOutputs, QUVENModelOutputs);
};

#endif  // QUVEN_LEARNING_MODEL_H
