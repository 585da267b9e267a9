#include "simple_algorithm/quven_online_histogram_data.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <span>

#include "groups/literal_histogram.h"
#include "kernel_tools_fixture.h"
#include "support/failing_allocation.h"

namespace {

using literal::Bins;
using ::testing::HasSubstr;

/// The histogram that walks all bins for each new value and moves them one step at a time.
class WalkingHistogram {
 public:
  void setBins(std::size_t count) {
    limit = count;
    while (locations.size() > limit) compress();
  }
  void add(double value) {
    std::size_t place = placeOf(value);
    const auto isThere = [&] { return place < locations.size() && locations[place] == value; };
    if (isThere()) {
      counts[place] = sumOf(counts[place], 1);
      return;
    }
    if (locations.size() >= limit) {
      compress();
      place = placeOf(value);
      if (isThere()) {
        counts[place] = 1;
        return;
      }
    }
    insertAt(place, value, 1);
  }
  void compress() {
    if (locations.size() < 2) return;
    const std::size_t low = nearestPair();
    const double lowCount = counts[low];
    const double highCount = counts[low + 1];
    const double mean = (lowCount * locations[low] + highCount * locations[low + 1]) / (lowCount + highCount);
    const std::int32_t count = sumOf(counts[low], counts[low + 1]);
    const auto at = static_cast<std::ptrdiff_t>(low);
    locations.erase(locations.begin() + at, locations.begin() + at + 2);
    counts.erase(counts.begin() + at, counts.begin() + at + 2);
    const std::size_t place = placeOf(mean);
    if (place < locations.size() && locations[place] == mean) {
      counts[place] = count;
    } else {
      insertAt(place, mean, count);
    }
  }
  void merge(const Bins& more) {
    for (const auto& [location, count] : more) {
      const std::size_t place = placeOf(location);
      if (place < locations.size() && locations[place] == location) {
        counts[place] = sumOf(counts[place], count);
      } else {
        insertAt(place, location, count);
      }
    }
    while (locations.size() > limit) compress();
  }
  const std::vector<double>& getLocations() const { return locations; }
  const std::vector<std::int32_t>& getCounts() const { return counts; }

 private:
  static std::int32_t sumOf(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(
        std::min<std::int64_t>(std::int64_t{a} + b, std::numeric_limits<std::int32_t>::max()));
  }
  std::size_t placeOf(double location) const {
    return static_cast<std::size_t>(std::lower_bound(locations.begin(), locations.end(), location) - locations.begin());
  }
  std::size_t nearestPair() const {
    double gap = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i + 1 < locations.size(); ++i) gap = std::min(gap, locations[i + 1] - locations[i]);
    for (std::size_t i = 0; i + 1 < locations.size(); ++i) {
      if (locations[i + 1] - locations[i] == gap) return i;
    }
    return 0;  // no gap is a number
  }
  void insertAt(std::size_t place, double location, std::int32_t count) {
    locations.insert(locations.begin() + static_cast<std::ptrdiff_t>(place), location);
    counts.insert(counts.begin() + static_cast<std::ptrdiff_t>(place), count);
  }

  std::size_t limit = 1000;
  std::vector<double> locations;
  std::vector<std::int32_t> counts;
};

std::vector<std::uint64_t> bitsOf(std::span<const double> numbers) {
  std::vector<std::uint64_t> bits;
  for (const double number : numbers) bits.push_back(std::bit_cast<std::uint64_t>(number));
  return bits;
}

class QUVENOnlineHistogramDataTest : public KernelToolsTest {
 protected:
  using Histogram = QUVENOwnPtr<QUVENOnlineHistogramData>;
  using Counts = QUVENXaRay<std::int32_t>;

