#include "simple_algorithm/quven_contact_comparison.h"

#include <algorithm>
#include <limits>
#include <map>
#include <random>

#include "kept_rows_fixture.h"
#include "simple_algorithm/quven_kernel_function_friends.h"

namespace {

using Contacts = std::vector<std::uint64_t>;
constexpr double infinity = std::numeric_limits<double>::infinity();

/// How far a walk through two lists comes that steps in the lower one, until one has run out.
struct LiteralSteps {
  std::size_t common = 0;
  std::size_t inX = 0;
  std::size_t inY = 0;
};

LiteralSteps literalWalk(const Contacts& x, const Contacts& y) {
  LiteralSteps steps;
  while (steps.inX < x.size() && steps.inY < y.size()) {
    const std::uint64_t inX = x[steps.inX];
    const std::uint64_t inY = y[steps.inY];
    if (inX == inY) ++steps.common;
    if (inX <= inY) ++steps.inX;
    if (inY <= inX) ++steps.inY;
  }
  return steps;
}

class QUVENContactComparisonTest : public KeptRowsTest {
 protected:
  enum class Kind { Ascending, WithRepeats, Unordered, Mixed };

  /// Rows of up to 7 contacts, hubs of up to so many, copies of earlier rows, empty ones, and ones that share nothing
  /// with others.
  static Rows randomRows(std::mt19937_64& random, Kind kind, std::size_t longest) {
    const std::size_t numCallers = 5 + random() % 60;
    const std::uint64_t numSubscribers = numCallers + random() % (2 * numCallers);
    Rows all;
    for (std::uint64_t caller = 1; caller <= numCallers; ++caller) {
      Contacts list;
      const std::size_t size = random() % 12 == 0 ? random() % (longest + 1) : random() % 8;
      for (std::size_t i = 0; i < size; ++i) list.push_back(1 + random() % numSubscribers);
      if (random() % 8 == 0 && !all.empty()) {
        list.clear();
        for (const Entry& entry : all[random() % all.size()].entries) list.push_back(entry.subscriber);
      }
      if (random() % 8 == 0) {
        for (std::uint64_t& contact : list) contact += 10000;
        list.insert(list.begin(), 1 + random() % numCallers);
      }
      const Kind ofRow = kind == Kind::Mixed ? static_cast<Kind>(random() % 3) : kind;
      if (ofRow != Kind::Unordered) std::sort(list.begin(), list.end());
      if (ofRow == Kind::Ascending) list.erase(std::unique(list.begin(), list.end()), list.end());
      Row& row = all.emplace_back(Row{caller, {}});
      for (const std::uint64_t contact : list) row.entries.push_back({contact});
    }
    std::shuffle(all.begin(), all.end(), random);
    return all;
  }

  static Contacts contactsOf(const Row& row) {
    Contacts contacts;
    for (const Entry& entry : row.entries) contacts.push_back(entry.subscriber);
    return contacts;
  }
  /// Every row with each caller among its contacts, in the order in which they are compared.
  static std::vector<std::pair<std::size_t, std::size_t>> pairsOf(const Rows& all) {
    std::map<std::uint64_t, std::size_t> rowOf;
    for (std::size_t row = 0; row < all.size(); ++row) rowOf[all[row].caller] = row;
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    for (std::size_t row = 0; row < all.size(); ++row) {
      std::set<std::uint64_t> seen;
      for (const std::uint64_t contact : contactsOf(all[row])) {
        if (rowOf.contains(contact) && seen.insert(contact).second) pairs.emplace_back(row, rowOf[contact]);
      }
    }
    return pairs;
  }
  double literalValue(const Row& first, const Row& second) const {
    const LiteralSteps steps = literalWalk(contactsOf(first), contactsOf(second));
    return function.computeFromCounts(steps.common, steps.inX, steps.inY);
  }

  struct Bins {
    std::vector<double> locations;
    std::vector<std::int32_t> counts;
    bool operator==(const Bins&) const = default;
  };
  /// The bins of what an action adds.
  template <class Fill>
  Bins binsOf(std::int32_t limit, Fill fillHistogram) {
    auto histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
    histogram->setBins(limit, QUVEN_ENV);
    fillHistogram(*histogram);
    QUVENXaRay<std::int32_t> counts;
    histogram->getBins(x, counts, QUVEN_ENV);
    Bins bins{listOf(x), listOf(counts)};
    counts.deleteMemory(QUVEN_ENV);
    QUVEN_DELETE(histogram);
    return bins;
  }

  void loadTableOf(const Rows& all) {
    write(recordsOf(Form::Table, all, 1));
    rows = std::make_unique<QUVENKeptRows>(dataset, *transport, NoLimit);
    run = capturedRun([&] { ASSERT_TRUE(rows->loadTable("", QUVEN_ENV)); });
    ASSERT_TRUE(rows->isLoaded()) << run.out;
  }

