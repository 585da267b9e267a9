#ifndef QUVEN_TRAINING_MODE_H
#define QUVEN_TRAINING_MODE_H

#include "kernel/quven_model.h"
#include "util/quven_debug.h"

/// The mining mode that chooses by the held-out records.
inline constexpr std::int32_t quvenModeOfHeldOut = 8;

/// Lets modes 1 and 8 pass. Errors: another mode from 1 to 10 is "Function/Feature not yet implemented", any other
/// number the fatal report of the given text.
inline void quvenRequireTrainingMode(std::int32_t mode, const char* text, const QUVENEnvHandle& env) {
  constexpr std::int32_t lastMode = 10;
  if (mode == QUVENModel::BestModelTrainDataOnly || mode == quvenModeOfHeldOut) return;
  if (mode < 1 || mode > lastMode) quvenFatalReport(text, QUVEN_ENV);
  quvenNotImplemented(QUVEN_ENV);
}
inline void quvenRequireMiningMode(std::int32_t mode, const QUVENEnvHandle& env) {
  quvenRequireTrainingMode(mode, "Invalid mining mode", QUVEN_ENV);
}

#endif  // QUVEN_TRAINING_MODE_H
