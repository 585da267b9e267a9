#include "kernel/quven_scan_stream.h"

QUVENScanImage::QUVENScanImage(QUVENObjReader& objectReader, const QUVENEnvHandle& env)
    : reader(objectReader), typeName(objectReader.readObjectType(QUVEN_ENV)) {
  if (isNull()) return;
  reader.beginObjectBody(QUVEN_ENV);
  static_cast<void>(quvenRead(reader, QUVENDataScan::serialNumberKeyword(), serialNumber, QUVEN_ENV));
}

bool QUVENScanImage::isOf(const QUVENDataScan* held) const {
  return held != nullptr && serialNumber != 0 && held->getMergeWithSerialNumber() == serialNumber && fits(held);
}

bool QUVENScanImage::fits(const QUVENDataScan* held) const {
  if (held == nullptr || !(typeName == std::string_view(held->getTypeName().getName()))) return false;
  return held->getMergeWithSerialNumber() == 0 || held->getMergeWithSerialNumber() == serialNumber;
}

void QUVENScanImage::readInto(QUVENOwnPtrBase& pointer, const QUVENTypeName& expected, const QUVENEnvHandle& env) {
  if (!fits(static_cast<const QUVENDataScan*>(pointer.getObject()))) {
    quvenMakeObjectOfType(reader, typeName, pointer, expected, QUVEN_ENV);
  }
  auto& scan = static_cast<QUVENDataScan&>(*pointer.getObject());
  if (serialNumber != 0) scan.ivMergeWithSerialNumber = serialNumber;
  reader.readObjectMembers(scan, QUVEN_ENV);
}
