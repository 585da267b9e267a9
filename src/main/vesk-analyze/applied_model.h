#ifndef VESK_ANALYZE_APPLIED_MODEL_H
#define VESK_ANALYZE_APPLIED_MODEL_H

#include <string>
#include <vector>

#include "learning/quven_model_file.h"
#include "passes/quven_pass_driver.h"

namespace vesk_analyze {

/// The facts about the training of a model that every rank has.
struct ModelFacts {
  QUVENFoldDealing dealing;
  std::int32_t shares = 0;
  bool isUnseenFromRoot = false;
  std::string loss;
  std::string targetName;
  std::string predictionName;           // of the output field
  std::string stdDevName;               // of the output field
  std::vector<std::string> stageNames;  // of the fields with the predictions after each stage
  std::vector<std::string> inputNames;  // explanatory ones
};

/// A trained model that a run applies to another table.
///
/// The caller takes these steps in this order: share; make the driver with the channels of the training; open the
/// table; takeTrainingFields on rank 0; QUVENPassDriver::shareFields; addTo on rank 0.
/// Errors:   a file that is not a model file is the terminating report 2302 with its name.
/// Lifetime: the owner calls release(env) before it destroys the object.
class AppliedModel {
 public:
  AppliedModel(std::string modelPath, const QUVENWorkerTransport& workerTransport, const QUVENEnvHandle& env);

  /// Collective: reads the facts on rank 0 and broadcasts them; sets how this environment treats unseen values.
  const ModelFacts& share(const QUVENEnvHandle& env);
  const ModelFacts& getFacts() const { return facts; }
  /// On rank 0: everything that the file says about the training.
  const QUVENTrainingFacts& getTrainingFacts() const { return file.getFacts(); }
  /// On rank 0, after takeTrainingFields.
  const QUVENFieldNameMap& getTrainingFields() const { return file.getTrainingFields(); }

  /// Gives the explanatory columns of the table the categories and bins of the training.
  /// Errors: a column that is missing from the table or has another type is the terminating report 2302 with its name.
  void takeTrainingFields(const QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Adds the model's other fields, which the table need not have, and the model as the first scan.
  /// Errors: a column with the name of an output, and a model that is not trained, are terminating reports 2302.
  QUVENModel& addTo(QUVENPassDriver& driver, const QUVENEnvHandle& env);

  void release(const QUVENEnvHandle& env) { file.release(QUVEN_ENV); }

 private:
  [[noreturn]] void refuseFile(const QUVENEnvHandle& env) const;

  std::string path;
  const QUVENWorkerTransport& transport;
  QUVENModelFile file;  // read on rank 0
  ModelFacts facts;
};

/// The terminating report 2302.
[[noreturn]] void refuseInput(const std::string& subject, const std::string& text, const QUVENEnvHandle& env);
/// "numeric" or "categorical".
const char* typeText(QUVENFieldType type);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_APPLIED_MODEL_H
