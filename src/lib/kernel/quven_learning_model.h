#ifndef QUVEN_LEARNING_MODEL_H
#define QUVEN_LEARNING_MODEL_H

#include "kernel/quven_model.h"

/// A model with one candidate that is trained in mode 1, with the answers that most such models share.
///
/// A class below it says what is its own: recordHandler, merge, beginPass, endPass, getVolume, getScore, scoreChannel.
/// Whatever else it does differently it overrides as well.
class QUVENLearningModel : public QUVENObjectOf<QUVENLearningModel, QUVENModel> {
 public:
  /// The answer of QUVENDataScan would lose the records of the other workers: each class has to say what it merges.
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override = 0;
  /// While it is scanning.
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanning(); }

  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override = 0;
  /// None.
  UpdateFunction batchHandler(const QUVENEnvHandle&) const override { return nullptr; }
  void prepareInput(const QUVENEnvHandle&) override {}
  /// Mode 1. Errors: any other is "Function/Feature not yet implemented".
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
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

#endif  // QUVEN_LEARNING_MODEL_H
