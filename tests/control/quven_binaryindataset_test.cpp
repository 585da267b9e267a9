#include "control/quven_binaryindataset.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <random>

#include "dataset_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double missing = -99999.0;

/// The modes that cut the dataset by record numbers alone, and the random one.
constexpr int modesOfRecords[] = {0, 1, 2, 3, 4, 6};

class QUVENBinaryInputDatasetTest : public DatasetTest {
 protected:
  /// Numbers of no pattern, some of them missing, in columns of which every third is categorical.
  static literal::Dataset someDataset(std::size_t records, std::size_t columns = 3) {
    std::mt19937_64 random(1000 * records + columns);
    literal::Dataset data;
    for (std::size_t c = 1; c <= columns; ++c) {
      data.columns.push_back({"c" + std::to_string(c), c % 3 != 0, 1});
    }
    for (std::size_t i = 0; i < records * columns; ++i) {
      const std::uint64_t drawn = random();
      data.values.push_back(drawn % 11 == 0 ? missing : static_cast<double>(drawn % 100000) / 8);
    }
    return data;
  }

  /// One column that holds 0, 1, 2, ...
  static literal::Dataset countingDataset(std::size_t records) {
    literal::Dataset data;
    data.columns = {{"c", true, 1}};
    for (std::size_t i = 0; i < records; ++i) data.values.push_back(static_cast<double>(i));
    return data;
  }

  std::vector<std::int32_t> numbersOf(literal::Dataset data, int type, int rank, int count) {
    data.scanType = type;
    data.rank = rank;
    data.count = count;
    Reader reader(write(data), data, false, env);
    reader.startPass(data);
    std::vector<std::int32_t> numbers;
    for (const literal::Delivery& delivery : reader.pass()) {
      EXPECT_EQ(delivery.fields, std::vector{literal::numericText(delivery.number)});
      numbers.push_back(delivery.number);
    }
    return numbers;
  }
};

TEST_F(QUVENBinaryInputDatasetTest, CutsSlicesWithTheRestOnTheLastWorker) {
  const literal::Dataset data = countingDataset(10);
  EXPECT_THAT(numbersOf(data, 0, 0, 3), ElementsAre(0, 1, 2));
  EXPECT_THAT(numbersOf(data, 0, 1, 3), ElementsAre(3, 4, 5));
  EXPECT_THAT(numbersOf(data, 0, 2, 3), ElementsAre(6, 7, 8, 9));
}

TEST_F(QUVENBinaryInputDatasetTest, GivesFewRecordsToTheLastWorker) {
  const literal::Dataset data = countingDataset(2);
  EXPECT_THAT(numbersOf(data, 0, 0, 3), IsEmpty());
  EXPECT_THAT(numbersOf(data, 0, 1, 3), IsEmpty());
  EXPECT_THAT(numbersOf(data, 0, 2, 3), ElementsAre(0, 1));
}

