#include "dates.h"

#include <stdexcept>

namespace vesk_generate {
namespace {

std::string text(const DateText& date) { return {date.data(), date.size()}; }

std::vector<std::string> texts(const std::string& start, std::uint32_t days, DateForm form) {
  std::vector<std::string> result;
  for (const DateText& date : dateTexts(parseDate(start), days, form)) result.push_back(text(date));
  return result;
}

TEST(Dates, RunOverTheEndOfAMonthAndALeapDay) {
  EXPECT_EQ(texts("2020-02-28", 3, DateForm::YearMonthDay),
            (std::vector<std::string>{"20200228", "20200229", "20200301"}));
  EXPECT_EQ(texts("2021-02-28", 2, DateForm::YearMonthDay), (std::vector<std::string>{"20210228", "20210301"}));
}

TEST(Dates, PutTheDayBeforeTheMonthOnRequest) {
  EXPECT_EQ(texts("2019-12-31", 2, DateForm::YearDayMonth), (std::vector<std::string>{"20193112", "20200101"}));
}

TEST(Dates, TheLastOfOneDayIsTheFirst) { EXPECT_EQ(lastDay(parseDate("2020-05-06"), 1), parseDate("2020-05-06")); }

TEST(Dates, RefuseWhatIsNoDay) {
  for (const char* wrong : {"", "2020-02-30", "2020-13-01", "2020-00-10", "20200101", "2020-1-01", "2020-01-0x",
                            "2020/01/01", "2020-01-011"}) {
    EXPECT_THROW((void)parseDate(wrong), std::invalid_argument) << wrong;
  }
}

}  // namespace
}  // namespace vesk_generate
