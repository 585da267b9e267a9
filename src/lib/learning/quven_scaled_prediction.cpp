#include "learning/quven_scaled_prediction.h"

#include <cmath>
#include <limits>

#include "kernel/quven_field_name_map.h"
#include "learning/quven_general_loss.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENScaledPrediction);

double QUVENScaledPrediction::valueOf(std::int32_t lossId, double prediction) {
  static const std::int32_t logistic = QUVENGeneralLoss::idOf("Logistic");
  static const std::int32_t logisticLink = QUVENGeneralLoss::idOf("LogisticLink");
  static const std::int32_t poisson = QUVENGeneralLoss::idOf("Poisson");
  static const std::int32_t poissonLink = QUVENGeneralLoss::idOf("PoissonLink");
  if (lossId == logistic || lossId == logisticLink) return 1 / (1 + std::exp(-2 * prediction));
  if (lossId == poisson || lossId == poissonLink) return std::exp(prediction);
  return prediction;
}

void QUVENScaledPrediction::setFields(QUVENField* prediction, QUVENField* scaled, std::int32_t lossId) {
  ivPredictionFieldPtr = prediction;
  ivScaledFieldPtr = scaled;
  ivLossId = lossId;
}

void QUVENScaledPrediction::scale(const QUVENEnvHandle&) {
  constexpr long finalChannel = 1;
  const double value = valueOf(ivLossId, ivPredictionFieldPtr->getNumValueOrSingle(finalChannel));
  ivScaledFieldPtr->setNumValue(std::isfinite(value) ? value : std::numeric_limits<double>::quiet_NaN());
}