TEST_F(QUVENBinaryInputDatasetTest, HoldsOutTheSliceOfTheWorker) {
  const literal::Dataset data = countingDataset(7);
  EXPECT_THAT(numbersOf(data, 1, 0, 3), ElementsAre(2, 3, 4, 5, 6));
  EXPECT_THAT(numbersOf(data, 1, 1, 3), ElementsAre(0, 1, 4, 5, 6));
  EXPECT_THAT(numbersOf(data, 1, 2, 3), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(numbersOf(data, 1, 0, 1), IsEmpty());
}

TEST_F(QUVENBinaryInputDatasetTest, ShowsEverythingToEveryWorkerOrNothing) {
  const literal::Dataset data = countingDataset(4);
  for (const int rank : {0, 1, 2}) {
    EXPECT_THAT(numbersOf(data, 2, rank, 3), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(numbersOf(data, 6, rank, 3), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(numbersOf(data, 3, rank, 3), IsEmpty());
  }
}

TEST_F(QUVENBinaryInputDatasetTest, TellsMissingValuesInColumnsOfBothTypes) {
  literal::Dataset data;
  data.columns = {{"number", true, 1}, {"text", false, 1}};
  const double near = std::nextafter(missing, 0.0);
  data.values = {missing, missing, near, near, 99999.0, 5.0};
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  literal::Delivery delivery;
  ASSERT_TRUE(reader.next(delivery));
  EXPECT_THAT(delivery.fields, ElementsAre("-", "-"));
  ASSERT_TRUE(reader.next(delivery));
  EXPECT_THAT(delivery.fields, ElementsAre(literal::numericText(near), "-99998.99999999999"));
  ASSERT_TRUE(reader.next(delivery));
  EXPECT_THAT(delivery.fields, ElementsAre(literal::numericText(99999.0), "5"));
  EXPECT_FALSE(reader.next(delivery));
}

TEST_F(QUVENBinaryInputDatasetTest, PrintsTheNumbersOfCategories) {
  const std::vector<std::pair<double, std::string>> cases = {
      {0.0, "0"},
      {-0.0, "0"},
      {1.0, "1"},
      {-7.0, "-7"},
      {100000.0, "100000"},
      {0.1, "0.1"},
      {-2.5, "-2.5"},
      {1.0 / 3, "0.3333333333333333"},
      {79261234567.0, "79261234567"},
      {1e14, "100000000000000"},
      {999999999999999.0, "999999999999999"},
      {1e15, "1e+15"},
      {1e300, "1e+300"},
      {5e-324, "5e-324"},
      {9007199254740993.0, "9007199254740992"},
      {std::numeric_limits<double>::infinity(), "inf"},
      {std::numeric_limits<double>::quiet_NaN(), "nan"},
  };
  literal::Dataset data;
  data.columns = {{"text", false, 1}};
  for (const auto& [value, text] : cases) data.values.push_back(value);
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  for (const auto& [value, text] : cases) {
    literal::Delivery delivery;
    ASSERT_TRUE(reader.next(delivery));
    EXPECT_THAT(delivery.fields, ElementsAre(text));
  }
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsAsTheLiteralReadingDoesForSmallSizes) {
  for (const std::size_t records : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 11U, 100U}) {
    literal::Dataset data = someDataset(records);
    const std::string name = write(data);
    for (const int type : modesOfRecords) {
      data.scanType = type;
      for (int count = 1; count <= 5; ++count) compareAllWorkers(data, name, count);
    }
  }
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsAsTheLiteralReadingDoesAroundTheEndsOfBlocks) {
  // Records of a block of 200000 bytes: 25000 of a column, 8333 and 8 bytes of three, 5000 of five; and blocks of few.
  struct Shape {
    std::size_t columns;
    std::size_t records;
  };
  const Shape shapes[] = {{1, 24999}, {1, 25000}, {1, 25001}, {1, 50000}, {3, 8332},  {3, 8333},  {3, 8334}, {3, 16666},
                          {3, 16667}, {5, 4999},  {5, 5000},  {5, 5001},  {5, 10000}, {24999, 3}, {25000, 3}};
  for (const Shape& shape : shapes) {
    literal::Dataset data = someDataset(shape.records, shape.columns);
    const std::string name = write(data);
    for (const int type : {0, 1, 2}) {
      data.scanType = type;
      compareAllWorkers(data, name, 1);
      compareAllWorkers(data, name, 3);
    }
    data.scanType = 4;
    data.samplingRate = 0.5;
    compare(data, name);
  }
}

TEST_F(QUVENBinaryInputDatasetTest, DropsTheTailOfAFile) {
  for (const std::size_t tail : {1U, 7U, 8U, 16U, 23U}) {
    for (const std::size_t records : {0U, 1U, 2U, 8333U}) {
      literal::Dataset data = someDataset(records);
      data.columns[0].purpose = 3;
      for (double& value : data.values) value = std::fabs(value);
      data.tailBytes = tail;
      const std::string name = write(data);
      for (int type = 0; type <= 7; ++type) {
        data.scanType = type;
        compareAllWorkers(data, name, 2);
      }
    }
  }
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsPartsAsOneStream) {
  const std::vector<std::vector<std::size_t>> cuts = {{5},       {1, 1, 1, 1, 1}, {5, 0, 0},    {0, 5},
                                                      {2, 0, 3}, {8333, 1, 8334}, {8334, 8332}, {1, 16667, 0}};
  for (const auto& cut : cuts) {
    folder.write("data.1", "");
    for (const char* old : {"data.0", "data.1", "data.2", "data.3", "data.4"})
      std::filesystem::remove(folder.path(old));
    std::size_t records = 0;
    for (const std::size_t part : cut) records += part;
    literal::Dataset data = someDataset(records);
    data.columns[0].purpose = 3;
    for (double& value : data.values) value = std::fabs(value);
    const std::string name = write(data, cut);
    for (int type = 0; type <= 7; ++type) {
      data.scanType = type;
      compareAllWorkers(data, name, 1, true);
      compareAllWorkers(data, name, 2, true);
    }
  }
}

TEST_F(QUVENBinaryInputDatasetTest, SamplesByTheRate) {
  literal::Dataset data = someDataset(300);
  data.scanType = 4;
  const std::string name = write(data);
  for (const double rate : {1.0, 9.99, 0.999, 0.5, 0.1, 0.0}) {
    data.samplingRate = rate;
    compareAllWorkers(data, name, 2);
  }
  // A rate of 1.0 takes every record; 10.0 skips behind the end.
  data.samplingRate = 1.0;
  Reader reader(name, data, false, env);
  reader.startPass(data);
  EXPECT_EQ(reader.pass().size(), 300U);
  data.samplingRate = 10.0;
  reader.startPass(data);
  EXPECT_THAT(reader.pass(), IsEmpty());
}

TEST_F(QUVENBinaryInputDatasetTest, SkipsTheSameInOneMillisecond) {
  literal::Dataset data = countingDataset(2000);
  data.scanType = 4;
  data.samplingRate = 0.05;
  Reader reader(write(data), data, false, env);
  reader.dataset.setMillisecondClock([] { return std::uint32_t{123456}; });
  reader.startPass(data);
  const std::int64_t skip = literal::randomSkip(456, 0.05);
  ASSERT_GT(skip, 0);
  for (std::int64_t record = skip; record < 2000; record += skip + 1) {
    ASSERT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), record);
  }
  EXPECT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), -1);
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsAgainAfterARewindAndInAnotherMode) {
  literal::Dataset data = someDataset(8400);
  data.count = 2;
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.startPass(data);
  const std::vector<literal::Delivery> first = reader.pass();
  EXPECT_EQ(first.size(), 4200U);
  EXPECT_EQ(reader.dataset.rewind(QUVEN_ENV), 1);
  EXPECT_EQ(reader.pass(), first);
  data.scanType = 2;
  reader.startPass(data);
  EXPECT_EQ(reader.pass().size(), 8400U);
  data.scanType = 0;
  reader.startPass(data);
  EXPECT_EQ(reader.pass(), first);
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsAnotherFileThroughTheSameObject) {
  const literal::Dataset data = countingDataset(3);
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  EXPECT_EQ(reader.pass().size(), 3U);
  literal::Dataset other = countingDataset(2);
  other.columns[0].name = "other";
  other.values = {8.0, 9.0};
  reader.point.destroyPrimitive(QUVEN_ENV);
  ASSERT_EQ(reader.dataset.open(write(other), &reader.point, 0, 1, QUVEN_ENV), 1);
  EXPECT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), -1);  // no pass was started
  reader.startPass(other);
  const std::vector<literal::Delivery> read = reader.pass();
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[1].fields, std::vector{literal::numericText(9.0)});
}

