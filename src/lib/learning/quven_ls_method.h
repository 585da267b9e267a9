#ifndef QUVEN_LS_METHOD_H
#define QUVEN_LS_METHOD_H

#include "learning/quven_ls_data.h"
#include "learning/quven_ls_model.h"
#include "util/quven_object_of.h"

/// How the variables of a linear regression are selected, from the statistics alone: no record is read.
///
/// floorFactor: that of QUVENLSData::getVarianceEstimate. Earlier models of the results are dropped; then the
/// results get one model per rank, from 0 upward.
/// Errors: the operations of this class are "Function/Feature not yet implemented".
class QUVENLSMethod : public QUVENObjectOf<QUVENLSMethod, QUVENObject> {
 public:
  virtual QUVENOwnPtr<QUVENLSMethod> clone(const QUVENEnvHandle& env) const;
  /// Selects by cross-validation. Channel 1 is the final fit, channel 2 the held-out check, channels 3 and up are the
  /// folds. All channels select the same variables in the same order.
  /// Shapes: all three vectors: per channel, from 1; at least 2 channels. resultsVec is set to their number.
  virtual void selectFolds(const QUVENXaRay<QUVENLSData, 0>& trainVec, const QUVENXaRay<QUVENLSData, 0>& evalVec,
                           QUVENXaRay<QUVENLSResults, 0>& resultsVec, double floorFactor,
                           const QUVENEnvHandle& env) const;
  /// Selects by two halves of the data: each half judges the fit of the other half. The models are fitted on both
  /// together.
  virtual void selectTwoWay(const QUVENLSData& dataA, const QUVENLSData& dataB, QUVENLSResults& results,
                            double floorFactor, const QUVENEnvHandle& env) const;
  /// Adds the variable of the largest reduction until none is left.
  virtual void selectSingle(const QUVENLSData& data, QUVENLSResults& results, double floorFactor,
                            const QUVENEnvHandle& env) const;
};

/// Forward selection with one L D L^T factor per channel.
///
/// Of selectFolds only the first variable must improve the score of the folds; from the second on the candidate of the
/// largest reduction is added regardless, and the size of the model is chosen later. This asymmetry must stay. A
/// candidate that is rejected or ruled out in one channel is excluded in all channels.
/// selectTwoWay adds a variable only if it improves the score.
/// A score improves if it falls by more than 2^-36 max(|score|, sum of the case weights that it is taken over).
/// Otherwise the order of summation would decide between scores that differ by rounding only.
class QUVENLSCholeskiMethod : public QUVENObjectOf<QUVENLSCholeskiMethod, QUVENLSMethod> {
 public:
  QUVENOwnPtr<QUVENLSMethod> clone(const QUVENEnvHandle& env) const override;
  void selectFolds(const QUVENXaRay<QUVENLSData, 0>& trainVec, const QUVENXaRay<QUVENLSData, 0>& evalVec,
                   QUVENXaRay<QUVENLSResults, 0>& resultsVec, double floorFactor,
                   const QUVENEnvHandle& env) const override;
  void selectTwoWay(const QUVENLSData& dataA, const QUVENLSData& dataB, QUVENLSResults& results, double floorFactor,
                    const QUVENEnvHandle& env) const override;
  void selectSingle(const QUVENLSData& data, QUVENLSResults& results, double floorFactor,
                    const QUVENEnvHandle& env) const override;
};

#endif  // QUVEN_LS_METHOD_H
