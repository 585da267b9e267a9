#include "check/date_forms.h"

#include "day/calendar_day.h"

namespace vesk {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

DateCounts counted(const std::vector<std::string>& words, int times = 10) {
  DateCounts counts;
  for (const std::string& word : words) {
    for (int i = 0; i < times; ++i) counts.add(word);
  }
  return counts;
}

std::chrono::sys_days day(const char* iso) { return *dayOf(CalendarDay::parse(iso)->number(), MonthFirst); }

TEST(CheckDates, DigitsAreDaysOfTheCalendarOrNone) {
  EXPECT_EQ(isoText(*dayOf(20140301, MonthFirst)), "2014-03-01");
  EXPECT_EQ(isoText(*dayOf(20140301, DayFirst)), "2014-01-03");
  EXPECT_EQ(isoText(*dayOf(20200229, MonthFirst)), "2020-02-29");
  EXPECT_FALSE(dayOf(20190229, MonthFirst));
  EXPECT_FALSE(dayOf(20191301, MonthFirst));
  EXPECT_FALSE(dayOf(20190150, MonthFirst));
  EXPECT_FALSE(dayOf(20190100, MonthFirst));
  EXPECT_FALSE(dayOf(201901, MonthFirst));
}

TEST(CheckDates, ReadingsCountDaysAndOthers) {
  const DateCounts counts = counted({"20140228", "20140301", "20141350", "2014-03-01", ""}, 2);
  EXPECT_EQ(counts.getLines(), 10U);
  EXPECT_EQ(counts.getOthers(), 4U);
  EXPECT_EQ(counts.getFirstOther(), "2014-03-01");
  const DateReading reading = readDates(counts, MonthFirst);
  EXPECT_EQ(reading.days, 4U);
  EXPECT_EQ(reading.noDays, 2U);
  EXPECT_EQ(reading.firstNoDay, 20141350U);
  EXPECT_EQ(reading.differentDays, 2U);
  EXPECT_EQ(isoText(reading.first), "2014-02-28");
  EXPECT_EQ(isoText(reading.last), "2014-03-01");
  EXPECT_EQ(readDates(counts, DayFirst).days, 2U);
}

TEST(CheckDates, AFormInWhichDatesAreNoDaysIsWrong) {
  const DateCounts counts = counted({"20140228", "20140227"});
  EXPECT_THAT(whyOtherForm(counts, DayFirst, {}), HasSubstr("not all days of the calendar (20140227)"));
  EXPECT_THAT(whyOtherForm(counts, MonthFirst, {}), IsEmpty());
  EXPECT_EQ(likelyForm(counts), MonthFirst);
  EXPECT_EQ(likelyForm(counted({"20142802"})), DayFirst);
}

TEST(CheckDates, BadDatesAmongGoodOnesDoNotMatter) {
  DateCounts counts = counted({"20140228", "20140227"}, 100);
  counts.add("20149999");
  EXPECT_THAT(whyOtherForm(counts, DayFirst, {}), HasSubstr("all are as yyyymmdd"));
  EXPECT_THAT(whyOtherForm(counts, MonthFirst, {}), IsEmpty());
}

TEST(CheckDates, TheDayOfTheRunTells) {
  const DateCounts march = counted({"20140301"});
  EXPECT_THAT(whyOtherForm(march, DayFirst, day("2014-03-01")),
              HasSubstr("2014-01-03 when they are read as yyyyddmm, and 2014-03-01 as yyyymmdd"));
  EXPECT_THAT(whyOtherForm(march, MonthFirst, day("2014-03-01")), IsEmpty());
  EXPECT_THAT(whyOtherForm(march, DayFirst, day("2014-01-03")), IsEmpty());
  EXPECT_THAT(whyOtherForm(march, MonthFirst, day("2014-01-03")), HasSubstr("2014-01-03 as yyyyddmm"));
  EXPECT_THAT(whyOtherForm(march, DayFirst, {}), IsEmpty());
  // A day that is the same in both forms is near in both.
  EXPECT_THAT(whyOtherForm(counted({"20140303"}), DayFirst, day("2014-03-03")), IsEmpty());
  // Some days of a file are the same in both forms.
  EXPECT_THAT(whyOtherForm(counted({"20140101", "20140102"}), DayFirst, day("2014-01-02")), HasSubstr("2014-02-01"));
  // Older records than the day say nothing.
  EXPECT_THAT(whyOtherForm(march, DayFirst, day("2015-06-06")), IsEmpty());
}

TEST(CheckDates, DaysInARowBeatTheSameDayOfMonths) {
  const DateCounts row = counted({"20140301", "20140302", "20140303"});
  EXPECT_THAT(whyOtherForm(row, DayFirst, {}), HasSubstr("2014-03-01 to 2014-03-03 as yyyymmdd"));
  EXPECT_THAT(whyOtherForm(row, MonthFirst, {}), IsEmpty());
  EXPECT_EQ(likelyForm(row), MonthFirst);
  EXPECT_EQ(likelyForm(counted({"20140103", "20140203", "20140303"})), DayFirst);
  // Two days can be two files of two months.
  EXPECT_EQ(likelyForm(counted({"20140301", "20140302"})), NoDates);
  // Days of a whole year fit in both.
  EXPECT_EQ(likelyForm(counted({"20140101", "20140505", "20141212", "20140307", "20140909"})), NoDates);
  EXPECT_EQ(likelyForm(DateCounts()), NoDates);
}

TEST(CheckDates, OtherNotationsHaveNames) {
  EXPECT_EQ(notationOf("2014-03-01"), "ISO dates");
  EXPECT_EQ(notationOf("2014-03-01T12:00:00Z"), "ISO dates");
  EXPECT_EQ(notationOf("01.03.2014"), "dates with points");
  EXPECT_EQ(notationOf("01/03/2014"), "dates with points");
  EXPECT_EQ(notationOf("1393632000"), "unix seconds");
  EXPECT_EQ(notationOf("1393632000123"), "unix milliseconds");
  EXPECT_EQ(notationOf("20140301123015"), "dates with a time");
  EXPECT_EQ(notationOf("01032014"), "dates with the year last");
  EXPECT_EQ(notationOf("12"), "");
  EXPECT_EQ(notationOf("abc"), "");
  EXPECT_EQ(notationOf(""), "");
}

}  // namespace
}  // namespace vesk