// A rate below 1.0 would go on skipping in a dataset that is opened again.
TEST_F(QUVENBinaryInputDatasetTest, TakesEveryRecordAfterOpening) {
  literal::Dataset data = countingDataset(100);
  data.scanType = 4;
  data.samplingRate = 10.0;
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.startPass(data);
  EXPECT_THAT(reader.pass(), IsEmpty());
  reader.point.destroyPrimitive(QUVEN_ENV);
  ASSERT_EQ(reader.dataset.open(name, &reader.point, 0, 1, QUVEN_ENV), 1);
  reader.dataset.setScanType(QUVENScanType::RandomSample, QUVEN_ENV);
  EXPECT_EQ(reader.pass().size(), 100U);
}

TEST_F(QUVENBinaryInputDatasetTest, RemembersThePartOfTheBlock) {
  const literal::Dataset data = countingDataset(6);
  QUVENDatasetBuffer buffer;
  Reader reader(write(data, {2, 0, 3, 1}), data, true, env);
  reader.dataset.setBuffer(&buffer);
  reader.startPass(data);
  std::vector<std::int32_t> parts;
  while (reader.dataset.readNext(reader.point, QUVEN_ENV) >= 0) parts.push_back(buffer.getCurrentPart());
  EXPECT_THAT(parts, ElementsAre(0, 0, 2, 2, 2, 3));
  buffer.reset();
  EXPECT_EQ(buffer.getCurrentPart(), 0);
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsFilesWhoseNamesHaveColons) {
  // MPI alone would take what stands before the colon for a file system, and open nothing.
  const literal::Dataset data = countingDataset(3);
  for (const std::string name : {"a:b/data", "nfs:data", "ufs:x", ":"}) {
    folder.write(name + ".info", infoOf(data.columns));
    Reader reader(folder.write(name, bytesOf(data.values)), data, false, env);
    reader.startPass(data);
    EXPECT_EQ(reader.pass().size(), 3U);
  }
}

