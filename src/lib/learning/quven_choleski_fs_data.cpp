#include "learning/quven_choleski_fs_data.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "util/quven_bool.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLSCholeskiFSData);

namespace {

/// A variable with at most this share of its variance left is a linear function of those selected.
constexpr double leastRemainingVariance = 0x1p-23;

constexpr auto indexOf = quvenPackedIndex;

}  // namespace

QUVENOwnPtr<QUVENLSCholeskiFSData> QUVENLSCholeskiFSData::createFSData(const QUVENLSData* trainPtr,
                                                                       const QUVENLSData* evalPtr, double floorFactor,
                                                                       const QUVENEnvHandle& env) {
  const long n = trainPtr->getNumFields();
  QUVEN_ASSERT(n > 0 && evalPtr->getNumFields() == n);
  QUVENOwnPtr<QUVENLSCholeskiFSData> data = quvenMake<QUVENLSCholeskiFSData>(QUVEN_ENV);
  data->train = trainPtr;
  data->eval = evalPtr;
  data->floorOfVariance = floorFactor;
  data->factor.setOrder(n, QUVEN_ENV);
  std::copy(trainPtr->getDataCov().begin(), trainPtr->getDataCov().end(), data->factor.getElements().begin());
  data->ivPermVec.setSize(n, QUVEN_ENV);
  std::iota(data->ivPermVec.begin(), data->ivPermVec.end(), 1);
  data->ivCanSelectFtrVec.setSize(n, QUVEN_ENV);
  std::fill(data->ivCanSelectFtrVec.begin(), data->ivCanSelectFtrVec.end(), quvenTrue);
  data->coefficients.setSize(n, QUVEN_ENV);
  data->coefficients[n] = -1.0;
  data->tolerances.setSize(n, QUVEN_ENV);
  for (long i = 1; i <= n; ++i) data->tolerances[i] = trainPtr->getTolerance(i);
  data->multipliers.setSize(n, QUVEN_ENV);
  return data;
}

bool QUVENLSCholeskiFSData::canAddNewFeature() const {
  return factor.getElements()[indexOf(getNumFields(), getNumFields())] > 0.0;
}

bool QUVENLSCholeskiFSData::canSelectCandidateFeature(long position) {
  QUVEN_ASSERT(isCandidate(position));
  const std::int32_t variable = ivPermVec[position];
  if (ivCanSelectFtrVec[variable] == quvenFalse) return false;
  const double remaining = factor.getElements()[indexOf(position, position)];
  const double original = train->getDataCov()[indexOf(variable, variable)];
  const double share = original <= 0 || remaining <= tolerances[variable] ? 0.0 : remaining / original;
  if (share <= leastRemainingVariance) excludeFeature(position);
  return ivCanSelectFtrVec[variable] == quvenTrue;
}

double QUVENLSCholeskiFSData::getReduction(long position) const {
  QUVEN_ASSERT(canAddNewFeature());
  QUVEN_ASSERT(isCandidate(position));
  const QUVENXaRay<double>& element = factor.getElements();
  const double remaining = element[indexOf(position, position)];
  if (remaining <= tolerances[ivPermVec[position]]) return 0.0;
  const double e = element[indexOf(position, getNumFields())];
  return e * e / remaining;
}

double QUVENLSCholeskiFSData::tryCandidate(long position) {
  computeCandidateCoefficients(position);
  std::swap(ivPermVec[rank + 1], ivPermVec[position]);
  const double score = getScoreOfCoefficients(rank + 1);
  std::swap(ivPermVec[rank + 1], ivPermVec[position]);
  return score;
}

void QUVENLSCholeskiFSData::addFeature(long kselect) {
  QUVEN_ASSERT(isCandidate(kselect));
  QUVEN_ASSERT(ivCanSelectFtrVec[ivPermVec[kselect]] == quvenTrue);
  ++rank;
  std::swap(ivPermVec[rank], ivPermVec[kselect]);
  factor.swapRows(rank, kselect);
  QUVENXaRay<double>& element = factor.getElements();
  const double diagonal = element[indexOf(rank, rank)];
  const long n = getNumFields();
  // A row of the packed triangle is not contiguous: its multipliers are gathered first.
  for (long j = rank + 1; j <= n; ++j) multipliers[j] = element[indexOf(rank, j)] /= diagonal;
  for (long j = rank + 1; j <= n; ++j) {
    double* const column = &element[indexOf(rank, j)] - rank;
    const double factorOfColumn = diagonal * multipliers[j];
    for (long i = rank + 1; i <= j; ++i) column[i] -= factorOfColumn * multipliers[i];
  }
}

