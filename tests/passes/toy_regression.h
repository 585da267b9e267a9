#ifndef TESTS_PASSES_TOY_REGRESSION_H
#define TESTS_PASSES_TOY_REGRESSION_H

#include "kernel/quven_learning_model.h"
#include "kernel/quven_symmetric_matrix.h"

/// Least squares of the target on the explanatory inputs, all numeric and with distributions: the first passes of a run
/// give the means, one pass of this model the cross products about them. A missing value counts as the mean.
///
/// Shapes: variables run 1..n+1, the inputs in their order and then the target.
/// Source: the normal equations of centered variables, solved by Gaussian elimination (Golub and Van Loan, Matrix
///         Computations, 3.4 and 5.3). The inputs are linearly independent in the tests.
class QUVENToyRegression : public QUVENObjectOf<QUVENToyRegression, QUVENPredictingModel> {
 public:
  explicit QUVENToyRegression(const QUVENEnvHandle& env) : Members(env) {}

  const QUVENXaRay<double>& getCoefficients() const { return ivCoefficients; }
  double getIntercept() const { return ivIntercept; }

  bool beginPass(const QUVENEnvHandle& env) override;
  void beginRecords(const QUVENEnvHandle& env) override;
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  double getVolume(const QUVENEnvHandle&) const override { return static_cast<double>(ivRecords); }
  double getScore(int, const QUVENEnvHandle&) const override { return ivResidual; }
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;

 private:
  long getNumInputs() const { return getExplanatoryFields().getSize(); }
  const QUVENField& getVariable(long i) const;
  void solve(const QUVENEnvHandle& env);

  QUVEN_MEMBER(ivRecords, std::int64_t) = 0;
  QUVEN_MEMBER(ivMeans, QUVENXaRay<double>);
  QUVEN_MEMBER(ivProducts, QUVENSymmetricMatrix);
  QUVEN_MEMBER(ivCoefficients, QUVENXaRay<double>);
  QUVEN_MEMBER(ivIntercept, double) = 0;
  QUVEN_MEMBER(ivResidual, double) = 0;
  QUVEN_STATE(deviations, QUVENXaRay<double>);
};

#endif  // TESTS_PASSES_TOY_REGRESSION_H
