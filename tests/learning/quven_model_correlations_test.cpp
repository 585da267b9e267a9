#include "learning/quven_model_correlations.h"

#include "kernel/quven_packed_triangle.h"
#include "transform_fixture.h"

namespace {

/// The correlation of two columns, in two passes; 0 where one is constant.
double literalCorrelation(const std::vector<double>& a, const std::vector<double>& b) {
  const auto mean = [](const std::vector<double>& values) {
    long double sum = 0;
    for (const double value : values) sum += value;
    return sum / static_cast<long double>(values.size());
  };
  long double aa = 0;
  long double bb = 0;
  long double ab = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const long double da = a[i] - mean(a);
    const long double db = b[i] - mean(b);
    aa += da * da;
    bb += db * db;
    ab += da * db;
  }
  return aa == 0 || bb == 0 ? 0 : static_cast<double>(ab / std::sqrt(aa * bb));
}

class QUVENModelCorrelationsTest : public TransformTest {
 protected:
  QUVENModelCorrelationsTest() {
    scan = make<QUVENModelCorrelations>();
    std::mt19937 random(3);
    for (int i = 0; i < 600; ++i) {
      TransformRecord record;
      record.x = random() % 1000 * 0.01 - 5;
      record.c = std::string(1, static_cast<char>('a' + random() % 4));
      record.z = random() % 100 * 0.1;
      record.y = std::abs(record.x) + (record.c == "a" ? 2 : 0) + 0.3 * record.z + random() % 100 * 0.01;
      record.channel = channelOf(i);
      if (i % 31 == 0) record.x = absent;
      if (i % 41 == 0) record.y = absent;
      table.push_back(record);
    }
  }
  void TearDown() override {
    scan.reset(QUVEN_ENV);
    TransformTest::TearDown();
  }

