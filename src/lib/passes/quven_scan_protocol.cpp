#include "passes/quven_scan_protocol.h"

#include "kernel/quven_model.h"
#include "util/quven_debug.h"

namespace {

QUVENModel& modelOf(QUVENDataScan& scan) { return static_cast<QUVENModel&>(scan); }
const QUVENModel& modelOf(const QUVENDataScan& scan) { return static_cast<const QUVENModel&>(scan); }
QUVENMultiScan& multiScanOf(QUVENDataScan& scan) { return static_cast<QUVENMultiScan&>(scan); }

}  // namespace

const QUVENTypeName& QUVENModelProtocol::getScanClass() const { return QUVENModel::typeName(); }

void QUVENModelProtocol::begin(QUVENDataScan& scan, bool, const QUVENEnvHandle& env) const {
  const bool hasFinished = modelOf(scan).getModelState() < 0;
  if (!hasFinished) modelOf(scan).beginDataScan(QUVEN_ENV);
}

bool QUVENModelProtocol::isScanning(const QUVENDataScan& scan) const { return modelOf(scan).isScanning(); }

void QUVENModelProtocol::end(QUVENDataScan& scan, std::int32_t lastPass, const QUVENEnvHandle& env) const {
  modelOf(scan).endDataScan(lastPass, QUVEN_ENV);
}

bool QUVENModelProtocol::canScore(const QUVENDataScan& scan) const { return modelOf(scan).getModelState() < 0; }

void QUVENModelProtocol::score(QUVENDataScan& scan, QUVENDataPoint& point, const QUVENEnvHandle& env) const {
  modelOf(scan).scorePoint(point, env);
}

const QUVENTypeName& QUVENMultiScanProtocol::getScanClass() const { return QUVENMultiScan::typeName(); }

void QUVENMultiScanProtocol::begin(QUVENDataScan& scan, bool isNew, const QUVENEnvHandle& env) const {
  if (isNew) multiScanOf(scan).beginDataScan(QUVEN_ENV);
}

bool QUVENMultiScanProtocol::isScanning(const QUVENDataScan& scan) const {
  return static_cast<const QUVENMultiScan&>(scan).isScanInProgress();
}

void QUVENMultiScanProtocol::end(QUVENDataScan& scan, std::int32_t, const QUVENEnvHandle& env) const {
  multiScanOf(scan).endDataScan(QUVEN_ENV);
}

void QUVENMultiScanProtocol::score(QUVENDataScan&, QUVENDataPoint&, const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
