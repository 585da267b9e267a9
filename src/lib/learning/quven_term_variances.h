#ifndef QUVEN_TERM_VARIANCES_H
#define QUVEN_TERM_VARIANCES_H

#include "kernel/quven_data_scan.h"
#include "kernel/quven_field_name_map.h"

/// The variances of the terms of a prediction over the records of a training, gathered in one pass. A term is a factor
/// times a numeric field; of both it is what channel 1 has.
///
/// The records are those of channels 2 and up, with or without a target; each counts once. A record in which a term is
/// NaN or infinite is left out of that term.
/// Shapes: terms run 1..getNumTerms(), in the order in which they were added.
/// Source: T. F. Chan, G. H. Golub and R. J. LeVeque, "Updating formulae and a pairwise algorithm for computing sample
///         variances", 1979.
class QUVENTermVariances : public QUVENObjectOf<QUVENTermVariances, QUVENMultiScan> {
 public:
  explicit QUVENTermVariances(const QUVENEnvHandle& env) : Members(env) {}

  /// Adds a term and returns its number. The field is borrowed.
  long addTerm(QUVENField* field, double factor, const QUVENEnvHandle& env);
  long getNumTerms() const { return ivFields.getSize(); }
  /// The mean squared distance from the mean; 0.0 without a record.
  double getVariance(long term) const;

  void beginRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }

 private:
  void observe(QUVENDataPoint& point, const QUVENEnvHandle& env);

  // By term.
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFields, QUVENXaRay<QUVENField*>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFactors, QUVENXaRay<double>);
  QUVEN_MEMBER(ivCounts, QUVENXaRay<double>);
  QUVEN_MEMBER(ivMeans, QUVENXaRay<double>);
  QUVEN_MEMBER(ivSquares, QUVENXaRay<double>);  // sums of squared distances from the mean
};

#endif  // QUVEN_TERM_VARIANCES_H
