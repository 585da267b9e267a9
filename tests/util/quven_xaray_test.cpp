#include "util/quven_xaray.h"

#include <numeric>
#include <random>
#include <stdexcept>
#include <string>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "xrt/xrt_exception.h"

namespace {

/// A class as the library's own: an array among its members, moved and copied as a cell.
class Node {
 public:
  void copyFrom(const Node& other, const QUVENEnvHandle& env) {
    name = other.name;
    numbers.copyFrom(other.numbers, QUVEN_ENV);
    children.copyFrom(other.children, QUVEN_ENV);
  }
  void deleteMemory(const QUVENEnvHandle& env) {
    numbers.deleteMemory(QUVEN_ENV);
    children.deleteMemory(QUVEN_ENV);
  }

  std::string name;
  QUVENXaRay<double> numbers;
  QUVENXaRay<Node, 0> children;
};

int choosyMade = 0;

class QUVENXaRayTest : public testing::Test {
 protected:
  void SetUp() override {
    quvenDebugWords = QUVENDebugWords();
    env.activate();
  }
  void TearDown() override {
    EXPECT_EQ(env.getBytesInUse(), 0);
    quvenDebugWords = QUVENDebugWords();
  }

  /// 1, 2, ..., n.
  QUVENXaRay<long> counting(long n) {
    QUVENXaRay<long> array;
    array.setSize(n, QUVEN_ENV);
    std::iota(array.begin(), array.end(), 1);
    return array;
  }

  QUVENEnv env;
};

template <class Array>
std::vector<long> cellsOf(const Array& array) {
  return {array.begin(), array.end()};
}

}  // namespace

TEST_F(QUVENXaRayTest, IsEmptyAtFirst) {
  const QUVENXaRay<double> array;
  EXPECT_EQ(array.getSize(), 0);
  EXPECT_EQ(array.getCapacity(), 0);
  EXPECT_TRUE(array.isEmpty());
  EXPECT_EQ(array.begin(), array.end());
  EXPECT_EQ(sizeof array, 16U);
}

TEST_F(QUVENXaRayTest, CountsFromOneAndChargesItsBytes) {
  QUVENXaRay<double> array;
  array.setSizeCapacity(2, 5, QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 40);
  EXPECT_EQ(array[1], 0.0);
  EXPECT_EQ(array[2], 0.0);
  array[1] = 1.5;
  array[2] = 2.5;
  EXPECT_EQ(*array.begin(), 1.5);
  EXPECT_EQ(array.end() - array.begin(), 2);
  EXPECT_EQ(&array[2] - &array[1], 1);
  array.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 0);
  EXPECT_EQ(array.getCapacity(), 0);
}

