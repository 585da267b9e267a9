#ifndef VESK_ANALYZE_INPUT_IMPORTANCE_H
#define VESK_ANALYZE_INPUT_IMPORTANCE_H

#include <vector>

#include "learning/quven_term_variances.h"
#include "model_description.h"
#include "training_fields.h"

namespace vesk_analyze {

/// The importance of each input, in the order of the columns, and, of a model with stages, of the outputs of earlier
/// stages behind them.
///
/// variances: those of the terms, in their order; null when the prediction is no sum of terms.
std::vector<InputImportance> findImportances(const TrainingFields& fields, const std::vector<PredictionTerm>& terms,
                                             const QUVENTermVariances* variances,
                                             const std::vector<DescribedStage>& stages, bool hasStages);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_INPUT_IMPORTANCE_H
