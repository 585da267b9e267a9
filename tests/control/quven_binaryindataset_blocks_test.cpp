// Whole blocks of records, beside the records one by one.

#include <limits>
#include <random>

#include "dataset_fixture.h"

namespace {

class QUVENBinaryInputDatasetBlocksTest : public DatasetTest {
 protected:
  static literal::Dataset datasetOf(std::size_t numColumns, std::size_t numRecords) {
    literal::Dataset data;
    for (std::size_t column = 0; column < numColumns; ++column) {
      data.columns.push_back({"c" + std::to_string(column), column != 1, 1});
    }
    for (std::size_t i = 0; i < numRecords * numColumns; ++i) {
      data.values.push_back(i % 11 == 5 ? -99999.0 : static_cast<double>(i));
    }
    return data;
  }

  /// The blocks of one worker's slice, put together.
  static std::vector<double> blocksOf(Reader& reader, std::size_t numColumns, std::size_t& numBlocks) {
    QUVENEnv* const env = reader.env;
    std::vector<double> values;
    numBlocks = 0;
    for (std::span<const double> block; !(block = reader.dataset.readBlock(QUVEN_ENV)).empty(); ++numBlocks) {
      EXPECT_EQ(block.size() % numColumns, 0U);
      values.insert(values.end(), block.begin(), block.end());
    }
    EXPECT_TRUE(reader.dataset.readBlock(QUVEN_ENV).empty());
    EXPECT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), QUVENInputDataset::EndOfData);
    return values;
  }

  /// Compares the blocks of each worker with the records that it is shown one by one, twice in each pass.
  void compareBlocks(literal::Dataset data, const std::string& name, int count, bool parts) {
    const std::size_t numColumns = data.columns.size();
    data.count = count;
    std::size_t numSeen = 0;
    for (data.rank = 0; data.rank < count; ++data.rank) {
      SCOPED_TRACE("worker " + std::to_string(data.rank) + " of " + std::to_string(count) + ", " +
                   std::to_string(data.values.size() / numColumns) + " records");
      Reader reader(name, data, parts, env);
      std::vector<double> expected;
      reader.startPass(data);
      for (literal::Delivery delivery; reader.next(delivery); ++numSeen) {
        const auto first = data.values.begin() + static_cast<std::ptrdiff_t>(numColumns) * delivery.number;
        expected.insert(expected.end(), first, first + static_cast<std::ptrdiff_t>(numColumns));
      }
      for (int pass = 0; pass < 2; ++pass) {
        reader.startPass(data);
        std::size_t numBlocks = 0;
        const std::vector<double> read = blocksOf(reader, numColumns, numBlocks);
        ASSERT_EQ(read, expected);
        // A block is as long as what is in memory: there are few of them.
        EXPECT_LE(numBlocks, 3 + expected.size() * sizeof(double) / 100000 + (parts ? 8U : 0U));
      }
    }
    EXPECT_EQ(numSeen, data.values.size() / numColumns);
  }
};

TEST_F(QUVENBinaryInputDatasetBlocksTest, AreTheRecordsOfTheSlice) {
  constexpr std::size_t bytesInMemory = 200000;
  for (const std::size_t numColumns : {1U, 3U, 7U}) {
    const std::size_t full = bytesInMemory / sizeof(double) / numColumns;
    for (const std::size_t numRecords : {std::size_t{0}, std::size_t{1}, full, full + 1, 2 * full + 3}) {
      const literal::Dataset data = datasetOf(numColumns, numRecords);
      const std::string name = write(data);
      for (const int count : {1, 3}) compareBlocks(data, name, count, false);
    }
  }
}

TEST_F(QUVENBinaryInputDatasetBlocksTest, GoOverTheEndsOfParts) {
  for (const std::vector<std::size_t>& parts :
       std::vector<std::vector<std::size_t>>{{1, 2, 3}, {0, 5, 0, 0, 4, 0}, {8333, 1, 300}, {9000, 20, 0, 100}, {10}}) {
    std::size_t numRecords = 0;
    for (const std::size_t records : parts) numRecords += records;
    const literal::Dataset data = datasetOf(3, numRecords);
    const std::string name = write(data, parts);
    for (const int count : {1, 2}) compareBlocks(data, name, count, true);
    for (std::size_t part = 0; part < parts.size(); ++part) {
      std::filesystem::remove(folder.path("data." + std::to_string(part)));
    }
  }
}

TEST_F(QUVENBinaryInputDatasetBlocksTest, TakeTurnsWithSingleRecords) {
  std::mt19937 random(5);
  const literal::Dataset data = datasetOf(3, 18000);
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.startPass(data);
  std::vector<double> read;
  bool isAtEnd = false;
  while (!isAtEnd) {
    for (unsigned i = random() % 4; i > 0 && !isAtEnd; --i) {
      literal::Delivery delivery;
      isAtEnd = !reader.next(delivery);
      if (isAtEnd) break;
      const auto first = data.values.begin() + 3 * static_cast<std::ptrdiff_t>(delivery.number);
      read.insert(read.end(), first, first + 3);
    }
    const std::span<const double> block = reader.dataset.readBlock(QUVEN_ENV);
    read.insert(read.end(), block.begin(), block.end());
    isAtEnd = isAtEnd || block.empty();
  }
  EXPECT_EQ(read, data.values);
}

/// The slice may be that of any worker, whichever has opened the dataset.
TEST_F(QUVENBinaryInputDatasetBlocksTest, FollowTheWorkerThatIsSet) {
  literal::Dataset data = datasetOf(3, 9000);
  const std::string name = write(data);
  data.rank = 1;
  data.count = 3;
  Reader reader(name, data, false, env);
  reader.dataset.setWorker(0, 1, QUVEN_ENV);
  reader.startPass(data);
  std::size_t numBlocks = 0;
  EXPECT_EQ(blocksOf(reader, 3, numBlocks), data.values);
  reader.dataset.setWorker(1, 3, QUVEN_ENV);
  reader.startPass(data);
  const std::vector<double> slice = blocksOf(reader, 3, numBlocks);
  ASSERT_FALSE(slice.empty());
  EXPECT_LT(slice.size(), data.values.size() / 2);
  reader.startPass(data);
  literal::Delivery first;
  ASSERT_TRUE(reader.next(first));
  EXPECT_EQ(slice[0], data.values[3 * static_cast<std::size_t>(first.number)]);
}

TEST_F(QUVENBinaryInputDatasetBlocksTest, NeedTheModeSlice) {
  const literal::Dataset data = datasetOf(3, 10);
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.dataset.setScanType(QUVENScanType::Everything, QUVEN_ENV);
  reader.dataset.rewind(QUVEN_ENV);
  const CapturedRun captured = capturedRun([&] { reader.dataset.readBlock(QUVEN_ENV); });
  EXPECT_TRUE(captured.threwLibraryException);
}

/// Numbers that a record refuses are in the block as the file has them.
TEST_F(QUVENBinaryInputDatasetBlocksTest, AreNotLookedAt) {
  literal::Dataset data = datasetOf(3, 4);
  data.values[6] = std::numeric_limits<double>::quiet_NaN();
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.startPass(data);
  const std::span<const double> block = reader.dataset.readBlock(QUVEN_ENV);
  ASSERT_EQ(block.size(), data.values.size());
  EXPECT_EQ(std::memcmp(block.data(), data.values.data(), block.size_bytes()), 0);
}

}  // namespace
