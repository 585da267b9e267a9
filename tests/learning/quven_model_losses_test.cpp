#include "learning/quven_model_losses.h"

#include <map>

#include "lin_reg_fixture.h"

namespace {

/// The fields x1 (the prediction), w and y of the regressions' tests.
class QUVENModelLossesTest : public LinearRegressionTest {
 protected:
  static constexpr int Channels = 5;

  QUVENModelLossesTest() { openWorld(Channels); }

  QUVENOwnPtr<QUVENModelLosses> makeLosses(std::int32_t lossId = 1) {
    auto losses = make<QUVENModelLosses>();
    losses->setFields(y, {x[0]}, lossId, w, QUVEN_ENV);
    return losses;
  }
  /// Shows a table. Prediction and weight have their values per channel; the target has one.
  void gather(QUVENModelLosses& losses, const RegressionTable& table) {
    losses.beginRecords(QUVEN_ENV);
    for (const RegressionRecord& record : table) {
      set(record);
      std::isnan(record.y) ? y->setMissing() : y->setNumValue(record.y);
      losses.update(*point, QUVEN_ENV);
    }
    losses.endRecords(QUVEN_ENV);
  }
  static RegressionTable tableOfLosses(int records) {
    RegressionTable table;
    for (int i = 0; i < records; ++i) {
      RegressionRecord record{.x = {i % 13 * 0.5, 0, 0}, .y = i % 7 * 1.25, .channel = 1 + i % Channels};
      record.hasValuePerChannel = i % 3 != 0;
      constexpr double weights[] = {1, 0, 2.5, noNumber, -3, 0.5, 1, 4};
      record.w = weights[i % 8];
      if (i % 11 == 0) record.y = noNumber;
      table.push_back(record);
    }
    return table;
  }
  static double lossOf(const RegressionRecord& record, int channel) {
    const double prediction = record.x[0] * (record.hasValuePerChannel ? channel : 1);
    return (record.y - prediction) * (record.y - prediction);
  }
  /// The weight of a record is that of its channel.
  static double weightOf(const RegressionRecord& record) {
    const double weight = record.w * (record.hasValuePerChannel ? record.channel : 1);
    return weight > 0 ? weight : 0;
  }
  void expectLosses(const QUVENModelLosses& losses, const RegressionTable& table, long stage = 1) {
    std::map<int, double> weights;
    std::map<int, double> sums;
    std::map<int, double> records;
    double total = 0;
    for (const RegressionRecord& record : table) {
      ++records[record.channel];
      if (std::isnan(record.y)) continue;
      total += weightOf(record);
      const auto add = [&](int kind, int predictor) {
        weights[kind] += weightOf(record);
        sums[kind] += weightOf(record) * lossOf(record, predictor);
      };
      if (record.channel >= 2) add(QUVENModelLosses::Train, 1);
      if (record.channel >= 3) add(QUVENModelLosses::Folds, record.channel);
      if (record.channel == 2) add(QUVENModelLosses::HeldOut, 2);
      if (record.channel == 1) add(QUVENModelLosses::Test, 1);
    }
    for (const auto kind :
         {QUVENModelLosses::Train, QUVENModelLosses::Folds, QUVENModelLosses::HeldOut, QUVENModelLosses::Test}) {
      ASSERT_GT(weights[kind], 0);
      expectNear(losses.getLoss(kind, stage), sums[kind] / weights[kind]);
    }
    expectNear(losses.getTotalWeight(), total);
    for (int c = 1; c <= Channels; ++c) EXPECT_EQ(losses.getRecords(c), records[c]) << c;
  }
};

TEST_F(QUVENModelLossesTest, AreTheWeightedMeansOfTheSquaredErrors) {
  auto losses = makeLosses();
  EXPECT_TRUE(losses->beginDataScan(QUVEN_ENV));
  gather(*losses, tableOfLosses(400));
  expectLosses(*losses, tableOfLosses(400));
  // A second pass begins anew.
  gather(*losses, tableOfLosses(150));
  expectLosses(*losses, tableOfLosses(150));
  EXPECT_TRUE(losses->endDataScan(QUVEN_ENV));
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, WithoutAWeightFieldEachRecordCountsOnce) {
  auto losses = makeLosses();
  losses->setFields(y, {x[0]}, 1, nullptr, QUVEN_ENV);
  losses->beginDataScan(QUVEN_ENV);
  gather(*losses, {{.x = {1}, .y = 3, .channel = 1, .w = 9}, {.x = {1}, .y = 2, .channel = 1, .w = 0}});
  EXPECT_EQ(losses->getLoss(QUVENModelLosses::Test, 1), (4 + 1) / 2.0);
  EXPECT_EQ(losses->getTotalWeight(), 2);
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, OfEachLossFunctionAreItsOwn) {
  const double logistic = std::log(1 + std::exp(-2 * 0.5));
  const double logisticOfNegative = std::log(1 + std::exp(2 * 0.5));
  const struct {
    std::int32_t lossId;
    double y;
    double prediction;
    double loss;
  } rows[] = {{1, 3, 0.5, 6.25},
              {7, 3, 0.5, 6.25},  // an id of no loss is squared
              {2, 1, 0.5, logistic},
              {2, 0, 0.5, logisticOfNegative},
              {2, -1, 0.5, logisticOfNegative},
              {2, 2, 0.25, logistic},
              {5, 0, -0.5, logistic},
              {2, 1, -1e6, 2e6},  // no overflow
              {2, 1, 1e6, 0},
              {3, 3, 0.5, std::exp(0.5) - 1.5},
              {6, 0, 0.5, std::exp(0.5)},
              {4, 1, 0.25, 0.75},
              {4, 1, 1, 0},
              {4, 1, 3, 0},
              {4, 0, 3, 4},
              {4, -1, -0.5, 0.5}};
  for (const auto& row : rows) {
    auto losses = makeLosses(row.lossId);
    losses->beginDataScan(QUVEN_ENV);
    gather(*losses, {{.x = {row.prediction}, .y = row.y, .channel = 1, .w = 2}});
    expectNear(losses->getLoss(QUVENModelLosses::Test, 1), row.loss);
    losses.reset(QUVEN_ENV);
  }
  for (const std::int32_t lossId : {1, 2, 3, 4}) {
    auto losses = makeLosses(lossId);
    losses->beginDataScan(QUVEN_ENV);
    losses->beginRecords(QUVEN_ENV);
    set({.y = 1, .channel = 1});
    x[0]->setNumValue(noNumber);
    losses->update(*point, QUVEN_ENV);
    EXPECT_TRUE(losses->hasWeight(QUVENModelLosses::Test));
    EXPECT_FALSE(losses->hasWeight(QUVENModelLosses::HeldOut));
    EXPECT_TRUE(std::isnan(losses->getLoss(QUVENModelLosses::Test, 1))) << lossId;
    losses.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENModelLossesTest, EachStageHasItsOwn) {
  const RegressionTable table = [] {
    RegressionTable records = tableOfLosses(400);
    for (RegressionRecord& record : records) record.x[2] = record.x[0] * record.x[0] - 1;
    return records;
  }();
  auto losses = makeLosses();
  losses->setFields(y, {x[0], x[1], x[2]}, 1, w, QUVEN_ENV);
  EXPECT_EQ(losses->getNumStages(), 3);
  losses->beginDataScan(QUVEN_ENV);
  gather(*losses, table);
  expectLosses(*losses, table);
  for (const long stage : {2, 3}) {
    RegressionTable shifted = table;
    for (RegressionRecord& record : shifted) record.x[0] = record.x[static_cast<std::size_t>(stage - 1)];
    expectLosses(*losses, shifted, stage);
  }
  for (const long stage : {0, 4}) {
    expectFailure([&] { losses->getLoss(QUVENModelLosses::Test, stage); }, "1 <= stage && stage <= getNumStages()");
  }
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, ARecordWithoutWeightAddsNothing) {
  auto losses = makeLosses();
  losses->beginDataScan(QUVEN_ENV);
  gather(*losses, {{.x = {std::numeric_limits<double>::infinity()}, .y = 3, .channel = 1, .w = 0},
                   {.x = {1}, .y = 3, .channel = 1}});
  EXPECT_EQ(losses->getLoss(QUVENModelLosses::Test, 1), 4);
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, ALossWithoutWeightIsNoNumber) {
  auto losses = makeLosses();
  losses->beginDataScan(QUVEN_ENV);
  gather(*losses, {{.y = 3, .channel = 4}, {.y = 3, .channel = 1, .w = 0}});
  EXPECT_EQ(losses->getLoss(QUVENModelLosses::Folds, 1), 9);
  EXPECT_EQ(losses->getLoss(QUVENModelLosses::Train, 1), 9);
  EXPECT_TRUE(std::isnan(losses->getLoss(QUVENModelLosses::HeldOut, 1)));
  EXPECT_TRUE(std::isnan(losses->getLoss(QUVENModelLosses::Test, 1)));
  EXPECT_EQ(losses->getRecords(1), 1);
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, ATargetThatIsNaNIsMissing) {
  auto losses = makeLosses();
  losses->beginDataScan(QUVEN_ENV);
  losses->beginRecords(QUVEN_ENV);
  set({.x = {1}, .channel = 3});
  y->setNumValue(noNumber);
  losses->update(*point, QUVEN_ENV);
  EXPECT_EQ(losses->getTotalWeight(), 0);
  EXPECT_EQ(losses->getRecords(3), 1);
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, ARecordOfNoChannelIsAnAssertion) {
  auto losses = makeLosses();
  losses->beginDataScan(QUVEN_ENV);
  losses->beginRecords(QUVEN_ENV);
  for (const int channel : {0, 6}) {
    set({.channel = channel});
    expectFailure([&] { losses->update(*point, QUVEN_ENV); }, "1 <= channel && channel <= ivRecords.getSize()");
  }
  losses.reset(QUVEN_ENV);
}

TEST_F(QUVENModelLossesTest, ResultsOfWorkersMergeToThoseOfOnePass) {
  const RegressionTable table = tableOfLosses(400);
  auto losses = makeLosses();
  losses->beginDataScan(QUVEN_ENV);
  losses->beginRecords(QUVEN_ENV);
  std::vector<std::string> results;
  for (std::size_t worker = 0; worker < 3; ++worker) {
    auto copy = readWithNames<QUVENModelLosses>(imageOf(*losses, QUVENObjWriter::SaveForWorker));
    gather(*copy, part(table, [&](std::size_t i) { return i % 3 == worker; }));
    results.push_back(resultOf(*copy));
    copy.reset(QUVEN_ENV);
  }
  // Two results first, as slices are merged, then all into the live scan.
  results[0] = mergedResults(results[0], results[1]);
  for (const std::string& result : {results[0], results[2]}) readResults(result);
  expectLosses(*losses, table);
  losses.reset(QUVEN_ENV);
}

}  // namespace
