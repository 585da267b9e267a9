#include "simple_algorithm/quven_kernel_function_friends.h"

#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "groups/literal_kernel.h"
#include "kernel_tools_fixture.h"

namespace {

using Numbers = std::vector<double>;

/// The information of two binary variables with these cells out of n, by the textbook's sum.
double textbookInformation(double n, double m00, double m01, double m10, double m11) {
  const double cells[2][2] = {{m00 / n, m01 / n}, {m10 / n, m11 / n}};
  double sum = 0;
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 2; ++j) {
      const double rows = cells[i][0] + cells[i][1];
      const double columns = cells[0][j] + cells[1][j];
      if (cells[i][j] > 0) sum += cells[i][j] * std::log2(cells[i][j] / (rows * columns));
    }
  }
  return m01 + m10 > m00 + m11 ? -sum : sum;
}

class QUVENKernelFunctionFriendsTest : public KernelToolsTest {
 protected:
  using Function = QUVENOwnPtr<QUVENKernelFunctionFriends>;

  void TearDown() override {
    function.reset(QUVEN_ENV);
    result.deleteMemory(QUVEN_ENV);
    samples.deleteMemory(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }
  void make(double n, double emptyMarker = 0, std::int32_t isIndicesData = 1) {
    function = quvenMake<QUVENKernelFunctionFriends>(QUVEN_ENV, isIndicesData, emptyMarker, n);
  }
  double valueOf(const Numbers& a, const Numbers& b) {
    fill(x, a);
    fill(y, b);
    return function->ComputeKernel(x, y, 1, 2);
  }
  void index(const std::vector<std::uint64_t>& numbers) {
    fill(samples, numbers);
    function->setSampleIndex(samples, QUVEN_ENV);
  }
  /// The positions, and the status behind them.
  std::vector<std::int32_t> candidatesOf(const Numbers& data) {
    fill(x, data);
    const int status = function->getCandidates(result, x, QUVEN_ENV);
    std::vector<std::int32_t> list = listOf(result);
    list.push_back(status);
    return list;
  }

  Function function;
  QUVENXaRay<std::int32_t> result;
  QUVENXaRay<std::uint64_t> samples;
};

using Positions = std::vector<std::int32_t>;

TEST_F(QUVENKernelFunctionFriendsTest, EqualListsAreAlike) {
  make(100);
  // Of 100, 4 are contacts of both and 96 of neither: the entropy of 0.04.
  const double entropy = -0.04 * std::log2(0.04) - 0.96 * std::log2(0.96);
  EXPECT_NEAR(valueOf({2, 3, 5, 7}, {2, 3, 5, 7}), entropy, 1e-14);
  EXPECT_GT(valueOf({2}, {2}), 0);
}

TEST_F(QUVENKernelFunctionFriendsTest, DisjointListsAreNegativeInASmallPopulationOnly) {
  make(1000);
  const double value = valueOf({1, 3, 5}, {2, 4, 6});
  EXPECT_GT(value, 0);
  // The walk ends with the 5: what it met are 3 and 2 elements.
  EXPECT_EQ(value, literal::mutualInformation(1000, 0, 3, 2));
  make(9);  // 5 of 9 disagree
  EXPECT_LT(valueOf({1, 3, 5}, {2, 4, 6}), 0);
  EXPECT_EQ(valueOf({1, 3, 5}, {2, 4, 6}), literal::mutualInformation(9, 0, 3, 2));
  make(10);  // 5 of 10 are not more than the others
  EXPECT_GT(valueOf({1, 3, 5}, {2, 4, 6}), 0);
}

TEST_F(QUVENKernelFunctionFriendsTest, WhatIsLeftOfOneListIsNotCounted) {
  make(1000);
  EXPECT_EQ(valueOf({1, 2}, {1, 2, 3, 4, 5, 6}), literal::mutualInformation(1000, 2, 0, 0));
  EXPECT_EQ(valueOf({1, 2, 3, 4, 5, 6}, {1, 2}), literal::mutualInformation(1000, 2, 0, 0));
  EXPECT_EQ(valueOf({1, 9}, {1, 5, 6, 20, 21}), literal::mutualInformation(1000, 1, 1, 2));
}

TEST_F(QUVENKernelFunctionFriendsTest, TheOtherOrderExchangesTheCells) {
  make(50);
  EXPECT_NEAR(valueOf({1, 4, 8, 9}, {2, 3, 4, 9}), valueOf({2, 3, 4, 9}, {1, 4, 8, 9}), 1e-15);
}

TEST_F(QUVENKernelFunctionFriendsTest, EmptyPlacesAreSkipped) {
  make(100, 7);
  EXPECT_EQ(valueOf({7, 7, 1, 7, 3}, {1, 7, 7, 3, 7}), literal::mutualInformation(100, 2, 0, 0));
  EXPECT_EQ(valueOf({7, 7}, {1, 2}), literal::mutualInformation(100, 0, 0, 0));  // a list of fillers has no element
  EXPECT_EQ(valueOf({7, 7}, {7}), valueOf({}, {}));
  EXPECT_EQ(valueOf({0, 1}, {0, 2}), literal::mutualInformation(100, 1, 1, 0));  // 0 is a contact here
}

TEST_F(QUVENKernelFunctionFriendsTest, NoContactsHaveNoInformation) {
  make(100);
  EXPECT_EQ(valueOf({}, {}), 0);
  EXPECT_EQ(valueOf({}, {1, 2, 3}), 0);
  EXPECT_EQ(valueOf({1, 2, 3}, {}), 0);
}

TEST_F(QUVENKernelFunctionFriendsTest, EachTermIsLeftOutWhereItsCellsAreEmpty) {
  make(4, 0, 0);
  // Dense: contacts are what is above 0, and the empty marker takes a place out of the count.
  EXPECT_EQ(valueOf({1, 1, -1, -1}, {1, -1, 1, -1}), 0);            // one of each cell: independent
  EXPECT_NEAR(valueOf({1, 1, -1, -1}, {1, 1, -1, -1}), 1, 1e-15);   // agree
  EXPECT_NEAR(valueOf({1, 1, -1, -1}, {-1, -1, 1, 1}), -1, 1e-15);  // disagree
  EXPECT_EQ(valueOf({1, 1, 1, 1}, {1, 1, 1, 1}), 0);                // both always
  EXPECT_EQ(valueOf({1, 1, 1, 1}, {-1, -1, -1, -1}), 0);            // one always, the other never
  EXPECT_EQ(valueOf({1, 1, 1, 1}, {1, -1, 1, -1}), 0);              // one always
}

TEST_F(QUVENKernelFunctionFriendsTest, TheDenseFormCountsPlacesWithoutMarkers) {
  make(10, 0, 0);
  // Places with a 0 in either are left out: 2 both, 1 x only, 1 y only, 1 neither; the divisor stays 10.
  const Numbers a{1, 2, 3, -1, -1, 0, 5};
  const Numbers b{1, 9, -2, 4, -1, 5, 0};
  const double p00 = 0.1;
  const double p01 = 0.1;
  const double p10 = 0.1;
  const double p11 = 0.2;
  const double A = p10 + p00;
  const double C = p01 + p00;
  const double expected = (p00 * std::log(p00 / (A * C)) + p01 * std::log(p01 / ((1 - A) * C)) +
                           p10 * std::log(p10 / (A * (1 - C))) + p11 * std::log(p11 / ((1 - A) * (1 - C)))) /
                          std::log(2.0);
  EXPECT_DOUBLE_EQ(valueOf(a, b), expected);
  make(10, -1, 0);  // now the 0 are neither, and the -1 are out: 2 both, x only 1 (5/0), y only 1 (0/5), neither 0
  const double withoutNeither = valueOf({1, 2, 0, 5, -1}, {1, 9, 5, 0, 3});
  const double q01 = 0.1;
  const double q10 = 0.1;
  const double q11 = 0.2;
  const double bothExpected = (q01 * std::log(q01 / ((1 - q10) * q01)) + q10 * std::log(q10 / (q10 * (1 - q01))) +
                               q11 * std::log(q11 / ((1 - q10) * (1 - q01)))) /
                              std::log(2.0);
  EXPECT_DOUBLE_EQ(withoutNeither, bothExpected);
}

TEST_F(QUVENKernelFunctionFriendsTest, APopulationThatFitsNothingGivesANumber) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double n : {0.0, 1.0, 2.0, -5.0, infinity, -infinity}) {
    make(n);
    for (const Numbers& list : {Numbers{}, Numbers{1}, Numbers{1, 2, 3}}) {
      const double value = valueOf(list, {1, 2, 4});
      EXPECT_FALSE(std::isnan(value)) << n;
      EXPECT_EQ(value, literal::friends(list, {1, 2, 4}, 0, n)) << n;
    }
  }
  make(0);
  EXPECT_EQ(valueOf({1, 2}, {1, 2}), 0);
}

