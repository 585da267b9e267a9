#include "key_table.h"

#include <deque>
#include <limits>
#include <map>
#include <random>

#include "key_order.h"
#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

using Columns = std::vector<Doubles>;

RowColumns read(const KeyTable& table, std::uint32_t row) {
  RowColumns columns;
  table.read(row, columns);
  return columns;
}

void append(KeyTable& table, double key, const Doubles& entry, std::uint32_t times = 1) {
  table.append(table.findOrInsert(key), entry.data(), times);
}

TEST(KeyTable, GivesEachKeyOneRow) {
  KeyTable table({3, false, 0});
  EXPECT_EQ(table.findOrInsert(5.0), 0U);
  EXPECT_EQ(table.findOrInsert(1.0), 1U);
  EXPECT_EQ(table.findOrInsert(5.0), 0U);
  EXPECT_EQ(table.size(), 2U);
  EXPECT_EQ(table.key(1), 1.0);
  EXPECT_EQ(table.length(0), 0U);
}

TEST(KeyTable, FindsEveryKindOfKey) {
  const Doubles keys = {1.0,
                        1.5,
                        -1.0,
                        -2.0,
                        0.0,
                        1e300,
                        1e-300,
                        std::numeric_limits<double>::infinity(),
                        -1e9,
                        5e-324,
                        std::numeric_limits<double>::quiet_NaN()};
  KeyTable table({3, false, 0});
  for (std::uint32_t i = 0; i < keys.size(); ++i) EXPECT_EQ(table.findOrInsert(keys[i]), i);
  for (std::uint32_t i = 0; i < keys.size(); ++i) EXPECT_EQ(table.findOrInsert(keys[i]), i);
  EXPECT_EQ(table.findOrInsert(-0.0), 4U);
}

TEST(KeyTable, KeepsTheLatestEntriesOldestFirst) {
  KeyTable table({3, false, 0});
  for (const double callee : {1.0, 2.0, 3.0, 4.0}) append(table, 7.0, {callee});
  EXPECT_EQ(read(table, 0).values, (Doubles{2, 3, 4}));
}

TEST(KeyTable, KeepsDatesAndPayloadsBesideTheirEntries) {
  KeyTable table({2, true, 2});
  append(table, 7.0, {1, 20200101, 11, 21});
  append(table, 7.0, {2, 20200102, 12, 22});
  append(table, 7.0, {3, 20200103, 13, 23});
  const RowColumns row = read(table, 0);
  EXPECT_EQ(row.values, (Doubles{2, 3}));
  EXPECT_EQ(row.dates, (Doubles{20200102, 20200103}));
  EXPECT_EQ(row.payloads, (Columns{{12, 13}, {22, 23}}));
}

TEST(KeyTable, AppendsAsOftenAsTheMultiplicitySays) {
  KeyTable table({3, false, 0});
  append(table, 7.0, {1});
  append(table, 7.0, {2}, 2);
  EXPECT_EQ(read(table, 0).values, (Doubles{1, 2, 2}));
  append(table, 7.0, {3}, 3);
  EXPECT_EQ(read(table, 0).values, (Doubles{3, 3, 3}));
}

// The table as it is told: vectors whose first element is removed.
struct LiteralTable {
  std::uint32_t size;
  std::map<double, std::vector<std::deque<double>>> rows;

  void append(double key, const Doubles& entry, std::uint32_t times) {
    auto& columns = rows[key];
    columns.resize(entry.size());
    for (; times > 0; --times) {
      for (std::size_t i = 0; i < entry.size(); ++i) columns[i].push_back(entry[i]);
      if (columns[0].size() <= size) continue;
      for (auto& column : columns) column.pop_front();
    }
  }
};

void expectEqual(const KeyTable& table, const LiteralTable& literal) {
  ASSERT_EQ(table.size(), literal.rows.size());
  auto expected = literal.rows.begin();
  for (const std::uint32_t row : table.rowsInOrder()) {
    ASSERT_EQ(table.key(row), expected->first);
    const RowColumns columns = read(table, row);
    std::vector<Doubles> all = {columns.values};
    if (table.getShape().dates) all.push_back(columns.dates);
    all.insert(all.end(), columns.payloads.begin(), columns.payloads.end());
    ASSERT_EQ(all.size(), expected->second.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
      EXPECT_EQ(all[i], Doubles(expected->second[i].begin(), expected->second[i].end())) << "key " << expected->first;
    }
    ++expected;
  }
}

