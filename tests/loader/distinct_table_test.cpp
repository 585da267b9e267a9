// KeyTable with distinct callees.

#include <map>
#include <random>

#include "key_table.h"
#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

using Entry = Doubles;  // callee, date, payloads

/// Rows as lists of entries; an entry is taken out where it stands and appended.
struct LiteralDistinctTable {
  std::size_t size;
  std::map<double, std::vector<Entry>> rows;

  void append(double key, const Entry& entry) {
    std::vector<Entry>& row = rows[key];
    std::erase_if(row, [&](const Entry& old) { return old[0] == entry[0]; });
    row.push_back(entry);
    if (row.size() > size) row.erase(row.begin());
  }

  void assign(double key, const std::vector<Entry>& entries) {
    rows[key].clear();
    for (const Entry& entry : entries) append(key, entry);
  }
};

KeyTable::Shape distinctShape(std::uint32_t size, bool dates = false, std::uint32_t payloads = 0) {
  KeyTable::Shape shape{size, dates, payloads};
  shape.distinct = true;
  return shape;
}

RowColumns columnsOf(const std::vector<Entry>& entries, const KeyTable::Shape& shape) {
  RowColumns columns;
  columns.clear(shape.payloadCount);
  for (const Entry& entry : entries) {
    std::size_t next = 0;
    columns.values.push_back(entry[next++]);
    if (shape.dates) columns.dates.push_back(entry[next++]);
    for (auto& payload : columns.payloads) payload.push_back(entry[next++]);
  }
  return columns;
}

void append(KeyTable& table, double key, const Entry& entry, std::uint32_t times = 1) {
  table.append(table.findOrInsert(key), entry.data(), times);
}

RowColumns read(KeyTable& table, std::uint32_t row) {
  table.removeRepeats();
  RowColumns columns;
  table.read(row, columns);
  return columns;
}

TEST(DistinctTable, ACalleeThatIsInTheRowMovesToItsEnd) {
  KeyTable table(distinctShape(3, true, 1));
  append(table, 7, {1, 20200101, 11});
  append(table, 7, {2, 20200102, 12});
  append(table, 7, {1, 20200103, 13});
  RowColumns row = read(table, 0);
  EXPECT_EQ(row.values, (Doubles{2, 1}));
  EXPECT_EQ(row.dates, (Doubles{20200102, 20200103}));
  EXPECT_EQ(row.payloads[0], (Doubles{12, 13}));
  EXPECT_EQ(table.length(0), 2U);
  append(table, 7, {3, 20200104, 14});
  append(table, 7, {4, 20200105, 15});
  row = read(table, 0);
  EXPECT_EQ(row.values, (Doubles{1, 3, 4}));
  EXPECT_EQ(row.dates, (Doubles{20200103, 20200104, 20200105}));
}

TEST(DistinctTable, AMultiplicityAppendsOneEntry) {
  KeyTable table(distinctShape(3));
  append(table, 7, {1});
  append(table, 7, {2}, 3);
  append(table, 7, {3}, 0);
  EXPECT_EQ(read(table, 0).values, (Doubles{1, 2}));
}

TEST(DistinctTable, AReplacedRowKeepsTheLatestOfItsDistinctCallees) {
  KeyTable table(distinctShape(3));
  RowColumns row;
  row.values = {1, 2, 1, 3, 4, 2};
  table.assign(table.findOrInsert(7), row);
  EXPECT_EQ(read(table, 0).values, (Doubles{3, 4, 2}));
}

// A payload column without an element once made a process file that could not be read.
TEST(DistinctTable, ColumnsOfUnequalLengthsStayUntilACallRenewsAnEntry) {
  KeyTable table(distinctShape(3, false, 2));
  RowColumns row;
  row.values = {1, 2, 1, 3};
  row.payloads = {{11}, {21, 22, 23, 24, 25}};
  const std::uint32_t number = table.findOrInsert(7);
  table.assign(number, row);
  RowColumns kept = read(table, number);
  EXPECT_EQ(kept.values, row.values);
  EXPECT_EQ(kept.payloads, row.payloads);
  append(table, 7, {2, 31, 41});
  kept = read(table, number);
  EXPECT_EQ(kept.values, (Doubles{1, 3, 2}));  // 2 moves, and the oldest falls out
  EXPECT_EQ(kept.payloads, (std::vector<Doubles>{{31}, {23, 24, 25, 41}}));
}

TEST(DistinctTable, EqualsALiteralTableOverRandomRecordsAndReplacedRows) {
  std::mt19937_64 random(12);
  for (const std::uint32_t size : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 20U, 33U, 100U, 200U}) {
    const KeyTable::Shape shape = distinctShape(size, size % 2 == 0, size % 3);
    KeyTable table(shape);
    LiteralDistinctTable literal{size, {}};
    const auto entryOf = [&](std::uint64_t callees) {
      Entry entry;
      for (std::uint32_t i = 0; i < table.entryWidth(); ++i) {
        entry.push_back(static_cast<double>(random() % (i == 0 ? callees : 1000)));
      }
      return entry;
    };
    for (int round = 0; round < 20000; ++round) {
      // Callers with small numbers have few callees and many calls.
      const std::uint64_t key = random() % (random() % 40 + 1);
      const std::uint64_t callees = 1 + key * key;
      if (random() % 200 == 0) {  // what a process file or the dropping of old entries does to a row
        std::vector<Entry> entries;
        for (std::size_t i = random() % (2 * size + 3); i > 0; --i) entries.push_back(entryOf(callees));
        table.assign(table.findOrInsert(static_cast<double>(key)), columnsOf(entries, shape));
        literal.assign(static_cast<double>(key), entries);
      } else {
        const Entry entry = entryOf(callees);
        append(table, static_cast<double>(key), entry, static_cast<std::uint32_t>(1 + random() % 3));
        literal.append(static_cast<double>(key), entry);
      }
      if (random() % 3000 == 0) table.removeRepeats();  // between two files of a run
    }
    for (const auto& [key, entries] : literal.rows) {
      const RowColumns row = read(table, table.findOrInsert(key));
      const RowColumns expected = columnsOf(entries, shape);
      ASSERT_EQ(row.values, expected.values) << "size " << size << ", key " << key;
      ASSERT_EQ(row.dates, expected.dates);
      ASSERT_EQ(row.payloads, expected.payloads);
    }
  }
}

TEST(DistinctTable, ARowOfFewCalleesStaysSmall) {
  KeyTable table(distinctShape(200, true));
  append(table, 7, {1, 0});
  const std::size_t before = table.bytesInUse();
  for (int i = 0; i < 100000; ++i) append(table, 7, {static_cast<double>(i % 3), 0});
  EXPECT_LE(table.bytesInUse() - before, 8 * 2 * sizeof(double) + 2 * sizeof(double));  // one piece of 8 entries more
}

}  // namespace
}  // namespace vesk_loader::testing
