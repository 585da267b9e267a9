#ifndef QUVEN_FORWARDING_MODEL_H
#define QUVEN_FORWARDING_MODEL_H

#include "learning/quven_training_mode.h"

/// A model made of other models, one of which answers the questions about the training.
///
/// Modes:    1 and 8. Errors: 2..7, 9 and 10 are "Function/Feature not yet implemented", any other number "Invalid
///           mining mode".
/// Lifetime: the name map, in which the models make their fields, is borrowed and outlives them. In a model from a
///           stream it is that of the reader. Nothing here is in a stream.
class QUVENForwardingModel : public QUVENModel {
 public:
  void setNames(QUVENFieldNameMap& fieldNames) { names = &fieldNames; }
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override {
    QUVENModel::postReadPrimitive(reader, QUVEN_ENV);
    reader.getBackPointer(names, QUVENFieldNameMap::cvBackPtrName());
  }

  bool setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle& env) override {
    quvenRequireMiningMode(mode, QUVEN_ENV);
    return true;
  }
  /// The same function for a record and for a batch.
  UpdateFunction batchHandler(const QUVENEnvHandle& env) const override { return recordHandler(QUVEN_ENV); }
  /// The models in it have their own results.
  bool hasScanResult(const QUVENEnvHandle&) const override { return false; }
  bool changesOnlyItsResults() const override { return true; }
  void prepareInput(const QUVENEnvHandle&) override {}
  /// The models in it have chosen.
  void selectBest(long, const QUVENEnvHandle&) override {}

  bool hasUsableData(const QUVENEnvHandle& env) const override { return answering(env).hasUsableData(QUVEN_ENV); }
  double getVolume(const QUVENEnvHandle& env) const override { return answering(env).getVolume(QUVEN_ENV); }
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override {
    answering(env).getModelScoresVector(scores, QUVEN_ENV);
  }
  double getScore(int which, const QUVENEnvHandle& env) const override {
    return answering(env).getScore(which, QUVEN_ENV);
  }
  double getScoreVariance(int which, const QUVENEnvHandle& env) const override {
    return answering(env).getScoreVariance(which, QUVEN_ENV);
  }

 protected:
  using QUVENModel::QUVENModel;

  /// The model that answers. Errors: an assertion failure while there is none.
  virtual const QUVENModel& answering(const QUVENEnvHandle& env) const = 0;
  /// Errors: an assertion failure before setNames.
  QUVENFieldNameMap& getNames() const {
    QUVEN_ASSERT(names != nullptr);
    return *names;
  }

 private:
  QUVENFieldNameMap* names = nullptr;
};

#endif  // QUVEN_FORWARDING_MODEL_H
