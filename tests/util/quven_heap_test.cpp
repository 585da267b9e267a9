#include "util/quven_heap.h"

#include <algorithm>
#include <functional>
#include <random>
#include <string>

namespace {

/// A persistent class of the library, as far as a heap needs it; it counts what it holds.
class Element {
 public:
  void copyFromPrimitive(const Element* source, const QUVENEnvHandle& env) {
    if (source == nullptr) return;
    value = source->value;
    payload.copyFrom(source->payload, QUVEN_ENV);
  }
  void destroyPrimitive(const QUVENEnvHandle& env) { payload.deleteMemory(QUVEN_ENV); }

  double value = 0.0;
  QUVENXaRay<int> payload;
};

struct ByValue {
  bool operator()(const Element& a, const Element& b) const { return a.value < b.value; }
};

/// Has both operations; a heap must take the one that copies nothing.
class Swapped {
 public:
  Swapped() = default;
  explicit Swapped(int initial) : value(initial) {}
  void copyFromPrimitive(const Swapped*, const QUVENEnvHandle&) { FAIL() << "an element was copied"; }
  void destroyPrimitive(const QUVENEnvHandle&) {}
  void swap(Swapped& other) noexcept { std::swap(value, other.value); }

  int value = 0;
};

class QUVENHeapTest : public testing::Test {
 protected:
  void SetUp() override { env.activate(); }
  void TearDown() override { EXPECT_EQ(env.getBytesInUse(), 0); }

  QUVENXaRay<int> arrayOf(const std::vector<int>& values) {
    QUVENXaRay<int> array;
    array.fromZeroBased(values, QUVEN_ENV);
    return array;
  }
  std::vector<int> sorted(const std::vector<int>& values) {
    QUVENXaRay<int> array = arrayOf(values);
    QUVENHeap<QUVENXaRay<int>, std::less<int>>(array).heapSort(array.getSize(), QUVEN_ENV);
    std::vector<int> result(array.begin(), array.end());
    array.deleteMemory(QUVEN_ENV);
    return result;
  }

  QUVENEnv env;
};

}  // namespace

TEST_F(QUVENHeapTest, SortsEverySmallArray) {
  for (int n = 0; n <= 7; ++n) {
    std::vector<int> values(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) values[static_cast<std::size_t>(i)] = i / 2;  // every other value twice
    std::vector<int> permutation = values;
    do {
      ASSERT_EQ(sorted(permutation), values);
    } while (std::next_permutation(permutation.begin(), permutation.end()));
  }
}

TEST_F(QUVENHeapTest, SortsRandomArrays) {
  std::mt19937 generator(7);
  for (const std::size_t n : {63U, 64U, 65U, 1000U}) {
    std::vector<int> values(n);
    for (int& value : values) value = static_cast<int>(generator() % 100);
    std::vector<int> expected = values;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(sorted(values), expected);
  }
}

TEST_F(QUVENHeapTest, HeapifyPutsNoChildAboveItsParent) {
  std::mt19937 generator(8);
  QUVENXaRay<int> array;
  array.setSize(100, QUVEN_ENV);
  for (int& value : array) value = static_cast<int>(generator() % 50);
  QUVENHeap<QUVENXaRay<int>, std::less<int>> heap(array);
  heap.heapify(100, QUVEN_ENV);
  for (long i = 2; i <= 100; ++i) EXPECT_GE(array[i / 2], array[i]);
  EXPECT_EQ(array[1], *std::max_element(array.begin(), array.end()));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENHeapTest, TakesThePlacesThatTheStepsGive) {
  // By hand: heapify from cell 3 down. Cell 2 (9) has the children 4 and 7; cell 1 (3) exchanges with 9, then with 7.
  QUVENXaRay<int> array = arrayOf({3, 9, 2, 4, 7});
  QUVENHeap<QUVENXaRay<int>, std::less<int>> heap(array);
  heap.heapify(5, QUVEN_ENV);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{9, 7, 2, 4, 3}));
  array.append(8, QUVEN_ENV);
  heap.siftUp(6, QUVEN_ENV);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{9, 7, 8, 4, 3, 2}));
  array[1] = 1;
  heap.siftDown(1, 6, QUVEN_ENV);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{8, 7, 2, 4, 3, 1}));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENHeapTest, OrderIsThatOfTheComparator) {
  QUVENXaRay<int> array = arrayOf({3, 1, 2});
  QUVENHeap<QUVENXaRay<int>, std::greater<int>>(array).heapSort(3, QUVEN_ENV);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{3, 2, 1}));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENHeapTest, SortsTheFirstCellsOnly) {
  QUVENXaRay<int> array = arrayOf({3, 2, 1, 0});
  QUVENHeap<QUVENXaRay<int>, std::less<int>>(array).heapSort(3, QUVEN_ENV);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{1, 2, 3, 0}));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENHeapTest, CopiesObjectsThroughATemporaryOfTheirClass) {
  QUVENXaRay<Element, 0> array;
  array.setSize(20, QUVEN_ENV);
  for (long i = 1; i <= 20; ++i) {
    array[i].value = static_cast<double>((i * 7) % 20);
    array[i].payload.setSize(1 + (i * 7) % 20, QUVEN_ENV);
  }
  QUVENHeap<QUVENXaRay<Element, 0>, ByValue>(array).heapSort(20, QUVEN_ENV);
  for (long i = 1; i <= 20; ++i) {
    EXPECT_EQ(array[i].value, static_cast<double>(i - 1));
    EXPECT_EQ(array[i].payload.getSize(), i);
  }
  array.deleteMemory(QUVEN_ENV);
}

// An exchange by swap copies nothing, and leaves the elements in the same places.
TEST_F(QUVENHeapTest, SwapsElementsThatCanBeSwapped) {
  const auto less = [](const Swapped& a, const Swapped& b) { return a.value < b.value; };
  const std::vector<int> values = {5, 1, 4, 1, 3, 9, 2, 6};
  QUVENXaRay<Swapped> array;
  for (const int value : values) array.append(Swapped(value), QUVEN_ENV);
  QUVENHeap(array, less).heapify(array.getSize(), QUVEN_ENV);
  QUVENXaRay<int> numbers = arrayOf(values);
  QUVENHeap(numbers, std::less<int>()).heapify(numbers.getSize(), QUVEN_ENV);
  for (long i = 1; i <= array.getSize(); ++i) EXPECT_EQ(array[i].value, numbers[i]) << i;
  QUVENHeap(array, less).heapSort(array.getSize(), QUVEN_ENV);
  std::vector<int> places;
  for (const Swapped& element : array) places.push_back(element.value);
  EXPECT_EQ(places, (std::vector{1, 1, 2, 3, 4, 5, 6, 9}));
  array.deleteMemory(QUVEN_ENV);
  numbers.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENHeapTest, MovesOtherElements) {
  QUVENXaRay<std::string, 0> array;
  for (const char* text : {"c", "a", "b"}) array.append(text, QUVEN_ENV);
  QUVENHeap<QUVENXaRay<std::string, 0>, std::less<std::string>>(array).heapSort(3, QUVEN_ENV);
  EXPECT_EQ(array[1], "a");
  EXPECT_EQ(array[3], "c");
  array.deleteMemory(QUVEN_ENV);
}
