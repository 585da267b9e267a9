#include "mat/MAT_PositiveArray.h"

#include <sstream>

#include "mat/MAT_DimensionSizes.h"
#include "support/internal_error.h"

namespace {

constexpr const char* sizesFile = "src/lib/mat/MAT_DimensionSizes";

std::string printed(const Printable& object) {
  std::ostringstream out;
  out << object;
  return out.str();
}

}  // namespace

TEST(PositiveArray, PrintsItsElements) {
  EXPECT_EQ(printed(PositiveArray()), "[ ]");
  EXPECT_EQ(printed(PositiveArray{4294967295}), "[ 4294967295 ]");
  EXPECT_EQ(printed(Indexes{3, 0, 2}), "[ 3, 0, 2 ]");
  EXPECT_EQ(printed(Dimensions{}), "[ ]");
  EXPECT_EQ(printed(DimensionSizes{2, 3}), "[ 2, 3 ]");
}

TEST(PositiveArray, GivesAndTakesElements) {
  PositiveArray array{1, 2};
  array[1] = 7;
  array.append(9);
  EXPECT_EQ(array, (PositiveArray{1, 7, 9}));
  EXPECT_EQ(array[0], 1U);
  EXPECT_EQ(array.getSize(), 3U);
  EXPECT_FALSE(array == PositiveArray({1, 7}));
}

TEST(DimensionSizes, KnowTheirProduct) {
  EXPECT_EQ(DimensionSizes().getNumElements(), 1U);
  EXPECT_EQ(DimensionSizes({5}).getNumElements(), 5U);
  EXPECT_EQ(DimensionSizes({2, 3, 4}).getNumElements(), 24U);
  EXPECT_EQ(DimensionSizes({2, 0, 4}).getNumElements(), 0U);
  EXPECT_EQ(DimensionSizes({4294967295, 4294967295}).getNumElements(), 18446744065119617025U);
}

TEST(DimensionSizes, RefuseAProductThatDoesNotFit) {
  EXPECT_EQ(DimensionSizes({65536, 65536, 65536, 65535}).getNumElements(), 18446462598732840960U);
  EXPECT_INTERNAL_ERROR(DimensionSizes({65536, 65536, 65536, 65536}), "Array of too many elements", sizesFile);
  EXPECT_EQ(DimensionSizes({65536, 65536, 65536, 65536, 0}).getNumElements(), 0U);
}

TEST(DimensionSizes, CheckTheNumberOfADimension) {
  const DimensionSizes sizes{2, 3};
  EXPECT_EQ(sizes[0], 2U);
  EXPECT_EQ(sizes[1], 3U);
  EXPECT_INTERNAL_ERROR(sizes[2], "Dim 2 out of range 0..1", sizesFile);
  EXPECT_INTERNAL_ERROR(sizes.getStride(7), "Dim 7 out of range 0..1", sizesFile);
  EXPECT_INTERNAL_ERROR(sizes.select({0, 4294967295}), "Dim 4294967295 out of range 0..1", sizesFile);
  EXPECT_INTERNAL_ERROR(DimensionSizes()[0], "Dim 0 out of range 0..-1", sizesFile);
}

TEST(DimensionSizes, SelectGivesTheListedSizes) {
  EXPECT_EQ(DimensionSizes({2, 3, 4}).select({2, 0}), (DimensionSizes{4, 2}));
  EXPECT_EQ(DimensionSizes({2, 3, 4}).select({2, 0}).getNumElements(), 8U);
}

TEST(DimensionSizes, PositionsRunWithTheLastIndexFastest) {
  const DimensionSizes sizes{2, 3, 4};
  EXPECT_EQ(sizes.getStride(0), 12U);
  EXPECT_EQ(sizes.getStride(1), 4U);
  EXPECT_EQ(sizes.getStride(2), 1U);
  Indexes indexes = sizes.start();
  std::uint64_t position = 0;
  do {
    ASSERT_EQ(sizes.getPosition(indexes), position);
    ++position;
  } while (sizes.advance(indexes));
  EXPECT_EQ(position, 24U);
  EXPECT_EQ(DimensionSizes().getPosition({}), 0U);
  EXPECT_EQ(DimensionSizes({4294967295, 4294967295}).getPosition({4294967294, 4294967294}), 18446744065119617024U);
}

TEST(DimensionSizes, RefuseIndexesOfNoElement) {
  const DimensionSizes sizes{2, 3};
  const auto message = [](const std::string& indexes) {
    return "Indexes " + indexes + " out of range of sizes [ 2, 3 ]";
  };
  EXPECT_INTERNAL_ERROR(sizes.getPosition({2, 0}), message("[ 2, 0 ]"), sizesFile);
  EXPECT_INTERNAL_ERROR(sizes.getPosition({0, 3}), message("[ 0, 3 ]"), sizesFile);
  EXPECT_INTERNAL_ERROR(sizes.getPosition({0}), message("[ 0 ]"), sizesFile);
  EXPECT_INTERNAL_ERROR(sizes.getPosition({0, 0, 0}), message("[ 0, 0, 0 ]"), sizesFile);
}

TEST(DimensionSizes, EmptyArrayHasNoStart) {
  EXPECT_INTERNAL_ERROR(DimensionSizes({3, 0}).start(), "no start value", sizesFile);
}
