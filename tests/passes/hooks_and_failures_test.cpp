// The hooks of passes without records, and passes that fail.

#include <cmath>

#include "kernel/quven_num_field.h"
#include "pass_fixture.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

/// Counts the hooks of its passes in this process; it may fail at a record.
class QUVENHookScan : public QUVENObjectOf<QUVENHookScan, QUVENPassCount> {
 public:
  explicit QUVENHookScan(const QUVENEnvHandle& env) : Members(env) {}
  static inline int begins = 0;
  static inline int ends = 0;
  static inline int updates = 0;
  static inline int failsAt = -1;

  void beginRecords(const QUVENEnvHandle& env) override {
    ++begins;
    QUVENPassCount::beginRecords(env);
  }
  void endRecords(const QUVENEnvHandle&) override { ++ends; }
  int updateWithoutDataScan(const QUVENEnvHandle&) override {
    ++updates;
    return 1;
  }
  UpdateFunction recordHandler(const QUVENEnvHandle&) const override {
    return isScanning() ? static_cast<UpdateFunction>(&QUVENHookScan::see) : nullptr;
  }
  void see(QUVENDataPoint& point, const QUVENEnvHandle& env) {
    if (static_cast<int>(point.getRecordId()) == failsAt) quvenFatalReport("A record that fails", QUVEN_ENV);
    count(point, QUVEN_ENV);
  }
};
QUVEN_REGISTER(QUVENHookScan);

/// Gives what is not a number for every third record.
class QUVENPassNanProducer : public QUVENObjectOf<QUVENPassNanProducer, QUVENNumValueProducer> {
 public:
  bool produceValue(QUVENDataPoint& point, double& value, const QUVENEnvHandle&) override {
    value = point.getRecordId() % 3 == 0 ? std::nan("") : point.getRecordId();
    return true;
  }
};
QUVEN_REGISTER(QUVENPassNanProducer);

namespace {

class QUVENHooksTest : public PassTest {};

TEST_F(QUVENHooksTest, AScanWithoutRecordsEndsItsPassInARunWithSlicesToo) {
  writeNumbers(10);
  for (const int slices : {0, 3}) {
    QUVENHookScan::begins = QUVENHookScan::ends = QUVENHookScan::updates = 0;
    PassRun run(path, {.numSlices = slices});
    if (run.isRank0()) {
      auto& scan = run.add<QUVENHookScan>("x");
      scan.ivScanType = 3;
    }
    run.passes();
    // Slices are gathered on any number of ranks, so the step without records is one of rank 0 there.
    const int expected = slices == 0 || run.isRank0() ? 1 : 0;
    EXPECT_EQ(QUVENHookScan::begins, expected) << slices;
    EXPECT_EQ(QUVENHookScan::updates, expected) << slices;
    EXPECT_EQ(QUVENHookScan::ends, expected) << slices;
  }
}

TEST_F(QUVENHooksTest, AFailureInAPassLeavesTheAccountExact) {
  if (count > 1) GTEST_SKIP();
  writeNumbers(50);
  for (const int slices : {0, 3}) {
    PassRun run(path, {.numSlices = slices});
    run.add<QUVENHookScan>("x");
    QUVENHookScan::failsAt = 40;
    const CapturedRun failed = capturedRun([&] { run.passes(); });
    QUVENHookScan::failsAt = -1;
    EXPECT_TRUE(failed.threwLibraryException);
    EXPECT_EQ(failed.out.find("destructor"), std::string::npos) << failed.out;
    quvenDebugWords = QUVENDebugWords();
  }
}

TEST_F(QUVENHooksTest, AFailureOfMemoryInAPassLeavesTheAccountExact) {
  if (count > 1) GTEST_SKIP();
  writeNumbers(50);
  int failures = 0;
  for (const int slices : {0, 3}) {
    for (int room = 0; room < 12000; room += 97) {
      PassRun run(path, {.numSlices = slices});
      const QUVENEnvHandle env = run.handle();
      run.add<QUVENHookScan>("x");
      auto& field = static_cast<QUVENNumField&>(run.field("x"));
      field.setSampleCapacity(10, env);
      run.driver.addField(field, env);
      run.environment.setBytesBudget(run.environment.getBytesInUse() + room);
      const CapturedRun failed = capturedRun([&] { run.passes(); });
      failures += failed.threwMemoryException ? 1 : 0;
      EXPECT_EQ(failed.out.find("destructor"), std::string::npos) << failed.out;
      run.environment.setBytesBudget(0);
      quvenDebugWords = QUVENDebugWords();
    }
  }
  EXPECT_GT(failures, 0);
}

TEST_F(QUVENHooksTest, AProducedValueThatIsNotANumberCountsAsMissingInBothPasses) {
  if (count > 1) GTEST_SKIP();
  writeNumbers(30);
  QUVENPassNanProducer producer;
  PassRun run(path);
  QUVENEnv* env = run.env;
  auto made = quvenMake<QUVENNumField>(QUVEN_ENV);
  made->setName(QUVENStringWithHash("computed"));
  made->setComputed(true);
  made->setSampleCapacity(100, QUVEN_ENV);
  made->setValueProducer(&producer);
  QUVENField* field = run.driver.getNames().addOwned(std::move(made), QUVEN_ENV);
  run.driver.addField(*field, QUVEN_ENV);
  const CapturedRun done = capturedRun([&] { run.passes(); });
  EXPECT_FALSE(done.threwLibraryException) << done.out;
  EXPECT_EQ(static_cast<QUVENNumField*>(field)->getDistribution()->getMissingCount(), 10);
  quvenDebugWords = QUVENDebugWords();
  producer.destroyPrimitive(QUVEN_ENV);
}

}  // namespace