  /// Compares the values, their order and what is collected with the literal ones. Bits: no tolerance.
  void compare(const Rows& all, std::int32_t numBins, double cutoff) {
    loadTableOf(all);
    QUVENContactComparison comparison(*rows, function);
    ASSERT_EQ(comparison.getOwnRows().size(), all.size());
    const auto pairs = pairsOf(all);
    std::int64_t numAdded = 0;
    const Bins bins =
        binsOf(numBins, [&](auto& histogram) { numAdded = comparison.addOwnPairs(histogram, QUVEN_ENV); });
    EXPECT_EQ(numAdded, static_cast<std::int64_t>(pairs.size()));
    EXPECT_EQ(bins, binsOf(numBins, [&](auto& histogram) {
                for (const auto& [row, candidate] : pairs) {
                  histogram.add(literalValue(all[row], all[candidate]), QUVEN_ENV);
                }
              }));
    QUVENSimilarityStore store;
    comparison.collect(cutoff, store, QUVEN_ENV);
    std::map<std::pair<std::int32_t, std::int32_t>, double> expected;
    for (const auto& [row, candidate] : pairs) {
      const double value = literalValue(all[candidate], all[row]);
      const auto cell = std::pair(static_cast<std::int32_t>(candidate + 1), static_cast<std::int32_t>(row + 1));
      if (value >= cutoff) expected[cell] = value;
    }
    std::map<std::pair<std::int32_t, std::int32_t>, double> kept;
    for (const auto& cell : store.getCells(QUVEN_ENV)) kept[{cell.column, cell.row}] = cell.value;
    EXPECT_EQ(kept, expected);
    store.deleteMemory(QUVEN_ENV);
  }

  QUVENKernelFunctionFriends function{1, 0, 1000};
};

TEST_F(QUVENContactComparisonTest, CountsAsAWalkThroughBothRowsDoes) {
  std::mt19937_64 random(7);
  for (const Kind kind : {Kind::Ascending, Kind::WithRepeats, Kind::Unordered, Kind::Mixed}) {
    for (int round = 0; round < 60; ++round) {
      SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + ", round " + std::to_string(round));
      const Rows all = randomRows(random, kind, round % 3 == 0 ? 8 : 400);
      // Few bins depend on the order of the values.
      compare(all, round % 2 == 0 ? 1000 : 3 + round % 5, round % 4 == 0 ? 0.01 : -infinity);
      if (HasFailure()) return;
    }
  }
}

/// Lists of up to three of three numbers, in any order; caller 1 is compared with all of them.
TEST_F(QUVENContactComparisonTest, CountsAllShortLists) {
  std::vector<Contacts> lists{{}};
  for (std::size_t at = 0; at < lists.size() && lists[at].size() < 3; ++at) {
    for (const std::uint64_t contact : {100U, 101U, 102U}) {
      lists.push_back(lists[at]);
      lists.back().push_back(contact);
    }
  }
  for (const Contacts& first : lists) {
    Rows all(1, Row{1, {}});
    for (std::size_t i = 0; i < lists.size(); ++i) {
      Row& row = all.emplace_back(Row{2 + i, {}});
      for (const std::uint64_t contact : lists[i]) row.entries.push_back({contact});
      all[0].entries.push_back({2 + i});  // the candidates of caller 1
    }
    for (const std::uint64_t contact : first) all[0].entries.push_back({contact});
    for (std::size_t i = 0; i < lists.size(); ++i) all[1 + i].entries.insert(all[1 + i].entries.begin(), {1});
    compare(all, 1000, -infinity);
    if (HasFailure()) return;
  }
}

/// The way of counting changes where one row is 8 times as long as the other.
TEST_F(QUVENContactComparisonTest, CountsRowsOfAllRatiosOfLengths) {
  std::mt19937_64 random(8);
  for (const std::size_t shorter : {1UL, 2UL, 5UL}) {
    for (const std::size_t longer :
         {7 * shorter, 8 * shorter - 1, 8 * shorter, 8 * shorter + 1, 9 * shorter, 30 * shorter}) {
      for (int round = 0; round < 12; ++round) {
        Rows all{{1, {}}, {2, {}}};
        const std::uint64_t range = round % 2 == 0 ? 2 * longer : longer + 3;
        const auto fillRow = [&](Row& row, std::size_t size, std::uint64_t other) {
          std::set<std::uint64_t> list{other};
          while (list.size() < size) list.insert(3 + random() % range);
          for (const std::uint64_t contact : list) row.entries.push_back({contact});
          if (round % 3 == 1) row.entries.push_back(row.entries.back());  // a repeat
        };
        fillRow(all[0], shorter, 2);
        fillRow(all[1], longer, 1);
        compare(all, 1000, -infinity);
        if (HasFailure()) return;
      }
    }
  }
}

