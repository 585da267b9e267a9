#include "prediction_scale.h"

#include <cmath>

#include "learning/quven_general_loss.h"
#include "loss_words.h"

namespace vesk_analyze {

PredictionScale::PredictionScale(const std::string& loss) : lossId(QUVENGeneralLoss::idOf(loss)) {}

double PredictionScale::predictionOf(double value) const {
  if (std::isnan(value)) return value;
  if (isPoisson(lossId)) return std::exp(value);
  if (isOfTwoClasses(lossId)) return value > 0 ? 1 : 0;
  return value;
}

bool PredictionScale::hasProbability() const { return isLogistic(lossId); }

double PredictionScale::probabilityOf(double value) const { return 1 / (1 + std::exp(-2 * value)); }

}  // namespace vesk_analyze
