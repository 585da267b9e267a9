// The losses: their residuals, links and reported losses.

#include "learning/quven_losses.h"

#include "loss_fixture.h"

using testing::Each;

namespace {

class QUVENLossesTest : public LossTest {
 protected:
  /// The residual of the second stage for one value in all channels.
  double residualOf(double target, double f) {
    setRecord(target, f, 0);
    second->computeResidualsAll(QUVEN_ENV);
    return residual();
  }
  /// Two passes for the distribution of the target.
  void learnTarget(const std::vector<double>& values) {
    y->setSampleFlag(false, QUVEN_ENV);
    y->setSampleFlag(true, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {
      y->beginDistributionPass(QUVEN_ENV);
      for (std::uint32_t i = 0; i < values.size(); ++i) {
        y->setNumValue(values[i]);
        y->updateDistribution(i, QUVEN_ENV);
      }
      y->endDistributionPass(QUVEN_ENV);
    }
  }
  double firstPrediction(double r) {
    predictedResidual(*first).setNumValue(r);
    first->updatePredictionsAll(QUVEN_ENV);
    return previous().getNumValueOrSingle(1);
  }
};

TEST_F(QUVENLossesTest, AnIdOrANameChoosesTheClass) {
  struct Row {
    std::int32_t id;
    const char* name;
    const char* type;
  };
  const std::vector<Row> rows = {
      {1, "Squared", "QUVENSimpleSquaredLoss"},     {2, "Logistic", "QUVENLogisticLoss"},
      {3, "Poisson", "QUVENPoissonLoss"},           {4, "SupportVector", "QUVENSupportVectorLoss"},
      {5, "LogisticLink", "QUVENLogisticLinkLoss"}, {6, "PoissonLink", "QUVENPoissonLinkLoss"}};
  for (const Row& row : rows) {
    EXPECT_EQ(QUVENGeneralLoss::idOf(row.name), row.id);
    EXPECT_TRUE(QUVENGeneralLoss::isName(row.name));
    auto loss = makeLoss(row.id);
    EXPECT_STREQ(loss->getTypeName().getName(), row.type);
    loss.reset(QUVEN_ENV);
  }
  for (const char* name : {"", "logistic", "Poisson ", "Huber"}) {
    EXPECT_EQ(QUVENGeneralLoss::idOf(name), 1) << name;
    EXPECT_FALSE(QUVENGeneralLoss::isName(name)) << name;
  }
  for (const std::int32_t id : {0, -1, 7, std::numeric_limits<std::int32_t>::min()}) {
    auto loss = makeLoss(id);
    EXPECT_TRUE(loss->isA(QUVENSimpleSquaredLoss::typeName())) << id;
    loss.reset(QUVEN_ENV);
  }
}

// Residuals

TEST_F(QUVENLossesTest, SquaredResidualsAreDifferences) {
  fitSecond(squaredId);
  EXPECT_EQ(residualOf(3, 1.25), 1.75);
  EXPECT_EQ(residualOf(0, 2), -2);
}

// With t = -2y and e = exp(tF): -t e/(e + 1).
TEST_F(QUVENLossesTest, LogisticResidualsWorkedByHand) {
  fitSecond(logisticId);
  EXPECT_EQ(residualOf(1, 0), 1);                            // t = -2, e = 1: 2/2
  EXPECT_EQ(residualOf(0, 0), -1);                           // class -1: t = 2, e = 1: -2/2
  EXPECT_DOUBLE_EQ(residualOf(1, 0.5), 2 * oneInOnePlusE);   // e = exp(-1)
  EXPECT_DOUBLE_EQ(residualOf(0, 0.5), -2 * eInOnePlusE);    // e = exp(1)
  EXPECT_DOUBLE_EQ(residualOf(-1, 0.5), -2 * eInOnePlusE);   // -1 is used as it is
  EXPECT_DOUBLE_EQ(residualOf(2, 0.25), 4 * oneInOnePlusE);  // so is 2: t = -4, e = exp(-1)
  EXPECT_DOUBLE_EQ(residualOf(1e-300, 0), 1e-300);           // and what is nearly 0
  // e of the argument 1000 is infinity, e/(e + 1) is 1.
  EXPECT_EQ(residualOf(1, -500), 2);
  EXPECT_EQ(residualOf(0, 500), -2);
  EXPECT_EQ(residualOf(1, 500), 0);
}

TEST_F(QUVENLossesTest, PoissonResidualsWorkedByHand) {
  fitSecond(poissonId);
  EXPECT_EQ(residualOf(3, 0), 2);
  EXPECT_DOUBLE_EQ(residualOf(0, 1), -euler);
  EXPECT_EQ(residualOf(5, 1000), -infinite);
  EXPECT_EQ(residualOf(5, -1000), 5);
}

TEST_F(QUVENLossesTest, SupportVectorResidualsAreTheClassUpToMargin1) {
  fitSecond(supportVectorId);
  EXPECT_EQ(residualOf(1, 1), 1);
  EXPECT_EQ(residualOf(1, std::nextafter(1.0, 2.0)), 0);
  EXPECT_EQ(residualOf(0, -1), -1);
  EXPECT_EQ(residualOf(0, -1.5), 0);
  EXPECT_EQ(residualOf(-1, 0.5), -1);
  EXPECT_EQ(residualOf(2, 0.5), 2);
  EXPECT_EQ(residualOf(2, 0.75), 0);
}

TEST_F(QUVENLossesTest, TheLinkLossesHaveTheResidualsOfTheirLoss) {
  fitSecond(logisticLinkId);
  EXPECT_DOUBLE_EQ(residualOf(0, 0.5), -2 * eInOnePlusE);
  fitSecond(poissonLinkId);
  EXPECT_DOUBLE_EQ(residualOf(0, 1), -euler);
}

// Links

// Half the log odds: p = 0.5 is 0, p = e/(1 + e) is 1/2.
TEST_F(QUVENLossesTest, TheLogisticLinkIsHalfTheLogOdds) {
  learnTarget({0, 1, 1, 0, 0, 0, 1, 0});
  finishFirst(logisticLinkId, {y});
  EXPECT_EQ(firstPrediction(0.5), 0);
  EXPECT_DOUBLE_EQ(firstPrediction(eInOnePlusE), 0.5);
  EXPECT_DOUBLE_EQ(firstPrediction(oneInOnePlusE), -0.5);
  const double most = std::log(999.0) / 2;
  for (const double r : {0.999, 0.9995, 1.0, 7.0, infinite}) EXPECT_NEAR(firstPrediction(r), most, 1e-12) << r;
  for (const double r : {0.001, 0.0, -0.2, -infinite}) EXPECT_NEAR(firstPrediction(r), -most, 1e-12) << r;
  EXPECT_TRUE(std::isnan(firstPrediction(notANumber)));
  EXPECT_DOUBLE_EQ(first->applyLink(eInOnePlusE), 0.5);
}

TEST_F(QUVENLossesTest, TheLogisticLinkOfClassesMinus1And1) {
  learnTarget({-1, 1, 1, -1, -1, 1, 1});
  finishFirst(logisticLinkId, {y});
  EXPECT_EQ(firstPrediction(0), 0);
  EXPECT_DOUBLE_EQ(firstPrediction(2 * eInOnePlusE - 1), 0.5);
  EXPECT_NEAR(firstPrediction(-1), -std::log(999.0) / 2, 1e-12);
  EXPECT_NEAR(firstPrediction(1), std::log(999.0) / 2, 1e-12);
}

TEST_F(QUVENLossesTest, ThePoissonLinkIsTheLogarithmDownToAHundredthOfTheMean) {
  learnTarget({10, 50, 30, 110});  // the mean is 50
  finishFirst(poissonLinkId, {y});
  EXPECT_EQ(firstPrediction(1), 0);
  EXPECT_DOUBLE_EQ(firstPrediction(euler), 1);
  for (const double r : {0.5, 0.3, 0.0, -20.0, -infinite}) EXPECT_DOUBLE_EQ(firstPrediction(r), std::log(0.5)) << r;
  EXPECT_TRUE(std::isnan(firstPrediction(notANumber)));
}

TEST_F(QUVENLossesTest, ThePoissonLinkOfNoPositiveMeanHasAFloorToo) {
  finishFirst(poissonLinkId, {y});  // no distribution
  EXPECT_DOUBLE_EQ(firstPrediction(0), std::log(1e-10));
  for (const std::vector<double>& values : {std::vector<double>{0, 0, 0}, {-1, 0}, {}}) {
    learnTarget(values);
    finishFirst(poissonLinkId, {y});
    EXPECT_DOUBLE_EQ(firstPrediction(-1), std::log(1e-10));
    EXPECT_EQ(firstPrediction(1), 0);
  }
}

TEST_F(QUVENLossesTest, EachTargetHasItsFloor) {
  learnTarget({10, 50, 30, 110});
  finishFirst(poissonLinkId, {y2, y});
  EXPECT_DOUBLE_EQ(first->applyLinkOf(1, 0), std::log(1e-10));
  EXPECT_DOUBLE_EQ(first->applyLinkOf(2, 0), std::log(0.5));
  expectFailure([&] { first->applyLinkOf(3, 0); }, "1 <= index && index <= this->getSize()");
}

TEST_F(QUVENLossesTest, LaterStagesHaveNoLink) {
  learnTarget({1, 2});
  for (const std::int32_t id : {logisticLinkId, poissonLinkId}) {
    fitSecond(id);
    EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
    finishSearch();
    setRecord(1, -3, 2);
    second->updatePredictionsAll(QUVEN_ENV);
    EXPECT_THAT(channelValues(*second->getCurrentPredictedValues()[1]), Each(-1));
  }
}

// Losses of reports

TEST_F(QUVENLossesTest, ReportedLossesWorkedByHand) {
  const auto lossOf = [&](std::int32_t id, double target, double f) {
    auto loss = makeLoss(id);
    const double value = loss->getReportedLoss(target, f);
    loss.reset(QUVEN_ENV);
    return value;
  };
  EXPECT_EQ(lossOf(squaredId, 3, 1), 4);
  for (const std::int32_t id : {logisticId, logisticLinkId}) {
    EXPECT_DOUBLE_EQ(lossOf(id, 1, 0), std::log(2.0));
    EXPECT_DOUBLE_EQ(lossOf(id, 0, 0.5), std::log(1 + euler));      // class -1
    EXPECT_DOUBLE_EQ(lossOf(id, 1, 0.5), std::log(1 + euler) - 1);  // log(1 + 1/e)
    EXPECT_EQ(lossOf(id, 0, 500), 1000);                            // exp(1000) is infinity
    EXPECT_EQ(lossOf(id, 1, 500), 0);
    EXPECT_NEAR(lossOf(id, 1, 20), std::exp(-40.0), 1e-30);
  }
  for (const std::int32_t id : {poissonId, poissonLinkId}) {
    EXPECT_DOUBLE_EQ(lossOf(id, 3, 1), euler - 3);
    EXPECT_EQ(lossOf(id, 0, 0), 1);
  }
  EXPECT_EQ(lossOf(supportVectorId, 1, 0.25), 0.75);
  EXPECT_EQ(lossOf(supportVectorId, 1, 1.5), 0);
  EXPECT_EQ(lossOf(supportVectorId, 0, 0.25), 1.25);
  EXPECT_EQ(lossOf(supportVectorId, -1, -2), 0);
  for (const std::int32_t id : {squaredId, logisticId, poissonId, supportVectorId}) {
    EXPECT_TRUE(std::isnan(lossOf(id, 1, notANumber))) << id;
  }
}

}  // namespace
