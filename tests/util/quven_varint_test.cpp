#include "util/quven_varint.h"

#include <limits>

#include "stream_language.h"

namespace {

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t largestUnsigned = std::numeric_limits<std::uint64_t>::max();

std::string unsignedBytes(std::uint64_t value) {
  char bytes[quvenMaxVarintBytes];
  return std::string(bytes, quvenEncodeUnsigned(value, bytes));
}

std::string signedBytes(std::int64_t value) {
  char bytes[quvenMaxVarintBytes];
  return std::string(bytes, quvenEncodeSigned(value, bytes));
}

/// The definition, one bit at a time.
std::string literalGroups(std::string bits) {
  bits.resize((bits.size() + 6) / 7 * 7, '0');
  std::string bytes;
  for (std::size_t i = 0; i < bits.size(); i += 7) {
    unsigned byte = i + 7 == bits.size() ? 0x80 : 0;
    for (std::size_t k = 0; k < 7; ++k) byte += bits[i + k] == '1' ? 1U << k : 0U;
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

std::string bitsFromTheLowest(std::uint64_t value) {
  std::string bits;
  for (; value != 0; value /= 2) bits += value % 2 == 0 ? '0' : '1';
  return bits;
}

std::string literalUnsigned(std::uint64_t value) { return literalGroups(value == 0 ? "0" : bitsFromTheLowest(value)); }

std::string literalSigned(std::int64_t value) {
  std::string bits = bitsFromTheLowest(static_cast<std::uint64_t>(value < 0 ? -1 - value : value));
  bits.resize(std::max<std::size_t>(bits.size(), 6), '0');
  return literalGroups(bits.substr(0, 6) + (value < 0 ? '1' : '0') + bits.substr(6));
}

/// What the bytes mean, and that they were all taken; "refused" for a number beyond 64 bits.
template <class Number, class Decode>
std::string decoded(const std::string& bytes, Decode decode) {
  Number value = 0;
  const char* at = bytes.data();
  if (!decode(at, value)) return "refused";
  return std::to_string(value) + (at == bytes.data() + bytes.size() ? "" : " and a rest");
}

std::string decodedUnsigned(const std::string& bytes) { return decoded<std::uint64_t>(bytes, quvenDecodeUnsigned); }
std::string decodedSigned(const std::string& bytes) { return decoded<std::int64_t>(bytes, quvenDecodeSigned); }

}  // namespace

TEST(QUVENVarint, WritesUnsignedNumbersLeastGroupFirstAndMarksTheLast) {
  const std::pair<std::uint64_t, const char*> rows[] = {
      {0, "80"},
      {1, "81"},
      {63, "bf"},
      {64, "c0"},
      {127, "ff"},
      {128, "00 81"},
      {129, "01 81"},
      {255, "7f 81"},
      {256, "00 82"},
      {300, "2c 82"},
      {16383, "7f ff"},
      {16384, "00 00 81"},
      {2097151, "7f 7f ff"},
      {2097152, "00 00 00 81"},
      {4294967295, "7f 7f 7f 7f 8f"},
      {1ULL << 62, "00 00 00 00 00 00 00 00 c0"},
      {(1ULL << 63) - 1, "7f 7f 7f 7f 7f 7f 7f 7f ff"},
      {1ULL << 63, "00 00 00 00 00 00 00 00 00 81"},
      {largestUnsigned, "7f 7f 7f 7f 7f 7f 7f 7f 7f 81"},
  };
  for (const auto& [value, bytes] : rows) EXPECT_EQ(hexOf(unsignedBytes(value)), bytes) << value;
}

TEST(QUVENVarint, WritesTheSignIntoTheFirstByte) {
  const std::pair<std::int64_t, const char*> rows[] = {
      {0, "80"},
      {-1, "c0"},
      {1, "81"},
      {-2, "c1"},
      {63, "bf"},
      {-64, "ff"},
      {64, "00 81"},
      {-65, "40 81"},
      {65, "01 81"},
      {-66, "41 81"},
      {127, "3f 81"},
      {-128, "7f 81"},
      {128, "00 82"},
      {-129, "40 82"},
      {8191, "3f ff"},
      {-8192, "7f ff"},
      {8192, "00 00 81"},
      {-8193, "40 00 81"},
      {2147483647, "3f 7f 7f 7f 8f"},
      {-2147483648, "7f 7f 7f 7f 8f"},
      {largest, "3f 7f 7f 7f 7f 7f 7f 7f 7f 81"},
      {smallest, "7f 7f 7f 7f 7f 7f 7f 7f 7f 81"},
  };
  for (const auto& [value, bytes] : rows) EXPECT_EQ(hexOf(signedBytes(value)), bytes) << value;
}

TEST(QUVENVarint, AgreesWithTheDefinitionAroundEveryPowerOfTwo) {
  for (int power = 0; power < 64; ++power) {
    for (int distance = -2; distance <= 2; ++distance) {
      const std::uint64_t value = (std::uint64_t{1} << power) + static_cast<std::uint64_t>(distance);
      EXPECT_EQ(hexOf(unsignedBytes(value)), hexOf(literalUnsigned(value))) << value;
      EXPECT_EQ(decodedUnsigned(unsignedBytes(value)), std::to_string(value));
      for (const std::uint64_t pattern : {value, ~value}) {
        const std::int64_t number = static_cast<std::int64_t>(pattern);
        EXPECT_EQ(hexOf(signedBytes(number)), hexOf(literalSigned(number))) << number;
        EXPECT_EQ(decodedSigned(signedBytes(number)), std::to_string(number));
      }
    }
  }
}

TEST(QUVENVarint, AgreesWithTheDefinitionOnRandomNumbersOfEveryWidth) {
  constexpr unsigned seed = 4711;
  std::mt19937_64 random(seed);
  for (int round = 0; round < 20000; ++round) {
    const std::uint64_t value = random() >> (round % 64);
    const std::int64_t number = static_cast<std::int64_t>(round % 3 == 0 ? ~value : value);
    ASSERT_EQ(hexOf(unsignedBytes(value)), hexOf(literalUnsigned(value))) << value << " of seed " << seed;
    ASSERT_EQ(decodedUnsigned(unsignedBytes(value)), std::to_string(value)) << " of seed " << seed;
    ASSERT_EQ(hexOf(signedBytes(number)), hexOf(literalSigned(number))) << number << " of seed " << seed;
    ASSERT_EQ(decodedSigned(signedBytes(number)), std::to_string(number)) << " of seed " << seed;
  }
}

TEST(QUVENVarint, TakesUpOneToTenBytes) {
  const std::pair<std::int64_t, std::size_t> rows[] = {{0, 1},    {-1, 1},   {63, 1},       {64, 2},       {-65, 2},
                                                       {8191, 2}, {8192, 3}, {largest, 10}, {smallest, 10}};
  for (const auto& [value, length] : rows) EXPECT_EQ(signedBytes(value).size(), length) << value;
  EXPECT_EQ(unsignedBytes(largestUnsigned).size(), quvenMaxVarintBytes);
}

TEST(QUVENVarint, StopsBehindTheMarkedByte) {
  const std::string bytes = bytesOf("00 81 ff ff");
  const char* at = bytes.data();
  std::int64_t number = 0;
  EXPECT_TRUE(quvenDecodeSigned(at, number));
  EXPECT_EQ(number, 64);
  EXPECT_EQ(at - bytes.data(), 2);
  EXPECT_TRUE(quvenDecodeSigned(at, number));
  EXPECT_EQ(number, -64);
  EXPECT_EQ(at - bytes.data(), 3);
}

// A foreign writer may pad a number with groups of zeros; it means the same.
TEST(QUVENVarint, ReadsNumbersThatAreLongerThanNeeded) {
  EXPECT_EQ(decodedUnsigned(bytesOf("05 80")), "5");
  EXPECT_EQ(decodedUnsigned(bytesOf("05 00 00 00 00 00 00 00 00 80")), "5");
  EXPECT_EQ(decodedSigned(bytesOf("05 80")), "5");
  EXPECT_EQ(decodedSigned(bytesOf("45 80")), "-6");
  EXPECT_EQ(decodedSigned(bytesOf("45 00 00 00 00 00 00 00 00 80")), "-6");
}

TEST(QUVENVarint, RefusesNumbersBeyond64Bits) {
  const char* nineGroups = "7f 7f 7f 7f 7f 7f 7f 7f 7f ";
  for (const char* tenth : {"82", "83", "c1", "ff", "00", "01", "7f"}) {
    const std::string bytes = bytesOf(std::string(nineGroups) + tenth + " 80");
    EXPECT_EQ(decodedUnsigned(bytes), "refused") << tenth;
    EXPECT_EQ(decodedSigned(bytes), "refused") << tenth;
  }
  for (const char* tenth : {"80", "81"}) {
    EXPECT_NE(decodedUnsigned(bytesOf(std::string(nineGroups) + tenth)), "refused") << tenth;
    EXPECT_NE(decodedSigned(bytesOf(std::string(nineGroups) + tenth)), "refused") << tenth;
  }
}
