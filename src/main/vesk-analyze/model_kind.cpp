#include "model_kind.h"

#include <algorithm>
#include <stdexcept>

#include "learning/quven_lin_reg_model.h"

namespace vesk_analyze {

namespace {

constexpr long FinalChannel = 1;

/// The target, the weights and the supplementary columns, which every kind of model has.
void addCommonInputs(QUVENModel& model, const TrainingFields& fields, const QUVENEnvHandle& env) {
  for (QUVENField* field : fields.supplementary) model.addInput(field, QUVENUsageSupplementary, QUVEN_ENV);
  model.addInput(fields.target, QUVENUsageTarget, QUVEN_ENV);
  if (fields.caseWeight != nullptr) model.addInput(fields.caseWeight, QUVENUsageCaseWeight, QUVEN_ENV);
  if (fields.inverseVarianceWeight != nullptr) {
    model.addInput(fields.inverseVarianceWeight, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  }
}

void describeLinear(const QUVENLinRegModel& model, DescribedSegment& segment) {
  const QUVENLSModel& selected = *model.getSelectedModel(FinalChannel);
  segment.points = model.getTrnChannels()[FinalChannel].getNumDataPoints();
  segment.intercept = selected.getIntercept();
  segment.stdDev = selected.getModelStdDev();
  for (long i = 1; i <= model.getInputFields().getSize(); ++i) {
    segment.terms.push_back({model.getInputFields()[i]->getName().str(), selected.getCoefficientAt(i)});
  }
}

/// Triple 1 of the only candidate; in mode 8 triple 2 if it has a point.
QUVENScoreTriple scoreOf(const QUVENModel& model, const QUVENEnvHandle& env) {
  QUVENXaRay<QUVENModelScores> scores;
  model.getModelScoresVector(scores, QUVEN_ENV);
  const QUVENModelScores candidate = scores.at(1);
  scores.deleteMemory(QUVEN_ENV);
  const QUVENScoreTriple& heldOut = candidate[QUVENModelScores::HeldOut];
  const bool takesHeldOut = model.getMiningMode(QUVEN_ENV) == 8 && heldOut.ivPts > 0;
  return takesHeldOut ? heldOut : candidate[QUVENModelScores::Evaluation];
}

// LinearRegression

const QUVENLinRegModel& linear(const QUVENModel& model) { return static_cast<const QUVENLinRegModel&>(model); }
QUVENLinRegModel& linear(QUVENModel& model) { return static_cast<QUVENLinRegModel&>(model); }

QUVENOwnPtr<QUVENModel> makeLinear(const TrainingParameters& parameters, const TrainingFields& fields,
                                   const QUVENEnvHandle& env) {
  auto model = quvenMake<QUVENLinRegModel>(QUVEN_ENV);
  for (QUVENField* field : fields.inputs) {
    if (field->isNumeric()) model->addInput(field, QUVENUsageExplanatory, QUVEN_ENV);
  }
  addCommonInputs(*model, fields, QUVEN_ENV);
  model->setMiningMode(parameters.miningMode, nullptr, QUVEN_ENV);
  return model;
}

void addLinearOutputs(QUVENModel& model, QUVENModelOutputs& outputs, QUVENFieldNameMap& names,
                      const QUVENEnvHandle& env) {
  linear(model).getOutputs(outputs, "", names, QUVEN_ENV);
}

void releaseLinear(QUVENModel& model, const QUVENEnvHandle& env) { linear(model).releaseStatistics(QUVEN_ENV); }

std::vector<DescribedStage> describeLinearStage(const QUVENModel& model, const QUVENTableLabels&,
                                                const QUVENEnvHandle& env) {
  DescribedStage stage;
  stage.rank = linear(model).getInputFields().getSize();
  stage.hasNoSignal = model.hasNoSignal(QUVEN_ENV);
  stage.score = scoreOf(model, QUVEN_ENV);
  describeLinear(linear(model), stage.transforms.emplace_back().segments.emplace_back());
  return {stage};
}

constexpr ModelKind kinds[] = {
    {"LinearRegression", false, makeLinear, addLinearOutputs, releaseLinear, describeLinearStage},
};

}  // namespace

const char* nameOf(DescribedSegment::Kind kind) {
  switch (kind) {
    case DescribedSegment::Kind::All:
      return "all";
    case DescribedSegment::Kind::Interval:
      return "interval";
    case DescribedSegment::Kind::Categories:
      return "categories";
    case DescribedSegment::Kind::Missing:
      return "missing";
  }
  throw std::logic_error("no kind of segment");
}

const ModelKind& findModelKind(const std::string& name) {
  const auto found =
      std::find_if(std::begin(kinds), std::end(kinds), [&](const ModelKind& kind) { return name == kind.name; });
  if (found == std::end(kinds)) throw std::logic_error("no model kind " + name);
  return *found;
}

}  // namespace vesk_analyze
