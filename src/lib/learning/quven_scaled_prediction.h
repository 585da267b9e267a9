#ifndef QUVEN_SCALED_PREDICTION_H
#define QUVEN_SCALED_PREDICTION_H

#include "kernel/quven_data_scan.h"
#include "kernel/quven_field.h"

/// Converts the prediction of a model to the scale of the target and stores it in a separate field, for the scans that
/// judge it.
///
/// It has no results and needs no pass: the driver calls scale after the model has scored a record.
/// Values:   with F the prediction on channel 1: the probability 1 / (1 + exp(-2 F)) for a logistic loss, exp(F) for a
///           Poisson loss, F for the others; the same for the losses with a link. NaN where the result is infinite.
/// Lifetime: the fields are borrowed.
class QUVENScaledPrediction : public QUVENObjectOf<QUVENScaledPrediction, QUVENMultiScan> {
 public:
  explicit QUVENScaledPrediction(const QUVENEnvHandle& env) : Members(env) {}

  /// lossId: the number of a loss function.
  static double valueOf(std::int32_t lossId, double prediction);
  /// The target that such a value is compared with: 0 for the class -1 of a logistic loss, else the target itself.
  static double actualOf(std::int32_t lossId, double target);

  void setFields(QUVENField* prediction, QUVENField* scaled, std::int32_t lossId);
  /// Requires: the model has scored the present record.
  void scale(const QUVENEnvHandle& env);

  bool hasScanResult(const QUVENEnvHandle&) const override { return false; }
  bool changesOnlyItsResults() const override { return true; }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle&) const override { return nullptr; }
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 0; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }

 private:
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPredictionFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivScaledFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLossId, std::int32_t) = 1;
};

#endif  // QUVEN_SCALED_PREDICTION_H