TEST_F(QUVENXaRayTest, RaisesTheCapacityToTheSize) {
  QUVENXaRay<int> array;
  array.setSizeCapacity(4, 2, QUVEN_ENV);
  EXPECT_EQ(array.getCapacity(), 4);
  array.setSizeCapacity(-3, -1, QUVEN_ENV);
  EXPECT_EQ(array.getCapacity(), 0);
  EXPECT_EQ(array.getSize(), 0);
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST_F(QUVENXaRayTest, SameCapacityKeepsTheBlockAndClearsWhatComesIntoUse) {
  QUVENXaRay<long> array = counting(4);
  const long* block = array.begin();
  array.setSizeCapacity(2, 4, QUVEN_ENV);
  EXPECT_EQ(block[2], 0);
  EXPECT_EQ(block[3], 0);
  array.setSizeCapacity(4, 4, QUVEN_ENV);
  EXPECT_EQ(array.begin(), block);
  EXPECT_EQ(cellsOf(array), (std::vector<long>{1, 2, 0, 0}));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, OtherCapacityKeepsTheCellsThatFit) {
  QUVENXaRay<long> array = counting(4);
  array.setSizeCapacity(6, 9, QUVEN_ENV);
  EXPECT_EQ(cellsOf(array), (std::vector<long>{1, 2, 3, 4, 0, 0}));
  EXPECT_EQ(env.getBytesInUse(), 72);
  array.setSizeCapacity(2, 3, QUVEN_ENV);
  EXPECT_EQ(cellsOf(array), (std::vector<long>{1, 2}));
  EXPECT_EQ(env.getBytesInUse(), 24);
  array.setSizeCapacity(0, 0, QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST_F(QUVENXaRayTest, SetSizeGrowsExactlyAndNeverShrinksTheBlock) {
  QUVENXaRay<long> array = counting(4);
  array.setSize(1, QUVEN_ENV);
  EXPECT_EQ(array.getCapacity(), 4);
  array.setSize(6, QUVEN_ENV);
  EXPECT_EQ(array.getCapacity(), 6);
  EXPECT_EQ(cellsOf(array), (std::vector<long>{1, 0, 0, 0, 0, 0}));
  array.setSize(0, QUVEN_ENV);
  EXPECT_EQ(array.getCapacity(), 6);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, AutoExtendMultipliesByTheSquareRootOfTwo) {
  // By hand: 1, ceil(1.41.. * 1.41.. = 2.0000..) = 3, ceil(4.24) = 5, ceil(7.07) = 8, ceil(11.3) = 12, ceil(16.97) =
  // 17, ceil(24.04) = 25.
  QUVENXaRay<int> array;
  std::vector<long> capacities;
  for (long i = 1; i <= 25; ++i) {
    array.autoExtend(i, QUVEN_ENV);
    EXPECT_EQ(array.getSize(), i);
    EXPECT_EQ(array[i], 0);
    if (capacities.empty() || capacities.back() != array.getCapacity()) capacities.push_back(array.getCapacity());
  }
  EXPECT_EQ(capacities, (std::vector<long>{1, 3, 5, 8, 12, 17, 25}));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, AutoExtendStepsUntilTheIndexFits) {
  QUVENXaRay<int> array;
  array.autoExtend(0, QUVEN_ENV);
  EXPECT_EQ(array.getCapacity(), 0);
  // From 1: 1.41, 2.0, 2.83, 4.0, 5.66, 8.0, 11.31 -> 12.
  array.autoExtend(10, QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 10);
  EXPECT_EQ(array.getCapacity(), 12);
  array.autoExtend(4, QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 10);
  array.autoExtend(12, QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 12);
  EXPECT_EQ(array.getCapacity(), 12);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, ReservedRoomIsUsedWithoutAnotherBlock) {
  QUVENXaRay<int> array;
  array.autoReserve(4, QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 0);
  EXPECT_EQ(array.getCapacity(), 5);  // 1.41, 2.0, 2.83, 4.000000000001
  const FailingAllocation failure(0);
  array.autoExtend(4, QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 4);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, HoldsStrings) {
  QUVENXaRay<std::string, 0> array;
  for (int i = 1; i <= 100; ++i)
    array.append("a text that does not fit in place, number " + std::to_string(i), QUVEN_ENV);
  EXPECT_EQ(array.getSize(), 100);
  EXPECT_EQ(array[1], "a text that does not fit in place, number 1");
  EXPECT_EQ(array[100], "a text that does not fit in place, number 100");
  array.setSize(1, QUVEN_ENV);
  array.setSize(2, QUVEN_ENV);
  EXPECT_EQ(array[2], "");
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, AppendsACellOfItself) {
  QUVENXaRay<std::string, 0> array;
  array.append("the first text is long enough to be on the heap", QUVEN_ENV);
  for (int i = 0; i < 5; ++i) array.append(array[1], QUVEN_ENV);
  EXPECT_EQ(array[6], array[1]);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, HoldsClassesWithArraysAmongTheirMembers) {
  QUVENXaRay<Node, 0> roots;
  for (long i = 1; i <= 4; ++i) {
    roots.autoExtend(i, QUVEN_ENV);
    roots[i].name = "root " + std::to_string(i);
    roots[i].numbers.setSize(i, QUVEN_ENV);
    roots[i].numbers[i] = static_cast<double>(i);
    roots[i].children.setSize(2, QUVEN_ENV);
    roots[i].children[2].numbers.setSize(3, QUVEN_ENV);
  }
  QUVENXaRay<Node, 0> copy;
  copy.copyFrom(roots, QUVEN_ENV);
  copy.copyFrom(copy, QUVEN_ENV);
  roots[4].numbers[4] = -1.0;
  EXPECT_EQ(copy[4].numbers[4], 4.0);
  EXPECT_EQ(copy[4].name, "root 4");
  EXPECT_EQ(copy[4].children[2].numbers.getSize(), 3);
  copy.setSize(1, QUVEN_ENV);
  EXPECT_EQ(copy[1].numbers[1], 1.0);
  copy.deleteMemory(QUVEN_ENV);
  roots.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENXaRayTest, CopyHasTheSizeOfItsSource) {
  QUVENXaRay<long> source = counting(3);
  source.setSizeCapacity(3, 10, QUVEN_ENV);
  QUVENXaRay<long> copy = counting(7);
  copy.copyFrom(source, QUVEN_ENV);
  EXPECT_EQ(cellsOf(copy), (std::vector<long>{1, 2, 3}));
  EXPECT_EQ(copy.getCapacity(), 3);
  source.setSize(0, QUVEN_ENV);
  copy.copyFrom(source, QUVEN_ENV);
  EXPECT_EQ(copy.getCapacity(), 0);
  source.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, CrossesFromAndToZeroBasedData) {
  const std::vector<long> data{5, 6, 7};
  QUVENXaRay<long> array;
  array.fromZeroBased(data, QUVEN_ENV);
  EXPECT_EQ(array[1], 5);
  EXPECT_EQ(array[3], 7);
  EXPECT_EQ(array.toZeroBased()[2], 7);
  EXPECT_EQ(array.toZeroBased().size(), 3U);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, MovesItsBlockAndExchangesOnAssignment) {
  QUVENXaRay<long> first = counting(3);
  QUVENXaRay<long> second(std::move(first));
  EXPECT_EQ(first.getCapacity(), 0);  // NOLINT(bugprone-use-after-move): empty by contract
  EXPECT_EQ(second.getSize(), 3);
  first = counting(5);
  first = std::move(second);
  EXPECT_EQ(first.getSize(), 3);
  EXPECT_EQ(second.getSize(), 5);  // NOLINT(bugprone-use-after-move): an exchange by contract
  first.deleteMemory(QUVEN_ENV);
  second.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, SegmentsChangeHands) {
  QUVENXaRay<long> array = counting(2);
  long* block = QUVENXaRay<long>::makeNewSegment(1, 3, 4, QUVEN_ENV);
  block[0] = 9;
  EXPECT_EQ(env.getBytesInUse(), 16 + 32);
  array.receiveNewSegment(block, 3, 4, QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 32);
  EXPECT_EQ(cellsOf(array), (std::vector<long>{9, 0, 0}));
  EXPECT_EQ(&array[1], block);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, CheckedAccessFailsOutsideOneToSize) {
  QUVENXaRay<long> array = counting(2);
  EXPECT_EQ(array.at(2), 2);
  EXPECT_TRUE(capturedRun([&] { array.at(0); }).threwLibraryException);
  const CapturedRun run = capturedRun([&] { array.at(3); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::HasSubstr("ASSERTION FAILED (1 <= index && index <= this->getSize())"));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, FailedAllocationIsReportedAndLeavesTheArrayAsItWas) {
  QUVENXaRay<long> array = counting(3);
  const CapturedRun run = capturedRun([&] {
    const FailingAllocation failure(0);
    array.setSize(1000, QUVEN_ENV);
  });
  EXPECT_THAT(run.out, testing::MatchesRegex("\n\\*\\*\\* ERROR in function [A-Za-z]+ at line [0-9]+ in file "
                                             "quven_xaray\\.h\n    Cannot allocate array memory\n"
                                             "\\*\\*\\* XRT_SEVERE_OUT_OF_MEMORY \\*\\*\\*\n"));
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(quvenDebugWords.memoryFailed, 1);
  EXPECT_EQ(quvenDebugWords.exceptionThrown, 1);
  EXPECT_EQ(cellsOf(array), (std::vector<long>{1, 2, 3}));
  EXPECT_EQ(env.getBytesInUse(), 24);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, BudgetOfTheEnvironmentIsALimitToo) {
  QUVENXaRay<long> array = counting(3);
  // The old block stands until the new one is filled.
  env.setBytesBudget(24 + 32);
  array.setSize(4, QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { array.setSize(5, QUVEN_ENV); });
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_THAT(run.out, testing::EndsWith("\n    Cannot allocate array memory\n"));
  EXPECT_EQ(env.getBytesInUse(), 32);
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, SizeBeyondThirtyTwoBitsCannotBeAllocated) {
  QUVENXaRay<char> array;
  EXPECT_TRUE(capturedRun([&] { array.setSize(0x80000000L, QUVEN_ENV); }).threwMemoryException);
  EXPECT_TRUE(capturedRun([&] { array.autoExtend(0x80000000L, QUVEN_ENV); }).threwMemoryException);
  QUVENXaRay<double> wide;
  for (const long size : {0x7fffffffffffffffL, 0x2000000000000001L}) {  // the bytes of both are beyond any count
    EXPECT_TRUE(capturedRun([&] { wide.setSize(size, QUVEN_ENV); }).threwMemoryException);
    EXPECT_TRUE(capturedRun([&] { wide.autoExtend(size, QUVEN_ENV); }).threwMemoryException);
  }
  EXPECT_EQ(wide.getCapacity(), 0);
  EXPECT_EQ(array.getCapacity(), 0);
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST_F(QUVENXaRayTest, LastGrowthStepIsCutToTheLimitOfTheCount) {
  QUVENXaRay<char> array;
  env.setBytesBudget(100);
  quvenDebugWords.quiet = 1;
  try {
    array.autoExtend(0x7fffffffL, QUVEN_ENV);
    FAIL() << "more than the budget was given";
  } catch (const XRTMemoryException& exception) {
    EXPECT_EQ(exception.getBytesAsked(), 0x7fffffffL);
    EXPECT_EQ(exception.getBytesInUse(), 0);
  }
}

TEST_F(QUVENXaRayTest, DestructorReportsABlockThatIsStillHeld) {
  const CapturedRun run = capturedRun([&] { const QUVENXaRay<long> array = counting(3); });
  EXPECT_EQ(run.out, "\n*** ERROR destructor called without resetting array\n");
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST_F(QUVENXaRayTest, DestructorReportsNestedArraysOnce) {
  const CapturedRun run = capturedRun([&] {
    QUVENXaRay<QUVENXaRay<int>, 0> array;
    array.setSize(2, QUVEN_ENV);
    array[1].setSize(3, QUVEN_ENV);
    array[2].setSize(4, QUVEN_ENV);
  });
  EXPECT_EQ(run.out, "\n*** ERROR destructor called without resetting array\n");
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST_F(QUVENXaRayTest, UnwindingReleasesSilently) {
  const CapturedRun run = capturedRun([&] {
    const QUVENXaRay<long> array = counting(3);
    quvenDebugWords.quiet = 1;
    quvenFatalReport("Text", QUVEN_ENV);
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST_F(QUVENXaRayTest, UnwindingWithOutputIsSilentToo) {
  const CapturedRun run = capturedRun([&] {
    const QUVENXaRay<long> array = counting(3);
    throw 0;
  });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENXaRayTest, CellThatCannotBeMadeLeavesTheArrayAsItWas) {
  struct Choosy {
    Choosy() {
      if (++choosyMade > 3) throw std::runtime_error("no more");
    }
    Choosy(Choosy&&) noexcept {}
  };
  QUVENXaRay<Choosy, 0> array;
  array.setSizeCapacity(2, 3, QUVEN_ENV);
  EXPECT_THROW(array.setSize(10, QUVEN_ENV), std::runtime_error);
  EXPECT_THROW(array.setSize(3, QUVEN_ENV), std::runtime_error);
  EXPECT_EQ(array.getSize(), 2);
  EXPECT_EQ(env.getBytesInUse(), static_cast<std::int64_t>(3 * sizeof(Choosy)));
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, AlignsItsCells) {
  struct alignas(64) Line {
    double value = 3.0;
  };
  QUVENXaRay<Line> array;
  array.autoExtend(3, QUVEN_ENV);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&array[1]) % 64, 0U);
  EXPECT_EQ(array[3].value, 3.0);
  EXPECT_EQ(env.getBytesInUse(), 64 * array.getCapacity());
  array.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXaRayTest, AgreesWithAVectorThroughRandomOperations) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 generator(seed);
    const auto below = [&](unsigned limit) { return static_cast<long>(generator() % limit); };
    QUVENXaRay<std::string, 0> texts;
    QUVENXaRay<long> numbers;
    std::vector<std::string> expectedTexts;
    std::vector<long> expectedNumbers;
    for (int i = 0; i < 300; ++i) {
      const long size = below(40);
      const long operation = below(7);
      const std::string text(static_cast<std::size_t>(below(40)), 'x');
      const auto apply = [&] {
        switch (operation) {
          case 0:
            texts.setSize(size, QUVEN_ENV);
            break;
          case 1:
            texts.setSizeCapacity(size, below(50), QUVEN_ENV);
            break;
          case 2:
            texts.autoExtend(size, QUVEN_ENV);
            break;
          case 3:
            texts.autoReserve(size, QUVEN_ENV);
            break;
          default:
            texts.append(text, QUVEN_ENV);
        }
      };
      const std::int64_t before = env.getBytesInUse();
      quvenDebugWords.quiet = 1;
      const bool failed = capturedRun([&] {
                            const FailingAllocation failure(below(6));
                            apply();
                          }).threwMemoryException;
      quvenDebugWords.quiet = 0;
      if (failed) {
        // A failed operation changes nothing that is seen, but for the room that it may have made.
        ASSERT_GE(env.getBytesInUse(), before);
        ASSERT_TRUE(std::equal(texts.begin(), texts.end(), expectedTexts.begin(), expectedTexts.end()));
        continue;
      }
      if (operation <= 1) expectedTexts.resize(static_cast<std::size_t>(size));
      if (operation == 2 && size > std::ssize(expectedTexts)) expectedTexts.resize(static_cast<std::size_t>(size));
      if (operation >= 4) expectedTexts.push_back(text);
      ASSERT_TRUE(std::equal(texts.begin(), texts.end(), expectedTexts.begin(), expectedTexts.end())) << "step " << i;
      ASSERT_GE(texts.getCapacity(), texts.getSize());

      // The same with plain cells, which are written through the block.
      numbers.setSizeCapacity(size, size + below(10), QUVEN_ENV);
      expectedNumbers.resize(static_cast<std::size_t>(size));
      if (size > 0) numbers[1 + i % size] = expectedNumbers[static_cast<std::size_t>(i % size)] = i;
      ASSERT_EQ(cellsOf(numbers), expectedNumbers) << "step " << i;
      ASSERT_EQ(env.getBytesInUse(), static_cast<std::int64_t>(sizeof(std::string)) * texts.getCapacity() +
                                         static_cast<std::int64_t>(sizeof(long)) * numbers.getCapacity());
    }
    texts.deleteMemory(QUVEN_ENV);
    numbers.deleteMemory(QUVEN_ENV);
  }
}
