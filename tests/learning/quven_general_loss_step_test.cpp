// The two searches of the step.

#include "loss_fixture.h"

using testing::Each;
using testing::ElementsAre;

namespace {

class QUVENGeneralLossStepTest : public LossTest {
 protected:
  /// Shows one record to a Newton search that has alpha 0, and expects what channel 3 has gathered.
  void expectTerm(double target, double f, double r, double gradient, double hessian) {
    SCOPED_TRACE(testing::Message() << "y " << target << " F " << f << " r " << r);
    second->beginRecords(QUVEN_ENV);
    stepWith(target, f, r, 5);
    EXPECT_DOUBLE_EQ(second->getGradient()[3], gradient);
    EXPECT_DOUBLE_EQ(second->getHessian()[3], hessian);
  }
  void searchTrials(std::int32_t lossId) {
    fitSecond(lossId);
    second->beginMultiAlpha(QUVEN_ENV);
    second->beginRecords(QUVEN_ENV);
  }
  /// The step of a search that sees one record.
  double alphaOf(std::int32_t lossId, double target, double f, double r) {
    searchTrials(lossId);
    stepWith(target, f, r, 5);
    EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
    return second->getAlpha(1, 3);
  }
};

// Row k - 1: the channels that a record of channel k is summed for.
TEST_F(QUVENGeneralLossStepTest, TheDealingGivesARecordToTheChannelsBelowIt) {
  const std::vector<std::vector<double>> dealt = {
      {1, 0, 0, 0, 0}, {1, 1, 0, 0, 0}, {1, 1, 0, 0, 0}, {1, 1, 1, 0, 0}, {1, 1, 1, 1, 0}};
  for (std::int32_t k = 1; k <= Channels; ++k) {
    SCOPED_TRACE(k);
    searchSecond(squaredId);
    stepWith(1, 0, 1, k);  // gradient 1, Hessian 1
    EXPECT_EQ(listOf(second->getGradient()), dealt[static_cast<std::size_t>(k - 1)]);
    EXPECT_EQ(listOf(second->getHessian()), dealt[static_cast<std::size_t>(k - 1)]);
    fitSecond(squaredId);
    second->beginMultiAlpha(QUVEN_ENV);
    stepWith(3, 0, 2, k);
    EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
    // Trial 3 meets the target of 3 = 1.5 * 2. Without a record all losses are 0, and the step is 1.
    for (std::int32_t c = 1; c <= Channels; ++c) {
      const bool isDealt = dealt[static_cast<std::size_t>(k - 1)][static_cast<std::size_t>(c - 1)] == 1;
      EXPECT_EQ(second->getAlpha(1, c), isDealt ? 1.5 : 1.0) << c;
    }
  }
}

TEST_F(QUVENGeneralLossStepTest, SquaredTermsWorkedByHand) {
  searchSecond(squaredId);
  expectTerm(3, 1, 4, 8, 16);     // (3 - 1) 4 and 4^2
  expectTerm(-1, 0.5, -2, 3, 4);  // (-1.5)(-2)
  expectTerm(0, 0, 0.5, 0, 0.25);
}

// With t = -2y, e = exp(tF), alpha being 0: -t e/(e + 1) x and 4 y^2 e/(e + 1)^2 x^2.
TEST_F(QUVENGeneralLossStepTest, LogisticTermsWorkedByHand) {
  searchSecond(logisticId);
  const double spread = oneInOnePlusE * eInOnePlusE;  // e/(e + 1)^2
  expectTerm(1, 0, 3, 3, 9);                          // e = 1: 2/2 * 3 and 4/4 * 9
  expectTerm(0, 0, 3, -3, 9);                         // class -1
  expectTerm(1, 0.5, 3, 6 * oneInOnePlusE, 36 * spread);
  expectTerm(0, 0.5, 3, -6 * eInOnePlusE, 36 * spread);
  expectTerm(-1, 0.5, 3, -6 * eInOnePlusE, 36 * spread);
  expectTerm(2, 0.25, 3, 12 * oneInOnePlusE, 144 * spread);  // t = -4
  // e = exp(1000) is infinity: e/(e + 1) is 1, e/(e + 1)^2 is 0.
  expectTerm(1, -500, 3, 6, 0);
  expectTerm(0, 500, 3, -6, 0);
  expectTerm(1, 500, 3, 0, 0);
}

// -(exp(F) - y) x and exp(F) x^2.
TEST_F(QUVENGeneralLossStepTest, PoissonTermsWorkedByHand) {
  searchSecond(poissonId);
  expectTerm(3, 0, 2, 4, 4);
  expectTerm(0, 1, -2, 2 * euler, 4 * euler);
  expectTerm(5, -1000, 2, 10, 0);
  expectTerm(5, 1000, 2, -infinite, infinite);
}

TEST_F(QUVENGeneralLossStepTest, SupportVectorTermsWorkedByHand) {
  searchSecond(supportVectorId);
  expectTerm(1, 1, 3, 3, 9);  // margin 1
  expectTerm(1, std::nextafter(1.0, 2.0), 3, 0, 9);
  expectTerm(0, -1, 3, -3, 9);
  expectTerm(0, -1.5, 3, 0, 9);
  expectTerm(2, 0.5, 3, 6, 9);
}

TEST_F(QUVENGeneralLossStepTest, TheLinkLossesHaveTheTermsOfTheirLoss) {
  searchSecond(logisticLinkId);
  expectTerm(1, 0.5, 3, 6 * oneInOnePlusE, 36 * oneInOnePlusE * eInOnePlusE);
  searchSecond(poissonLinkId);
  expectTerm(3, 0, 2, 4, 4);
}

// The step is from 0: Newton's step g/h of all records at F. For squared errors that is the regression of the residual:
// (2*1 + 1*3)/(1 + 9) = 0.5.
TEST_F(QUVENGeneralLossStepTest, TheStepIsGradientOverHessian) {
  searchSecond(squaredId);
  EXPECT_THAT(listOf(second->getAlphas()), ElementsAre(0, 0, 0, 0, 0));
  stepWith(3, 1, 1, 5);
  stepWith(4, 3, 3, 5);
  EXPECT_THAT(listOf(second->getGradient()), ElementsAre(5, 5, 5, 5, 0));
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  // Channel 5 has no record: its step is 1.
  EXPECT_THAT(listOf(second->getAlphas()), ElementsAre(0.5, 0.5, 0.5, 0.5, 1));
  for (long c = 1; c <= Channels; ++c) EXPECT_EQ(second->getAlpha(1, c), second->getAlphas()[c]);
  EXPECT_THAT(listOf(second->getGradient()), Each(0));
  EXPECT_THAT(listOf(second->getHessian()), Each(0));
}

TEST_F(QUVENGeneralLossStepTest, OnePassEndsTheSearchHoweverFarTheStepMoved) {
  searchSecond(squaredId);
  stepWith(1e9, 0, 1e-3, 5);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_DOUBLE_EQ(second->getAlpha(1, 1), 1e12);
}

TEST_F(QUVENGeneralLossStepTest, AStepOfNothingIs1) {
  searchSecond(squaredId);
  stepWith(3, 1, 0, 5);  // r = 0: gradient and Hessian are 0
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_THAT(listOf(second->getAlphas()), Each(1));
}

TEST_F(QUVENGeneralLossStepTest, AGradientOf0IsTheStep0) {
  searchSecond(squaredId);
  stepWith(3, 3, 2, 5);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_THAT(listOf(second->getAlphas()), ElementsAre(0, 0, 0, 0, 1));
}

TEST_F(QUVENGeneralLossStepTest, AHessianOf0IsAnInfiniteStep) {
  searchSecond(logisticId);
  stepWith(1, -500, 3, 5);  // gradient 6, Hessian 0
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_THAT(listOf(second->getAlphas()), ElementsAre(infinite, infinite, infinite, infinite, 1));
}

TEST_F(QUVENGeneralLossStepTest, WhatIsNotANumberMakesNone) {
  searchSecond(squaredId);
  stepWith(3, notANumber, 1, 4);
  previous().setNumValue(notANumber);
  step(*second);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_TRUE(std::isnan(second->getAlpha(1, 3)));
  EXPECT_EQ(second->getAlpha(1, 4), 1);
}

TEST_F(QUVENGeneralLossStepTest, AMissingTargetIsNotSummed) {
  for (const bool isMulti : {false, true}) {
    fitSecond(squaredId, {y, y2});
    if (isMulti) {
      second->beginMultiAlpha(QUVEN_ENV);
    } else {
      EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
    }
    previous(2).setNumValue(0);
    predictedResidual(*second, 2).setNumValue(2);
    y2->setNumValue(3);
    stepWith(notANumber, 1, 4, 5);  // y is missing: y2 alone, 3/2
    y->clearValue();
    step(*second);
    y->setNumValue(notANumber);
    step(*second);
    EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
    EXPECT_EQ(second->getAlpha(1, 3), 1.5);
    EXPECT_EQ(second->getAlpha(2, 3), 1.5);
  }
}

// y: gradient (3 - 1) 4 = 8, Hessian 16; y2: (5 - 6) 2 = -2, 4. Together 6/20.
TEST_F(QUVENGeneralLossStepTest, TheTargetsShareTheStepOfAChannel) {
  searchSecond(squaredId, {y, y2});
  y2->setNumValue(5);
  previous(2).setNumValue(6);
  predictedResidual(*second, 2).setNumValue(2);
  stepWith(3, 1, 4, 5);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  for (const long target : {1, 2}) EXPECT_DOUBLE_EQ(second->getAlpha(target, 3), 0.3);
}

TEST_F(QUVENGeneralLossStepTest, EachChannelHasItsValues) {
  searchSecond(squaredId);
  setRecord(10, 0, 0, 5);
  for (long c = 1; c <= Channels; ++c) {
    previous().setNumValueOfChannel(c, static_cast<double>(c), QUVEN_ENV);
    predictedResidual(*second).setNumValueOfChannel(c, 2.0 * static_cast<double>(c), QUVEN_ENV);
  }
  step(*second);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_THAT(listOf(second->getAlphas()), ElementsAre(9.0 / 2, 8.0 / 4, 7.0 / 6, 6.0 / 8, 1.0));
}

TEST_F(QUVENGeneralLossStepTest, APassBeginsWithNothingGathered) {
  searchSecond(squaredId);
  stepWith(3, 1, 4, 5);
  second->beginRecords(QUVEN_ENV);
  EXPECT_THAT(listOf(second->getGradient()), Each(0));
  EXPECT_THAT(listOf(second->getHessian()), Each(0));
  stepWith(3, 1, 4, 5);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  second->beginRecords(QUVEN_ENV);
  EXPECT_EQ(second->getAlpha(1, 1), 0.5);
  searchTrials(squaredId);
  stepWith(100, 0, 20, 5);  // trial 10 is the best one
  second->beginRecords(QUVEN_ENV);
  stepWith(3, 0, 2, 5);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_EQ(second->getAlpha(1, 1), 1.5);
}

// The other search.

TEST_F(QUVENGeneralLossStepTest, ATrialIsAMultipleOfAHalf) {
  searchTrials(squaredId);
  EXPECT_EQ(second->getState(), 3);
  EXPECT_EQ(second->getLineSearchType(), 2);
  for (int m = 1; m <= 10; ++m) EXPECT_EQ(alphaOf(squaredId, m, 0, 2), 0.5 * m);
  EXPECT_EQ(second->getState(), 4);
  EXPECT_EQ(alphaOf(squaredId, 100, 0, 2), 5);
  EXPECT_EQ(alphaOf(squaredId, -100, 0, 2), 0.5);
}

// The losses of the trials at p' = m r/2 + F.
TEST_F(QUVENGeneralLossStepTest, TrialLossesWorkedByHand) {
  struct Row {
    std::int32_t id;
    double target;
    double prediction;
    double loss;
  };
  const std::vector<Row> rows = {
      {squaredId, 3, 1, 2},  // (3 - 1)^2/2
      {logisticId, 1, 0, std::log(2.0)},
      {logisticId, 0, 0.5, std::log(euler + 1)},  // class -1
      {logisticId, 2, 0.25, std::log(1 / euler + 1)},
      {logisticId, 0, 500, 1000},  // exp(1000) is infinity
      {logisticId, 1, 500, 0},
      {poissonId, 3, 1, euler - 3},
      {poissonId, 3, 1000, infinite},
      {supportVectorId, 1, 0.25, 0.75},
      {supportVectorId, 1, 1, 0},
      {supportVectorId, 1, 2, 0},
      {supportVectorId, 0, 0.25, 1.25},
      {supportVectorId, 2, 0.25, 0.5},
      {logisticLinkId, 1, 0, std::log(2.0)},
      {poissonLinkId, 3, 1, euler - 3},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "loss " << row.id << " y " << row.target << " F " << row.prediction);
    searchTrials(row.id);
    stepWith(row.target, row.prediction, 0, 5);  // r = 0: all trials are at F
    ASSERT_EQ(second->getTrials().getSize(), 10);
    for (const QUVENGeneralLoss::Channels& trial : second->getTrials()) {
      EXPECT_DOUBLE_EQ(trial[3], row.loss);
      EXPECT_EQ(trial[5], 0);
    }
  }
}