  void SetUp() override {
    KernelToolsTest::SetUp();
    histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
  }
  void TearDown() override {
    histogram.reset(QUVEN_ENV);
    countsX.deleteMemory(QUVEN_ENV);
    countsY.deleteMemory(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }

  void add(const std::vector<double>& values) {
    for (const double value : values) histogram->add(value, QUVEN_ENV);
  }
  Bins bins() { return binsOf(*histogram); }
  Bins binsOf(const QUVENOnlineHistogramData& any) {
    any.getBins(x, countsX, QUVEN_ENV);
    return pairs(x, countsX);
  }
  static Bins pairs(const Vector& locations, const Counts& counts) {
    Bins list;
    EXPECT_EQ(locations.getSize(), counts.getSize());
    for (long i = 1; i <= locations.getSize(); ++i) list.emplace_back(locations[i], counts[i]);
    return list;
  }
  static void split(const Bins& list, std::vector<double>& locations, std::vector<std::int32_t>& counts) {
    for (const auto& [location, count] : list) {
      locations.push_back(location);
      counts.push_back(count);
    }
  }
  /// The first pair of arrays after a merge.
  Bins merged(const Bins& first, const Bins& second) {
    std::vector<double> locations;
    std::vector<std::int32_t> counts;
    split(first, locations, counts);
    fill(x, locations);
    fill(countsX, counts);
    locations.clear();
    counts.clear();
    split(second, locations, counts);
    fill(y, locations);
    fill(countsY, counts);
    histogram->merge(x, countsX, y, countsY, QUVEN_ENV);
    EXPECT_EQ(pairs(y, countsY), second);
    const Bins result = pairs(x, countsX);
    EXPECT_EQ(bins(), result);
    return result;
  }

  Histogram histogram;
  Counts countsX;
  Counts countsY;
};

TEST_F(QUVENOnlineHistogramDataTest, CountsEqualValuesInOneBin) {
  EXPECT_EQ(bins(), Bins());
  add({3, 1, 3, -2, 3, 1});
  EXPECT_EQ(bins(), (Bins{{-2, 1}, {1, 2}, {3, 3}}));
  EXPECT_EQ(histogram->getNumBins(), 3);
}

TEST_F(QUVENOnlineHistogramDataTest, BothZerosAreOneValue) {
  add({0.0, -0.0});
  EXPECT_EQ(bins(), (Bins{{0, 2}}));
}

TEST_F(QUVENOnlineHistogramDataTest, AThousandValuesAreKeptAndTheNextOneBringsTwoTogether) {
  histogram->setBins(1000, QUVEN_ENV);
  Bins expected;
  for (int i = 1; i <= 1000; ++i) {
    add({static_cast<double>(i * i)});
    expected.emplace_back(i * i, 1);
  }
  EXPECT_EQ(bins(), expected);
  add({49});  // a value that is there needs no room
  expected[6].second = 2;
  EXPECT_EQ(bins(), expected);
  add({5});
  // 1 and 4 are the nearest; the new value comes after that.
  expected[0] = {2.5, 2};
  expected[1] = {5, 1};
  EXPECT_EQ(bins(), expected);
}

TEST_F(QUVENOnlineHistogramDataTest, TheLimitIsAThousandFromTheStart) {
  for (int i = 1; i <= 1001; ++i) add({static_cast<double>(i * i)});
  EXPECT_EQ(histogram->getNumBins(), 1000);
}

TEST_F(QUVENOnlineHistogramDataTest, OfPairsThatAreEquallyNearTheLowestComesTogether) {
  histogram->setBins(9, QUVEN_ENV);
  add({10, 20, 30, 40, 50, 60, 70, 80, 90});
  histogram->compress();
  EXPECT_EQ(bins(), (Bins{{15, 2}, {30, 1}, {40, 1}, {50, 1}, {60, 1}, {70, 1}, {80, 1}, {90, 1}}));
  histogram->compress();
  EXPECT_EQ(bins(), (Bins{{15, 2}, {35, 2}, {50, 1}, {60, 1}, {70, 1}, {80, 1}, {90, 1}}));
}

TEST_F(QUVENOnlineHistogramDataTest, ANearerPairWinsWhereverItStands) {
  for (int numBins = 2; numBins <= 14; ++numBins) {
    for (int place = 0; place + 1 < numBins; ++place) {
      SCOPED_TRACE(std::to_string(numBins) + " bins, pair " + std::to_string(place));
      Bins list;
      for (int i = 0; i < numBins; ++i) list.emplace_back(10 * i + (i > place ? -1 : 0), 1);
      histogram->setBins(numBins, QUVEN_ENV);
      EXPECT_EQ(merged(list, {}), list);
      histogram->compress();
      list[static_cast<std::size_t>(place)] = {10 * place + 4.5, 2};
      list.erase(list.begin() + place + 1);
      EXPECT_EQ(bins(), list);
    }
  }
}

TEST_F(QUVENOnlineHistogramDataTest, TheJoinedBinStandsAtTheWeightedMean) {
  histogram->setBins(2, QUVEN_ENV);
  add({1, 1, 1, 2, 9});
  EXPECT_EQ(bins(), (Bins{{1.25, 4}, {9, 1}}));  // (3 * 1 + 1 * 2) / 4
}

TEST_F(QUVENOnlineHistogramDataTest, AValueWhereTheJoinedBinStandsStartsItsCountAgain) {
  histogram->setBins(2, QUVEN_ENV);
  add({1, 3, 2});
  EXPECT_EQ(bins(), (Bins{{2, 1}}));
  add({2});
  EXPECT_EQ(bins(), (Bins{{2, 2}}));
}

TEST_F(QUVENOnlineHistogramDataTest, AMeanOnAnotherBinTakesItsCountAway) {
  // 2 * 1e308 is infinite, and so is the mean; the bin that stood there counted 5.
  constexpr double infinity = std::numeric_limits<double>::infinity();
  histogram->setBins(2, QUVEN_ENV);
  EXPECT_EQ(merged({{1e308, 2}, {1.1e308, 2}}, {{infinity, 5}}), (Bins{{infinity, 4}}));
}

TEST_F(QUVENOnlineHistogramDataTest, LessThanTwoBinsStayAsTheyAre) {
  histogram->compress();
  EXPECT_EQ(bins(), Bins());
  add({4});
  histogram->compress();
  EXPECT_EQ(bins(), (Bins{{4, 1}}));
}

TEST_F(QUVENOnlineHistogramDataTest, ALowerLimitBringsBinsTogether) {
  add({1, 2, 10, 20});
  histogram->setBins(3, QUVEN_ENV);
  EXPECT_EQ(bins(), (Bins{{1.5, 2}, {10, 1}, {20, 1}}));
  for (const std::int32_t limit : {0, -1}) {
    run = capturedRun([&] { histogram->setBins(limit, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_THAT(run.out, HasSubstr("A histogram without bins"));
  }
  EXPECT_EQ(histogram->getNumBins(), 3);
}

TEST_F(QUVENOnlineHistogramDataTest, EqualsTheLiteralHistogramOnAnyStream) {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t limit = 2 + random() % 12;
    // Few values bring ties and means on other values, many bring rounding.
    const unsigned range = seed % 3 == 0 ? 8 : seed % 3 == 1 ? 64 : 1U << 30;
    histogram.reset(QUVEN_ENV);
    histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
    histogram->setBins(static_cast<std::int32_t>(limit), QUVEN_ENV);
    literal::Histogram literalHistogram(limit);
    for (int i = 0; i < 300; ++i) {
      const double value = (static_cast<double>(random() % range) - range / 4.0) / (seed % 2 == 0 ? 1 : 7);
      add({value});
      literalHistogram.add(value);
      ASSERT_EQ(bins(), literalHistogram.getBins()) << "value " << i;
    }
  }
}

TEST_F(QUVENOnlineHistogramDataTest, HasTheBinsOfTheWalkOverAllBinsToTheBit) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double denormal = std::numeric_limits<double>::denorm_min();
  constexpr double largest = std::numeric_limits<double>::max();
  const std::size_t limits[] = {1, 2, 3, 4, 31, 32, 33, 34, 64, 65, 97, 129, 500, 1000};
  for (unsigned seed = 1; seed <= 140; ++seed) {
    std::mt19937_64 random(seed);
    const auto below = [&](std::uint64_t n) { return random() % n; };
    const std::size_t limit = limits[seed % std::size(limits)];
    const unsigned kind = seed / 14 % 10;
    SCOPED_TRACE("seed " + std::to_string(seed) + ", " + std::to_string(limit) + " bins, values of kind " +
                 std::to_string(kind));
    double step = 0;
    const auto value = [&] {
      const double uniform = static_cast<double>(random()) / 18446744073709551616.0;
      switch (kind) {
        case 0:
          return uniform;
        case 1:
          return static_cast<double>(below(3 * limit));  // ties, means on values
        case 2:
          return static_cast<double>(below(2 * limit)) * denormal;  // means that are rounded to a neighbour
        case 3:
          return (uniform - 0.5) * largest;  // sums that overflow
        case 4:
          return step += 1;  // always above all bins
        case 5:
          return step -= 0.25 * static_cast<double>(below(3));
        case 6:
          return std::ldexp(uniform - 0.5, static_cast<int>(below(2000)) - 1000);
        case 7:
          return 1 + static_cast<double>(below(4 * limit)) * std::numeric_limits<double>::epsilon();
        case 8:
          return below(50) == 0 ? (below(2) == 0 ? infinity : -infinity) : uniform;
        default:
          return below(400) == 0 ? std::nan("") : static_cast<double>(below(4 * limit)) - 3;
      }
    };
    histogram.reset(QUVEN_ENV);
    histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
    WalkingHistogram walking;
    histogram->setBins(static_cast<std::int32_t>(limit), QUVEN_ENV);
    walking.setBins(limit);
    const auto expectSame = [&] {
      histogram->getBins(x, countsX, QUVEN_ENV);
      ASSERT_EQ(bitsOf(x.toZeroBased()), bitsOf(walking.getLocations()));
      ASSERT_EQ(std::vector<std::int32_t>(countsX.begin(), countsX.end()), walking.getCounts());
    };
    const std::size_t numValues = 3 * limit + 300;
    const std::size_t often = limit < 100 ? 1 : 20;
    for (std::size_t i = 0; i < numValues; ++i) {
      const double added = value();
      histogram->add(added, QUVEN_ENV);
      walking.add(added);
      if (i % often == 0) {
        ASSERT_NO_FATAL_FAILURE(expectSame()) << "value " << i;
      }
      if (i % 997 == 500) {
        // Other changes between two additions: one bin less, fewer bins, a merge, a stream.
        histogram->compress();
        walking.compress();
        const std::size_t fewer = std::max<std::size_t>(1, limit - below(3));
        histogram->setBins(static_cast<std::int32_t>(fewer), QUVEN_ENV);
        walking.setBins(fewer);
        Bins more;
        for (std::uint64_t k = below(20); k > 0; --k) more.emplace_back(value(), 1 + static_cast<int>(below(3)));
        histogram->getBins(x, countsX, QUVEN_ENV);
        std::vector<double> locations;
        std::vector<std::int32_t> counts;
        split(more, locations, counts);
        fill(y, locations);
        fill(countsY, counts);
        if (kind != 9) {  // NaN takes another place when the bins are entered one by one
          histogram->merge(x, countsX, y, countsY, QUVEN_ENV);
          walking.merge(more);
        }
        if (kind != 3 && kind != 8) {  // a stream carries no infinite values
          Histogram copy(QUVEN_ENV);
          readInto(copy, imageOf(*histogram));
          histogram.reset(QUVEN_ENV);
          histogram = std::move(copy);
        }
      }
    }
    ASSERT_NO_FATAL_FAILURE(expectSame());
  }
}

TEST_F(QUVENOnlineHistogramDataTest, ReadIntoAFullHistogramTheBinsOfTheStreamCount) {
  histogram->setBins(3, QUVEN_ENV);
  add({1, 2, 40});
  const std::string image = imageOf(*histogram);
  Histogram other = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
  other->setBins(70, QUVEN_ENV);
  for (int i = 1; i <= 100; ++i) other->add(i * i, QUVEN_ENV);
  readInto(other, image);
  other->add(41, QUVEN_ENV);
  EXPECT_EQ(binsOf(*other), (Bins{{1.5, 2}, {40, 1}, {41, 1}}));
  QUVEN_DELETE(other);
}

TEST_F(QUVENOnlineHistogramDataTest, MergesIntoTheFirstPairOfArrays) {
  const Bins first{{1, 2}, {3, 1}};
  const Bins second{{3, 4}, {5, 1}};
  add({77});  // is gone then
  EXPECT_EQ(merged(first, second), (Bins{{1, 2}, {3, 5}, {5, 1}}));
  histogram->setBins(2, QUVEN_ENV);
  EXPECT_EQ(merged(first, second), (Bins{{17.0 / 7, 7}, {5, 1}}));
  EXPECT_EQ(merged({}, second), second);
  EXPECT_EQ(merged(first, {}), first);
  EXPECT_EQ(merged({}, {}), Bins());
}

TEST_F(QUVENOnlineHistogramDataTest, AMergeEqualsTheLiteralOneInEachOrder) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t limit = 2 + random() % 10;
    const auto list = [&] {
      std::map<double, std::int32_t> drawn;
      for (unsigned i = random() % 14; i > 0; --i) {
        drawn[static_cast<double>(random() % 40) / 4] = static_cast<std::int32_t>(1 + random() % 1000);
      }
      return Bins(drawn.begin(), drawn.end());
    };
    const Bins first = list();
    const Bins second = list();
    const Bins third = list();
    histogram->setBins(static_cast<std::int32_t>(limit), QUVEN_ENV);
    const auto literalMerge = [&](const Bins& a, const Bins& b) { return literal::Histogram::merge(a, b, limit); };
    EXPECT_EQ(merged(first, second), literalMerge(first, second));
    EXPECT_EQ(merged(merged(first, second), third), literalMerge(literalMerge(first, second), third));
    EXPECT_EQ(merged(first, merged(second, third)), literalMerge(first, literalMerge(second, third)));
  }
}

