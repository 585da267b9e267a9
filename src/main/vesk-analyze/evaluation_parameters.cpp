#include "evaluation_parameters.h"

#include "learning/quven_fold_dealing.h"

namespace vesk_analyze {

namespace {

constexpr int IllegalParameter = 2202;

std::vector<std::string> fileNames(const std::string& value, int) {
  EvaluationParameters parameters;
  parameters.outputFile = value;
  return {parameters.liftFile(), parameters.qualityFile(), parameters.residualsFile(), parameters.sensitivityFile(),
          parameters.pageFile()};
}

}  // namespace

QUVENParameterSections EvaluationParameters::sections() {
  using P = EvaluationParameters;
  static constexpr QUVENParameter rows[] = {
      {.key = "Records",
       .target = quvenParameterTarget<&P::records>(),
       .defaultValue = "All",
       .isLegalText = [](const std::string& name) { return name == "All" || name == "Test" || name == "HeldOut"; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: Records must be All, Test or HeldOut",
       .meaning = "which records to evaluate; Test and HeldOut are those that the training kept apart, found by their "
                  "positions in its table",
       .legalValues = "All, Test or HeldOut"},
      {.key = "Sensitivity",
       .target = quvenParameterTarget<&P::sensitivity>(),
       .defaultValue = "Yes",
       .isLegalText = [](const std::string& word) { return word == "Yes" || word == "No"; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: Sensitivity must be Yes or No",
       .meaning = "whether to find out how much each input matters; it takes one more pass",
       .legalValues = "Yes or No"},
      {.key = "MaxSensitivityRecords",
       .target = quvenParameterTarget<&P::maxSensitivityRecords>(),
       .defaultValue = "20000",
       .isLegal = [](double value) { return value >= 1; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: MaxSensitivityRecords must be at least 1",
       .meaning =
           "largest number of records for the sensitivity; if there are more, only every k-th record of the table "
           "is used",
       .legalValues = "an integer from 1"},
      {.key = "OutputFileName",
       .target = quvenParameterTarget<&P::outputFile>(),
       .isRequired = true,
       .isLegalText = [](const std::string& name) { return !name.empty(); },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: OutputFileName is missing",
       .file = QUVENParameterFile::Output,
       .outputNames = fileNames,
       .meaning =
           "first part of the names of _lift.csv, _quality.csv, _residuals.csv, _sensitivity.csv and _report.html",
       .legalValues = "a file name",
       .example = "churn"},
      {.key = "Shares",
       .target = quvenParameterTarget<&P::shares>(),
       .defaultValue = "0",
       .isLegal = [](double value) { return value >= 0 && value <= 64; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: Shares must be from 0 to 64",
       .meaning = "fixed slices of each pass, as in the training; 0 for as many as the training had",
       .legalValues = "an integer from 0 to 64"},
      {.key = "VerbosityLevel",
       .target = quvenParameterTarget<&P::verbosityLevel>(),
       .defaultValue = "1",
       .isLegal = [](double value) { return value >= 0 && value <= 100; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: VerbosityLevel must be from 0 to 100",
       .meaning =
           "from 1 on the quality is logged, from 2 on also each record below the lowest boundary of a lift curve",
       .legalValues = "an integer from 0 to 100"},
  };
  static constexpr QUVENParameterSection all[] = {{.rows = rows}};
  return all;
}

void EvaluationParameters::read(const QUVENXMLTag& tag, const QUVENEnvHandle& env) {
  QUVENParameterReader(tag, sections()).read(sections().front(), *this, QUVEN_ENV);
}

std::int32_t EvaluationParameters::getChannel() const {
  if (records == "Test") return QUVENFoldDealing::TestChannel;
  return records == "HeldOut" ? QUVENFoldDealing::HeldOutChannel : 0;
}

}  // namespace vesk_analyze
