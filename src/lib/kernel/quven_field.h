#ifndef QUVEN_FIELD_H
#define QUVEN_FIELD_H

// One column of the data: its name and role, the value of the current record, its distribution.

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "kernel/quven_category_numbers.h"
#include "kernel/quven_data_scan.h"
#include "util/quven_debug.h"
#include "util/quven_string.h"

/// What an environment's fields have in common.
class QUVENFieldGlobalVars : public QUVENObjectOf<QUVENFieldGlobalVars, QUVENObject> {
 public:
  static QUVENFieldGlobalVars& get(const QUVENEnvHandle& env);

  std::int32_t getGlobalNumChannels() const { return ivGlobalNumChannels; }
  /// Set by the driver before it makes the first scan.
  void setGlobalNumChannels(std::int32_t channels) { ivGlobalNumChannels = channels; }

 private:
  QUVEN_MEMBER(ivGlobalNumChannels, std::int32_t) = 1;
};

/// The roles of a field that its owner looks at; a model has further ones.
enum class QUVENFieldPurpose : std::int32_t { None = 0, Target = 1, LineNumber = 7 };

/// The kinds of a field's values; every kind other than Numeric is categorical.
enum class QUVENFieldType : std::int32_t { Categorical = 1, Numeric = 2 };

/// The value of a field at some time, to be put back later: of one type of field.
///
/// Lifetime: deleteMemory(env) before it ends.
class QUVENFieldValue {
 public:
  void deleteMemory(const QUVENEnvHandle& env) { numValues.deleteMemory(QUVEN_ENV); }

 private:
  friend class QUVENField;
  QUVENFieldType ivFieldType = QUVENFieldType::Numeric;
  std::int32_t valuePresent = 0;
  std::int32_t valueMissing = 0;
  double numValue = 0;
  QUVENStringWithHash catValue;
  std::int32_t valueIndex = 0;
  QUVENXaRay<double> numValues;
};

/// A column.
///
/// Units:    a value is absent until a record delivers something, and then present or missing. The values of several
///           channels run 1..getNumValues(); with none, the field has its single value.
/// Lifetime: owned by a data point or a name map; models refer to it by pointer, streams by its name.
class QUVENField : public QUVENObjectOf<QUVENField, QUVENDataScan> {
 public:
  /// The index of the default category.
  static constexpr std::int32_t DefaultValueIndex = 0;
  static constexpr std::int32_t MissingValueIndex = -1;
  static constexpr std::int32_t StaleValueIndex = -2;

  const QUVENStringWithHash& getName() const { return ivName; }
  void setName(std::string_view name) { ivName.assign(name); }
  std::int32_t getPurpose() const { return ivPurpose; }
  void setPurpose(std::int32_t purpose) { ivPurpose = purpose; }
  const QUVENStringWithHash& getAlias() const { return ivAlias; }
  void setAlias(std::string_view alias) { ivAlias.assign(alias); }
  QUVENFieldType getType() const { return static_cast<QUVENFieldType>(ivFieldType); }
  bool isNumeric() const { return getType() == QUVENFieldType::Numeric; }
  bool isComputed() const { return ivComputed != 0; }
  void setComputed(bool computed) { ivComputed = computed ? 1 : 0; }
  std::int32_t getActualChannelCount() const { return ivActualChannelCount; }
  void setActualChannelCount(std::int32_t count) { ivActualChannelCount = count; }

  // The value of the current record.
  bool hasValue() const { return valuePresent != 0; }
  bool isMissing() const { return valueMissing != 0; }
  /// The record delivers nothing here.
  void clearValue() {
    valuePresent = valueMissing = 0;
    numValueCount = 0;
    valueIndex = StaleValueIndex;
  }
  /// The record says that there is no value.
  void setMissing() {
    clearValue();
    valuePresent = valueMissing = 1;
  }
  void setNumValue(double value) {
    clearValue();
    valuePresent = 1;
    numValue = value;
  }
  void setCatValue(std::string_view text);
  /// Sets the category of a number that setCatValueOf has told before. False for another number: the value is as it
  /// was.
  [[nodiscard]] bool setCatValueOf(double number) {
    QUVENCategoryNumbers::Entry* entry = categoryNumbers.find(number);
    if (entry == nullptr) return false;
    clearValue();
    valuePresent = 1;
    category = entry;
    return true;
  }
  /// Sets the text of a number as the value, and remembers it for the number.
  /// Requires: setCatValueOf(number) was false; a number has the same text in all calls.
  void setCatValueOf(double number, std::string_view text);
  /// The values of the channels, 1..values.getSize(), the first of which is the single value as well. None is a record
  /// that delivers nothing.
  void setNumValues(const QUVENXaRay<double>& values, const QUVENEnvHandle& env);
  // Errors of every reading of the value: of a computed field that nothing has set in this record, a report, because it
  // would be the value of an earlier record.

