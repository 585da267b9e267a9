#include "convert/call_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vesk {
namespace {

/// The date as text, or the number of the cause as "!WORDS".
std::string date(const std::string& text, TimeForm form = TimeForm::Auto, TimeZoneRule zone = {}) {
  std::uint32_t value = 0;
  const RowCause cause = readDate(text, form, zone, value);
  return cause == RowCause::None ? std::to_string(value) : "!" + std::string(wordsOf(cause));
}
std::string duration(const std::string& text) {
  std::string seconds;
  return readDuration(text, seconds) == RowCause::None ? seconds : "!";
}

constexpr const char* noForm = "!not a time of a known form";
constexpr const char* noDay = "!a day that no calendar has";

TEST(CallValues, ReadsPlainIds) {
  EXPECT_EQ(readPlainId("1"), 1U);
  EXPECT_EQ(readPlainId("0"), 0U);
  EXPECT_EQ(readPlainId("9007199254740992"), LargestPlainId);
  for (const char* text :
       {"", "9007199254740993", "01", "+1", "-1", "1 2", "1.0", "1e3", "0x1F", "99999999999999999999"}) {
    EXPECT_EQ(readPlainId(text), std::nullopt) << text;
  }
}

TEST(CallValues, TakesCleanTextForAMap) {
  for (const char* text : {"+49 151", "0x1F", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x93\x9E", "\xED\x9F\xBF"}) {
    EXPECT_EQ(mistakeInIdText(text), RowCause::None) << text;
  }
  for (const char* text : {"a\nb", "\x7F", "\x80", "\xC0\x80", "\xC3", "\xE0\x80\x80", "\xED\xA0\x80",
                           "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82"}) {
    EXPECT_EQ(mistakeInIdText(text), RowCause::IdBytes) << text;
  }
  EXPECT_EQ(mistakeInIdText(std::string(200, 'a')), RowCause::None);
  EXPECT_EQ(mistakeInIdText(std::string(201, 'a')), RowCause::IdTooLong);
  EXPECT_EQ(mistakeInIdText(std::string("a\0b", 3)), RowCause::IdBytes);
}

TEST(CallValues, ReadsIsoTimes) {
  for (const char* text : {"2020-02-29", "2020-02-29T23:59", "2020-02-29 23:59:60", "2020-02-29T00:00:00.123",
                           "20200229", "2020-02-29T00:00:00,5", "2020-02-29T12:00:00Z", "2020-02-29T12:00:00 +0100",
                           "20200229T120000Z", "20200229120000", "2020-02-29T12:00+01", "20200229T1200"}) {
    EXPECT_EQ(date(text), "20200229") << text;
  }
  for (const char* text :
       {"2020-2-29", "2020-02-29x", "2020-02-29T", "2020-02-29T24:00", "2020-02-29T12:60", "29.02.2020",
        "2020-02-29T12", "2020-02-29T12:00+", "2020-02-29T12:00+16:00", "2020-02-29T12:00:00.", "x", "2020-0229",
        "202002-29", "2020-02-29T12:00:00+01:0", "2020-02-29T12:00ZZ", "2020", "1234567"}) {
    EXPECT_EQ(date(text), noForm) << text;
  }
  EXPECT_EQ(date("2019-02-29"), noDay);
  EXPECT_EQ(date("2020-13-01T00:00:00Z"), noDay);
  EXPECT_EQ(date("2020-00-01"), noDay);
  EXPECT_EQ(date(""), "!empty");
}

TEST(CallValues, TurnsZonesIntoTheDateOfTheRule) {
  EXPECT_EQ(date("2020-03-01T00:30:00+01:00"), "20200229");
  EXPECT_EQ(date("2019-12-31T23:30:00-00:30"), "20200101");
  EXPECT_EQ(date("2020-03-01T00:30:00"), "20200301");
  EXPECT_EQ(date("2020-03-01T00:30:00+01:00", TimeForm::Auto, {.asWritten = true}), "20200301");
  EXPECT_EQ(date("2020-02-29T23:30:00Z", TimeForm::Auto, {.offsetMinutes = 60}), "20200301");
  EXPECT_EQ(date("2020-03-01T00:30:00Z", TimeForm::Auto, {.offsetMinutes = -31}), "20200229");
  EXPECT_EQ(date("2020-03-01", TimeForm::Auto, {.offsetMinutes = -300}), "20200301");
}

// 1582934399 is 2020-02-28T23:59:59Z: 18321 days of 86400 s, less 1.
TEST(CallValues, ReadsUnixTimes) {
  EXPECT_EQ(date("1582934399"), "20200228");
  EXPECT_EQ(date("1582934400"), "20200229");
  EXPECT_EQ(date("1582934400.75"), "20200229");
  EXPECT_EQ(date("1582934399999"), "20200228");
  EXPECT_EQ(date("1582934400000"), "20200229");
  EXPECT_EQ(date("1582934399", TimeForm::Auto, {.offsetMinutes = 1}), "20200229");
  EXPECT_EQ(date("0", TimeForm::UnixSeconds), "19700101");
  EXPECT_EQ(date("86400000", TimeForm::UnixMilliseconds), "19700102");
  EXPECT_EQ(date("9999999999"), "!a year before 1970 or after 2099");
  for (const char* text : {"-1", "1.", "1x", "+5", "99999999999999999999"}) {
    EXPECT_EQ(date(text, TimeForm::UnixSeconds), noForm) << text;
  }
}

TEST(CallValues, ReadsEightDigits) {
  EXPECT_EQ(date("20201005"), "20201005");
  EXPECT_EQ(date("20201005", TimeForm::YearDayMonth), "20200510");
  EXPECT_EQ(date("20203105"), "!a day as yyyyddmm only: use --time-format ydm");
  EXPECT_EQ(date("20203105", TimeForm::YearDayMonth), "20200531");
  EXPECT_EQ(date("20203199"), noDay);
  EXPECT_EQ(date("20200531", TimeForm::YearDayMonth), noDay);
  EXPECT_EQ(date("19691231"), "!a year before 1970 or after 2099");
  EXPECT_EQ(date("20991231"), "20991231");
  EXPECT_EQ(date("21000101"), "!a year before 1970 or after 2099");
  EXPECT_EQ(date("2020-01-01", TimeForm::YearMonthDay), noForm);
  EXPECT_EQ(date("1582934400", TimeForm::YearMonthDay), noForm);
  EXPECT_EQ(date("1582934400", TimeForm::Iso), noForm);
}

TEST(CallValues, ReadsDurations) {
  EXPECT_EQ(duration("0"), "0");
  EXPECT_EQ(duration("007"), "7");
  EXPECT_EQ(duration("12.5"), "12.5");
  EXPECT_EQ(duration("1:02:03"), "3723");
  EXPECT_EQ(duration("100:00:00.25"), "360000.25");
  for (const char* text : {"", "-1", "1:02", "1:2:3:4", "1:60:00", "1:00:60", "::", "1e3", "5s", "1.", ".5", "1,5",
                           "n/a", "0x10", "9999999999"}) {
    EXPECT_EQ(duration(text), "!") << text;
  }
}

TEST(CallValues, ReadsCounts) {
  std::uint32_t count = 0;
  EXPECT_EQ(readCount("2147483647", count), RowCause::None);
  EXPECT_EQ(count, 2147483647U);
  for (const char* text : {"0", "-1", "2147483648", "1.0", "1e3", "+1", "x", "99999999999"}) {
    EXPECT_EQ(readCount(text, count), RowCause::NoCount) << text;
  }
  EXPECT_EQ(readCount("", count), RowCause::Empty);
}

TEST(CallValues, ReadsPayloads) {
  std::string_view number;
  for (const char* text : {"0", "1.5", "+2e10", ".5"}) EXPECT_EQ(readPayload(text, number), RowCause::None) << text;
  EXPECT_EQ(number, ".5");
  for (const char* text : {"-1", "nan", "inf", "1e999", "0,5", "0x10", "1 2", "--1", "+"}) {
    EXPECT_EQ(readPayload(text, number), RowCause::NoPayload) << text;
  }
}

}  // namespace
}  // namespace vesk
