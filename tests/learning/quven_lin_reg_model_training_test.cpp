// What a linear regression makes of the records: modes, selection, scores, merges, predictions.

#include <algorithm>

#include "kernel/quven_model_scores.h"
#include "lin_reg_fixture.h"
#include "util/quven_registration.h"

/// A model that any mode is given to, and that hands it to a regression.
class QUVENTestAnyModeRegression : public QUVENObjectOf<QUVENTestAnyModeRegression, QUVENLinRegModel> {
 public:
  explicit QUVENTestAnyModeRegression(const QUVENEnvHandle& env) : Members(env) {}
  bool setMiningModeHook(std::int32_t, QUVENModel*, const QUVENEnvHandle&) override { return true; }
};
QUVEN_REGISTER(QUVENTestAnyModeRegression);

namespace {

constexpr double floorFactor = 1.1920928955078125e-07;
constexpr const char* invalidState = "Invalid Model State";

class QUVENLinRegModelTrainingTest : public LinearRegressionTest {
 protected:
  QUVENLinRegModelTrainingTest() { openWorld(5); }

  std::vector<LiteralPath> literalPaths(const RegressionTable& table) const {
    return literalFolds(literals(table, 't'), literals(table, 'e'), floorFactor);
  }
  std::vector<QUVENModelScores> scoresOf(const QUVENLinRegModel& scored) {
    QUVENXaRay<QUVENModelScores> scores;
    scored.getModelScoresVector(scores, QUVEN_ENV);
    std::vector<QUVENModelScores> list(scores.begin(), scores.end());
    scores.deleteMemory(QUVEN_ENV);
    return list;
  }
  static void expectTriple(const QUVENScoreTriple& triple, const std::vector<LiteralModel::Fit>& fits) {
    LiteralModel::Fit sum{};
    for (const LiteralModel::Fit& fit : fits) {
      sum.points += fit.points;
      sum.score += fit.score;
      sum.scoreVariance += fit.scoreVariance;
    }
    expectNear(triple.ivPts, sum.points);
    expectNear(triple.ivFit, sum.score, 1e-9);
    expectNear(triple.ivVar, sum.scoreVariance, 1e-9);
  }
  /// Two models that select and predict the same, to rounding.
  void expectSameModels(const QUVENLinRegModel& a, const QUVENLinRegModel& b, double tolerance = 1e-12) {
    ASSERT_EQ(a.getInputFields().getSize(), b.getInputFields().getSize());
    for (int c = 1; c <= channels; ++c) {
      const QUVENLSModel& mine = *a.getSelectedModel(c);
      const QUVENLSModel& other = *b.getSelectedModel(c);
      ASSERT_EQ(mine.getModelRank(), other.getModelRank());
      expectNear(mine.getIntercept(), other.getIntercept(), tolerance);
      expectNear(mine.getModelStdDev(), other.getModelStdDev(), tolerance);
      for (long i = 1; i <= mine.getModelRank(); ++i) {
        EXPECT_EQ(a.getInputFields()[i], b.getInputFields()[i]);
        expectNear(mine.getCoefficientAt(i), other.getCoefficientAt(i), tolerance);
      }
    }
    for (int which = 0; which < 3; ++which) {
      expectNear(a.getScore(which, QUVEN_ENV), b.getScore(which, QUVEN_ENV), tolerance);
      expectNear(a.getScoreVariance(which, QUVEN_ENV), b.getScoreVariance(which, QUVEN_ENV), tolerance);
    }
    EXPECT_EQ(a.getVolume(QUVEN_ENV), b.getVolume(QUVEN_ENV));
  }
};

// Modes

TEST_F(QUVENLinRegModelTrainingTest, HasTheModes1To9) {
  model = makeModel();
  for (std::int32_t mode = 1; mode <= 9; ++mode) EXPECT_TRUE(model->setMiningMode(mode, nullptr, QUVEN_ENV));
  for (const std::int32_t mode : {-1, 0, 10, 11, 101}) {
    expectFailure([&] { return model->setMiningMode(mode, nullptr, QUVEN_ENV); }, invalidState);
  }
  EXPECT_EQ(model->getModelState(), 9);
}

TEST_F(QUVENLinRegModelTrainingTest, ModesWithAPassMakeTheirChannels) {
  for (const std::int32_t mode : {1, 2, 4, 5, 8, 9}) {
    SCOPED_TRACE(mode);
    model = makeModel();
    EXPECT_EQ(model->getHandler(), nullptr);
    ASSERT_TRUE(model->setMiningMode(mode, nullptr, QUVEN_ENV));
    ASSERT_TRUE(model->beginDataScan(QUVEN_ENV));
    EXPECT_EQ(model->getModelState(), 100 + mode);
    EXPECT_NE(model->getHandler(), nullptr);
    EXPECT_NE(model->getHandler2(), nullptr);
    EXPECT_TRUE(model->hasScanResult(QUVEN_ENV));
    for (const auto* channelsOf : {&model->getEvalChannels(), &model->getTrnChannels()}) {
      ASSERT_EQ(channelsOf->getSize(), 5);
      for (const QUVENLSData& data : *channelsOf) EXPECT_EQ(data.getNumFields(), 4);
    }
    model->beginRecords(QUVEN_ENV);
    show(*model, randomRecords(50));
    model->endRecords(QUVEN_ENV);
    EXPECT_TRUE(model->endDataScan(1, QUVEN_ENV));
    EXPECT_EQ(model->getModelState(), -mode);
    EXPECT_EQ(model->getHandler(), nullptr);
    EXPECT_EQ(model->getHandler2(), nullptr);
    EXPECT_FALSE(model->hasScanResult(QUVEN_ENV));
    EXPECT_NE(model->getSelectedModel(5), nullptr);
  }
}

TEST_F(QUVENLinRegModelTrainingTest, Modes3And6KeepTheSelection) {
  const RegressionTable table = randomRecords(100);
  trainModel(table);
  const double expected = predict(*model, table[0], 1);
  for (const std::int32_t mode : {3, 6}) {
    ASSERT_TRUE(model->setMiningMode(mode, nullptr, QUVEN_ENV));
    EXPECT_FALSE(model->beginDataScan(QUVEN_ENV));
    EXPECT_EQ(model->getModelState(), -mode);
    EXPECT_EQ(predict(*model, table[0], 1), expected);
    auto untrained = makeModel();
    ASSERT_TRUE(untrained->setMiningMode(mode, nullptr, QUVEN_ENV));
    expectFailure([&] { untrained->beginDataScan(QUVEN_ENV); }, "Model scores vector not initialized by derived class");
    untrained.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENLinRegModelTrainingTest, Mode7SelectsFromMergedDataWithoutAPass) {
  const RegressionTable table = randomRecords(300);
  auto other = makeModel();
  model = makeModel();
  train(*model, part(table, [](std::size_t i) { return i < 120; }));
  train(*other, part(table, [](std::size_t i) { return i >= 120; }));
  ASSERT_TRUE(model->merge(other.get(), QUVEN_ENV));
  other.reset(QUVEN_ENV);
  ASSERT_TRUE(model->setMiningMode(7, nullptr, QUVEN_ENV));
  EXPECT_FALSE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(model->getModelState(), -7);
  EXPECT_EQ(model->getSelectedModel(5), nullptr);
  EXPECT_TRUE(model->getInputFields().isEmpty());
  EXPECT_TRUE(model->hasNoSignal(QUVEN_ENV));
  EXPECT_EQ(scoresOf(*model).size(), 4U);
  model->selectBestModel(1, QUVEN_ENV);
  auto all = makeModel();
  train(*all, table);
  expectSameModels(*model, *all);
  all.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelTrainingTest, Mode7WithoutDataIsAnAssertion) {
  model = makeModel();
  ASSERT_TRUE(model->setMiningMode(7, nullptr, QUVEN_ENV));
  expectFailure([&] { model->beginDataScan(QUVEN_ENV); }, "channels >= 2");
}

TEST_F(QUVENLinRegModelTrainingTest, APassInAnotherStateIsInvalid) {
  model = makeModel();
  expectFailure([&] { model->beginDataScan(QUVEN_ENV); }, invalidState);
  expectFailure([&] { static_cast<void>(model->endPass(1, QUVEN_ENV)); }, invalidState);
  for (const std::int32_t mode : {1, 3, 6, 7}) {
    ASSERT_TRUE(model->setMiningMode(mode, nullptr, QUVEN_ENV));
    expectFailure([&] { static_cast<void>(model->endPass(1, QUVEN_ENV)); }, invalidState);
  }
  auto any = make<QUVENTestAnyModeRegression>();
  any->addInput(y, QUVENUsageTarget, QUVEN_ENV);
  for (const std::int32_t mode : {0, 10}) {
    ASSERT_TRUE(any->setMiningMode(mode, nullptr, QUVEN_ENV));
    expectFailure([&] { any->beginDataScan(QUVEN_ENV); }, invalidState);
  }
  for (const std::int32_t mode : {11, 50}) {
    ASSERT_TRUE(any->setMiningMode(mode, nullptr, QUVEN_ENV));
    expectFailure([&] { any->beginDataScan(QUVEN_ENV); }, "Invalid model state");
  }
  // A scan that the mode has no pass for.
  for (const std::int32_t state : {103, 106, 107, 110}) {
    ASSERT_TRUE(any->setMiningMode(state, nullptr, QUVEN_ENV));
    EXPECT_TRUE(any->isScanning());
    expectFailure([&] { any->endDataScan(1, QUVEN_ENV); }, invalidState);
  }
  any.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelTrainingTest, ASecondTrainingBeginsAnew) {
  const RegressionTable table = randomRecords(100, 2);
  trainModel(randomRecords(200, 1));
  model->setMiningMode(1, nullptr, QUVEN_ENV);
  train(*model, table, 1);
  auto fresh = makeModel();
  train(*fresh, table, 1);
  expectChannels(*model, table);
  expectSameModels(*model, *fresh, 0);
  fresh.reset(QUVEN_ENV);
}

// Selection

TEST_F(QUVENLinRegModelTrainingTest, SelectsWhatTheLiteralStepsSelect) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    openWorld(4 + static_cast<int>(seed % 2));
    const RegressionTable table = randomRecords(150, seed, seed % 2 == 0);
    model = makeModel(true);
    train(*model, table, 1);
    const std::vector<LiteralPath> paths = literalPaths(table);
    std::size_t best = 0;
    std::vector<long double> criteria;
    for (std::size_t rank = 0; rank < paths[0].size(); ++rank) {
      long double sum = 0;
      for (std::size_t c = 2; c < paths.size(); ++c) sum += paths[c][rank].eval.score;
      criteria.push_back(sum);
      if (sum < criteria[best]) best = rank;
    }
    ASSERT_EQ(model->getInputFields().getSize(), static_cast<long>(best));
    for (int c = 1; c <= channels; ++c) {
      const LiteralModel& expected = paths[static_cast<std::size_t>(c - 1)][best];
      const QUVENLSModel& selected = *model->getSelectedModel(c);
      expectNear(selected.getIntercept(), expected.intercept, 1e-9);
      expectNear(selected.getModelStdDev(), expected.stdDev, 1e-9);
      for (std::size_t i = 0; i < best; ++i) {
        EXPECT_EQ(model->getInputFields()[static_cast<long>(i) + 1], x.at(expected.variables[i]));
        expectNear(selected.getCoefficientAt(static_cast<long>(i) + 1), expected.coefficients[i], 1e-9);
      }
    }
  }
}

