#include "util/quven_xashtable.h"

#include <map>
#include <random>
#include <string>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_string.h"

namespace {

/// The same table as a literal list of its rules, for integer keys.
class SlowTable {
 public:
  explicit SlowTable(long n) { calcHashParams(n); }

  long insert(long key) {
    const long found = find(key);
    if (found >= 0) return slots[found].index;
    const long at = insertionIndex(hashIntegerKey(key));
    long index = slots[at].index;
    if (index < 0) {
      index = -index;
    } else {
      keys.push_back(0);
      index = static_cast<long>(keys.size());
    }
    keys[index - 1] = key;
    slots[at] = {hashIntegerKey(key), index};
    ++liveCount;
    return index;
  }

  long remove(long key) {
    const long found = find(key);
    if (found < 0) return 0;
    const long index = slots[found].index;
    keys[index - 1] = 0;
    slots[found].index = -index;
    --liveCount;
    return index;
  }

  long getIndex(long key) const {
    const long found = find(key);
    return found < 0 ? 0 : slots[found].index;
  }

  long stepsUsed = 0;
  std::vector<long> keys;

 private:
  struct Slot {
    std::uint32_t hash = 0;
    long index = 0;
  };

  std::vector<long> walk(std::uint32_t hash) const {
    const std::uint32_t mask = static_cast<std::uint32_t>(slots.size()) - 1;
    const std::uint32_t a = (((hash >> shift2) & ~2U) | 5U) & mask;
    const std::uint32_t c = (2 * hash + 1) & mask;
    std::vector<long> order;
    std::uint32_t i = (hash >> shift1) & mask;
    for (std::size_t k = 0; k < slots.size(); ++k, i = (i * a + c) & mask) order.push_back(i);
    return order;
  }

  long find(long key) const {
    const std::vector<long> order = walk(hashIntegerKey(key));
    for (long k = 0; k < stepsUsed; ++k) {
      const Slot& slot = slots[order[k]];
      if (slot.index == 0) return -1;
      if (slot.index > 0 && keys[slot.index - 1] == key) return order[k];
    }
    return -1;
  }

  long insertionIndex(std::uint32_t hash) {
    for (;;) {
      const std::vector<long> order = walk(hash);
      for (long k = 0; k < stepsUsed; ++k) {
        if (slots[order[k]].index < 1) return order[k];
      }
      if (liveCount < static_cast<long>(slots.size())) {
        long count = stepsUsed;
        while (slots[order[count]].index > 0) ++count;
        ++count;
        if (count <= maxSteps || liveCount * 2 < static_cast<long>(slots.size())) {
          stepsUsed = count;
          return order[count - 1];
        }
      }
      reHash();
    }
  }

  void calcHashParams(long n) {
    long size = 2;
    shift1 = 31;
    maxSteps = 2;
    for (; size < n; size *= 2, --shift1, ++maxSteps) {
    }
    slots.assign(size, Slot());
    finish();
  }
  void finish() {
    shift2 = shift1 >= 5 ? shift1 / 2 - 2 : 0;
    stepsUsed = 0;
  }

  void reHash() {
    const std::vector<Slot> old = slots;
    slots.assign(2 * old.size(), Slot());
    --shift1;
    ++maxSteps;
    finish();
    liveCount = 0;
    for (const Slot& slot : old) {
      if (slot.index > 0) slots[insertionIndex(slot.hash)] = slot, ++liveCount;
    }
    for (const Slot& slot : old) {
      if (slot.index >= 0) continue;
      for (const long at : walk(slot.hash)) {
        if (slots[at].index == 0) {
          slots[at] = slot;
          break;
        }
      }
    }
  }

  std::vector<Slot> slots;
  long liveCount = 0;
  int shift1 = 0;
  int shift2 = 0;
  long maxSteps = 0;
};

class QUVENXAshTableTest : public testing::Test {
 protected:
  void SetUp() override {
    quvenDebugWords = QUVENDebugWords();
    env.activate();
  }
  void TearDown() override { EXPECT_EQ(env.getBytesInUse(), 0); }

  QUVENEnv env;
};

/// Stands for the slots of a table that no machine of a developer holds.
struct HugeSlots {
  long size;
  long getSize() const { return size; }
};

}  // namespace

