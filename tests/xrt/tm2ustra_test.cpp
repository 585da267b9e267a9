#include "xrt/tm2ustra.h"

#include <new>
#include <utility>

#include "support/captured_run.h"
#include "support/failing_allocation.h"

namespace {

/// Reaches the members, to break them and to call what asserts on them.
class Broken : public TM2AscString {
 public:
  using TM2AscString::checkInvariant;
  using TM2AscString::copyChars;
  using TM2AscString::TM2AscString;
  void loseCapacity() { pot_len = 0; }
  void setRawLength(std::uint32_t length) { act_len = length; }
  void restore(long capacity, std::uint32_t length) {
    pot_len = static_cast<std::int32_t>(capacity);
    act_len = length;
  }
};

/// The condition of the assertion that an action fails, or what it printed instead.
template <class Action>
std::string failedCondition(Action&& action) {
  const CapturedRun run = capturedRun(action);
  if (!run.threwLibraryException) return "no failure: " + run.out;
  const std::string opening = "\n*** ERROR: String Assert Failed: ";
  const std::size_t end = run.out.find("\n    At Line ");
  if (run.out.rfind(opening, 0) != 0 || end == std::string::npos) return run.out;
  const std::string place = run.out.substr(end);
  EXPECT_THAT(place, testing::MatchesRegex("\n    At Line [0-9]+, File tm2ustra\\.cpp\n"));
  return run.out.substr(opening.size(), end - opening.size());
}

}  // namespace

TEST(TM2AscString, EmptyStringHasNoBuffer) {
  const TM2AscString text;
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.getLength(), 0);
  EXPECT_EQ(text.getCapacity(), 0);
  EXPECT_EQ(text[0], '\0');
  EXPECT_EQ(TM2AscString("").getCapacity(), 0);
}

TEST(TM2AscString, HoldsATextWithRoomForItsEnd) {
  const TM2AscString text("abc");
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(text.getLength(), 3);
  EXPECT_EQ(text.getCapacity(), 4);
  EXPECT_EQ(text[2], 'c');
  EXPECT_EQ(text[3], '\0');
}

TEST(TM2AscString, AppendsTextsCharactersAndNumbers) {
  TM2AscString text("x");
  text.append("yz ");
  text.append("");
  text.append('=');
  text.appendNumber(-12L);
  text.append(' ');
  text.appendNumber(0.5);
  text.append(' ');
  text.appendNumber(2.0 / 3.0, "%.3f");
  EXPECT_STREQ(text.text(), "xyz =-12 0.5 0.667");
  EXPECT_GT(text.getCapacity(), text.getLength());
  TM2AscString twice("0123456789");
  for (int i = 0; i < 3; ++i) twice.append(twice.view());
  EXPECT_EQ(twice.getLength(), 80);
  EXPECT_EQ(twice.view().substr(70), "0123456789");
}

TEST(TM2AscString, AssignsWithinAndBeyondItsBuffer) {
  TM2AscString text("a long text");
  text.assign("short");
  EXPECT_STREQ(text.text(), "short");
  EXPECT_EQ(text.getCapacity(), 12);
  text.assign(text.view().substr(1));
  EXPECT_STREQ(text.text(), "hort");
  text.assign("");
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.getCapacity(), 12);
  text.assign("a text that is longer");
  EXPECT_STREQ(text.text(), "a text that is longer");
}

TEST(TM2AscString, CopiesMovesAndCompares) {
  TM2AscString a("a");
  TM2AscString b(a);
  EXPECT_EQ(a, b);
  b.append("b");
  EXPECT_LT(a, b);
  a = b;
  EXPECT_STREQ(a.text(), "ab");
  const TM2AscString& self = a;
  a = self;
  EXPECT_STREQ(a.text(), "ab");
  const TM2AscString moved(std::move(a));
  EXPECT_STREQ(moved.text(), "ab");
  a = TM2AscString("new");
  EXPECT_STREQ(a.text(), "new");
}

