#include "scan_examples.h"

#include "kernel/quven_scan_results.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTestScan);
QUVEN_REGISTER(QUVENTestBareScan);
QUVEN_REGISTER(QUVENTestPlainScan);

QUVENTestScan& QUVENTestScan::addChild(const QUVENEnvHandle& env) {
  const long index = ivChildren.getSize() + 1;
  ivChildren.autoExtend(index, QUVEN_ENV);
  ivChildren[index] = quvenMake<QUVENTestScan>(QUVEN_ENV);
  return *ivChildren[index];
}

bool QUVENTestScan::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const std::int32_t records = static_cast<const QUVENTestScan*>(other)->ivRecords;
  if (records == RecordsThatCannotBeMerged) return false;
  ivRecords += records;
  return true;
}

void QUVENTestScan::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                          const QUVENEnvHandle& env) const {
  for (const QUVENOwnPtr<QUVENTestScan>& child : ivChildren) {
    quvenWriteScanResults(*child, writer, keyword, QUVEN_ENV);
  }
}