TEST(KeyTable, EqualsALiteralTableOverRandomRecordsAndReplacedRows) {
  std::mt19937_64 random(11);
  for (const std::uint32_t size : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 20U, 33U, 100U}) {
    const KeyTable::Shape shape{size, size % 2 == 0, size % 3};
    KeyTable table(shape);
    LiteralTable literal{size, {}};
    for (int round = 0; round < 6000; ++round) {
      const double key = static_cast<double>(random() % 60);
      if (random() % 40 == 0) {  // what a process file or the dropping of old entries does to a row
        auto& columns = literal.rows[key];
        columns.resize(table.entryWidth());
        const std::size_t length =
            random() % 3 == 0 ? size + random() % 5 : columns[0].size() - random() % (columns[0].size() + 1);
        for (auto& column : columns) column.resize(length, static_cast<double>(round));
        RowColumns row;
        row.clear(shape.payloadCount);
        std::size_t next = 0;
        row.values.assign(columns[next].begin(), columns[next].end());
        ++next;
        if (shape.dates) row.dates.assign(columns[next].begin(), columns[next].end()), ++next;
        for (auto& payload : row.payloads) payload.assign(columns[next].begin(), columns[next].end()), ++next;
        table.assign(table.findOrInsert(key), row);
        continue;
      }
      Doubles entry;
      for (std::uint32_t i = 0; i < table.entryWidth(); ++i) entry.push_back(static_cast<double>(random() % 1000));
      const auto times = static_cast<std::uint32_t>(1 + (random() % 10 == 0 ? random() % size : 0));
      append(table, key, entry, times);
      literal.append(key, entry, times);
    }
    expectEqual(table, literal);
  }
}

TEST(KeyTable, LetsOneEntryFallOutForEachOneAddedToARowLongerThanTheTable) {
  KeyTable table({2, false, 0});
  RowColumns row;
  row.values = {1, 2, 3, 4, 5};
  table.assign(table.findOrInsert(7.0), row);
  append(table, 7.0, {6});
  EXPECT_EQ(read(table, 0).values, (Doubles{2, 3, 4, 5, 6}));
  for (double callee = 7; callee < 20; ++callee) append(table, 7.0, {callee});
  EXPECT_EQ(read(table, 0).values, (Doubles{15, 16, 17, 18, 19}));
}

TEST(KeyTable, KeepsColumnsOfUnequalLengthsAsTheyAre) {
  KeyTable table({3, false, 1});
  RowColumns row;
  row.values = {1, 2};
  row.payloads = {{10}};
  table.assign(table.findOrInsert(7.0), row);
  EXPECT_EQ(read(table, 0).payloads, (Columns{{10}}));
  EXPECT_EQ(table.length(0), 2U);
  append(table, 7.0, {3, 13});
  EXPECT_EQ(read(table, 0).values, (Doubles{1, 2, 3}));
  EXPECT_EQ(read(table, 0).payloads, (Columns{{10, 13}}));
  append(table, 7.0, {4, 14});
  EXPECT_EQ(read(table, 0).values, (Doubles{2, 3, 4}));
  EXPECT_EQ(read(table, 0).payloads, (Columns{{13, 14}}));
  row.payloads = {{10, 11}};
  table.assign(0, row);
  append(table, 7.0, {5, 15});
  EXPECT_EQ(read(table, 0).payloads, (Columns{{10, 11, 15}}));
}

TEST(KeyTable, SumsBeginAtZeroAndGrow) {
  KeyTable table({0, false, 0});
  const std::uint32_t row = table.findOrInsert(7.0);
  double* sums = table.sums(row, 2);
  EXPECT_EQ(Doubles(sums, sums + 2), (Doubles{0, 0}));
  sums[1] = 5;
  sums = table.sums(row, 4);
  EXPECT_EQ(Doubles(sums, sums + 4), (Doubles{0, 5, 0, 0}));
  EXPECT_EQ(table.sums(row, 3), sums);
  EXPECT_EQ(read(table, row).values, (Doubles{0, 5, 0, 0}));
}

