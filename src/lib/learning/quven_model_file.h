#ifndef QUVEN_MODEL_FILE_H
#define QUVEN_MODEL_FILE_H

// A trained model in a file, with what is needed to apply it to another table.

#include <cstdint>
#include <string>

#include "kernel/quven_field_name_map.h"
#include "kernel/quven_model.h"
#include "learning/quven_fold_dealing.h"

/// What is known of a training beside the model.
///
/// Shapes: inputs and labels are parallel arrays, from 1.
class QUVENTrainingFacts : public QUVENObjectOf<QUVENTrainingFacts, QUVENObject> {
 public:
  /// The form of model files that this version writes and reads.
  static constexpr std::int32_t CurrentForm = 1;

  QUVENFoldDealing getDealing() const;
  void setDealing(const QUVENFoldDealing& dealing);
  /// Notes an explanatory input.
  void addInput(const QUVENField& field, const QUVENEnvHandle& env);
  void addLabel(const std::string& column, double code, const std::string& text, const QUVENEnvHandle& env);

  QUVEN_MEMBER(ivForm, std::int32_t) = CurrentForm;
  QUVEN_MEMBER(ivVersion, std::string);    // of the program
  QUVEN_MEMBER(ivModelKind, std::string);  // as in the parameter file
  QUVEN_MEMBER(ivTargetName, std::string);
  QUVEN_MEMBER(ivPredictionName, std::string);  // of the output field
  QUVEN_MEMBER(ivStdDevName, std::string);
  QUVEN_MEMBER(ivLoss, std::string);
  QUVEN_MEMBER(ivTableName, std::string);
  QUVEN_MEMBER(ivMiningMode, std::int32_t) = 0;
  QUVEN_MEMBER(ivNumFolds, std::int32_t) = 0;
  QUVEN_MEMBER(ivTestPercent, std::int32_t) = 0;
  QUVEN_MEMBER(ivHeldOutPercent, std::int32_t) = 0;
  QUVEN_MEMBER(ivFoldSeed, std::uint32_t) = 0;
  QUVEN_MEMBER(ivShares, std::int32_t) = 0;
  QUVEN_MEMBER(ivUnseenFromRoot, std::int32_t) = 0;  // 1: the setting Root
  QUVEN_MEMBER(ivInputNames, QUVENXaRay<std::string, 0>);
  QUVEN_MEMBER(ivInputTypes, QUVENXaRay<std::int32_t>);  // a QUVENFieldType
  QUVEN_MEMBER(ivLabelColumns, QUVENXaRay<std::string, 0>);
  QUVEN_MEMBER(ivLabelCodes, QUVENXaRay<double>);
  QUVEN_MEMBER(ivLabelTexts, QUVENXaRay<std::string, 0>);
  // Of the fields with the predictions after each stage; none for a model without stages. Last, so that the
  // files of these models stay as they are.
  QUVEN_MEMBER_IF(!ivStageNames.isEmpty(), ivStageNames, QUVENXaRay<std::string, 0>);
};

/// Writes a model file: an object stream of a name map with copies of the fields that the model reads and writes, the
/// model, and the facts. It appears under its name when it is complete.
/// Errors: false when the file cannot be written.
[[nodiscard]] bool quvenWriteModelFile(const std::string& path, const QUVENXaRay<QUVENField*>& fields,
                                       const QUVENModel& model, const QUVENTrainingFacts& facts,
                                       const QUVENEnvHandle& env);

/// A model file that is read in steps: the facts give the number of channels, which is set in the environment before
/// the fields and the model are made.
///
/// Errors: a file that cannot be read, that is cut, is no model file or has another form is the terminating report 2302
///         with its name.
/// Lifetime: release(env) before it ends.
class QUVENModelFile {
 public:
  QUVENModelFile(std::string filePath, const QUVENEnvHandle& env);

  /// Reads the file, and the facts that are at its end.
  const QUVENTrainingFacts& readFacts(const QUVENEnvHandle& env);
  const QUVENTrainingFacts& getFacts() const { return *facts; }
  /// Reads the fields of the training, with types, categories and bins. Requires: readFacts.
  const QUVENFieldNameMap& readFields(const QUVENEnvHandle& env);
  /// Requires: readFields.
  const QUVENFieldNameMap& getTrainingFields() const { return *fields; }
  /// Reads the model with its fields found in a name map that has all of them. Requires: readFacts.
  QUVENOwnPtr<QUVENModel> readModel(QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  void release(const QUVENEnvHandle& env);

 private:
  [[noreturn]] void refuse(const char* text, const QUVENEnvHandle& env) const;
  template <class Action>
  void read(Action action, const QUVENEnvHandle& env);

  std::string path;
  std::string bytes;
  QUVENOwnPtr<QUVENFieldNameMap> fields;
  QUVENOwnPtr<QUVENTrainingFacts> facts;
};

#endif  // QUVEN_MODEL_FILE_H
