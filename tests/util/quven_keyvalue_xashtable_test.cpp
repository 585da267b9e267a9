#include "util/quven_keyvalue_xashtable.h"

#include <map>
#include <random>
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

TEST_F(QUVENKeyValueXAshTableTest, AgreesWithAMapThroughRandomOperationsAndExhaustedMemory) {
  struct Known {
    long index;
    std::string value;
  };
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 generator(seed);
    const auto below = [&](unsigned limit) { return generator() % limit; };
    QUVENKeyValueXAshTable<QUVENStringWithHash, std::string> table;
    std::map<std::string, Known> expected;
    const unsigned range = 2 + below(300);
    for (int i = 0; i < 700; ++i) {
      const std::string key = "the key with the number " + std::to_string(below(range));
      const std::string value = "the value of the step " + std::to_string(i);
      const unsigned operation = below(20);
      if (operation == 19 && below(20) == 0) {
        table.clear(QUVEN_ENV);
        expected.clear();
        if (below(2) == 0) table.prepare(static_cast<long>(below(100)), QUVEN_ENV);
      } else if (operation == 18 && below(10) == 0) {
        table.expandXAshTable(QUVEN_ENV);
      } else if (operation == 17 && below(10) == 0) {
        QUVENKeyValueXAshTable<QUVENStringWithHash, std::string> copy;
        copy.copyFrom(table, QUVEN_ENV);
        table.swap(copy);
        copy.deleteMemory(QUVEN_ENV);
      } else if (operation < 6) {
        const auto known = expected.find(key);
        ASSERT_EQ(table.remove(key, QUVEN_ENV), known == expected.end() ? 0 : known->second.index);
        if (known != expected.end()) expected.erase(known);
      } else {
        long index = 0;
        quvenDebugWords.quiet = 1;
        const bool failed = capturedRun([&] {
                              std::string given = value;
                              const FailingAllocation failure(below(4));
                              index = table.put(key, std::move(given), QUVEN_ENV);
                            }).threwMemoryException;
        quvenDebugWords.quiet = 0;
        const auto known = expected.find(key);
        if (known != expected.end()) {
          ASSERT_FALSE(failed);  // there is nothing to allocate
          ASSERT_EQ(index, known->second.index);
          known->second.value = value;
        } else if (!failed) {
          for (const auto& [other, entry] : expected) ASSERT_NE(index, entry.index) << other;
          expected[key] = {index, value};
        }
      }
      ASSERT_EQ(table.getLiveCount(), static_cast<long>(expected.size())) << "step " << i;
      const std::string* found = table.find(key);
      const auto known = expected.find(key);
      ASSERT_EQ(found != nullptr, known != expected.end()) << "step " << i;
      if (found != nullptr) {
        ASSERT_EQ(*found, known->second.value) << "step " << i;
      }
    }
    for (const auto& [key, entry] : expected) {
      ASSERT_EQ(table.getIndex(key), entry.index);
      ASSERT_EQ(table.getValue(entry.index), entry.value);
    }
    std::size_t live = 0;
    for (long i = table.initIteration(); !table.finishIteration(i); ++i, ++live) {
      ASSERT_EQ(expected.at(table.getKey(i).str()).index, i);
    }
    EXPECT_EQ(live, expected.size());
    table.deleteMemory(QUVEN_ENV);
    ASSERT_EQ(env.getBytesInUse(), 0);
  }
}
