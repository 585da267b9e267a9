#ifndef VESK_ANALYZE_MODEL_KIND_H
#define VESK_ANALYZE_MODEL_KIND_H

#include <string>
#include <vector>

#include "control/quven_table_labels.h"
#include "kernel/quven_model_outputs.h"
#include "model_description.h"
#include "training_fields.h"
#include "training_parameters.h"

namespace vesk_analyze {

/// A kind of model that `train` can make: all that the program knows of its class.
struct ModelKind {
  const char* name;  ///< in the parameter file
  bool hasSplitField;
  /// Makes an untrained model in the mining mode of the run.
  QUVENOwnPtr<QUVENModel> (*make)(const TrainingParameters& parameters, const TrainingFields& fields,
                                  const QUVENEnvHandle& env);
  /// Makes Predicted_ and StdDev_ of the target.
  void (*addOutputs)(QUVENModel& model, QUVENModelOutputs& outputs, QUVENFieldNameMap& names,
                     const QUVENEnvHandle& env);
  /// Drops what scoring does not need.
  void (*releaseStatistics)(QUVENModel& model, const QUVENEnvHandle& env);
  /// Adds what the model says of itself to the results of the run.
  void (*addResults)(const QUVENModel& model, QUVENXMLTag& results, const QUVENEnvHandle& env);
  std::vector<DescribedStage> (*describe)(const QUVENModel& model, const QUVENTableLabels& labels,
                                          const QUVENEnvHandle& env);
};

/// Requires: a name that the table of parameters accepts.
const ModelKind& findModelKind(const std::string& name);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_MODEL_KIND_H