  /// Errors: the value of a missing field fails the assertion "!isMissing()".
  double getNumValue(const QUVENEnvHandle&) const {
    QUVEN_ASSERT(!isMissing());
    requireSet();
    return numValue;
  }
  const QUVENStringWithHash& getCatValue(const QUVENEnvHandle& env) const;
  long getNumValues() const { return numValueCount; }
  double getNumValueOfChannel(long channel, const QUVENEnvHandle& env) const;
  /// What a model reads: the value of a channel, or the single value where that channel has none. 0 for a field of
  /// texts and for a record without a value here.
  double getNumValueOrSingle(long channel) const {
    requireSet();
    if (!isNumeric() || !hasValue() || isMissing()) return 0;
    return channel >= 1 && channel <= numValueCount ? numValues[channel] : numValue;
  }
  /// The same for the channels 1..channels, from 0: those of the field itself, or in the given place.
  /// Shapes: place: as many numbers as channels. Lifetime: until the field is set again.
  const double* getNumValuesOrSingle(long channels, double* place) const {
    requireSet();
    const bool isNumber = isNumeric() && hasValue() && !isMissing();
    if (isNumber && numValueCount >= channels) return numValues.begin();
    std::fill(place, place + channels, isNumber ? numValue : 0.0);
    if (isNumber) std::copy(numValues.begin(), numValues.begin() + numValueCount, place);
    return place;
  }
  /// What a model writes: the value of one channel. The field has a value of each channel then. A channel that was not
  /// set since the record began has the single value, or NaN if there was none; the value of channel 1 is the single
  /// value as well.
  /// Requires: 1 <= channel <= getGlobalNumChannels(), an assertion failure otherwise.
  void setNumValueOfChannel(long channel, double value, const QUVENEnvHandle& env);
  /// The values of all channels at once, from 0.
  /// Requires: as many as getGlobalNumChannels(), an assertion failure otherwise.
  void setNumValuesOfChannels(std::span<const double> values, const QUVENEnvHandle& env);
  /// The place of the values of all channels, from 0, which are set by endNumValuesOfChannels.
  /// Requires: nothing reads or sets the field in between.
  double* beginNumValuesOfChannels(const QUVENEnvHandle& env) {
    if (numValues.getSize() < getGlobalNumChannels()) numValues.autoExtend(getGlobalNumChannels(), env);
    return numValues.begin();
  }
  void endNumValuesOfChannels() {
    numValueCount = getGlobalNumChannels();
    numValue = numValues[1];
    valuePresent = 1;
    valueMissing = 0;
    valueIndex = StaleValueIndex;
  }
  /// Keeps the value of the current record, or that there is none.
  void saveValue(QUVENFieldValue& savedfieldval, const QUVENEnvHandle& env) const;
  /// Errors: the value of a field of another type fails "savedfieldval.ivFieldType == getType()".
  void restoreValue(const QUVENFieldValue& savedfieldval, const QUVENEnvHandle& env);
  /// The bin or category of the value, found when it is asked for; MissingValueIndex without a value.
  std::int32_t getValueIndex(const QUVENEnvHandle& env);

  bool isLineNumber() const { return lineNumber != 0; }

  /// The copy has the value as its own text, and learns the texts of numbers anew.
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  /// A field keeps the name that it has: a stream must not put another field in its place.
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  /// Restores the mark of the line number field, which no stream carries, from the purpose.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

