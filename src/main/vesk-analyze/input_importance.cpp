#include "input_importance.h"

#include <algorithm>
#include <set>

namespace vesk_analyze {

namespace {

bool uses(const DescribedTransform& transform, const std::string& column) {
  const auto hasTerm = [&](const DescribedSegment& segment) {
    return std::any_of(segment.terms.begin(), segment.terms.end(),
                       [&](const ModelTerm& term) { return term.field == column; });
  };
  return transform.field == column || std::any_of(transform.segments.begin(), transform.segments.end(), hasTerm);
}

long countStages(const std::vector<DescribedStage>& stages, const std::string& column) {
  return std::count_if(stages.begin(), stages.end(), [&](const DescribedStage& stage) {
    return std::any_of(stage.transforms.begin(), stage.transforms.end(),
                       [&](const DescribedTransform& transform) { return uses(transform, column); });
  });
}

}  // namespace

std::vector<InputImportance> findImportances(const TrainingFields& fields, const std::vector<PredictionTerm>& terms,
                                             const QUVENTermVariances* variances,
                                             const std::vector<DescribedStage>& stages, bool hasStages) {
  std::vector<InputImportance> all;
  for (const QUVENField* field : fields.inputs) all.push_back({.input = field->getName().str()});
  if (hasStages) all.push_back({});
  if (variances == nullptr) {
    for (InputImportance& row : all) row.stagesUsed = countStages(stages, row.input);
    return all;
  }
  double total = 0;
  for (long t = 1; t <= variances->getNumTerms(); ++t) total += variances->getVariance(t);
  for (InputImportance& row : all) {
    double sum = 0;
    std::set<long> used;
    for (std::size_t t = 0; t < terms.size(); ++t) {
      if (terms[t].input != row.input) continue;
      sum += variances->getVariance(static_cast<long>(t) + 1);
      used.insert(terms[t].stage);
    }
    row.share = total > 0 ? sum / total : 0;
    row.stagesUsed = static_cast<long>(used.size());
  }
  return all;
}

}  // namespace vesk_analyze