/// For ascending lists without duplicates the walk has met, of each list, the elements up to the other's last one.
TEST_F(QUVENKernelFunctionFriendsTest, EqualsTheCountOfTheFourCells) {
  std::mt19937 random(20240301);
  const auto below = [&](unsigned limit) { return random() % limit; };
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const unsigned range = 1 + below(60);
    const auto list = [&] {
      std::set<double> numbers;
      for (unsigned i = below(25); i > 0; --i) numbers.insert(1 + below(range));
      return Numbers(numbers.begin(), numbers.end());
    };
    const Numbers a = list();
    const Numbers b = list();
    double m10 = 0;
    double m01 = 0;
    double m11 = 0;
    if (!a.empty() && !b.empty()) {
      const std::set<double> inA(a.begin(), a.end());
      const std::set<double> inB(b.begin(), b.end());
      for (const double number : a) (inB.contains(number) ? m11 : m10) += number <= b.back() ? 1 : 0;
      for (const double number : b) m01 += number <= a.back() && !inA.contains(number) ? 1 : 0;
    }
    const double n = 60 + below(1000);
    make(n);
    const double value = valueOf(a, b);
    EXPECT_EQ(value, literal::mutualInformation(n, m11, m10, m01));
    EXPECT_NEAR(value, textbookInformation(n, n - m11 - m10 - m01, m01, m10, m11), 1e-12);
  }
}