TEST_F(QUVENBinaryInputDatasetTest, FillsAnyDataPointThatHasTheFields) {
  literal::Dataset data = countingDataset(2);
  Reader reader(write(data), data, false, env);
  reader.startPass(data);
  EXPECT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), 0);
  QUVENDataPoint other;
  QUVENOwnPtr<QUVENField> extra = quvenMake<QUVENNumField>(QUVEN_ENV);
  extra->setName("extra");
  other.addField(std::move(extra), QUVEN_ENV);
  QUVENOwnPtr<QUVENField> field = quvenMake<QUVENNumField>(QUVEN_ENV);
  field->setName("c");
  other.addField(std::move(field), QUVEN_ENV);
  EXPECT_EQ(reader.dataset.readNext(other, QUVEN_ENV), 1);
  EXPECT_EQ(other.getField(2).getNumValue(QUVEN_ENV), 1.0);
  EXPECT_FALSE(other.getField(1).hasValue());
  other.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENBinaryInputDatasetTest, MakesTheFieldsOfTheDescription) {
  literal::Dataset data;
  data.columns = {{"id", true, 3}, {"kind", false, 1}, {"sum", true, 1}, {"churn", false, 2}};
  Reader reader(write(data), data, false, env);
  EXPECT_EQ(reader.dataset.isBinary(QUVEN_ENV), 1);
  EXPECT_EQ(reader.dataset.getNumColumns(), 4);
  EXPECT_THAT(reader.dataset.getColumnNames(), ElementsAre("id", "kind", "sum", "churn"));
  EXPECT_EQ(reader.dataset.getLineNumberColumn(), 0);
  EXPECT_EQ(reader.dataset.getTargetColumn(), 3);
  ASSERT_EQ(reader.point.getNumFields(), 4);
  const int purposes[] = {7, 0, 0, 1};
  for (long i = 1; i <= 4; ++i) {
    const literal::Column& column = data.columns[static_cast<std::size_t>(i - 1)];
    EXPECT_EQ(reader.point.getField(i).getName(), column.name);
    EXPECT_EQ(reader.point.getField(i).isNumeric(), column.isNumeric);
    EXPECT_EQ(reader.point.getField(i).getPurpose(), purposes[i - 1]);
    EXPECT_EQ(reader.point.getField(i).isLineNumber(), i == 1);
  }
}

TEST_F(QUVENBinaryInputDatasetTest, FindsTheSpecialColumnsOnOtherWorkersByTheFields) {
  literal::Dataset data;
  data.columns = {{"kind", false, 1}, {"churn", false, 2}, {"id", true, 3}};
  data.rank = 1;
  data.count = 2;
  const std::string name = write(data);
  std::filesystem::remove(folder.path("data.info"));  // only the master reads it
  Reader reader(name, data, false, env);
  EXPECT_EQ(reader.point.getNumFields(), 3);
  EXPECT_THAT(reader.dataset.getColumnNames(), ElementsAre("kind", "churn", "id"));
  EXPECT_EQ(reader.dataset.getLineNumberColumn(), 2);
  EXPECT_EQ(reader.dataset.getTargetColumn(), 1);
}

TEST_F(QUVENBinaryInputDatasetTest, ReadsThroughTheBufferOfTheCaller) {
  const literal::Dataset data = countingDataset(30000);
  QUVENDatasetBuffer buffer;
  Reader reader(write(data), data, false, env);
  reader.dataset.setBuffer(&buffer);
  reader.startPass(data);
  EXPECT_EQ(reader.pass().size(), 30000U);
  EXPECT_TRUE(buffer.holds(200000, 240000));
  EXPECT_FALSE(buffer.holds(199999, 200000));
  EXPECT_FALSE(buffer.holds(239999, 240001));
  buffer.reset();
  EXPECT_FALSE(buffer.holds(0, 8));
}

TEST_F(QUVENBinaryInputDatasetTest, TellsEveryFiveMillionthRow) {
  // 10000001 records in a file of holes: rows 5000000 and 10000000 are told.
  const literal::Dataset data = countingDataset(0);
  const std::string name = write(data);
  std::filesystem::resize_file(name, 10000001 * sizeof(double));
  Reader reader(name, data, false, env);
  const auto readAll = [&] {
    reader.dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
    std::int32_t last = -1;
    for (std::int32_t number = 0; (number = reader.dataset.readNext(reader.point, QUVEN_ENV)) >= 0;) last = number;
    EXPECT_EQ(last, 10000000);
  };
  EXPECT_EQ(capturedRun(readAll).out, " Row num = 5000000\n Row num = 10000000\n");
  reader.dataset.setProgressLines(false);
  EXPECT_EQ(capturedRun(readAll).out, "");
}

