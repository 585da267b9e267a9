#include "util/quven_element_frame.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

const QUVENKeyword first("ivFirst", 1, 1, QUVEN_KWD(EndArray));
const QUVENKeyword second("ivSecond", 1, 2, QUVEN_KWD(EndArray));

// Codes are negative numbers in one byte: the complement of 1 more than a code, with the sign and the mark of the last.
TEST(QUVENElementFrame, HasTheBytesAroundTheValues) {
  const QUVENElementFrame frame("QUVENAny", std::vector<QUVENKeyword>{first, second});
  const auto byteOf = [](const QUVENKeyword& keyword) { return static_cast<char>((keyword.getCode() - 1) | 0xc0); };
  const std::string name = std::string(1, '\x88') + "QUVENAny";
  EXPECT_EQ(frame.head, byteOf(QUVEN_KWD(BeginObjectType)) + name + byteOf(first));
  EXPECT_EQ(frame.middle, std::string(1, byteOf(second)));
  EXPECT_EQ(frame.tail, std::string(1, byteOf(QUVEN_KWD(EndObject))));
  EXPECT_EQ(frame.size(), frame.head.size() + 2);
}

TEST(QUVENElementFrame, WhatIsFilledInIsTakenOut) {
  std::vector<char> bytes(100);
  QUVENImageFiller filler(bytes.data());
  filler.add("head");
  filler.addDouble(2.5);
  filler.addSigned(3);
  filler.add("red");
  filler.addUnsigned(300);
  const std::size_t count = filler.getCount();
  ASSERT_EQ(count, 4 + 8 + 1 + 3 + 2U);

  QUVENImageParser parser(bytes);
  double number = 0;
  std::string_view text;
  std::uint64_t whole = 0;
  EXPECT_TRUE(parser.expect("head"));
  EXPECT_TRUE(parser.takeDouble(number));
  EXPECT_TRUE(parser.takeText(text));
  EXPECT_TRUE(parser.takeUnsigned(whole));
  EXPECT_EQ(number, 2.5);
  EXPECT_EQ(text, "red");
  EXPECT_EQ(whole, 300U);
  EXPECT_EQ(parser.getCount(), count);
  EXPECT_FALSE(QUVENImageParser(bytes).expect("tail"));
}

TEST(QUVENElementFrame, AnInfiniteNumberIsTheLargestOne) {
  std::vector<char> bytes(8);
  QUVENImageFiller(bytes.data()).addDouble(-std::numeric_limits<double>::infinity());
  double number = 0;
  EXPECT_TRUE(QUVENImageParser(bytes).takeDouble(number));
  EXPECT_EQ(number, std::numeric_limits<double>::lowest());
}

// A number of variable length is taken only where the longest one would fit; other readers go byte by byte there.
TEST(QUVENElementFrame, TakesNothingBeyondTheBytes) {
  std::vector<char> bytes(30, '\x80');
  double number = 0;
  std::string_view text;
  std::uint64_t whole = 0;
  EXPECT_FALSE(QUVENImageParser({bytes.data(), 7}).takeDouble(number));
  EXPECT_FALSE(QUVENImageParser({bytes.data(), 9}).takeUnsigned(whole));
  EXPECT_FALSE(QUVENImageParser({bytes.data(), 9}).takeText(text));
  EXPECT_FALSE(QUVENImageParser({bytes.data(), 3}).expect("\x80\x80\x80\x80"));
  QUVENImageFiller(bytes.data()).addSigned(30);
  EXPECT_FALSE(QUVENImageParser(bytes).takeText(text));  // one byte is the length
  QUVENImageFiller(bytes.data()).addSigned(29);
  EXPECT_TRUE(QUVENImageParser(bytes).takeText(text));
  QUVENImageFiller(bytes.data()).addSigned(-1);
  EXPECT_FALSE(QUVENImageParser(bytes).takeText(text));
}

}  // namespace
