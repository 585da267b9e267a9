#ifndef VESK_ANALYZE_MODEL_DESCRIPTION_H
#define VESK_ANALYZE_MODEL_DESCRIPTION_H

// What the reports say of a trained model, free of the classes of models.

#include <limits>
#include <string>
#include <vector>

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

/// The segments of one field.
struct DescribedTransform {
  std::string field;  ///< empty for a model without segments
  bool isNumeric = true;
  long initialSegments = 0;  ///< before merging
  std::vector<DescribedSegment> segments;
};

struct DescribedStage {
  long rank = 0;  ///< inputs of the regression, or final segments
  bool hasNoSignal = false;
  QUVENScoreTriple score;
  std::vector<DescribedTransform> transforms;
};

/// Kind as the segment file has it: "all", "interval", "categories", "missing".
const char* nameOf(DescribedSegment::Kind kind);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_MODEL_DESCRIPTION_H
