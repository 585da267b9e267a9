#ifndef QUVEN_MODEL_RESULT_FIELD_H
#define QUVEN_MODEL_RESULT_FIELD_H

// The records of the fields that a model creates, which stand in the name map of the scan.

#include <string>
#include <string_view>

#include "kernel/quven_field_name_map.h"

/// What a field that a model creates says of its target.
enum QUVENOutputType : std::int32_t {
  QUVENOutputPredicted = 1,
  QUVENOutputPredictedDisplay = 2,
  QUVENOutputUnnormalizedPredicted = 3,
  QUVENOutputIncrementalPredicted = 4,
  QUVENOutputInverseVarianceWeight = 5,
  QUVENOutputStdDev = 6,
  QUVENOutputUnnormalizedStdDev = 7,
  QUVENOutputProbability = 8,
  QUVENOutputResidual = 9,
  QUVENOutputResidualStdDev = 10,
  QUVENOutputWarning = 11
};

/// What the names of the fields of an output type begin with.
/// Errors: a code outside 1..11 is the fatal report "Invalid feature specified".
std::string_view quvenOutputPrefix(std::int32_t outputType, const QUVENEnvHandle& env);

/// The record of one output: what it is of, and the field that holds it.
///
/// Lifetime: a record that has put its field into a name map takes it out again when it ends, or when it gets another
///           field; the map outlives it. A copy refers to the same field and takes nothing out. In a stream the field
///           is a name, which the map of the reader has to know: the map comes before the models. A record that reads
///           another field gives the first one up and leaves it in the map.
class QUVENModelResultField : public QUVENObjectOf<QUVENModelResultField, QUVENObject> {
 public:
  QUVENField* getTargetField() const { return ivTargetFieldPtr; }
  std::int32_t getOutputType() const { return ivOutputType; }
  const std::string& getSuffix() const { return ivSuffix; }
  bool isOf(const QUVENField* targetField, std::int32_t outputType, std::string_view suffix) const;

  // The order of the columns when fields are listed: positions from 1, and -1 for no line number. Kept for the driver.
  QUVENXaRay<std::int32_t>& getExplanatoryFieldOrder() { return ivExplanatoryFieldOrder; }
  QUVENXaRay<std::int32_t>& getTargetFieldOrder() { return ivTargetFieldOrder; }
  std::int32_t getLineNumberFieldOrder() const { return ivLineNumberFieldOrder; }
  void setLineNumberFieldOrder(std::int32_t order) { ivLineNumberFieldOrder = order; }

  /// The field of the output; null in a record that was not opened.
  virtual QUVENField* getField() const = 0;

 protected:
  QUVENModelResultField() = default;

  void describe(QUVENField* targetField, std::int32_t outputType, std::string_view suffix, const QUVENEnvHandle& env);

 private:
  QUVEN_MEMBER(ivTargetFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivOutputType, std::int32_t) = 0;
  QUVEN_MEMBER(ivSuffix, std::string);
  QUVEN_MEMBER(ivExplanatoryFieldOrder, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER(ivTargetFieldOrder, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER(ivLineNumberFieldOrder, std::int32_t) = -1;
};

/// A field and the name map that it is in as long as this registration lasts. The map is borrowed and outlives it.
class QUVENFieldRegistration {
 public:
  /// Requires: the field is in the map. The latest registration of a field is the one that counts.
  void hold(const QUVENField& field, QUVENFieldNameMap& names);
  bool holds(const QUVENField* field) const { return names != nullptr && field == registeredField; }
  /// Takes the field out of the map, if it is there still and no other registration holds it. The field stays in a map
  /// that follows the one of rank 0.
  void end(const QUVENEnvHandle& env);
  /// Leaves the field in the map: another record of the stream that is being read may refer to it.
  void giveUp();
  void swap(QUVENFieldRegistration& other);
  void deleteMemory(const QUVENEnvHandle& env) { end(env); }
  /// A copy of a record has no registration.
  void copyFrom(const QUVENFieldRegistration&, const QUVENEnvHandle&) {}

 private:
  bool isHolder() const;

  QUVENFieldNameMap* names = nullptr;
  const QUVENField* registeredField = nullptr;  // never looked into: the map may have released it
  std::string name;
};

/// An output whose field this record creates and owns, by way of the name map of the scan, which keeps it.
class QUVENResultFieldOwner : public QUVENObjectOf<QUVENResultFieldOwner, QUVENModelResultField> {
 public:
  /// Creates the field, computed, under the name that the type, the target and the suffix give; with a startingSuffix
  /// below 1 a name that is taken gets a number from 1 upward behind it, with any other every name gets one from there.
  /// Errors: no target is an assertion failure; a code of no type is that of quvenOutputPrefix. Nothing is made then.
  void open(QUVENField* targetField, std::int32_t outputType, std::string_view suffix, std::int32_t startingSuffix,
            QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  bool ownsField() const { return registration.holds(ivFieldPtr); }

  QUVENField* getField() const override { return ivFieldPtr; }
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  /// The field that was read belongs to this record from now on.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  QUVEN_MEMBER(ivFieldPtr, QUVENField*) = nullptr;
  QUVEN_STATE(registration, QUVENFieldRegistration);
};

/// An output whose field another object owns, made visible in the name map of the caller's dataset.
class QUVENResultFieldExporter : public QUVENObjectOf<QUVENResultFieldExporter, QUVENModelResultField> {
 public:
  /// Refers to the field of a record, and puts it into the names of the caller if it is not there.
  /// Errors: another field of that name there, or a record without a field, is an assertion failure.
  void open(const QUVENModelResultField& exported, QUVENFieldNameMap& callerNames, const QUVENEnvHandle& env);

  QUVENField* getField() const override { return ivFieldPtr; }
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;

 private:
  QUVEN_MEMBER(ivFieldPtr, QUVENField*) = nullptr;
  QUVEN_STATE(registration, QUVENFieldRegistration);
};

#endif  // QUVEN_MODEL_RESULT_FIELD_H
