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
  const QUVENModelLosses& losses;
  long passes = 0;  ///< that the stage took
};

/// One row a stage.
void writeStages(const TrainingReport& report, std::ostream& out);
/// One row a final segment.
void writeSegments(const TrainingReport& report, std::ostream& out);
/// The report for people.
void writeReport(const TrainingReport& report, std::ostream& out);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TRAINING_REPORT_H