TEST(QUVENXAshTableParams, FollowTheNumberOfKeys) {
  struct Row {
    long keys, slots, shift1, shift2, maxSteps;
  };
  // slots is the power of two that is at least 2 and at least keys; shift1 = 32 - log2(slots).
  constexpr Row rows[] = {{0, 2, 31, 13, 2},
                          {1, 2, 31, 13, 2},
                          {2, 2, 31, 13, 2},
                          {3, 4, 30, 13, 3},
                          {4, 4, 30, 13, 3},
                          {5, 8, 29, 12, 4},
                          {1000, 1024, 22, 9, 11},
                          {1L << 27, 1L << 27, 5, 0, 28},
                          {1L << 28, 1L << 28, 4, 0, 29},
                          {0x40000000L, 0x40000000L, 2, 0, 31}};
  for (const Row& row : rows) {
    QUVENXAshTableParams params;
    params.setStepsUsed(3);
    EXPECT_EQ(params.calcForKeys(row.keys), row.slots) << row.keys;
    EXPECT_EQ(params.getShift1(), row.shift1) << row.keys;
    EXPECT_EQ(params.getShift2(), row.shift2) << row.keys;
    EXPECT_EQ(params.getMask(), row.slots - 1) << row.keys;
    EXPECT_EQ(params.getMaxSteps(), row.maxSteps) << row.keys;
    EXPECT_EQ(params.getStepsUsed(), 0) << row.keys;
  }
}

