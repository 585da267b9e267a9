#include "util/quven_hash.h"

#include <array>
#include <cstdint>
#include <string_view>

// The expected values come from a separate program that evaluates the written formulas with unbounded integers and
// reduces each operation modulo 2 to the 32.

namespace {

struct HashRow {
  std::string_view text;
  std::uint32_t seed;
  std::uint32_t expected;
};

std::uint32_t hashOf(const HashRow& row) { return hashBytes(row.text.data(), row.text.size(), row.seed); }

}  // namespace

TEST(HashBytes, GivesTheValuesOfTheFormulas) {
  constexpr HashRow rows[] = {
      {"", 0, 1772156499U},
      {"a", 0, 3633212968U},
      {"ab", 0, 1169869462U},
      {"abc", 0, 85451877U},
      {"abcd", 0, 1335525147U},
      {"abcde", 0, 1195306223U},
      {"abcdefg", 0, 110926923U},
      {"abcdefgh", 0, 2792678061U},
      {"abcdefghi", 0, 2280033485U},
      {"QUVENObject", 0, 74644401U},
      {"QUVENDataPoint", 0, 3647512685U},
      {"0123456789abcde", 0, 2603783498U},
      {"0123456789abcdef", 0, 2366434482U},
      {"0123456789abcdefg", 0, 4235494986U},
      {"QUVENSimpleAlgorithmAbstractData", 0, 3208304685U},
      {"abc", 7, 794888478U},
      {"", 7, 1847458441U},
      {"0123456789abcdef", 4294967295U, 3885007526U},
  };
  for (const HashRow& row : rows) EXPECT_EQ(hashOf(row), row.expected) << row.text << " seed " << row.seed;
}

TEST(HashBytes, GivesTheValuesOfEveryLengthUpToTwoBlocksAndAHalf) {
  constexpr std::array<std::uint32_t, 41> expected = {
      1772156499U, 4253617977U, 675838210U,  2942664901U, 863712353U,  3325663202U, 2029848135U,
      552713343U,  799843843U,  1937804574U, 2841324823U, 2567224575U, 1226876871U, 1702895838U,
      1942326435U, 2666916262U, 3253516765U, 1880578565U, 2352397514U, 1148860002U, 4199634519U,
      339528396U,  1987242700U, 854739128U,  3366335013U, 3688872077U, 2069724862U, 68286795U,
      59439463U,   2241830390U, 1927774303U, 3488999647U, 629215712U,  3331280485U, 3672534231U,
      4158110521U, 3896005512U, 435251775U,  4156846694U, 1838304594U, 2206716286U};
  // Byte i is 37 i + 200, so that many bytes are above 127; the seed is the length.
  std::array<unsigned char, 41> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(37 * i + 200);
  for (std::size_t length = 0; length < expected.size(); ++length) {
    EXPECT_EQ(hashBytes(bytes.data(), length, static_cast<std::uint32_t>(length)), expected[length]) << length;
  }
}

TEST(HashBytes, TakesBytesAsSignedNumbers) {
  constexpr std::array<unsigned char, 5> bytes = {0x80, 0xff, 0xfe, 0x7f, 0x81};
  EXPECT_EQ(hashBytes(bytes.data(), bytes.size(), 0), 914875434U);
}

TEST(HashBytes, EmptyTextEqualsANullPointer) {
  for (const std::uint32_t seed : {0U, 1U, 7U, 0x80000000U, 0xffffffffU}) {
    EXPECT_EQ(hashBytes("", 0, seed), hashBytes(nullptr, 0, seed));
    EXPECT_EQ(hashBytes(nullptr, 5, seed), hashBytes(nullptr, 0, seed));
  }
}

TEST(HashInt, GivesTheValuesOfTheFormula) {
  EXPECT_EQ(hashInt(0), 1772156499U);
  EXPECT_EQ(hashInt(1), 1301336959U);
  EXPECT_EQ(hashInt(2), 110484419U);
  EXPECT_EQ(hashInt(12345), 2344516135U);
  EXPECT_EQ(hashInt(0x7fffffffU), 3820383080U);
  EXPECT_EQ(hashInt(0x80000000U), 2629530540U);
  EXPECT_EQ(hashInt(0xffffffffU), 3323589462U);
}

TEST(HashIntegerKey, IsTheFirstStepOfHashInt) {
  EXPECT_EQ(hashIntegerKey(0), 3519870697U);
  EXPECT_EQ(hashIntegerKey(1), 2165703038U);
  EXPECT_EQ(hashIntegerKey(2), 811535379U);
  EXPECT_EQ(hashIntegerKey(4L), 2398167357U);
  EXPECT_EQ(hashIntegerKey(-1), 579071060U);
  EXPECT_EQ(hashIntegerKey(-1L), 579071060U);
  EXPECT_EQ(hashIntegerKey(0x100000001L), hashIntegerKey(1));
}
