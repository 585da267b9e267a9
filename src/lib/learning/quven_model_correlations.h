#ifndef QUVEN_MODEL_CORRELATIONS_H
#define QUVEN_MODEL_CORRELATIONS_H

#include "kernel/quven_field_name_map.h"
#include "learning/quven_trans_reg_residual_model.h"

/// The correlations of the transforms of some inputs with each other and with the target, on the records that train
/// channel 1.
///
/// The transforms are those of a residual model that is trained only to get them and released afterwards. It runs in
/// the passes of this scan, after two passes in which fields without distributions gather them.
/// Shapes:   the fields are the inputs that have a transform, in the order of the regression over the transforms, then
///           the target. If no input has a transform, they are the inputs themselves and the target.
/// Units:    from -1 to 1; 0.0 if one of the two fields has no variance beyond rounding; 1.0 of each field with itself.
class QUVENModelCorrelations : public QUVENObjectOf<QUVENModelCorrelations, QUVENMultiScan> {
 public:
  explicit QUVENModelCorrelations(const QUVENEnvHandle& env) : Members(env) {}

  /// Requires: no scan is in progress; the residual model has its inputs and its names, and no mode.
  void setResidualModel(QUVENOwnPtr<QUVENTransRegResidualModel>&& model);
  /// Null before setResidualModel, and once it has finished.
  const QUVENTransRegResidualModel* getResidualModel() const { return ivTregResidPtr.get(); }
  /// Empty until the residual model has finished.
  const QUVENFieldCorrelations& getCorrelations() const { return correlations; }
  /// 0: not begun; 1 or 2: in a pass for distributions; 3: the residual model scans; -3: finished.
  std::int32_t getScanCount() const { return ivScanCount; }

  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;
  /// The results are those of the residual model and its parts.
  bool hasScanResult(const QUVENEnvHandle&) const override { return false; }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  bool changesOnlyItsResults() const override { return true; }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  /// Errors: no residual model, or one that does not begin, reports "Program control should never reach this point".
  int beginDataScanPrimitive(const QUVENEnvHandle& env) override;
  /// Errors: as for beginDataScanPrimitive.
  int endDataScanPrimitive(const QUVENEnvHandle& env) override;

 private:
  static constexpr std::int32_t FirstPass = 1;
  static constexpr std::int32_t TrainsModel = 3;

  bool isModelScanning() const { return ivTregResidPtr != nullptr && ivTregResidPtr->isScanning(); }
  void beginModel(const QUVENEnvHandle& env);
  void fillCorrelations(const QUVENEnvHandle& env);
  void passOver(QUVENDataPoint&, const QUVENEnvHandle&) {}
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) { ivTregResidPtr->update(point, env); }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTregResidPtr, QUVENOwnPtr<QUVENTransRegResidualModel>);
  QUVEN_MEMBER(correlations, QUVENFieldCorrelations);
  QUVEN_MEMBER(ivScanCount, std::int32_t) = 0;
};

#endif  // QUVEN_MODEL_CORRELATIONS_H
