#include "table/keyed_rows.h"

#include <gtest/gtest.h>

#include <chrono>

namespace vesk {
namespace {

TEST(KeyedRows, FindsEachRowByItsKey) {
  KeyedRows rows(2, 3);
  const double first[] = {1.5, 2.5};
  const double second[] = {3.5, 4.5};
  EXPECT_EQ(rows.add(7, first), KeyedRows::NoRow);
  EXPECT_EQ(rows.add(-7, second), KeyedRows::NoRow);
  EXPECT_EQ(rows.add(7, second), 0U);  // the key already has a row; nothing is added
  EXPECT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows.find(7), 0U);
  EXPECT_EQ(rows.find(-7), 1U);
  EXPECT_EQ(rows.find(8), KeyedRows::NoRow);
  EXPECT_EQ(rows.find(7.5), KeyedRows::NoRow);
  EXPECT_EQ(rows.cellsOf(0)[1], 2.5);
  EXPECT_EQ(rows.cellsOf(1)[0], 3.5);
}

// A single multiplication maps keys at this distance to few slots; adding 200,000 of them once took half a minute.
TEST(KeyedRows, TakesKeysAtAnyDistanceInLinearTime) {
  for (const double distance : {1.0, 4096.0, 2971215073.0}) {
    constexpr std::uint32_t count = 200000;
    const auto start = std::chrono::steady_clock::now();
    KeyedRows rows(1, count);
    for (std::uint32_t i = 0; i < count; ++i) {
      const double cell[] = {static_cast<double>(i)};
      ASSERT_EQ(rows.add(distance * i, cell), KeyedRows::NoRow);
    }
    for (std::uint32_t i = 0; i < count; ++i) ASSERT_EQ(rows.cellsOf(rows.find(distance * i))[0], i);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << distance;
  }
}

}  // namespace
}  // namespace vesk
