#include "simple_algorithm/quven_kept_rows.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "kept_rows_fixture.h"

namespace {

using testing::HasSubstr;

constexpr double twoTo53 = 9007199254740992.0;
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr const char* irregularEnd = ", because they are not all regular";

class QUVENKeptRowsTest : public KeptRowsTest {
 protected:
  static Rows randomRows(unsigned seed, std::size_t numRows, std::size_t longest) {
    std::mt19937_64 random(seed);
    std::vector<std::uint64_t> callers(numRows);
    for (std::size_t i = 0; i < numRows; ++i) callers[i] = 1 + i * 7;
    std::shuffle(callers.begin(), callers.end(), random);
    Rows result;
    for (const std::uint64_t caller : callers) {
      Row& row = result.emplace_back(Row{caller, {}});
      for (std::size_t i = random() % (longest + 1); i > 0; --i) {
        const std::uint64_t big = (std::uint64_t{1} << 53) - 1 - random() % 5;
        row.entries.push_back(
            {random() % 10 == 0 ? big : 1 + random() % (8 * numRows), static_cast<double>(1 + random() % 1000) / 8});
      }
    }
    return result;
  }

  /// The records of four rows, which begin at the records 0, 5, 9 and 12 and have four places in a table.
  static std::vector<double> fourRows(Form form) {
    return recordsOf(form, {{1, {{2}, {3}, {4}}}, {5, {{1}, {1}}}, {6, {{7}}}, {8, {}}}, 4);
  }
  /// What is said of the four rows with one number of theirs changed.
  std::string logWith(Form form, std::size_t record, std::size_t column, double value) {
    std::vector<double> records = fourRows(form);
    records.at(3 * record + column) = value;
    write(records);
    return logOf(form);
  }
  std::string logOf(Form form) {
    if (load(form)) {
      EXPECT_GT(rows->getNumRows(), 0);
      return run.out;
    }
    EXPECT_EQ(rows->getNumRows(), 0);
    EXPECT_EQ(rows->getNumContacts(), 0);
    return run.out;
  }
  void expectIrregular(Form form, std::size_t record, std::size_t column, double value) {
    EXPECT_THAT(logWith(form, record, column, value), HasSubstr(irregularEnd))
        << "record " << record << " column " << column << " value " << value;
  }
  void expectKept(Form form, std::size_t record, std::size_t column, double value) {
    EXPECT_THAT(logWith(form, record, column, value), HasSubstr("Rows: kept in memory, "))
        << "record " << record << " column " << column << " value " << value;
  }
};

// Regular rows

TEST_F(QUVENKeptRowsTest, KeepTheRowsOfTheFileInItsOrder) {
  for (const Form form : {Form::Table, Form::PairSums}) {
    // Some of the rows are longer than a block of the dataset, which has 8,333 records.
    for (const auto& [numRows, longest] : {std::pair<std::size_t, std::size_t>{1, 0}, {1, 5}, {40, 9}, {7, 20000}}) {
      const Rows all = randomRows(static_cast<unsigned>(numRows), numRows, longest);
      const std::vector<double> records = recordsOf(form, all, 1);
      write(records);
      ASSERT_TRUE(load(form)) << run.out;
      const auto numRecords = static_cast<std::int64_t>(records.size() / 3);
      EXPECT_EQ(rows->getNumRecords(), numRecords);
      EXPECT_EQ(rows->getNumContacts(), numRecords - 2 * rows->getNumRows());
      EXPECT_EQ(rows->takeBytesRead(), numRecords * 24);
      EXPECT_EQ(rows->takeBytesRead(), 0);
      EXPECT_GT(rows->takeSecondsOfReading(), 0);
      EXPECT_EQ(rows->takeSecondsOfReading(), 0);
      EXPECT_EQ(nodes.getSize(), static_cast<long>(subscribersOf(all).size()));
      Rows expected = all;
      if (form == Form::Table) {
        for (Row& row : expected) {
          for (Entry& entry : row.entries) entry.weight = 1;
        }
      }
      EXPECT_EQ(keptBy(form, [&](auto node) { return nodes.getNode(node); }), expected);

      rows->orderNodes(nodes, QUVEN_ENV);
      EXPECT_EQ(nodes.getSize(), 0);
      const std::set<std::uint64_t> subscribers = subscribersOf(all);
      ASSERT_EQ(rows->getNumNodes(), static_cast<std::int64_t>(subscribers.size()));
      QUVENKeptRows::Node node = 0;
      for (const std::uint64_t subscriber : subscribers) EXPECT_EQ(rows->getSubscriber(++node), subscriber);
      EXPECT_EQ(keptBy(form, [&](auto place) { return rows->getSubscriber(place); }), expected);
      EXPECT_TRUE(rows->isOwn(0));
    }
  }
}

TEST_F(QUVENKeptRowsTest, RowsMayGoOnInTheNextPart) {
  const Rows all = randomRows(3, 60, 30);
  for (const Form form : {Form::Table, Form::PairSums}) {
    const std::vector<double> records = recordsOf(form, all, 30);
    write(records, {0, 1, 1, 5, 400, 401});
    ASSERT_TRUE(load(form)) << run.out;
    EXPECT_EQ(rows->getNumRecords() * 3, static_cast<std::int64_t>(records.size()));
    EXPECT_EQ(rows->takeBytesRead(), static_cast<std::int64_t>(records.size() * sizeof(double)));
    const Rows kept = keptBy(form, [&](auto node) { return nodes.getNode(node); });
    EXPECT_EQ(recordsOf(form, kept, 30), records);
  }
}

TEST_F(QUVENKeptRowsTest, LoadTableOrdersTheNodes) {
  write(recordsOf(Form::Table, {{30, {{20}, {10}}}, {20, {{40}}}}));
  rows = std::make_unique<QUVENKeptRows>(dataset, *transport, NoLimit);
  EXPECT_FALSE(rows->isDecided());
  EXPECT_FALSE(rows->isLoaded());
  run = capturedRun([&] { EXPECT_TRUE(rows->loadTable("", QUVEN_ENV)); });
  EXPECT_TRUE(rows->isLoaded());
  EXPECT_EQ(rows->getNumNodes(), 4);
  EXPECT_EQ(rows->getCaller(0), 3U);
  EXPECT_THAT(rows->getContacts(0), testing::ElementsAre(2, 1));
  EXPECT_EQ(rows->getCaller(1), 2U);
  EXPECT_THAT(rows->getContacts(1), testing::ElementsAre(4));
  const std::vector<QUVENKeptRows::Node> others{0, 4, 3, 2, 1};
  rows->renumber(others);
  EXPECT_EQ(rows->getCaller(0), 2U);
  EXPECT_THAT(rows->getContacts(0), testing::ElementsAre(3, 4));
  rows->drop();
  EXPECT_EQ(rows->getNumRows(), 0);
  EXPECT_EQ(rows->getNumContacts(), 0);
  EXPECT_EQ(rows->getNumNodes(), 0);
}

TEST_F(QUVENKeptRowsTest, WeightsCanBeChanged) {
  write(recordsOf(Form::PairSums, {{1, {{2, 6}, {3, 2}}}, {2, {{1, -5}}}}));
  ASSERT_TRUE(load(Form::PairSums));
  for (double& weight : rows->getWeights(0)) weight /= 8;
  EXPECT_THAT(std::as_const(*rows).getWeights(0), testing::ElementsAre(0.75, 0.25));
  EXPECT_THAT(std::as_const(*rows).getWeights(1), testing::ElementsAre(-5));
}

TEST_F(QUVENKeptRowsTest, ADatasetWithoutRecordsHasNoRows) {
  for (const Form form : {Form::Table, Form::PairSums}) {
    write({});
    EXPECT_TRUE(load(form, 0));
    EXPECT_EQ(rows->getNumRows(), 0);
    EXPECT_EQ(rows->getNumRecords(), 0);
  }
}

// Rows that are not regular

TEST_F(QUVENKeptRowsTest, WhatEveryRowHas) {
  for (const Form form : {Form::Table, Form::PairSums}) {
    EXPECT_THAT(logWith(form, 0, 0, 1), HasSubstr("kept in memory"));
    for (const double caller : {0.0, -1.0, 1.5, -99999.0, notANumber, infinity, 1e300, twoTo53, 5.0}) {
      for (const std::size_t record : {std::size_t{0}, std::size_t{2}, std::size_t{4}}) {
        expectIrregular(form, record, 0, caller);
      }
    }
    // A whole row of a caller that comes again, or of one that is no subscriber: records 5 to 8.
    for (const double caller : {1.0, 8.0, 6.0, 0.0, -5.0, 5.5, twoTo53, 9.0, twoTo53 - 1}) {
      std::vector<double> records = fourRows(form);
      for (std::size_t record = 5; record < 9; ++record) records[3 * record] = caller;
      write(records);
      EXPECT_EQ(logOf(form).find(irregularEnd) != std::string::npos, caller != 9 && caller != twoTo53 - 1) << caller;
    }
    for (const double position : {1.0, -1.0, 5.0, notANumber, -99999.0}) expectIrregular(form, 0, 1, position);
    for (const double width : {-1.0, 0.5, 4.5, 2.0, notANumber, infinity, 1e300, 2147483648.0, -99999.0}) {
      expectIrregular(form, 0, 2, width);
    }
    // Without the header, without the footer, and cut by the end.
    for (const std::size_t missing : {0, 4}) {
      std::vector<double> records = fourRows(form);
      records.erase(records.begin() + static_cast<long>(3 * missing),
                    records.begin() + static_cast<long>(3 * missing + 3));
      write(records);
      EXPECT_THAT(logOf(form), HasSubstr(irregularEnd)) << missing;
    }
    const std::vector<double> records = fourRows(form);
    const std::set<std::size_t> rowEnds{0, 5, 9, 12, 14};
    for (std::size_t length = 1; 3 * length <= records.size(); ++length) {
      write({records.begin(), records.begin() + static_cast<long>(3 * length)});
      EXPECT_EQ(logOf(form).find(irregularEnd) == std::string::npos, rowEnds.contains(length)) << length;
    }
  }
}

TEST_F(QUVENKeptRowsTest, WhatARowOfATableHas) {
  // Record 0 is the header of caller 1, 1 to 3 are its entries, 4 its footer; 9 is the header of caller 6.
  expectIrregular(Form::Table, 0, 2, 0);
  expectIrregular(Form::Table, 0, 2, 134217729);
  expectKept(Form::Table, 0, 2, 3);
  expectIrregular(Form::Table, 4, 1, 3);
  expectIrregular(Form::Table, 4, 1, 0);
  // Any position after the places of the row ends it, up to the largest that the kernel takes from the file.
  for (const double position : {6.0, 134217728.0}) expectKept(Form::Table, 4, 1, position);
  for (const double position : {134217729.0, 1e300, infinity}) expectIrregular(Form::Table, 4, 1, position);
  for (const double position : {0.0, 1.0, 3.0, 1.5, -1.0, 5.0, notANumber, -99999.0}) {
    expectIrregular(Form::Table, 2, 1, position);
  }
  for (const double contact : {0.0, -1.0, 0.5, -99999.0, notANumber, infinity, -infinity, 1e300, twoTo53}) {
    expectIrregular(Form::Table, 2, 2, contact);
  }
  for (const double contact : {1.0, 2.0, twoTo53 - 1}) expectKept(Form::Table, 2, 2, contact);
  for (const double value : {1.0, -1.0, 7788.0, notANumber, -99999.0}) expectIrregular(Form::Table, 4, 2, value);
  expectKept(Form::Table, 4, 2, -0.0);
  // As many places as a row with a footer may have.
  write(recordsOf(Form::Table, {{1, {{2}}}}, 134217727));
  EXPECT_THAT(logOf(Form::Table), HasSubstr("kept in memory"));
  write(recordsOf(Form::Table, {{1, {{2}}}}, 134217728));
  EXPECT_THAT(logOf(Form::Table), HasSubstr(irregularEnd));
}

TEST_F(QUVENKeptRowsTest, WhatARowOfPairSumsHas) {
  expectKept(Form::PairSums, 0, 2, 3);
  expectKept(Form::PairSums, 0, 2, 2147483647);
  expectIrregular(Form::PairSums, 9, 2, 0);  // fewer than there are
  for (const double callee : {-1.0, 0.5, -99999.0, notANumber, infinity, 1e300, twoTo53, 0.0}) {
    expectIrregular(Form::PairSums, 2, 1, callee);
  }
  for (const double callee : {1.0, 2.0, twoTo53 - 1}) expectKept(Form::PairSums, 2, 1, callee);
  for (const double weight : {notANumber, infinity, -infinity, -99999.0, -2.0}) {
    expectIrregular(Form::PairSums, 2, 2, weight);  // with -2 the sum is 0
  }
  for (const double weight : {0.0, -1.0, -0.0, 1e300, -1e300}) expectKept(Form::PairSums, 2, 2, weight);
  for (const double mark : {0.0, 7787.0, 7789.0, notANumber, -99999.0}) expectIrregular(Form::PairSums, 4, 2, mark);
  // A sum that is not finite, though all of its weights are.
  write(recordsOf(Form::PairSums, {{1, {{2, 1e308}, {3, 1e308}}}}));
  EXPECT_THAT(logOf(Form::PairSums), HasSubstr(irregularEnd));
  write(recordsOf(Form::PairSums, {{1, {{2, 1e308}, {3, -1e308}, {4, 1}}}, {2, {}}}, 0));
  EXPECT_THAT(logOf(Form::PairSums), HasSubstr("kept in memory"));
}

TEST_F(QUVENKeptRowsTest, ColumnsOfAnotherShapeAreNotRegular) {
  const std::vector<double> records = recordsOf(Form::Table, {{1, {{2}, {3}}}, {2, {{1}}}});
  for (const char* info : {"A Numeric Explanatory\nB Numeric Explanatory\nC Numeric Explanatory\n",
                           "A Numeric LineNumber\nB Numeric Explanatory\nC Numeric Target\n",
                           "A Numeric Explanatory\nB Numeric LineNumber\nC Numeric Explanatory\n",
                           "A Numeric LineNumber\nB Categorical Explanatory\nC Numeric Explanatory\n",
                           "A Numeric LineNumber\nB Numeric Explanatory\nC Categorical Explanatory\n"}) {
    write(records, {}, info);
    EXPECT_THAT(logOf(Form::Table), HasSubstr(irregularEnd)) << info;
    EXPECT_EQ(rows->takeBytesRead(), 0);
  }
  std::vector<double> wider = records;
  wider.resize(records.size() / 3 * 4);
  write(wider, {}, "A Numeric LineNumber\nB Numeric Explanatory\nC Numeric Explanatory\nD Numeric Explanatory\n");
  EXPECT_THAT(logOf(Form::Table), HasSubstr(irregularEnd));
}

// Limits and what is said

TEST_F(QUVENKeptRowsTest, TheLimitIsThatOfTheBytesInUse) {
  for (const Form form : {Form::Table, Form::PairSums}) {
    for (const std::size_t numRows : {1UL, 3UL, 900UL}) {
      const Rows all = randomRows(9, numRows, 40);
      write(recordsOf(form, all, 40));
      const std::int64_t bytes = bytesOf(form, all);
      EXPECT_TRUE(load(form, bytes)) << run.out;
      EXPECT_FALSE(load(form, bytes - 1));
      EXPECT_THAT(run.out, HasSubstr("; in memory they would need about "));
      EXPECT_EQ(rows->getNumRows(), 0);
      EXPECT_EQ(rows->getNumContacts(), 0);
      EXPECT_EQ(rows->takeBytesRead(), dataset.getTotalBytes());
      // Far too little: the file is not read.
      EXPECT_FALSE(load(form, 0));
      EXPECT_EQ(rows->takeBytesRead(), 0);
      EXPECT_FALSE(load(form, 1));
      EXPECT_EQ(rows->takeBytesRead(), 0);
    }
  }
}

TEST_F(QUVENKeptRowsTest, TheLogSaysWhichWayWasTaken) {
  // 10,000 rows of 18 contacts: 200,000 records of 24 bytes, 10,000 subscribers.
  Rows all;
  for (std::uint64_t caller = 1; caller <= 10000; ++caller) {
    Row& row = all.emplace_back(Row{caller, {}});
    for (std::uint64_t i = 1; i <= 18; ++i) row.entries.push_back({1 + (caller + i) % 10000});
  }
  write(recordsOf(Form::Table, all));
  ASSERT_EQ(bytesOf(Form::Table, all), 1030000);
  EXPECT_TRUE(load(Form::Table, 1500000));
  EXPECT_EQ(run.out, rowsLog("kept in memory, 1.0 MB of 1.5 MB on this rank; from the file a pass would read 4.8 MB"));
  EXPECT_FALSE(load(Form::Table, 900000));
  EXPECT_EQ(run.out, rowsLog("read from the file in each pass, 4.8 MB; in memory they would need about 0.9 MB on a "
                             "rank, of 0.9 MB"));
  EXPECT_FALSE(load(Form::Table, 300000));  // what 200,000 contacts take is known from the size of the file
  EXPECT_EQ(run.out, rowsLog("read from the file in each pass, 4.8 MB; in memory they would need about 0.8 MB on a "
                             "rank, of 0.3 MB"));
  EXPECT_FALSE(load(Form::Table, NoLimit, "records are traced"));
  EXPECT_EQ(run.out, rowsLog("read from the file in each pass, 4.8 MB, because records are traced; in memory they "
                             "would need about 0.8 MB on a rank"));
  EXPECT_EQ(rows->takeBytesRead(), 0);
  EXPECT_EQ(nodes.getSize(), 0);

  write(recordsOf(Form::PairSums, all));
  EXPECT_TRUE(load(Form::PairSums, 3000000));
  EXPECT_EQ(run.out, rowsLog("kept in memory, 2.5 MB of 3.0 MB on this rank; from the file a pass would read 4.8 MB"));
  EXPECT_FALSE(load(Form::PairSums, 1000000));
  EXPECT_EQ(run.out, rowsLog("read from the file in each pass, 4.8 MB; in memory they would need about 2.4 MB on a "
                             "rank, of 1.0 MB"));
  EXPECT_FALSE(load(Form::Table));
  EXPECT_EQ(run.out, rowsLog("read from the file in each pass, 4.8 MB, because they are not all regular"));
}

// On several ranks

class QUVENKeptRowsWorkersTest : public QUVENKeptRowsTest {};

TEST_F(QUVENKeptRowsWorkersTest, PairSumsAreDealtByTheirCallersAndTablesAreNot) {
  const Rows all = randomRows(21, 500, 50);
  const Rows own = ownOf(all);
  write(recordsOf(Form::PairSums, all));
  ASSERT_TRUE(load(Form::PairSums)) << run.out;
  EXPECT_EQ(run.out.empty(), !transport->isMaster());
  EXPECT_EQ(keptBy(Form::PairSums, [&](auto node) { return nodes.getNode(node); }), own);
  EXPECT_EQ(nodes.getSize(), static_cast<long>(subscribersOf(own).size()));
  EXPECT_EQ(rows->takeBytesRead(), dataset.getTotalBytes());

  write(recordsOf(Form::Table, all, 50));
  ASSERT_TRUE(load(Form::Table)) << run.out;
  EXPECT_EQ(rows->getNumRows(), 500);
  rows->orderNodes(nodes, QUVEN_ENV);
  const auto count = static_cast<std::uint64_t>(transport->getCount());
  for (std::int64_t row = 0; row < rows->getNumRows(); ++row) {
    const std::uint64_t caller = rows->getSubscriber(rows->getCaller(row));
    EXPECT_EQ(rows->isOwn(row), caller % count == static_cast<std::uint64_t>(transport->getRank()));
  }
}

TEST_F(QUVENKeptRowsWorkersTest, ARowThatOneRankRefusesIsKeptByNone) {
  for (const std::uint64_t caller : {1U, 2U, 3U, 4U}) {
    Rows all = randomRows(22, 30, 9);
    all.push_back({1000 + caller, {{5, 2}, {6, -2}}});  // their sum is 0
    write(recordsOf(Form::PairSums, all));
    EXPECT_FALSE(load(Form::PairSums));
    EXPECT_EQ(run.out.find(irregularEnd) != std::string::npos, transport->isMaster());
    EXPECT_EQ(rows->getNumRows(), 0);
    all.back().entries.back().weight = 3;
    all.push_back(all.back());  // a caller that comes again
    write(recordsOf(Form::PairSums, all));
    EXPECT_FALSE(load(Form::PairSums));
  }
}

TEST_F(QUVENKeptRowsWorkersTest, TheLogSaysWhatTheRankNeedsThatNeedsMost) {
  // 500 rows of the highest rank, one of each other rank.
  const auto count = static_cast<std::uint64_t>(transport->getCount());
  Rows all;
  for (std::uint64_t caller = count; caller < 2 * count; ++caller) all.push_back({caller, {{1}}});
  for (std::uint64_t i = 3; i < 503; ++i) {
    Row& row = all.emplace_back(Row{i * count - 1, {}});
    for (std::uint64_t callee = 1; callee <= 200; ++callee) row.entries.push_back({callee});
  }
  write(recordsOf(Form::PairSums, all));
  EXPECT_FALSE(load(Form::PairSums, 1000000));  // the rank reads until it is above the limit
  EXPECT_EQ(run.out.empty(), !transport->isMaster());
  if (transport->isMaster()) {
    EXPECT_THAT(run.out, testing::ContainsRegex("they would need about 1[.][0-2] MB on a rank, of 1[.]0 MB"));
  }
}

TEST_F(QUVENKeptRowsWorkersTest, ALimitThatOneRankExceedsIsThatOfAll) {
  const Rows all = randomRows(23, 301, 9);
  write(recordsOf(Form::PairSums, all));
  std::int64_t most = bytesOf(Form::PairSums, ownOf(all));
  MPI_Allreduce(MPI_IN_PLACE, &most, 1, MPI_INT64_T, MPI_MAX, MPI_COMM_WORLD);
  EXPECT_TRUE(load(Form::PairSums, most));
  EXPECT_FALSE(load(Form::PairSums, most - 1));
  EXPECT_EQ(rows->getNumRows(), 0);
}

TEST_F(QUVENKeptRowsWorkersTest, TheLogHasTheNeedOfTheRankThatNeedsMost) {
  // All contacts are those of one caller, who is dealt to rank 1 if there is one.
  Rows all{{1, {}}};
  for (std::uint64_t i = 1; i <= 100000; ++i) all[0].entries.push_back({1 + i});
  write(recordsOf(Form::PairSums, all));
  EXPECT_FALSE(load(Form::PairSums, 1000000));
  if (!transport->isMaster()) return;
  EXPECT_EQ(run.out, rowsLog(std::string("read from the file in each pass, 2.4 MB; in memory they would need about ") +
                             (transport->isAlone() ? "1.2" : "1.0") + " MB on a rank, of 1.0 MB"));
}

}  // namespace
