#include "kernel/quven_scan_results.h"

#include "util/quven_debug.h"
#include "util/quven_stream_values.h"

namespace {

/// Notes the scans that are to be written, and writes nothing.
class ScanCollector final : public QUVENObjWriter {
 public:
  explicit ScanCollector(std::vector<QUVENDataScan*>& collected)
      : QUVENObjWriter(QUVENObjWriter::ScanResults), scans(collected) {}
  bool collect(const QUVENObject& scan) override {
    scans.push_back(const_cast<QUVENDataScan*>(static_cast<const QUVENDataScan*>(&scan)));
    return true;
  }
  void writeKeyword(const QUVENKeyword&, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void writeSignedByte(std::int8_t, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void writeUnsignedByte(std::uint8_t, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void writeString(std::string_view, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void writeUnsignedVarint(std::uint64_t, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void writeSignedVarint(std::int64_t, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void writeDouble(double, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void beginObjectType(std::string_view, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void beginObject(const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }
  void beginArray(std::int64_t, const QUVENEnvHandle& env) override { quvenUnreachable(QUVEN_ENV); }

 private:
  std::vector<QUVENDataScan*>& scans;
};

void checkIsSame(std::int32_t serialA, std::int32_t serialB) {
  QUVEN_ASSERT_CAUSE(serialA == serialB, "Serial number mismatch between input streams");
}

void mergeChecked(QUVENDataScan& scan, QUVENDataScan& other, const QUVENEnvHandle& env) {
  const bool merged = scan.merge(&other, QUVEN_ENV);
  QUVEN_ASSERT_CAUSE(merged, "Data scan result could not be merged");
}

/// Wider than the number: the lowest of a foreign stream has no absolute value, and no scan either.
QUVENDataScan& findLive(std::int64_t serialNumber, const QUVENEnvHandle& env) {
  QUVENDataScan* mergePtr = QUVENDataScanGlobalVars::get(QUVEN_ENV).find(quvenSaturate<std::int32_t>(serialNumber));
  QUVEN_ASSERT_CAUSE(mergePtr != 0, "Cannot find corresponding data scan object");  // NOLINT(modernize-use-nullptr)
  return *mergePtr;
}

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
  if (scan.hasScanResult(QUVEN_ENV) && !writer.collect(scan)) {
    writer.beginItem(QUVEN_ENV);
    writer.writeKeyword(keyword, QUVEN_ENV);
    quvenWriteObject(writer, scan, QUVEN_ENV);
  }
  scan.writeChildScanResults(writer, keyword, QUVEN_ENV);
}

std::vector<QUVENDataScan*> quvenCollectScanResults(QUVENDataScan& scan, const QUVENEnvHandle& env) {
  std::vector<QUVENDataScan*> scans;
  ScanCollector collector(scans);
  quvenWriteScanResults(scan, collector, quvenScanResultKeyword(), QUVEN_ENV);
  return scans;
}

void quvenWriteScanResults(const std::vector<QUVENDataScan*>& scans, QUVENObjWriter& writer,
                           const QUVENKeyword& keyword, const QUVENEnvHandle& env) {
  for (const QUVENDataScan* scan : scans) {
    writer.beginItem(QUVEN_ENV);
    writer.writeKeyword(keyword, QUVEN_ENV);
    quvenWriteObject(writer, *scan, QUVEN_ENV);
  }
}

void quvenMergeDataScanResults(const std::vector<QUVENDataScan*>& scans, const std::vector<QUVENDataScan*>& others,
                               const QUVENEnvHandle& env) {
  QUVEN_ASSERT(scans.size() == others.size());
  for (std::size_t i = 0; i < scans.size(); ++i) {
    checkIsSame(scans[i]->getMergeWithSerialNumber(), others[i]->getMergeWithSerialNumber());
    mergeChecked(*scans[i], *others[i], QUVEN_ENV);
  }
}

void quvenMergeDataScanResults(const std::vector<QUVENDataScan*>& scans, QUVENObjReader& reader,
                               const QUVENKeyword& keyword, const QUVENEnvHandle& env) {
  for (QUVENDataScan* scan : scans) {
    QUVENOwnPtr<QUVENDataScan> other(QUVEN_ENV);
    const bool isThere = quvenRead(reader, keyword, other, QUVEN_ENV);
    QUVEN_ASSERT_CAUSE(isThere && other.get() != nullptr, "Missing data scan result object in input");
    checkIsSame(scan->getMergeWithSerialNumber(), -other->getMergeWithSerialNumber());
    mergeChecked(*scan, *other, QUVEN_ENV);
    other.reset(QUVEN_ENV);
  }
}

void quvenMergeIntoLiveScans(const std::vector<QUVENDataScan*>& scans, const QUVENEnvHandle& env) {
  for (QUVENDataScan* scan : scans) {
    mergeChecked(findLive(scan->getMergeWithSerialNumber(), QUVEN_ENV), *scan, QUVEN_ENV);
  }
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
    mergeChecked(*ptrA, *ptrB, QUVEN_ENV);
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
    mergeChecked(findLive(-std::int64_t{resultPtr->getMergeWithSerialNumber()}, QUVEN_ENV), *resultPtr, QUVEN_ENV);
    resultPtr.reset(QUVEN_ENV);
  }
}
