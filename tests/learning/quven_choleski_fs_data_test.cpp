#include "learning/quven_choleski_fs_data.h"

#include <cmath>

#include "ls_fixture.h"

namespace {

constexpr double floorFactor = 1.1920928955078125e-07;

class QUVENLSCholeskiFSDataTest : public LeastSquaresTest {
 protected:
  void TearDown() override {
    fit.reset(QUVEN_ENV);
    train.destroyPrimitive(QUVEN_ENV);
    eval.destroyPrimitive(QUVEN_ENV);
    LeastSquaresTest::TearDown();
  }
  void start(const LsTable& trainTable, const LsTable& evalTable) {
    const long n = static_cast<long>(trainTable[0].x.size());
    fill(train, trainTable, n);
    fill(eval, evalTable, n);
    fit = QUVENLSCholeskiFSData::createFSData(&train, &eval, floorFactor, QUVEN_ENV);
  }
  void start(const LsTable& table) { start(table, table); }
  /// The model of the current rank as bytes.
  std::string modelImage() {
    QUVENOwnPtr<QUVENLSModel> model = fit->getModel(QUVEN_ENV);
    std::string image = imageOf(*model);
    model.reset(QUVEN_ENV);
    return image;
  }
  double trainResidSSQ() {
    QUVENOwnPtr<QUVENLSModel> model = fit->getModel(QUVEN_ENV);
    const double rss = model->getTrain().residSSQ;
    model.reset(QUVEN_ENV);
    return rss;
  }

