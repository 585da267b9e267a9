// Boosted models of tables from which there is nothing, or little, to learn.

#include "learning/stage_comparison.h"

namespace {

class QUVENTransformRegressionDegenerateTest : public LiteralBoostTest {
 protected:
  using Stop = QUVENTransformRegression::StopReason;
  static constexpr std::size_t DistributionPasses = 2;
  static constexpr std::size_t TrainingPasses = 7;

  void TearDown() override {
    EXPECT_EQ(ties, 0U);
    LiteralBoostTest::TearDown();
  }

  /// x0 is a number, x1 a category, y a number that depends on neither.
  static BoostTable noise(int records, unsigned seed = 4) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    BoostTable table;
    table.isCategorical = {false, true};
    for (int i = 0; i < records; ++i) {
      const double x = normal(random);
      const double category = random() % 4;
      table.rows.push_back({{x, category}, normal(random), 1.0, 1 + static_cast<int>(random() % 5)});
    }
    return table;
  }
  template <class Change>
  static BoostTable changed(BoostTable table, Change change) {
    for (BoostRow& row : table.rows) change(row);
    return table;
  }
  static void expectFinite(const TrainedFacts& trained) {
    EXPECT_FALSE(trained.predictions.empty());
    for (const auto& [name, values] : trained.predictions) {
      for (const std::vector<double>& row : values) {
        for (const double value : row) ASSERT_TRUE(std::isfinite(value)) << name;
      }
    }
  }
  TrainedFacts trained(const BoostTable& table, int loss = Squared, int mode = 1) {
    writeTable(table);
    TrainedFacts facts = trainAndPredict(table, loss, mode, false);
    expectFinite(facts);
    return facts;
  }
  void expectNoSignal(const BoostTable& table, int loss, std::size_t passes = TrainingPasses) {
    for (const int mode : {1, 8}) {
      SCOPED_TRACE("loss " + std::to_string(loss) + ", mode " + std::to_string(mode));
      const TrainedFacts facts = trained(table, loss, mode);
      ASSERT_EQ(facts.stages.size(), 2U);
      EXPECT_EQ(facts.stopReason, Stop::NoSignal);
      EXPECT_EQ(facts.stages[1].passes, DistributionPasses + passes);
      EXPECT_EQ(facts.stages[1].rank, 0U);
    }
  }
};

TEST_F(QUVENTransformRegressionDegenerateTest, AConstantTarget) {
  for (const double y : {0.0, 0.1, -3.0, 1e9}) {
    SCOPED_TRACE(y);
    const BoostTable table = changed(noise(200), [&](BoostRow& row) { row.y = y; });
    expectNoSignal(table, Squared);
    const TrainedFacts facts = trained(table);
    for (const std::vector<double>& row : facts.predictions.at("UnnormalizedPredicted_y_2_output")) {
      for (const double value : row) EXPECT_NEAR(value, y, 1e-12 * std::abs(y));
    }
  }
}

TEST_F(QUVENTransformRegressionDegenerateTest, OneClass) {
  for (const int loss : {Logistic, SupportVector, LogisticLink}) {
    for (const double y : {0.0, 1.0}) {
      expectNoSignal(changed(noise(200), [&](BoostRow& row) { row.y = y; }), loss);
    }
  }
}

TEST_F(QUVENTransformRegressionDegenerateTest, CountsThatAreAll0) {
  for (const int loss : {Poisson, PoissonLink}) {
    expectNoSignal(changed(noise(200), [](BoostRow& row) { row.y = 0; }), loss);
  }
}

TEST_F(QUVENTransformRegressionDegenerateTest, ConstantInputs) {
  const BoostTable table = changed(noise(200), [](BoostRow& row) { row.x = {7.25, 2}; });
  expectNoSignal(table, Squared);
  compare(table, Squared, 1);
}

TEST_F(QUVENTransformRegressionDegenerateTest, Noise) {
  for (const unsigned seed : {4U, 5U, 6U}) {
    SCOPED_TRACE(seed);
    const BoostTable table = noise(200, seed);
    const TrainedFacts facts = trained(table);
    EXPECT_EQ(facts.stopReason, Stop::NoSignal);
    compare(table, Squared, 1);
  }
  expectNoSignal(noise(200, 4), Squared);
}

TEST_F(QUVENTransformRegressionDegenerateTest, InputsThatAreAllMissingHaveNoPassOfTransforms) {
  const BoostTable table = changed(noise(200), [](BoostRow& row) { row.x = {absentNumber, absentNumber}; });
  expectNoSignal(table, Squared, 5);
  expectNoSignal(changed(table, [](BoostRow& row) { row.y = row.y > 0 ? 1 : 0; }), Logistic, 5);
  compare(table, Squared, 1);
}

TEST_F(QUVENTransformRegressionDegenerateTest, OneCategoricalField) {
  BoostTable table = changed(noise(200), [](BoostRow& row) {
    row.y = std::fmod(row.x[1], 2) + 0.1 * row.y;
    row.x = {row.x[1]};
  });
  table.isCategorical = {true};
  expectNoSignal(table, Squared);
  compare(table, Squared, 1);
}

