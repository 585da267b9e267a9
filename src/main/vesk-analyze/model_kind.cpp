#include "model_kind.h"

#include <algorithm>
#include <stdexcept>

#include "kernel/quven_cat_field.h"
#include "learning/quven_feature_transform.h"
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

void addLinearResults(const QUVENModel& model, QUVENXMLTag& results, const QUVENEnvHandle& env) {
  linear(model).writeResultsToTag(results, QUVEN_ENV);
}

std::vector<DescribedStage> describeLinearStage(const QUVENModel& model, const QUVENTableLabels&,
                                                const QUVENEnvHandle& env) {
  DescribedStage stage;
  stage.rank = linear(model).getInputFields().getSize();
  stage.hasNoSignal = model.hasNoSignal(QUVEN_ENV);
  stage.score = scoreOf(model, QUVEN_ENV);
  describeLinear(linear(model), stage.transforms.emplace_back().segments.emplace_back());
  return {stage};
}

// FeatureTransform

const QUVENFeatureTransform& transformOf(const QUVENModel& model) {
  return static_cast<const QUVENFeatureTransform&>(model);
}

QUVENOwnPtr<QUVENModel> makeTransform(const TrainingParameters& parameters, const TrainingFields& fields,
                                      const QUVENEnvHandle& env) {
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

/// The labels of categories; the default category is "*".
std::vector<std::string> labelsOf(const QUVENField& field, const std::vector<std::int32_t>& categories,
                                  const QUVENTableLabels& labels, const QUVENEnvHandle& env) {
  std::vector<std::string> texts;
  for (const std::int32_t category : categories) {
    if (category == QUVENField::DefaultValueIndex) {
      texts.emplace_back("*");
      continue;
    }
    const std::string_view text(field.getCategoryText(category, QUVEN_ENV));
    const std::string* label = labels.findByText(std::string_view(field.getName()), text);
    texts.emplace_back(label == nullptr ? text : std::string_view(*label));
  }
  return texts;
}

DescribedSegment describeSegment(const QUVENFeatureTransform& model, const QUVENSegmentDescription& found,
                                 const QUVENTableLabels& labels, const QUVENEnvHandle& env) {
  DescribedSegment segment;
  if (found.isInterval) {
    segment.kind = DescribedSegment::Kind::Interval;
    segment.from = found.from;
    segment.to = found.to;
  } else {
    segment.kind = found.isMissing ? DescribedSegment::Kind::Missing : DescribedSegment::Kind::Categories;
    segment.categories = labelsOf(*model.getSplitField(), found.categories, labels, QUVEN_ENV);
  }
  describeLinear(model.getSegmentModel(found.segment), segment);
  return segment;
}

std::vector<DescribedStage> describeTransformStage(const QUVENModel& model, const QUVENTableLabels& labels,
                                                   const QUVENEnvHandle& env) {
  const QUVENFeatureTransform& transform = transformOf(model);
  DescribedStage stage;
  stage.rank = transform.getNumSegments();
  stage.hasNoSignal = model.hasNoSignal(QUVEN_ENV);
  stage.score = scoreOf(model, QUVEN_ENV);
  DescribedTransform& described = stage.transforms.emplace_back();
  described.field = transform.getSplitField()->getName().str();
  described.isNumeric = transform.getSplitField()->isNumeric();
  described.initialSegments = transform.getNumInitialSegments();
  for (const QUVENSegmentDescription& segment : transform.describeSegments(QUVEN_ENV)) {
    described.segments.push_back(describeSegment(transform, segment, labels, QUVEN_ENV));
  }
  return {stage};
}

constexpr ModelKind kinds[] = {
    {"LinearRegression", false, makeLinear, addLinearOutputs, releaseLinear, addLinearResults, describeLinearStage},
    {"FeatureTransform", true, makeTransform, addTransformOutputs, releaseNothing, addNoResults,
     describeTransformStage},
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
