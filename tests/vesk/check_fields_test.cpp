#include "check/column_ruler.h"
#include "check/field_samples.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;

TEST(CheckFields, KindsOfWords) {
  EXPECT_EQ(kindOf("0012"), WordKind::Plain);
  EXPECT_EQ(kindOf("+12"), WordKind::Signed);
  EXPECT_EQ(kindOf("-12"), WordKind::Signed);
  EXPECT_EQ(kindOf("1.5"), WordKind::Fraction);
  EXPECT_EQ(kindOf(".5"), WordKind::Fraction);
  EXPECT_EQ(kindOf("-5."), WordKind::Fraction);
  EXPECT_EQ(kindOf("4.91E+11"), WordKind::Exponent);
  EXPECT_EQ(kindOf("1e5"), WordKind::Exponent);
  EXPECT_EQ(kindOf("0x1F"), WordKind::Hexadecimal);
  EXPECT_EQ(kindOf("98a9ca"), WordKind::Hexadecimal);
  EXPECT_EQ(kindOf("12345e6789"), WordKind::Hexadecimal);
  for (const char* text : {"bad", "abc", "0x", "e5", ".", "-", "+-1", "1..2", "inf", "nan", "1,5"}) {
    EXPECT_EQ(kindOf(text), WordKind::Text) << text;
  }
}

TEST(CheckFields, GathersWhatIsInAField) {
  FieldSampler sampler({0, 6}, {4, 9});
  for (const char* line : {"   12 abc ", "   -3 1.5 ", "      12,3", "   12    7", "9 9 9 1e3", "   ", "99999 9999x"}) {
    sampler.add(line);
  }
  const FieldSamples& first = sampler.getFields()[0];
  EXPECT_EQ(first.lines, 7U);
  EXPECT_EQ(first.blanks, 2U);
  EXPECT_EQ(first.innerBlanks, 1U);
  EXPECT_EQ(first.of(WordKind::Plain), 3U);
  EXPECT_EQ(first.of(WordKind::Signed), 1U);
  EXPECT_EQ(first.smallest, -3);
  EXPECT_EQ(first.largest, 99999);
  EXPECT_EQ(first.longest, 5U);
  EXPECT_THAT(first.samples, ElementsAre("12", "-3", "9 9 9"));
  const FieldSamples& second = sampler.getFields()[1];
  EXPECT_EQ(second.lines, 6U);  // one line ends before the field
  EXPECT_EQ(second.separators, 1U);
  EXPECT_EQ(second.of(WordKind::Text), 1U);
  EXPECT_EQ(second.of(WordKind::Exponent), 1U);
  EXPECT_EQ(second.largest, 9999);
}

TEST(CheckFields, NumbersAbove53BitsAreCounted) {
  FieldSampler sampler({0}, {19});
  for (const char* line : {"9007199254740992", "9007199254740994", "1e300", "-9007199254740994"}) sampler.add(line);
  EXPECT_EQ(sampler.getFields()[0].above53, 3U);
}

TEST(CheckFields, EdgesSeeDigitsOfNoField) {
  // Field of columns 3-5, a second one of columns 9-10.
  FieldSampler sampler({2, 8}, {4, 9});
  sampler.add("  12345 88");   // two digits after
  sampler.add("   1  7 88");   // a digit further away
  sampler.add("  12 7  88");   // a digit beside a blank end
  sampler.add("12345   88");   // two digits before
  sampler.add("     12388");   // a blank field
  sampler.add("  123456788");  // covered columns end the run
  const EdgeSamples& after = sampler.getFields()[0].after;
  EXPECT_EQ(after.full, 3U);
  EXPECT_EQ(after.digits, 2U);
  EXPECT_EQ(after.shortRuns, 2U);
  EXPECT_EQ(after.values[4], 2U);
  EXPECT_EQ(after.detached, 1U);
  EXPECT_EQ(after.apart, 1U);
  const EdgeSamples& before = sampler.getFields()[0].before;
  EXPECT_EQ(before.digits, 1U);
  EXPECT_EQ(before.values[2], 1U);
  EXPECT_EQ(before.apart, 1U);
}

TEST(CheckFields, RulerHasBarsAndSlices) {
  vesk_loader::LoaderSettings settings;
  settings.fieldStarts = {0, 5, 7, 2};
  settings.fieldEnds = {4, 6, 7, 8};
  EXPECT_EQ(drawRuler(settings, {"12345678901", "a\tb\xC3"}),
            "           1\n"
            "  12345678901\n"
            "  [=1=]2-3\n"
            "    [==4==]\n"
            "  12345678901\n"
            "  a?b?\n");
  settings.fieldStarts = {85};
  settings.fieldEnds = {94};
  const std::string sliced = drawRuler(settings, {std::string(95, 'x')});
  EXPECT_NE(sliced.find("\n\n"), std::string::npos);
  EXPECT_NE(sliced.find("   [===1\n"), std::string::npos);
  EXPECT_NE(sliced.find("\n  ====]\n"), std::string::npos);
  EXPECT_EQ(drawRuler({}, {""}), "  1\n");
}

}  // namespace
}  // namespace vesk
