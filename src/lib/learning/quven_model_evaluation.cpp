#include "learning/quven_model_evaluation.h"

#include <cmath>
#include <limits>

#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel/quven_scan_results.h"
#include "learning/quven_scaled_prediction.h"
#include "util/quven_debug.h"
#include "util/quven_numbers.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelEvaluation);

namespace {

constexpr long FinalChannel = 1;
constexpr std::int32_t plainQuality = 3;  // the usage for which R squared has its plain form

/// The numbers, from the smallest prediction, of the boundaries of a lift curve that are at the fractions 0.05, 0.1,
/// ... 0.95: the fractions of a curve are 0.005 apart up to 0.1 and from 0.9 on, and 0.01 apart between.
constexpr long fractionsOfTwentieths[] = {10, 20, 25, 30, 35, 40, 45, 50, 55, 60, 65, 70, 75, 80, 85, 90, 95, 100, 110};

}  // namespace

void QUVENModelEvaluation::setFields(const Fields& fields, std::int32_t lossId, bool hasTwoClasses) {
  ivTargetFieldPtr = fields.target;
  ivPredictionFieldPtr = fields.prediction;
  ivScaledFieldPtr = fields.scaled;
  ivStdDevFieldPtr = fields.stdDev;
  ivLossId = lossId;
  ivTwoClasses = hasTwoClasses ? 1 : 0;
}

void QUVENModelEvaluation::layOut(const QUVENEnvHandle& env) {
  ivLiftData = quvenMake<QUVENLiftData>(QUVEN_ENV);
  ivLiftData->initialize(static_cast<const QUVENNumField&>(*ivTargetFieldPtr),
                         static_cast<const QUVENNumField&>(*ivScaledFieldPtr), plainQuality, QUVEN_ENV);
  const QUVENLiftCurve& curve = *ivLiftData->getModelLiftCurve();
  if (curve.getNumBins() == 0) return;
  for (const long fraction : fractionsOfTwentieths) {
    ivGroups.addEnd(curve.getBin(curve.getNumBins() + 1 - fraction).getBinBoundaryValue(), QUVEN_ENV);
  }
}

double QUVENModelEvaluation::getRSquared() const {
  const double spread = ivActuals.getSumSqrDev();
  if (!(spread > 0)) return std::numeric_limits<double>::quiet_NaN();
  const double meanError = meanOf(ivErrors.getSumPredErr());
  return 1 - (ivErrors.getSumSqrDev() + getNumRecords() * meanError * meanError) / spread;
}

int QUVENModelEvaluation::beginDataScanPrimitive(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivLiftData != nullptr);
  return ivLiftData->beginDataScan(QUVEN_ENV);
}

int QUVENModelEvaluation::endDataScanPrimitive(const QUVENEnvHandle& env) {
  if (ivLiftData->endDataScan(QUVEN_ENV) == 0) return 0;
  ivLiftData->finalizeStats(QUVEN_ENV);
  return 1;
}

QUVENDataScan::UpdateFunction QUVENModelEvaluation::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENModelEvaluation::observe) : nullptr;
}

void QUVENModelEvaluation::beginRecords(const QUVENEnvHandle& env) {
  if (loss == nullptr) QUVENGeneralLoss::create(loss, ivLossId, QUVEN_ENV);
  ivLiftData->beginRecords(QUVEN_ENV);
  ivWithoutTarget = ivNotFinite = ivLossSum = 0;
  ivErrors = QUVENLiftCurveBin();
  ivActuals = QUVENLiftCurveBin();
  ivGroups.clear(QUVEN_ENV);
  ivClassRanks.clear(QUVEN_ENV);
}

void QUVENModelEvaluation::endRecords(const QUVENEnvHandle& env) {
  ivLiftData->endRecords(QUVEN_ENV);
  ivClassRanks.sortIn(QUVEN_ENV);
}

void QUVENModelEvaluation::observe(QUVENDataPoint&, const QUVENEnvHandle& env) {
  const auto hasNumber = [](const QUVENField& field) { return field.hasValue() && !field.isMissing(); };
  const double target =
      hasNumber(*ivTargetFieldPtr) ? ivTargetFieldPtr->getNumValue(env) : std::numeric_limits<double>::quiet_NaN();
  if (!std::isfinite(target)) {
    ++ivWithoutTarget;
    return;
  }
  const double predicted = ivScaledFieldPtr->getNumValueOrSingle(FinalChannel);
  if (!std::isfinite(predicted)) {
    ++ivNotFinite;
    return;
  }
  constexpr double nothing = 0;
  const double actual = QUVENScaledPrediction::actualOf(ivLossId, target);
  ivLiftData->updateLiftData(actual, predicted, ivStdDevFieldPtr->getNumValueOrSingle(FinalChannel), env);
  ivErrors.add(actual, predicted, nothing);
  ivActuals.add(actual, nothing, nothing);
  ivGroups.add(actual, predicted, env);
  ivLossSum += loss->getReportedLoss(target, ivPredictionFieldPtr->getNumValueOrSingle(FinalChannel));
  if (ivTwoClasses != 0) ivClassRanks.add(predicted, target > 0, env);
}

void QUVENModelEvaluation::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                                 const QUVENEnvHandle& env) const {
  quvenWriteScanResults(*ivLiftData, writer, keyword, QUVEN_ENV);
}

bool QUVENModelEvaluation::merge(QUVENDataScan* other, const QUVENEnvHandle& env) {
  const auto& part = static_cast<const QUVENModelEvaluation&>(*other);
  ivWithoutTarget += part.ivWithoutTarget;
  ivNotFinite += part.ivNotFinite;
  ivLossSum = quvenClampDouble(quvenClampDouble(ivLossSum) + quvenClampDouble(part.ivLossSum));
  ivErrors.merge(part.ivErrors);
  ivActuals.merge(part.ivActuals);
  ivGroups.merge(part.ivGroups);
  ivClassRanks.merge(part.ivClassRanks, QUVEN_ENV);
  return true;
}