  // In a base of fields: "Function/Feature not yet implemented".
  bool hasScanResult(const QUVENEnvHandle& env) const override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  /// Bins or categories of the distribution.
  virtual long getNumDistValues(const QUVENEnvHandle& env) const;
  virtual void setSampleFlag(bool sample, const QUVENEnvHandle& env);
  /// Asks the producer of a computed field for the value of the record.
  virtual void computeValue(QUVENDataPoint& point, const QUVENEnvHandle& env);
  virtual void reservedOperation(const QUVENEnvHandle& env);
  /// Shows the value of the record to the distribution.
  virtual void updateDistribution(std::uint32_t recordId, const QUVENEnvHandle& env);
  virtual void beginDistributionPass(const QUVENEnvHandle& env);
  virtual void endDistributionPass(const QUVENEnvHandle& env);
  /// MissingValueIndex for a field whose value is missing.
  virtual std::int32_t getIndexOfText(const QUVENStringWithHash& text, const QUVENEnvHandle& env) const;
  virtual std::int32_t getIndexOfValue(double value, const QUVENEnvHandle& env) const;
  virtual const QUVENStringWithHash& getCategoryText(std::int32_t index, const QUVENEnvHandle& env) const;
  virtual bool hasDistribution() const;
  /// Puts a value drawn from the distribution in the place of the current one: the same for the same name and record.
  virtual void sampleFromDistribution(std::uint32_t recordId, const QUVENEnvHandle& env);

  /// Makes this the field of the line numbers: it keeps no distribution.
  virtual void markAsLineNumber(const QUVENEnvHandle& env);
  /// The values, present and missing, that the distribution has seen in the current pass.
  virtual double getGatheredCount() const { return 0; }
  /// The passes that the distribution has finished; -1 for a field that is not sampled, to which updateDistribution
  /// does nothing.
  virtual std::int32_t getDistributionPasses() const { return -1; }
  /// Whether computeValue has a producer to ask.
  virtual bool hasValueProducer() const { return false; }

 protected:
  QUVENField(QUVENFieldType type, const QUVENEnvHandle& env);

  /// getIndexOfText of the present text, which is asked for once for the text of a number.
  std::int32_t getIndexOfCategory(const QUVENEnvHandle& env);
  /// The categories may have changed.
  void forgetCategoryIndices() { categoryNumbers.setAllIndices(StaleValueIndex); }

 private:
  const QUVENStringWithHash& presentText() const { return category == nullptr ? catValue : category->text; }
  void requireSet() const {
    QUVEN_ASSERT_CAUSE(hasValue() || !isComputed(), "A computed field is read before the record has set it");
  }

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivName, QUVENStringWithHash);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPurpose, std::int32_t) = 0;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivAlias, QUVENStringWithHash);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFieldType, std::int32_t);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivComputed, std::int32_t) = 0;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivActualChannelCount, std::int32_t) = 1;

  QUVEN_STATE(lineNumber, std::int32_t) = 0;
  QUVEN_STATE(valuePresent, std::int32_t) = 0;
  QUVEN_STATE(valueMissing, std::int32_t) = 0;
  QUVEN_STATE(numValue, double) = 0;
  QUVEN_STATE(catValue, QUVENStringWithHash);
  QUVEN_STATE(valueIndex, std::int32_t) = StaleValueIndex;
  QUVEN_STATE(numValues, QUVENXaRay<double>);
  QUVEN_STATE(numValueCount, std::int32_t) = 0;
  // Not copied.
  QUVENCategoryNumbers categoryNumbers;
  QUVENCategoryNumbers::Entry* category =
      nullptr;  // of categoryNumbers, which has the text of the value; or catValue has
};

/// A number drawn for a pair: the same for the same pair on every machine. It spreads record numbers over the 32 bits.
constexpr std::uint32_t hashPair(std::uint32_t a, std::uint32_t b) {
  const auto rotated = [](std::uint32_t x) { return x << 16 | x >> 16; };
  const std::uint32_t t = hashIntegerKey(rotated(a) ^ b);
  return hashIntegerKey(rotated(t) ^ b);
}

/// The draw of a field for a record: the same for the same name and record.
class QUVENFieldDraw {
 public:
  QUVENFieldDraw(std::uint32_t recordId, const QUVENStringWithHash& name) : number(hashPair(recordId, name.hash())) {}

  /// A place from 0 to the total, both included.
  double inTotal(double total) const { return number * total / Largest; }
  /// A second place, for what is inside of what the first has chosen.
  double within(double count) const { return hashInt(number) * (count / Largest); }

 private:
  static constexpr double Largest = 4294967295.0;
  std::uint32_t number;
};

#endif  // QUVEN_FIELD_H
