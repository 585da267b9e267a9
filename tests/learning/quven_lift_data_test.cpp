#include "learning/quven_lift_data.h"

#include "lin_reg_fixture.h"

namespace {

class QUVENLiftDataTest : public LinearRegressionTest {
 protected:
  using Pairs = std::vector<std::pair<double, double>>;  // actual and predicted values

  QUVENLiftDataTest() {
    openWorld(2);
    data = make<QUVENLiftData>();
  }
  void TearDown() override {
    data.reset(QUVEN_ENV);
    LinearRegressionTest::TearDown();
  }

  QUVENNumField& distribute(QUVENField& field, const std::vector<double>& values) {
    field.setSampleFlag(true, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {
      field.beginDistributionPass(QUVEN_ENV);
      for (std::size_t i = 0; i < values.size(); ++i) {
        field.setNumValue(values[i]);
        field.updateDistribution(static_cast<std::uint32_t>(i), QUVEN_ENV);
      }
      field.endDistributionPass(QUVEN_ENV);
    }
    return static_cast<QUVENNumField&>(field);
  }
  void update(QUVENLiftData& changed, const Pairs& pairs) {
    for (const auto& [actual, predicted] : pairs) changed.updateLiftData(actual, predicted, 0.5, QUVEN_ENV);
  }
  /// Makes distributions and curves, and adds the records, of some pairs.
  void fill(const Pairs& pairs) {
    std::vector<double> actual;
    std::vector<double> predicted;
    for (const auto& pair : pairs) {
      actual.push_back(pair.first);
      predicted.push_back(pair.second);
    }
    data->initialize(distribute(*y, actual), distribute(*x[0], predicted), 3, QUVEN_ENV);
    update(*data, pairs);
    data->finalizeStats(QUVEN_ENV);
  }

  QUVENOwnPtr<QUVENLiftData> data;
};

TEST_F(QUVENLiftDataTest, AddsUpTheVariancesRecordByRecord) {
  update(*data, {{1, 2}});
  EXPECT_EQ(data->getWts(), 1);
  EXPECT_EQ(data->getModelVar(), 0);
  EXPECT_EQ(data->getTrivialVar(), 0);
  update(*data, {{3, 2}});
  EXPECT_EQ(data->getModelVar(), 1);
  EXPECT_EQ(data->getTrivialVar(), 2);  // 2 / 1 times (3 - 2)^2
  update(*data, {{5, 2}});
  EXPECT_EQ(data->getWts(), 3);
  EXPECT_EQ(data->getModelVar(), 10);
  EXPECT_EQ(data->getTrivialVar(), 8);  // 3 / 2 times (5 - 3)^2 more
}

TEST_F(QUVENLiftDataTest, ModelQualityIsTheShareOfTheVarianceThatIsPredicted) {
  const auto qualityOf = [&](const Pairs& pairs) {
    auto made = make<QUVENLiftData>();
    update(*made, pairs);
    double quality = 0;
    const CapturedRun run = capturedRun([&] { quality = made->getModelQuality(QUVEN_ENV); });
    made.reset(QUVEN_ENV);
    return std::pair(quality, run.out);
  };
  EXPECT_EQ(qualityOf({{1, 1}, {3, 2.5}, {2, 2}}), std::pair(0.875, std::string()));
  // A constant target: 0, but 1 if the predictions are exact.
  EXPECT_EQ(qualityOf({{2, 2}, {2, 3}}), std::pair(0.0, std::string()));
  EXPECT_EQ(qualityOf({{2, 5}, {2, 2}}), std::pair(1.0, std::string()));
  EXPECT_EQ(qualityOf({}), std::pair(1.0, std::string()));
  EXPECT_EQ(qualityOf({{1, 2}, {3, 2}, {5, 2}}),
            std::pair(0.0, std::string("Log;|1;|WARNING: The model variance this data set is worse than the trivial "
                                       "univariate reponse variance in getModelQuality();|LogEnd\n")));
}

TEST_F(QUVENLiftDataTest, ItsCurvesHaveTheLayoutOfTheirFields) {
  fill({{1, 10}, {2, 30}, {3, 20}, {4, 40}});
  EXPECT_EQ(data->getTargetFieldName(), "y");
  EXPECT_EQ(data->getDataUsageValue(), 3);
  const QUVENLiftCurve& curve = *data->getModelLiftCurve();
  const QUVENLiftCurve& optimum = *data->getOptimumLiftCurve();
  EXPECT_EQ(curve.getUsageValue(), 3);
  EXPECT_EQ(curve.getBin(1).getBinBoundaryValue(), 40);
  EXPECT_EQ(optimum.getBin(1).getBinBoundaryValue(), 4);
  EXPECT_EQ(curve.getBin(1).getSumPredErr(), 4 - 40);
  EXPECT_EQ(curve.getBin(1).getSumSqrPredStdDev(), 0.25);
  EXPECT_EQ(optimum.getBin(1).getSumPredErr(), 0);
  EXPECT_EQ(optimum.getBin(1).getSumSqrPredStdDev(), 0);
  EXPECT_EQ(optimum.getPts(), 4);
  EXPECT_EQ(optimum.getRMSE(QUVEN_ENV), 0);
}

TEST_F(QUVENLiftDataTest, AFieldWithoutAValueGivesACurveWithoutBins) {
  data->initialize(distribute(*y, {1, 2}), distribute(*x[0], {}), 3, QUVEN_ENV);
  EXPECT_EQ(data->getModelLiftCurve()->getNumBins(), 0);
  EXPECT_EQ(data->getOptimumLiftCurve()->getNumBins(), 120);
}

TEST_F(QUVENLiftDataTest, AreaRatioComparesWithTheOptimum) {
  EXPECT_EQ(data->getAreaRatio(QUVEN_ENV), -1.7976931348623157e+308);
  Pairs perfect;
  Pairs reversed;
  Pairs constant;
  for (int i = 0; i < 500; ++i) {
    perfect.emplace_back(i % 50, i % 50);
    reversed.emplace_back(i % 50, -(i % 50));
    constant.emplace_back(7, i % 50);
  }
  fill(perfect);
  EXPECT_EQ(data->getAreaRatio(QUVEN_ENV), 1);
  fill(reversed);
  EXPECT_LT(data->getModelLiftCurve()->getAreaAboveRandom(QUVEN_ENV), 0);
  EXPECT_EQ(data->getAreaRatio(QUVEN_ENV), 0);
  fill(constant);
  EXPECT_EQ(data->getOptimumLiftCurve()->getAreaAboveRandom(QUVEN_ENV), 0);
  EXPECT_EQ(data->getAreaRatio(QUVEN_ENV), 0);
}

TEST_F(QUVENLiftDataTest, BeginsAndEndsWithItsCurves) {
  fill({{1, 1}, {2, 2}});
  EXPECT_FALSE(data->wantsRecords());
  EXPECT_EQ(data->beginDataScan(QUVEN_ENV), 1);
  EXPECT_TRUE(data->getModelLiftCurve()->isScanInProgress());
  EXPECT_TRUE(data->getOptimumLiftCurve()->isScanInProgress());
  expectFailure([&] { data->update(*point, QUVEN_ENV); }, unreachableText);
  data->beginRecords(QUVEN_ENV);
  EXPECT_EQ(data->getWts(), 0);
  EXPECT_EQ(data->getModelLiftCurve()->getPts(), 0);
  EXPECT_EQ(data->getModelLiftCurve()->getNumBins(), 120);
  data->endRecords(QUVEN_ENV);
  EXPECT_EQ(data->endDataScan(QUVEN_ENV), 1);
  EXPECT_FALSE(data->getModelLiftCurve()->isScanInProgress());
  EXPECT_FALSE(data->getOptimumLiftCurve()->isScanInProgress());
  EXPECT_FALSE(data->wantsRecords());
}

TEST_F(QUVENLiftDataTest, ResultsOfWorkersMergeIntoTheLiveObject) {
  Pairs pairs;
  for (int i = 0; i < 300; ++i) pairs.emplace_back(i * 7 % 31, i * 7 % 31 + i % 5);
  fill(pairs);
  data->beginDataScan(QUVEN_ENV);
  data->beginRecords(QUVEN_ENV);
  std::vector<std::string> results;
  for (std::size_t worker = 0; worker < 3; ++worker) {  // the last one has no record
    auto copy = readWithNames<QUVENLiftData>(imageOf(*data, QUVENObjWriter::SaveForWorker));
    copy->beginRecords(QUVEN_ENV);
    for (std::size_t i = worker; i < pairs.size() && worker < 2; i += 2) update(*copy, {pairs[i]});
    results.push_back(resultOf(*copy));
    copy.reset(QUVEN_ENV);
  }
  for (const std::string& result : {mergedResults(results[2], results[0]), results[1]}) readResults(result);
  EXPECT_EQ(data->getWts(), 300);
  auto parts = std::array{make<QUVENLiftData>(), make<QUVENLiftData>()};
  for (std::size_t i = 0; i < pairs.size(); ++i) update(*parts.at(i % 2), {pairs[i]});
  EXPECT_DOUBLE_EQ(data->getModelVar(), parts[0]->getModelVar() + parts[1]->getModelVar());
  EXPECT_DOUBLE_EQ(data->getTrivialVar(), parts[0]->getTrivialVar() + parts[1]->getTrivialVar());
  for (QUVENOwnPtr<QUVENLiftData>& part : parts) part.reset(QUVEN_ENV);
  EXPECT_EQ(data->getModelLiftCurve()->getPts(), 300);
  EXPECT_EQ(data->getOptimumLiftCurve()->getPts(), 300);
  data->finalizeStats(QUVEN_ENV);
  EXPECT_GT(data->getAreaRatio(QUVEN_ENV), 0.9);
  // The running sum is merged, too: the next record is compared with the mean of all records.
  double mean = 0;
  for (const auto& pair : pairs) mean += pair.first / 300.0;
  const double before = data->getTrivialVar();
  update(*data, {{mean + 301, 0}});
  EXPECT_NEAR(data->getTrivialVar() - before, 301.0 / 300 * 300 * 300, 1e-6);
}

TEST_F(QUVENLiftDataTest, ScanResultsDoNotContainTheCurves) {
  fill({{1, 10}, {2, 30}, {3, 20}});
  data->beginDataScan(QUVEN_ENV);
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
    auto copy = objectOf<QUVENLiftData>(imageOf(*data, mode));
    EXPECT_EQ(copy->getTargetFieldName(), "y");
    EXPECT_EQ(copy->getWts(), 3);
    EXPECT_EQ(copy->getModelVar(), data->getModelVar());
    EXPECT_EQ(copy->getTrivialVar(), data->getTrivialVar());
    EXPECT_EQ(copy->getModelLiftCurve()->getNumBins(), 120);
    EXPECT_EQ(copy->getOptimumLiftCurve()->getNumBins(), 120);
    copy.reset(QUVEN_ENV);
  }
  auto result = objectOf<QUVENLiftData>(imageOf(*data, QUVENObjWriter::ScanResults));
  EXPECT_EQ(result->getModelLiftCurve(), nullptr);
  EXPECT_EQ(result->getOptimumLiftCurve(), nullptr);
  EXPECT_EQ(result->getWts(), 3);
  result.reset(QUVEN_ENV);
}

}  // namespace
