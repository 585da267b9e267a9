#include "mat/MAT_MDArray.h"

#include <unistd.h>

#include <random>
#include <sstream>

#include "support/internal_error.h"

namespace {

using Array = MDArray<double>;

constexpr const char* arrayFile = "src/lib/mat/MAT_MDArray";

std::string printed(const Printable& object) {
  std::ostringstream out;
  out << object;
  return out.str();
}

std::vector<double> valuesOf(const Array& array) {
  std::vector<double> values;
  for (std::uint64_t i = 0; i < array.getDimensionSizes().getNumElements(); ++i) values.push_back(array.get(i));
  return values;
}

/// The numbers from 1 on.
std::vector<double> counted(std::uint64_t size) {
  std::vector<double> values(size);
  for (std::uint64_t i = 0; i < size; ++i) values[i] = static_cast<double>(i + 1);
  return values;
}

Array denseArray(const DimensionSizes& sizes) { return {sizes, counted(sizes.getNumElements())}; }

/// The same values in the sparse form.
Array sparseArray(const DimensionSizes& sizes, const std::vector<double>& values, double defaultValue = 0) {
  Array array(sizes, defaultValue);
  for (std::uint64_t i = 0; i < values.size(); ++i) array.set(i, values[i]);
  return array;
}

/// Small integers, about two thirds of them 0: every operation on them is exact.
std::vector<double> randomValues(std::mt19937& random, std::uint64_t size) {
  std::vector<double> values(size);
  for (double& value : values) value = random() % 3 == 0 ? static_cast<double>(random() % 7) - 3 : 0;
  return values;
}

std::size_t numFreeCounts() {
  std::size_t count = 0;
  for (const MAT_RefCount* cell = MAT_freeRefCounts; cell != nullptr; cell = cell->next) ++count;
  return count;
}

}  // namespace

TEST(MDArray, ElementsHaveTheDefaultValueUntilTheyAreWritten) {
  Array array({2, 3}, 1.5);
  EXPECT_EQ(valuesOf(array), std::vector(6, 1.5));
  array.set({1, 0}, 7);
  array.set(5, 8);
  EXPECT_EQ(array.get({1, 0}), 7);
  EXPECT_EQ(array.get(3), 7);
  EXPECT_EQ(array.get({1, 2}), 8);
  array.set({1, 0}, 1.5);
  EXPECT_EQ(valuesOf(array), (std::vector{1.5, 1.5, 1.5, 1.5, 1.5, 8.0}));
}

TEST(MDArray, DenseArrayHoldsItsValuesRowAfterRow) {
  Array array = denseArray({2, 3});
  EXPECT_EQ(array.get({0, 2}), 3);
  EXPECT_EQ(array.get({1, 0}), 4);
  array.set({1, 0}, 9);
  EXPECT_EQ(valuesOf(array), (std::vector{1.0, 2.0, 3.0, 9.0, 5.0, 6.0}));
  EXPECT_INTERNAL_ERROR(Array({2, 3}, counted(5)), "Values do not fill the array: 5 for sizes [ 2, 3 ]", arrayFile);
}

TEST(MDArray, CopiesShare) {
  const Array a({2}, 0.0);
  EXPECT_EQ(a.getReferenceCount(), 1);
  {
    const Array b = a;
    Array c;
    c = b;
    EXPECT_EQ(a.getReferenceCount(), 3);
    EXPECT_EQ(&a.getDimensionSizes(), &c.getDimensionSizes());
    c.reset();
    EXPECT_FALSE(c.hasObject());
    EXPECT_EQ(a.getReferenceCount(), 2);
    c.reset();
    EXPECT_EQ(a.getReferenceCount(), 2);
  }
  EXPECT_EQ(a.getReferenceCount(), 1);
}

TEST(MDArray, AssignmentToItselfLeavesTheCount) {
  Array a({2}, 3.0);
  const Array& same = a;
  a = same;
  EXPECT_EQ(a.getReferenceCount(), 1);
  EXPECT_EQ(a.get(1), 3);
  Array b = a;
  b = a;
  EXPECT_EQ(a.getReferenceCount(), 2);
  Array none;
  const Array& sameNone = none;
  none = sameNone;
  EXPECT_FALSE(none.hasObject());
}

