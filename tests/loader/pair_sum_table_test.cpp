#include "pair_sum_table.h"

#include <cmath>
#include <limits>
#include <map>
#include <random>

#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

double& weight(PairSumTable& table, std::uint32_t row, double callee) {
  return table.weight(row, callee, PairSumTable::hash(row, callee));
}

TEST(PairSumTable, AddsWeightsByRowAndCallee) {
  PairSumTable table;
  weight(table, 0, 5) += 2;
  weight(table, 1, 5) += 1;
  weight(table, 0, 3) += 1;
  EXPECT_EQ(weight(table, 0, 5) += 3, 5);
  EXPECT_EQ(table.size(), 3U);
  table.order(3);
  ASSERT_EQ(table.pairs(0).size(), 2U);
  EXPECT_EQ(table.pairs(0)[0].callee, 3);
  EXPECT_EQ(table.pairs(0)[1].callee, 5);
  EXPECT_EQ(table.pairs(0)[1].weight, 5);
  EXPECT_TRUE(table.hasMap(1));
  EXPECT_FALSE(table.hasMap(2));
}

// Two NaN with different bits used to be two callees: they were equal but had different hashes.
TEST(PairSumTable, TakesEveryNaNForOneCallee) {
  PairSumTable table;
  const double number = std::numeric_limits<double>::quiet_NaN();
  weight(table, 0, number) += 2;
  weight(table, 0, -number) += 3;
  weight(table, 0, std::nan("12")) += 4;
  EXPECT_EQ(table.size(), 1U);
  EXPECT_EQ(weight(table, 0, number), 9);
}

TEST(PairSumTable, KnowsRowsWithAnEmptyMap) {
  PairSumTable table;
  table.makeMap(1);
  table.order(2);
  EXPECT_FALSE(table.hasMap(0));
  EXPECT_TRUE(table.hasMap(1));
  EXPECT_TRUE(table.pairs(1).empty());
}

TEST(PairSumTable, EqualsAnOrderedMapOverRandomRecords) {
  std::mt19937_64 random(4);
  PairSumTable table;
  std::map<std::uint32_t, std::map<double, double>> literal;
  for (int i = 0; i < 300000; ++i) {
    const auto row = static_cast<std::uint32_t>(random() % 500);
    const double callee = static_cast<double>(random() % 400) - 5.0;
    const double amount = static_cast<double>(random() % 5);
    weight(table, row, callee) += amount;
    literal[row][callee] += amount;
  }
  table.order(501);
  EXPECT_FALSE(table.hasMap(500));
  for (const auto& [row, callees] : literal) {
    const auto pairs = table.pairs(row);
    ASSERT_EQ(pairs.size(), callees.size());
    auto expected = callees.begin();
    for (const CalleeWeight& pair : pairs) {
      EXPECT_EQ(pair.callee, expected->first);
      EXPECT_EQ(pair.weight, expected->second);
      ++expected;
    }
  }
}

}  // namespace
}  // namespace vesk_loader::testing
