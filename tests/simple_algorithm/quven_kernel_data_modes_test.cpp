// What no parameter reaches, but a stream: several blocks, dense data, the dense kernel, the buffer.

#include <charconv>

#include "groups/networks.h"
#include "kernel_data_fixture.h"
#include "support/mpi_run.h"

namespace {

using ::testing::HasSubstr;
using Status = QUVENKernelData::Status;
using Samples = std::vector<std::uint64_t>;

class QUVENKernelDataModesTest : public KernelDataTest {
 protected:
  static void SetUpTestSuite() { startMpi(); }

  /// Contacts by sample, each list of one length with fillers.
  using Table = std::vector<std::pair<std::uint64_t, std::vector<double>>>;

  static Table table() { return {{1, {2, 3, 0}}, {2, {1, 3, 4}}, {3, {1, 2, 0}}, {4, {2, 0, 0}}}; }

  Data openDense(const MemberReader::List& members, Keys keys = {}) {
    keys["isSparseData"] = "0";
    keys.emplace("NormalizingFactor", "100");
    Data data = open(keys);
    setMembers(data, members);
    return data;
  }
  void densePass(QUVENKernelData& data, const Table& rows) {
    data.initIteration(QUVEN_ENV);
    for (const auto& [sample, contacts] : rows) dense(data, sample, contacts);
    data.finishIteration(QUVEN_ENV);
  }
  static double valueOf(const Table& rows, std::uint64_t a, std::uint64_t b) {
    const auto contacts = [&](std::uint64_t sample) { return rows.at(sample - 1).second; };
    return literal::friends(contacts(a), contacts(b), 0, 100);
  }
  static std::string shortest(double number) {
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), number).ptr};
  }
  /// A member that only streams of the first state have.
  std::string innerMember(Data& data, const std::string& name) {
    const std::int64_t status = data->getStatus();
    setMembers(data, {{"ivDataStatus", std::int64_t{0}}});
    std::string text = memberOf(*data, name);
    setMembers(data, {{"ivDataStatus", status}});
    return text;
  }
};