TEST_F(QUVENLinRegModelTrainingTest, TheScoresVectorSumsTheFolds) {
  const RegressionTable table = randomRecords(200, 3, true);
  model = makeModel(true);
  gather(*model, table);
  model->refitMerged(QUVEN_ENV);
  const std::vector<LiteralPath> paths = literalPaths(table);
  const std::vector<QUVENModelScores> scores = scoresOf(*model);
  ASSERT_EQ(scores.size(), paths[4].size());
  ASSERT_EQ(scores.size(), 4U);
  const auto expectScores = [&](const QUVENModelScores& candidate, std::size_t rank) {
    expectTriple(candidate[0], {paths[2][rank].train, paths[3][rank].train, paths[4][rank].train});
    expectTriple(candidate[1], {paths[2][rank].eval, paths[3][rank].eval, paths[4][rank].eval});
    expectTriple(candidate[2], {paths[1][rank].eval});
  };
  for (std::size_t rank = 0; rank < scores.size(); ++rank) expectScores(scores[rank], rank);
  // After the selection there is one candidate: the selected model.
  model->selectBest(3, QUVEN_ENV);
  EXPECT_EQ(model->getInputFields().getSize(), 2);
  const std::vector<QUVENModelScores> selected = scoresOf(*model);
  ASSERT_EQ(selected.size(), 1U);
  expectScores(selected[0], 2);
  // A second selection changes nothing.
  model->selectBest(1, QUVEN_ENV);
  EXPECT_EQ(model->getInputFields().getSize(), 2);
  EXPECT_EQ(scoresOf(*model)[0][1].ivFit, selected[0][1].ivFit);
  for (int which = 0; which < 3; ++which) {
    EXPECT_EQ(model->getScore(which, QUVEN_ENV), selected[0][which].ivFit) << which;
    EXPECT_EQ(model->getScoreVariance(which, QUVEN_ENV), selected[0][which].ivVar) << which;
  }
  for (const int other : {-1, 3, 100}) {
    EXPECT_EQ(model->getScore(other, QUVEN_ENV), selected[0][2].ivFit) << other;
    EXPECT_EQ(model->getScoreVariance(other, QUVEN_ENV), selected[0][2].ivVar) << other;
  }
}

