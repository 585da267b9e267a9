#include "util/quven_numbers.h"

#include <cmath>
#include <limits>
#include <vector>

#include "stream_language.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T, class Wide>
struct Row {
  Wide wide;
  T narrow;
};

/// Every row of a table saturates to its narrow number, alone and as the element of an array.
template <class T>
void expectSaturation(std::initializer_list<Row<T, QUVENWide<T>>> rows) {
  for (const auto& [wide, narrow] : rows) EXPECT_EQ(quvenSaturate<T>(wide), narrow) << +wide;
}

}  // namespace

TEST(QUVENNumbers, TravelAsTheWidestOfTheirKind) {
  EXPECT_TRUE((std::is_same_v<QUVENWide<std::int8_t>, std::int8_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<char>, std::int8_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<std::uint8_t>, std::uint8_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<bool>, std::uint8_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<std::int16_t>, std::int64_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<std::int32_t>, std::int64_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<long long>, std::int64_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<std::uint16_t>, std::uint64_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<unsigned long long>, std::uint64_t>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<float>, double>));
  EXPECT_TRUE((std::is_same_v<QUVENWide<double>, double>));
}

TEST(QUVENNumbers, SignedOnesSaturateAtBothEnds) {
  constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  expectSaturation<std::int32_t>({{0, 0},
                                  {-1, -1},
                                  {2147483646, 2147483646},
                                  {2147483647, 2147483647},
                                  {2147483648, 2147483647},
                                  {highest, 2147483647},
                                  {-2147483647, -2147483647},
                                  {-2147483648LL, std::numeric_limits<std::int32_t>::min()},
                                  {-2147483649LL, std::numeric_limits<std::int32_t>::min()},
                                  {lowest, std::numeric_limits<std::int32_t>::min()}});
  expectSaturation<std::int16_t>(
      {{32766, 32766}, {32767, 32767}, {32768, 32767}, {-32768, -32768}, {-32769, -32768}, {lowest, -32768}});
  expectSaturation<std::int64_t>({{highest, highest}, {lowest, lowest}, {-1, -1}});
  expectSaturation<std::int8_t>({{127, 127}, {-127, -127}, {-128, -128}});
}

TEST(QUVENNumbers, UnsignedOnesSaturateAtTheTop) {
  constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
  expectSaturation<std::uint32_t>(
      {{0, 0}, {4294967294, 4294967294}, {4294967295, 4294967295}, {4294967296, 4294967295}, {highest, 4294967295}});
  expectSaturation<std::uint16_t>({{65534, 65534}, {65535, 65535}, {65536, 65535}, {highest, 65535}});
  expectSaturation<std::uint64_t>({{highest, highest}});
  expectSaturation<bool>({{0, false}, {1, true}, {2, true}, {255, true}});
}

TEST(QUVENNumbers, FloatsSaturateAtTheLargestFloat) {
  constexpr float largest = std::numeric_limits<float>::max();
  constexpr double asDouble = 3.4028234663852886e38;
  EXPECT_EQ(static_cast<double>(largest), asDouble);
  expectSaturation<float>({{0.0, 0.0F},
                           {1.5, 1.5F},
                           {asDouble, largest},
                           {std::nextafter(asDouble, 0), largest},
                           {std::nextafter(asDouble, infinity), largest},
                           {infinity, largest},
                           {-asDouble, -largest},
                           {std::nextafter(-asDouble, -infinity), -largest},
                           {-infinity, -largest},
                           {1e-300, 0.0F},
                           {0.1, 0.1F}});
  EXPECT_TRUE(std::isnan(quvenSaturate<float>(std::nan(""))));
  EXPECT_TRUE(std::signbit(quvenSaturate<float>(-0.0)));
}

TEST(QUVENNumbers, DoublesSaturateInfinityOnly) {
  constexpr double largest = 1.7976931348623157e308;
  for (const double value : {0.0, 1.0, -1.0, largest, -largest, 5e-324}) EXPECT_EQ(quvenClampDouble(value), value);
  EXPECT_EQ(quvenClampDouble(infinity), largest);
  EXPECT_EQ(quvenClampDouble(-infinity), -largest);
  EXPECT_TRUE(std::isnan(quvenClampDouble(std::nan(""))));
  EXPECT_TRUE(std::signbit(quvenClampDouble(-0.0)));
}

TEST(QUVENNumbers, FindsANumberThatIsNotFiniteAtAnyPlace) {
  constexpr double largest = std::numeric_limits<double>::max();
  for (std::size_t size = 0; size < 20; ++size) {
    std::vector<double> values(size, 1.5);
    EXPECT_TRUE(quvenAllFinite(values));
    for (double& value : values) {
      for (const double finite : {0.0, -0.0, largest, -largest, std::numeric_limits<double>::denorm_min()}) {
        value = finite;
        EXPECT_TRUE(quvenAllFinite(values));
      }
      for (const double other : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::signaling_NaN()}) {
        value = other;
        EXPECT_FALSE(quvenAllFinite(values));
      }
      value = 1.5;
    }
  }
}
