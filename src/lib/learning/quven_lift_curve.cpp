#include "learning/quven_lift_curve.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "kernel/quven_num_field.h"
#include "learning/quven_scan_log.h"
#include "util/quven_clamp.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENLiftCurveBin);
QUVEN_REGISTER(QUVENLiftCurve);

namespace {

constexpr int NoRecords = 3416;
constexpr int NoBins = 3417;
constexpr const char* noBinsText = "Warning: no bins found in QUVENLiftCurve::finalizeStats";

void warn(const char* function, const QUVENEnvHandle& env) {
  QUVENScanLog::write(QUVENScanLog::WarningLevel,
                      std::string("WARNING: QUVENLiftCurve not initialized in function ") + function, QUVEN_ENV);
}

void addClamped(double& sum, double added) { quvenAddClamped({&sum, 1}, {&added, 1}); }

/// The share of the records below boundary i, i = 1..120.
double fractionOf(int i) {
  constexpr int lastOfLowTenth = 20;
  constexpr int lastOfMiddle = 100;
  if (i <= lastOfLowTenth) return 0.005 * i;
  if (i <= lastOfMiddle) return 0.01 * (i - lastOfLowTenth) + 0.1;
  return 0.005 * (i - lastOfMiddle) + 0.9;
}

/// The quantiles of the distribution of a field, by linear interpolation in its bins.
class Quantiles {
 public:
  explicit Quantiles(const QUVENNumField& field) {
    const QUVENNumFieldDist* const distribution = field.getDistribution();
    for (long i = 1; distribution != nullptr && i <= distribution->getNumBins(); ++i) {
      const QUVENNumFieldBin& bin = distribution->getBin(i);
      if (bin.getCount() < 1) continue;
      cumCounts.push_back(getTotal() + bin.getCount());
      upper.push_back(bin.getMaxValue());
      lower.push_back(bin.getMinValue());
    }
  }
  long getNumBins() const { return static_cast<long>(cumCounts.size()); }
  /// Requires: getNumBins() >= 1.
  double at(double fraction) const {
    const double wanted = std::min(fraction * getTotal(), getTotal());
    const auto bin = std::lower_bound(cumCounts.begin(), cumCounts.end(), wanted);
    const auto i = static_cast<std::size_t>(bin - cumCounts.begin());
    const double below = i == 0 ? 0 : cumCounts[i - 1];
    return std::lerp(lower[i], upper[i], (wanted - below) / (cumCounts[i] - below));
  }

 private:
  double getTotal() const { return cumCounts.empty() ? 0 : cumCounts.back(); }

  // Of the bins that have values, ascending.
  std::vector<double> cumCounts;
  std::vector<double> upper;
  std::vector<double> lower;
};

}  // namespace

void QUVENLiftCurveBin::add(double actual, double predicted, double stdDev) {
  const double error = actual - predicted;
  const double distanceBefore = error - getMeanError();
  const bool isFirst = ivNumRecords < 1;
  ivNumRecords += 1;
  ivSumPredVal += predicted;
  ivSumPredErr += error;
  if (!isFirst) ivSumSqrDev += (error - getMeanError()) * distanceBefore;
  ivSumSqrPredStdDev += stdDev * stdDev;
  if (stdDev > 0) ivRelChiSqr += (error / stdDev) * (error / stdDev);
}

void QUVENLiftCurveBin::merge(const QUVENLiftCurveBin& other) {
  const double n = ivNumRecords;
  const double m = other.ivNumRecords;
  if (m <= 0) return;
  addClamped(ivSumSqrDev, other.ivSumSqrDev);
  if (n > 0) {
    const double distance = quvenClampDouble(other.ivSumPredErr) / m - quvenClampDouble(ivSumPredErr) / n;
    addClamped(ivSumSqrDev, distance * distance * (n * (m / (n + m))));
  }
  ivNumRecords = n + m;
  addClamped(ivSumPredVal, other.ivSumPredVal);
  addClamped(ivSumPredErr, other.ivSumPredErr);
  addClamped(ivSumSqrPredStdDev, other.ivSumSqrPredStdDev);
  addClamped(ivRelChiSqr, other.ivRelChiSqr);
}

void QUVENLiftCurveBin::clear() {
  for (double* sum : {&ivNumRecords, &ivSumPredVal, &ivSumPredErr, &ivSumSqrDev, &ivSumSqrPredStdDev, &ivRelChiSqr}) {
    *sum = 0;
  }
}

// The bins

