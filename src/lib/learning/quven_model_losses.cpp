#include "learning/quven_model_losses.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kernel/quven_data_point.h"
#include "learning/quven_fold_dealing.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelLosses);

void QUVENModelLosses::setFields(QUVENField* target, QUVENField* prediction, QUVENField* caseWeight) {
  ivTargetFieldPtr = target;
  ivPredictionFieldPtr = prediction;
  ivCaseWeightFieldPtr = caseWeight;
}

double QUVENModelLosses::getLoss(Kind kind) const {
  return ivWeights[kind] > 0 ? ivLosses[kind] / ivWeights[kind] : std::numeric_limits<double>::quiet_NaN();
}

void QUVENModelLosses::beginRecords(const QUVENEnvHandle& env) {
  ivTotalWeight = 0;
  ivWeights.setSize(NumKinds, QUVEN_ENV);
  ivLosses.setSize(NumKinds, QUVEN_ENV);
  ivRecords.setSize(getGlobalNumChannels(), QUVEN_ENV);
  for (QUVENXaRay<double>* sums : {&ivWeights, &ivLosses, &ivRecords}) std::fill(sums->begin(), sums->end(), 0.0);
}

QUVENDataScan::UpdateFunction QUVENModelLosses::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENModelLosses::observe) : nullptr;
}

void QUVENModelLosses::add(Kind kind, double target, double prediction, double weight) {
  const double error = target - prediction;
  ivWeights[kind] += weight;
  ivLosses[kind] += weight * error * error;
}

void QUVENModelLosses::observe(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const std::int32_t channel = point.getChannel();
  QUVEN_ASSERT(1 <= channel && channel <= ivRecords.getSize());
  ++ivRecords[channel];
  if (!ivTargetFieldPtr->hasValue() || ivTargetFieldPtr->isMissing()) return;
  const double target = ivTargetFieldPtr->getNumValue(env);
  if (std::isnan(target)) return;
  double weight = ivCaseWeightFieldPtr == nullptr ? 1.0 : ivCaseWeightFieldPtr->getNumValueOrSingle(channel);
  if (!(weight > 0)) weight = 0;  // NaN is a missing weight
  ivTotalWeight += weight;
  const double own = ivPredictionFieldPtr->getNumValueOrSingle(channel);
  if (channel == QUVENFoldDealing::TestChannel) return add(Test, target, own, weight);
  const double final = ivPredictionFieldPtr->getNumValueOrSingle(QUVENFoldDealing::TestChannel);
  add(Train, target, final, weight);
  add(channel == QUVENFoldDealing::HeldOutChannel ? HeldOut : Folds, target, own, weight);
}

bool QUVENModelLosses::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENModelLosses&>(*other);
  const auto addAll = [](QUVENXaRay<double>& sums, const QUVENXaRay<double>& added) {
    QUVEN_ASSERT(sums.getSize() == added.getSize());
    std::transform(sums.begin(), sums.end(), added.begin(), sums.begin(), std::plus<>());
  };
  addAll(ivWeights, part.ivWeights);
  addAll(ivLosses, part.ivLosses);
  addAll(ivRecords, part.ivRecords);
  ivTotalWeight += part.ivTotalWeight;
  return true;
}
