#include "control/quven_category_code.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(QUVENCategoryCode, IsTheNumberOfAPlainWholeNumber) {
  EXPECT_EQ(quvenCategoryCode("0"), 0U);
  EXPECT_EQ(quvenCategoryCode("7"), 7U);
  EXPECT_EQ(quvenCategoryCode("94105"), 94105U);
  EXPECT_EQ(quvenCategoryCode("99999999999999"), 99999999999999U);
}

// The hashes of "", "a" and "foobar" are those of the test vectors of the source: cbf29ce484222325, af63dc4c8601ec8c
// and 85944171f73967e8.
TEST(QUVENCategoryCode, IsTheHashOfAnyOtherText) {
  EXPECT_EQ(quvenCategoryCode(""), 100000000000000U + 0xcbf29ce484222325U % 900000000000000U);
  EXPECT_EQ(quvenCategoryCode("a"), 100000000000000U + 0xaf63dc4c8601ec8cU % 900000000000000U);
  EXPECT_EQ(quvenCategoryCode("foobar"), 100000000000000U + 0x85944171f73967e8U % 900000000000000U);
}

// Pinned: a table for scoring must get the codes of the table for training.
TEST(QUVENCategoryCode, IsTheSameForEver) {
  EXPECT_EQ(quvenCategoryCode("yes"), 491694229043088U);
  EXPECT_EQ(quvenCategoryCode("no"), 642662776756986U);
  EXPECT_EQ(quvenCategoryCode("007"), 721068875067950U);
  EXPECT_EQ(quvenCategoryCode("-1"), 562081143836971U);
  EXPECT_EQ(quvenCategoryCode("1.0"), 623335376788690U);
  EXPECT_EQ(quvenCategoryCode("100000000000000"), 825316881984124U);
}

TEST(QUVENCategoryCode, HashesNumbersInAnotherForm) {
  for (const char* text : {"00", "01", "+1", "-1", "1e3", "1.", " 1", "1 ", "0x1", "100000000000000"}) {
    EXPECT_GE(quvenCategoryCode(text), 100000000000000U) << text;
    EXPECT_LE(quvenCategoryCode(text), 999999999999999U) << text;
  }
}

TEST(QUVENCategoryText, IsTheDigitsOfAWholeNumber) {
  EXPECT_EQ(QUVENCategoryText(0).get(), "0");
  EXPECT_EQ(QUVENCategoryText(-0.0).get(), "0");
  EXPECT_EQ(QUVENCategoryText(-12).get(), "-12");
  EXPECT_EQ(QUVENCategoryText(999999999999999.0).get(), "999999999999999");
  EXPECT_EQ(QUVENCategoryText(1e15).get(), "1e+15");
}

TEST(QUVENCategoryText, IsTheShortestTextOfAnotherNumber) {
  EXPECT_EQ(QUVENCategoryText(0.1).get(), "0.1");
  EXPECT_EQ(QUVENCategoryText(-2.5).get(), "-2.5");
  EXPECT_EQ(QUVENCategoryText(std::numeric_limits<double>::infinity()).get(), "inf");
  EXPECT_EQ(QUVENCategoryText(-std::numeric_limits<double>::max()).get(), "-1.7976931348623157e+308");
}

TEST(QUVENCategoryText, OfACodeIsItsDigits) {
  for (const char* text : {"12", "yes", "a longer text, with a comma"}) {
    const std::uint64_t code = quvenCategoryCode(text);
    EXPECT_EQ(QUVENCategoryText(static_cast<double>(code)).get(), std::to_string(code)) << text;
  }
}

}  // namespace
