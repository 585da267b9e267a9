#ifndef QUVEN_LIFT_CURVE_H
#define QUVEN_LIFT_CURVE_H

#include <limits>
#include <vector>

#include "kernel/quven_data_scan.h"

class QUVENNumField;

/// The records whose predictions are at or above the boundary of the bin and below that of the previous bin.
///
/// The error e of a record is its actual value minus the predicted one.
/// Source: T. F. Chan, G. H. Golub and R. J. LeVeque, "Updating formulae and a pairwise algorithm for computing sample
///         variances", 1979.
class QUVENLiftCurveBin : public QUVENObjectOf<QUVENLiftCurveBin, QUVENObject> {
 public:
  QUVENLiftCurveBin() = default;
  explicit QUVENLiftCurveBin(double boundary) : ivBinBoundaryValue(boundary) {}

  double getBinBoundaryValue() const { return ivBinBoundaryValue; }
  double getNumRecords() const { return ivNumRecords; }
  double getSumPredVal() const { return ivSumPredVal; }
  double getSumPredErr() const { return ivSumPredErr; }
  /// The sum of squared distances of e from its mean in the bin.
  double getSumSqrDev() const { return ivSumSqrDev; }
  /// The sum of the squared standard deviations of the predictions.
  double getSumSqrPredStdDev() const { return ivSumSqrPredStdDev; }
  /// The sum of (e / standard deviation)^2 over the records whose standard deviation is above 0.
  double getRelChiSqr() const { return ivRelChiSqr; }

  /// The mean of e; 0.0 without a record.
  double getMeanError() const { return ivNumRecords > 0 ? ivSumPredErr / ivNumRecords : 0; }
  /// The sum of e^2; 0.0 without a record.
  double getSumSqrErr() const {
    return ivNumRecords > 0 ? ivSumPredErr * ivSumPredErr / ivNumRecords + ivSumSqrDev : 0;
  }

  void add(double actual, double predicted, double stdDev);
  /// Adds the records of another bin. The boundary stays.
  void merge(const QUVENLiftCurveBin& other);
  /// Drops the records. The boundary stays.
  void clear();

 private:
  QUVEN_MEMBER(ivBinBoundaryValue, double) = 0;
  QUVEN_MEMBER(ivNumRecords, double) = 0;
  QUVEN_MEMBER(ivSumPredVal, double) = 0;
  QUVEN_MEMBER(ivSumPredErr, double) = 0;
  QUVEN_MEMBER(ivSumSqrDev, double) = 0;
  QUVEN_MEMBER(ivSumSqrPredStdDev, double) = 0;
  QUVEN_MEMBER(ivRelChiSqr, double) = 0;
};

/// A lift curve: records sorted by their predictions into bins, and quality numbers computed from the bins.
///
/// The object that owns the curve adds the records in a pass; the curve itself reads no field. A record whose
/// prediction is NaN or below the lowest boundary has no bin. It counts in getPts, getSumActVal and getVarActVal only.
/// Shapes: bins run 1..getNumBins(), their boundaries in descending order; bin 1 has the largest predictions.
/// Errors: at a verbosity of 2 or more each record without a bin gives the log line "WARNING: QUVENLiftCurve not
///         initialized in function updateLiftCurveStats()". A quality number that is requested before finalizeStats, or
///         of a curve with fewer than two bins, gives the same line with the name of its function; the result is 0.0
///         for getAreaAboveRandom and getRMSE, and NoQuality for the others.
class QUVENLiftCurve : public QUVENObjectOf<QUVENLiftCurve, QUVENMultiScan> {
 public:
  /// The value of a quality number that cannot be computed from the records.
  static constexpr double NoQuality = -std::numeric_limits<double>::max();
  /// The usage of a target for which getRSquared has its plain form.
  static constexpr std::int32_t PlainUsage = 3;
  /// The number of boundaries that initialize makes.
  static constexpr int NumBoundaries = 120;

  explicit QUVENLiftCurve(const QUVENEnvHandle& env) : Members(env) {}