void QUVENLSCholeskiFSData::excludeFeature(long position) {
  QUVEN_ASSERT(isCandidate(position));
  ivCanSelectFtrVec[ivPermVec[position]] = quvenFalse;
}

double QUVENLSCholeskiFSData::getEvalResidSSQ() {
  computeCoefficients();
  return getEvalResidSSQ(rank);
}

double QUVENLSCholeskiFSData::getCVScore() {
  computeCoefficients();
  return getScoreOfCoefficients(rank);
}

QUVENOwnPtr<QUVENLSModel> QUVENLSCholeskiFSData::getModel(double varianceInput, const QUVENEnvHandle& env) {
  computeCoefficients();
  QUVENOwnPtr<QUVENLSCholeskiModel> model = quvenMake<QUVENLSCholeskiModel>(QUVEN_ENV);
  model->setCoefficients(rank, ivPermVec, coefficients, QUVEN_ENV);
  model->setVariance(varianceInput);
  model->setTrain(getFit(*train, getTrainResidSSQ(rank), varianceInput));
  model->setEval(getFit(*eval, getEvalResidSSQ(rank), varianceInput));
  const QUVENXaRay<double>& mean = train->getDataMean();
  double intercept = mean[getNumFields()];
  for (long i = 1; i <= rank; ++i) intercept -= coefficients[ivPermVec[i]] * mean[ivPermVec[i]];
  model->setIntercept(intercept);
  return model;
}

QUVENOwnPtr<QUVENLSModel> QUVENLSCholeskiFSData::getModel(const QUVENEnvHandle& env) {
  computeCoefficients();
  return getModel(getTrainVariance(getTrainResidSSQ(rank)), QUVEN_ENV);
}

double QUVENLSCholeskiFSData::getTrainVariance(double rss) const {
  return train->getVarianceEstimate(rss, tolerances[getNumFields()], floorOfVariance);
}

void QUVENLSCholeskiFSData::computeCoefficients() {
  if (rank > 0 && cachedVariable == ivPermVec[rank]) return;
  const long n = getNumFields();
  std::fill_n(coefficients.begin(), n - 1, 0.0);
  for (long i = 1; i <= rank; ++i) coefficients[ivPermVec[i]] = factor.getElements()[indexOf(i, n)];
  substituteBack(rank);
  cachedVariable = rank > 0 ? ivPermVec[rank] : 0;
}

/// The coefficients with one candidate more than those selected. They replace those of the current rank.
void QUVENLSCholeskiFSData::computeCandidateCoefficients(long candidateftr) {
  QUVEN_ASSERT(canSelectCandidateFeature(candidateftr));
  const long n = getNumFields();
  const QUVENXaRay<double>& element = factor.getElements();
  cachedVariable = 0;
  std::fill_n(coefficients.begin(), n - 1, 0.0);
  const double added = element[indexOf(candidateftr, n)] / element[indexOf(candidateftr, candidateftr)];
  coefficients[ivPermVec[candidateftr]] = added;
  for (long i = 1; i <= rank; ++i) {
    coefficients[ivPermVec[i]] = element[indexOf(i, n)] - added * element[indexOf(i, candidateftr)];
  }
  substituteBack(rank);
}

/// Solves L^T b = y for the positions up to the last one, y being what the coefficients hold.
void QUVENLSCholeskiFSData::substituteBack(long lastPosition) {
  const QUVENXaRay<double>& element = factor.getElements();
  for (long j = lastPosition; j >= 2; --j) {
    const double known = coefficients[ivPermVec[j]];
    for (long i = 1; i < j; ++i) coefficients[ivPermVec[i]] -= known * element[indexOf(i, j)];
  }
}

double QUVENLSCholeskiFSData::getScoreOfCoefficients(long modelRank) const {
  const double variance = getTrainVariance(getTrainResidSSQ(modelRank));
  return eval->getScore(getEvalResidSSQ(modelRank), variance);
}

double QUVENLSCholeskiFSData::getTrainResidSSQ(long modelRank) const {
  return train->getResidualSumOfSquares(train->getDataMean(), ivPermVec, coefficients, modelRank);
}

double QUVENLSCholeskiFSData::getEvalResidSSQ(long modelRank) const {
  return eval->getResidualSumOfSquares(train->getDataMean(), ivPermVec, coefficients, modelRank);
}

/// On both data the tolerance is that of the target in the train data.
QUVENLSFit QUVENLSCholeskiFSData::getFit(const QUVENLSData& data, double rss, double variance) const {
  return {data.getNumDataPoints(), rss, data.getScore(rss, variance),
          data.getScoreVariance(rss, variance, tolerances[getNumFields()], floorOfVariance)};
}
