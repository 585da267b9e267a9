#ifndef VESK_ANALYZE_MODEL_KIND_H
#define VESK_ANALYZE_MODEL_KIND_H

#include <string>
#include <vector>

#include "control/quven_table_labels.h"
#include "kernel/quven_model_outputs.h"
#include "learning/quven_feature_transform.h"
#include "model_description.h"
#include "training_fields.h"
#include "training_parameters.h"

namespace vesk_analyze {

/// A stage that may be the last of a model: its own learner, or the output transform that is its rival.
struct StageCandidate {
  long stage = 1;
  bool isOutput = false;
  QUVENField* prediction = nullptr;  ///< of the model that ends here
};

/// What only a model of stages has.
struct StagedModel {
  /// Notes each stage in the history, which outlives the training. choosesLater: all stages are kept when the training
  /// has stopped, until `keep`.
  void (*observe)(QUVENModel& model, StageHistory& history, bool choosesLater, const QUVENEnvHandle& env);
  /// In order of preference. Requires: the model chooses later, and its training has stopped.
  std::vector<StageCandidate> (*candidates)(const QUVENModel& model);
  void (*keep)(QUVENModel& model, const StageCandidate& candidate, const QUVENEnvHandle& env);
  /// The prediction after each stage that is kept.
  std::vector<QUVENField*> (*predictions)(const QUVENModel& model);
  /// The history that a trained model itself can give, for example after it is read from a file: ranks and step sizes.
  StageHistory (*recall)(const QUVENModel& model);
  /// Why the training stopped, and what was kept: a sentence for people.
  std::string (*outcome)(const QUVENModel& model);
};

/// A kind of model that `train` can make: all that the program knows of its class.
struct ModelKind {
  const char* name;  ///< in the parameter file
  bool hasSplitField;
  bool learnsCategories;      ///< every categorical column is an input
  const StagedModel* staged;  ///< null for a model without stages, whose loss is squared
  /// Makes an untrained model in the mining mode of the run. Its fields go into the name map.
  QUVENOwnPtr<QUVENModel> (*make)(const TrainingParameters& parameters, const TrainingFields& fields,
                                  QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  /// Makes Predicted_ and StdDev_ of the target. Requires: a trained model.
  void (*addOutputs)(QUVENModel& model, QUVENModelOutputs& outputs, QUVENFieldNameMap& names,
                     const QUVENEnvHandle& env);
  /// Drops what scoring does not need.
  void (*releaseStatistics)(QUVENModel& model, const QUVENEnvHandle& env);
  /// Adds what the model says of itself to the results of the run.
  void (*addResults)(const QUVENModel& model, QUVENXMLTag& results, const QUVENEnvHandle& env);
  /// The stages, those that were dropped too. A model without stages has one.
  std::vector<DescribedStage> (*describe)(const QUVENModel& model, const StageHistory& history,
                                          const QUVENTableLabels& labels, const QUVENEnvHandle& env);
  /// The transforms of columns that make up the first stage, or the whole model; null for a model without transforms.
  std::vector<const QUVENFeatureTransform*> (*firstTransforms)(const QUVENModel& model);
  /// The terms of the prediction; null when it is not a sum of terms.
  std::vector<PredictionTerm> (*terms)(const QUVENModel& model, const QUVENEnvHandle& env);
};

/// Requires: a name that the table of parameters accepts.
const ModelKind& findModelKind(const std::string& name);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_MODEL_KIND_H
