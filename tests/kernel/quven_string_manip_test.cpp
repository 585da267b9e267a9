#include "kernel/quven_string_manip.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "util/quven_env.h"

namespace {

/// What one scan did: its result, the token, and what of the line is left.
struct Scan {
  bool found;
  std::string token;
  std::string rest;
  bool operator==(const Scan&) const = default;
};

void PrintTo(const Scan& scan, std::ostream* out) {
  *out << (scan.found ? "found" : "not found") << " token [" << scan.token << "] rest [" << scan.rest << "]";
}

class ScanToken : public ::testing::Test {
 protected:
  Scan scan(const std::string& line, int mode, const std::string& stopSet, int want, std::string token = "") {
    std::size_t position = 0;
    const bool found = scan_token(line, position, mode, token, stopSet, want, QUVEN_ENV);
    return {found, token, line.substr(position)};
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

TEST_F(ScanToken, Mode0DropsBlanksWhereverTheyStand) {
  EXPECT_EQ(scan("  a \tb  c /rest", 0, "/", 1), (Scan{true, "abc", "/rest"}));
  EXPECT_EQ(scan("abc", 0, "", 1), (Scan{true, "abc", ""}));
  EXPECT_EQ(scan("a b", 0, "", 1, "not empty"), (Scan{true, "ab", ""}));
}

TEST_F(ScanToken, Mode1KeepsInnerBlanksAndTrimsTheEnds) {
  EXPECT_EQ(scan(" \ta \t b\t <rest", 1, "<", 1), (Scan{true, "a \t b", "<rest"}));
  EXPECT_EQ(scan("a b", 1, "", 1), (Scan{true, "a b", ""}));
}

TEST_F(ScanToken, Mode2DropsBlanksWhileThePassedTokenIsEmpty) {
  EXPECT_EQ(scan(" a\t b >rest", 2, ">", 1, ""), (Scan{true, "ab", ">rest"}));
}

TEST_F(ScanToken, Mode2EndsAtABlankWhenThePassedTokenIsNotEmpty) {
  EXPECT_EQ(scan("a b>rest", 2, ">", 1, "old"), (Scan{true, "a", " b>rest"}));
  EXPECT_EQ(scan("a\tb>rest", 2, ">", 1, "old"), (Scan{true, "a", "\tb>rest"}));
  EXPECT_EQ(scan(" a>rest", 2, ">", 0, "old"), (Scan{true, "", " a>rest"}));
  EXPECT_EQ(scan(" a>rest", 2, ">", 1, "old"), (Scan{false, "", " a>rest"}));
}

TEST_F(ScanToken, OnlyBlankAndTabAreBlanks) {
  EXPECT_EQ(scan("a\nb\rc\vd", 0, "", 1), (Scan{true, "a\nb\rc\vd", ""}));
  EXPECT_EQ(scan("\n", 1, "", 1), (Scan{true, "\n", ""}));
}

TEST_F(ScanToken, StopsAtAnyCharacterOfTheStopSetWithoutConsumingIt) {
  EXPECT_EQ(scan("name/>", 0, "/>", 1), (Scan{true, "name", "/>"}));
  EXPECT_EQ(scan("name>/", 0, "/>", 1), (Scan{true, "name", ">/"}));
  EXPECT_EQ(scan("name", 0, "/>", 1), (Scan{true, "name", ""}));
}

TEST_F(ScanToken, DropsABlankBeforeItLooksAtTheStopSet) {
  EXPECT_EQ(scan("a b", 0, " ", 1), (Scan{true, "ab", ""}));
  EXPECT_EQ(scan("a b", 1, " ", 1), (Scan{true, "a", " b"}));
}

TEST_F(ScanToken, Want0IsTrueForAnEmptyTokenAndMovesToTheStop) {
  EXPECT_EQ(scan("  \t/x", 0, "/", 0, "old"), (Scan{true, "", "/x"}));
  EXPECT_EQ(scan("  \t", 0, "", 0), (Scan{true, "", ""}));
  EXPECT_EQ(scan("", 0, "", 0), (Scan{true, "", ""}));
  EXPECT_EQ(scan("  <x", 1, "<", 0), (Scan{true, "", "<x"}));
}

TEST_F(ScanToken, AFalseResultRestoresThePositionAndStillStoresTheToken) {
  EXPECT_EQ(scan("  a b/x", 0, "/", 0), (Scan{false, "ab", "  a b/x"}));
  EXPECT_EQ(scan("  /x", 0, "/", 1, "old"), (Scan{false, "", "  /x"}));
  EXPECT_EQ(scan("  \t ", 1, "", 1, "old"), (Scan{false, "", "  \t "}));
}

TEST_F(ScanToken, StartsAtThePositionGiven) {
  std::size_t position = 2;
  std::string token;
  EXPECT_TRUE(scan_token("a/b/c", position, 0, token, "/", 1, QUVEN_ENV));
  EXPECT_EQ(token, "b");
  EXPECT_EQ(position, 3u);
}

TEST_F(ScanToken, ReadsNothingAtAndBehindTheEndOfTheLine) {
  for (const std::size_t start : {2u, 3u, 100u}) {
    std::size_t position = start;
    std::string token = "old";
    EXPECT_FALSE(scan_token("ab", position, 0, token, "/", 1, QUVEN_ENV));
    EXPECT_TRUE(scan_token("ab", position, 0, token, "/", 0, QUVEN_ENV));
    EXPECT_EQ(token, "");
    EXPECT_EQ(position, start);
  }
}

TEST_F(ScanToken, AnyOtherWantIsNotImplemented) {
  for (const int want : {-1, 2, 7}) {
    ::testing::internal::CaptureStdout();
    EXPECT_THROW((void)scan("a", 0, "", want), int);
    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                ::testing::HasSubstr("\n    Function/Feature not yet implemented"));
  }
}

TEST_F(ScanToken, AnyOtherModeIsNotImplemented) {
  for (const int mode : {-1, 3}) {
    ::testing::internal::CaptureStdout();
    EXPECT_THROW((void)scan("a", mode, "", 1), int);
    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                ::testing::HasSubstr("\n    Function/Feature not yet implemented"));
  }
}

TEST(Trim, RemovesBlanksAndTabsAtBothEndsOnly) {
  EXPECT_EQ(trim(" \t a \t b \t "), "a \t b");
  EXPECT_EQ(trim("a"), "a");
  EXPECT_EQ(trim(""), "");
  EXPECT_EQ(trim(" \t "), "");
  EXPECT_EQ(trim("\na\r"), "\na\r");
}

TEST(EscapeEntities, ReplacesTheFiveCharactersAndNothingElse) {
  EXPECT_EQ(escape_entities("\"&'<>"), "&quot;&amp;&apos;&lt;&gt;");
  EXPECT_EQ(escape_entities("a&amp;b"), "a&amp;amp;b");
  EXPECT_EQ(escape_entities(" plain/text=;#\t\n\x7f\x80"), " plain/text=;#\t\n\x7f\x80");
  EXPECT_EQ(escape_entities(""), "");
}

/// The decoded text, or nothing where decoding fails. A failure must leave the text as it was.
std::optional<std::string> decode(const std::string& text) {
  std::string token = text;
  if (decode_entities(token)) return token;
  EXPECT_EQ(token, text) << "a failed decoding changed the token";
  return std::nullopt;
}

TEST(DecodeEntities, ReplacesTheNamedEntities) {
  EXPECT_EQ(decode("&amp;"), "&");
  EXPECT_EQ(decode("&lt;"), "<");
  EXPECT_EQ(decode("&gt;"), ">");
  EXPECT_EQ(decode("&apos;"), "'");
  EXPECT_EQ(decode("&quot;"), "\"");
  EXPECT_EQ(decode("a&lt;b&gt;;c&amp;lt;"), "a<b>;c&lt;");
  EXPECT_EQ(decode(""), "");
  EXPECT_EQ(decode("no entity; here"), "no entity; here");
}

TEST(DecodeEntities, RefusesWhatIsNoEntity) {
  for (const char* text :
       {"&", "a&b", "&amp", "&;", "&AMP;", "& amp;", "&amp ;", "&nbsp;", "&&amp;", "x&lt;&", "&x41;"})
    EXPECT_EQ(decode(text), std::nullopt) << text;
}

struct NumericCase {
  const char* text;
  std::optional<int> code;
};

TEST(DecodeEntities, NumericCodesFollowTheirOwnRules) {
  // code = sum of digit times base to the power of its place, counted from the last digit
  const NumericCase cases[] = {
      {"&#65;", 65},
      {"&#x41;", 65},
      {"&#X41;", 65},
      {"&#10;", 10},
      {"&#0;", 0},
      {"&#7;", 7},
      {"&#x7;", 7},
      {"&#x7F;", 127},
      {"&#x7f;", 127},
      {"&#127;", 127},
      {"&#128;", {}},
      {"&#x80;", {}},
      {"&#x080;", {}},
      {"&#0128;", {}},  // reaches 128
      {"&#8;", {}},
      {"&#9;", {}},
      {"&#97;", {}},
      {"&#xA;", {}},  // first digit of 8 or above
      {"&#xA0;", {}},
      {"&#xa;", {}},
      {"&#x8;", {}},
      {"&#a;", {}},  // the same
      {"&#097;", 97},
      {"&#x0A;", 10},
      {"&#08;", 8},
      {"&#x0f;", 15},  // a zero in front lets it pass
      {"&#0a;", 10},
      {"&#5A;", 60},
      {"&#a5;", {}},
      {"&#0b;", {}},  // digit = base passes, above fails
      {"&#x0g;", 16},
      {"&#x1G;", 32},
      {"&#x0h;", {}},
      {"&#x0z;", {}},  // the same with base 16
      {"&#;", {}},
      {"&#x;", {}},
      {"&#X;", {}},  // no digits
      {"&# 65;", {}},
      {"&#-1;", {}},
      {"&#6.5;", {}},
      {"&#6:;", {}},  // no digit at all
      {"&#0x41;", {}},
      {"&#xx41;", {}},
      {"&#6\xc3\xa4;", {}},                            // 'x' is 33, above every base
      {"&#00000000000000000000000000000000065;", 65},  // zeros weigh nothing
      {"&#x00000000000000000000000000000000041;", 65},
      {"&#10000000000000000000000000000000000;", {}},  // 2^32 and 2^64 do not wrap
      {"&#4294967361;", {}},
      {"&#x100000041;", {}},
      {"&#18446744073709551681;", {}},
  };
  for (const NumericCase& one : cases) {
    const std::optional<std::string> expected =
        one.code ? std::optional<std::string>(std::string(1, static_cast<char>(*one.code))) : std::nullopt;
    EXPECT_EQ(decode(one.text), expected) << one.text;
  }
}

TEST(DecodeEntities, TakesBackWhatEscapingDid) {
  std::string all;
  for (int code = 0; code < 256; ++code) all += static_cast<char>(code);
  EXPECT_EQ(decode(escape_entities(all)), all);
}

class ReadNumberList : public ::testing::Test {
 protected:
  template <class Number>
  std::vector<Number> numbersOf(const std::string& text) {
    QUVENXaRay<Number> numbers;
    numbers.append(Number{77}, QUVEN_ENV);
    read_number_list(text, numbers, QUVEN_ENV);
    std::vector<Number> result(numbers.begin(), numbers.end());
    numbers.deleteMemory(QUVEN_ENV);
    return result;
  }
  std::vector<std::int32_t> integers(const std::string& text) { return numbersOf<std::int32_t>(text); }
  std::vector<double> doubles(const std::string& text) { return numbersOf<double>(text); }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

TEST_F(ReadNumberList, GivesAnElementMoreThanThereAreCommas) {
  EXPECT_EQ(integers("1,2,3"), (std::vector<std::int32_t>{1, 2, 3}));
  EXPECT_EQ(integers(" -4 ,\t+5"), (std::vector<std::int32_t>{-4, 5}));
  EXPECT_EQ(integers("7"), (std::vector<std::int32_t>{7}));
  EXPECT_EQ(doubles("0.5,1e3,-2"), (std::vector<double>{0.5, 1000, -2}));
  EXPECT_EQ(integers("1 2 3"), (std::vector<std::int32_t>{1}));
}

TEST_F(ReadNumberList, LeavesZerosFromTheFirstWordThatIsNoNumber) {
  EXPECT_EQ(integers(""), (std::vector<std::int32_t>{0}));
  EXPECT_EQ(integers(","), (std::vector<std::int32_t>{0, 0}));
  EXPECT_EQ(integers("1,,3"), (std::vector<std::int32_t>{1, 3, 0}));
  EXPECT_EQ(integers("1,x,3"), (std::vector<std::int32_t>{1, 0, 0}));
  EXPECT_EQ(doubles("1,x,3"), (std::vector<double>{1, 0, 0}));
  EXPECT_EQ(integers("1.5,2"), (std::vector<std::int32_t>{1, 0}));
  EXPECT_EQ(integers("1,99999999999,3"), (std::vector<std::int32_t>{1, 2147483647, 0}));
}

}  // namespace
