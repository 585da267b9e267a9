// The reading modes that go by lines: dealt over the workers, sampled, and the sparse quadruples.

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

#include "control/quven_binaryindataset.h"
#include "dataset_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class QUVENBinaryInputDatasetLinesTest : public DatasetTest {
 protected:
  /// The sparse form of the loader: the numbers of the lines, and two columns of something.
  static literal::Dataset sparseDataset(const std::vector<double>& lines) {
    literal::Dataset data;
    data.columns = {{"Col1", true, 3}, {"Col2", true, 1}, {"Col3", true, 1}};
    for (std::size_t i = 0; i < lines.size(); ++i) {
      data.values.insert(data.values.end(), {lines[i], static_cast<double>(i), 0.5});
    }
    return data;
  }

  /// Runs of 1 to 9 records, of numbers that come again, some of them above 2 to the 63.
  static std::vector<double> someLines(std::size_t records) {
    std::mt19937_64 random(records);
    std::vector<double> lines;
    while (lines.size() < records) {
      const double line = static_cast<double>(random() % 50) + (random() % 4 == 0 ? std::ldexp(1.0, 63) : 0.0);
      const double big = line >= std::ldexp(1.0, 63) ? line + 4096.0 * static_cast<double>(random() % 50) : line;
      for (std::uint64_t run = 1 + random() % 9; run > 0 && lines.size() < records; --run) lines.push_back(big);
    }
    return lines;
  }

  std::vector<std::int32_t> numbersOf(const std::vector<double>& lines, int type, int rank, int count,
                                      double rate = 1.0) {
    literal::Dataset data = sparseDataset(lines);
    data.scanType = type;
    data.rank = rank;
    data.count = count;
    data.samplingRate = rate;
    Reader reader(write(data), data, false, env);
    reader.startPass(data);
    std::vector<std::int32_t> numbers;
    for (const literal::Delivery& delivery : reader.pass()) numbers.push_back(delivery.number);
    return numbers;
  }
};

