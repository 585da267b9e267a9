#ifndef VESK_ANALYZE_MODEL_DESCRIPTION_H
#define VESK_ANALYZE_MODEL_DESCRIPTION_H

// What the reports say of a trained model, free of the classes of models.

#include <limits>
#include <string>
#include <vector>

#include "kernel/quven_field.h"
#include "kernel/quven_model_scores.h"

namespace vesk_analyze {

/// An input of a linear model with its coefficient.
struct ModelTerm {
  std::string field;
  double coefficient = 0;
};

/// A linear model of a part of the records: that of channel 1.
struct DescribedSegment {
  enum class Kind { All, Interval, Categories, Missing };

  Kind kind = Kind::All;
  double from = -std::numeric_limits<double>::infinity();  ///< of an interval from < x <= to
  double to = std::numeric_limits<double>::infinity();
  std::vector<std::string> categories;  ///< labels; the default group is "*"
  double points = 0;                    ///< records in the train data
  double intercept = 0;
  double stdDev = 0;
  std::vector<ModelTerm> terms;
};

/// The segments of one field, or a linear model.
struct DescribedTransform {
  std::string place = "1";  ///< in the model: a number, or "output"
  std::string field;        ///< empty for a linear model
  bool isNumeric = true;
  long initialSegments = 0;  ///< before merging; 0 when it is not known
  std::vector<DescribedSegment> segments;
};

/// What is known of a stage when it has been trained, before stages are dropped.
struct TrainedStage {
  long rank = 0;    ///< inputs of the regression, or final segments
  long passes = 0;  ///< over the records, that the stage took
  bool hasNoSignal = false;
  QUVENScoreTriple score;
  // Step sizes by channel, from channel 1; none for a model without stages.
  std::vector<double> alphas;
  std::vector<double> outputAlphas;  ///< of the output transform, none without one
};

/// The stages of a training, noted while they are trained.
struct StageHistory {
  std::vector<TrainedStage> stages;
  long passesDone = 0;  ///< passes of the model that have ended

  /// Notes a stage in the pass that ends it.
  void add(TrainedStage stage) {
    stage.passes = passesDone + 1;
    for (const TrainedStage& earlier : stages) stage.passes -= earlier.passes;
    stages.push_back(std::move(stage));
  }
};

struct DescribedStage : TrainedStage {
  bool isKept = true;
  bool isOutput = false;                       ///< the output transform has taken the place of the stage
  std::vector<DescribedTransform> transforms;  ///< of a stage that is kept
};

/// A term of a prediction: a factor times a field, on channel 1.
struct PredictionTerm {
  long stage = 1;
  std::string input;  ///< the column that the term is of; empty: the outputs of earlier stages
  QUVENField* field = nullptr;
  double factor = 1;
};

/// How much a column carries of the predictions of a model.
struct InputImportance {
  std::string input;  ///< empty: the outputs of earlier stages
  /// The variance of the terms of the input, as a share of the sum over all; NaN when the prediction is no sum of
  /// terms.
  double share = std::numeric_limits<double>::quiet_NaN();
  long stagesUsed = 0;  ///< stages that are kept and use it
};

/// Kind as the segment file has it: "all", "interval", "categories", "missing".
const char* nameOf(DescribedSegment::Kind kind);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_MODEL_DESCRIPTION_H