  QUVENLSData train;
  QUVENLSData eval;
  QUVENOwnPtr<QUVENLSCholeskiFSData> fit;
};

TEST_F(QUVENLSCholeskiFSDataTest, BeginsWithoutVariables) {
  start(randomTable(1, 4, 30, false));
  EXPECT_EQ(fit->getRank(), 0);
  EXPECT_EQ(fit->getNumFields(), 4);
  for (long i = 1; i <= 4; ++i) EXPECT_EQ(fit->getVariableAt(i), i);
  EXPECT_TRUE(fit->canAddNewFeature());
  for (long i = 1; i <= 3; ++i) EXPECT_TRUE(fit->canSelectCandidateFeature(i));
  QUVENOwnPtr<QUVENLSModel> model = fit->getModel(QUVEN_ENV);
  EXPECT_EQ(model->getModelRank(), 0);
  EXPECT_EQ(model->getIntercept(), train.getDataMean()[4]);
  EXPECT_EQ(model->getTrain().residSSQ, train.getDataCov()[10]);
  model.reset(QUVEN_ENV);
}

TEST_F(QUVENLSCholeskiFSDataTest, OnlyCandidatesHaveAPosition) {
  start(randomTable(1, 4, 30, false));
  fit->addFeature(2);
  for (const long position : {-1L, 0L, 1L, 4L, 5L}) {
    expectFailure([&] { fit->canSelectCandidateFeature(position); }, "isCandidate(position)");
    expectFailure([&] { fit->getReduction(position); }, "isCandidate(position)");
    expectFailure([&] { fit->tryCandidate(position); }, "isCandidate(position)");
    expectFailure([&] { fit->addFeature(position); }, "isCandidate(kselect)");
    expectFailure([&] { fit->excludeFeature(position); }, "isCandidate(position)");
  }
}

TEST_F(QUVENLSCholeskiFSDataTest, RefusesDataThatDoesNotFit) {
  train.allocate(3, QUVEN_ENV);
  eval.allocate(2, QUVEN_ENV);
  expectFailure([&] { QUVENLSCholeskiFSData::createFSData(&train, &eval, 0, QUVEN_ENV); },
                "n > 0 && evalPtr->getNumFields() == n");
  train.allocate(0, QUVEN_ENV);
  expectFailure([&] { QUVENLSCholeskiFSData::createFSData(&train, &train, 0, QUVEN_ENV); }, "n > 0");
}

TEST_F(QUVENLSCholeskiFSDataTest, AnAddedVariableExchangesPlacesWithTheFirstCandidate) {
  start(randomTable(2, 6, 50, false));
  fit->addFeature(4);
  fit->addFeature(3);
  fit->addFeature(3);
  const std::int32_t expected[] = {4, 3, 2, 1, 5, 6};
  for (long i = 1; i <= 6; ++i) EXPECT_EQ(fit->getVariableAt(i), expected[i - 1]);
  EXPECT_EQ(fit->getRank(), 3);
}

// Fits of every rank, with the variables in any order, against normal equations.
TEST_F(QUVENLSCholeskiFSDataTest, CoefficientsAndReductionsAreThoseOfLeastSquares) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const long n = 2 + static_cast<long>(seed % 6);
    const LsTable all = randomTable(seed, n, 90, seed % 2 == 0);
    const LsTable trainTable(all.begin(), all.begin() + 60);
    const LsTable evalTable(all.begin() + 60, all.end());
    const LiteralData literalTrain(trainTable, static_cast<std::size_t>(n));
    const LiteralData literalEval(evalTable, static_cast<std::size_t>(n));
    start(trainTable, evalTable);
    std::mt19937 random(seed);
    std::vector<std::size_t> variables;
    while (fit->getRank() < n - 1) {
      const long position = fit->getRank() + 1 + static_cast<long>(random()) % (n - 1 - fit->getRank());
      variables.push_back(static_cast<std::size_t>(fit->getVariableAt(position)) - 1);
      const double before = trainResidSSQ();
      const double reduction = fit->getReduction(position);
      fit->addFeature(position);
      EXPECT_NEAR(reduction, before - trainResidSSQ(), 1e-9 * before);

      const LiteralModel expected = literalFit(literalTrain, variables);
      QUVENOwnPtr<QUVENLSModel> model = fit->getModel(2.25, QUVEN_ENV);
      EXPECT_EQ(model->getModelRank(), static_cast<std::int32_t>(variables.size()));
      EXPECT_EQ(model->getModelStdDev(), 1.5);
      EXPECT_NEAR(model->getIntercept(), static_cast<double>(expected.intercept), 1e-9);
      for (std::size_t i = 0; i < variables.size(); ++i) {
        EXPECT_EQ(model->getVariableAt(static_cast<long>(i) + 1), static_cast<std::int32_t>(variables[i]) + 1);
        EXPECT_NEAR(model->getCoefficientAt(static_cast<long>(i) + 1), static_cast<double>(expected.coefficients[i]),
                    1e-10);
      }
      EXPECT_NEAR(fit->getEvalResidSSQ(), static_cast<double>(literalRss(literalEval, expected)), 1e-8);
      model.reset(QUVEN_ENV);
    }
    EXPECT_TRUE(fit->canAddNewFeature());
    fit.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENLSCholeskiFSDataTest, ATrialGivesTheScoreAndChangesNothing) {
  const LsTable all = randomTable(7, 6, 120, true);
  start({all.begin(), all.begin() + 70}, {all.begin() + 70, all.end()});
  for (long rank = 0; rank < 5; ++rank) {
    const double before = fit->getCVScore();
    const std::string image = modelImage();
    std::vector<double> trials;
    for (long position = rank + 1; position <= 5; ++position) trials.push_back(fit->tryCandidate(position));
    EXPECT_EQ(fit->getRank(), rank);
    EXPECT_EQ(fit->getCVScore(), before);
    EXPECT_EQ(modelImage(), image);
    const long added = rank % 2 == 0 ? 5 : rank + 1;
    EXPECT_EQ(fit->tryCandidate(added), trials[static_cast<std::size_t>(added - rank - 1)]);
    fit->addFeature(added);
    const double score = fit->getCVScore();
    EXPECT_NEAR(score, trials[static_cast<std::size_t>(added - rank - 1)], 1e-11 * std::abs(score));
  }
}

