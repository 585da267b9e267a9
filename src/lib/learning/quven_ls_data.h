#ifndef QUVEN_LS_DATA_H
#define QUVEN_LS_DATA_H

#include <cstdint>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// The scratch vector of all QUVENLSData of one environment, so that a record allocates nothing.
///
/// Lifetime: until the environment ends. Two threads that share an environment must not add records at the same time.
class QUVENLSEnvGlobalVector : public QUVENObjectOf<QUVENLSEnvGlobalVector, QUVENObject> {
 public:
  static QUVENLSEnvGlobalVector& get(const QUVENEnvHandle& env);
  /// At least as long as the largest number of variables of any QUVENLSData of the environment so far.
  QUVENXaRay<double>& getDeltaVector() { return ivDeltaVector; }

 private:
  QUVEN_STATE(ivDeltaVector, QUVENXaRay<double>);
};

/// The sufficient statistics of a weighted least-squares problem: weighted means and cross products about them.
///
/// A record has the values x of n variables, of which the last is the target, a case weight w and an inverse-variance
/// weight v. W is the sum of w v.
/// Shapes:   variables run 1..n. The triangle of cross products is packed upper: the element of row i and column j,
///           i <= j, has the index j(j-1)/2 + i. Its element (i, j) is the sum of w v (x[i] - mean[i]) (x[j] -
///           mean[j]).
/// Units:    w and v have no unit; both are 1.0 where a model has no such weight.
/// Accuracy: updates about the running mean; no sum of squares about 0 is formed.
/// Cost:     n(n+1)/2 multiply-adds a record and as many a merge; neither allocates.
/// Source:   D. H. D. West, "Updating mean and variance estimates: an improved method", CACM 22(9), 1979; merging:
///           T. F. Chan, G. H. Golub, R. J. LeVeque, "Algorithms for computing the sample variance", 1983.
class QUVENLSData : public QUVENObjectOf<QUVENLSData, QUVENObject> {
 public:
  /// Sets the number of variables, and makes the means, the cross products and the five sums 0.
  /// Errors: n outside 0..65535 is an assertion failure.
  virtual void allocate(long n, const QUVENEnvHandle& env);
  /// Adds the statistics of other records. A source without weight adds only to ivNumDataPoints; an object without
  /// weight takes over the means and cross products of the source.
  /// Errors: another number of variables, or this object itself, is an assertion failure.
  virtual void merge(const QUVENLSData& source, const QUVENEnvHandle& env);

  /// Adds one record. A record with w <= 0 or v <= 0 counts in getNumDataPoints() only.
  /// Requires: values.getSize() == getNumFields(), an assertion failure otherwise.
  void addDataPoint(const QUVENXaRay<double>& values, double w, double v);
  /// Frees the means and the cross products; the five sums stay. getNumFields() is 0 then.
  void releaseStatistics(const QUVENEnvHandle& env);

  /// The number of variables, the target included.
  long getNumFields() const { return ivDataMean.getSize(); }
  /// Records added, those without weight included.
  double getNumDataPoints() const { return ivNumDataPoints; }
  double getSumCaseWeights() const { return ivSumCaseWeights; }
  double getSumCaseWeights2() const { return ivSumCaseWeights2; }
  double getSumCaseXInvVarWeights() const { return ivSumCaseXInvVarWeights; }
  double getSumCaseXLogInvVarWeights() const { return ivSumCaseXLogInvVarWeights; }
  const QUVENXaRay<double>& getDataMean() const { return ivDataMean; }
  const QUVENXaRay<double>& getDataCov() const { return ivDataCov; }

  /// The weighted sum of squared residuals, on these records, of a linear model fitted on others.
  ///
  /// With the variables p = permutation[1..rank], the coefficients b, the cross products C of this object and d, the
  /// mean residual: sum b[p] C(p, q) b[q] - 2 sum b[p] C(p, n) + C(n, n) + W d^2. On the records of the fit d is 0.
  /// Shapes: meanOfFit: the means of the records of the fit, per variable. coefficients: per variable.
  double getResidualSumOfSquares(const QUVENXaRay<double>& meanOfFit, const QUVENXaRay<std::int32_t>& permutation,
                                 const QUVENXaRay<double>& coefficients, long rank) const;
  /// The sum of squares of variable i that rounding alone can produce. A smaller one is noise.
  double getTolerance(long i) const;
  /// The variance of the residuals: rss / W, not below tolerance / W and not below floorFactor / (points + 1). Without
  /// weight it is not divided by W.
  double getVarianceEstimate(double rss, double tolerance, double floorFactor) const;
  /// The negative log-likelihood of these records under normal residuals: (log(2 pi variance) sum w - sum w log v +
  /// rss / variance) / 2.
  double getScore(double rss, double variance) const;
  /// The variance of getScore: points (sum w^2) q^2 / 2, q being the variance estimate of rss on these records over the
  /// given variance.
  double getScoreVariance(double rss, double variance, double tolerance, double floorFactor) const;

  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  /// Errors: a stream in which the two vectors do not belong together is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  void clampStatistics();
  /// Finds the scratch vector of the environment and makes it long enough.
  void findScratch(const QUVENEnvHandle& env);
  double covariance(long i, long j) const;

  QUVEN_MEMBER(ivNumDataPoints, double) = 0;
  QUVEN_MEMBER(ivSumCaseWeights, double) = 0;
  QUVEN_MEMBER(ivSumCaseWeights2, double) = 0;
  QUVEN_MEMBER(ivSumCaseXInvVarWeights, double) = 0;
  QUVEN_MEMBER(ivSumCaseXLogInvVarWeights, double) = 0;
  QUVEN_MEMBER(ivDataMean, QUVENXaRay<double>);
  QUVEN_MEMBER(ivDataCov, QUVENXaRay<double>);

  QUVENLSEnvGlobalVector* scratch = nullptr;  // belongs to the environment
};

#endif  // QUVEN_LS_DATA_H
