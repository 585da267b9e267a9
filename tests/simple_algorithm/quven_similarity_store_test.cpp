#include "simple_algorithm/quven_similarity_store.h"

#include <map>
#include <random>

#include "kernel_tools_fixture.h"
#include "support/failing_allocation.h"

namespace {

using ::testing::HasSubstr;
using Cells = std::map<std::pair<std::int32_t, std::int32_t>, double>;

class QUVENSimilarityStoreTest : public KernelToolsTest {
 protected:
  void TearDown() override {
    store.deleteMemory(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }
  void set(std::int32_t column, std::int32_t row, double value) { store.set(column, row, value, QUVEN_ENV); }
  double get(std::int32_t column, std::int32_t row) const {
    const double* value = store.find(column, row, QUVEN_ENV);
    return value == nullptr ? -1 : *value;
  }
  /// Column, row and value of all cells.
  static std::vector<std::tuple<std::int32_t, std::int32_t, double>> listOf(const QUVENSimilarityStore& any,
                                                                            QUVENEnv* env) {
    std::vector<std::tuple<std::int32_t, std::int32_t, double>> list;
    for (const auto& cell : any.getCells(QUVEN_ENV)) list.emplace_back(cell.column, cell.row, cell.value);
    return list;
  }

  QUVENSimilarityStore store;
};

using List = std::vector<std::tuple<std::int32_t, std::int32_t, double>>;

TEST_F(QUVENSimilarityStoreTest, AnEmptyOneHasNothing) {
  EXPECT_EQ(listOf(store, env), List());
  EXPECT_EQ(store.find(1, 1, QUVEN_ENV), nullptr);
  EXPECT_EQ(store.getNumColumns(QUVEN_ENV), 0);
}

TEST_F(QUVENSimilarityStoreTest, CellsStandByColumnAndRow) {
  set(2, 1, 0.5);
  set(1, 3, 0.25);
  set(1, 2, 0);
  set(7, 1, -1);
  EXPECT_EQ(listOf(store, env), (List{{1, 2, 0}, {1, 3, 0.25}, {2, 1, 0.5}, {7, 1, -1}}));
  EXPECT_EQ(store.getNumColumns(QUVEN_ENV), 3);
  EXPECT_EQ(get(1, 2), 0);  // a 0 that was set is there
  EXPECT_EQ(store.find(1, 1, QUVEN_ENV), nullptr);
  EXPECT_EQ(store.find(3, 1, QUVEN_ENV), nullptr);
  EXPECT_EQ(store.find(8, 1, QUVEN_ENV), nullptr);
}

TEST_F(QUVENSimilarityStoreTest, ALaterValueOverwrites) {
  set(1, 1, 1);
  set(1, 1, 2);
  EXPECT_EQ(listOf(store, env), (List{{1, 1, 2}}));
  set(2, 1, 5);
  set(1, 1, 3);
  set(1, 1, 4);
  EXPECT_EQ(listOf(store, env), (List{{1, 1, 4}, {2, 1, 5}}));
  set(1, 2, 9);  // between looks
  EXPECT_EQ(get(1, 2), 9);
  EXPECT_EQ(get(1, 1), 4);
}

TEST_F(QUVENSimilarityStoreTest, EqualsAMapWhateverTheOrder) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Cells expected;
    const unsigned columns = 1 + random() % 30;
    const unsigned rows = 1 + random() % 30;
    for (int i = 0; i < 600; ++i) {
      const auto column = static_cast<std::int32_t>(1 + random() % columns);
      // Rows mostly come in their order.
      const auto row = static_cast<std::int32_t>(1 + (seed % 2 == 0 ? static_cast<unsigned>(i) / 20 : random()) % rows);
      const double value = static_cast<double>(random() % 1000);
      set(column, row, value);
      expected[{column, row}] = value;
      if (random() % 90 != 0) continue;
      ASSERT_EQ(get(column, row), value);
    }
    List list;
    std::int32_t numColumns = 0;
    for (const auto& [cell, value] : expected) {
      numColumns += list.empty() || std::get<0>(list.back()) != cell.first ? 1 : 0;
      list.emplace_back(cell.first, cell.second, value);
    }
    ASSERT_EQ(listOf(store, env), list);
    ASSERT_EQ(store.getNumColumns(QUVEN_ENV), numColumns);
    for (std::int32_t column = 0; column <= static_cast<std::int32_t>(columns) + 1; ++column) {
      for (std::int32_t row = 0; row <= static_cast<std::int32_t>(rows) + 1; ++row) {
        const auto found = expected.find({column, row});
        ASSERT_EQ(get(column, row), found == expected.end() ? -1 : found->second);
      }
    }
    store.deleteMemory(QUVEN_ENV);
    EXPECT_EQ(store.getNumColumns(QUVEN_ENV), 0);
  }
}

TEST_F(QUVENSimilarityStoreTest, ACopyIsDeepAndASwapExchanges) {
  set(2, 1, 5);
  set(1, 1, 4);
  QUVENSimilarityStore copy;
  copy.copyFrom(store, QUVEN_ENV);
  copy.copyFrom(copy, QUVEN_ENV);
  set(1, 1, 6);
  EXPECT_EQ(listOf(copy, env), (List{{1, 1, 4}, {2, 1, 5}}));
  copy.swap(store);
  EXPECT_EQ(listOf(copy, env), (List{{1, 1, 6}, {2, 1, 5}}));
  EXPECT_EQ(listOf(store, env), (List{{1, 1, 4}, {2, 1, 5}}));
  copy.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENSimilarityStoreTest, WithoutMemoryForTheOrderNothingIsLost) {
  set(2, 1, 5);
  set(1, 1, 4);
  set(2, 1, 6);
  for (long allowed = 0; allowed < 2; ++allowed) {
    run = capturedRun([&] {
      const FailingAllocation failing(allowed);
      store.getCells(QUVEN_ENV);
    });
    EXPECT_TRUE(run.threwMemoryException) << allowed;
    EXPECT_THAT(run.out, HasSubstr("Cannot allocate array memory"));
  }
  EXPECT_EQ(listOf(store, env), (List{{1, 1, 4}, {2, 1, 6}}));
}

}  // namespace