bool QUVENLiftCurve::canInitialize(const QUVENNumField& field) { return Quantiles(field).getNumBins() >= 1; }

void QUVENLiftCurve::initialize(const QUVENNumField& field, const QUVENEnvHandle& env) {
  const Quantiles quantiles(field);
  const long numbins = quantiles.getNumBins();
  QUVEN_ASSERT(numbins >= 1);
  ivLiftCurveBin.setSize(0, QUVEN_ENV);
  beginRecords(QUVEN_ENV);
  for (int i = 1; i <= NumBoundaries; ++i) addBin(quantiles.at(fractionOf(i)), QUVEN_ENV);
}

void QUVENLiftCurve::addBin(double boundary, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(!std::isnan(boundary));
  finalized = false;
  ivLiftCurveBin.append(QUVENLiftCurveBin(boundary), QUVEN_ENV);
  const auto last = ivLiftCurveBin.end() - 1;
  const auto place = std::find_if(ivLiftCurveBin.begin(), last, [boundary](const QUVENLiftCurveBin& bin) {
    return bin.getBinBoundaryValue() < boundary;
  });
  std::rotate(place, last, ivLiftCurveBin.end());
}

/// The first bin from the top whose boundary is not above the prediction; getNumBins() + 1 without one.
long QUVENLiftCurve::binOf(double predicted) const {
  if (std::isnan(predicted)) return getNumBins() + 1;
  const auto bin = std::partition_point(
      ivLiftCurveBin.begin(), ivLiftCurveBin.end(),
      [predicted](const QUVENLiftCurveBin& above) { return above.getBinBoundaryValue() > predicted; });
  return bin - ivLiftCurveBin.begin() + 1;
}

// Records

void QUVENLiftCurve::updateLiftCurveStats(double actual, double predicted, double stdDev, const QUVENEnvHandle& env) {
  finalized = false;
  if (ivPts < 1.0) {
    ivPts = 1.0;
    ivSumActVal = actual;
    ivVarActVal = 0.0;
  } else {
    const double distance = actual - ivSumActVal / ivPts;
    ivPts += 1;
    ivSumActVal += actual;
    ivVarActVal += (actual - ivSumActVal / ivPts) * distance;
  }
  const long bin = binOf(predicted);
  if (bin > getNumBins()) return warn("updateLiftCurveStats()", QUVEN_ENV);
  ivLiftCurveBin[bin].add(actual, predicted, stdDev);
}

void QUVENLiftCurve::beginRecords(const QUVENEnvHandle&) {
  ivPts = ivSumActVal = ivVarActVal = 0;
  for (QUVENLiftCurveBin& bin : ivLiftCurveBin) bin.clear();
  finalized = false;
}

bool QUVENLiftCurve::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENLiftCurve&>(*other);
  QUVEN_ASSERT(part.getNumBins() == getNumBins());
  finalized = false;
  if (part.ivPts >= 1.0) {
    if (ivPts < 1.0) {
      ivPts = part.ivPts;
      ivSumActVal = part.ivSumActVal;
      ivVarActVal = part.ivVarActVal;
    } else {
      const double total = ivPts + part.ivPts;
      const double weight = total * part.ivPts / ivPts;
      addClamped(ivSumActVal, part.ivSumActVal);
      const double distance = ivSumActVal / total - quvenClampDouble(part.ivSumActVal) / part.ivPts;
      // Dropping the earlier ivVarActVal is part of the definition of R squared; do not correct.
      ivVarActVal = part.ivVarActVal;
      addClamped(ivVarActVal, weight * distance * distance);
      ivPts = total;
    }
  }
  for (long bin = 1; bin <= getNumBins(); ++bin) ivLiftCurveBin[bin].merge(part.ivLiftCurveBin[bin]);
  return true;
}

QUVENDataScan::UpdateFunction QUVENLiftCurve::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENLiftCurve::refuseRecord) : nullptr;
}
QUVENDataScan::UpdateFunction QUVENLiftCurve::getUpdateFunction2(const QUVENEnvHandle& env) const {
  return getUpdateFunction(QUVEN_ENV);
}
void QUVENLiftCurve::refuseRecord(QUVENDataPoint&, const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }

// Results