TEST(TM2AscString, SetsItsLengthAndCapacity) {
  TM2AscString text("abcdef");
  text.setLengthCapacity(3, 10);
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(text.getCapacity(), 10);
  text.setLengthCapacity(5, 0);
  EXPECT_STREQ(text.text(), "abc  ");
  EXPECT_EQ(text.getCapacity(), 6);
  text.setLength(1);
  EXPECT_STREQ(text.text(), "a");
  text.setLength(3);
  EXPECT_STREQ(text.text(), "a  ");
  text.setLengthCapacity(0, 1);
  EXPECT_EQ(text.getCapacity(), 1);
  text.setLengthCapacity(0, 0);
  EXPECT_EQ(text.getCapacity(), 0);
  EXPECT_STREQ(text.text(), "");
}

TEST(TM2AscString, SetsCharactersWithinItsCapacity) {
  TM2AscString text("abc");
  text.setLengthCapacity(3, 5);
  text.setChar(0, 'x');
  text.setChar(3, 'd');
  EXPECT_STREQ(text.text(), "xbcd");
}

TEST(TM2AscString, FlagsStandAboveTheLengthUntilTheTextChanges) {
  TM2AscString text("abc");
  text.setFlags(0xC0000000U);
  EXPECT_EQ(text.getLength(), 3);
  EXPECT_EQ(text.getFlags(), 0xC0000000U);
  EXPECT_EQ(text[3], '\0');
  text.setFlags(0x40000001U);
  EXPECT_EQ(text.getLength(), 3);
  EXPECT_EQ(text.getFlags(), 0x40000000U);
  text.append("d");
  EXPECT_EQ(text.getFlags(), 0U);
  text.setFlags(0x80000000U);
  text.setChar(0, 'x');
  EXPECT_EQ(text.getFlags(), 0U);
}

TEST(TM2AscString, ReportsTheConditionsOfItsInvariants) {
  Broken text("abc");
  EXPECT_EQ(failedCondition([&] { text.setLength(4); }), "a_len < this->pot_len");
  // A negative length used to be stored before anything refused it, and the text had a billion characters then.
  EXPECT_EQ(failedCondition([&] { text.setLength(-1); }), "a_len >= 0");
  EXPECT_EQ(failedCondition([&] { text.setLengthCapacity(-1, 9); }), "length >= 0");
  EXPECT_EQ(text.getLength(), 3);
  EXPECT_EQ(failedCondition([&] { text.copyChars("abcd", 4); }), "num_chars < this->pot_len");
  EXPECT_EQ(failedCondition([&] { static_cast<void>(text[-1]); }), "ix >= 0");
  EXPECT_EQ(failedCondition([&] { text.setChar(-1, 'x'); }), "ix >= 0");
  const char* const beyond = "static_cast<unsigned long>(ix) <= (this->act_len & TM2AscString_ACT_LEN_MASK)";
  EXPECT_EQ(failedCondition([&] { static_cast<void>(text[4]); }), beyond);
  EXPECT_EQ(failedCondition([&] { text.setChar(4, 'x'); }), beyond);
  EXPECT_EQ(failedCondition([&] { text.setChar(3, 'x'); }), "ix_plus_1 < this->pot_len");
  EXPECT_EQ(failedCondition([&] { text.appendNumber(1e300, "%f"); }), "strlen(buf) < 256");
  EXPECT_STREQ(text.text(), "abc");

  text.setRawLength(4);
  EXPECT_EQ(failedCondition([&] { text.checkInvariant(); }), "this->act_len < (unsigned long)(this->pot_len)");
  text.loseCapacity();
  EXPECT_EQ(failedCondition([&] { text.checkInvariant(); }), "this->base == 0 || this->pot_len > 0");
  text.restore(4, 3);
  text.checkInvariant();
  EXPECT_STREQ(text.text(), "abc");
}

TEST(TM2AscString, FailedAllocationLeavesTheStringAsItWas) {
  TM2AscString text("abc");
  EXPECT_TRUE(capturedRun([&] {
                const FailingAllocation failure(0);
                text.append("defgh");
              }).threwMemoryException);
  EXPECT_STREQ(text.text(), "abc");
  for (const long beyond : {0x40000000L, 0x7fffffffffffffffL}) {
    EXPECT_THROW(text.setLengthCapacity(0, beyond), std::bad_alloc);
    EXPECT_THROW(text.setLengthCapacity(beyond, 0), std::bad_alloc);
  }
  EXPECT_STREQ(text.text(), "abc");
}
