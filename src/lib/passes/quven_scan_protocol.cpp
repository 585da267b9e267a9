#include "passes/quven_scan_protocol.h"

#include <algorithm>

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

bool QUVENModelProtocol::readsOnly(const QUVENDataScan& scan, const QUVENFieldSet& fields) const {
  const auto isThere = [&](const QUVENField* field) { return field == nullptr || fields.count(field) != 0; };
  const auto areThere = [&](const QUVENModel::Inputs& inputs) {
    return std::all_of(inputs.begin(), inputs.end(),
                       [&](const QUVENModelInput& input) { return isThere(input.getField()); });
  };
  const QUVENModel& model = modelOf(scan);
  return areThere(model.getTargetFields()) && areThere(model.getExplanatoryFields()) &&
         isThere(model.getCaseWeightField()) && isThere(model.getInvVarWeightField());
}

bool QUVENModelProtocol::isScanning(const QUVENDataScan& scan) const { return modelOf(scan).isScanning(); }

void QUVENModelProtocol::end(QUVENDataScan& scan, std::int32_t lastPass, const QUVENEnvHandle& env) const {
  modelOf(scan).endDataScan(lastPass, QUVEN_ENV);
}

bool QUVENModelProtocol::canScore(const QUVENDataScan& scan) const { return modelOf(scan).getModelState() < 0; }

void QUVENModelProtocol::score(QUVENDataScan& scan, std::int32_t channel, QUVENDataPoint& point,
                               const QUVENEnvHandle& env) const {
  if (channel == 0) {
    modelOf(scan).scorePoint(point, env);
  } else {
    modelOf(scan).scoreChannel(channel, point, env);
  }
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

void QUVENMultiScanProtocol::score(QUVENDataScan&, std::int32_t, QUVENDataPoint&, const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