TEST_F(QUVENLinRegModelTrainingTest, AScoreNeedsTheResultsOfAllChannels) {
  model = makeModel();
  for (const int which : {0, 1, 2}) {
    const std::string condition = "ivResultsChannels.getSize() == numChannels";
    expectFailure([&] { static_cast<void>(model->getScore(which, QUVEN_ENV)); }, condition);
    expectFailure([&] { static_cast<void>(model->getScoreVariance(which, QUVEN_ENV)); }, condition);
  }
  gather(*model, randomRecords(50));
  model->refitMerged(QUVEN_ENV);
  expectFailure([&] { static_cast<void>(model->getScore(1, QUVEN_ENV)); }, "!= nullptr");
  expectFailure([&] { model->selectBest(9, QUVEN_ENV); }, "getSize()");
}

TEST_F(QUVENLinRegModelTrainingTest, Mode8SelectsByTheHeldOutRecords) {
  // In the held-out records y falls with x1; everywhere else it rises.
  RegressionTable table = randomRecords(300);
  for (RegressionRecord& record : table) {
    if (record.channel == 2) record.y = 10 - 2 * record.x[0];
  }
  trainModel(table, 8);
  EXPECT_EQ(model->getInputFields().getSize(), 0);
  trainModel(table, 1);
  EXPECT_GE(model->getInputFields().getSize(), 2);
  // Without held-out records the folds choose.
  std::erase_if(table, [](const RegressionRecord& record) { return record.channel == 2; });
  trainModel(table, 8);
  EXPECT_GE(model->getInputFields().getSize(), 2);
}

