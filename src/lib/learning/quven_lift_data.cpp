#include "learning/quven_lift_data.h"

#include <algorithm>

#include "kernel/quven_num_field.h"
#include "kernel/quven_scan_results.h"
#include "util/quven_clamp.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENLiftData);

void QUVENLiftData::initialize(const QUVENNumField& target, const QUVENNumField& prediction, std::int32_t usage,
                               const QUVENEnvHandle& env) {
  ivDataUsageValue = usage;
  ivTargetFieldName = target.getName().str();
  ivModelLiftCurvePtr = quvenMake<QUVENLiftCurve>(QUVEN_ENV);
  ivOptimumLiftCurvePtr = quvenMake<QUVENLiftCurve>(QUVEN_ENV);
  if (QUVENLiftCurve::canInitialize(prediction)) ivModelLiftCurvePtr->initialize(prediction, QUVEN_ENV);
  if (QUVENLiftCurve::canInitialize(target)) ivOptimumLiftCurvePtr->initialize(target, QUVEN_ENV);
  forEachCurve([usage](QUVENLiftCurve& curve) { curve.setUsageValue(usage); });
}

void QUVENLiftData::updateLiftData(double actual, double predicted, double stdDev, const QUVENEnvHandle& env) {
  if (ivWts < 1.0) {
    sumActVal = actual;
    ivWts = 1.0;
    ivTrivialVar = ivModelVar = 0.0;
  } else {
    sumActVal += actual;
    ivWts += 1;
    const double mean = sumActVal / ivWts;
    ivModelVar += (predicted - actual) * (predicted - actual);
    ivTrivialVar += ivWts / (ivWts - 1) * ((actual - mean) * (actual - mean));
  }
  if (ivModelLiftCurvePtr != nullptr) ivModelLiftCurvePtr->updateLiftCurveStats(actual, predicted, stdDev, env);
  if (ivOptimumLiftCurvePtr != nullptr) ivOptimumLiftCurvePtr->updateLiftCurveStats(actual, actual, 0.0, env);
}

void QUVENLiftData::finalizeStats(const QUVENEnvHandle& env) {
  forEachCurve([&](QUVENLiftCurve& curve) { curve.finalizeStats(QUVEN_ENV); });
}

double QUVENLiftData::getModelQuality(const QUVENEnvHandle&) const {
  if (ivModelVar <= 0) return 1;
  if (ivTrivialVar <= 0) return 0;
  if (ivModelVar > ivTrivialVar) {
    constexpr int level = 1;
    report_log(level,
               "WARNING: The model variance this data set is worse than the trivial univariate reponse variance "
               "in getModelQuality()");
  }
  return std::clamp(1 - ivModelVar / ivTrivialVar, 0.0, 1.0);
}

double QUVENLiftData::getAreaRatio(const QUVENEnvHandle& env) const {
  if (ivModelLiftCurvePtr == nullptr || ivOptimumLiftCurvePtr == nullptr) return QUVENLiftCurve::NoQuality;
  const double optimum = ivOptimumLiftCurvePtr->getAreaAboveRandom(QUVEN_ENV);
  if (optimum == 0) return 0;
  return std::clamp(ivModelLiftCurvePtr->getAreaAboveRandom(QUVEN_ENV) / optimum, 0.0, 1.0);
}

// The scan

int QUVENLiftData::beginDataScanPrimitive(const QUVENEnvHandle& env) {
  for (QUVENLiftCurve* curve : {ivModelLiftCurvePtr.get(), ivOptimumLiftCurvePtr.get()}) {
    if (curve != nullptr && curve->beginDataScan(QUVEN_ENV) == 0) return 0;
  }
  return 1;
}

int QUVENLiftData::endDataScanPrimitive(const QUVENEnvHandle& env) {
  for (QUVENLiftCurve* curve : {ivModelLiftCurvePtr.get(), ivOptimumLiftCurvePtr.get()}) {
    if (curve != nullptr && curve->endDataScan(QUVEN_ENV) == 0) return 0;
  }
  return 1;
}

void QUVENLiftData::beginRecords(const QUVENEnvHandle& env) {
  ivWts = ivTrivialVar = ivModelVar = sumActVal = 0;
  forEachCurve([&](QUVENLiftCurve& curve) { curve.beginRecords(QUVEN_ENV); });
}

void QUVENLiftData::endRecords(const QUVENEnvHandle& env) {
  forEachCurve([&](QUVENLiftCurve& curve) { curve.endRecords(QUVEN_ENV); });
}

bool QUVENLiftData::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENLiftData&>(*other);
  for (double QUVENLiftData::*sum :
       {&QUVENLiftData::ivWts, &QUVENLiftData::ivTrivialVar, &QUVENLiftData::ivModelVar, &QUVENLiftData::sumActVal}) {
    quvenAddClamped({&(this->*sum), 1}, {&(part.*sum), 1});
  }
  return true;
}

void QUVENLiftData::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                          const QUVENEnvHandle& env) const {
  forEachCurve([&](const QUVENLiftCurve& curve) { quvenWriteScanResults(curve, writer, keyword, QUVEN_ENV); });
}

QUVENDataScan::UpdateFunction QUVENLiftData::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENLiftData::refuseRecord) : nullptr;
}
QUVENDataScan::UpdateFunction QUVENLiftData::getUpdateFunction2(const QUVENEnvHandle& env) const {
  return getUpdateFunction(QUVEN_ENV);
}
void QUVENLiftData::refuseRecord(QUVENDataPoint&, const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