/// A similarity is remembered by its counts as long as each is below 2^21.
TEST_F(QUVENContactComparisonTest, CountsMoreThanARememberedValueHasPlaceFor) {
  constexpr std::uint64_t many = std::uint64_t{1} << 21;
  function = QUVENKernelFunctionFriends(1, 0, 1e8);
  // Callers 1 and 2 agree in nothing, and only one place of caller 2 is passed: the counts 0, 0 and 1. Those of the
  // long row and caller 4 are 0, 2^21 and 1.
  Rows all{{1, {{2}}}, {2, {{1}}}, {3, {}}, {4, {{10 + many}}}, {5, {{4}, {11}}}};
  all[2].entries.push_back({4});
  for (std::uint64_t i = 1; i < many; ++i) all[2].entries.push_back({9 + i});
  all[2].entries.push_back({11 + many});
  ASSERT_EQ(literalWalk(contactsOf(all[2]), contactsOf(all[3])).inX, many);
  ASSERT_EQ(literalWalk(contactsOf(all[0]), contactsOf(all[1])).inX, 0U);
  ASSERT_EQ(literalWalk(contactsOf(all[0]), contactsOf(all[1])).inY, 1U);
  compare(all, 1000, -infinity);
}

TEST_F(QUVENContactComparisonTest, HasNoPairsWithoutCallersAmongTheContacts) {
  compare({{1, {{10}, {11}}}, {2, {{10}}}, {3, {}}}, 1000, -infinity);
}

// Beside the passes over the file

/// A kernel that is shown the records, and one whose rows are kept.
TEST_F(QUVENContactComparisonTest, AKernelHasTheSameValuesAsFromItsRecords) {
  std::mt19937_64 random(9);
  for (const Kind kind : {Kind::Ascending, Kind::WithRepeats, Kind::Unordered, Kind::Mixed}) {
    for (int round = 0; round < 12; ++round) {
      SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + ", round " + std::to_string(round));
      const Rows all = randomRows(random, kind, 300);
      if (pairsOf(all).empty()) continue;
      loadTableOf(all);
      const std::vector<double> numbers = recordsOf(Form::Table, all, 1);
      Lines lines;
      for (std::size_t i = 0; i < numbers.size(); i += 3) lines.push_back({numbers[i], numbers[i + 1], numbers[i + 2]});
      const Keys keys{{"NormalizingFactor", round % 2 == 0 ? "500" : "50"}, {"SparsityLevel", "0.4"}};
      Data fromRecords = open(keys);
      runAlone(*fromRecords, lines);
      const std::string said = run.out;
      Data fromRows = open(keys);
      run = capturedRun([&] {
        for (const std::int64_t expected : {rows->getNumRecords(), rows->getNumRecords()}) {
          fromRows->initIteration(QUVEN_ENV);
          EXPECT_EQ(fromRows->updateFromKeptRows(*rows, QUVEN_ENV), expected);
          fromRows->finishIteration(QUVEN_ENV);
          fromRows->endDataScan(QUVEN_ENV);
        }
      });
      EXPECT_TRUE(fromRows->isFinished());
      EXPECT_EQ(run.out, said);
      EXPECT_EQ(fromRows->getSparsityThreshold(), fromRecords->getSparsityThreshold());
      EXPECT_EQ(numbersOf(*fromRows, "ivKernelHistogramLocations"),
                numbersOf(*fromRecords, "ivKernelHistogramLocations"));
      EXPECT_EQ(numbersOf(*fromRows, "ivKernelHistogramCounts"), numbersOf(*fromRecords, "ivKernelHistogramCounts"));
      EXPECT_EQ(keptBy(*fromRows), keptBy(*fromRecords));
      EXPECT_FALSE(keptBy(*fromRows).empty());
      QUVEN_DELETE(fromRows);
      QUVEN_DELETE(fromRecords);
      if (HasFailure()) return;
    }
  }
}

/// A kernel that cannot compare kept rows reads none.
TEST_F(QUVENContactComparisonTest, OtherKernelsAreShownTheirRecords) {
  write(recordsOf(Form::Table, {{1, {{2}}}, {2, {{1}}}}));
  for (const Keys& keys :
       {Keys{{"FilterSimilarities", "0"}}, Keys{{"EmptyMarker", "1"}}, Keys{{"KernelVerbosity", "6"}}}) {
    rows = std::make_unique<QUVENKeptRows>(dataset, *transport, NoLimit);
    Data data = open(keys);
    run = capturedRun([&] {
      data->initIteration(QUVEN_ENV);
      EXPECT_EQ(data->updateFromKeptRows(*rows, QUVEN_ENV), -1);
    });
    EXPECT_TRUE(rows->isDecided());
    EXPECT_FALSE(rows->isLoaded());
    EXPECT_EQ(rows->takeBytesRead(), 0);
    EXPECT_THAT(run.out, testing::HasSubstr("Rows: read from the file in each pass, 0.0 MB, because "));
    QUVEN_DELETE(data);
  }
}

}  // namespace
