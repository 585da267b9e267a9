#ifndef VESK_ANALYZE_TRAINING_FIELDS_H
#define VESK_ANALYZE_TRAINING_FIELDS_H

#include <functional>
#include <string>
#include <vector>

#include "kernel/quven_data_point.h"
#include "passes/quven_pass_driver.h"
#include "run_dataset.h"
#include "training_parameters.h"

namespace vesk_analyze {

/// The subject and the text of a warning 2202 about a training.
struct TrainingWarning {
  std::string subject;
  std::string text;
};

/// The columns of a training by their roles. The fields belong to the data point.
struct TrainingFields {
  QUVENField* target = nullptr;
  QUVENField* split = nullptr;  ///< one of the inputs, or null
  QUVENField* caseWeight = nullptr;
  QUVENField* inverseVarianceWeight = nullptr;
  std::vector<QUVENField*> inputs;         ///< in the order of the columns
  std::vector<QUVENField*> supplementary;  ///< in the order of the parameter
  bool learnsCategories = false;           ///< the model takes every categorical input

  /// The weights that there are.
  std::vector<QUVENField*> weights() const;
  /// Null for a name that is none of an input.
  const QUVENField* findInput(const std::string& name) const;
  /// The inputs that the model can learn from: the numeric ones and the split field, or all.
  std::vector<QUVENField*> learnable() const;
  /// Inputs, target and weights: what has a distribution.
  std::vector<QUVENField*> described() const;
};

/// Checks that a table has at least one record per channel.
/// Errors: the terminating report 2302 with its name.
void checkNumRecords(RunDataset& dataset, const QUVENFoldDealing& dealing, const QUVENEnvHandle& env);

/// Makes the driver gather the distributions of inputs, target and weights, with the sizes that the parameters give.
void askForDistributions(const TrainingFields& fields, const TrainingParameters& parameters, QUVENPassDriver& driver,
                         const QUVENEnvHandle& env);

/// Finds the columns that the parameters name, and gives the fields the purposes that they have in this run.
/// Errors: the terminating report 2202 for a column that the dataset does not have, that has two roles or the wrong
///         type, and for no target; 2302 with the name of the dataset for the sparse output of the loader and for
///         a dataset without an input.
TrainingFields chooseTrainingFields(const TrainingParameters& parameters, const std::string& dataset,
                                    const QUVENDataPoint& point, const QUVENEnvHandle& env);

/// Takes a warning 2202 when it is found, before an error that may follow.
using TakeWarning = std::function<void(const TrainingWarning& warning)>;

/// Whether something can be learned from the columns, by their distributions.
/// endsWithoutSignal: nothing to learn is a warning, because the training ends with a model that predicts a constant.
/// Errors: the terminating report 2202 with the name of the column for a target that is constant or missing in every
///         record, a weight that is negative or nowhere above 0, and for values of them whose squares overflow; 2302
///         with the name of the dataset when no input has two values.
/// Warnings: an input whose squares may overflow.
void checkDistributions(const TrainingFields& fields, bool endsWithoutSignal, const std::string& dataset,
                        const TakeWarning& warn, const QUVENEnvHandle& env);

/// Whether the values of the target are those that a loss function is made for: at most one warning.
void checkTarget(const TrainingFields& fields, std::int32_t lossId, const TakeWarning& warn);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TRAINING_FIELDS_H
