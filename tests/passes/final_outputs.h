#ifndef TESTS_PASSES_FINAL_OUTPUTS_H
#define TESTS_PASSES_FINAL_OUTPUTS_H

#include "pass_examples.h"

/// A model with outputs that are final from its second pass on. It computes an output of a record only when the output
/// has no value, and keeps a checksum of what its outputs hold.
class QUVENFinalOutputs : public QUVENObjectOf<QUVENFinalOutputs, QUVENPassModel> {
 public:
  explicit QUVENFinalOutputs(const QUVENEnvHandle& env) : Members(env) {}

  static inline long computed = 0;  // outputs of records, in this process

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivOutputs, QUVENModelOutputs);
  QUVEN_MEMBER(ivPassesLeft, std::int32_t) = 1;
  QUVEN_MEMBER(ivIsFinal, std::int32_t) = 0;
  QUVEN_MEMBER(ivScanType, std::int32_t) = 0;
  QUVEN_MEMBER(ivChecksum, std::int64_t) = 0;

  std::vector<std::int64_t> checksumsOfPasses;  // on rank 0

  /// Makes an output; all have different values.
  QUVENField& addOutput(std::string_view suffix, QUVENFieldNameMap& names, const QUVENEnvHandle& env);

  QUVENScanType getScanType(const QUVENEnvHandle&) const override { return static_cast<QUVENScanType>(ivScanType); }
  void collectFinalOutputs(std::vector<QUVENField*>& fields) const override;
  void beginRecords(const QUVENEnvHandle&) override { ivChecksum = 0; }
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;

 private:
  void compute(QUVENField& output, std::int32_t number, std::uint32_t record, const QUVENEnvHandle& env) const;
};

#endif  // TESTS_PASSES_FINAL_OUTPUTS_H