// Rows of every number of sums in tables that expect another number, replaced and extended in turn.
TEST(KeyTable, SumsAreThoseOfALiteralTableWhateverNumberIsExpected) {
  std::mt19937_64 random(31);
  for (const std::uint32_t expected : {0U, 1U, 2U, 3U, 8U, 16U, 17U, 4000000U}) {
    KeyTable table({0, false, 0, expected});
    std::map<double, Doubles> literal;
    for (int round = 0; round < 20000; ++round) {
      const double key = static_cast<double>(1 + random() % 300);
      const std::uint32_t row = table.findOrInsert(key);
      Doubles& sums = literal[key];
      const auto count = static_cast<std::uint32_t>(random() % 20);
      if (random() % 10 == 0) {
        RowColumns columns;
        for (std::uint32_t i = 0; i < count; ++i) columns.values.push_back(static_cast<double>(random() % 1000));
        if (random() % 4 == 0) columns.dates = {20200101};  // an irregular row
        table.assign(row, columns);
        sums = columns.values;
        continue;
      }
      if (sums.size() < count) sums.resize(count);
      double* const place = table.sums(row, count);
      for (std::uint32_t i = 0; i < count; ++i) {
        const auto summand = static_cast<double>(random() % 1000);
        place[i] += summand;
        sums[i] += summand;
      }
    }
    ASSERT_EQ(table.size(), literal.size());
    for (const auto& [key, sums] : literal) {
      const std::uint32_t row = table.findOrInsert(key);
      EXPECT_EQ(read(table, row).values, sums);
      EXPECT_EQ(table.length(row), sums.size());
      if (table.irregularRow(row) != nullptr) continue;
      const auto span = table.sumsOfRow(row);
      EXPECT_EQ(Doubles(span.begin(), span.end()), sums);
    }
  }
}

TEST(KeyTable, SumsOfARowThatCarriesDatesGrowToo) {
  KeyTable table({0, true, 0});
  RowColumns row;
  row.values = {1};
  row.dates = {20200101};
  table.assign(table.findOrInsert(7.0), row);
  table.sums(0, 2)[1] = 9;
  EXPECT_EQ(read(table, 0).values, (Doubles{1, 9}));
  EXPECT_EQ(read(table, 0).dates, (Doubles{20200101}));
}

TEST(KeyTable, VisitsAMillionKeysInOrder) {
  KeyTable table({1, false, 0});
  std::mt19937_64 random(5);
  for (int i = 0; i < 1000000; ++i) append(table, static_cast<double>(random() % 2000000) - 1000.0, {1});
  double last = -std::numeric_limits<double>::infinity();
  for (const std::uint32_t row : table.rowsInOrder()) {
    EXPECT_LT(last, table.key(row));
    last = table.key(row);
  }
}

TEST(KeyTable, CostsAtMost64BytesACallerBesidesItsEntries) {
  KeyTable table({20, true, 1});
  for (int round = 0; round < 20; ++round) {
    for (int key = 1; key <= 100000; ++key) append(table, key, {1, 2, 3});
  }
  EXPECT_LT(static_cast<double>(table.bytesInUse()), 100000.0 * (20 * 24 * 1.2 + 64));
}

TEST(KeyOrder, SortsEveryKindOfNumber) {
  const double infinity = std::numeric_limits<double>::infinity();
  const Doubles ascending = {-infinity, -1e300, -2, -1, -1e-300, 0, 5e-324, 1, 1.5, 2, 1e300, infinity};
  std::vector<OrderedRow> rows;
  for (std::uint32_t i = 0; i < ascending.size(); ++i) rows.push_back({ordered_bits(ascending[i]), i});
  std::shuffle(rows.begin(), rows.end(), std::mt19937_64(1));
  sort_by_key(rows);
  for (std::uint32_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i].row, i);
}

}  // namespace
}  // namespace vesk_loader::testing
