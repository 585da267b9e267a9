#include "learning/quven_scaled_prediction.h"

#include <cmath>
#include <limits>

#include "kernel/quven_field_name_map.h"
#include "learning/quven_general_loss.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENScaledPrediction);

namespace {

bool isLogistic(std::int32_t lossId) {
  static const std::int32_t logistic = QUVENGeneralLoss::idOf("Logistic");
  static const std::int32_t logisticLink = QUVENGeneralLoss::idOf("LogisticLink");
  return lossId == logistic || lossId == logisticLink;
}

}  // namespace

double QUVENScaledPrediction::valueOf(std::int32_t lossId, double prediction) {
  static const std::int32_t poisson = QUVENGeneralLoss::idOf("Poisson");
  static const std::int32_t poissonLink = QUVENGeneralLoss::idOf("PoissonLink");
  if (isLogistic(lossId)) return 1 / (1 + std::exp(-2 * prediction));
  if (lossId == poisson || lossId == poissonLink) return std::exp(prediction);
  return prediction;
}

double QUVENScaledPrediction::actualOf(std::int32_t lossId, double target) {
  constexpr double otherClass = -1;
  return target == otherClass && isLogistic(lossId) ? 0 : target;
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