TEST_F(QUVENLinRegModelTrainingTest, WithTwoChannelsTheFirstCandidateIsSelected) {
  openWorld(2);
  const RegressionTable table = randomRecords(100);
  trainModel(table);
  const QUVENModelScores scores = scoresOf(*model).at(0);
  EXPECT_EQ(scores[0].ivPts, 0);
  EXPECT_EQ(scores[1].ivPts, 0);
  EXPECT_EQ(scores[2].ivPts, 50);
  EXPECT_EQ(model->getSelectedModel(1)->getModelRank(), 0);
  EXPECT_TRUE(model->hasNoSignal(QUVEN_ENV));
  EXPECT_EQ(model->getVolume(QUVEN_ENV), 0);  // channel 2 has no train data
  EXPECT_FALSE(model->hasUsableData(QUVEN_ENV));
}

TEST_F(QUVENLinRegModelTrainingTest, OneFoldLearnsNothing) {
  openWorld(3);
  trainModel(randomRecords(100));
  EXPECT_TRUE(model->hasNoSignal(QUVEN_ENV));
  EXPECT_FALSE(model->hasUsableData(QUVEN_ENV));
}

// Queries

TEST_F(QUVENLinRegModelTrainingTest, DataAreUsableFromFiveTrainPointsAndOneEvalPoint) {
  model = makeModel(true);
  EXPECT_FALSE(model->hasUsableData(QUVEN_ENV));
  EXPECT_EQ(model->getVolume(QUVEN_ENV), 0.0);
  const auto dealt = [](const std::vector<int>& records) {
    RegressionTable table;
    for (std::size_t c = 0; c < records.size(); ++c) {
      for (int i = 0; i < records[c]; ++i) {
        table.push_back({.x = {1.0 + i, 2, 3}, .y = 4.0 * i, .channel = static_cast<int>(c) + 1, .w = 0});
      }
    }
    return table;
  };
  struct Case {
    std::vector<int> records;
    bool isUsable;
    double volume;
  };
  // Channels 3 to 5 have as train data the records of the other two folds; their weight is 0 and they count.
  for (const Case& known :
       {Case{{0, 0, 3, 3, 2}, true, 0.5}, Case{{9, 9, 3, 2, 2}, false, 0.4}, Case{{9, 9, 6, 6, 0}, false, 0},
        Case{{0, 0, 4, 1, 4}, true, 0.5}, Case{{0, 0, 40, 30, 2}, true, 1}, Case{{0, 0, 0, 0, 0}, false, 0},
        Case{{9, 9, 20, 30, 40}, true, 5}}) {
    const RegressionTable table = dealt(known.records);
    model = makeModel(true);
    gather(*model, table);
    EXPECT_EQ(model->hasUsableData(QUVEN_ENV), known.isUsable) << testing::PrintToString(known.records);
    EXPECT_DOUBLE_EQ(model->getVolume(QUVEN_ENV), known.volume) << testing::PrintToString(known.records);
  }
}

