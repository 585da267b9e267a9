// The literal histogram on cases worked out by hand.

#include "literal_histogram.h"

#include <gtest/gtest.h>

#include <limits>

namespace literal {
namespace {

Bins binsOf(std::size_t limit, const std::vector<double>& values) {
  Histogram histogram(limit);
  for (const double value : values) histogram.add(value);
  return histogram.getBins();
}

TEST(LiteralHistogram, CountsEqualValuesInOneBin) { EXPECT_EQ(binsOf(2, {3, 1, 3, 3, 1}), (Bins{{1, 2}, {3, 3}})); }

TEST(LiteralHistogram, JoinsOnlyAboveItsLimit) {
  std::vector<double> values;
  for (int i = 1; i <= 1000; ++i) values.push_back(i * i);
  EXPECT_EQ(binsOf(1000, values).size(), 1000U);
  values.push_back(2e6);
  const Bins bins = binsOf(1000, values);
  // 1 and 4 are the closest, then the new value takes the place that is free.
  EXPECT_EQ(bins.size(), 1000U);
  EXPECT_EQ(bins[0], (Bins::value_type{2.5, 2}));
  EXPECT_EQ(bins[999], (Bins::value_type{2e6, 1}));
}

TEST(LiteralHistogram, OfEquallyClosePairsTheLowestIsJoined) {
  EXPECT_EQ(binsOf(3, {1, 2, 3, 10}), (Bins{{1.5, 2}, {3, 1}, {10, 1}}));
}

TEST(LiteralHistogram, ALaterPairWinsIfItsGapIsSmaller) {
  EXPECT_EQ(binsOf(3, {1, 3, 4, 10}), (Bins{{1, 1}, {3.5, 2}, {10, 1}}));
}

TEST(LiteralHistogram, TheJoinedBinStandsAtTheWeightedMean) {
  // (3 * 1 + 1 * 2) / 4
  EXPECT_EQ(binsOf(2, {1, 1, 1, 2, 9}), (Bins{{1.25, 4}, {9, 1}}));
}

TEST(LiteralHistogram, AValueWhereTheJoinedBinStandsStartsItsCountAgain) {
  EXPECT_EQ(binsOf(2, {1, 3, 2}), (Bins{{2, 1}}));
}

TEST(LiteralHistogram, AMeanOnAnotherBinTakesItsCountAway) {
  // 2 * 1e308 is infinite, and so is the mean; the bin that stood there counted 5.
  const double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Histogram::merge({{1e308, 2}, {1.1e308, 2}}, {{infinite, 5}}, 2), (Bins{{infinite, 4}}));
}

TEST(LiteralHistogram, MergesAndJoinsDownToTheLimit) {
  const Bins first{{1, 2}, {3, 1}};
  const Bins second{{3, 4}, {5, 1}};
  EXPECT_EQ(Histogram::merge(first, second, 3), (Bins{{1, 2}, {3, 5}, {5, 1}}));
  EXPECT_EQ(Histogram::merge(first, second, 2), (Bins{{17.0 / 7, 7}, {5, 1}}));
  EXPECT_EQ(Histogram::merge({}, second, 2), second);
  EXPECT_EQ(Histogram::merge(first, {}, 2), first);
  EXPECT_EQ(Histogram::merge({}, {}, 2), Bins{});
}

TEST(LiteralHistogram, WorkersMergeUpATreeOfNeighbours) {
  const auto one = [](double location) { return Bins{{location, 1}}; };
  EXPECT_EQ(mergeWorkers({one(5)}, 2), one(5));
  EXPECT_EQ(mergeWorkers({one(5), one(7)}, 2), (Bins{{5, 1}, {7, 1}}));
  // (0 4) and (7 9); of all four 7 and 9 are joined first, then 0 and 4. A chain would give 0 and 20/3.
  EXPECT_EQ(mergeWorkers({{}, one(0), one(4), one(7), one(9)}, 2), (Bins{{2, 2}, {8, 2}}));
  // (0 4), then 7 joins 4: 0, 5.5 twice; rank 0 comes last: 9 is closer to 5.5 than 0.
  EXPECT_EQ(mergeWorkers({one(9), one(0), one(4), one(7)}, 2), (Bins{{0, 1}, {20.0 / 3, 3}}));
}

}  // namespace
}  // namespace literal
