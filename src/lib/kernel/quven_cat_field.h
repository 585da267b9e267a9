#ifndef QUVEN_CAT_FIELD_H
#define QUVEN_CAT_FIELD_H

#include "kernel/quven_cat_field_dist.h"
#include "kernel/quven_field.h"

/// Computes the text of a field from the record.
class QUVENCatValueProducer : public QUVENObjectOf<QUVENCatValueProducer, QUVENObject> {
 public:
  /// Gives the value of the record; false for a missing one.
  virtual bool produceValue(QUVENDataPoint& point, QUVENStringWithHash& value, const QUVENEnvHandle& env) = 0;

 protected:
  QUVENCatValueProducer() = default;
};

/// A column of texts.
///
/// Lifetime: the producer of a computed field belongs to somebody else, who keeps it as long as the field.
class QUVENCatField : public QUVENObjectOf<QUVENCatField, QUVENField> {
 public:
  static constexpr std::int32_t DefaultSampleCapacity = 10000;
  /// As many values as a numeric field has bins at most.
  static constexpr std::int32_t DefaultMaxCatsAllowed = 200;
  /// A text that was sampled once says nothing about others like it.
  static constexpr std::int32_t DefaultMinCatOccuranceThreshold = 2;

  explicit QUVENCatField(const QUVENEnvHandle& env);

  /// The most values that the sample keeps, 0 for none.
  /// Requires: no sample was begun.
  void setSampleCapacity(std::int32_t capacity, const QUVENEnvHandle& env);
  std::int32_t getSampleCapacity() const { return sampleCapacity; }
  // The limits of the categories hold from the end of the first pass on.
  void setMaxCatsAllowed(std::int32_t maxCats, const QUVENEnvHandle& env);
  std::int32_t getMaxCatsAllowed() const { return maxCatsAllowed; }
  void setMinCatOccuranceThreshold(std::int32_t minOccurance, const QUVENEnvHandle& env);
  std::int32_t getMinCatOccuranceThreshold() const { return minCatOccuranceThreshold; }
  void setValueProducer(QUVENCatValueProducer* producer) { valueProducer = producer; }
  bool isSampled() const { return ivSampleFlag != 0; }
  /// Null without sampling.
  const QUVENCatFieldDist* getDistribution() const { return ivCatFieldDistPtr.get(); }

  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle& env) const override;
  long getNumDistValues(const QUVENEnvHandle& env) const override;
  /// Sampling needs a distribution, which is made; without sampling there is none.
  void setSampleFlag(bool sample, const QUVENEnvHandle& env) override;
  void computeValue(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void reservedOperation(const QUVENEnvHandle& env) override;
  void updateDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) override;
  void beginDistributionPass(const QUVENEnvHandle& env) override;
  void endDistributionPass(const QUVENEnvHandle& env) override;
  /// The category of a text, the default one without categories.
  std::int32_t getIndexOfText(const QUVENStringWithHash& text, const QUVENEnvHandle& env) const override;
  /// Errors: "Program control should never reach this point".
  std::int32_t getIndexOfValue(double value, const QUVENEnvHandle& env) const override;
  /// The text of a category, empty for the default one.
  /// Errors: an index beyond the categories is an assertion failure.
  const QUVENStringWithHash& getCategoryText(std::int32_t index, const QUVENEnvHandle& env) const override;
  bool hasDistribution() const override;
  double getGatheredCount() const override {
    return isGathering() ? ivCatFieldDistPtr->getCurrValidCount() + ivCatFieldDistPtr->getCurrMissingCount() : 0;
  }
  std::int32_t getDistributionPasses() const override { return isGathering() ? ivCatFieldDistPtr->getScansDone() : -1; }
  bool hasValueProducer() const override { return valueProducer != nullptr; }
  void sampleFromDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) override;

 private:
  bool isGathering() const { return ivSampleFlag != 0 && hasDistribution(); }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSampleFlag, std::int32_t) = 0;
  QUVEN_MEMBER(ivCatFieldDistPtr, QUVENOwnPtr<QUVENCatFieldDist>);
  QUVEN_STATE(sampleCapacity, std::int32_t) = DefaultSampleCapacity;
  QUVEN_STATE(maxCatsAllowed, std::int32_t) = DefaultMaxCatsAllowed;
  QUVEN_STATE(minCatOccuranceThreshold, std::int32_t) = DefaultMinCatOccuranceThreshold;
  QUVEN_STATE(valueProducer, QUVENCatValueProducer*) = nullptr;
};

#endif  // QUVEN_CAT_FIELD_H
