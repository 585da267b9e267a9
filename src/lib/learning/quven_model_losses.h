#ifndef QUVEN_MODEL_LOSSES_H
#define QUVEN_MODEL_LOSSES_H

#include <array>

#include "kernel/quven_data_scan.h"
#include "kernel/quven_field_name_map.h"

/// The losses of a trained model over the records of a training, gathered in one pass: the mean squared error of its
/// prediction, weighted by the case weight.
///
/// A record whose target is missing or NaN has no loss. A weight that is missing, NaN or below 0 counts as 0.0.
class QUVENModelLosses : public QUVENObjectOf<QUVENModelLosses, QUVENMultiScan> {
 public:
  enum Kind : std::int32_t {
    Train = 1,    ///< the records of channels 2 and up, predicted by the model of channel 1
    Folds = 2,    ///< those of each fold, predicted by the model of its channel
    HeldOut = 3,  ///< those of channel 2, by its own model
    Test = 4      ///< those of channel 1, by its own model
  };
  static constexpr std::int32_t NumKinds = 4;

  explicit QUVENModelLosses(const QUVENEnvHandle& env) : Members(env) {}

  /// The fields of the model: target and prediction, and the case weight or null.
  void setFields(QUVENField* target, QUVENField* prediction, QUVENField* caseWeight);

  /// NaN when the records of the kind have no weight.
  double getLoss(Kind kind) const;
  /// The records of a channel that the pass has seen, those without a target too. Channels run 1..C.
  double getRecords(long channel) const { return ivRecords.at(channel); }
  /// The weight of all records with a target.
  double getTotalWeight() const { return ivTotalWeight; }

  void beginRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  bool changesOnlyItsResults() const override { return true; }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }

 private:
  void observe(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void add(Kind kind, double target, double prediction, double weight);

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTargetFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPredictionFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivCaseWeightFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivWeights, QUVENXaRay<double>);  // per kind
  QUVEN_MEMBER(ivLosses, QUVENXaRay<double>);   // per kind, weighted sums
  QUVEN_MEMBER(ivRecords, QUVENXaRay<double>);  // per channel
  QUVEN_MEMBER(ivTotalWeight, double) = 0;
};

#endif  // QUVEN_MODEL_LOSSES_H
