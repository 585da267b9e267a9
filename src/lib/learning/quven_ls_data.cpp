#include "learning/quven_ls_data.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kernel/quven_packed_triangle.h"
#include "util/quven_clamp.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLSEnvGlobalVector);
QUVEN_REGISTER(QUVENLSData);

namespace {

constexpr double epsilon = 0x1p-23;  // relative size of what counts as noise
const double pi = 4 * std::atan(1.0);

/// Adds a record x to the means and to the triangle of cross products. shareOfNew and shareOfOld are the parts of the
/// record and of the earlier records in the weight.
/// Shapes: x, mean, delta: n numbers from 0; delta is scratch. With n as a constant the loops become straight code,
///         which is twice as fast for a few variables.
template <long constantN>
void addRecord(double* __restrict mean, double* __restrict triangle, double* __restrict delta,
               const double* __restrict x, long anyN, double shareOfNew, double shareOfOld, double factor) {
  const long n = constantN > 0 ? constantN : anyN;
  double few[constantN > 0 ? constantN : 1];
  double* const d = constantN > 0 ? few : delta;
  for (long i = 0; i < n; ++i) {
    mean[i] = shareOfNew * x[i] + shareOfOld * mean[i];
    d[i] = x[i] - mean[i];
  }
  quvenAddPackedSquare(triangle, d, n, factor);
}

using AddRecord = void (*)(double* mean, double* triangle, double* delta, const double* x, long n, double shareOfNew,
                           double shareOfOld, double factor);
/// By the number of variables. Entry 0 is for any number of them.
constexpr std::array<AddRecord, 9> addRecordOf = {addRecord<0>, addRecord<1>, addRecord<2>, addRecord<3>, addRecord<4>,
                                                  addRecord<5>, addRecord<6>, addRecord<7>, addRecord<8>};

}  // namespace

QUVENLSEnvGlobalVector& QUVENLSEnvGlobalVector::get(const QUVENEnvHandle& env) {
  static const QUVENStringWithHash key("QUVENLSData::cv");
  return *QUVENEnv::getGlobal<QUVENLSEnvGlobalVector>(key, QUVEN_ENV);
}

void QUVENLSData::allocate(long n, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(0 <= n && n <= quvenMostPackedRows);
  ivDataMean.setSize(n, QUVEN_ENV);
  ivDataCov.setSize(quvenPackedIndex(n, n), QUVEN_ENV);
  std::fill(ivDataMean.begin(), ivDataMean.end(), 0.0);
  std::fill(ivDataCov.begin(), ivDataCov.end(), 0.0);
  ivNumDataPoints = ivSumCaseWeights = ivSumCaseWeights2 = 0;
  ivSumCaseXInvVarWeights = ivSumCaseXLogInvVarWeights = 0;
  findScratch(QUVEN_ENV);
}

void QUVENLSData::findScratch(const QUVENEnvHandle& env) {
  scratch = &QUVENLSEnvGlobalVector::get(QUVEN_ENV);
  scratch->getDeltaVector().autoExtend(getNumFields(), QUVEN_ENV);
}

void QUVENLSData::addDataPoint(const QUVENXaRay<double>& values, double w, double v) {
  QUVEN_ASSERT(values.getSize() == getNumFields());
  ivNumDataPoints += 1.0;
  if (w <= 0 || v <= 0) return;
  const long n = getNumFields();
  const double p = w * v;
  const double oldWeight = ivSumCaseXInvVarWeights;
  const double weight = oldWeight + p;
  ivSumCaseWeights += w;
  ivSumCaseWeights2 += w * w;
  ivSumCaseXInvVarWeights = weight;
  if (v > 0 && v != 1.0) ivSumCaseXLogInvVarWeights += w * std::log(v);
  if (n == 0) return;

  const double shareOfNew = weight > 0 ? p / weight : 0.0;
  const double shareOfOld = weight > 0 ? oldWeight / weight : 0.0;
  // The first record with a weight has no deviation from its own mean.
  const double factor = oldWeight > 0 ? p * weight / oldWeight : 0.0;
  const std::size_t entry = n < static_cast<long>(addRecordOf.size()) ? static_cast<std::size_t>(n) : 0;
  addRecordOf[entry](&ivDataMean[1], &ivDataCov[1], &scratch->getDeltaVector()[1], &values[1], n, shareOfNew,
                     shareOfOld, factor);
}