TEST_F(QUVENGeneralLossStepTest, TrialsAddUpOverTheRecords) {
  searchTrials(squaredId);
  stepWith(3, 0, 2, 5);
  stepWith(1, 0, 2, 5);
  for (long m = 1; m <= 10; ++m) {
    const double p = static_cast<double>(m);
    EXPECT_EQ(second->getTrials()[m][1], 0.5 * (3 - p) * (3 - p) + 0.5 * (1 - p) * (1 - p));
  }
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_EQ(second->getAlpha(1, 1), 1);
}

// Trials 3 and 4 are at the same distance from 7 = 3.5 * 2; the higher one is seen first.
TEST_F(QUVENGeneralLossStepTest, OfEqualLossesTheHighestTrialStays) {
  EXPECT_EQ(alphaOf(squaredId, 7, 0, 4), 2);
  // The first trial stays if no other one is smaller.
  EXPECT_EQ(alphaOf(squaredId, 3, 1, 0), 0.5);
}

TEST_F(QUVENGeneralLossStepTest, TrialsWithoutAnyLossGiveTheStep1) {
  EXPECT_EQ(alphaOf(supportVectorId, 1, 2, 1), 1.0);  // margins from 2.5
  EXPECT_EQ(alphaOf(supportVectorId, 1, 0, 1), 5.0);  // margins 0.5, 1, ...: the highest trial without a loss
  // exp(-2 * 20) is lost beside 1: the loss is exactly 0.
  EXPECT_EQ(alphaOf(logisticId, 1, 20, 1), 1.0);
}

