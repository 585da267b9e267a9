#include "control/quven_partition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

TEST(PartitionOfKey, FollowsTheFormula) {
  const double phi = (std::sqrt(5.0) - 1.0) / 2.0;
  for (const std::uint32_t n : {1U, 2U, 3U, 7U, 10U, 99U, 100U}) {
    for (std::uint64_t key = 0; key < 20000; key += 13) {
      const std::uint64_t k = key % 7919;
      const double x = static_cast<double>(k) * phi;
      const auto b = static_cast<std::uint64_t>(std::floor(n * (x - std::floor(x))));
      EXPECT_EQ(partition_of_key(key, n), (((k % n) * 17) + b) % n);
      EXPECT_EQ(QUVENPartitionTest(n).partitionOf(static_cast<double>(key)), partition_of_key(key, n));
      if (n > 3) break;  // one key is enough for the cost of a table of remainders
    }
  }
}

TEST(PartitionOfKey, ByHand) {
  // k = 1: x = 0.618..., b = floor(3 * 0.618) = 1; (1 * 17 + 1) mod 3 = 0
  EXPECT_EQ(partition_of_key(1, 3), 0U);
  // k = 2: x = 1.236..., b = floor(3 * 0.236) = 0; (2 * 17 + 0) mod 3 = 1
  EXPECT_EQ(partition_of_key(2, 3), 1U);
  // k = 5: x = 3.090..., b = floor(3 * 0.090) = 0; (2 * 17 + 0) mod 3 = 1
  EXPECT_EQ(partition_of_key(5, 3), 1U);
}

TEST(PartitionOfKey, IsTheSameForKey7919AndKey0) {
  for (std::uint32_t n = 1; n <= 100; ++n) EXPECT_EQ(partition_of_key(7919, n), partition_of_key(0, n));
}

TEST(PartitionOfKey, UsesEveryPartition) {
  for (const std::uint32_t n : {2U, 3U, 10U, 100U}) {
    std::vector<int> counts(n, 0);
    for (std::uint64_t key = 0; key < 7919; ++key) {
      const std::uint32_t partition = partition_of_key(key, n);
      ASSERT_LT(partition, n);
      ++counts[partition];
    }
    for (const int count : counts) EXPECT_GT(count, 0);
  }
}

TEST(KeyAsInteger, ConvertsTheWholeRange) {
  EXPECT_EQ(key_as_integer(0.0), 0U);
  EXPECT_EQ(key_as_integer(-0.5), 0U);
  EXPECT_EQ(key_as_integer(1.99), 1U);
  EXPECT_EQ(key_as_integer(-1.0), ~std::uint64_t{0});
  EXPECT_EQ(key_as_integer(-5.7), ~std::uint64_t{0} - 4);
  EXPECT_EQ(key_as_integer(9223372036854775808.0), std::uint64_t{1} << 63);
  EXPECT_EQ(key_as_integer(9223372036854777856.0), (std::uint64_t{1} << 63) + 2048);
  EXPECT_EQ(key_as_integer(18446744073709549568.0), 18446744073709549568U);
  EXPECT_EQ(key_as_integer(18446744073709551616.0), ~std::uint64_t{0});
  EXPECT_EQ(key_as_integer(std::numeric_limits<double>::infinity()), ~std::uint64_t{0});
  EXPECT_EQ(key_as_integer(std::numeric_limits<double>::quiet_NaN()), 0U);
}

}  // namespace