TEST(QUVENXAshTableParams, DoubleUpToTheLimitAndFailBeyond) {
  QUVENXAshTableParams params;
  params.calcForKeys(0x20000000L);
  EXPECT_EQ(params.calcForTwice(HugeSlots{0x20000000L}), 0x40000000L);
  EXPECT_EQ(params.getShift1(), 2);
  EXPECT_EQ(params.getMaxSteps(), 31);
  EXPECT_EQ(params.getMask(), 0x3fffffffL);
  const CapturedRun run = capturedRun([&] { params.calcForTwice(HugeSlots{0x40000000L}); });
  EXPECT_THAT(run.out, testing::HasSubstr("\n    ASSERTION FAILED (oldHTable.getSize() < 0x40000000L)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(params.getMask(), 0x3fffffffL);
}

TEST(QUVENXAshTableParams, SearchMeetsEverySlotOnce) {
  for (const long slots : {2L, 4L, 8L, 64L, 1024L}) {
    QUVENXAshTableParams params;
    params.calcForKeys(slots);
    for (const long key : {0L, 1L, 2L, -7L, 123456789L}) {
      QUVENXAshTableParams::Search search(params, hashIntegerKey(key));
      std::vector<bool> met(static_cast<std::size_t>(slots) + 1);
      for (long i = 0; i < slots; ++i, search.step()) {
        ASSERT_GE(search.getSlot(), 1);
        ASSERT_LE(search.getSlot(), slots);
        EXPECT_FALSE(met[static_cast<std::size_t>(search.getSlot())]) << slots << " " << key;
        met[static_cast<std::size_t>(search.getSlot())] = true;
      }
    }
  }
}

TEST_F(QUVENXAshTableTest, FindsNothingAtFirst) {
  QUVENObjectIndexXAshTable<long> table;
  EXPECT_EQ(table.getIndex(1L), 0);
  EXPECT_EQ(table.remove(1L, QUVEN_ENV), 0);
  EXPECT_EQ(table.getNumSlots(), 0);
}

TEST_F(QUVENXAshTableTest, GivesDenseIndicesFromOne) {
  QUVENObjectIndexXAshTable<long> table;
  EXPECT_EQ(table.insert(50L, QUVEN_ENV), 1);
  EXPECT_EQ(table.insert(-3L, QUVEN_ENV), 2);
  EXPECT_EQ(table.insert(50L, QUVEN_ENV), 1);
  EXPECT_EQ(table.getIndex(-3L), 2);
  EXPECT_EQ(table.getKey(2), -3);
  EXPECT_EQ(table.getLiveCount(), 2);
  EXPECT_EQ(table.getNumKeys(), 2);
  EXPECT_EQ(table.getNumSlots(), 2);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, RemovedKeyBeforeALiveKeyDoesNotHideIt) {
  QUVENObjectIndexXAshTable<long> table;
  table.prepare(8, QUVEN_ENV);
  EXPECT_EQ(table.insert(1L, QUVEN_ENV), 1);
  EXPECT_EQ(table.insert(4L, QUVEN_ENV), 2);
  EXPECT_EQ(table.remove(1L, QUVEN_ENV), 1);
  EXPECT_EQ(table.insert(4L, QUVEN_ENV), 2);
  EXPECT_EQ(table.getLiveCount(), 1);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, RemovedAndInsertedKeyGetsItsDenseIndexBack) {
  QUVENObjectIndexXAshTable<long> table;
  table.prepare(8, QUVEN_ENV);
  for (const long key : {10L, 20L, 30L}) table.insert(key, QUVEN_ENV);
  EXPECT_EQ(table.remove(20L, QUVEN_ENV), 2);
  EXPECT_EQ(table.getIndex(20L), 0);
  EXPECT_EQ(table.getLiveCount(), 2);
  EXPECT_EQ(table.getNumKeys(), 3);
  EXPECT_EQ(table.getKey(2), 0);
  EXPECT_EQ(table.insert(20L, QUVEN_ENV), 2);
  EXPECT_EQ(table.getKey(2), 20);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, RemovedKeyKeepsItsDenseIndexWhenTheTableGrows) {
  QUVENObjectIndexXAshTable<long> table;
  table.prepare(4, QUVEN_ENV);
  for (const long key : {10L, 20L, 30L}) table.insert(key, QUVEN_ENV);
  table.remove(20L, QUVEN_ENV);
  // Found by the model: six more keys make sixteen slots, and none of them meets the slot of the removed key.
  std::vector<long> given;
  for (const long key : {40L, 50L, 60L, 70L, 80L, 90L}) given.push_back(table.insert(key, QUVEN_ENV));
  EXPECT_EQ(given, (std::vector<long>{4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(table.getNumSlots(), 16);
  EXPECT_EQ(table.insert(20L, QUVEN_ENV), 2);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, IterationSeesAResetKeyAtARemovedIndex) {
  QUVENObjectIndexXAshTable<long> table;
  for (const long key : {5L, 0L, 7L, 8L}) table.insert(key, QUVEN_ENV);
  table.remove(5L, QUVEN_ENV);
  table.remove(8L, QUVEN_ENV);
  EXPECT_EQ(table.getKey(1), 0);
  std::vector<long> live;
  for (long i = table.initIteration(); !table.finishIteration(i); ++i) live.push_back(table.getKey(i));
  EXPECT_EQ(live, (std::vector<long>{0, 7}));
  EXPECT_FALSE(table.isLive(1));
  EXPECT_TRUE(table.isLive(2));
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, FollowsARecordedRun) {
  // From a separate program that follows the rules with lists.
  const std::vector<long> expected = {1,  2, 3, 0,  4,  5,  5,  4,  6, 3, 2, 1,  7, 8, 1,  0, 4, 9, 10, 0, 11, 12,
                                      10, 9, 4, 9,  1,  8,  7,  13, 2, 3, 6, 14, 5, 5, 14, 6, 3, 2, 13, 7, 8,  1,
                                      9,  4, 1, 10, 12, 11, 12, 0,  1, 4, 9, 0,  8, 7, 13, 0, 3, 6, 14, 0};
  QUVENObjectIndexXAshTable<long> table;
  std::vector<long> given;
  for (long i = 0; i < 64; ++i) {
    const long key = (i * i * 31 + i * 7) % 29;
    given.push_back(i % 4 == 3 ? table.remove(key, QUVEN_ENV) : table.insert(key, QUVEN_ENV));
  }
  EXPECT_EQ(given, expected);
  EXPECT_EQ(table.getNumSlots(), 16);
  EXPECT_EQ(table.getParams().getStepsUsed(), 4);
  EXPECT_EQ(table.getLiveCount(), 11);
  EXPECT_EQ(table.getNumKeys(), 14);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, BoundsItsSearchesByTheLongestChain) {
  QUVENObjectIndexXAshTable<long> table;
  for (long i = 1; i <= 1000; ++i) table.insert(i * i, QUVEN_ENV);
  // From the same separate program.
  EXPECT_EQ(table.getNumSlots(), 2048);
  EXPECT_EQ(table.getParams().getStepsUsed(), 8);
  EXPECT_EQ(table.getParams().getMaxSteps(), 12);
  for (long i = 1; i <= 1000; ++i) ASSERT_EQ(table.getIndex(i * i), i);
  EXPECT_EQ(table.getIndex(2L), 0);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, AgreesWithTheSlowTable) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 generator(seed);
    const long room = static_cast<long>(generator() % 40);
    const long range = 2 + static_cast<long>(generator() % 300);
    QUVENObjectIndexXAshTable<long> table;
    table.prepare(room, QUVEN_ENV);
    SlowTable slow(room);
    for (int i = 0; i < 1500; ++i) {
      const long key = static_cast<long>(generator() % static_cast<unsigned long>(range)) - range / 3;
      switch (generator() % 4) {
        case 0:
          ASSERT_EQ(table.remove(key, QUVEN_ENV), slow.remove(key)) << "seed " << seed << " step " << i;
          break;
        case 1:
          ASSERT_EQ(table.getIndex(key), slow.getIndex(key)) << "seed " << seed << " step " << i;
          break;
        default:
          ASSERT_EQ(table.insert(key, QUVEN_ENV), slow.insert(key)) << "seed " << seed << " step " << i;
      }
      ASSERT_EQ(table.getParams().getStepsUsed(), slow.stepsUsed) << "seed " << seed << " step " << i;
    }
    ASSERT_EQ(table.getNumKeys(), static_cast<long>(slow.keys.size()));
    for (long i = 1; i <= table.getNumKeys(); ++i)
      EXPECT_EQ(table.getKey(i), slow.keys[static_cast<std::size_t>(i - 1)]);
    table.deleteMemory(QUVEN_ENV);
  }
}

TEST_F(QUVENXAshTableTest, ExpandsOnDemand) {
  QUVENObjectIndexXAshTable<long> table;
  table.expandXAshTable(QUVEN_ENV);
  EXPECT_EQ(table.getNumSlots(), 2);
  table.insert(6L, QUVEN_ENV);
  table.expandXAshTable(QUVEN_ENV);
  table.expandXAshTable(QUVEN_ENV);
  EXPECT_EQ(table.getNumSlots(), 8);
  EXPECT_EQ(table.getIndex(6L), 1);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, PreparesOnlyAnEmptyTable) {
  QUVENObjectIndexXAshTable<long> table;
  table.prepare(100, QUVEN_ENV);
  EXPECT_EQ(table.getNumSlots(), 128);
  table.insert(6L, QUVEN_ENV);
  EXPECT_TRUE(capturedRun([&] { table.prepare(3, QUVEN_ENV); }).threwLibraryException);
  EXPECT_EQ(table.getIndex(6L), 1);
  table.clear(QUVEN_ENV);
  EXPECT_EQ(table.getIndex(6L), 0);
  EXPECT_EQ(table.insert(7L, QUVEN_ENV), 1);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, IsKeyedByStringsAndAskedWithTexts) {
  QUVENObjectIndexXAshTable<QUVENStringWithHash> table;
  EXPECT_EQ(table.insert(QUVENStringWithHash("first"), QUVEN_ENV), 1);
  EXPECT_EQ(table.insert(std::string_view("second"), QUVEN_ENV), 2);
  EXPECT_EQ(table.getIndex("first"), 1);
  EXPECT_EQ(table.getIndex(QUVENStringWithHash("second")), 2);
  EXPECT_EQ(table.getIndex("third"), 0);
  EXPECT_EQ(table.remove("first", QUVEN_ENV), 1);
  EXPECT_EQ(table.getKey(1), "");
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, CopiesMovesAndEmptiesItself) {
  QUVENObjectIndexXAshTable<QUVENStringWithHash> table;
  for (int i = 1; i <= 50; ++i) table.insert(QUVENStringWithHash("key " + std::to_string(i)), QUVEN_ENV);
  table.remove("key 7", QUVEN_ENV);
  QUVENObjectIndexXAshTable<QUVENStringWithHash> copy;
  copy.insert(QUVENStringWithHash("old"), QUVEN_ENV);
  copy.copyFrom(table, QUVEN_ENV);
  EXPECT_EQ(copy.getIndex("key 50"), 50);
  EXPECT_EQ(copy.getIndex("old"), 0);
  EXPECT_EQ(copy.insert(QUVENStringWithHash("key 7"), QUVEN_ENV), 7);
  EXPECT_EQ(table.getIndex("key 7"), 0);
  QUVENObjectIndexXAshTable<QUVENStringWithHash> moved(std::move(table));
  EXPECT_EQ(moved.getIndex("key 50"), 50);
  EXPECT_EQ(table.getIndex("key 50"), 0);  // NOLINT(bugprone-use-after-move): empty by contract
  table = std::move(copy);
  EXPECT_EQ(table.getIndex("key 7"), 7);
  moved.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(moved.getIndex("key 50"), 0);
  table.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXAshTableTest, FailedInsertionLeavesTheTableAsItWas) {
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

TEST_F(QUVENXAshTableTest, KeepsAValueForEachKey) {
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

TEST_F(QUVENXAshTableTest, ReleasesValuesThatHoldMemory) {
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
