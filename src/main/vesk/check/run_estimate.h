#ifndef VESK_CHECK_RUN_ESTIMATE_H
#define VESK_CHECK_RUN_ESTIMATE_H

#include <cstdint>

#include "check/input_sample.h"
#include "loader_settings.h"  // of vesk-loader

namespace vesk {

/// From what a sample shows of one thing to the whole input: at least and at most.
struct Estimate {
  double low = 0.0;
  double high = 0.0;
};

/// What a run over the whole input would take, without what the state holds already.
struct RunEstimate {
  double lines = 0.0;
  double lineBytes = 0.0;  ///< with the line end
  Estimate callers;
  double callerBytes = 0.0;      ///< memory of one caller with its mean entries
  double fullCallerBytes = 0.0;  ///< table run: of one with a full table
  Estimate memory;               ///< bytes of the loader, of one partition
  Estimate state;                ///< bytes of the process files
  Estimate dataset;              ///< bytes of the binary files
  double seconds = 0.0;
};

/// Requires: a sample with an accepted line.
RunEstimate estimateRun(const vesk_loader::LoaderSettings& settings, const InputSample& sample);

}  // namespace vesk

#endif  // VESK_CHECK_RUN_ESTIMATE_H
