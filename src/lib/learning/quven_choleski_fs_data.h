#ifndef QUVEN_CHOLESKI_FS_DATA_H
#define QUVEN_CHOLESKI_FS_DATA_H

#include <cstdint>

#include "kernel/quven_symmetric_matrix.h"
#include "learning/quven_ls_data.h"
#include "learning/quven_ls_model.h"
#include "util/quven_object_of.h"

/// The state of one factorisation during a forward selection: an L D L^T factor that grows by one variable at a time.
///
/// Shapes:   n variables, of which n is the target. Positions run 1..n: 1..getRank() are selected, the next up to n-1
///           are candidates, n is the target, which never moves. In the factor, by positions, the diagonal is the
///           variance that remains (D) and an element right of a selected diagonal element the multiplier (L^T).
/// Lifetime: refers to the two data objects, which must outlive it. No stream carries it.
/// Cost:     O(n^2) for each added variable and for each model; no record is read.
/// Errors:   a position that is no candidate is an assertion failure.
/// Source:   G. H. Golub, C. F. Van Loan, "Matrix Computations", section 4.1 (L D L^T); forward selection: T. Hastie,
///           R. Tibshirani, J. Friedman, "The Elements of Statistical Learning", section 3.3.
class QUVENLSCholeskiFSData : public QUVENObjectOf<QUVENLSCholeskiFSData, QUVENObject> {
 public:
  /// A factorisation of rank 0 of the train data, judged on the eval data; both may be the same object.
  /// floorFactor: that of QUVENLSData::getVarianceEstimate.
  /// Errors: data of different numbers of variables, or of none, is an assertion failure.
  static QUVENOwnPtr<QUVENLSCholeskiFSData> createFSData(const QUVENLSData* trainPtr, const QUVENLSData* evalPtr,
                                                         double floorFactor, const QUVENEnvHandle& env);

  /// Whether the target has variance left.
  bool canAddNewFeature() const;
  /// Whether the variable at a position can be added. A variable whose remaining variance is noise, or at most 2^-23 of
  /// what it was, is excluded by this call.
  bool canSelectCandidateFeature(long position);
  /// The fall of the residual sum of squares from adding the variable at a position; 0.0 if its variance is noise.
  /// Errors: canAddNewFeature() must hold, an assertion failure otherwise.
  double getReduction(long position) const;
  /// getCVScore() as it would be with the variable at a position added.
  double tryCandidate(long position);
  /// Adds the variable at a position, which exchanges places with the first candidate.
  void addFeature(long kselect);
  /// Excludes the variable at a position for good.
  void excludeFeature(long position);

  /// The residual sum of squares of the current coefficients on the eval data.
  double getEvalResidSSQ();
  /// The score of the current coefficients on the eval data, for the variance of their residuals on the train data.
  double getCVScore();
  /// The model of the current rank. Its scores assume the given variance.
  QUVENOwnPtr<QUVENLSModel> getModel(double varianceInput, const QUVENEnvHandle& env);
  /// The same with the variance of its residuals on the train data.
  QUVENOwnPtr<QUVENLSModel> getModel(const QUVENEnvHandle& env);

  /// Variables, the target included.
  long getNumFields() const { return factor.getOrder(); }
  long getRank() const { return rank; }
  std::int32_t getVariableAt(long position) const { return ivPermVec.at(position); }
  const QUVENLSData& getTrainData() const { return *train; }
  const QUVENLSData& getEvalData() const { return *eval; }
  /// getVarianceEstimate of the train data, with the tolerance of the target and the floor factor.
  double getTrainVariance(double rss) const;

 private:
  bool isCandidate(long position) const { return rank < position && position < getNumFields(); }
  void computeCoefficients();
  void computeCandidateCoefficients(long candidateftr);
  void substituteBack(long lastPosition);
  double getScoreOfCoefficients(long modelRank) const;
  double getTrainResidSSQ(long modelRank) const;
  double getEvalResidSSQ(long modelRank) const;
  QUVENLSFit getFit(const QUVENLSData& data, double rss, double variance) const;

  QUVEN_STATE(train, const QUVENLSData*) = nullptr;
  QUVEN_STATE(eval, const QUVENLSData*) = nullptr;
  QUVEN_STATE(floorOfVariance, double) = 0;
  QUVEN_STATE(factor, QUVENSymmetricMatrix);
  QUVEN_STATE(ivPermVec, QUVENXaRay<std::int32_t>);          // position -> variable
  QUVEN_STATE(ivCanSelectFtrVec, QUVENXaRay<std::uint8_t>);  // per variable
  QUVEN_STATE(coefficients, QUVENXaRay<double>);             // per variable, -1.0 for the target
  QUVEN_STATE(tolerances, QUVENXaRay<double>);               // per variable
  QUVEN_STATE(multipliers, QUVENXaRay<double>);              // scratch, one row of the factor
  QUVEN_STATE(rank, std::int32_t) = 0;
  QUVEN_STATE(cachedVariable, std::int32_t) = 0;  // the last selected variable of the coefficients, 0: none
};

#endif  // QUVEN_CHOLESKI_FS_DATA_H
