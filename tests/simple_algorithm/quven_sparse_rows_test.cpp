#include "simple_algorithm/quven_sparse_rows.h"

#include <map>
#include <random>

#include "kernel_tools_fixture.h"

namespace {

class QUVENSparseRowsTest : public KernelToolsTest {
 protected:
  void TearDown() override {
    rows.deleteMemory(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }
  void set(std::uint64_t sample, long position, double value) {
    rows.set(rows.insert(sample, QUVEN_ENV), position, value, QUVEN_ENV);
  }
  std::vector<double> row(std::uint64_t sample) const { return rowOf(rows, sample); }
  static std::vector<double> rowOf(const QUVENSparseRows& any, std::uint64_t sample) {
    const auto span = any.getRow(any.find(sample));
    return {span.begin(), span.end()};
  }
  bool hasGaps(std::uint64_t sample) const { return rows.hasGaps(rows.find(sample)); }

  QUVENSparseRows rows;
};

using Row = std::vector<double>;

TEST_F(QUVENSparseRowsTest, SamplesHaveIndicesInTheOrderOfTheirComing) {
  EXPECT_EQ(rows.find(7), 0);
  EXPECT_EQ(rows.insert(7, QUVEN_ENV), 1);
  EXPECT_EQ(rows.insert(~std::uint64_t{0}, QUVEN_ENV), 2);
  EXPECT_EQ(rows.insert(7, QUVEN_ENV), 1);
  EXPECT_EQ(rows.find(7), 1);
  EXPECT_EQ(rows.find(8), 0);
  EXPECT_EQ(row(7), Row());
  EXPECT_FALSE(hasGaps(7));
}

TEST_F(QUVENSparseRowsTest, RowsThatComeOneAfterAnother) {
  for (std::uint64_t sample = 1; sample <= 5; ++sample) {
    for (long i = 1; i <= 4; ++i) set(sample, i, static_cast<double>(10 * sample) + static_cast<double>(i));
  }
  EXPECT_EQ(row(1), (Row{11, 12, 13, 14}));
  EXPECT_EQ(row(5), (Row{51, 52, 53, 54}));
  EXPECT_FALSE(hasGaps(3));
}

TEST_F(QUVENSparseRowsTest, ASecondBlockOfASampleGoesOnWithItsRow) {
  set(1, 1, 11);
  set(2, 1, 21);
  set(1, 2, 12);  // moves behind the row of 2
  set(2, 2, 22);
  set(1, 1, 99);
  EXPECT_EQ(row(1), (Row{99, 12}));
  EXPECT_EQ(row(2), (Row{21, 22}));
  EXPECT_FALSE(hasGaps(1));
}

TEST_F(QUVENSparseRowsTest, GapsAreZeros) {
  set(1, 3, 5);
  EXPECT_EQ(row(1), (Row{0, 0, 5}));
  EXPECT_TRUE(hasGaps(1));
  set(2, 1, 1);
  EXPECT_FALSE(hasGaps(2));
  set(2, 1, 0);
  EXPECT_TRUE(hasGaps(2));
  EXPECT_EQ(row(2), (Row{0}));
}

TEST_F(QUVENSparseRowsTest, AZeroBehindTheEndIsThereAlready) {
  set(1, 1, 5);
  set(1, 2, 0);
  set(1, 9, 0);
  EXPECT_EQ(row(1), (Row{5}));
  EXPECT_FALSE(hasGaps(1));
}

/// The cells behind a row that moved away are used again by nobody: what grows behind the last row is 0.
TEST_F(QUVENSparseRowsTest, WhatARowGrowsIntoIsZero) {
  set(1, 4, 7);
  set(2, 6, 8);
  set(1, 6, 9);
  EXPECT_EQ(row(1), (Row{0, 0, 0, 7, 0, 9}));
  EXPECT_EQ(row(2), (Row{0, 0, 0, 0, 0, 8}));
}

TEST_F(QUVENSparseRowsTest, PositionsHaveLimits) {
  const long index = rows.insert(1, QUVEN_ENV);
  for (const long position : {0L, -1L, QUVENSparseRows::MaxPosition + 1L}) {
    run = capturedRun([&] { rows.set(index, position, 1, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException) << position;
  }
  EXPECT_EQ(row(1), Row());
  rows.set(index, QUVENSparseRows::MaxPosition, 0, QUVEN_ENV);
  EXPECT_EQ(row(1), Row());
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENSparseRowsTest, ACopyIsDeepAndASwapExchanges) {
  set(1, 2, 5);
  QUVENSparseRows copy;
  copy.copyFrom(rows, QUVEN_ENV);
  set(1, 1, 4);
  EXPECT_EQ(rowOf(copy, 1), (Row{0, 5}));
  copy.swap(rows);
  EXPECT_EQ(row(1), (Row{0, 5}));
  EXPECT_EQ(rowOf(copy, 1), (Row{4, 5}));
  EXPECT_TRUE(copy.hasGaps(1));  // it had one; whether it has been filled nobody counts
  copy.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(copy.find(1), 0);
}

TEST_F(QUVENSparseRowsTest, EqualsAMapOfMapsWhateverIsSet) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    const auto below = [&](std::uint64_t limit) { return random() % limit; };
    std::map<std::uint64_t, std::map<long, double>> expected;
    const std::uint64_t numSamples = 1 + below(12);
    for (int i = 0; i < 1500; ++i) {
      const std::uint64_t sample = below(numSamples) << (seed % 2 == 0 ? 40 : 0);
      const long position = 1 + static_cast<long>(below(seed % 3 == 0 ? 5 : 40));
      const double value = below(4) == 0 ? 0 : static_cast<double>(below(1000)) - 500.5;
      set(sample, position, value);
      expected[sample][position] = value;
      if (i % 50 != 0) continue;
      for (const auto& [number, cells] : expected) {
        const Row actual = row(number);
        Row whole(static_cast<std::size_t>(cells.rbegin()->first));
        for (const auto& [place, cell] : cells) whole[static_cast<std::size_t>(place - 1)] = cell;
        ASSERT_LE(actual.size(), whole.size());
        bool hasZero = false;
        for (std::size_t k = 0; k < whole.size(); ++k) {
          ASSERT_EQ(k < actual.size() ? actual[k] : 0, whole[k]) << number << ' ' << k;
          hasZero = hasZero || (k < actual.size() && whole[k] == 0);
        }
        ASSERT_TRUE(!hasZero || hasGaps(number)) << number;
      }
    }
    rows.deleteMemory(QUVEN_ENV);
  }
}

}  // namespace
