#include "learning/quven_model_sensitivity.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <sstream>

#include "kernel/quven_data_point.h"
#include "learning/quven_fold_dealing.h"
#include "learning/quven_scan_log.h"
#include "util/quven_clamp.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENModelSensitivity);

namespace {

constexpr int CannotNormalize = 3418;
constexpr std::int32_t ScoredChannel = QUVENFoldDealing::TestChannel;

}  // namespace

void QUVENModelSensitivity::setFields(const std::vector<QUVENField*>& fields, const QUVENEnvHandle& env) {
  ivSenstFields.setSize(0, QUVEN_ENV);
  for (QUVENField* field : fields) ivSenstFields.append(field, QUVEN_ENV);
  for (QUVENXaRay<double>* numbers : {&ivSenstValVec, &ivSenstPoints}) {
    numbers->setSize(ivSenstFields.getSize(), QUVEN_ENV);
    std::fill(numbers->begin(), numbers->end(), 0.0);
  }
  normalized = false;
}

void QUVENModelSensitivity::setScoring(QUVENModel& scoredModel, const QUVENField& scoredPrediction,
                                       AfterScoring afterScoringAction, QUVENField* indexField) {
  model = &scoredModel;
  prediction = &scoredPrediction;
  afterScoring = std::move(afterScoringAction);
  sampleField = indexField;
}

void QUVENModelSensitivity::destroyPrimitive(const QUVENEnvHandle& env) {
  savedValue.deleteMemory(QUVEN_ENV);
  replacements.clear();
  Members::destroyPrimitive(QUVEN_ENV);
}

void QUVENModelSensitivity::beginRecords(const QUVENEnvHandle& env) {
  for (QUVENXaRay<double>* numbers : {&ivSenstValVec, &ivSenstPoints}) {
    numbers->setSize(ivSenstFields.getSize(), QUVEN_ENV);
    std::fill(numbers->begin(), numbers->end(), 0.0);
  }
  normalized = false;
  QUVEN_ASSERT(model != nullptr);
  replacements.clear();
  for (long field = 1; field <= ivSenstFields.getSize(); ++field) {
    replacements.push_back({field, model->firstStepReading(ivSenstFields[field], QUVEN_ENV)});
  }
  // Each replacement is scored from its own first step on. The results of earlier steps are still those of the
  // unchanged record, because the replacements before it have changed only the same or later steps.
  std::stable_sort(replacements.begin(), replacements.end(),
                   [](const Replacement& a, const Replacement& b) { return a.firstStep > b.firstStep; });
}

QUVENDataScan::UpdateFunction QUVENModelSensitivity::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENModelSensitivity::observe) : nullptr;
}

std::uint32_t QUVENModelSensitivity::indexOf(const QUVENDataPoint& point, const QUVENEnvHandle& env) const {
  if (sampleField == nullptr || !sampleField->hasValue() || sampleField->isMissing()) return point.getRecordId();
  constexpr double end = 0x1p63;
  const double index = sampleField->getNumValue(env);
  if (!(std::abs(index) < end)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(index));
}

/// NaN for a record without a prediction.
double QUVENModelSensitivity::getPrediction() const {
  if (!prediction->hasValue() || prediction->isMissing()) return std::numeric_limits<double>::quiet_NaN();
  return prediction->getNumValueOrSingle(ScoredChannel);
}

void QUVENModelSensitivity::scoreFrom(long step, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  model->scoreChannelFrom(step, ScoredChannel, point, env);
  if (afterScoring) afterScoring(env);
}

void QUVENModelSensitivity::add(long field, double change) {
  double& mean = ivSenstValVec[field];
  double& points = ivSenstPoints[field];
  mean = quvenClampDouble((points * mean + change * change) / (points + 1));
  points += 1;
}

void QUVENModelSensitivity::observe(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const double base = getPrediction();
  if (replacements.empty() || !std::isfinite(base)) return;
  const std::uint32_t index = indexOf(point, QUVEN_ENV);
  const long numSteps = model->getNumScoringSteps();
  long staleFrom = numSteps + 1;
  for (const Replacement& replacement : replacements) {
    if (replacement.firstStep > numSteps) {
      add(replacement.field, 0);
      continue;
    }
    QUVENField& field = *ivSenstFields[replacement.field];
    field.saveValue(savedValue, QUVEN_ENV);
    field.sampleFromDistribution(index, QUVEN_ENV);
    staleFrom = replacement.firstStep;
    scoreFrom(staleFrom, point, QUVEN_ENV);
    const double change = getPrediction() - base;
    field.restoreValue(savedValue, QUVEN_ENV);
    if (std::isfinite(change)) add(replacement.field, change);
  }
  if (staleFrom <= numSteps) scoreFrom(staleFrom, point, QUVEN_ENV);
}

bool QUVENModelSensitivity::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENModelSensitivity&>(*other);
  const long numFields = ivSenstValVec.getSize();
  QUVEN_ASSERT(part.ivSenstValVec.getSize() == numFields);
  QUVEN_ASSERT(ivSenstPoints.getSize() == numFields && part.ivSenstPoints.getSize() == numFields);
  for (long field = 1; field <= numFields; ++field) {
    double& value = ivSenstValVec[field];
    double& points = ivSenstPoints[field];
    if (points + part.ivSenstPoints[field] <= 0) continue;
    value = part.ivSenstValVec[field] * part.ivSenstPoints[field] + value * points;
    points += part.ivSenstPoints[field];
    value = quvenClampDouble(value / points);
  }
  return true;
}

int QUVENModelSensitivity::endDataScanPrimitive(const QUVENEnvHandle& env) {
  QUVENScanLog::write(QUVENScanLog::TraceLevel, "entering QUVENModelSensitivity::endDataScanPrimitive", QUVEN_ENV);
  const auto sumAll = [this] { return std::accumulate(ivSenstValVec.begin(), ivSenstValVec.end(), 0.0); };
  double sum = sumAll();
  if (std::isinf(sum)) {  // dividing all values by the same number does not change the shares
    for (double& value : ivSenstValVec) value /= static_cast<double>(ivSenstValVec.getSize());
    sum = quvenClampDouble(sumAll());
  }
  normalized = sum > 0;
  if (normalized) {
    for (double& value : ivSenstValVec) value /= sum;
  } else {
    std::ostringstream text;
    text << "Error in QUVENModelSensitivity::endDataScanPrimitive: "
         << "  cannot normalize: sum over all sensitivites is <= 0."
         << " numSenstFields=" << ivSenstFields.getSize() << ", sumSensitivities=" << sum;
    report_error(CannotNormalize, text, QUVEN_ENV, false);
  }
  QUVENScanLog::write(QUVENScanLog::TraceLevel, "end of QUVENModelSensitivity::endDataScanPrimitive", QUVEN_ENV);
  return 1;
}
