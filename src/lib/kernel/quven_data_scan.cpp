#include "kernel/quven_data_scan.h"

#include "kernel/quven_field.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENDataScanGlobalVars);
QUVEN_REGISTER(QUVENDataScan);
QUVEN_REGISTER(QUVENMultiScan);

QUVENDataScanGlobalVars& QUVENDataScanGlobalVars::get(const QUVENEnvHandle& env) {
  return *QUVENEnv::getDataScanGlobals<QUVENDataScanGlobalVars>(QUVEN_ENV);
}

std::int32_t QUVENDataScanGlobalVars::registerScan(QUVENDataScan* scan, const QUVENEnvHandle& env) {
  const std::int32_t serialNumber = ++serialNumCounter;
  const long index = serials.insert(serialNumber, QUVEN_ENV);
  try {
    scans.autoExtend(index, QUVEN_ENV);
  } catch (...) {
    serials.remove(serialNumber, QUVEN_ENV);
    throw;
  }
  scans[index] = scan;
  return serialNumber;
}

void QUVENDataScanGlobalVars::unregisterScan(std::int32_t serialNumber, const QUVENEnvHandle& env) {
  const long index = serials.remove(serialNumber, QUVEN_ENV);
  if (index != 0) scans[index] = nullptr;
}

QUVENDataScan* QUVENDataScanGlobalVars::find(std::int32_t serialNumber) const {
  const long index = serials.getIndex(serialNumber);
  return index == 0 ? nullptr : scans[index];
}

void QUVENDataScanGlobalVars::copyFromPrimitive(const QUVENObject*, const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
void QUVENDataScanGlobalVars::transferFromPrimitive(QUVENObject*, const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
void QUVENDataScanGlobalVars::readPrimitive(QUVENObjReader&, const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENDataScanGlobalVars::writePrimitive(QUVENObjWriter&, const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}

QUVENDataScan::QUVENDataScan(const QUVENEnvHandle& env)
    : ivGlobalNumChannels(QUVENFieldGlobalVars::get(QUVEN_ENV).getGlobalNumChannels()) {
  // Last, for what fails before it leaves no entry of a scan that was never there.
  ivSerialNumber = QUVENDataScanGlobalVars::get(QUVEN_ENV).registerScan(this, QUVEN_ENV);
}

QUVENDataScan::~QUVENDataScan() {
  // A constructor further down that failed: nobody calls destroyPrimitive then.
  if (ivSerialNumber == 0) return;
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  QUVENDataScanGlobalVars::get(QUVEN_ENV).unregisterScan(ivSerialNumber, QUVEN_ENV);
}

std::int32_t QUVENDataScan::channelsOfMode(std::int32_t mode, const QUVENEnvHandle& env) {
  constexpr std::int32_t firstOfAllChannels = 3;
  return mode < firstOfAllChannels ? mode : QUVENFieldGlobalVars::get(QUVEN_ENV).getGlobalNumChannels();
}

void QUVENDataScan::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  QUVENObject::copyFromPrimitive(source, QUVEN_ENV);
  if (source == nullptr || source == this) return;
  QUVEN_ASSERT(source->isA(typeName()));
  const auto& scan = static_cast<const QUVENDataScan&>(*source);
  updateFunction = scan.updateFunction;
  updateFunction2 = scan.updateFunction2;
  ivGlobalNumChannels = scan.ivGlobalNumChannels;
}

void QUVENDataScan::transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) {
  if (source != nullptr) quvenUnreachable(QUVEN_ENV);
}

void QUVENDataScan::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  refreshHandlers(QUVEN_ENV);
}

void QUVENDataScan::writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const {
  Members::writePrimitive(writer, QUVEN_ENV);
  // A worker's copy has to know whose copy it is; a result, whom it goes back to.
  std::int32_t number = writer.chooseScanNumber(ivSerialNumber);
  if (writer.getWriterMode() == QUVENObjWriter::ScanResults) {
    number = ivMergeWithSerialNumber > 0 ? -ivMergeWithSerialNumber : ivMergeWithSerialNumber;
  }
  quvenWrite(writer, QUVEN_KWD(ivMergeWithSerialNumber), number, QUVEN_ENV);
}

void QUVENDataScan::destroyPrimitive(const QUVENEnvHandle& env) {
  Members::destroyPrimitive(QUVEN_ENV);
  if (ivSerialNumber != 0) QUVENDataScanGlobalVars::get(QUVEN_ENV).unregisterScan(ivSerialNumber, QUVEN_ENV);
  updateFunction = updateFunction2 = nullptr;
  ivSerialNumber = ivMergeWithSerialNumber = ivGlobalNumChannels = 0;
}

void QUVENDataScan::refreshHandlers(const QUVENEnvHandle& env) {
  updateFunction = getUpdateFunction(QUVEN_ENV);
  updateFunction2 = getUpdateFunction2(QUVEN_ENV);
}

QUVENScanType QUVENDataScan::getScanType(const QUVENEnvHandle&) const { return QUVENScanType::Slice; }
double QUVENDataScan::getSamplingRate(const QUVENEnvHandle&) const { return 1.0; }
bool QUVENDataScan::getScanOption(const QUVENEnvHandle&) const { return false; }
bool QUVENDataScan::merge(QUVENDataScan*, const QUVENEnvHandle&) { return true; }
bool QUVENDataScan::hasScanResult(const QUVENEnvHandle&) const { return false; }
void QUVENDataScan::writeChildScanResults(QUVENObjWriter&, const QUVENKeyword&, const QUVENEnvHandle&) const {}
QUVENDataScan::UpdateFunction QUVENDataScan::getUpdateFunction(const QUVENEnvHandle&) const { return nullptr; }
QUVENDataScan::UpdateFunction QUVENDataScan::getUpdateFunction2(const QUVENEnvHandle&) const { return nullptr; }

void QUVENDataScan::beginRecords(const QUVENEnvHandle&) {}
void QUVENDataScan::endRecords(const QUVENEnvHandle&) {}
int QUVENDataScan::updateWithoutDataScan(const QUVENEnvHandle&) { return 1; }
bool QUVENDataScan::updateFromKeptRecords(QUVENKeptRecords&, const QUVENEnvHandle&) { return false; }

int QUVENMultiScan::beginDataScan(const QUVENEnvHandle& env) {
  if (ivScanInProgress != 0) return 1;
  if (beginDataScanPrimitive(QUVEN_ENV) != 0) ivScanInProgress = 1;
  refreshHandlers(QUVEN_ENV);
  return ivScanInProgress;
}

int QUVENMultiScan::endDataScan(const QUVENEnvHandle& env) {
  if (ivScanInProgress == 0) return 1;
  if (endDataScanPrimitive(QUVEN_ENV) != 0) ivScanInProgress = 0;
  refreshHandlers(QUVEN_ENV);
  return ivScanInProgress == 0 ? 1 : 0;
}

void QUVENMultiScan::destroyPrimitive(const QUVENEnvHandle& env) {
  ivScanInProgress = 0;
  Members::destroyPrimitive(QUVEN_ENV);
}

QUVENDataScan::UpdateFunction QUVENMultiScan::getUpdateFunction(const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
QUVENDataScan::UpdateFunction QUVENMultiScan::getUpdateFunction2(const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
