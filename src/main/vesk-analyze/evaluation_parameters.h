#ifndef VESK_ANALYZE_EVALUATION_PARAMETERS_H
#define VESK_ANALYZE_EVALUATION_PARAMETERS_H

#include <cstdint>
#include <string>

#include "simple_algorithm/quven_parameters.h"

namespace vesk_analyze {

/// The parameters of `evaluate`; their table fills the members.
struct EvaluationParameters {
  std::string records;
  std::string sensitivity;
  std::int32_t maxSensitivityRecords = 0;
  std::string outputFile;   ///< the first part of the names of the files
  std::int32_t shares = 0;  ///< 0: as in the training
  std::int32_t verbosityLevel = 0;

  static QUVENParameterSections sections();
  /// Errors: the terminating report of the first parameter that is missing or illegal, after a line for each.
  void read(const QUVENXMLTag& tag, const QUVENEnvHandle& env);

  /// The channel whose records take part; 0 for all records.
  std::int32_t getChannel() const;
  bool hasSensitivity() const { return sensitivity == "Yes"; }
  std::string liftFile() const { return outputFile + "_lift.csv"; }
  std::string qualityFile() const { return outputFile + "_quality.csv"; }
  std::string residualsFile() const { return outputFile + "_residuals.csv"; }
  std::string sensitivityFile() const { return outputFile + "_sensitivity.csv"; }
  std::string pageFile() const { return outputFile + "_report.html"; }
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EVALUATION_PARAMETERS_H
