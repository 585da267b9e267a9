#include "loader_dates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <random>

namespace vesk_loader {
namespace {

class LoaderDates : public ::testing::Test {
 protected:
  void setZone(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  void TearDown() override {
    ::unsetenv("TZ");
    ::tzset();
  }
};

TEST_F(LoaderDates, CutoffIsTheStartDateLessTheHorizonInYearDayMonthDigits) {
  for (const char* zone : {"UTC", "Asia/Kolkata", "<-11>11"}) {
    setZone(zone);
    EXPECT_EQ(compute_cutoff_date(20203101, 30), 20200101) << zone;  // 31 January less 30 days
    EXPECT_EQ(compute_cutoff_date(20200103, 1), 20202902) << zone;   // 1 March of a leap year
    EXPECT_EQ(compute_cutoff_date(20190103, 1), 20192802) << zone;
    EXPECT_EQ(compute_cutoff_date(20200101, 1), 20193112) << zone;
    EXPECT_EQ(compute_cutoff_date(20120302, 0), 20120302) << zone;
  }
}

TEST_F(LoaderDates, CutoffNormalisesImpossibleDates) {
  setZone("UTC");
  EXPECT_EQ(compute_cutoff_date(20193002, 0), 20190203);  // 30 February is 2 March
  EXPECT_EQ(compute_cutoff_date(20190013, 0), 20193112);  // day 0 of month 13
}

TEST_F(LoaderDates, CutoffWrapsAroundBeyond24855Days) {
  setZone("UTC");
  EXPECT_LT(compute_cutoff_date(20200101, 24855) / 10000, 1953);
  // 24856 days are 2147558400 seconds, which is -2147408896 in 32 bits: 24854 days and some hours ahead.
  EXPECT_GT(compute_cutoff_date(20200101, 24856) / 10000, 2087);
}

TEST_F(LoaderDates, StartDateOfTheClockHasTheDayBeforeTheMonth) {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  ::localtime_r(&now, &fields);
  const double expected = (fields.tm_year + 1900) * 10000.0 + fields.tm_mday * 100.0 + fields.tm_mon + 1;
  EXPECT_NEAR(current_start_date(), expected, 1000100.0);  // the clock may pass midnight in between
  EXPECT_EQ(std::fmod(current_start_date(), 100.0) <= 12.0, true);
}

struct Comparison {
  double date, reference;
  std::uint32_t format;
  int before;
};

TEST_F(LoaderDates, BeforeComparesYearThenMonthThenDay) {
  for (const auto& [date, reference, format, before] :
       std::initializer_list<Comparison>{{20120302, 20120302, 1, 0},
                                         {20120202, 20120302, 1, 1},
                                         {20120402, 20120302, 1, 0},
                                         {20123101, 20120102, 1, 1},  // 31 January before 1 February
                                         {20120103, 20123102, 1, 0},  // 1 March after 31 February
                                         {20113112, 20120101, 1, 1},
                                         {20130101, 20123112, 1, 0},
                                         {20120203, 20120302, 2, 0},  // 3 February both
                                         {20120202, 20120302, 2, 1},
                                         {20120204, 20120302, 2, 0},
                                         {20120131, 20120102, 2, 1},
                                         {20120301, 20123102, 2, 0},
                                         {20120203, 20120302, 0, 0},  // any other format reads the day first: March
                                         {20120302.4, 20120302, 1, 0},
                                         {20120302.9999999, 20120302, 1, 0}}) {
    EXPECT_EQ(date_is_before(date, reference, format), before) << date << ' ' << reference << ' ' << format;
    EXPECT_EQ(CutoffTest(reference, format).isBefore(date), before != 0) << date << ' ' << reference << ' ' << format;
  }
}

TEST_F(LoaderDates, BeforeIsATextComparisonForNumbersOfOtherLengths) {
  EXPECT_EQ(date_is_before(0, 20120302, 1), 1);          // "0.00" is before "2012"
  EXPECT_EQ(date_is_before(3, 20120302, 1), 0);          // "3.00" is not
  EXPECT_EQ(date_is_before(-20120302, 20120302, 1), 1);  // "-201"
  EXPECT_EQ(date_is_before(201203021, 20120302, 1), 0);
  EXPECT_EQ(date_is_before(std::numeric_limits<double>::quiet_NaN(), 20120302, 1), 0);  // "nan"
  EXPECT_EQ(date_is_before(1e300, 20120302, 1), 1);                                     // begins with 1
}

// 0 and -0 are equal numbers with different texts; one used to get the result of the other. A start date of 0, which is
// only warned about, gives a cutoff below 0.
TEST_F(LoaderDates, TellsTheZerosApart) {
  const CutoffTest test(-11131, 1);
  EXPECT_FALSE(test.isBefore(0.0));  // "0.00" is behind "-111"
  EXPECT_TRUE(test.isBefore(-0.0));  // "-0.0" is before it
  EXPECT_FALSE(test.isBefore(0.0));
}

TEST_F(LoaderDates, FastComparisonEqualsTheTextComparison) {
  std::mt19937_64 random(3);
  const double specials[] = {0.0,
                             -1.0,
                             99999999.0,
                             100000000.0,
                             9999999.0,
                             10000000.0,
                             20120302.5,
                             1e9,
                             -20120302.0,
                             std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()};
  const auto draw = [&] {
    if (random() % 8 == 0) return specials[random() % std::size(specials)];
    return 20110000.0 + static_cast<double>(random() % 3 * 10000 + random() % 40 * 100 + random() % 40);
  };
  for (int round = 0; round < 100000; ++round) {
    const double date = draw();
    const double reference = draw();
    for (const std::uint32_t format : {0U, 1U, 2U}) {
      const CutoffTest test(reference, format);
      EXPECT_EQ(test.isBefore(date), date_is_before(date, reference, format) != 0) << date << ' ' << reference;
      EXPECT_EQ(test.isBefore(date), date_is_before(date, reference, format) != 0);  // from the memory of the last
    }
  }
}

}  // namespace
}  // namespace vesk_loader