void QUVENLSData::merge(const QUVENLSData& source, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(getNumFields() == source.getNumFields());
  QUVEN_ASSERT(this != &source);
  const long n = getNumFields();
  const double mine = ivSumCaseXInvVarWeights;
  const double others = source.ivSumCaseXInvVarWeights;
  const double both = mine + others;
  const double f = both > 0 ? mine / both : 0.0;
  const double g = 1 - f;
  if (n > 0) {
    findScratch(QUVEN_ENV);
    double* const delta = scratch->getDeltaVector().begin();
    // Clamped as in a stream: statistics that overflow are the same, wherever their parts were gathered.
    clampStatistics();
    for (long i = 1; i <= n; ++i) {
      const double theirs = quvenClampDouble(source.ivDataMean[i]);
      ivDataMean[i] = f * ivDataMean[i] + g * theirs;
      delta[i - 1] = ivDataMean[i] - theirs;
    }
    std::transform(ivDataCov.begin(), ivDataCov.end(), source.ivDataCov.begin(), ivDataCov.begin(),
                   [](double a, double b) { return a + quvenClampDouble(b); });
    quvenAddPackedSquare(ivDataCov.begin(), delta, n, mine > 0 ? both * others / mine : 0.0);
    clampStatistics();
  }
  ivNumDataPoints += source.ivNumDataPoints;
  ivSumCaseWeights += source.ivSumCaseWeights;
  ivSumCaseWeights2 += source.ivSumCaseWeights2;
  ivSumCaseXInvVarWeights = both;
  ivSumCaseXLogInvVarWeights += source.ivSumCaseXLogInvVarWeights;
}

void QUVENLSData::clampStatistics() {
  quvenClampAll({ivDataMean.begin(), ivDataMean.end()});
  quvenClampAll({ivDataCov.begin(), ivDataCov.end()});
}

void QUVENLSData::releaseStatistics(const QUVENEnvHandle& env) {
  ivDataMean.deleteMemory(QUVEN_ENV);
  ivDataCov.deleteMemory(QUVEN_ENV);
}

double QUVENLSData::covariance(long i, long j) const {
  return i <= j ? ivDataCov[quvenPackedIndex(i, j)] : ivDataCov[quvenPackedIndex(j, i)];
}

double QUVENLSData::getResidualSumOfSquares(const QUVENXaRay<double>& meanOfFit,
                                            const QUVENXaRay<std::int32_t>& permutation,
                                            const QUVENXaRay<double>& coefficients, long rank) const {
  const long n = getNumFields();
  QUVEN_ASSERT(n > 0);
  double quadratic = 0;
  double linear = 0;
  double meanResidual = -(meanOfFit[n] - ivDataMean[n]);
  for (long i = 1; i <= rank; ++i) {
    const long p = permutation[i];
    const double b = coefficients[p];
    double row = 0;
    for (long j = 1; j < i; ++j) row += covariance(p, permutation[j]) * coefficients[permutation[j]];
    quadratic += b * (2 * row + covariance(p, p) * b);
    linear += b * covariance(p, n);
    meanResidual += (meanOfFit[p] - ivDataMean[p]) * b;
  }
  return quadratic - 2 * linear + covariance(n, n) + ivSumCaseXInvVarWeights * meanResidual * meanResidual;
}

double QUVENLSData::getTolerance(long i) const {
  const double mean = ivDataMean.at(i);
  const double c = std::max(0.0, covariance(i, i));
  return (2 * mean * mean * ivSumCaseXInvVarWeights + c) * (epsilon * epsilon) + epsilon * c;
}

double QUVENLSData::getVarianceEstimate(double rss, double tolerance, double floorFactor) const {
  const double weight = ivSumCaseXInvVarWeights;
  double lowest = floorFactor / (ivNumDataPoints + 1);
  if (weight > 0) lowest *= weight;
  const double sum = std::max(lowest, std::max(rss, tolerance));
  return weight > 0 ? sum / weight : sum;
}

double QUVENLSData::getScore(double rss, double variance) const {
  return 0.5 * (std::log(2 * pi * variance) * ivSumCaseWeights - ivSumCaseXLogInvVarWeights + rss / variance);
}

double QUVENLSData::getScoreVariance(double rss, double variance, double tolerance, double floorFactor) const {
  const double q = getVarianceEstimate(rss, tolerance, floorFactor) / variance;
  return 0.5 * ivNumDataPoints * ivSumCaseWeights2 * q * q;
}

void QUVENLSData::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  findScratch(QUVEN_ENV);
}

void QUVENLSData::transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) {
  Members::transferFromPrimitive(source, QUVEN_ENV);
  findScratch(QUVEN_ENV);
}

void QUVENLSData::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(ivDataCov.getSize() == quvenPackedIndex(getNumFields(), getNumFields()));
  findScratch(QUVEN_ENV);
}
