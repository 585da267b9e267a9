#ifndef QUVEN_MODEL_OUTPUTS_H
#define QUVEN_MODEL_OUTPUTS_H

// The outputs of a model: the fields that it creates, and those of others that a caller sees.

#include "kernel/quven_model.h"
#include "kernel/quven_model_result_field.h"

/// The outputs of one model, which owns their fields.
///
/// It refers to fields, so a model leaves it out of scan results.
class QUVENModelOutputs : public QUVENObjectOf<QUVENModelOutputs, QUVENObject> {
 public:
  using ResultFields = QUVENXaRay<QUVENOwnPtr<QUVENModelResultField>, 0>;

  /// The field of this target, type and suffix, which is made if there is none.
  ///
  /// It is named by the prefix of the type, the name of the target and, for a suffix that is not empty, "_" and the
  /// suffix. Types 1 and 2 of a categorical target are categorical, all else is numeric.
  /// Errors: those of QUVENResultFieldOwner::open; the outputs are unchanged then.
  QUVENField* addOutput(QUVENField* targetField, std::int32_t outputType, std::string_view suffix,
                        QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  /// The field of this target, type and suffix, or null.
  QUVENField* findOutput(const QUVENField* targetField, std::int32_t outputType, std::string_view suffix) const;

  const ResultFields& getResultFields() const { return ivResultFieldVec; }
  /// Where the numbers behind names begin: below 1 only names that are taken have one, from 1 upward every name.
  std::int32_t getStartingSuffix() const { return ivStartingSuffix; }
  void setStartingSuffix(std::int32_t suffix) { ivStartingSuffix = suffix; }

 private:
  QUVEN_MEMBER(ivResultFieldVec, ResultFields);
  QUVEN_MEMBER(ivStartingSuffix, std::int32_t) = 0;
};

/// A model with its outputs. Owns both.
class QUVENModelOutputPair : public QUVENObjectOf<QUVENModelOutputPair, QUVENObject> {
 public:
  QUVENModelOutputs& getOutputs() { return outputs; }
  const QUVENModelOutputs& getOutputs() const { return outputs; }
  QUVENModel* getModel() const { return ivModelPtr.get(); }
  void setModel(QUVENOwnPtr<QUVENModel>&& model) { ivModelPtr = std::move(model); }

 private:
  QUVEN_MEMBER(outputs, QUVENModelOutputs);
  QUVEN_MEMBER(ivModelPtr, QUVENOwnPtr<QUVENModel>);
};

/// Outputs of other models that a caller sees: records of fields that they own.
class QUVENExportedOutputs : public QUVENObjectOf<QUVENExportedOutputs, QUVENObject> {
 public:
  /// Exports the field of each record; one that is exported already stays as it is.
  /// Errors: those of QUVENResultFieldExporter::open; what was exported before stays so.
  void exportOutputs(const QUVENModelOutputs& outputs, QUVENFieldNameMap& callerNames, const QUVENEnvHandle& env);
  QUVENField* findOutput(const QUVENField* targetField, std::int32_t outputType, std::string_view suffix) const;

  const QUVENModelOutputs::ResultFields& getResultFields() const { return ivResultFieldVec; }

 private:
  QUVEN_MEMBER(ivResultFieldVec, QUVENModelOutputs::ResultFields);
};

#endif  // QUVEN_MODEL_OUTPUTS_H