TEST_F(QUVENLinRegModelTrainingTest, ReleasedStatisticsLeaveAllAnswers) {
  const RegressionTable table = randomRecords(200);
  trainModel(table);
  const auto answers = [&](QUVENLinRegModel& asked) {
    std::vector<double> list = {asked.getVolume(QUVEN_ENV), static_cast<double>(asked.hasUsableData(QUVEN_ENV)),
                                static_cast<double>(asked.hasNoSignal(QUVEN_ENV))};
    for (const QUVENModelScores& scores : scoresOf(asked)) {
      for (int which = 0; which < 3; ++which) {
        list.insert(list.end(), {scores[which].ivPts, scores[which].ivFit, scores[which].ivVar,
                                 asked.getScore(which, QUVEN_ENV), asked.getScoreVariance(which, QUVEN_ENV)});
      }
    }
    for (int c = 1; c <= channels; ++c) {
      list.push_back(predict(asked, table[0], c));
      list.push_back(stdDev()->getNumValueOfChannel(c, QUVEN_ENV));
    }
    return list;
  };
  const std::vector<double> expected = answers(*model);
  EXPECT_EQ(expected[0], 8);  // a tenth of the 80 records that train a fold
  const std::size_t before = imageOf(*model).size();
  model->releaseStatistics(QUVEN_ENV);
  EXPECT_EQ(answers(*model), expected);
  EXPECT_LT(imageOf(*model).size(), before / 2);
  auto read = readWithNames<QUVENLinRegModel>(imageOf(*model));
  EXPECT_EQ(answers(*read), expected);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelTrainingTest, NoSignalIsARegressionWithoutInputs) {
  model = makeModel();
  EXPECT_TRUE(model->hasNoSignal(QUVEN_ENV));
  RegressionTable table = randomRecords(100);
  trainModel(table);
  EXPECT_FALSE(model->hasNoSignal(QUVEN_ENV));
  for (RegressionRecord& record : table) record.x = {1, 2, 3};
  trainModel(table);
  EXPECT_TRUE(model->hasNoSignal(QUVEN_ENV));
}