TEST_F(QUVENGeneralLossStepTest, ALossThatIsNotANumberIsNot0AndNeverTheSmallest) {
  EXPECT_EQ(alphaOf(squaredId, 1, notANumber, 1), 0.5);  // all trials
  // At r = -1e308 the loss exp(p') - 0 p' is 0 for the trials 1 to 3, whose p' is finite, and NaN above them.
  EXPECT_EQ(alphaOf(poissonId, 0, 0, -1e308), 0.5);
  // It is infinite for the trials 1 to 3 at r = 1e308.
  EXPECT_EQ(alphaOf(poissonId, 0, 0, 1e308), 0.5);
}

TEST_F(QUVENGeneralLossStepTest, TheTrialsAreGoneAfterTheSearch) {
  searchTrials(squaredId);
  stepWith(3, 0, 2, 5);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_TRUE(second->getTrials().isEmpty());
  EXPECT_EQ(second->getLineSearchType(), 2);
  second->enterOutputsMade(*names, QUVEN_ENV);
  second->updatePredictionsAll(QUVEN_ENV);
  EXPECT_THAT(channelValues(*second->getCurrentPredictedValues()[1]), ElementsAre(3, 3, 3, 3, 2));
}

TEST_F(QUVENGeneralLossStepTest, TheOtherSearchIsOfALaterStage) {
  openFirst(squaredId, {y});
  fitResiduals(*first);
  expectFailure([&] { first->beginMultiAlpha(QUVEN_ENV); }, "!isFirstStage()");
  finishFirst(squaredId, {y});
  second = makeNext(*first, "2");
  expectFailure([&] { second->beginMultiAlpha(QUVEN_ENV); }, "ivState == ResidualModelsDone");
}

}  // namespace