  /// Gives the scan a residual model of y and returns the model for inspection.
  QUVENTransRegResidualModel& addModel(const std::vector<QUVENField*>& inputs) {
    auto model = make<QUVENTransRegResidualModel>();
    for (QUVENField* input : inputs) model->addInput(input, QUVENUsageExplanatory, QUVEN_ENV);
    model->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    model->setNames(*names);
    QUVENTransRegResidualModel& added = *model;
    scan->setResidualModel(std::move(model));
    return added;
  }
  /// Shows the records of a pass to the scan. The test ends the pass.
  void showTable() {
    scan->beginRecords(QUVEN_ENV);
    for (const TransformRecord& record : table) {
      set(record);
      scan->update(*point, QUVEN_ENV);
    }
    scan->endRecords(QUVEN_ENV);
  }
  void distribute(QUVENField& field) {
    field.setSampleFlag(true, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {
      field.beginDistributionPass(QUVEN_ENV);
      for (std::uint32_t i = 0; i < table.size(); ++i) {
        set(table[i]);
        field.updateDistribution(i, QUVEN_ENV);
      }
      field.endDistributionPass(QUVEN_ENV);
    }
  }
  /// The columns that the regression reads on the records that train channel 1: of each transform the prediction, then
  /// the target.
  /// Requires: the transforms are trained.
  std::vector<std::vector<double>> literalColumns(const QUVENTransRegResidualModel& model) {
    const auto numTransforms = static_cast<std::size_t>(model.getTransforms().getSize());
    std::vector<std::vector<double>> columns(numTransforms + 1);
    for (const TransformRecord& record : table) {
      if (record.channel == 1 || std::isnan(record.y)) continue;
      set(record);
      for (std::size_t i = 0; i < numTransforms; ++i) {
        QUVENXformModelOutputPair& pair = *model.getTransforms()[static_cast<long>(i) + 1];
        pair.getTransform().scorePoint(*point, QUVEN_ENV);
        columns[i].push_back(pair.getPrediction()->getNumValueOrSingle(1));
      }
      columns[numTransforms].push_back(record.y);
    }
    return columns;
  }
  std::vector<std::string> namesNow() const {
    const auto& found = scan->getCorrelations().ivFieldNames;
    return {found.begin(), found.end()};
  }
  double correlation(long i, long j) const {
    return scan->getCorrelations().ivCorrelations.at(quvenPackedIndex(std::min(i, j), std::max(i, j)));
  }
  void expectCorrelations(const std::vector<std::vector<double>>& columns) {
    const long n = static_cast<long>(columns.size());
    ASSERT_EQ(scan->getCorrelations().ivCorrelations.getSize(), n * (n + 1) / 2);
    for (long j = 1; j <= n; ++j) {
      EXPECT_EQ(correlation(j, j), 1);
      for (long i = 1; i < j; ++i) {
        const double expected =
            literalCorrelation(columns[static_cast<std::size_t>(i - 1)], columns[static_cast<std::size_t>(j - 1)]);
        EXPECT_NEAR(correlation(i, j), expected, 1e-12) << i << " " << j;
      }
    }
  }

  TransformTable table;
  QUVENOwnPtr<QUVENModelCorrelations> scan;
};

TEST_F(QUVENModelCorrelationsTest, TrainsItsModelAtOnceWithDistributions) {
  gather(table);
  QUVENTransRegResidualModel& model = addModel({x, c});
  EXPECT_EQ(scan->getScanCount(), 0);
  EXPECT_FALSE(scan->wantsRecords());
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 1);
  EXPECT_EQ(scan->getScanCount(), 3);
  EXPECT_TRUE(model.isScanning());
  EXPECT_EQ(model.getMiningMode(QUVEN_ENV), 1);
  showTable();
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 0);
  EXPECT_EQ(scan->getScanCount(), 3);
  EXPECT_TRUE(namesNow().empty());
  const auto columns = literalColumns(model);
  const std::string output = model.getTransforms()[1]->getPrediction()->getName().str();
  showTable();
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);
  EXPECT_EQ(scan->getScanCount(), -3);
  EXPECT_FALSE(scan->wantsRecords());
  // The model is gone; only the correlations remain.
  EXPECT_EQ(scan->getResidualModel(), nullptr);
  EXPECT_EQ(names->find(output), nullptr);
  EXPECT_EQ(namesNow(), (std::vector<std::string>{"x", "c", "y"}));
  expectCorrelations(columns);
  EXPECT_GT(correlation(1, 3), 0.5);  // the transform of x is about its absolute value
  EXPECT_LT(std::abs(correlation(1, 2)), 0.2);
}

TEST_F(QUVENModelCorrelationsTest, WaitsTwoPassesForDistributions) {
  QUVENTransRegResidualModel& model = addModel({x, c});
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 1);
  for (const std::int32_t pass : {1, 2}) {
    EXPECT_EQ(scan->getScanCount(), pass);
    EXPECT_TRUE(scan->wantsRecords());
    EXPECT_FALSE(model.isScanning());
    showTable();
    if (pass == 2) gather(table);
    EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 0);
  }
  for (int pass = 3; pass <= 4; ++pass) {
    EXPECT_EQ(scan->getScanCount(), 3);
    EXPECT_TRUE(model.isScanning());
    showTable();
    EXPECT_EQ(scan->endDataScan(QUVEN_ENV), pass == 3 ? 0 : 1);
  }
  EXPECT_EQ(scan->getScanCount(), -3);
  EXPECT_EQ(namesNow(), (std::vector<std::string>{"x", "c", "y"}));
  // Outside of a scan nothing happens.
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);
  EXPECT_EQ(scan->getScanCount(), -3);
}

