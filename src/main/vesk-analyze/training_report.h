#ifndef VESK_ANALYZE_TRAINING_REPORT_H
#define VESK_ANALYZE_TRAINING_REPORT_H

#include <iosfwd>
#include <string>
#include <vector>

#include "control/quven_table_labels.h"
#include "learning/quven_model_losses.h"
#include "model_description.h"
#include "training_fields.h"
#include "training_parameters.h"

namespace vesk_analyze {

/// What the report files of a training say. Everything is borrowed.
struct TrainingReport {
  const TrainingParameters& parameters;
  const TrainingFields& fields;
  const std::string& dataset;
  const QUVENTableLabels& labels;
  const std::vector<DescribedStage>& stages;
  const QUVENModelLosses& losses;  ///< stage by stage of those that are kept
  std::int32_t lossId = 1;
  const std::vector<InputImportance>& importances;  ///< the inputs in their order, then the outputs of earlier stages
  const std::vector<TrainingWarning>& warnings;
  std::string outcome;  ///< empty for a model without stages

  bool hasStages() const { return !outcome.empty(); }
};

/// A loss as a number, the word nan when a prediction is no number; empty without a record.
std::string lossText(const QUVENModelLosses& losses, QUVENModelLosses::Kind kind, long stage);
/// One row a stage.
void writeStages(const TrainingReport& report, std::ostream& out);
/// One row a final segment.
void writeSegments(const TrainingReport& report, std::ostream& out);
/// One row an input, and one for the outputs of earlier stages if there are any.
void writeFields(const TrainingReport& report, std::ostream& out);
/// The report for people.
void writeReport(const TrainingReport& report, std::ostream& out);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TRAINING_REPORT_H
