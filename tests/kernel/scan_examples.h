#ifndef TESTS_KERNEL_SCAN_EXAMPLES_H
#define TESTS_KERNEL_SCAN_EXAMPLES_H

#include <string>
#include <vector>

#include "kernel/quven_data_scan.h"
#include "util/quven_xaray.h"

/// A scan that counts records: its result is the count, and it owns further scans. A test says how it behaves.
class QUVENTestScan : public QUVENObjectOf<QUVENTestScan, QUVENMultiScan> {
 public:
  static constexpr std::int32_t RecordsThatCannotBeMerged = -7;

  explicit QUVENTestScan(const QUVENEnvHandle& env) : Members(env) {}

  QUVEN_MEMBER(ivRecords, std::int32_t) = 0;
  QUVEN_MEMBER(ivPassesLeft, std::int32_t) = 1;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivChildren, QUVENXaRay<QUVENOwnPtr<QUVENTestScan>, 0>);

  bool hasResult = true;
  bool refusesBegin = false;
  std::vector<std::string> calls;

  void count(QUVENDataPoint&, const QUVENEnvHandle&) { ++ivRecords; }
  void countTwice(QUVENDataPoint&, const QUVENEnvHandle&) { ivRecords += 2; }

  QUVENTestScan& addChild(const QUVENEnvHandle& env);
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return hasResult; }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction(const QUVENEnvHandle&) const override {
    return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENTestScan::count) : nullptr;
  }
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override {
    return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENTestScan::countTwice) : nullptr;
  }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override {
    calls.emplace_back("begin");
    return refusesBegin ? 0 : 1;
  }
  int endDataScanPrimitive(const QUVENEnvHandle&) override {
    calls.emplace_back("end");
    return --ivPassesLeft < 1 ? 1 : 0;
  }
};

/// A scan that overrides nothing but the two operations that it must.
class QUVENTestBareScan : public QUVENObjectOf<QUVENTestBareScan, QUVENMultiScan> {
 public:
  explicit QUVENTestBareScan(const QUVENEnvHandle& env) : Members(env) {}
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
};

/// A scan of the plain kind, with every default.
class QUVENTestPlainScan : public QUVENObjectOf<QUVENTestPlainScan, QUVENDataScan> {
 public:
  explicit QUVENTestPlainScan(const QUVENEnvHandle& env) : Members(env) {}
};

#endif  // TESTS_KERNEL_SCAN_EXAMPLES_H
