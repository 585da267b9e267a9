#include "kernel/quven_learning_model.h"

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLearningModel);

bool QUVENLearningModel::setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle& env) {
  if (mode != BestModelTrainDataOnly) quvenNotImplemented(QUVEN_ENV);
  return true;
}

void QUVENLearningModel::getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const {
  QUVENModelScores candidate;
  const double volume = getVolume(QUVEN_ENV);
  for (const int slot : {QUVENModelScores::Train, QUVENModelScores::Evaluation, QUVENModelScores::HeldOut}) {
    candidate.accumulate(slot, {volume, getScore(slot, QUVEN_ENV), getScoreVariance(slot, QUVEN_ENV)});
  }
  scores.append(candidate, QUVEN_ENV);
}

void QUVENLearningModel::selectBest(long index, const QUVENEnvHandle&) { QUVEN_ASSERT(index == 1); }

void QUVENLearningModel::scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (std::int32_t channel = 1; channel <= getGlobalNumChannels(); ++channel) scoreChannel(channel, point, env);
}

void QUVENLearningModel::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  for (const QUVENModelInput& input : getExplanatoryFields()) fieldsUsed.add(input.getField(), QUVEN_ENV);
}
