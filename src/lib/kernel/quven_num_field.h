#ifndef QUVEN_NUM_FIELD_H
#define QUVEN_NUM_FIELD_H

#include "kernel/quven_field.h"
#include "kernel/quven_num_field_dist.h"

/// Computes the number of a field from the record.
class QUVENNumValueProducer : public QUVENObjectOf<QUVENNumValueProducer, QUVENObject> {
 public:
  /// Gives the value of the record; false for a missing one.
  virtual bool produceValue(QUVENDataPoint& point, double& value, const QUVENEnvHandle& env) = 0;

 protected:
  QUVENNumValueProducer() = default;
};

/// A column of numbers.
///
/// Lifetime: the producer of a computed field belongs to somebody else, who keeps it as long as the field.
class QUVENNumField : public QUVENObjectOf<QUVENNumField, QUVENField> {
 public:
  /// Gives the most quantiles that a distribution can have: bins are cut at every hundredth of such a sample.
  static constexpr std::int32_t DefaultSampleCapacity = 10000;

  explicit QUVENNumField(const QUVENEnvHandle& env);

  /// The most values that the sample keeps, 0 for none.
  /// Requires: no sample was begun.
  void setSampleCapacity(std::int32_t capacity, const QUVENEnvHandle& env);
  std::int32_t getSampleCapacity() const { return sampleCapacity; }
  void setValueProducer(QUVENNumValueProducer* producer) { valueProducer = producer; }
  bool isSampled() const { return ivSampleFlag != 0; }
  /// Null without sampling.
  const QUVENNumFieldDist* getDistribution() const { return ivNumFieldDistPtr.get(); }

  void markAsLineNumber(const QUVENEnvHandle& env) override;

  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle& env) const override;
  long getNumDistValues(const QUVENEnvHandle& env) const override;
  /// Sampling needs a distribution, which is made; without sampling there is none. Does nothing to a line number.
  void setSampleFlag(bool sample, const QUVENEnvHandle& env) override;
  void computeValue(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void reservedOperation(const QUVENEnvHandle& env) override;
  /// A value of a computed field that is not a number counts as missing.
  void updateDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) override;
  void beginDistributionPass(const QUVENEnvHandle& env) override;
  void endDistributionPass(const QUVENEnvHandle& env) override;
  /// Errors: a number has no text; the assertion "0".
  std::int32_t getIndexOfText(const QUVENStringWithHash& text, const QUVENEnvHandle& env) const override;
  /// The bin of a number, 0 without bins.
  std::int32_t getIndexOfValue(double value, const QUVENEnvHandle& env) const override;
  /// Errors: "Program control should never reach this point".
  const QUVENStringWithHash& getCategoryText(std::int32_t index, const QUVENEnvHandle& env) const override;
  bool hasDistribution() const override;
  double getGatheredCount() const override {
    return isGathering() ? ivNumFieldDistPtr->getCurrValidCount() + ivNumFieldDistPtr->getCurrMissingCount() : 0;
  }
  std::int32_t getDistributionPasses() const override { return isGathering() ? ivNumFieldDistPtr->getScansDone() : -1; }
  bool hasValueProducer() const override { return valueProducer != nullptr; }
  void sampleFromDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) override;

 private:
  void updateDistributionWith(std::uint32_t recordId, double value, const QUVENEnvHandle& env);
  bool isGathering() const { return ivSampleFlag != 0 && hasDistribution(); }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSampleFlag, std::int32_t) = 0;
  QUVEN_MEMBER(ivNumFieldDistPtr, QUVENOwnPtr<QUVENNumFieldDist>);
  QUVEN_STATE(sampleCapacity, std::int32_t) = DefaultSampleCapacity;
  QUVEN_STATE(valueProducer, QUVENNumValueProducer*) = nullptr;
};

#endif  // QUVEN_NUM_FIELD_H