TEST(MDArray, AssignmentLetsGoOfWhatWasThere) {
  Array a({2}, 3.0);
  const Array b = a;
  a = Array({1}, 4.0);
  EXPECT_EQ(a.getReferenceCount(), 1);
  EXPECT_EQ(b.getReferenceCount(), 1);
  EXPECT_EQ(b.get(0), 3);
  a = Array();
  EXPECT_FALSE(a.hasObject());
}

TEST(MDArray, WriteToASharedArrayLeavesTheOtherHandle) {
  for (const Array& original : {sparseArray({2, 2}, counted(4)), denseArray({2, 2})}) {
    Array written = original;
    written.set({0, 1}, 9);
    EXPECT_EQ(valuesOf(original), counted(4));
    EXPECT_EQ(valuesOf(written), (std::vector{1.0, 9.0, 3.0, 4.0}));
    EXPECT_EQ(written.getReferenceCount(), 1);

    Array added = original;
    added.add(1);
    Array scaled = original;
    scaled.multiply(2);
    Array summed = original;
    summed.add(summed);
    Array squared = original;
    squared.multiply(original);
    EXPECT_EQ(valuesOf(original), counted(4));
    EXPECT_EQ(valuesOf(added), (std::vector{2.0, 3.0, 4.0, 5.0}));
    EXPECT_EQ(valuesOf(scaled), (std::vector{2.0, 4.0, 6.0, 8.0}));
    EXPECT_EQ(valuesOf(summed), (std::vector{2.0, 4.0, 6.0, 8.0}));
    EXPECT_EQ(valuesOf(squared), (std::vector{1.0, 4.0, 9.0, 16.0}));
  }
}

TEST(MDArray, WriteOfTheSameValueGoesOnSharing) {
  const Array original = denseArray({2});
  Array copy = original;
  copy.set(1, 2.0);
  EXPECT_EQ(original.getReferenceCount(), 2);
  copy.set(1, 2.5);
  EXPECT_EQ(original.getReferenceCount(), 1);
}

TEST(MDArray, WriteOfAnArrayOfItsOwnMakesNoCopy) {
  Array array({2}, 0.0);
  const DimensionSizes* const sizes = &array.getDimensionSizes();
  array.set(0, 1.0);
  array.add(1.0);
  EXPECT_EQ(&array.getDimensionSizes(), sizes);
  EXPECT_EQ(array.getReferenceCount(), 1);
}

TEST(MDArray, CountsComeFromTheFreeList) {
  { const Array first({1}, 0.0); }
  const std::size_t free = numFreeCounts();
  ASSERT_GE(free, 1U);
  MAT_RefCount* const top = MAT_freeRefCounts;
  {
    const Array array({1}, 0.0);
    EXPECT_EQ(numFreeCounts(), free - 1);
    const Array copy = array;
    EXPECT_EQ(numFreeCounts(), free - 1);
    EXPECT_NE(MAT_freeRefCounts, top);
  }
  EXPECT_EQ(numFreeCounts(), free);
  EXPECT_EQ(MAT_freeRefCounts, top);
  {
    const std::vector<Array> more = {Array({1}, 0.0), Array({1}, 1.0), Array({1}, 2.0)};
    EXPECT_EQ(more[2].get(0), 2);
  }
  EXPECT_EQ(numFreeCounts(), std::max<std::size_t>(free, 3));
}

