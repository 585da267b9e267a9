#ifndef VESK_ANALYZE_TRAINING_PARAMETERS_H
#define VESK_ANALYZE_TRAINING_PARAMETERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "learning/quven_fold_dealing.h"
#include "simple_algorithm/quven_parameters.h"

namespace vesk_analyze {

/// The parameters of `train`, as their table fills them.
struct TrainingParameters {
  std::string model;
  std::string target;      ///< empty: the column of purpose target
  std::string splitField;  ///< empty for none, as the next two
  std::string caseWeight;
  std::string inverseVarianceWeight;
  std::string supplementary;  ///< names with commas
  std::int32_t numFolds = 0;
  std::int32_t testPercent = 0;
  std::int32_t heldOutPercent = 0;
  double foldSeed = 0;
  std::int32_t miningMode = 0;
  std::string lossFunction;
  std::int32_t stopAfterPasses = 0;  ///< 0 for no limit
  std::string stageChoice;
  std::int32_t memoryLimit = 0;  ///< MB, 0 for no limit
  std::int32_t outputCache = 0;  ///< MB, 0 for none
  std::int32_t sampleSize = 0;
  std::int32_t maxCategories = 0;
  std::int32_t minCategoryCount = 0;
  std::string modelFile;
  std::string outputFile;  ///< the first part of the names of the report files, empty for none
  std::int32_t shares = 0;
  std::string unseenValues;
  std::int32_t verbosityLevel = 0;

  static QUVENParameterSections sections();
  /// The parameters that `correlations` shares with `train`, and its output file. All other members keep their
  /// defaults.
  static QUVENParameterSections sectionsOfCorrelations();
  /// Errors: the terminating report of the first parameter that is missing or illegal, after a line for each.
  void read(const QUVENXMLTag& tag, const QUVENEnvHandle& env) { read(tag, sections(), QUVEN_ENV); }
  void read(const QUVENXMLTag& tag, QUVENParameterSections of, const QUVENEnvHandle& env);

  QUVENFoldDealing getDealing() const;
  bool isUnseenFromRoot() const { return unseenValues == "Root"; }
  bool isChosenByFoldLoss() const { return stageChoice == "FoldLoss"; }
  std::vector<std::string> getSupplementaryNames() const;
  std::string stagesFile() const { return outputFile + "_stages.csv"; }
  std::string segmentsFile() const { return outputFile + "_segments.csv"; }
  std::string fieldsFile() const { return outputFile + "_fields.csv"; }
  std::string reportFile() const { return outputFile + "_report.txt"; }
  std::string correlationsFile() const { return outputFile + "_correlations.csv"; }
};

/// The names of a list with commas, without the blanks around them; empty ones are left out.
std::vector<std::string> splitNames(const std::string& list);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_TRAINING_PARAMETERS_H