// Merging

TEST_F(QUVENLinRegModelTrainingTest, AMergedModelIsThatOfAllRecords) {
  for (const bool withWeights : {false, true}) {
    const RegressionTable table = randomRecords(300, 4, withWeights);
    auto first = makeModel(withWeights);
    auto second = makeModel(withWeights);
    auto all = makeModel(withWeights);
    train(*first, part(table, [](std::size_t i) { return i < 100; }));
    train(*second, part(table, [](std::size_t i) { return i >= 100; }));
    train(*all, table);
    const double before = first->getScore(1, QUVEN_ENV);
    const CapturedRun run = capturedRun([&] {
      first->cloneGathered(model, QUVEN_ENV);
      EXPECT_EQ(model->mergeModel(second.get(), QUVEN_ENV), 1);
    });
    EXPECT_EQ(run.out, "");
    if (withWeights) expectChannels(*model, table);
    expectSameModels(*model, *all, 1e-11);
    EXPECT_EQ(first->getScore(1, QUVEN_ENV), before);
    for (auto* trained : {&first, &second, &all}) trained->reset(QUVEN_ENV);
  }
}

TEST_F(QUVENLinRegModelTrainingTest, ACloneKeepsDataStateDegreesAndOutputs) {
  const RegressionTable table = randomRecords(100);
  trainModel(table, 2, true);
  model->setNumAddDegreesOfFreedom(3);
  QUVENOwnPtr<QUVENLinRegModel> clone(QUVEN_ENV);
  model->cloneGathered(clone, QUVEN_ENV);
  EXPECT_EQ(clone->getModelState(), -2);
  EXPECT_EQ(clone->getNumAddDegreesOfFreedom(), 3);
  EXPECT_EQ(clone->getPredValField(), predicted());
  EXPECT_EQ(clone->getPredValStdDevField(), stdDev());
  EXPECT_EQ(clone->getCaseWeightField(), w);
  EXPECT_EQ(clone->getInvVarWeightField(), v);
  EXPECT_EQ(clone->getExplanatoryFields().getSize(), 3);
  EXPECT_EQ(clone->getVolume(QUVEN_ENV), model->getVolume(QUVEN_ENV));
  EXPECT_TRUE(clone->getResultsChannels().isEmpty());
  EXPECT_EQ(clone->getSelectedModel(5), nullptr);
  expectChannels(*clone, table);
  EXPECT_NE(clone->getSerialNumber(), model->getSerialNumber());
  clone.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelTrainingTest, OtherInputsOrDataAreNotMerged) {
  const RegressionTable table = randomRecords(100);
  model = makeModel();
  train(*model, table);
  auto empty = makeModel();
  EXPECT_FALSE(model->merge(empty.get(), QUVEN_ENV));
  expectChannels(*model, table);
  auto fewer = make<QUVENLinRegModel>();
  fewer->addInput(x[1], QUVENUsageExplanatory, QUVEN_ENV);
  fewer->addInput(y, QUVENUsageTarget, QUVEN_ENV);
  train(*fewer, table);
  EXPECT_EQ(model->mergeModel(fewer.get(), QUVEN_ENV), 0);
  ASSERT_EQ(model->getExplanatoryFields().getSize(), 1);
  EXPECT_EQ(model->getExplanatoryFields()[1].getField(), x[1]);
  EXPECT_EQ(model->getModelState(), -2);
  empty.reset(QUVEN_ENV);
  fewer.reset(QUVEN_ENV);
}