TEST_F(QUVENKernelFunctionFriendsTest, EqualsTheLiteralWalkAlsoWithFillersAndDuplicates) {
  std::mt19937 random(20240302);
  const auto below = [&](unsigned limit) { return random() % limit; };
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const double marker = round % 3 == 0 ? 0 : round % 3 == 1 ? -1 : 5;
    const auto list = [&] {
      Numbers numbers;
      for (unsigned i = below(20); i > 0; --i) numbers.push_back(1 + below(15));
      if (below(8) != 0) std::sort(numbers.begin(), numbers.end());  // disorder is no contact list, but has a value
      for (unsigned i = below(4); i > 0; --i) {
        numbers.insert(numbers.begin() + static_cast<long>(below(static_cast<unsigned>(numbers.size() + 1))), marker);
      }
      return numbers;
    };
    const Numbers a = list();
    const Numbers b = list();
    const double n = below(4) == 0 ? below(20) : 100 + below(50000000);
    make(n, marker);
    EXPECT_EQ(valueOf(a, b), literal::friends(a, b, marker, n));
  }
}

TEST_F(QUVENKernelFunctionFriendsTest, ListsWithoutFillersHaveTheSameValueToTheBit) {
  std::mt19937 random(20240303);
  const auto below = [&](unsigned limit) { return random() % limit; };
  const double odd[] = {std::nan(""), std::numeric_limits<double>::infinity(), -3, 0.5};
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const auto list = [&](bool withOdd) {
      Numbers numbers;
      for (unsigned i = below(30); i > 0; --i) numbers.push_back(1 + below(20));
      std::sort(numbers.begin(), numbers.end());
      if (withOdd && !numbers.empty()) numbers[below(static_cast<unsigned>(numbers.size()))] = odd[below(4)];
      return numbers;
    };
    const Numbers a = list(round % 2 == 0);
    const Numbers b = list(round % 3 == 0);
    make(100 + below(1000));
    const double fast = function->computeFromContacts(a, b);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(fast), std::bit_cast<std::uint64_t>(valueOf(a, b)));
    // Fillers make no difference.
    Numbers filled = a;
    filled.insert(filled.begin() + static_cast<long>(filled.size() / 2), 2, 0.0);
    filled.push_back(0);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(fast), std::bit_cast<std::uint64_t>(valueOf(filled, b)));
  }
}

