#include "learning/quven_model_losses.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kernel/quven_data_point.h"
#include "learning/quven_fold_dealing.h"
#include "util/quven_clamp.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelLosses);

void QUVENModelLosses::setFields(QUVENField* target, const std::vector<QUVENField*>& predictions, std::int32_t lossId,
                                 QUVENField* caseWeight, const QUVENEnvHandle& env) {
  ivTargetFieldPtr = target;
  ivPredictionFields.setSize(0, QUVEN_ENV);
  for (QUVENField* prediction : predictions) ivPredictionFields.append(prediction, QUVEN_ENV);
  ivLossId = lossId;
  loss.reset(QUVEN_ENV);
  ivCaseWeightFieldPtr = caseWeight;
}

double QUVENModelLosses::getLoss(Kind kind, long stage) const {
  QUVEN_ASSERT(1 <= stage && stage <= getNumStages());
  if (!hasWeight(kind)) return std::numeric_limits<double>::quiet_NaN();
  return ivLosses[indexOf(kind, stage)] / ivWeights[kind];
}

void QUVENModelLosses::beginRecords(const QUVENEnvHandle& env) {
  if (loss == nullptr) QUVENGeneralLoss::create(loss, ivLossId, QUVEN_ENV);
  ivTotalWeight = 0;
  ivWeights.setSize(NumKinds, QUVEN_ENV);
  ivLosses.setSize(NumKinds * getNumStages(), QUVEN_ENV);
  ivRecords.setSize(getGlobalNumChannels(), QUVEN_ENV);
  for (QUVENXaRay<double>* sums : {&ivWeights, &ivLosses, &ivRecords}) std::fill(sums->begin(), sums->end(), 0.0);
}

QUVENDataScan::UpdateFunction QUVENModelLosses::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENModelLosses::observe) : nullptr;
}

void QUVENModelLosses::add(Kind kind, double target, std::int32_t predictor, double weight) {
  ivWeights[kind] += weight;
  for (long stage = 1; stage <= getNumStages(); ++stage) {
    const double prediction = ivPredictionFields[stage]->getNumValueOrSingle(predictor);
    ivLosses[indexOf(kind, stage)] += weight * loss->getReportedLoss(target, prediction);
  }
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
  if (weight <= 0) return;
  ivTotalWeight += weight;
  if (channel == QUVENFoldDealing::TestChannel) return add(Test, target, channel, weight);
  add(Train, target, QUVENFoldDealing::TestChannel, weight);
  add(channel == QUVENFoldDealing::HeldOutChannel ? HeldOut : Folds, target, channel, weight);
}

bool QUVENModelLosses::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENModelLosses&>(*other);
  const auto addAll = [](QUVENXaRay<double>& sums, const QUVENXaRay<double>& added) {
    QUVEN_ASSERT(sums.getSize() == added.getSize());
    quvenAddClamped({sums.begin(), sums.end()}, {added.begin(), added.end()});
  };
  addAll(ivWeights, part.ivWeights);
  addAll(ivLosses, part.ivLosses);
  addAll(ivRecords, part.ivRecords);
  ivTotalWeight += part.ivTotalWeight;
  return true;
}