TEST_F(QUVENKernelDataModesTest, DenseRowsAreComparedAsTheyAre) {
  const Table rows = table();
  Data data = openDense({});
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::Slice);
  run = capturedRun([&] {
    densePass(*data, rows);
    data->endDataScan(QUVEN_ENV);
    EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::Everything);
    densePass(*data, rows);
    EXPECT_EQ(data->endDataScan(QUVEN_ENV), 1);
  });
  EXPECT_THAT(run.out, HasSubstr("Added 8 samples to the histogram"));
  const double cutoff = data->getSparsityThreshold();
  literal::Histogram histogram(1000);
  Kept expected;
  for (const auto& [column, ownContacts] : rows) {
    for (const double contact : ownContacts) {
      if (contact != 0) histogram.add(valueOf(rows, column, static_cast<std::uint64_t>(contact)));
    }
    for (const auto& [other, contacts] : rows) {
      const bool isNamed = std::find(contacts.begin(), contacts.end(), static_cast<double>(column)) != contacts.end();
      const double value = valueOf(rows, column, other);
      if (isNamed && value >= cutoff) expected.push_back({column, other, value});
    }
  }
  EXPECT_EQ(cutoff, literal::cutoffOf(histogram.getBins(), 0.5));
  EXPECT_EQ(keptBy(*data), expected);
  EXPECT_FALSE(expected.empty());
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataModesTest, OwnDenseRowsHaveTheirSamplesAsLabels) {
  Data data = openDense({});
  data->initIteration(QUVEN_ENV);
  dense(*data, 7, {1, 2});
  fill(target, {0.5});
  dense(*data, 9, {3, 4});
  dense(*data, 9, {5, 6});  // of dense rows each is a sample
  target.deleteMemory(QUVEN_ENV);
  const std::string matrix = innerMember(data, "ivMyInputMatrixPtr");
  EXPECT_THAT(matrix, HasSubstr("ivLabels = [3] {\n      7 9 9\n    }"));
  EXPECT_THAT(matrix, HasSubstr("ivRowNum = 3\n    ivColumnNum = 2\n"));
  EXPECT_THAT(innerMember(data, "ivMyTargetMatrixPtr"), HasSubstr("ivRowNum = 2\n    ivColumnNum = 1\n"));
  EXPECT_THAT(innerMember(data, "ivSamplesOrder"), HasSubstr("7 9 9"));
  EXPECT_EQ(innerMember(data, "ivSamplesNum"), "3");
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataModesTest, TheDenseKernelHasAllValues) {
  const Table rows = table();
  const Table own{rows[1], rows[3]};
  Data data = openDense({{"ivIsSparseKernel", std::int64_t{0}}});
  run = capturedRun([&] {
    densePass(*data, own);
    EXPECT_EQ(data->endDataScan(QUVEN_ENV), 0);
    data->initIteration(QUVEN_ENV);
    fill(target, {0.5});
    for (const auto& [sample, contacts] : rows) dense(*data, sample, contacts);
    data->finishIteration(QUVEN_ENV);
    EXPECT_EQ(data->endDataScan(QUVEN_ENV), 1);
  });
  target.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(run.out, "");  // neither a histogram nor a cutoff
  EXPECT_TRUE(data->getKernelValues(QUVEN_ENV).empty());
  const std::string matrix = innerMember(data, "ivKernelMatrixPtr");
  EXPECT_THAT(matrix, HasSubstr("ivRowNum = 4\n    ivColumnNum = 2\n"));
  for (std::uint64_t other = 1; other <= 4; ++other) {
    EXPECT_THAT(matrix, HasSubstr("\n        " + shortest(valueOf(rows, 2, other)) + " " +
                                  shortest(valueOf(rows, 4, other)) + "\n"));
  }
  EXPECT_THAT(innerMember(data, "ivOtherTargetMatrixPtr"), HasSubstr("ivRowNum = 4\n    ivColumnNum = 1\n"));
  EXPECT_EQ(innerMember(data, "ivAllSamplesNum"), "4");
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataModesTest, ABufferIsReadyAfterTheFirstPassAndTakesNewRows) {
  Data data = openDense({{"ivKernelMode", std::int64_t{1}}}, {{"FilterSimilarities", "0"}});
  run = capturedRun([&] {
    fill(target, {0.25});
    densePass(*data, {{7, {1, 2}}, {9, {3, 4}}});
    EXPECT_EQ(data->endDataScan(QUVEN_ENV), 1);
  });
  EXPECT_EQ(data->getStatus(), Status::ReadyForQuery);
  fill(target, {0.75});
  dense(*data, 9, {5, 6});
  dense(*data, 11, {8, 8});  // is nobody's row
  target.deleteMemory(QUVEN_ENV);
  const std::string matrix = innerMember(data, "ivMyInputMatrixPtr");
  EXPECT_THAT(matrix, HasSubstr("1 2"));
  EXPECT_THAT(matrix, HasSubstr("5 6"));
  EXPECT_THAT(matrix, ::testing::Not(HasSubstr("3 4")));
  EXPECT_THAT(matrix, ::testing::Not(HasSubstr("8 8")));
  const std::string targets = innerMember(data, "ivMyTargetMatrixPtr");
  EXPECT_THAT(targets, HasSubstr("0.25"));
  EXPECT_THAT(targets, HasSubstr("0.75"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataModesTest, BlocksTakeTurnsWithThePassesOverAll) {
  const Table rows = table();
  Data data = openDense({{"ivNumberOfComputeIterations", std::int64_t{2}}},
                        {{"FilterSimilarities", "0"}, {"SparsityLevel", "0.1"}});
  std::vector<std::int32_t> states;
  std::vector<int> ended;
  double cutoff = 0;
  run = capturedRun([&] {
    while (!data->isFinished()) {
      densePass(*data, rows);
      states.push_back(data->getStatus());
      ended.push_back(data->endDataScan(QUVEN_ENV));
      if (states.size() == 1) cutoff = data->getSparsityThreshold();
    }
  });
  EXPECT_EQ(states, (std::vector<std::int32_t>{1, 2, 1, 2}));
  EXPECT_EQ(ended, (std::vector<int>{0, 0, 0, 1}));
  // Records are counted from the first on; every second one is the block's.
  EXPECT_EQ(listOf(data->getKernelColSampleNumbers()), (Samples{2, 4, 1, 3}));
  EXPECT_EQ(listOf(data->getOtherSamplesOrder()), (Samples{1, 2, 3, 4}));
  EXPECT_EQ(data->getSparsityThreshold(), cutoff);  // of the first block
  EXPECT_EQ(run.out.find("cutoff threshold="), run.out.rfind("cutoff threshold="));
  Kept expected;
  for (const std::uint64_t column : {2U, 4U, 1U, 3U}) {
    for (std::uint64_t other = 1; other <= 4; ++other) {
      const double value = valueOf(rows, column, other);
      if (value >= cutoff) expected.push_back({column, other, value});
    }
  }
  EXPECT_EQ(keptBy(*data), expected);
  EXPECT_GT(expected.size(), 4U);
  EXPECT_EQ(innerMember(data, "ivFirstKernelCol"), "4");
  EXPECT_EQ(innerMember(data, "ivSamplesCounter"), "8");
  EXPECT_EQ(innerMember(data, "ivSamplesNum"), "0");
  EXPECT_THAT(innerMember(data, "ivMyInputMatrixPtr"), HasSubstr("ivRowNum = 0"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataModesTest, BlocksOfSparseRowsForgetTheirOwn) {
  // Blocks count records. With three of one block each, samples begin where the count is theirs.
  literal::Choices choices(5);
  const Lines lines = literal::randomNetwork(choices, literal::Network::InOrder);
  Data data = open({{"FilterSimilarities", "0"}});
  setMembers(data, {{"ivNumberOfComputeIterations", std::int64_t{3}}});
  runAlone(*data, lines);
  ASSERT_FALSE(run.threwLibraryException) << run.out;
  // The records that a block keeps, literally.
  Samples columns;
  long counter = 0;
  for (int block = 1; block <= 3; ++block) {
    Samples order;
    for (const literal::Line& line : lines) {
      if (++counter % 3 + 1 != block) continue;
      const std::uint64_t sample = literal::sampleOf(line);
      if (order.empty() || order.back() != sample) order.push_back(sample);
    }
    columns.insert(columns.end(), order.begin(), order.end());
  }
  EXPECT_EQ(listOf(data->getKernelColSampleNumbers()), columns);
  data->getSparseRow(columns[0], x, QUVEN_ENV);
  EXPECT_EQ(std::count(x.begin(), x.end(), 0.0), x.getSize());
  QUVEN_DELETE(data);
}

/// Once the row of a sample without one was looked for before the first.
TEST_F(QUVENKernelDataModesTest, ASampleThatTheFirstBlockDidNotHaveStops) {
  Table rows = table();
  Data data = openDense({{"ivNumberOfComputeIterations", std::int64_t{2}}}, {{"FilterSimilarities", "0"}});
  run = capturedRun([&] {
    for (int i = 0; i < 3; ++i) {
      densePass(*data, rows);
      data->endDataScan(QUVEN_ENV);
    }
    rows.push_back({99, {1, 2, 3}});
    densePass(*data, rows);
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr("A sample that the first block did not have"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataModesTest, WithBlocksTheFileIsThatOfTheLast) {
  const Table rows = table();
  Data data =
      openDense({{"ivNumberOfComputeIterations", std::int64_t{2}}},
                {{"FilterSimilarities", "0"}, {"SparsityLevel", "0.1"}, {"OutputFileName", folder.path("values")}});
  run = capturedRun([&] {
    for (int i = 0; i < 2; ++i) {
      densePass(*data, rows);
      data->endDataScan(QUVEN_ENV);
    }
    EXPECT_FALSE(folder.has("values_worker_0"));
    densePass(*data, rows);
    EXPECT_FALSE(folder.has("values_worker_0"));  // the last block has its samples, and is not compared yet
    data->endDataScan(QUVEN_ENV);
    densePass(*data, rows);
  });
  EXPECT_THAT(run.out, HasSubstr("Sparse kernel size: 4\n"));
  EXPECT_EQ(folder.read("values_worker_0"), literal::keptText(keptBy(*data)));
  QUVEN_DELETE(data);
}

// The values file

class QUVENKernelValuesOutputTest : public KernelDataTest {
 protected:
  static void SetUpTestSuite() { startMpi(); }
};

TEST_F(QUVENKernelValuesOutputTest, HasALineForEachKeptValue) {
  Lines lines;
  literal::appendBlock(lines, 7, {8, 9});
  literal::appendBlock(lines, 9223372036854779904.0, {7, 8, 9223372036854779904.0});
  literal::appendBlock(lines, 8, {7, 9});
  folder.write("values_worker_0.csv", std::string(5000, 'x'));  // of a run before, and longer
  Data data = open({{"OutputFileName", folder.path("values.csv")}, {"NormalizingFactor", "4"}});
  runAlone(*data, lines);
  ASSERT_FALSE(run.threwLibraryException) << run.out;
  EXPECT_THAT(run.out, HasSubstr("Sparse kernel size: "));
  const Kept kept = keptBy(*data);
  EXPECT_EQ(folder.read("values_worker_0.csv"), literal::keptText(kept));
  EXPECT_EQ(kept, literal::runKernel(lines, {.sparsityLevel = 0.5, .normalizingFactor = 4}, 1).keptByWorker[0]);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelValuesOutputTest, NumbersStandInColumns) {
  Lines lines;
  literal::appendBlock(lines, 9223372036854779904.0, {1, 2});
  literal::appendBlock(lines, 1, {5});
  Data data = open({{"OutputFileName", folder.path("values.csv")}, {"FilterSimilarities", "0"}});
  run = capturedRun([&] {
    pass(*data, lines);
    data->endDataScan(QUVEN_ENV);
    setMembers(data, {{"ivSparsityThreshold", 1e300}});  // keeps nothing
    data->initIteration(QUVEN_ENV);
    records(*data, lines);
    data->setKernelValue(2, 1, 0.25, QUVEN_ENV);
    data->setKernelValue(1, 2, -3, QUVEN_ENV);
    data->setKernelValue(1, 1, 1e-7, QUVEN_ENV);
    data->finishIteration(QUVEN_ENV);
  });
  EXPECT_THAT(run.out, HasSubstr("Sparse kernel size: 2\n"));
  EXPECT_EQ(folder.read("values_worker_0.csv"),
            "9223372036854779904,\t9223372036854779904,\t       0.000000\n"
            "9223372036854779904,\t              1,\t             -3\n"
            "              1,\t9223372036854779904,\t       0.250000\n");
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelValuesOutputTest, WithoutAValueTheFileIsEmpty) {
  Lines lines;
  literal::appendBlock(lines, 1, {2});
  literal::appendBlock(lines, 2, {1});
  folder.write("values_worker_0", "old\n");
  Data data = open({{"OutputFileName", folder.path("values")}});
  run = capturedRun([&] {
    pass(*data, lines);
    EXPECT_EQ(folder.read("values_worker_0"), "old\n");  // the first pass writes nothing
    data->endDataScan(QUVEN_ENV);
    setMembers(data, {{"ivSparsityThreshold", 1e300}});
    pass(*data, lines);
  });
  EXPECT_THAT(run.out, HasSubstr("Sparse kernel size: 0\n"));
  EXPECT_EQ(folder.read("values_worker_0"), "");
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelValuesOutputTest, WithoutANameThereIsNoFile) {
  Lines lines;
  literal::appendBlock(lines, 1, {2});
  literal::appendBlock(lines, 2, {1});
  Data data = open();
  runAlone(*data, lines);
  EXPECT_THAT(run.out, ::testing::Not(HasSubstr("Sparse kernel size")));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelValuesOutputTest, AFileThatCannotBeOpenedEndsTheRun) {
  Lines lines;
  literal::appendBlock(lines, 1, {2});
  literal::appendBlock(lines, 2, {1});
  Data data = open({{"OutputFileName", folder.path("no/such/folder/values")}});
  runAlone(*data, lines);
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr(folder.path("no/such/folder/values_worker_0")));
  QUVEN_DELETE(data);
}

}  // namespace