// The coefficients are kept for the current rank, and must not survive a trial that was rejected.
TEST_F(QUVENLSCholeskiFSDataTest, ARejectedTrialLeavesNoCoefficients) {
  start(randomTable(9, 5, 80, false));
  fit->addFeature(1);
  fit->addFeature(2);
  const std::string image = modelImage();
  fit->tryCandidate(3);
  fit->excludeFeature(3);
  EXPECT_EQ(modelImage(), image);
  EXPECT_EQ(fit->getEvalResidSSQ(), trainResidSSQ());
}

TEST_F(QUVENLSCholeskiFSDataTest, AModelCarriesTheScoresOfBothData) {
  const LsTable all = randomTable(11, 4, 100, true);
  const LsTable trainTable(all.begin(), all.begin() + 60);
  const LsTable evalTable(all.begin() + 60, all.end());
  start(trainTable, evalTable);
  fit->addFeature(3);
  fit->addFeature(2);
  QUVENOwnPtr<QUVENLSModel> model = fit->getModel(QUVEN_ENV);
  const double rss = model->getTrain().residSSQ;
  const double tolerance = train.getTolerance(4);
  const double variance = train.getVarianceEstimate(rss, tolerance, floorFactor);
  EXPECT_EQ(model->getModelStdDev(), std::sqrt(variance));
  for (const bool onTrain : {true, false}) {
    const QUVENLSData& data = onTrain ? train : eval;
    const QUVENLSFit scores = onTrain ? model->getTrain() : model->getEval();
    EXPECT_EQ(scores.points, data.getNumDataPoints());
    EXPECT_EQ(scores.score, data.getScore(scores.residSSQ, variance));
    // Of the train data both times.
    EXPECT_EQ(scores.scoreVariance, data.getScoreVariance(scores.residSSQ, variance, tolerance, floorFactor));
  }
  EXPECT_EQ(model->getEval().score, fit->getCVScore());
  model.reset(QUVEN_ENV);
}

// The tolerance of the target in the train data decides the variance of the score of a residual of 0, not that of the
// eval data, whose target is far larger.
TEST_F(QUVENLSCholeskiFSDataTest, TheToleranceIsThatOfTheTrainDataForBoth) {
  start({{{1, 1}}, {{2, 2}}, {{3, 3}}}, {{{1000, 1000}}, {{3000, 3000}}});
  fit->addFeature(1);
  QUVENOwnPtr<QUVENLSModel> model = fit->getModel(1, QUVEN_ENV);
  const QUVENLSFit scores = model->getEval();
  EXPECT_EQ(scores.residSSQ, 0);
  EXPECT_EQ(scores.scoreVariance, eval.getScoreVariance(0, 1, train.getTolerance(2), floorFactor));
  EXPECT_NE(scores.scoreVariance, eval.getScoreVariance(0, 1, eval.getTolerance(2), floorFactor));
  model.reset(QUVEN_ENV);
}

TEST_F(QUVENLSCholeskiFSDataTest, AConstantVariableIsExcluded) {
  LsTable table = randomTable(3, 3, 30, false);
  for (LsRow& row : table) row.x[0] = 17.3;
  start(table);
  EXPECT_EQ(fit->getReduction(1), 0.0);
  EXPECT_FALSE(fit->canSelectCandidateFeature(1));
  EXPECT_TRUE(fit->canSelectCandidateFeature(2));
  expectFailure([&] { fit->addFeature(1); }, "ivCanSelectFtrVec[ivPermVec[kselect]] == quvenTrue");
  expectFailure([&] { fit->tryCandidate(1); }, "canSelectCandidateFeature(candidateftr)");
}