void QUVENLiftCurve::finalizeStats(const QUVENEnvHandle& env) {
  finalized = false;
  if (getNumBins() < 2) {
    QUVENScanLog::write(QUVENScanLog::WarningLevel, noBinsText, QUVEN_ENV);
    report_warning(NoBins, noBinsText);
    return;
  }
  if (sumOverBins(&QUVENLiftCurveBin::getNumRecords) == 0) {
    report_warning(NoRecords, "Warning: no records found in QUVENLiftCurve::finalizeStats");
  }
  for (QUVENXaRay<double>* derived : {&cumRecords, &cumActual, &zValues}) derived->setSize(getNumBins(), QUVEN_ENV);
  double records = 0;
  double actual = 0;
  for (long i = 1; i <= getNumBins(); ++i) {
    const QUVENLiftCurveBin& bin = ivLiftCurveBin[i];
    const double n = bin.getNumRecords();
    cumRecords[i] = records += n;
    cumActual[i] = actual += bin.getSumPredVal() + bin.getSumPredErr();
    zValues[i] = n < 2.0 ? 0 : bin.getMeanError() / std::sqrt(bin.getSumSqrDev() / (n - 1) / n);
  }
  finalized = true;
}

/// Whether finalizeStats has made the results; writes a warning with the name of the function if it has not.
bool QUVENLiftCurve::isReady(const char* function, const QUVENEnvHandle& env) const {
  if (!finalized) warn(function, QUVEN_ENV);
  return finalized;
}

double QUVENLiftCurve::sumOverBins(double (QUVENLiftCurveBin::*part)() const) const {
  double sum = 0;
  for (const QUVENLiftCurveBin& bin : ivLiftCurveBin) {
    if (bin.getNumRecords() > 0) sum += (bin.*part)();
  }
  return sum;
}

double QUVENLiftCurve::getAreaAboveRandom(const QUVENEnvHandle& env) const {
  constexpr const char* function = "getAreaAboveRandom()";
  if (!isReady(function, QUVEN_ENV)) return 0;
  const double total = cumRecords[getNumBins()];
  if (total <= 0) {
    warn(function, QUVEN_ENV);
    return 0;
  }
  const double slope = cumActual[getNumBins()] / total;
  double area = 0;
  double c = 0;
  double g = 0;
  for (long i = 1; i <= getNumBins(); ++i) {
    area += ((cumActual[i] + g) / 2 - (cumRecords[i] + c) / 2 * slope) * (cumRecords[i] - c);
    c = cumRecords[i];
    g = cumActual[i];
  }
  return area;
}

double QUVENLiftCurve::getRMSE(const QUVENEnvHandle& env) const {
  if (!isReady("getRMSE()", QUVEN_ENV)) return 0;
  const double records = cumRecords[getNumBins()];
  const double squares = sumOverBins(&QUVENLiftCurveBin::getSumSqrErr);
  return squares < 0 || records < 1.0 ? NoQuality : std::sqrt(squares / records);
}

double QUVENLiftCurve::getRSquared(const QUVENEnvHandle& env) const {
  if (!isReady("getRSquared()", QUVEN_ENV)) return NoQuality;
  if (ivUsageValue == PlainUsage) {
    const double rmse = getRMSE(QUVEN_ENV);
    if (rmse < 0) return rmse;
    const double error = rmse * rmse * ivPts;
    if (ivVarActVal <= 0) return 1;
    return error >= ivVarActVal ? 0 : 1 - error / ivVarActVal;
  }
  constexpr double compression = 6.23;  // fixed, so that the numbers of different models can be compared
  const double squares = sumOverBins(&QUVENLiftCurveBin::getSumSqrErr);
  const double expected = sumOverBins(&QUVENLiftCurveBin::getRelChiSqr);
  if (!(cumRecords[getNumBins()] >= 1.0 && expected > 0)) return NoQuality;
  const double u = std::exp(compression * squares / expected) - 1;
  const double v = std::log(u + std::exp(compression));
  return v > 0 ? compression / v : NoQuality;
}

double QUVENLiftCurve::getAccuracyQuality(const QUVENEnvHandle& env) const {
  if (!isReady("getAccuracyQuality()", QUVEN_ENV)) return NoQuality;
  double products = 0;
  double squaresOfFirst = 0;
  double squaresOfSecond = 0;
  for (long i = 1; i < getNumBins(); ++i) {
    const double a = ivLiftCurveBin[i].getMeanError();
    const double b = ivLiftCurveBin[i + 1].getMeanError();
    products += a * b;
    squaresOfFirst += a * a;
    squaresOfSecond += b * b;
  }
  if (squaresOfFirst <= 0 || squaresOfSecond <= 0) return NoQuality;
  return 1 - std::abs(products / std::sqrt(squaresOfFirst * squaresOfSecond));
}
