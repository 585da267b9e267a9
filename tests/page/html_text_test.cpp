#include "page/html_text.h"

#include <gmock/gmock.h>

#include <limits>

namespace vesk_page {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(HtmlText, EscapesWhatIsMarkupInTextsAndAttributes) {
  EXPECT_EQ(htmlText("<script>alert(1)</script>"), "&lt;script&gt;alert(1)&lt;/script&gt;");
  EXPECT_EQ(htmlText("\"><img>"), "&quot;&gt;&lt;img&gt;");
  EXPECT_EQ(htmlText("a & 'b'"), "a &amp; &#39;b&#39;");
}

TEST(HtmlText, KeepsLettersOfAllLanguages) {
  for (const char* text : {"Zürich", "日本", "\U0001F600", "\x7E", "\xC2\xA0", "\xED\x9F\xBF", "\xF4\x8F\xBF\xBD"}) {
    EXPECT_EQ(cleanText(text), text);
  }
}

TEST(HtmlText, ReplacesControlCharacters) {
  EXPECT_EQ(cleanText("a\tb\r\nc"), "a b  c");
  EXPECT_EQ(cleanText(std::string("\0\x01\x1B\x7F", 4)), "\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(cleanText("\xC2\x85"), "\uFFFD");                  // U+0085
  EXPECT_EQ(cleanText("\u202Eabc\u2069"), "\uFFFDabc\uFFFD");  // change the direction of the text
  EXPECT_EQ(cleanText("\xEF\xBF\xBE"), "\uFFFD");              // U+FFFE is no character
}

TEST(HtmlText, ReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(cleanText("Z\xFCrich"), "Z\uFFFDrich");
  EXPECT_EQ(cleanText("\xC3"), "\uFFFD");                      // cut
  EXPECT_EQ(cleanText("\xE2\x82"), "\uFFFD\uFFFD");            // cut
  EXPECT_EQ(cleanText("\xC0\xBC"), "\uFFFD\uFFFD");            // an overlong form of <
  EXPECT_EQ(cleanText("\xE0\x80\xBC"), "\uFFFD\uFFFD\uFFFD");  // an overlong form of three bytes
  EXPECT_EQ(cleanText("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");  // a surrogate
  EXPECT_EQ(cleanText("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(cleanText("\xFF<"), "\uFFFD<");
}

TEST(HtmlText, ShortensInTheMiddleByCharacters) {
  EXPECT_EQ(shortenedText("", 6), "");
  EXPECT_EQ(shortenedText("abcdef", 6), "abcdef");
  EXPECT_EQ(shortenedText("abcdefg", 6), "abc…fg");
  EXPECT_EQ(shortenedText("äöüäöüß", 6), "äöü…üß");
  EXPECT_EQ(shortenedText("ab", 1), "…");
}

TEST(HtmlText, NumbersHaveFiveOrSixDigits) {
  EXPECT_EQ(shortNumber(0.123456789), "0.12346");
  EXPECT_EQ(shortNumber(1234.5678), "1234.6");
  EXPECT_EQ(shortNumber(123456.7), "123457");
  EXPECT_EQ(shortNumber(-1234567), "-1.23457e+06");
  EXPECT_EQ(shortNumber(-0.0), "0");
  EXPECT_EQ(countNumber(1234567), "1234567");
  EXPECT_EQ(countNumber(0.5), "0.5");
  EXPECT_EQ(percentText(0.123456), "12.35 %");
}

TEST(HtmlText, HasWordsForNumbersThatAreNotFinite) {
  EXPECT_EQ(shortNumber(std::numeric_limits<double>::quiet_NaN()), "none");
  EXPECT_EQ(shortNumber(std::numeric_limits<double>::lowest()), "none");
  EXPECT_EQ(shortNumber(infinity), "infinite");
  EXPECT_EQ(countNumber(-infinity), "-infinite");
  EXPECT_EQ(percentText(infinity), "infinite");
}

}  // namespace
}  // namespace vesk_page