TEST_F(QUVENLSCholeskiFSDataTest, TheSecondOfTwoCollinearVariablesIsExcluded) {
  LsTable table = randomTable(4, 4, 60, false);
  for (LsRow& row : table) row.x[1] = 3 - 2 * row.x[0];
  start(table);
  EXPECT_TRUE(fit->canSelectCandidateFeature(1));
  EXPECT_TRUE(fit->canSelectCandidateFeature(2));
  fit->addFeature(1);
  EXPECT_FALSE(fit->canSelectCandidateFeature(2));
  EXPECT_EQ(fit->getReduction(2), 0.0);
  EXPECT_TRUE(fit->canSelectCandidateFeature(3));
  // For good: the flag belongs to the variable, whatever its position.
  fit->addFeature(3);
  EXPECT_EQ(fit->getVariableAt(3), 2);
  EXPECT_FALSE(fit->canSelectCandidateFeature(3));
}

// A share of exactly 2^-23 is too little, twice as much is enough. By hand: x1 = +-1 and x2 = x1 +- s keep the share
// s^2 / (1 + s^2) of x2 after x1.
TEST_F(QUVENLSCholeskiFSDataTest, TheShareOfTheVarianceThatMustRemain) {
  for (const double share : {0x1p-24, 0x1p-22}) {
    const double s = std::sqrt(share);
    start({{{1, 1 + s, 1}}, {{1, 1 - s, 0}}, {{-1, -1 + s, 0}}, {{-1, -1 - s, 4}}});
    fit->addFeature(1);
    EXPECT_EQ(fit->canSelectCandidateFeature(2), share > 0x1p-23) << share;
    fit.reset(QUVEN_ENV);
  }
}

// A variance below the tolerance, which grows with the mean, is noise.
TEST_F(QUVENLSCholeskiFSDataTest, AVarianceThatRoundingExplainsIsNone) {
  for (const double mean : {0.0, 1e8}) {
    start({{{mean + 1, 1}}, {{mean - 1, 0}}, {{mean + 1, 3}}, {{mean - 1, 1}}});
    EXPECT_EQ(fit->canSelectCandidateFeature(1), mean == 0.0);
    EXPECT_EQ(fit->getReduction(1) > 0, mean == 0.0);
    fit.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENLSCholeskiFSDataTest, AnExcludedVariableStaysSo) {
  start(randomTable(5, 4, 40, false));
  fit->excludeFeature(2);
  EXPECT_FALSE(fit->canSelectCandidateFeature(2));
  expectFailure([&] { fit->addFeature(2); }, "ivCanSelectFtrVec[ivPermVec[kselect]] == quvenTrue");
  fit->addFeature(3);  // 2 keeps its place, 1 goes to place 3
  EXPECT_FALSE(fit->canSelectCandidateFeature(2));
  EXPECT_TRUE(fit->canSelectCandidateFeature(3));
}

TEST_F(QUVENLSCholeskiFSDataTest, ATargetWithoutVarianceEndsThePath) {
  LsTable table = randomTable(6, 3, 20, false);
  for (LsRow& row : table) row.x[2] = 4;
  start(table);
  EXPECT_FALSE(fit->canAddNewFeature());
  expectFailure([&] { fit->getReduction(1); }, "canAddNewFeature()");
  QUVENOwnPtr<QUVENLSModel> model = fit->getModel(QUVEN_ENV);
  EXPECT_EQ(model->getIntercept(), 4);
  model.reset(QUVEN_ENV);
}

TEST_F(QUVENLSCholeskiFSDataTest, HasNothingForAStream) {
  start(randomTable(6, 3, 20, false));
  fit->addFeature(2);
  const std::string model = modelImage();
  EXPECT_EQ(imageOf(*fit), written(0, [&](QUVENObjWriter& writer) {
              writer.beginObjectType("QUVENLSCholeskiFSData", QUVEN_ENV);
              writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
            }));
  // A copy goes on from the same rank.
  QUVENOwnPtr<QUVENLSCholeskiFSData> copy = quvenNewCopy(*fit, QUVEN_ENV);
  std::swap(copy, fit);
  EXPECT_EQ(modelImage(), model);
  fit->addFeature(2);
  copy->addFeature(2);
  EXPECT_EQ(fit->getCVScore(), copy->getCVScore());
  copy.reset(QUVEN_ENV);
}

}  // namespace
