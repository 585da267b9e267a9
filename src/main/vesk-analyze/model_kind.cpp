#include "model_kind.h"

#include <algorithm>
#include <stdexcept>

#include "model_parts.h"

namespace vesk_analyze {

namespace {

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
                                   QUVENFieldNameMap&, const QUVENEnvHandle& env) {
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

void addLinearResults(const QUVENModel& model, QUVENXMLTag& results, const QUVENEnvHandle& env) {
  linear(model).writeResultsToTag(results, QUVEN_ENV);
}

std::vector<DescribedStage> describeLinearStage(const QUVENModel& model, const StageHistory&, const QUVENTableLabels&,
                                                const QUVENEnvHandle& env) {
  DescribedStage stage;
  stage.rank = linear(model).getInputFields().getSize();
  stage.hasNoSignal = model.hasNoSignal(QUVEN_ENV);
  stage.score = scoreOf(model, QUVEN_ENV);
  describeLinear(linear(model), stage.transforms.emplace_back().segments.emplace_back());
  return {stage};
}

std::vector<PredictionTerm> linearTerms(const QUVENModel& model, const QUVENEnvHandle&) {
  constexpr long finalChannel = 1;
  std::vector<PredictionTerm> terms;
  for (long i = 1; i <= linear(model).getInputFields().getSize(); ++i) {
    QUVENField* field = linear(model).getInputFields()[i];
    const double coefficient = linear(model).getSelectedModel(finalChannel)->getCoefficientAt(i);
    terms.push_back({.input = field->getName().str(), .field = field, .factor = coefficient});
  }
  return terms;
}

// FeatureTransform

const QUVENFeatureTransform& transformOf(const QUVENModel& model) {
  return static_cast<const QUVENFeatureTransform&>(model);
}

QUVENOwnPtr<QUVENModel> makeTransform(const TrainingParameters& parameters, const TrainingFields& fields,
                                      QUVENFieldNameMap&, const QUVENEnvHandle& env) {
  auto model = quvenMake<QUVENFeatureTransform>(QUVEN_ENV);
  model->setSplitField(fields.split);
  model->addInput(fields.split, QUVENUsageExplanatory, QUVEN_ENV);
  for (QUVENField* field : fields.inputs) {
    if (field != fields.split && field->isNumeric()) model->addInput(field, QUVENUsageCarried, QUVEN_ENV);
  }
  addCommonInputs(*model, fields, QUVEN_ENV);
  model->setMiningMode(parameters.miningMode, nullptr, QUVEN_ENV);
  return model;
}

void addTransformOutputs(QUVENModel& model, QUVENModelOutputs& outputs, QUVENFieldNameMap& names,
                         const QUVENEnvHandle& env) {
  static_cast<QUVENFeatureTransform&>(model).getOutputs(outputs, "", names, QUVEN_ENV);
}

void addNoResults(const QUVENModel&, QUVENXMLTag&, const QUVENEnvHandle&) {}  // its reports say it all

void releaseNothing(QUVENModel&, const QUVENEnvHandle&) {}  // a transform does so when its training ends

std::vector<DescribedStage> describeTransformStage(const QUVENModel& model, const StageHistory&,
                                                   const QUVENTableLabels& labels, const QUVENEnvHandle& env) {
  const QUVENFeatureTransform& transform = transformOf(model);
  DescribedStage stage;
  stage.rank = transform.getNumSegments();
  stage.hasNoSignal = model.hasNoSignal(QUVEN_ENV);
  stage.score = scoreOf(model, QUVEN_ENV);
  stage.transforms.push_back(describeTransform(transform, labels, QUVEN_ENV));
  return {stage};
}

std::vector<const QUVENFeatureTransform*> firstTransforms(const QUVENModel& model) { return {&transformOf(model)}; }

constexpr ModelKind kinds[] = {
    {.name = "LinearRegression",
     .hasSplitField = false,
     .learnsCategories = false,
     .staged = nullptr,
     .make = makeLinear,
     .addOutputs = addLinearOutputs,
     .releaseStatistics = releaseLinear,
     .addResults = addLinearResults,
     .describe = describeLinearStage,
     .firstTransforms = nullptr,
     .terms = linearTerms},
    {.name = "FeatureTransform",
     .hasSplitField = true,
     .learnsCategories = false,
     .staged = nullptr,
     .make = makeTransform,
     .addOutputs = addTransformOutputs,
     .releaseStatistics = releaseNothing,
     .addResults = addNoResults,
     .describe = describeTransformStage,
     .firstTransforms = firstTransforms,
     .terms = nullptr},
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
  if (name == boostedKind.name) return boostedKind;
  const auto found =
      std::find_if(std::begin(kinds), std::end(kinds), [&](const ModelKind& kind) { return name == kind.name; });
  if (found == std::end(kinds)) throw std::logic_error("no model kind " + name);
  return *found;
}

}  // namespace vesk_analyze
