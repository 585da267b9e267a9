#ifndef VESK_ANALYZE_PREDICTION_SCALE_H
#define VESK_ANALYZE_PREDICTION_SCALE_H

#include <cstdint>
#include <string>

namespace vesk_analyze {

/// How predictions F of a model with a loss function read on the scale of the target.
class PredictionScale {
 public:
  /// Of the name of a loss function, as the parameter file and the model file have it.
  explicit PredictionScale(const std::string& loss);

  /// F of a squared loss, exp(F) of a Poisson loss; 1 if F > 0, else 0, of a logistic or a support vector loss. NaN
  /// stays NaN.
  double predictionOf(double value) const;
  bool hasProbability() const;
  /// That of the class that is not 0 or -1: 1 / (1 + exp(-2 F)). Requires: hasProbability.
  double probabilityOf(double value) const;

 private:
  std::int32_t lossId;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PREDICTION_SCALE_H