TEST_F(QUVENBinaryInputDatasetLinesTest, DealsWholeLinesOverTheWorkers) {
  const std::vector<double> lines = {4, 4, 5, 9, 9, 9, 4, 3};
  EXPECT_THAT(numbersOf(lines, 5, 0, 3), ElementsAre(3, 4, 5, 7));
  EXPECT_THAT(numbersOf(lines, 5, 1, 3), ElementsAre(0, 1, 6));
  EXPECT_THAT(numbersOf(lines, 5, 2, 3), ElementsAre(2));
  EXPECT_THAT(numbersOf(lines, 5, 0, 1), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST_F(QUVENBinaryInputDatasetLinesTest, DealsLineNumbersOfSixtyFourBits) {
  // 2^63 = 2 modulo 3; the next double is 2^63 + 2048, and 2048 = 2 modulo 3.
  const double half = std::ldexp(1.0, 63);
  const std::vector<double> lines = {half, half + 2048.0, half - 1024.0};
  EXPECT_THAT(numbersOf(lines, 5, 2, 3), ElementsAre(0));
  EXPECT_THAT(numbersOf(lines, 5, 1, 3), ElementsAre(1, 2));
  EXPECT_THAT(numbersOf(lines, 5, 0, 3), IsEmpty());
}

TEST_F(QUVENBinaryInputDatasetLinesTest, DropsALineAndTakesTheNext) {
  // With a rate of 1.0 nothing more is skipped: every second line.
  EXPECT_THAT(numbersOf({1, 1, 2, 2, 3, 4, 4}, 7, 0, 1), ElementsAre(2, 3, 5, 6));
  // Line 0 is the line that was last before the first.
  EXPECT_THAT(numbersOf({0, 0, 1, 1, 2, 3}, 7, 0, 1), ElementsAre(0, 1, 4));
  EXPECT_THAT(numbersOf({1, 1, 1}, 7, 0, 1), IsEmpty());
  EXPECT_THAT(numbersOf({}, 7, 0, 1), IsEmpty());
}

TEST_F(QUVENBinaryInputDatasetLinesTest, SkipsAsManyLinesAsAreDrawn) {
  // The first skip is drawn at 37 milliseconds. Lines of one record, from 1 upward: the drawn number of lines goes, but
  // never less than one, and the line of the skip's end is delivered.
  std::vector<double> lines;
  for (int i = 1; i <= 200; ++i) lines.push_back(i);
  const std::int64_t skip = literal::randomSkip(37, 0.05);
  ASSERT_GT(skip, 1);
  const std::vector<std::int32_t> numbers = numbersOf(lines, 7, 0, 1, 0.05);
  ASSERT_FALSE(numbers.empty());
  EXPECT_EQ(numbers[0], skip);
  // A rate of 10.0 draws nothing and skips no more than the one line.
  TestClock::now = 0;
  EXPECT_THAT(numbersOf({1, 2, 3, 4}, 7, 0, 1, 10.0), ElementsAre(1, 3));
}

TEST_F(QUVENBinaryInputDatasetLinesTest, ReadsLinesAsTheLiteralReadingDoes) {
  for (const std::size_t records : {0U, 1U, 2U, 3U, 50U, 1000U, 8332U, 8333U, 8334U, 16667U}) {
    literal::Dataset data = sparseDataset(someLines(records));
    const std::string name = write(data);
    for (const int type : {5, 7}) {
      data.scanType = type;
      for (const double rate : {1.0, 0.5, 0.1, 10.0}) {
        data.samplingRate = rate;
        if (type == 7 || rate == 1.0) compareAllWorkers(data, name, type == 5 ? 5 : 2);
      }
    }
  }
}

TEST_F(QUVENBinaryInputDatasetLinesTest, SharesTheLinesOutCompletely) {
  const std::vector<double> lines = someLines(3000);
  for (int count = 1; count <= 5; ++count) {
    std::vector<std::int32_t> all;
    for (int rank = 0; rank < count; ++rank) {
      for (const std::int32_t number : numbersOf(lines, 5, rank, count)) all.push_back(number);
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), 3000U);
    for (std::int32_t i = 0; i < 3000; ++i) ASSERT_EQ(all[static_cast<std::size_t>(i)], i);
  }
}

TEST_F(QUVENBinaryInputDatasetLinesTest, SamplesAgainAfterAFurtherStart) {
  // The line that was last in the first pass is the first one of the next.
  literal::Dataset data = sparseDataset({1, 1, 2, 2, 3, 1});
  data.scanType = 7;
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  const std::vector<literal::Delivery> first = reader.pass();
  ASSERT_EQ(first.size(), 3U);
  reader.startPass(data);
  EXPECT_EQ(reader.pass(), first);
}

/// The sparse quadruples.
class QUVENBinaryInputDatasetQuadruplesTest : public DatasetTest {
 protected:
  struct Entry {
    int column;
    double value;
  };

  static literal::Dataset emptyDataset() {
    literal::Dataset data;
    data.columns = {{"a", true, 1}, {"b", false, 1}, {"t", true, 2}, {"d", true, 1}};
    data.scanType = 8;
    return data;
  }

  static void addLine(literal::Dataset& data, double line, const std::vector<Entry>& entries, double target) {
    const auto add = [&](double position, double value) {
      data.values.insert(data.values.end(), {777.0, line, position, value});
    };
    add(0.0, static_cast<double>(entries.size()));
    for (const Entry& entry : entries) add(entry.column, entry.value);
    add(99.0, target);
  }

  static literal::Dataset someLines(std::size_t lines, std::uint64_t maxEntries) {
    std::mt19937_64 random(lines + maxEntries);
    literal::Dataset data = emptyDataset();
    for (std::size_t i = 0; i < lines; ++i) {
      std::vector<Entry> entries;
      for (std::uint64_t k = random() % (maxEntries + 1); k > 0; --k) {
        entries.push_back({1 + static_cast<int>(random() % 4),
                           random() % 7 == 0 ? -99999.0 : static_cast<double>(random() % 1000) / 4});
      }
      addLine(data, static_cast<double>(i * 7), entries, static_cast<double>(random() % 2));
    }
    return data;
  }
};

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, FillsTheEntriesAndTheTarget) {
  literal::Dataset data = emptyDataset();
  addLine(data, 41, {{1, 2.0}, {2, 6.0}}, 1.0);
  addLine(data, 42, {}, 0.0);
  addLine(data, 43, {{2, -99999.0}}, -99999.0);
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  literal::Delivery delivery;
  ASSERT_TRUE(reader.next(delivery));
  EXPECT_EQ(delivery, (literal::Delivery{41, {literal::numericText(2), "6", literal::numericText(1), "?"}, {1, 2}}));
  // A line without entries: the next record is that of the target. What was filled stays, but is not active.
  ASSERT_TRUE(reader.next(delivery));
  EXPECT_EQ(delivery, (literal::Delivery{42, {literal::numericText(2), "6", literal::numericText(0), "?"}, {}}));
  ASSERT_TRUE(reader.next(delivery));
  EXPECT_EQ(delivery, (literal::Delivery{43, {literal::numericText(2), "-", "-", "?"}, {2}}));
  EXPECT_EQ(reader.dataset.getSparseLines(), 3);
  EXPECT_FALSE(reader.next(delivery));
  EXPECT_FALSE(reader.next(delivery));
  reader.startPass(data);
  EXPECT_EQ(reader.dataset.getSparseLines(), 0);
}

