#include "model_parts.h"

#include "kernel/quven_cat_field.h"

namespace vesk_analyze {

namespace {

constexpr long FinalChannel = 1;

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

}  // namespace

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

namespace {

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

}  // namespace

DescribedTransform describeTransform(const QUVENFeatureTransform& transform, const QUVENTableLabels& labels,
                                     const QUVENEnvHandle& env) {
  DescribedTransform described;
  described.field = transform.getSplitField()->getName().str();
  described.isNumeric = transform.getSplitField()->isNumeric();
  described.initialSegments = transform.getNumInitialSegments();
  for (const QUVENSegmentDescription& segment : transform.describeSegments(QUVEN_ENV)) {
    described.segments.push_back(describeSegment(transform, segment, labels, QUVEN_ENV));
  }
  return described;
}

}  // namespace vesk_analyze