/// What compares with nothing is stepped over in y, and ends the walk where it stands in x.
TEST_F(QUVENKernelFunctionFriendsTest, NaNIsNoContactOfAnybody) {
  make(100);
  const double nan = std::nan("");
  EXPECT_EQ(valueOf({1, 2}, {nan, 1, 2}), literal::mutualInformation(100, 2, 0, 1));
  EXPECT_EQ(valueOf({nan, 1, 2}, {1, 2}), literal::mutualInformation(100, 0, 0, 2));
  make(100, nan);
  EXPECT_EQ(valueOf({nan, 1}, {1}), literal::mutualInformation(100, 0, 0, 1));  // a marker that equals nothing
}

TEST_F(QUVENKernelFunctionFriendsTest, CandidatesAreThePositionsOfTheSamplesThatAreNamed) {
  make(100);
  index({50, 20, 30});
  EXPECT_EQ(candidatesOf({20, 30, 50}), (Positions{2, 3, 1, 2}));
  EXPECT_EQ(candidatesOf({30, 31, 0, 50}), (Positions{3, 1, -1, -1, 2}));  // unknown ones and the marker
  EXPECT_EQ(candidatesOf({20, 20, 20.9, 50}), (Positions{2, 1, -1, -1, 2}));
  EXPECT_EQ(candidatesOf({1, 2, 3}), (Positions{-1, -1, -1, 1}));
  EXPECT_EQ(candidatesOf({0, 0}), (Positions{-1, -1, 1}));
  EXPECT_EQ(candidatesOf({}), (Positions{1}));
  EXPECT_EQ(candidatesOf({20}), (Positions{2, 2}));  // nothing is left of the searches before
}

TEST_F(QUVENKernelFunctionFriendsTest, TheMarkerIsNoCandidateEvenIfItIsASample) {
  make(100, 20);
  index({0, 20});
  EXPECT_EQ(candidatesOf({20, 0}), (Positions{1, -1, 2}));
}

TEST_F(QUVENKernelFunctionFriendsTest, OfASampleThatStandsTwiceTheFirstPositionCounts) {
  make(100);
  index({5, 6, 5, 7});
  EXPECT_EQ(candidatesOf({5, 7}), (Positions{1, 4, 2}));
}

TEST_F(QUVENKernelFunctionFriendsTest, ANewIndexForgetsTheOld) {
  make(100);
  index({5, 6});
  EXPECT_EQ(candidatesOf({5, 6}), (Positions{1, 2, 2}));
  index({6});
  EXPECT_EQ(candidatesOf({5, 6}), (Positions{1, -1, 2}));
  index({});
  EXPECT_EQ(candidatesOf({5, 6}), (Positions{-1, -1, 1}));
}

TEST_F(QUVENKernelFunctionFriendsTest, NumbersOfTheWholeUnsignedRangeAreFound) {
  make(100);
  constexpr std::uint64_t top = std::uint64_t{1} << 63;
  index({top, top + 4096, 1});
  EXPECT_EQ(candidatesOf({9223372036854775808.0, 9223372036854779904.0}), (Positions{1, 2, 2}));
  EXPECT_EQ(candidatesOf({9223372036854777856.0, 1e30}), (Positions{-1, -1, 1}));
}

TEST_F(QUVENKernelFunctionFriendsTest, CandidatesOfTheDenseFormArePlaces) {
  make(100, -1, 0);
  index({3, 1});
  EXPECT_EQ(candidatesOf({0.5, 9, 0}), (Positions{2, 1, -1, 2}));
  EXPECT_EQ(candidatesOf({-1, 9, -1}), (Positions{-1, -1, -1, 1}));
}

TEST_F(QUVENKernelFunctionFriendsTest, TheIndexDoesNotTravel) {
  make(100);
  index({5});
  const std::string image = imageOf(*function);
  Function copy(QUVEN_ENV);
  readInto(copy, image);
  fill(x, {5});
  EXPECT_EQ(copy->getCandidates(result, x, QUVEN_ENV), 1);
  EXPECT_EQ(imageOf(*copy), image);
  QUVEN_DELETE(copy);
}

TEST_F(QUVENKernelFunctionFriendsTest, ManySearchesDoNotMeetOneAnother) {
  make(100);
  index({1, 2, 3});
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(candidatesOf({3, 2, 3}), (Positions{3, 2, -1, 2}));
}

}  // namespace
