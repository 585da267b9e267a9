#ifndef QUVEN_FORWARDING_MODEL_H
#define QUVEN_FORWARDING_MODEL_H

#include "kernel/quven_model.h"

/// A model made of other models, one of which answers the questions about the training.
///
/// It has no members, and no place of its own in streams.
class QUVENForwardingModel : public QUVENModel {
 public:
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
};

#endif  // QUVEN_FORWARDING_MODEL_H
