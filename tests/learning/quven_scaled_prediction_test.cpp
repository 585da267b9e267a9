#include "learning/quven_scaled_prediction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kernel/quven_num_field.h"
#include "learning/quven_general_loss.h"
#include "util/quven_env_aux.h"

namespace {

TEST(QUVENScaledPrediction, IsOnTheScaleOfTheTarget) {
  const auto valueOf = [](const char* loss, double prediction) {
    return QUVENScaledPrediction::valueOf(QUVENGeneralLoss::idOf(loss), prediction);
  };
  for (const char* loss : {"Squared", "SupportVector"}) EXPECT_EQ(valueOf(loss, -1.25), -1.25);
  for (const char* loss : {"Logistic", "LogisticLink"}) {
    EXPECT_EQ(valueOf(loss, 0), 0.5);
    EXPECT_DOUBLE_EQ(valueOf(loss, 0.5), 0.73105857863000487);  // 1 / (1 + 1/e)
    EXPECT_EQ(valueOf(loss, -1e300), 0);
    EXPECT_EQ(valueOf(loss, 1e300), 1);
  }
  for (const char* loss : {"Poisson", "PoissonLink"}) EXPECT_EQ(valueOf(loss, 2), std::exp(2.0));
}

TEST(QUVENScaledPrediction, SetsItsFieldForARecord) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  {
    auto prediction = quvenMake<QUVENNumField>(QUVEN_ENV);
    auto scaled = quvenMake<QUVENNumField>(QUVEN_ENV);
    scaled->setComputed(true);
    auto scan = quvenMake<QUVENScaledPrediction>(QUVEN_ENV);
    scan->setFields(prediction.get(), scaled.get(), QUVENGeneralLoss::idOf("Poisson"));
    prediction->setNumValue(1.5);
    scan->scale(QUVEN_ENV);
    EXPECT_EQ(scaled->getNumValue(QUVEN_ENV), std::exp(1.5));
    prediction->setNumValue(1000);
    scan->scale(QUVEN_ENV);
    EXPECT_TRUE(std::isnan(scaled->getNumValue(QUVEN_ENV)));
    EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 0);  // it needs no pass
    EXPECT_FALSE(scan->wantsRecords());
    scan.reset(QUVEN_ENV);
    scaled.reset(QUVEN_ENV);
    prediction.reset(QUVEN_ENV);
  }
  environment.getAux().deleteMemory(QUVEN_ENV);
}

}  // namespace
