#include "learning/quven_model_correlations.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "kernel/quven_packed_triangle.h"
#include "kernel/quven_scan_results.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelCorrelations);

void QUVENModelCorrelations::setResidualModel(QUVENOwnPtr<QUVENTransRegResidualModel>&& model) {
  QUVEN_ASSERT(!isScanInProgress());
  ivTregResidPtr = std::move(model);
  ivScanCount = 0;
}

int QUVENModelCorrelations::beginDataScanPrimitive(const QUVENEnvHandle& env) {
  if (ivTregResidPtr == nullptr) quvenUnreachable(QUVEN_ENV);
  const QUVENModel::Inputs& inputs = ivTregResidPtr->getExplanatoryFields();
  const bool isReady = std::all_of(inputs.begin(), inputs.end(), [&](const QUVENModelInput& input) {
    return QUVENTransRegResidualModel::hasUsableDistribution(*input.getField(), QUVEN_ENV);
  });
  ivScanCount = isReady ? TrainsModel : FirstPass;
  if (isReady) beginModel(QUVEN_ENV);
  return 1;
}

void QUVENModelCorrelations::beginModel(const QUVENEnvHandle& env) {
  if (!ivTregResidPtr->setMiningMode(QUVENModel::BestModelTrainDataOnly, nullptr, QUVEN_ENV)) {
    quvenUnreachable(QUVEN_ENV);
  }
  if (!ivTregResidPtr->beginDataScan(QUVEN_ENV)) quvenUnreachable(QUVEN_ENV);
}

int QUVENModelCorrelations::endDataScanPrimitive(const QUVENEnvHandle& env) {
  if (ivScanCount < TrainsModel) ++ivScanCount;
  if (ivScanCount < TrainsModel) return 0;
  if (!isModelScanning()) {
    beginModel(QUVEN_ENV);
    return 0;
  }
  // The residual model frees the statistics of its regression when it ends.
  if (ivTregResidPtr->getRegression() != nullptr) fillCorrelations(QUVEN_ENV);
  if (!ivTregResidPtr->endDataScan(0, QUVEN_ENV)) return 0;
  ivScanCount = -ivScanCount;
  ivTregResidPtr.reset(QUVEN_ENV);
  return 1;
}

/// The correlations in the data of the regression over the transforms.
void QUVENModelCorrelations::fillCorrelations(const QUVENEnvHandle& env) {
  const QUVENLinRegModel& regression = *ivTregResidPtr->getRegression();
  const auto nameOf = [&](const QUVENField* variable) {
    for (const auto& pair : ivTregResidPtr->getTransforms()) {
      if (pair->getPrediction() == variable) return pair->getTransform().getSplitField()->getName().str();
    }
    return variable->getName().str();
  };
  QUVENXaRay<std::string, 0>& fieldNames = correlations.ivFieldNames;
  fieldNames.setSize(0, QUVEN_ENV);
  for (const QUVENModelInput& input : regression.getExplanatoryFields()) {
    fieldNames.append(nameOf(input.getField()), QUVEN_ENV);
  }
  fieldNames.append(regression.getTargetFields().at(1).getField()->getName().str(), QUVEN_ENV);

  const QUVENLSData& data = regression.getTrnChannels().at(QUVENFoldDealing::TestChannel);
  const long n = data.getNumFields();
  QUVEN_ASSERT(fieldNames.getSize() == n);
  const QUVENXaRay<double>& products = data.getDataCov();
  const auto sumOfSquares = [&](long i) { return products[quvenPackedIndex(i, i)]; };
  const auto varies = [&](long i) { return sumOfSquares(i) > data.getTolerance(i); };
  correlations.ivCorrelations.setSize(quvenPackedIndex(n, n), QUVEN_ENV);
  for (long j = 1; j <= n; ++j) {
    for (long i = 1; i < j; ++i) {
      const long place = quvenPackedIndex(i, j);
      double correlation = 0;
      if (varies(i) && varies(j)) {
        correlation = products[place] / (std::sqrt(sumOfSquares(i)) * std::sqrt(sumOfSquares(j)));
      }
      correlations.ivCorrelations[place] = std::clamp(correlation, -1.0, 1.0);
    }
    correlations.ivCorrelations[quvenPackedIndex(j, j)] = 1;
  }
}

// Records

QUVENDataScan::UpdateFunction QUVENModelCorrelations::getUpdateFunction(const QUVENEnvHandle&) const {
  if (!isScanInProgress()) return nullptr;
  return isModelScanning() ? static_cast<UpdateFunction>(&QUVENModelCorrelations::learn)
                           : static_cast<UpdateFunction>(&QUVENModelCorrelations::passOver);
}

void QUVENModelCorrelations::beginRecords(const QUVENEnvHandle& env) {
  if (isModelScanning()) ivTregResidPtr->beginRecords(QUVEN_ENV);
}

void QUVENModelCorrelations::endRecords(const QUVENEnvHandle& env) {
  if (isModelScanning()) ivTregResidPtr->endRecords(QUVEN_ENV);
}

void QUVENModelCorrelations::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                                   const QUVENEnvHandle& env) const {
  if (isModelScanning()) quvenWriteScanResults(*ivTregResidPtr, writer, keyword, QUVEN_ENV);
}
