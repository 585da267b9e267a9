#include "number_reading.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <random>
#include <string>

#include "fixed_fields.h"

namespace vesk_loader {
namespace {

// Reads one field that is the whole line, the way the scan does.
class OneField {
 public:
  explicit OneField(const std::string& text_)
      : text(std::string(64, '7') + text_ + std::string(64, '7')),
        fields({0}, {static_cast<std::int32_t>(text_.size()) - 1}) {
    fields.split_fixed_fields({text.data() + 64, text_.size()});
    isWord = fields.findWords();
    FieldText alone;
    EXPECT_EQ(fields.findWord(0, alone), isWord) << '[' << text_ << ']';
  }
  bool isWord = false;
  FieldText field() const { return fields[0]; }

 private:
  std::string text;
  FixedFields fields;
};

// A token of digits with one character changed now and then, behind characters that do not belong to it.
TEST(ReadDigits, BothFormsReadTokensOfEveryLength) {
  std::mt19937_64 random(17);
  for (std::size_t length = 1; length <= 16; ++length) {
    for (int round = 0; round < 3000; ++round) {
      std::string text(64, static_cast<char>(random()));
      std::string token;
      for (std::size_t i = 0; i < length; ++i) token += static_cast<char>('0' + random() % 10);
      if (round % 3 == 0) token[random() % length] = static_cast<char>(random());
      text += token;
      const bool isNumber = token.find_first_not_of("0123456789") == std::string::npos;
      const char* const end = text.data() + text.size();
      std::uint64_t value = 0;
      ASSERT_EQ(read_digits_by_words(end, length, value), isNumber) << '[' << token << ']';
      EXPECT_TRUE(!isNumber || value == std::stoull(token)) << '[' << token << ']';
#ifdef __SSE2__
      value = 0;
      ASSERT_EQ(read_digits_by_vectors(end, length, value), isNumber) << '[' << token << ']';
      EXPECT_TRUE(!isNumber || value == std::stoull(token)) << '[' << token << ']';
#endif
    }
  }
}

void expectLibraryValues(const std::string& text) {
  const OneField one(text);
  if (!one.isWord) return;
  const double expected = std::atof(text.c_str());
  const double actual = read_double(one.field());
  EXPECT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected)) << '[' << text << ']';
  const long integer = std::strtol(text.c_str(), nullptr, 10);
  if (integer <= INT32_MAX && integer >= INT32_MIN) {
    EXPECT_EQ(read_integer(one.field()), integer) << '[' << text << ']';
  }
}

TEST(ReadDouble, GivesTheValueOfAtofForEveryKindOfText) {
  for (const char* text : {"0",
                           "1",
                           "9",
                           "12345678",
                           "123456789",
                           "00000000000000000001",
                           "9007199254740992",
                           "9007199254740993",
                           "9999999999999999",
                           "99999999999999999",
                           "18446744073709551615",
                           "18446744073709551616",
                           "-1",
                           "+5",
                           "-0",
                           "1.5",
                           ".5",
                           "5.",
                           "1e5",
                           "1E-5",
                           "1e400",
                           "-1e400",
                           "0x10",
                           "0x1p4",
                           "inf",
                           "nan",
                           "infinity",
                           "-nan",
                           "abc",
                           "12abc",
                           "1,",
                           ",1",
                           "1\t",
                           "\t1",
                           "\v12",
                           "\r12",
                           "12\r",
                           "1e",
                           "1e+",
                           "--1",
                           "1-1",
                           "0x",
                           "$5",
                           "12:",
                           "12/"}) {
    expectLibraryValues(text);
  }
}

TEST(ReadDouble, GivesTheValueOfAtofForEveryLengthOfDigitsAndPadding) {
  std::mt19937_64 random(1);
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t padding = 0; padding <= 40; ++padding) {
      std::string digits;
      for (std::size_t i = 0; i < length; ++i) digits += static_cast<char>('0' + random() % 10);
      expectLibraryValues(std::string(padding, ' ') + digits);
      expectLibraryValues(digits + std::string(padding, ' '));
      expectLibraryValues(std::string(padding, ' ') + digits + ",");
    }
  }
}

TEST(ReadDouble, GivesTheValueOfAtofForRandomTexts) {
  const std::string alphabet = "0123456789012345678901234567890123456789 ,\t.+-eExXpnaif\r\v\x80";
  std::mt19937_64 random(2);
  for (int round = 0; round < 300000; ++round) {
    std::string text;
    const std::size_t length = 1 + random() % 24;
    for (std::size_t i = 0; i < length; ++i) text += alphabet[random() % alphabet.size()];
    expectLibraryValues(text);
  }
}

TEST(ReadInteger, StaysInsideThirtyTwoBits) {
  EXPECT_EQ(read_integer_by_library("2147483647"), INT32_MAX);
  EXPECT_EQ(read_integer_by_library("2147483648"), INT32_MAX);
  EXPECT_EQ(read_integer_by_library("-2147483649"), INT32_MIN);
  EXPECT_EQ(read_integer_by_library("99999999999999999999999"), INT32_MAX);
  EXPECT_EQ(read_integer_by_library("no number"), 0);
  EXPECT_EQ(read_integer_by_library(""), 0);
}

TEST(EightDigits, AreAcceptedOnlyIfAllAreDigits) {
  const auto value = [](const char* text) {
    std::uint64_t word;
    std::memcpy(&word, text, 8);
    return eight_digits(word);
  };
  EXPECT_EQ(value("00000000"), 0U);
  EXPECT_EQ(value("12345678"), 12345678U);
  EXPECT_EQ(value("99999999"), 99999999U);
  for (int place = 0; place < 8; ++place) {
    for (int character = 0; character < 256; ++character) {
      if (character >= '0' && character <= '9') continue;
      std::string text = "11111111";
      text[static_cast<std::size_t>(place)] = static_cast<char>(character);
      EXPECT_GT(value(text.c_str()), 99999999U) << place << ' ' << character;
    }
  }
}

}  // namespace
}  // namespace vesk_loader
