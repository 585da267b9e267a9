#ifndef VESK_ANALYZE_MODEL_PARTS_H
#define VESK_ANALYZE_MODEL_PARTS_H

// What the kinds of models have in common.

#include "control/quven_table_labels.h"
#include "learning/quven_feature_transform.h"
#include "learning/quven_lin_reg_model.h"
#include "model_description.h"
#include "model_kind.h"

namespace vesk_analyze {

/// Adds the target, the weights and the supplementary columns.
void addCommonInputs(QUVENModel& model, const TrainingFields& fields, const QUVENEnvHandle& env);
/// Points, intercept, error and terms of the model of channel 1.
void describeLinear(const QUVENLinRegModel& model, DescribedSegment& segment);
/// The segments in the order of the axis.
DescribedTransform describeTransform(const QUVENFeatureTransform& transform, const QUVENTableLabels& labels,
                                     const QUVENEnvHandle& env);

/// The parts of the kind TransformRegression.
extern const ModelKind boostedKind;

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_MODEL_PARTS_H
