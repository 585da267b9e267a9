#ifndef QUVEN_SIMPLE_ALGORITHM_PROTOCOL_H
#define QUVEN_SIMPLE_ALGORITHM_PROTOCOL_H

#include "passes/quven_scan_protocol.h"

/// Simple algorithms in the pass driver: models that are never told of a last pass, because a stage other than 0 ends
/// nothing, and that score nothing.
class QUVENSimpleAlgorithmProtocol : public QUVENModelProtocol {
 public:
  const QUVENTypeName& getScanClass() const override;
  /// A share of the records is one of whole lines, so that the row of a caller stays on one rank.
  QUVENScanType readingModeOf(QUVENScanType wanted, bool hasLines) const override {
    return wanted == QUVENScanType::Slice && hasLines ? QUVENScanType::Lines : wanted;
  }
  /// Errors: an analysis that has finished without ending its pass is an assertion failure.
  void end(QUVENDataScan& scan, std::int32_t lastPass, const QUVENEnvHandle& env) const override;
  bool canScore(const QUVENDataScan&) const override { return false; }
};

#endif  // QUVEN_SIMPLE_ALGORITHM_PROTOCOL_H