// Predictions

TEST_F(QUVENLinRegModelTrainingTest, PredictsPerChannel) {
  trainModel(randomRecords(200));
  ASSERT_GE(model->getInputFields().getSize(), 2);
  const auto expected = [&](const RegressionRecord& record, int channel) {
    const QUVENLSModel& selected = *model->getSelectedModel(channel);
    double sum = selected.getIntercept();
    for (long i = 1; i <= selected.getModelRank(); ++i) {
      const auto place = static_cast<std::size_t>(std::ranges::find(x, model->getInputFields()[i]) - x.begin());
      const double value = valueIn(record, record.x.at(place), channel);
      if (!std::isnan(value)) sum += value * selected.getCoefficientAt(i);
    }
    return sum;
  };
  for (const RegressionRecord& record : {RegressionRecord{.x = {1, 2, 3}}, RegressionRecord{.x = {1, noNumber, 3}},
                                         RegressionRecord{.x = {4, 5, 6}, .hasValuePerChannel = true},
                                         RegressionRecord{.x = {noNumber, 5, 6}, .hasValuePerChannel = true}}) {
    for (int c = 1; c <= channels; ++c) {
      EXPECT_EQ(predict(*model, record, c), expected(record, c)) << c;
      EXPECT_EQ(stdDev()->getNumValueOfChannel(c, QUVEN_ENV), model->getSelectedModel(c)->getModelStdDev());
    }
  }
  EXPECT_NEAR(predict(*model, {.x = {1, 2, 3}}, 1), 1, 0.3);
  // One channel alone.
  set({.x = {1, 2, 3}});
  predicted()->clearValue();
  model->scoreChannel(4, *point, QUVEN_ENV);
  EXPECT_EQ(predicted()->getNumValueOfChannel(4, QUVEN_ENV), expected({.x = {1, 2, 3}}, 4));
  EXPECT_TRUE(std::isnan(predicted()->getNumValueOfChannel(3, QUVEN_ENV)));
}

TEST_F(QUVENLinRegModelTrainingTest, PredictsTheSameAfterPruning) {
  RegressionTable table = randomRecords(200);
  for (RegressionRecord& record : table) record.x[0] = 5;  // of no use, and before the ones that are
  trainModel(table);
  const double expected = predict(*model, table[0], 1);
  const CapturedRun run = capturedRun([&] { model->pruneInputs(QUVEN_ENV); });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(model->findExplanatory(x[0]), 0);
  EXPECT_EQ(model->getExplanatoryFields().getSize(), model->getInputFields().getSize());
  EXPECT_EQ(predict(*model, table[0], 1), expected);
  auto read = readWithNames<QUVENLinRegModel>(imageOf(*model));
  EXPECT_EQ(predict(*read, table[0], 1), expected);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelTrainingTest, UsesAllInputsBeforeTheSelection) {
  model = makeModel();
  model->pruneInputs(QUVEN_ENV);
  EXPECT_EQ(model->getExplanatoryFields().getSize(), 3);
  set({});
  expectFailure([&] { model->scorePoint(*point, QUVEN_ENV); }, "model != nullptr");
}

TEST_F(QUVENLinRegModelTrainingTest, ItsOutputsAreOfTheFirstTarget) {
  model = makeModel();
  model->addInput(w, QUVENUsageTarget, QUVEN_ENV);
  model->getOutputs(*outputs, "suffix", *names, QUVEN_ENV);
  EXPECT_EQ(model->getPredValField(), names->find("Predicted_y_suffix"));
  EXPECT_EQ(model->getPredValStdDevField(), names->find("StdDev_y_suffix"));
  EXPECT_NE(model->getPredValField(), nullptr);
  EXPECT_NE(model->getPredValStdDevField(), nullptr);
}

}  // namespace