TEST_F(QUVENBinaryInputDatasetTest, MakesDataPointsWithoutFields) {
  QUVENBinaryInputDataset dataset;
  QUVENOwnPtr<QUVENDataPoint> point = dataset.makeDataPoint(QUVEN_ENV);
  EXPECT_EQ(point->getNumFields(), 0);
  QUVEN_DELETE(point);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

TEST_F(QUVENBinaryInputDatasetTest, GivesEveryByteBack) {
  literal::Dataset data = someDataset(20);
  data.columns[0].purpose = 3;
  const std::string name = write(data);
  const auto bytesAfterAPass = [&] {
    {
      Reader reader(name, data, false, env);
      reader.startPass(data);
      EXPECT_EQ(reader.pass().size(), 20U);
    }
    return environment.getBytesInUse();
  };
  // The environment keeps the globals of scans and fields, which the first pass makes.
  const std::int64_t first = bytesAfterAPass();
  EXPECT_EQ(bytesAfterAPass(), first);
}

TEST_F(QUVENBinaryInputDatasetTest, InfiniteValuesAreTheLargestNumbersUnlessTheFilesValuesAreWanted) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double largest = std::numeric_limits<double>::max();
  literal::Dataset data;
  data.columns = {{"a", true, 1}, {"text", false, 1}, {"b", true, 1}};
  data.values = {infinity, infinity, -infinity};
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  for (const bool allowed : {false, true}) {
    reader.dataset.setNotANumberAllowed(allowed);
    reader.startPass(data);
    ASSERT_TRUE(reader.dataset.readRecord(reader.point, QUVEN_ENV));
    EXPECT_EQ(reader.point.getField(1).getNumValue(QUVEN_ENV), allowed ? infinity : largest);
    EXPECT_EQ(reader.point.getField(2).getCatValue(QUVEN_ENV), "inf");
    EXPECT_EQ(reader.point.getField(3).getNumValue(QUVEN_ENV), allowed ? -infinity : -largest);
  }
}

TEST_F(QUVENBinaryInputDatasetTest, ValuesThatAreNotNumbersAreDeliveredWhereTheyAreAllowed) {
  literal::Dataset data;
  data.columns = {{"a", true, 1}, {"b", true, 1}};
  data.values = {std::nan(""), 2};
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.dataset.setNotANumberAllowed(true);
  reader.startPass(data);
  ASSERT_TRUE(reader.dataset.readRecord(reader.point, QUVEN_ENV));
  EXPECT_TRUE(std::isnan(reader.point.getField(1).getNumValue(QUVEN_ENV)));
  EXPECT_EQ(reader.point.getField(2).getNumValue(QUVEN_ENV), 2);
}

// A file of 34 GB that takes no place on the disk: the last of 4096 workers starts 256 records before the number whose
// 32 bits are the end mark.
TEST_F(QUVENBinaryInputDatasetTest, APassGoesBeyondTheLargestNumberOf32Bits) {
  constexpr int count = 4096;
  constexpr std::int64_t share = 1048832;
  constexpr std::int64_t first = (count - 1) * share;
  constexpr std::int64_t endMark = 4294967295;
  static_assert(first < endMark && endMark < first + share);
  literal::Dataset data;
  data.columns = {{"a", true, 1}};
  const std::string name = write(data);
  std::error_code failed;
  std::filesystem::resize_file(name, static_cast<std::uintmax_t>(count * share) * sizeof(double), failed);
  if (failed) GTEST_SKIP() << "no file of 34 GB here: " << failed.message();
  data.rank = count - 1;
  data.count = count;
  Reader reader(name, data, false, env);
  reader.startPass(data);
  for (std::int64_t record = first; record < endMark + 100; ++record) {
    ASSERT_TRUE(reader.dataset.readRecord(reader.point, QUVEN_ENV));
    ASSERT_EQ(reader.dataset.getRecordNumber(), record);
    ASSERT_EQ(reader.point.getRecordId(), static_cast<std::uint32_t>(record));
  }
  while (reader.dataset.readRecord(reader.point, QUVEN_ENV)) {
  }
  EXPECT_EQ(reader.dataset.getRecordNumber(), first + share - 1);
  // The number of 32 bits ends at the end mark.
  reader.startPass(data);
  std::int64_t delivered = 0;
  while (reader.dataset.readNext(reader.point, QUVEN_ENV) != QUVENInputDataset::EndOfData) ++delivered;
  EXPECT_EQ(delivered, endMark - first);
}

}  // namespace
