#include "learning/quven_ls_model.h"

#include <algorithm>
#include <cmath>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLSModel);
QUVEN_REGISTER(QUVENLSCholeskiModel);
QUVEN_REGISTER(QUVENLSResults);

void QUVENLSModel::setVariance(double variance) { ivModelStdDev = std::sqrt(variance); }

void QUVENLSModel::setTrain(const QUVENLSFit& fit) {
  ivTrnPts = fit.points;
  ivTrnResidSSQ = fit.residSSQ;
  ivTrnScore = fit.score;
  ivTrnScoreVariance = fit.scoreVariance;
}

void QUVENLSModel::setEval(const QUVENLSFit& fit) {
  ivEvalPts = fit.points;
  ivEvalResidSSQ = fit.residSSQ;
  ivEvalScore = fit.score;
  ivEvalScoreVariance = fit.scoreVariance;
}

QUVENOwnPtr<QUVENLSModel> QUVENLSCholeskiModel::clone(const QUVENEnvHandle& env) const {
  return quvenNewCopy(*this, QUVEN_ENV);
}

double QUVENLSCholeskiModel::predict(const QUVENXaRay<double>& values) const {
  double prediction = getIntercept();
  for (long i = 1; i <= ivCmprPerm.getSize(); ++i) prediction += values.at(ivCmprPerm[i]) * ivCmprCoeffts[i];
  return prediction;
}

double QUVENLSCholeskiModel::getCoefficientOfVariable(long variable) const {
  const long position = positionOf(variable);
  return position == 0 ? 0.0 : ivCmprCoeffts[position];
}

void QUVENLSCholeskiModel::setCoefficients(std::int32_t rank, const QUVENXaRay<std::int32_t>& permutation,
                                           const QUVENXaRay<double>& coefficients, const QUVENEnvHandle& env) {
  const long numFields = coefficients.getSize();
  setModelRank(rank);
  QUVEN_ASSERT(getModelRank() >= 0 && getModelRank() < numFields);
  ivCmprPerm.setSize(rank, QUVEN_ENV);
  ivCmprCoeffts.setSize(rank, QUVEN_ENV);
  for (long i = 1; i <= rank; ++i) {
    ivCmprPerm[i] = permutation.at(i);
    ivCmprCoeffts[i] = coefficients.at(ivCmprPerm[i]);
  }
}

long QUVENLSCholeskiModel::positionOf(long variable) const {
  const std::int32_t* const place = std::find(ivCmprPerm.begin(), ivCmprPerm.end(), variable);
  return place == ivCmprPerm.end() ? 0 : place - ivCmprPerm.begin() + 1;
}

void QUVENLSCholeskiModel::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(ivCmprPerm.getSize() == getModelRank() && ivCmprCoeffts.getSize() == getModelRank());
  for (const std::int32_t variable : ivCmprPerm) QUVEN_ASSERT(variable >= 1);
}

void QUVENLSResults::addModel(QUVENOwnPtr<QUVENLSModel>&& newlsmodelPtr, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(newlsmodelPtr->getModelRank() == ivLSModels.getSize());
  ivLSModels.append(std::move(newlsmodelPtr), QUVEN_ENV);
}

void QUVENLSResults::selectRank(long rank, const QUVENEnvHandle& env) {
  ivSelectedLSModelPtr = getModel(rank).clone(QUVEN_ENV);
}

void QUVENLSResults::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  long rank = 0;
  for (const QUVENOwnPtr<QUVENLSModel>& model : ivLSModels) {
    QUVEN_ASSERT(model != nullptr && model->getModelRank() == rank);
    ++rank;
  }
}