// The end of the quadruples is no end of another mode.
TEST_F(QUVENBinaryInputDatasetQuadruplesTest, AnotherModeReadsBehindTheirEnd) {
  literal::Dataset data = emptyDataset();
  addLine(data, 41, {{1, 2.0}}, 1.0);
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  EXPECT_EQ(reader.pass().size(), 1U);
  reader.dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  EXPECT_EQ(reader.pass().size(), 3U);
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, GivesEachLineToTheWorkerOfItsHeader) {
  // Three lines of 4, 6 and 3 records: 13 records, headers at 0, 4, 10. Two workers: records 0-5 and 6-12.
  literal::Dataset data = emptyDataset();
  addLine(data, 1, {{1, 1.0}, {1, 2.0}}, 0.0);
  addLine(data, 2, {{1, 1.0}, {2, 2.0}, {4, 3.0}, {4, 4.0}}, 0.0);
  addLine(data, 3, {{1, 5.0}}, 0.0);
  const std::string name = write(data);
  const auto linesOf = [&](int rank, int count) {
    data.rank = rank;
    data.count = count;
    Reader reader(name, data, false, env);
    reader.startPass(data);
    std::vector<std::int32_t> first;
    for (const literal::Delivery& delivery : reader.pass()) first.push_back(delivery.number);
    EXPECT_EQ(reader.dataset.rewind(QUVEN_ENV), 1);
    std::vector<std::int32_t> second;
    for (const literal::Delivery& delivery : reader.pass()) second.push_back(delivery.number);
    EXPECT_EQ(first, second) << "after a rewind";
    return first;
  };
  EXPECT_THAT(linesOf(0, 1), ElementsAre(1, 2, 3));
  EXPECT_THAT(linesOf(0, 2), ElementsAre(1, 2));
  EXPECT_THAT(linesOf(1, 2), ElementsAre(3));
  // Slices of records 0-1, 2-3, 4-5, 6-7, 8-9, 10-12: those without a header have no line.
  EXPECT_THAT(linesOf(0, 6), ElementsAre(1));
  EXPECT_THAT(linesOf(1, 6), IsEmpty());
  EXPECT_THAT(linesOf(2, 6), ElementsAre(2));
  EXPECT_THAT(linesOf(3, 6), IsEmpty());
  EXPECT_THAT(linesOf(4, 6), IsEmpty());
  EXPECT_THAT(linesOf(5, 6), ElementsAre(3));
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, ReadsAsTheLiteralReadingDoes) {
  for (const std::size_t lines : {0U, 1U, 2U, 3U, 10U, 2000U}) {
    for (const std::uint64_t entries : {0U, 1U, 12U}) {
      literal::Dataset data = someLines(lines, entries);
      const std::string name = write(data);
      for (int count = 1; count <= 5; ++count) compareAllWorkers(data, name, count);
    }
  }
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, SharesTheLinesOutCompletely) {
  literal::Dataset data = someLines(500, 9);
  const std::string name = write(data);
  for (data.count = 1; data.count <= 5; ++data.count) {
    std::vector<std::int32_t> lines;
    for (data.rank = 0; data.rank < data.count; ++data.rank) {
      Reader reader(name, data, false, env);
      reader.startPass(data);
      for (const literal::Delivery& delivery : reader.pass()) lines.push_back(delivery.number);
    }
    ASSERT_EQ(lines.size(), 500U);
    for (std::int32_t i = 0; i < 500; ++i) ASSERT_EQ(lines[static_cast<std::size_t>(i)], i * 7);
  }
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, ReadsParts) {
  literal::Dataset data = someLines(3000, 4);
  const std::size_t records = data.values.size() / 4;
  const std::string name = write(data, {records / 2, 0, records - records / 2});
  compareAllWorkers(data, name, 3, true);
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, EndsAtALineThatIsCut) {
  literal::Dataset data = emptyDataset();
  addLine(data, 1, {{1, 1.0}}, 0.0);
  addLine(data, 2, {{1, 1.0}, {2, 2.0}}, 0.0);
  const std::vector<double> whole = data.values;
  for (const std::size_t records : {3U, 4U, 5U, 6U, 7U}) {
    data.values.assign(whole.begin(), whole.begin() + static_cast<long>(records) * 4);
    data.tailBytes = records % 2 == 0 ? 31 : 0;
    Reader reader(write(data), data, false, env);
    reader.startPass(data);
    EXPECT_EQ(reader.pass().size(), records == 7U ? 2U : 1U);
    EXPECT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), -1);
  }
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, TakesTheSecondHeaderWithoutASearch) {
  // Behind a line stands a record whose position is not 0: it is a header all the same, of no entries.
  literal::Dataset data = emptyDataset();
  addLine(data, 1, {}, 0.0);
  data.values.insert(data.values.end(), {777.0, 2.0, 5.0, 0.0, 777.0, 2.0, 5.0, 1.0});
  compare(data, write(data));
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  const std::vector<literal::Delivery> read = reader.pass();
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[1].number, 2);
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, PassesOverTheTargetOfDataWithoutOne) {
  literal::Dataset data = emptyDataset();
  data.columns[2].purpose = 1;
  addLine(data, 5, {{1, 1.0}}, 3.0);
  compare(data, write(data));
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, RefusesColumnsThatTheDataDoNotHave) {
  for (const double column : {0.0, -1.0, 5.0, 1e30, std::numeric_limits<double>::quiet_NaN()}) {
    literal::Dataset data = emptyDataset();
    addLine(data, 1, {{1, 1.0}, {2, 1.0}}, 0.0);
    data.values[10] = column;  // the position of the second entry
    const std::string name = write(data);
    Reader reader(name, data, false, env);
    reader.startPass(data);
    const CapturedRun run = capturedRun([&] { reader.dataset.readNext(reader.point, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_THAT(run.out, ::testing::EndsWith("    No such column in record 2 of input data file " + name + "\n"));
  }
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, CountsNoEntriesForNumbersThatAreNoCount) {
  for (const double entries : {-3.0, 0.75, -0.5, std::numeric_limits<double>::quiet_NaN()}) {
    literal::Dataset data = emptyDataset();
    addLine(data, 9, {}, 1.0);
    data.values[3] = entries;
    Reader reader(write(data), data, false, env);
    reader.startPass(data);
    const std::vector<literal::Delivery> read = reader.pass();
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].fields[2], literal::numericText(1.0));
  }
}

TEST_F(QUVENBinaryInputDatasetQuadruplesTest, EndsForMoreEntriesThanThereAreRecords) {
  literal::Dataset data = emptyDataset();
  addLine(data, 9, {{1, 1.0}}, 1.0);
  data.values[3] = 1e300;
  data.values[10] = 1.0;  // the record of the target reads as an entry
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  EXPECT_THAT(reader.pass(), IsEmpty());
}

}  // namespace
