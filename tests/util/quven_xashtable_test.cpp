#include "util/quven_xashtable.h"

#include <random>
#include <string>

#include "support/captured_run.h"
#include "util/quven_string.h"
#include "xrt/xrt_exception.h"

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

}  // namespace

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

TEST_F(QUVENXAshTableTest, PreparesForNoMoreThanTheLargestTable) {
  QUVENObjectIndexXAshTable<long> table;
  env.setBytesBudget(100);
  quvenDebugWords.quiet = 1;
  try {
    table.prepare(1L << 40, QUVEN_ENV);
    FAIL() << "more than the budget was given";
  } catch (const XRTMemoryException& exception) {
    EXPECT_EQ(exception.getBytesAsked(), 0x40000000L * static_cast<long>(sizeof(long)));
  }
  EXPECT_EQ(table.insert(6L, QUVEN_ENV), 1);  // the table is as it was
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
