#include "kernel/quven_learning_model.h"

#include <cmath>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLearningModel);
QUVEN_REGISTER(QUVENPredictingModel);

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

QUVENField* QUVENPredictingModel::addPrediction(QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  return ivOutputs.addOutput(getTargetFields().at(1).getField(), QUVENOutputPredicted, "", names, QUVEN_ENV);
}

QUVENField* QUVENPredictingModel::getPrediction() const {
  return ivOutputs.getResultFields().isEmpty() ? nullptr : ivOutputs.getResultFields()[1]->getField();
}

void QUVENPredictingModel::predict(std::int32_t channel, double value, const QUVENEnvHandle& env) {
  QUVENField* prediction = getPrediction();
  if (prediction == nullptr) return;
  if (std::isnan(value) && getGlobalNumChannels() == 1) return prediction->setMissing();
  prediction->setNumValueOfChannel(channel, value, QUVEN_ENV);
}
