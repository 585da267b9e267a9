#ifndef VESK_ANALYZE_RECORD_REASONS_H
#define VESK_ANALYZE_RECORD_REASONS_H

#include <vector>

#include "passes/quven_pass_driver.h"

namespace vesk_analyze {

/// An input whose replacement by a missing value moves the prediction of a record.
struct Reason {
  const QUVENField* input;
  double move;  ///< the prediction minus the one without the input, on channel 1
};

/// Finds the reasons of predictions, while the driver writes rows.
///
/// One input at a time is missing, so inputs that say the same hide each other: this tells what the model reads, not
/// what causes the target. A record is scored once for each of its values.
/// Lifetime: driver and fields are borrowed.
class RecordReasons {
 public:
  RecordReasons(QUVENPassDriver& passDriver, std::vector<QUVENField*> inputFields, const QUVENField& predictionField)
      : driver(passDriver), inputs(std::move(inputFields)), prediction(predictionField) {}

  /// The reasons with the largest moves, at most so many, the largest first; of equal ones the earlier input is first.
  /// An input that is missing, or moves nothing, is none. The record is as it was when the call returns.
  std::vector<Reason> find(std::size_t most, const QUVENEnvHandle& env);

 private:
  QUVENPassDriver& driver;
  std::vector<QUVENField*> inputs;
  const QUVENField& prediction;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RECORD_REASONS_H