// A single input without bins makes the scan wait for distributions. This input gets no transform.
TEST_F(QUVENModelCorrelationsTest, LeavesOutInputsWithoutADistribution) {
  gather(table);
  addModel({x, z, c});
  scan->beginDataScan(QUVEN_ENV);
  EXPECT_EQ(scan->getScanCount(), 1);
  int passes = 0;
  do {
    showTable();
    ++passes;
  } while (scan->endDataScan(QUVEN_ENV) == 0);
  EXPECT_EQ(passes, 4);
  EXPECT_EQ(namesNow(), (std::vector<std::string>{"x", "c", "y"}));
}

TEST_F(QUVENModelCorrelationsTest, WithoutAnyTransformAreThoseOfTheInputs) {
  addModel({z, w});
  scan->beginDataScan(QUVEN_ENV);
  int passes = 0;
  do {
    showTable();
    ++passes;
  } while (scan->endDataScan(QUVEN_ENV) == 0);
  EXPECT_EQ(passes, 3);
  EXPECT_EQ(namesNow(), (std::vector<std::string>{"z", "w", "y"}));
  std::vector<std::vector<double>> columns(3);
  for (const TransformRecord& record : table) {
    if (record.channel == 1 || std::isnan(record.y)) continue;
    columns[0].push_back(record.z);
    columns[1].push_back(record.w);  // 1 in every record
    columns[2].push_back(record.y);
  }
  expectCorrelations(columns);
  EXPECT_EQ(correlation(1, 2), 0);
  EXPECT_EQ(correlation(2, 3), 0);
}

TEST_F(QUVENModelCorrelationsTest, AConstantTargetHasTheCorrelationZero) {
  for (TransformRecord& record : table) record.y = 1e6 / 3;
  gather(table);
  addModel({x, c});
  scan->beginDataScan(QUVEN_ENV);
  do showTable();
  while (scan->endDataScan(QUVEN_ENV) == 0);
  for (long j = 1; j <= 3; ++j) {
    for (long i = 1; i <= j; ++i) EXPECT_EQ(correlation(i, j), i == j ? 1 : 0);
  }
}

TEST_F(QUVENModelCorrelationsTest, WithoutAModelCannotBegin) {
  expectFailure([&] { scan->beginDataScan(QUVEN_ENV); }, unreachableText);
}

TEST_F(QUVENModelCorrelationsTest, TravelsWithItsModel) {
  gather(table);
  addModel({x, c});
  scan->beginDataScan(QUVEN_ENV);
  const auto readCopy = [&](std::int32_t mode) {
    const std::string image = imageOf(*scan, mode);
    QUVENOwnPtr<QUVENModelCorrelations> copy(QUVEN_ENV);
    readFrom(image, [&](QUVENObjReader& reader) {
      names->putInto(reader, QUVEN_ENV);
      quvenReadObject(reader, copy, QUVENModelCorrelations::typeName(), QUVEN_ENV);
    });
    return copy;
  };
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
    auto copy = readCopy(mode);
    EXPECT_EQ(copy->getScanCount(), 3);
    EXPECT_TRUE(copy->getResidualModel()->isScanning());
    EXPECT_TRUE(copy->wantsRecords());
    copy.reset(QUVEN_ENV);
  }
  auto result = readCopy(QUVENObjWriter::ScanResults);
  EXPECT_EQ(result->getResidualModel(), nullptr);
  EXPECT_EQ(result->getScanCount(), 3);
  result.reset(QUVEN_ENV);
  do showTable();
  while (scan->endDataScan(QUVEN_ENV) == 0);
  auto copy = readCopy(QUVENObjWriter::Save);
  EXPECT_EQ(copy->getScanCount(), -3);
  EXPECT_FALSE(copy->wantsRecords());
  const auto& read = copy->getCorrelations().ivCorrelations;
  const auto& written = scan->getCorrelations().ivCorrelations;
  EXPECT_TRUE(std::equal(read.begin(), read.end(), written.begin(), written.end()));
  EXPECT_EQ(copy->getCorrelations().ivFieldNames[2], "c");
  copy.reset(QUVEN_ENV);
}

}  // namespace
