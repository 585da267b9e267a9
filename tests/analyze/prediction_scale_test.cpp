#include "prediction_scale.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "loss_words.h"

namespace vesk_analyze {
namespace {

TEST(PredictionScale, IsThatOfTheTarget) {
  for (const char* loss : {"Squared", "", "anything"}) {
    EXPECT_EQ(PredictionScale(loss).predictionOf(-2.5), -2.5);
    EXPECT_FALSE(PredictionScale(loss).hasProbability());
  }
  for (const char* loss : {"Poisson", "PoissonLink"}) {
    EXPECT_EQ(PredictionScale(loss).predictionOf(0.5), std::exp(0.5));
    EXPECT_EQ(PredictionScale(loss).predictionOf(1000), std::numeric_limits<double>::infinity());
    EXPECT_FALSE(PredictionScale(loss).hasProbability());
  }
  for (const char* loss : {"Logistic", "LogisticLink", "SupportVector"}) {
    EXPECT_EQ(PredictionScale(loss).predictionOf(0.1), 1);
    EXPECT_EQ(PredictionScale(loss).predictionOf(0), 0);
    EXPECT_EQ(PredictionScale(loss).predictionOf(-0.1), 0);
  }
  for (const char* loss : {"Squared", "Logistic", "Poisson", "SupportVector"}) {
    EXPECT_TRUE(std::isnan(PredictionScale(loss).predictionOf(std::numeric_limits<double>::quiet_NaN()))) << loss;
  }
}

TEST(PredictionScale, OfALogisticLossHasAProbability) {
  for (const char* loss : {"Logistic", "LogisticLink"}) {
    const PredictionScale scale(loss);
    ASSERT_TRUE(scale.hasProbability());
    EXPECT_EQ(scale.probabilityOf(0), 0.5);
    EXPECT_NEAR(scale.probabilityOf(0.5 * std::log(3.0)), 0.75, 1e-15);
    EXPECT_EQ(scale.probabilityOf(1000), 1);
    EXPECT_EQ(scale.probabilityOf(-1000), 0);
  }
  EXPECT_FALSE(PredictionScale("SupportVector").hasProbability());
}

TEST(LossWords, KnowTheNames) {
  for (const char* name : {"", "Squared", "Logistic", "Poisson", "SupportVector", "LogisticLink", "PoissonLink"}) {
    EXPECT_TRUE(isLossName(name)) << name;
  }
  for (const char* name : {"squared", "logistic", "Hinge", " "}) EXPECT_FALSE(isLossName(name)) << name;
  const char* titles[] = {"Mean squared error", "Mean logistic loss", "Mean Poisson loss",
                          "Mean hinge loss",    "Mean logistic loss", "Mean Poisson loss"};
  for (std::int32_t id = 1; id <= 6; ++id) EXPECT_STREQ(lossTitle(id), titles[id - 1]);
}

}  // namespace
}  // namespace vesk_analyze