  void setUsageValue(std::int32_t usage) { ivUsageValue = usage; }
  std::int32_t getUsageValue() const { return ivUsageValue; }
  /// Whether the distribution of a field has a value, as initialize requires.
  static bool canInitialize(const QUVENNumField& field);
  /// Makes 120 bins from the distribution of the predictions: their boundaries are quantiles, 0.5 % apart in the lowest
  /// and the highest tenth and 1 % apart in between. Equal quantiles make bins with equal boundaries; the first of
  /// these bins gets all the records.
  /// Errors: a field without a value in its distribution is an assertion failure.
  void initialize(const QUVENNumField& field, const QUVENEnvHandle& env);
  /// Adds an empty bin, in the order of the boundaries.
  /// Errors: NaN is an assertion failure.
  void addBin(double boundary, const QUVENEnvHandle& env);
  long getNumBins() const { return ivLiftCurveBin.getSize(); }
  /// Requires: 1 <= bin <= getNumBins(), an assertion failure otherwise.
  const QUVENLiftCurveBin& getBin(long bin) const { return ivLiftCurveBin.at(bin); }
  /// The number of all records, including those without a bin.
  double getPts() const { return ivPts; }
  double getSumActVal() const { return ivSumActVal; }
  /// The sum of squared distances of the actual values from their mean. A merge keeps only the sum of the merged part
  /// and the distance between the two groups, so the result depends on how the records were divided into groups.
  double getVarActVal() const { return ivVarActVal; }

  void updateLiftCurveStats(double actual, double predicted, double stdDev, const QUVENEnvHandle& env);
  /// Computes the cumulative numbers. Must be called again after more records.
  /// Errors: a curve with fewer than two bins gives the warning 3417 and has no quality numbers. A curve whose bins
  /// have no record at all gives the warning 3416.
  void finalizeStats(const QUVENEnvHandle& env);
  bool isFinalized() const { return finalized; }

  // After finalizeStats. Requires: 1 <= bin <= getNumBins(), an assertion failure otherwise or before finalizeStats.

  /// The records of the bins 1..bin.
  double getCumRecords(long bin) const { return cumRecords.at(bin); }
  /// The sum of the actual values of the bins 1..bin, computed as predictions plus errors.
  double getCumActual(long bin) const { return cumActual.at(bin); }
  /// The mean error of the bin divided by its standard error; 0.0 for fewer than two records. If all errors are equal
  /// it is infinity with their sign, or NaN if they are 0.
  double getZ(long bin) const { return zValues.at(bin); }

  /// The area between the curve of cumulative actual values over cumulative records and the straight line between its
  /// ends, by trapezoids.
  double getAreaAboveRandom(const QUVENEnvHandle& env) const;
  double getRMSE(const QUVENEnvHandle& env) const;
  /// 1 minus the variance of the errors divided by that of the actual values, at least 0. For a usage other than
  /// PlainUsage: a monotone function of the ratio of squared errors and predicted variances.
  double getRSquared(const QUVENEnvHandle& env) const;
  /// 1 minus the absolute correlation of the mean errors of neighbouring bins, without subtracting their means.
  double getAccuracyQuality(const QUVENEnvHandle& env) const;

  void beginRecords(const QUVENEnvHandle& env) override;
  /// Merges each bin with the bin of the same number.
  /// Errors: different numbers of bins are an assertion failure.
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  bool changesOnlyItsResults() const override { return true; }
  // During a scan, a handler that reports "Program control should never reach this point": the owner adds the records.
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle& env) const override;
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }

 private:
  void refuseRecord(QUVENDataPoint& point, const QUVENEnvHandle& env);
  long binOf(double predicted) const;
  bool isReady(const char* function, const QUVENEnvHandle& env) const;
  double sumOverBins(double (QUVENLiftCurveBin::*part)() const) const;

  QUVEN_MEMBER(ivPts, double) = 0;
  QUVEN_MEMBER(ivSumActVal, double) = 0;
  QUVEN_MEMBER(ivVarActVal, double) = 0;
  QUVEN_MEMBER(ivUsageValue, std::int32_t) = PlainUsage;
  QUVEN_MEMBER(ivLiftCurveBin, QUVENXaRay<QUVENLiftCurveBin, 0>);
  // By bin; computed by finalizeStats.
  QUVEN_STATE(cumRecords, QUVENXaRay<double>);
  QUVEN_STATE(cumActual, QUVENXaRay<double>);
  QUVEN_STATE(zValues, QUVENXaRay<double>);
  QUVEN_STATE(finalized, bool) = false;
};

#endif  // QUVEN_LIFT_CURVE_H