TEST_F(QUVENOnlineHistogramDataTest, MergesAnotherHistogram) {
  add({1, 3, 3});
  Histogram other = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
  for (const double value : {3.0, 5.0}) other->add(value, QUVEN_ENV);
  QUVENSimpleAlgorithmAbstractData* base = histogram.get();
  base->merge(other.get(), QUVEN_ENV);
  EXPECT_EQ(bins(), (Bins{{1, 1}, {3, 3}, {5, 1}}));
  EXPECT_EQ(binsOf(*other), (Bins{{3, 1}, {5, 1}}));
  QUVEN_DELETE(other);
  for (QUVENSimpleAlgorithmAbstractData* none : {static_cast<QUVENSimpleAlgorithmAbstractData*>(nullptr)}) {
    run = capturedRun([&] { base->merge(none, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
  }
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENOnlineHistogramDataTest, ArraysOfDifferentLengthsAreRefused) {
  fill(x, {1, 2});
  fill(countsX, {1});
  run = capturedRun([&] { histogram->merge(x, countsX, y, countsY, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  fill(countsX, {1, 1});
  fill(countsY, {1});
  run = capturedRun([&] { histogram->merge(x, countsX, y, countsY, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  quvenDebugWords = QUVENDebugWords();
}

/// A sum beyond the integers would run over, which is undefined.
TEST_F(QUVENOnlineHistogramDataTest, CountsStopAtTheirLimit) {
  constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(merged({{1, most}}, {{1, 1}}), (Bins{{1, most}}));
  add({1});
  EXPECT_EQ(bins(), (Bins{{1, most}}));
  EXPECT_EQ(merged({{1, most - 1}}, {{1, 1}}), (Bins{{1, most}}));
  histogram->setBins(2, QUVEN_ENV);
  // The mean is that of the true counts.
  EXPECT_EQ(merged({{1, most}, {2, most}}, {{100, 1}}), (Bins{{1.5, most}, {100, 1}}));
}

TEST_F(QUVENOnlineHistogramDataTest, ValuesThatAreNoNumbersDoNoHarm) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const double odd[] = {std::nan(""), infinity, -infinity, 1, 2};
  std::mt19937 random(7);
  histogram->setBins(4, QUVEN_ENV);
  for (int i = 0; i < 2000; ++i) {
    add({odd[random() % 5]});
    ASSERT_LE(histogram->getNumBins(), 4);
    ASSERT_GE(histogram->getNumBins(), 1);
  }
  histogram.reset(QUVEN_ENV);
  histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
  add({infinity, 1, -infinity, infinity});
  EXPECT_EQ(bins(), (Bins{{-infinity, 1}, {1, 1}, {infinity, 2}}));
}

TEST_F(QUVENOnlineHistogramDataTest, TravelsWithItsLimit) {
  histogram->setBins(3, QUVEN_ENV);
  add({1, 5, 5, 9});
  EXPECT_EQ(textOf(*histogram),
            "QUVENOnlineHistogramData {\n  ivDummy = 0\n  ivMaxBins = 3\n  ivLocations = [3] {\n    1 5 9\n  }\n"
            "  ivCounts = [3] {\n    1 2 1\n  }\n}");
  const std::string image = imageOf(*histogram);
  Histogram copy(QUVEN_ENV);
  readInto(copy, image);
  EXPECT_EQ(imageOf(*copy), image);
  copy->add(6, QUVEN_ENV);  // 1 and 5 are as near as 5 and 9
  EXPECT_EQ(binsOf(*copy), (Bins{{11.0 / 3, 3}, {6, 1}, {9, 1}}));
  EXPECT_EQ(bins(), (Bins{{1, 1}, {5, 2}, {9, 1}}));
  QUVEN_DELETE(copy);
}

TEST_F(QUVENOnlineHistogramDataTest, AnswersWhatItIsAsked) {
  EXPECT_EQ(histogram->finishIteration(QUVEN_ENV), 1);
  EXPECT_EQ(histogram->needsMerge(), 1);
  run = capturedRun([&] { histogram->endDataScan(QUVEN_ENV); });
  EXPECT_THAT(run.out, HasSubstr("Program control should never reach this point"));
}

TEST_F(QUVENOnlineHistogramDataTest, NoMemoryIsTheMemoryException) {
  int failures = 0;
  for (long allowed = 0; allowed < 40; ++allowed) {
    histogram.reset(QUVEN_ENV);
    histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
    run = capturedRun([&] {
      const FailingAllocation failing(allowed);
      for (int i = 0; i < 100; ++i) histogram->add(i, QUVEN_ENV);
    });
    EXPECT_FALSE(run.threwLibraryException);
    if (!run.threwMemoryException) break;
    ++failures;
    EXPECT_THAT(run.out, HasSubstr("Cannot allocate array memory"));
  }
  EXPECT_GE(failures, 2);
  EXPECT_FALSE(run.threwMemoryException);
  EXPECT_EQ(histogram->getNumBins(), 100);
}

}  // namespace
