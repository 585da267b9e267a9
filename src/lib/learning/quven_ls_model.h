#ifndef QUVEN_LS_MODEL_H
#define QUVEN_LS_MODEL_H

// The models that the feature selection builds: one per rank, and the path of them.

#include <cstdint>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// How well a model fits some records.
struct QUVENLSFit {
  double points = 0;         ///< records, those without weight included
  double residSSQ = 0;       ///< weighted sum of squared residuals
  double score = 0;          ///< negative log-likelihood; smaller is better
  double scoreVariance = 0;  ///< variance of the score
};

/// A linear model of some of the variables, with its scores on the records of the fit (train) and on others (eval).
///
/// Shapes: variables run 1..n-1, those of the data that the model was fitted on; positions run 1..getModelRank(), in
///         the order in which the variables were selected.
class QUVENLSModel : public QUVENObjectOf<QUVENLSModel, QUVENObject> {
 public:
  /// A deep copy of the same class.
  virtual QUVENOwnPtr<QUVENLSModel> clone(const QUVENEnvHandle& env) const = 0;
  /// The prediction for a record. Shapes: values: per variable; a target at the end is not read.
  virtual double predict(const QUVENXaRay<double>& values) const = 0;
  /// 0.0 for a variable that the model does not use.
  virtual double getCoefficientOfVariable(long variable) const = 0;
  /// Errors: a position outside 1..getModelRank() is an assertion failure.
  virtual double getCoefficientAt(long position) const = 0;
  virtual bool usesVariable(long variable) const = 0;
  /// Errors: as for getCoefficientAt.
  virtual std::int32_t getVariableAt(long position) const = 0;

  /// The number of variables used.
  std::int32_t getModelRank() const { return ivModelRank; }
  /// The standard deviation of the residuals that the scores assume.
  double getModelStdDev() const { return ivModelStdDev; }
  QUVENLSFit getTrain() const { return {ivTrnPts, ivTrnResidSSQ, ivTrnScore, ivTrnScoreVariance}; }
  QUVENLSFit getEval() const { return {ivEvalPts, ivEvalResidSSQ, ivEvalScore, ivEvalScoreVariance}; }
  double getIntercept() const { return ivIntercept; }

  /// Requires: variance >= 0.
  void setVariance(double variance);
  void setTrain(const QUVENLSFit& fit);
  void setEval(const QUVENLSFit& fit);
  void setIntercept(double intercept) { ivIntercept = intercept; }

 protected:
  QUVENLSModel() = default;
  void setModelRank(std::int32_t rank) { ivModelRank = rank; }

 private:
  QUVEN_MEMBER(ivModelRank, std::int32_t) = 0;
  QUVEN_MEMBER(ivModelStdDev, double) = 0;
  QUVEN_MEMBER(ivTrnPts, double) = 0;
  QUVEN_MEMBER(ivTrnResidSSQ, double) = 0;
  QUVEN_MEMBER(ivTrnScore, double) = 0;
  QUVEN_MEMBER(ivTrnScoreVariance, double) = 0;
  QUVEN_MEMBER(ivEvalPts, double) = 0;
  QUVEN_MEMBER(ivEvalResidSSQ, double) = 0;
  QUVEN_MEMBER(ivEvalScore, double) = 0;
  QUVEN_MEMBER(ivEvalScoreVariance, double) = 0;
  QUVEN_MEMBER(ivIntercept, double) = 0;
};

/// A model that stores the coefficients of the selected variables only.
class QUVENLSCholeskiModel : public QUVENObjectOf<QUVENLSCholeskiModel, QUVENLSModel> {
 public:
  QUVENLSCholeskiModel() = default;

  QUVENOwnPtr<QUVENLSModel> clone(const QUVENEnvHandle& env) const override;
  double predict(const QUVENXaRay<double>& values) const override;
  double getCoefficientOfVariable(long variable) const override;
  double getCoefficientAt(long position) const override { return ivCmprCoeffts.at(position); }
  bool usesVariable(long variable) const override { return positionOf(variable) != 0; }
  std::int32_t getVariableAt(long position) const override { return ivCmprPerm.at(position); }

  /// Takes over the selected variables, permutation[1..rank], and their coefficients.
  /// Shapes: coefficients: per variable, the target included.
  /// Errors: a rank outside 0..n-1 is an assertion failure.
  void setCoefficients(std::int32_t rank, const QUVENXaRay<std::int32_t>& permutation,
                       const QUVENXaRay<double>& coefficients, const QUVENEnvHandle& env);

  /// Errors: a stream whose vectors do not have the length of the rank, or with a variable below 1, is an assertion
  /// failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  /// 0 for a variable that the model does not use.
  long positionOf(long variable) const;

  QUVEN_MEMBER(ivCmprPerm, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER(ivCmprCoeffts, QUVENXaRay<double>);
};

/// The path of models of one selection, and the one that was selected.
///
/// Lifetime: owns all of them. The selected model is a copy, so that the path can be released.
class QUVENLSResults : public QUVENObjectOf<QUVENLSResults, QUVENObject> {
 public:
  /// Adds the model of the next rank.
  /// Errors: a model of another rank is an assertion failure; the model stays with its pointer then.
  void addModel(QUVENOwnPtr<QUVENLSModel>&& newlsmodelPtr, const QUVENEnvHandle& env);
  /// The length of the path; ranks run 0..getNumModels()-1.
  long getNumModels() const { return ivLSModels.getSize(); }
  /// Errors: a rank that the path does not have is an assertion failure.
  const QUVENLSModel& getModel(long rank) const { return *ivLSModels.at(rank + 1); }
  /// Selects the model of a rank. Errors: as for getModel; the selection is unchanged then.
  void selectRank(long rank, const QUVENEnvHandle& env);
  /// The selected model, or null.
  const QUVENLSModel* getSelectedModel() const { return ivSelectedLSModelPtr.get(); }
  /// Releases the path. The selected model stays.
  void releaseOthers(const QUVENEnvHandle& env) { ivLSModels.deleteMemory(env); }

  /// Errors: a stream with a path that is not in the order of the ranks is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  QUVEN_MEMBER(ivLSModels, QUVENXaRay<QUVENOwnPtr<QUVENLSModel>, 0>);
  QUVEN_MEMBER(ivSelectedLSModelPtr, QUVENOwnPtr<QUVENLSModel>);
};

#endif  // QUVEN_LS_MODEL_H
