#include "page/chart_range.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace vesk_page {
namespace {

using testing::ElementsAre;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double largest = std::numeric_limits<double>::max();

ChartRange rangeOf(double low, double high) {
  ChartRange range;
  range.include(high);
  range.include(low);
  return range;
}

std::vector<std::string> marksOf(const ChartRange& range) {
  std::vector<std::string> texts;
  for (const ChartMark& mark : range.getMarks()) texts.push_back(mark.text);
  return texts;
}

TEST(ChartRange, IncludesOnlyFiniteValues) {
  ChartRange range;
  for (const double value : {infinity, -infinity, std::nan("")}) range.include(value);
  EXPECT_TRUE(range.isEmpty());
  EXPECT_THAT(marksOf(range), ElementsAre());
  range.include(3);
  range.include(infinity);
  EXPECT_EQ(range.getLow(), 3);
  EXPECT_EQ(range.getHigh(), 3);
}

TEST(ChartRange, PlacesValuesBetweenItsEnds) {
  const ChartRange range = rangeOf(-10, 30);
  EXPECT_EQ(range.placeOf(-10), 0);
  EXPECT_EQ(range.placeOf(0), 0.25);
  EXPECT_EQ(range.placeOf(30), 1);
  EXPECT_EQ(range.placeOf(31), 1);
  EXPECT_EQ(range.placeOf(-infinity), 0);
  EXPECT_EQ(range.placeOf(infinity), 1);
  EXPECT_EQ(range.placeOf(std::nan("")), 0.5);
  EXPECT_EQ(rangeOf(5, 5).placeOf(5), 0.5);
}

TEST(ChartRange, HoldsTheLargestNumbers) {
  ChartRange range = rangeOf(-largest, largest);
  EXPECT_EQ(range.placeOf(0), 0.5);
  EXPECT_EQ(range.placeOf(largest), 1);
  EXPECT_THAT(marksOf(range), ElementsAre("-1e+308", "0", "1e+308"));
  range.widen();
  EXPECT_EQ(range.getHigh(), largest);
}

TEST(ChartRange, HasRoundMarks) {
  EXPECT_THAT(marksOf(rangeOf(0, 100)), ElementsAre("0", "20", "40", "60", "80", "100"));
  EXPECT_THAT(marksOf(rangeOf(-0.1, 0.2)), ElementsAre("-0.1", "-0.05", "0", "0.05", "0.1", "0.15", "0.2"));
  EXPECT_THAT(marksOf(rangeOf(7, 7)), ElementsAre("7"));
}

TEST(ChartRange, MarksHaveEnoughDigitsToDiffer) {
  EXPECT_THAT(marksOf(rangeOf(1e6, 1e6 + 4)), ElementsAre("1000000", "1000001", "1000002", "1000003", "1000004"));
}

TEST(ChartRange, HasDistinctMarksInAnyRange) {
  for (const auto& [low, high] : {std::pair(0.0, 5e-324),
                                  {1.0, std::nextafter(1.0, 2)},
                                  {1e17, 1e17 + 64},
                                  {0.0, largest},
                                  {-1e-300, 1e300},
                                  {3.3, 3.4}}) {
    const std::vector<ChartMark> marks = rangeOf(low, high).getMarks();
    ASSERT_FALSE(marks.empty());
    EXPECT_LE(marks.size(), 11U);
    for (std::size_t i = 0; i < marks.size(); ++i) {
      EXPECT_GE(marks[i].value, low);
      EXPECT_LE(marks[i].value, high + (high - low) * 1e-8);
      if (i > 0) {
        EXPECT_NE(marks[i].text, marks[i - 1].text);
      }
    }
  }
}

TEST(ChartRange, WidensByATwentiethAtBothEnds) {
  ChartRange range = rangeOf(0, 20);
  range.widen();
  EXPECT_EQ(range.getLow(), -1);
  EXPECT_EQ(range.getHigh(), 21);
}

std::string logarithmicMarks(double low, double high) {
  ChartRange range(ChartScale::Logarithmic);
  range.include(low);
  range.include(high);
  std::string texts;
  for (const ChartMark& mark : range.getMarks()) texts += mark.text + " ";
  return texts;
}

TEST(ChartRange, ALogarithmicScaleHasPowersOfTen) {
  EXPECT_EQ(logarithmicMarks(1, 1000), "1 10 100 1000 ");
  EXPECT_EQ(logarithmicMarks(0.0002, 30), "0.001 0.01 0.1 1 10 ");
  EXPECT_EQ(logarithmicMarks(1e-6, 2e5), "1e-6 1e-4 0.01 1 100 10000 ");
  EXPECT_EQ(logarithmicMarks(1e-17, 1), "1e-17 1e-15 1e-13 1e-11 1e-9 1e-7 1e-5 0.001 0.1 ");
  // Fewer than two powers of ten: round values.
  EXPECT_EQ(logarithmicMarks(2, 8), "2 3 4 5 6 7 8 ");
  EXPECT_EQ(logarithmicMarks(7, 7), "7 ");
}

TEST(ChartRange, MarksOfALogarithmicScaleAreApart) {
  EXPECT_EQ(logarithmicMarks(0.013, 0.335), "0.02 0.05 0.1 0.2 ");
  EXPECT_EQ(logarithmicMarks(1.5, 90), "2 5 10 20 50 ");
  EXPECT_EQ(logarithmicMarks(11, 49), "20 30 40 ");
  EXPECT_EQ(logarithmicMarks(1, 9.9), "1 2 5 ");
}

TEST(ChartRange, ALogarithmicScaleShowsValuesAbove0) {
  ChartRange range(ChartScale::Logarithmic);
  range.include(0);
  range.include(-1);
  EXPECT_TRUE(range.isEmpty());
  range.include(1);
  range.include(10000);
  EXPECT_DOUBLE_EQ(range.placeOf(100), 0.5);
  EXPECT_EQ(range.placeOf(0), 0);
  EXPECT_EQ(range.placeOf(-5), 0);
  EXPECT_EQ(range.placeOf(1e9), 1);
  EXPECT_EQ(range.placeOf(std::nan("")), 0.5);
}

}  // namespace
}  // namespace vesk_page