TEST_F(QUVENTransformRegressionDegenerateTest, FewRecords) {
  for (const int records : {1, 2, 5, 20}) {
    for (int loss = Squared; loss <= PoissonLink; ++loss) {
      SCOPED_TRACE("records " + std::to_string(records) + ", loss " + std::to_string(loss));
      const BoostTable table = changed(noise(records), [&](BoostRow& row) {
        row.y = loss == Squared ? row.y : row.y > 0 ? 1 : 0;
      });
      const TrainedFacts facts = trained(table, loss);
      EXPECT_EQ(facts.stopReason, Stop::NoSignal);
      EXPECT_EQ(facts.stages.back().passes, DistributionPasses + TrainingPasses);
    }
  }
}

TEST_F(QUVENTransformRegressionDegenerateTest, AnEmptyTable) {
  const TrainedFacts facts = [&] {
    BoostTable table = noise(0);
    writeTable(table);
    return trainAndPredict(table, Squared, 1, false);
  }();
  EXPECT_EQ(facts.stopReason, Stop::NoSignal);
}

TEST_F(QUVENTransformRegressionDegenerateTest, TargetsThatAreAllMissing) {
  const BoostTable table = changed(noise(100), [](BoostRow& row) { row.y = absentNumber; });
  for (int loss = Squared; loss <= PoissonLink; ++loss) {
    SCOPED_TRACE(loss);
    EXPECT_EQ(trained(table, loss).stopReason, Stop::NoSignal);
  }
}

TEST_F(QUVENTransformRegressionDegenerateTest, WeightsThatAreAll0) {
  const BoostTable table = changed(noise(100), [](BoostRow& row) { row.w = 0; });
  EXPECT_EQ(trained(table).stopReason, Stop::NoSignal);
}

TEST_F(QUVENTransformRegressionDegenerateTest, WithoutHeldOutRecordsMode8TakesTheFolds) {
  const BoostTable table =
      changed(randomBoostTable(9, 300, {}), [](BoostRow& row) { row.channel = row.channel == 2 ? 3 : row.channel; });
  compare(table, Squared, 8);
  const TrainedFacts byFolds = trained(table, Squared, 1);
  const TrainedFacts byHeldOut = trained(table, Squared, 8);
  ASSERT_EQ(byHeldOut.stages.size(), byFolds.stages.size());
  EXPECT_GT(byFolds.stages.size(), 2U);
  EXPECT_EQ(byHeldOut.stages.back().score.ivFit, byFolds.stages.back().score.ivFit);
  EXPECT_EQ(byHeldOut.predictions, byFolds.predictions);
}

TEST_F(QUVENTransformRegressionDegenerateTest, WithoutFoldsNoStageIsScoredAndAllStay) {
  BoostTable table = changed(randomBoostTable(9, 300, {}), [](BoostRow& row) { row.channel = 1 + row.channel % 2; });
  table.channels = 2;
  const TrainedFacts facts = trained(table);
  EXPECT_EQ(facts.bestStage, 1);
  EXPECT_EQ(facts.numStages, static_cast<long>(facts.stages.size()));
  EXPECT_GE(facts.numStages, 2);
  EXPECT_EQ(facts.predictionName, "UnnormalizedPredicted_y_" + std::to_string(facts.numStages));
  EXPECT_FALSE(facts.predictions.contains("UnnormalizedPredicted_y_2_output"));
}

TEST_F(QUVENTransformRegressionDegenerateTest, ATargetOnTheScaleOf1e9LearnsTheSameShape) {
  const BoostTable table = randomBoostTable(9, 300, {});
  const TrainedFacts small = trained(table);
  const BoostTable scaled = changed(table, [](BoostRow& row) { row.y *= 0x1p30; });
  const TrainedFacts large = trained(scaled);
  compare(scaled, Squared, 1);
  ASSERT_EQ(large.predictionName, small.predictionName);
  const ChannelValues& expected = small.predictions.at(small.predictionName);
  const ChannelValues& values = large.predictions.at(large.predictionName);
  for (std::size_t row = 0; row < expected.size(); ++row) {
    for (std::size_t c = 0; c < expected[row].size(); ++c) {
      EXPECT_NEAR(values[row][c], 0x1p30 * expected[row][c], 1.0);
    }
  }
}

TEST_F(QUVENTransformRegressionDegenerateTest, ATargetFarFromZeroLearnsWhatIsAboveRounding) {
  const BoostTable table = changed(randomBoostTable(9, 300, {}), [](BoostRow& row) { row.y = 1e9 + 1e6 * row.y; });
  const TrainedFacts facts = trained(table);
  EXPECT_GT(facts.stages.size(), 2U);
  compare(table, Squared, 1);
}

TEST_F(QUVENTransformRegressionDegenerateTest, CountsWithAMeanOf50EndInOrder) {
  std::mt19937 random(8);
  const BoostTable table = changed(noise(300), [&](BoostRow& row) {
    row.y = std::poisson_distribution<int>(50 + 20 * std::fmod(row.x[1], 2))(random);
  });
  trained(table, PoissonLink);
  writeTable(table);
  const TrainedFacts facts = trainAndPredict(table, Poisson, 1, false);  // may have predictions that are no numbers
  EXPECT_FALSE(facts.predictions.empty());
}

}  // namespace
