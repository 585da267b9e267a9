#include "record_layout.h"

#include <stdexcept>

namespace vesk_generate {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(RecordLayout, TheDefaultHas51BytesALine) { EXPECT_EQ(RecordLayout{}.lineBytes(), 51U); }

TEST(RecordLayout, ReadsFiveRanges) {
  const RecordLayout layout = parseLayout("60-62,1-5,10-17,20-25,30-30");
  EXPECT_EQ(layout.caller.first, 60U);
  EXPECT_EQ(layout.caller.last, 62U);
  EXPECT_EQ(layout.callee.last, 5U);
  EXPECT_EQ(layout.date.first, 10U);
  EXPECT_EQ(layout.duration.first, 20U);
  EXPECT_EQ(layout.multiplicity.last, 30U);
  EXPECT_EQ(layout.lineBytes(), 63U);
}

TEST(RecordLayout, RefusesWhatIsNoLayout) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "'' is not a range of columns"},
      {"1-15,17-31,33-40,42-47", "a layout has 5 ranges"},
      {"1-15,17-31,33-40,42-47,49-50,52-53", "a layout has 5 ranges"},
      {"1-15,17-31,33-40,42-47,", "'' is not a range of columns"},
      {"1-15,17,33-40,42-47,49-50", "'17' is not a range of columns"},
      {"1-15,17-x,33-40,42-47,49-50", "'17-x' is not a range of columns"},
      {"0-15,17-31,33-40,42-47,49-50", "must rise and lie from 1 to 9000"},
      {"15-1,17-31,33-40,42-47,49-50", "must rise and lie from 1 to 9000"},
      {"1-15,17-31,33-40,42-47,49-9001", "must rise and lie from 1 to 9000"},
      {"1-2,17-31,33-40,42-47,49-50", "caller and callee need at least 3 columns"},
      {"1-15,17-18,33-40,42-47,49-50", "caller and callee need at least 3 columns"},
      {"1-15,17-31,33-39,42-47,49-50", "the date needs at least 8 columns"},
      {"1-15,17-31,33-40,42-46,49-50", "the duration needs at least 6 columns"},
      {"1-15,15-31,33-40,42-47,49-50", "the columns of two fields overlap"}};
  for (const auto& [text, message] : cases) {
    EXPECT_THAT([&wrong = text] { (void)parseLayout(wrong); }, ThrowsMessage<std::invalid_argument>(HasSubstr(message)))
        << text;
  }
}

TEST(ColumnRange, KnowsTheLargestNumber) {
  EXPECT_EQ((ColumnRange{4, 4}.largest()), 9U);
  EXPECT_EQ((ColumnRange{1, 15}.largest()), 999999999999999U);
  EXPECT_EQ((ColumnRange{1, 40}.largest()), 9999999999999999999U);
}

}  // namespace
}  // namespace vesk_generate
