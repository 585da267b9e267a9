#include "util/quven_xashtable_params.h"

#include "support/captured_run.h"
#include "util/quven_hash.h"

namespace {

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
