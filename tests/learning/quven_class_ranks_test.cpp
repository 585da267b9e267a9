#include "learning/quven_class_ranks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "util/quven_env.h"

namespace {

class QUVENClassRanksTest : public testing::Test {
 protected:
  QUVENClassRanksTest() { environment.activate(); }

  struct Record {
    double prediction;
    bool isPositive;
  };
  static double areaOfPairs(const std::vector<Record>& records) {
    double pairs = 0;
    double right = 0;
    for (const Record& positive : records) {
      for (const Record& negative : records) {
        if (!positive.isPositive || negative.isPositive) continue;
        ++pairs;
        right += positive.prediction > negative.prediction ? 1 : positive.prediction == negative.prediction ? 0.5 : 0;
      }
    }
    return right / pairs;
  }
  void fill(QUVENClassRanks& ranks, const std::vector<Record>& records) {
    for (const Record& record : records) ranks.add(record.prediction, record.isPositive, QUVEN_ENV);
    ranks.sortIn(QUVEN_ENV);
  }
  /// Random records with many equal predictions.
  static std::vector<Record> records(int count, int seed) {
    std::vector<Record> all;
    for (int i = 0; i < count; ++i) {
      const int drawn = (i * 7919 + seed * 104729) % 1009;
      all.push_back({static_cast<double>(drawn % 23) - 5.5, drawn % 5 < 2 + drawn % 23 / 10});
    }
    return all;
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

TEST_F(QUVENClassRanksTest, AreaByHand) {
  QUVENClassRanks ranks;
  fill(ranks, {{0.9, true}, {0.8, false}, {0.7, true}, {0.7, false}, {0.1, false}});
  // Of the 6 pairs, the positive record at 0.9 wins 3. That at 0.7 wins the one with 0.1, half of the one with 0.7, and
  // loses the one with 0.8.
  EXPECT_EQ(ranks.getArea(), 4.5 / 6);
  EXPECT_EQ(ranks.getNumPredictions(), 4);
  ranks.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENClassRanksTest, AreaOfManyRecordsIsThatOfAllPairs) {
  const std::vector<Record> all = records(700, 1);
  QUVENClassRanks ranks;
  fill(ranks, all);
  EXPECT_DOUBLE_EQ(ranks.getArea(), areaOfPairs(all));
  ranks.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENClassRanksTest, MergedCountsHaveTheAreaOfAllRecords) {
  const std::vector<Record> all = records(500, 2);
  QUVENClassRanks whole;
  fill(whole, all);
  QUVENClassRanks first;
  QUVENClassRanks second;
  fill(first, {all.begin(), all.begin() + 130});
  fill(second, {all.begin() + 130, all.end()});
  first.merge(second, QUVEN_ENV);
  EXPECT_EQ(first.getArea(), whole.getArea());
  EXPECT_EQ(first.getNumPredictions(), whole.getNumPredictions());
  const double area = first.getArea();
  QUVENClassRanks empty;
  first.merge(empty, QUVEN_ENV);
  EXPECT_EQ(first.getArea(), area);
  empty.merge(first, QUVEN_ENV);
  EXPECT_EQ(empty.getArea(), area);
  for (QUVENClassRanks* ranks : {&whole, &first, &second, &empty}) ranks->destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENClassRanksTest, SortsInAfterManyRecords) {
  QUVENClassRanks ranks;
  constexpr int count = 200000;
  for (int i = 0; i < count; ++i) ranks.add(i % 1000, i % 1000 >= 500, QUVEN_ENV);
  ranks.sortIn(QUVEN_ENV);
  EXPECT_EQ(ranks.getArea(), 1);
  EXPECT_EQ(ranks.getNumPredictions(), 1000);
  ranks.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENClassRanksTest, WithoutBothClassesThereIsNoArea) {
  QUVENClassRanks ranks;
  EXPECT_TRUE(std::isnan(ranks.getArea()));
  fill(ranks, {{1, true}, {2, true}});
  EXPECT_TRUE(std::isnan(ranks.getArea()));
  ranks.clear(QUVEN_ENV);
  fill(ranks, {{1, false}});
  EXPECT_TRUE(std::isnan(ranks.getArea()));
  ranks.destroyPrimitive(QUVEN_ENV);
}

}  // namespace