TEST(MDArray, HandleWithoutImplementationIsOfNoUse) {
  const std::string message = "No object exist";
  Array none;
  EXPECT_INTERNAL_ERROR(none.get(0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.get(Indexes{0}), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.set(0, 1.0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.set(Indexes{0}, 1.0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.sum(), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.add(1.0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.add(Array({1}, 0.0)), message, arrayFile);
  EXPECT_INTERNAL_ERROR(Array({1}, 0.0).add(none), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.multiply(1.0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.multiply(Array({1}, 0.0)), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.product(Array({1}, 0.0)), message, arrayFile);
  EXPECT_INTERNAL_ERROR(Array({1, 1}, 0.0).product(none), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.slice(0, 0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.count(0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.find(0), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.getDimensionSizes(), message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.getReferenceCount(), message, arrayFile);
  EXPECT_INTERNAL_ERROR(std::cout << none, message, arrayFile);
  EXPECT_INTERNAL_ERROR(none.saveFile("/dev/null"), message, arrayFile);
}

TEST(MDArray, ElementsThatAreNotThereEndTheProcess) {
  Array array({2, 3}, 0.0);
  EXPECT_INTERNAL_ERROR(array.get(6), "Position 6 out of range of sizes [ 2, 3 ]", arrayFile);
  EXPECT_INTERNAL_ERROR(array.set(6, 0.0), "Position 6 out of range of sizes [ 2, 3 ]", arrayFile);
  EXPECT_INTERNAL_ERROR(array.get({0, 3}), "Indexes [ 0, 3 ] out of range of sizes [ 2, 3 ]",
                        "src/lib/mat/MAT_DimensionSizes");
  EXPECT_INTERNAL_ERROR(array.set({2, 0}, 1.0), "Indexes [ 2, 0 ] out of range of sizes [ 2, 3 ]",
                        "src/lib/mat/MAT_DimensionSizes");
}

TEST(MDArray, OperandsMustFit) {
  Array array({2, 3}, 0.0);
  const std::string different = "Arrays of different sizes: [ 2, 3 ] and [ 3, 2 ]";
  EXPECT_INTERNAL_ERROR(array.add(Array({3, 2}, 0.0)), different, arrayFile);
  EXPECT_INTERNAL_ERROR(array.multiply(Array({3, 2}, 0.0)), different, arrayFile);
  EXPECT_INTERNAL_ERROR(array.product(Array({2}, 0.0)), "Product of sizes [ 2, 3 ] and [ 2 ]", arrayFile);
  EXPECT_INTERNAL_ERROR(array.product(Array({3, 1}, 0.0)), "Product of sizes [ 2, 3 ] and [ 3, 1 ]", arrayFile);
  EXPECT_INTERNAL_ERROR(Array({3}, 0.0).product(Array({3}, 0.0)), "Product of sizes [ 3 ] and [ 3 ]", arrayFile);
  EXPECT_INTERNAL_ERROR(array.slice(2, 0), "Dim 2 out of range 0..1", "src/lib/mat/MAT_DimensionSizes");
  EXPECT_INTERNAL_ERROR(array.slice(1, 3), "Index 3 of dim 1 out of range", arrayFile);
}

TEST(MDArray, SumsItsElements) {
  EXPECT_EQ(Array({1000, 1000, 1000}, 0.0).sum(), 0);
  EXPECT_EQ(Array({1000, 1000}, 0.5).sum(), 500000);
  EXPECT_EQ(Array({0}, 0.5).sum(), 0);
  EXPECT_EQ(denseArray({2, 3}).sum(), 21);
  Array array({2, 3}, 2.0);
  array.set(0, 5.0);
  EXPECT_EQ(array.sum(), 15);
}

TEST(MDArray, SumAddsInTheOrderOfTheElements) {
  // 1e16 + 1 is 1e16 again, so only one order gives 1.
  const std::vector<double> values = {1e16, 1.0, -1e16, 1.0};
  EXPECT_EQ(Array({4}, values).sum(), 1);
  EXPECT_EQ(sparseArray({4}, values).sum(), 1);
}

TEST(MDArray, FormsGiveTheSameResults) {
  for (unsigned seed = 1; seed <= 50; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const DimensionSizes sizes{1 + static_cast<std::uint32_t>(random() % 4),
                               1 + static_cast<std::uint32_t>(random() % 4),
                               1 + static_cast<std::uint32_t>(random() % 4)};
    const std::uint64_t size = sizes.getNumElements();
    const auto a = randomValues(random, size);
    const auto b = randomValues(random, size);
    const double scalar = static_cast<double>(random() % 5) - 2;
    const double defaultA = static_cast<double>(random() % 3);
    const double defaultB = static_cast<double>(random() % 3);
    const Array forms[] = {Array(sizes, a), sparseArray(sizes, a, defaultA)};
    const Array others[] = {Array(sizes, b), sparseArray(sizes, b, defaultB)};
    std::vector<double> plus(size), times(size), plusScalar(size), timesScalar(size), doubled(size);
    double total = 0;
    for (std::uint64_t i = 0; i < size; ++i) {
      plus[i] = a[i] + b[i];
      times[i] = a[i] * b[i];
      plusScalar[i] = a[i] + scalar;
      timesScalar[i] = a[i] * scalar;
      doubled[i] = a[i] + a[i];
      total += a[i];
    }
    for (const Array& form : forms) {
      EXPECT_EQ(form.sum(), total);
      for (const Array& other : others) {
        Array result = form;
        result.add(other);
        EXPECT_EQ(valuesOf(result), plus);
        result = form;
        result.multiply(other);
        EXPECT_EQ(valuesOf(result), times);
      }
      Array result = form;
      result.add(scalar);
      EXPECT_EQ(valuesOf(result), plusScalar);
      result = form;
      result.multiply(scalar);
      EXPECT_EQ(valuesOf(result), timesScalar);
      result = Array(form);
      result.set(0, a[0] + 1);  // of its own from here on: the operand is the array itself
      result.set(0, a[0]);
      result.add(result);
      EXPECT_EQ(valuesOf(result), doubled);
      for (std::uint32_t dimension = 0; dimension < 3; ++dimension) {
        for (std::uint32_t index = 0; index < sizes[dimension]; ++index) {
          const Array slice = form.slice(dimension, index);
          std::vector<double> expected;
          Indexes at = sizes.start();
          do {
            if (at[dimension] == index) expected.push_back(a[sizes.getPosition(at)]);
          } while (sizes.advance(at));
          EXPECT_EQ(valuesOf(slice), expected);
          EXPECT_EQ(slice.getDimensionSizes().getNumDimensions(), 2U);
        }
      }
    }
  }
}

TEST(MDArray, SliceKeepsTheOtherDimensionsInOrder) {
  const Array array = denseArray({2, 3, 4});
  EXPECT_EQ(array.slice(0, 1).getDimensionSizes(), (DimensionSizes{3, 4}));
  EXPECT_EQ(array.slice(1, 1).getDimensionSizes(), (DimensionSizes{2, 4}));
  EXPECT_EQ(array.slice(2, 1).getDimensionSizes(), (DimensionSizes{2, 3}));
  const Array element = denseArray({3}).slice(0, 1);
  EXPECT_EQ(element.getDimensionSizes().getNumDimensions(), 0U);
  EXPECT_EQ(element.get(Indexes{}), 2);
  EXPECT_EQ(sparseArray({3}, counted(3)).slice(0, 1).get(0), 2);
  EXPECT_EQ(denseArray({0, 3}).slice(1, 2).getDimensionSizes(), DimensionSizes{0});
}

TEST(MDArray, SliceOfASparseArrayIsSparse) {
  // The dense form would answer.
  EXPECT_EXIT(sparseArray({2, 2}, counted(4)).slice(0, 1).count(3), testing::ExitedWithCode(1), "");
  EXPECT_EQ(denseArray({2, 2}).slice(0, 1).count(3), 1U);
  EXPECT_EQ(Array({2, 2}, 7.0).slice(0, 1).sum(), 14);
}

TEST(MDArray, ProductIsMatrixTimesVector) {
  // (1 2 3; 4 5 6) (1 2 -1) = (1 + 4 - 3, 4 + 10 - 6)
  const Array vector({3}, std::vector{1.0, 2.0, -1.0});
  for (const Array& matrix :
       {denseArray({2, 3}), sparseArray({2, 3}, counted(6)), sparseArray({2, 3}, counted(6), 2)}) {
    for (const Array& factor : {vector, sparseArray({3}, valuesOf(vector))}) {
      const Array result = matrix.product(factor);
      EXPECT_EQ(result.getDimensionSizes(), DimensionSizes{2});
      EXPECT_EQ(valuesOf(result), (std::vector{2.0, 8.0}));
    }
  }
  EXPECT_EQ(valuesOf(Array({2, 3}, 0.0).product(vector)), (std::vector{0.0, 0.0}));
  EXPECT_EQ(Array({0, 0}, 0.0).product(Array({0}, 0.0)).getDimensionSizes(), DimensionSizes{0});
}

TEST(MDArray, ProductAddsInAscendingOrder) {
  const std::vector<double> values = {1e16, 1.0, -1e16, 1.0};
  const Array ones({4}, std::vector(4, 1.0));
  EXPECT_EQ(Array({1, 4}, values).product(ones).get(0), 1);
  EXPECT_EQ(sparseArray({1, 4}, values).product(ones).get(0), 1);
}

TEST(MDArray, OneDimensionPrintsItsElements) {
  EXPECT_EQ(printed(denseArray({3})), "1 2 3\n");
  EXPECT_EQ(printed(Array({2}, 0.5)), "0.5 0.5\n");
  EXPECT_EQ(printed(Array({}, 0.5)), "0.5\n");
  EXPECT_EQ(printed(Array({0}, 0.5)), "");
}

TEST(MDArray, TwoDimensionsPrintARowALine) {
  EXPECT_EQ(printed(denseArray({2, 3})), "1 2 3\n4 5 6\n");
  EXPECT_EQ(printed(sparseArray({3, 1}, {0, 7, 0})), "0\n7\n0\n");
  EXPECT_EQ(printed(Array({2, 0}, 0.5)), "");
}

TEST(MDArray, MoreDimensionsPrintSlicesOfTheFirstTwo) {
  EXPECT_EQ(printed(denseArray({2, 3, 2})), "(:,:,0)\n1 3 5\n7 9 11\n(:,:,1)\n2 4 6\n8 10 12\n");
  EXPECT_EQ(printed(denseArray({1, 1, 2, 2})), "(:,:,0,0)\n1\n(:,:,0,1)\n2\n(:,:,1,0)\n3\n(:,:,1,1)\n4\n");
  EXPECT_EQ(printed(Array({2, 2, 0}, 0.5)), "");
}

TEST(MDArray, DenseArraySearchesAnyValue) {
  const Array array({2, 2}, std::vector{3.0, 0.0, 3.0, 1.0});
  EXPECT_EQ(array.count(3), 2U);
  EXPECT_EQ(array.find(3), (std::vector<std::uint64_t>{0, 2}));
  EXPECT_EQ(array.count(0), 1U);
  EXPECT_EQ(array.find(7), std::vector<std::uint64_t>());
}

TEST(MDArray, SparseArraySearchesZeros) {
  Array array({2, 3}, 0.0);
  array.set(1, 2.0);
  array.set(5, 2.0);
  EXPECT_EQ(array.count(0.0), 4U);
  EXPECT_EQ(array.find(0.0), (std::vector<std::uint64_t>{0, 2, 3, 4}));
  array.set(1, 0.0);
  EXPECT_EQ(array.count(-0.0), 5U);
  array.multiply(0);
  EXPECT_EQ(array.count(0.0), 6U);
  array.set(2, 4.0);
  Array negative({2, 3}, 0.0);
  negative.set(2, -4.0);
  array.add(negative);
  EXPECT_EQ(array.count(0.0), 6U);
}

TEST(MDArray, SparseArraySearchesNothingElse) {
  const Array array({2, 3}, 0.0);
  EXPECT_EXIT(array.count(1.0), testing::ExitedWithCode(1), "^$");
  EXPECT_EXIT(array.find(1.0), testing::ExitedWithCode(1), "^$");
  // The text is on standard output: it shows here when the child sends that to where the matcher looks.
  const auto searched = [&array](auto search) {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    search(array);
  };
  EXPECT_EXIT(searched([](const Array& a) { a.count(1.0); }), testing::ExitedWithCode(1),
              "^Error: need to replace __gnu_cxx\n$");
  EXPECT_EXIT(searched([](const Array& a) { a.find(1.0); }), testing::ExitedWithCode(1),
              "^Error: need to replace __gnu_cxx\n$");
}
