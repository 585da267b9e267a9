#include "kernel/quven_scan_results.h"

#include "util/quven_debug.h"
#include "util/quven_stream_values.h"

namespace {

void checkIsResult(const char* condition, const QUVENDataScan& result) {
  if (result.getMergeWithSerialNumber() < 0) return;
  quvenOrdinaryAssertionFailed(condition, "Attempt to read/merge a non-return-data-scan-results object", __func__,
                               __LINE__, __FILE__);
}

}  // namespace

const QUVENKeyword& quvenScanResultKeyword() {
  static const QUVENKeyword keyword = QUVENKeyword::name("ScanResult");
  return keyword;
}

void quvenWriteScanResults(const QUVENDataScan& scan, QUVENObjWriter& writer, const QUVENKeyword& keyword,
                           const QUVENEnvHandle& env) {
  if (scan.hasScanResult(QUVEN_ENV)) {
    writer.beginItem(QUVEN_ENV);
    writer.writeKeyword(keyword, QUVEN_ENV);
    quvenWriteObject(writer, scan, QUVEN_ENV);
  }
  scan.writeChildScanResults(writer, keyword, QUVEN_ENV);
}

void quvenMergeDataScanResults(QUVENObjReader& readerA, QUVENObjReader& readerB, QUVENObjWriter& writer,
                               const QUVENKeyword& resultKwd, const QUVENEnvHandle& env) {
  for (;;) {
    QUVENOwnPtr<QUVENDataScan> ptrA(QUVEN_ENV);
    QUVENOwnPtr<QUVENDataScan> ptrB(QUVEN_ENV);
    if (!quvenRead(readerA, resultKwd, ptrA, QUVEN_ENV)) return;
    QUVEN_ASSERT_CAUSE(ptrA != 0, "Missing data scan result object in input");  // NOLINT(modernize-use-nullptr)
    if (!quvenRead(readerB, resultKwd, ptrB, QUVEN_ENV)) {
      quvenOrdinaryAssertionFailed("quvenRead (readerB, resultKwd, ptrB, QUVEN_ENV)",
                                   "Data scan result object expected in input", __func__, __LINE__, __FILE__);
    }
    QUVEN_ASSERT_CAUSE(ptrB != 0, "Missing data scan result object in input");  // NOLINT(modernize-use-nullptr)
    checkIsResult("ptrA->ivMergeWithSerialNumber < 0", *ptrA);
    checkIsResult("ptrB->ivMergeWithSerialNumber < 0", *ptrB);
    QUVEN_ASSERT_CAUSE(ptrA->getMergeWithSerialNumber() == ptrB->getMergeWithSerialNumber(),
                       "Serial number mismatch between input streams");
    const bool merged = ptrA->merge(ptrB.get(), QUVEN_ENV);
    QUVEN_ASSERT_CAUSE(merged, "Data scan result could not be merged");
    quvenWrite(writer, resultKwd, ptrA, QUVEN_ENV);
    ptrA.reset(QUVEN_ENV);
    ptrB.reset(QUVEN_ENV);
  }
}

void quvenReadDataScanResults(QUVENObjReader& reader, const QUVENKeyword& resultKwd, const QUVENEnvHandle& env) {
  for (;;) {
    QUVENOwnPtr<QUVENDataScan> resultPtr(QUVEN_ENV);
    if (!quvenRead(reader, resultKwd, resultPtr, QUVEN_ENV)) return;
    QUVEN_ASSERT_CAUSE(resultPtr != 0, "Missing data scan result object in input");  // NOLINT(modernize-use-nullptr)
    checkIsResult("resultPtr->ivMergeWithSerialNumber < 0", *resultPtr);
    // Wider than the number: the lowest of a foreign stream has no absolute value, and no scan either.
    const std::int64_t serialNumber = -std::int64_t{resultPtr->getMergeWithSerialNumber()};
    QUVENDataScan* mergePtr = QUVENDataScanGlobalVars::get(QUVEN_ENV).find(quvenSaturate<std::int32_t>(serialNumber));
    QUVEN_ASSERT_CAUSE(mergePtr != 0, "Cannot find corresponding data scan object");  // NOLINT(modernize-use-nullptr)
    const bool merged = mergePtr->merge(resultPtr.get(), QUVEN_ENV);
    QUVEN_ASSERT_CAUSE(merged, "Data scan result could not be merged");
    resultPtr.reset(QUVEN_ENV);
  }
}
