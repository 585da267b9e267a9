// The kind TransformRegression: what the program knows of the boosted model.

#include <algorithm>

#include "learning/quven_transform_regression.h"
#include "model_parts.h"

namespace vesk_analyze {

namespace {

constexpr long FinalChannel = 1;
constexpr long OnlyTarget = 1;

using StopReason = QUVENTransformRegression::StopReason;

const QUVENTransformRegression& boosted(const QUVENModel& model) {
  return static_cast<const QUVENTransformRegression&>(model);
}
QUVENTransformRegression& boosted(QUVENModel& model) { return static_cast<QUVENTransformRegression&>(model); }

const QUVENModel& learnerOf(const QUVENGradBoostStage& stage) { return *stage.getResidualModels().at(OnlyTarget); }
/// Whether the stage is an output transform.
bool isOutput(const QUVENGradBoostStage& stage) { return learnerOf(stage).isA(QUVENFeatureTransform::typeName()) != 0; }
const QUVENTransRegResidualModel& residualModelOf(const QUVENGradBoostStage& stage) {
  return static_cast<const QUVENTransRegResidualModel&>(learnerOf(stage));
}
QUVENField* predictionOf(const QUVENGradBoostStage& stage) {
  return stage.getLoss().getCurrentPredictedValues().at(OnlyTarget);
}

std::vector<double> alphasOf(const QUVENGradBoostStage& stage) {
  std::vector<double> alphas;
  for (long c = 1; c <= stage.getGlobalNumChannels(); ++c) alphas.push_back(stage.getLoss().getAlpha(OnlyTarget, c));
  return alphas;
}

QUVENOwnPtr<QUVENModel> make(const TrainingParameters& parameters, const TrainingFields& fields,
                             QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  auto model = quvenMake<QUVENTransformRegression>(QUVEN_ENV);
  model->setNames(names);
  model->setLossId(QUVENGeneralLoss::idOf(parameters.lossFunction));
  for (QUVENField* field : fields.inputs) model->addInput(field, QUVENUsageExplanatory, QUVEN_ENV);
  addCommonInputs(*model, fields, QUVEN_ENV);
  model->setMiningMode(parameters.miningMode, nullptr, QUVEN_ENV);
  return model;
}

// Stages

TrainedStage trainedStage(const QUVENTransformRegression& model, long number, const QUVENEnvHandle& env) {
  const QUVENGradBoostStage& stage = model.getStage(number);
  TrainedStage trained;
  const QUVENLinRegModel* regression = residualModelOf(stage).getRegression();
  trained.rank = regression == nullptr ? 0 : regression->getInputFields().getSize();
  trained.hasNoSignal = stage.hasNoSignal(QUVEN_ENV);
  trained.score = model.getStageScores().at(number).get();
  trained.alphas = alphasOf(stage);
  if (const QUVENGradBoostStage* output = model.getOutputTransform(number)) trained.outputAlphas = alphasOf(*output);
  return trained;
}

void observe(QUVENModel& model, StageHistory& history, bool choosesLater, const QUVENEnvHandle& env) {
  QUVENTransformRegression& observed = boosted(model);
  observed.setChoosesLater(choosesLater);
  observed.setStageObserver(
      [&observed, &history, env](long stage) { history.add(trainedStage(observed, stage, env)); });
}

std::vector<StageCandidate> candidates(const QUVENModel& model) {
  std::vector<StageCandidate> all;
  for (long s = 1; s <= boosted(model).getNumStages(); ++s) {
    all.push_back({s, false, predictionOf(boosted(model).getStage(s))});
    const QUVENGradBoostStage* output = boosted(model).getOutputTransform(s);
    if (output != nullptr) all.push_back({s, true, predictionOf(*output)});
  }
  return all;
}

void keep(QUVENModel& model, const StageCandidate& candidate, const QUVENEnvHandle& env) {
  boosted(model).keep(candidate.stage, candidate.isOutput, QUVEN_ENV);
}

std::vector<QUVENField*> predictions(const QUVENModel& model) {
  std::vector<QUVENField*> fields;
  for (long s = 1; s <= boosted(model).getNumStages(); ++s) fields.push_back(predictionOf(boosted(model).getStage(s)));
  return fields;
}

const char* textOf(StopReason reason) {
  switch (reason) {
    case StopReason::LastPass:
      return "the passes of StopAfterPasses were done";
    case StopReason::NoSignal:
      return "the last stage found no signal";
    case StopReason::MostStages:
      return "there are ten stages";
    case StopReason::NothingSignificant:
      return "the last two stages brought nothing significant";
    case StopReason::None:
      break;
  }
  return "nothing else was to be done";
}

std::string outcome(const QUVENModel& model) {
  const QUVENTransformRegression& regression = boosted(model);
  const long last = regression.getNumStages();
  std::string text = std::string("Training stopped because ") + textOf(regression.getStopReason()) + ". ";
  if (isOutput(regression.getStage(last))) {
    return text + "The output transform of stage " + std::to_string(last) + " is kept, after the stages before it.";
  }
  return text + (last == 1 ? std::string("Stage 1 is kept.") : "Stages 1 to " + std::to_string(last) + " are kept.");
}

// Description

std::string nameOf(const QUVENField& field) { return field.getName().str(); }

/// The transform whose prediction the field is, or null.
const QUVENFeatureTransform* transformOf(const QUVENTransRegResidualModel& model, const QUVENField* prediction) {
  const auto& transforms = model.getTransforms();
  const auto found = std::find_if(transforms.begin(), transforms.end(),
                                  [&](const auto& pair) { return pair->getPrediction() == prediction; });
  return found == transforms.end() ? nullptr : &(*found)->getTransform();
}

/// The column or output that an input of the regression of a stage comes from.
const QUVENField& sourceOf(const QUVENTransRegResidualModel& model, const QUVENField& input) {
  const QUVENFeatureTransform* transform = transformOf(model, &input);
  return transform == nullptr ? input : *transform->getSplitField();
}

/// The regression, in which a transform has the name of the field that it is of.
DescribedTransform describeRegression(const QUVENTransRegResidualModel& model) {
  DescribedTransform described;
  described.place = "0";
  DescribedSegment& segment = described.segments.emplace_back();
  describeLinear(*model.getRegression(), segment);
  for (std::size_t i = 0; i < segment.terms.size(); ++i) {
    const QUVENField& input = *model.getRegression()->getInputFields()[static_cast<long>(i) + 1];
    segment.terms[i].field = nameOf(sourceOf(model, input));
  }
  return described;
}

std::vector<DescribedTransform> describeStage(const QUVENGradBoostStage& stage, const QUVENTableLabels& labels,
                                              const QUVENEnvHandle& env) {
  std::vector<DescribedTransform> all;
  if (isOutput(stage)) {
    const auto& transform = static_cast<const QUVENFeatureTransform&>(learnerOf(stage));
    all.push_back(describeTransform(transform, labels, QUVEN_ENV));
    all.back().place = "output";
    return all;
  }
  const QUVENTransRegResidualModel& model = residualModelOf(stage);
  all.push_back(describeRegression(model));
  for (const auto& pair : model.getTransforms()) {
    const std::string place = std::to_string(all.size());
    all.push_back(describeTransform(pair->getTransform(), labels, QUVEN_ENV));
    all.back().place = place;
  }
  return all;
}

std::vector<DescribedStage> describe(const QUVENModel& model, const StageHistory& history,
                                     const QUVENTableLabels& labels, const QUVENEnvHandle& env) {
  std::vector<DescribedStage> stages;
  for (const TrainedStage& trained : history.stages) {
    DescribedStage& stage = stages.emplace_back();
    static_cast<TrainedStage&>(stage) = trained;
    const auto number = static_cast<long>(stages.size());
    stage.isKept = number <= boosted(model).getNumStages();
    if (!stage.isKept) continue;
    stage.isOutput = isOutput(boosted(model).getStage(number));
    stage.transforms = describeStage(boosted(model).getStage(number), labels, QUVEN_ENV);
  }
  return stages;
}

std::vector<const QUVENFeatureTransform*> firstTransforms(const QUVENModel& model) {
  std::vector<const QUVENFeatureTransform*> transforms;
  const QUVENGradBoostStage& first = boosted(model).getStage(1);
  if (isOutput(first)) return transforms;
  for (const auto& pair : residualModelOf(first).getTransforms()) transforms.push_back(&pair->getTransform());
  return transforms;
}

StageHistory recall(const QUVENModel& model) {
  StageHistory history;
  for (long s = 1; s <= boosted(model).getNumStages(); ++s) {
    const QUVENGradBoostStage& stage = boosted(model).getStage(s);
    TrainedStage& trained = history.stages.emplace_back();
    trained.rank = isOutput(stage) ? static_cast<const QUVENFeatureTransform&>(learnerOf(stage)).getNumSegments()
                                   : residualModelOf(stage).getRegression()->getInputFields().getSize();
    trained.alphas = alphasOf(stage);
  }
  return history;
}

// Terms

std::vector<PredictionTerm> terms(const QUVENModel& model, const QUVENEnvHandle&) {
  std::vector<PredictionTerm> all;
  for (long s = 1; s <= boosted(model).getNumStages(); ++s) {
    const QUVENGradBoostStage& stage = boosted(model).getStage(s);
    const double alpha = stage.getLoss().getAlpha(OnlyTarget, FinalChannel);
    if (isOutput(stage)) {
      QUVENField* prediction = stage.getLoss().getResidualPredictions().at(OnlyTarget);
      all.push_back({.stage = s, .input = "", .field = prediction, .factor = alpha});
      continue;
    }
    const QUVENLinRegModel& regression = *residualModelOf(stage).getRegression();
    for (long i = 1; i <= regression.getInputFields().getSize(); ++i) {
      QUVENField* field = regression.getInputFields()[i];
      const QUVENField& source = sourceOf(residualModelOf(stage), *field);
      const double coefficient = regression.getSelectedModel(FinalChannel)->getCoefficientAt(i);
      all.push_back({.stage = s,
                     .input = source.isComputed() ? std::string() : nameOf(source),
                     .field = field,
                     .factor = alpha * coefficient});
    }
  }
  return all;
}

void addOutputs(QUVENModel& model, QUVENModelOutputs& outputs, QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  boosted(model).getOutputs(outputs, "", names, QUVEN_ENV);
}

void releaseNothing(QUVENModel&, const QUVENEnvHandle&) {}  // each stage does so when its training ends

void addNoResults(const QUVENModel&, QUVENXMLTag&, const QUVENEnvHandle&) {}  // its reports say it all

constexpr StagedModel staged = {.observe = observe,
                                .candidates = candidates,
                                .keep = keep,
                                .predictions = predictions,
                                .recall = recall,
                                .outcome = outcome};

}  // namespace

const ModelKind boostedKind = {.name = "TransformRegression",
                               .hasSplitField = false,
                               .learnsCategories = true,
                               .staged = &staged,
                               .make = make,
                               .addOutputs = addOutputs,
                               .releaseStatistics = releaseNothing,
                               .addResults = addNoResults,
                               .describe = describe,
                               .firstTransforms = firstTransforms,
                               .terms = terms};

}  // namespace vesk_analyze
