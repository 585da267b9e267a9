#include "util/quven_keyvalue_xashtable.h"

#include <string>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_string.h"

namespace {

class QUVENKeyValueXAshTableTest : public testing::Test {
 protected:
  void SetUp() override {
    quvenDebugWords = QUVENDebugWords();
    env.activate();
  }
  void TearDown() override { EXPECT_EQ(env.getBytesInUse(), 0); }

  QUVENEnv env;
};

}  // namespace

TEST_F(QUVENKeyValueXAshTableTest, FailedInsertionLeavesTheTableAsItWas) {
  QUVENKeyValueXAshTable<long, double> table;
  long failures = 0;
  for (long key = 1; key <= 200; ++key) {
    // Each key first meets an allocator that fails at once, at the second and at the third block.
    for (long allowed = 0; allowed <= 2; ++allowed) {
      const std::int64_t before = env.getBytesInUse();
      quvenDebugWords.quiet = 1;
      const CapturedRun run = capturedRun([&] {
        const FailingAllocation failure(allowed);
        table.put(key * 17, 0.5, QUVEN_ENV);
      });
      quvenDebugWords.quiet = 0;
      if (!run.threwMemoryException) break;
      ++failures;
      EXPECT_GE(env.getBytesInUse(), before);
      ASSERT_EQ(table.getIndex(key * 17), 0);
      ASSERT_EQ(table.getLiveCount(), key - 1);
    }
    ASSERT_EQ(table.put(key * 17, static_cast<double>(key), QUVEN_ENV), key);
  }
  EXPECT_GT(failures, 20);
  for (long key = 1; key <= 200; ++key) EXPECT_EQ(*table.find(key * 17), static_cast<double>(key));
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENKeyValueXAshTableTest, FailedCopyLeavesAnEmptyTable) {
  // A copy that failed at the values used to find its keys and to give out values that were not there.
  QUVENKeyValueXAshTable<QUVENStringWithHash, QUVENXaRay<double>> table;
  for (const char* key : {"one", "two", "a key that needs a block of its own"}) {
    const long index = table.insert(key, QUVEN_ENV);
    table.getValue(index).setSize(3, QUVEN_ENV);
  }
  QUVENKeyValueXAshTable<QUVENStringWithHash, QUVENXaRay<double>> copy;
  const std::int64_t ofTable = env.getBytesInUse();
  long allowed = 0;
  for (bool failed = true; failed; ++allowed) {
    copy.insert("old", QUVEN_ENV);
    failed = capturedRun([&] {
               const FailingAllocation failure(allowed);
               copy.copyFrom(table, QUVEN_ENV);
             }).threwMemoryException;
    if (!failed) break;
    ASSERT_LT(allowed, 100);
    EXPECT_EQ(env.getBytesInUse(), ofTable) << allowed;
    EXPECT_EQ(copy.find("one"), nullptr) << allowed;
    EXPECT_EQ(copy.getNumKeys(), 0) << allowed;
  }
  EXPECT_GT(allowed, 5);
  EXPECT_EQ(copy.find("two")->getSize(), 3);
  EXPECT_EQ(copy.find("old"), nullptr);
  copy.deleteMemory(QUVEN_ENV);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENKeyValueXAshTableTest, KeepsAValueForEachKey) {
  QUVENKeyValueXAshTable<QUVENStringWithHash, std::string> table;
  EXPECT_EQ(table.put("one", "1", QUVEN_ENV), 1);
  EXPECT_EQ(table.put("two", "2", QUVEN_ENV), 2);
  EXPECT_EQ(table.put("one", "eins", QUVEN_ENV), 1);
  EXPECT_EQ(*table.find("one"), "eins");
  EXPECT_EQ(table.getValue(2), "2");
  EXPECT_EQ(table.find("three"), nullptr);
  EXPECT_EQ(table.remove("one", QUVEN_ENV), 1);
  EXPECT_EQ(table.remove("one", QUVEN_ENV), 0);
  EXPECT_EQ(table.find("one"), nullptr);
  EXPECT_EQ(table.getValue(1), "");
  EXPECT_EQ(table.insert("one", QUVEN_ENV), 1);
  EXPECT_EQ(*table.find("one"), "");
  QUVENKeyValueXAshTable<QUVENStringWithHash, std::string> copy;
  copy.copyFrom(table, QUVEN_ENV);
  EXPECT_EQ(*copy.find("two"), "2");
  copy.clear(QUVEN_ENV);
  EXPECT_EQ(copy.find("two"), nullptr);
  copy.prepare(100, QUVEN_ENV);
  copy.swap(table);
  EXPECT_EQ(*copy.find("two"), "2");
  EXPECT_EQ(table.getNumSlots(), 128);
  copy.deleteMemory(QUVEN_ENV);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENKeyValueXAshTableTest, ReleasesValuesThatHoldMemory) {
  QUVENKeyValueXAshTable<long, QUVENXaRay<double>> table;
  for (long key = 1; key <= 20; ++key) {
    QUVENXaRay<double> value;
    value.setSize(key, QUVEN_ENV);
    table.put(key, std::move(value), QUVEN_ENV);
  }
  QUVENXaRay<double> other;
  other.setSize(3, QUVEN_ENV);
  table.put(20L, std::move(other), QUVEN_ENV);
  EXPECT_EQ(table.find(20L)->getSize(), 3);
  table.remove(19L, QUVEN_ENV);
  QUVENKeyValueXAshTable<long, QUVENXaRay<double>> copy;
  copy.copyFrom(table, QUVEN_ENV);
  EXPECT_EQ(copy.find(18L)->getSize(), 18);
  copy.deleteMemory(QUVEN_ENV);
  table.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(quvenDebugWords.error, 0);
}
