#include "kernel/quven_category_numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

constexpr std::int32_t unknown = -2;
using Entry = QUVENCategoryNumbers::Entry;

TEST(QUVENCategoryNumbers, FindNumbersByTheirBits) {
  QUVENCategoryNumbers numbers;
  EXPECT_EQ(numbers.find(0.0), nullptr);
  EXPECT_EQ(numbers.add(0.0, "zero", unknown).index, unknown);
  EXPECT_EQ(numbers.find(-0.0), nullptr);
  numbers.add(-0.0, "minus zero", unknown);
  numbers.add(std::nan(""), "nan", unknown);
  ASSERT_NE(numbers.find(0.0), nullptr);
  EXPECT_EQ(numbers.find(0.0)->text, "zero");
  EXPECT_EQ(numbers.find(-0.0)->text, "minus zero");
  EXPECT_EQ(numbers.find(std::nan(""))->text, "nan");
}

TEST(QUVENCategoryNumbers, KeepEntriesInTheirPlaces) {
  QUVENCategoryNumbers numbers;
  Entry& first = numbers.add(1, "first", unknown);
  first.index = 7;
  for (int i = 2; i <= 4096; ++i) numbers.add(i * 1e9 + 491694229043088.0, std::to_string(i), unknown);
  EXPECT_EQ(numbers.find(1), &first);
  EXPECT_EQ(first.index, 7);
  EXPECT_EQ(first.text, "first");
  for (int i = 2; i <= 4096; ++i) {
    const Entry* entry = numbers.find(i * 1e9 + 491694229043088.0);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->text, std::to_string(i));
  }
  EXPECT_EQ(numbers.find(2), nullptr);
}

TEST(QUVENCategoryNumbers, KeepNoMoreThanTheyHaveRoomFor) {
  QUVENCategoryNumbers numbers;
  for (int i = 1; i <= static_cast<int>(QUVENCategoryNumbers::MostEntries); ++i) {
    numbers.add(i, std::to_string(i), unknown);
  }
  Entry& shared = numbers.add(-1, "one more", unknown);
  EXPECT_EQ(shared.text, "one more");
  shared.index = 3;
  EXPECT_EQ(numbers.find(-1), nullptr);
  EXPECT_EQ(&numbers.add(-2, "another", unknown), &shared);
  EXPECT_EQ(shared.text, "another");
  EXPECT_EQ(shared.index, unknown);
  EXPECT_EQ(numbers.find(4096)->text, "4096");
}

TEST(QUVENCategoryNumbers, ForgetAllIndices) {
  QUVENCategoryNumbers numbers;
  for (int i = 1; i <= 5000; ++i) numbers.add(i, std::to_string(i), i);
  numbers.setAllIndices(unknown);
  for (int i = 1; i <= 4096; ++i) EXPECT_EQ(numbers.find(i)->index, unknown);
}

}  // namespace
