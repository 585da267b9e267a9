#include "training_parameters.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace vesk_analyze {

namespace {

constexpr int IllegalParameter = 2202;

constexpr auto isPercent = [](double value) { return value >= 0 && value <= QUVENFoldDealing::MostPercent; };
constexpr auto isNotNegative = [](double value) { return value >= 0; };
constexpr auto isPositive = [](double value) { return value >= 1; };

std::vector<std::string> reportNames(const std::string& value, int) {
  TrainingParameters parameters;
  parameters.outputFile = value;
  return {parameters.stagesFile(), parameters.segmentsFile(), parameters.fieldsFile(), parameters.reportFile()};
}

std::vector<std::string> correlationsName(const std::string& value, int) {
  TrainingParameters parameters;
  parameters.outputFile = value;
  return {parameters.correlationsFile()};
}

constexpr QUVENParameter correlationsOutput = {.key = "OutputFileName",
                                               .target = quvenParameterTarget<&TrainingParameters::outputFile>(),
                                               .isRequired = true,
                                               .isLegalText = [](const std::string& name) { return !name.empty(); },
                                               .errorCode = IllegalParameter,
                                               .errorText = "vesk-analyze: OutputFileName is missing",
                                               .file = QUVENParameterFile::Output,
                                               .outputNames = correlationsName,
                                               .meaning = "first part of the name of _correlations.csv",
                                               .legalValues = "a file name",
                                               .example = "churn"};

}  // namespace

std::vector<std::string> splitNames(const std::string& list) {
  std::vector<std::string> names;
  std::istringstream text(list);
  for (std::string name; std::getline(text, name, ',');) {
    const std::size_t first = name.find_first_not_of(' ');
    if (first != std::string::npos) names.push_back(name.substr(first, name.find_last_not_of(' ') - first + 1));
  }
  return names;
}

QUVENParameterSections TrainingParameters::sections() {
  using P = TrainingParameters;
  static constexpr QUVENParameter rows[] = {
      {.key = "Model",
       .target = quvenParameterTarget<&P::model>(),
       .defaultValue = "TransformRegression",
       .isLegalText =
           [](const std::string& name) {
             return name == "TransformRegression" || name == "LinearRegression" || name == "FeatureTransform";
           },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: Model must be TransformRegression, LinearRegression or FeatureTransform",
       .meaning = "what is trained",
       .legalValues = "TransformRegression, LinearRegression or FeatureTransform"},
      {.key = "Target",
       .target = quvenParameterTarget<&P::target>(),
       .meaning = "the numeric column that is predicted; by default that of purpose target"},
      {.key = "SplitField",
       .target = quvenParameterTarget<&P::splitField>(),
       .meaning = "the column that is cut into segments, required for FeatureTransform"},
      {.key = "CaseWeight",
       .target = quvenParameterTarget<&P::caseWeight>(),
       .meaning = "a numeric column, how often a record counts; no input then"},
      {.key = "InverseVarianceWeight",
       .target = quvenParameterTarget<&P::inverseVarianceWeight>(),
       .meaning = "a numeric column, one over the variance of a record's target up to a factor; no input then"},
      {.key = "Supplementary",
       .target = quvenParameterTarget<&P::supplementary>(),
       .meaning = "columns that are no inputs, such as an id; commas between their names"},
      {.key = "NumFolds",
       .target = quvenParameterTarget<&P::numFolds>(),
       .defaultValue = "5",
       .isLegal =
           [](double value) { return value >= QUVENFoldDealing::FewestFolds && value <= QUVENFoldDealing::MostFolds; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: NumFolds must be from 2 to 20",
       .meaning = "folds of the cross-validation",
       .legalValues = "an integer from 2 to 20"},
      {.key = "TestPercent",
       .target = quvenParameterTarget<&P::testPercent>(),
       .defaultValue = "10",
       .isLegal = isPercent,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: TestPercent must be from 0 to 50",
       .meaning = "share of the records from which no coefficient is learned, for the test",
       .legalValues = "an integer from 0 to 50"},
      {.key = "HeldOutPercent",
       .target = quvenParameterTarget<&P::heldOutPercent>(),
       .defaultValue = "10",
       .isLegal = isPercent,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: HeldOutPercent must be from 0 to 50",
       .meaning = "share of the records that train the final model only",
       .legalValues = "an integer from 0 to 50"},
      {.key = "FoldSeed",
       .target = quvenParameterTarget<&P::foldSeed>(),
       .defaultValue = "0",
       .isLegal = [](double value) { return value >= 0 && value <= 4294967295.0 && std::trunc(value) == value; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: FoldSeed must be a whole number from 0 to 4294967295",
       .meaning = "another one deals the records differently",
       .legalValues = "a whole number from 0 to 4294967295"},
      {.key = "MiningMode",
       .target = quvenParameterTarget<&P::miningMode>(),
       .defaultValue = "1",
       .isLegal = [](double value) { return value == 1 || value == 8; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: MiningMode must be 1 or 8",
       .meaning = "how the size of a linear model is chosen: 1 by the folds, 8 by the held-out records",
       .legalValues = "1 or 8"},
      {.key = "LossFunction",
       .target = quvenParameterTarget<&P::lossFunction>(),
       .defaultValue = "Squared",
       .meaning = "what TransformRegression minimises: Squared, Logistic, Poisson, SupportVector, LogisticLink or "
                  "PoissonLink"},
      {.key = "StopAfterPasses",
       .target = quvenParameterTarget<&P::stopAfterPasses>(),
       .defaultValue = "0",
       .isLegal = isNotNegative,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: StopAfterPasses must be at least 0",
       .meaning = "no stage is begun after this pass, the two for distributions counted; 0 for no such limit",
       .legalValues = "an integer from 0"},
      {.key = "StageChoice",
       .target = quvenParameterTarget<&P::stageChoice>(),
       .defaultValue = "Score",
       .isLegalText = [](const std::string& name) { return name == "Score" || name == "FoldLoss"; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: StageChoice must be Score or FoldLoss",
       .meaning = "what decides how many stages are kept: their scores, or the mean losses of the folds",
       .legalValues = "Score or FoldLoss"},
      {.key = "MemoryLimit",
       .target = quvenParameterTarget<&P::memoryLimit>(),
       .defaultValue = "0",
       .isLegal = isNotNegative,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: MemoryLimit must be at least 0",
       .meaning = "MB of the first worker above which the transforms of a stage are trained in several passes; 0 for "
                  "no limit",
       .legalValues = "an integer from 0"},
      {.key = "OutputCache",
       .target = quvenParameterTarget<&P::outputCache>(),
       .defaultValue = "1024",
       .isLegal = isNotNegative,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: OutputCache must be at least 0",
       .meaning = "MB for the outputs of finished stages, shared by the workers of a machine; results are the same "
                  "with any value",
       .legalValues = "an integer from 0"},
      {.key = "SampleSize",
       .target = quvenParameterTarget<&P::sampleSize>(),
       .defaultValue = "10000",
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: SampleSize must be at least 1",
       .meaning = "values of a column from which bins and categories are made",
       .legalValues = "an integer from 1"},
      {.key = "MaxCategories",
       .target = quvenParameterTarget<&P::maxCategories>(),
       .defaultValue = "200",
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: MaxCategories must be at least 1",
       .meaning = "the most categories of a column that are told apart",
       .legalValues = "an integer from 1"},
      {.key = "MinCategoryCount",
       .target = quvenParameterTarget<&P::minCategoryCount>(),
       .defaultValue = "2",
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: MinCategoryCount must be at least 1",
       .meaning = "a category that the sample has fewer times is a rare one",
       .legalValues = "an integer from 1"},
      {.key = "ModelFileName",
       .target = quvenParameterTarget<&P::modelFile>(),
       .isRequired = true,
       .isLegalText = [](const std::string& name) { return !name.empty(); },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: ModelFileName is missing",
       .file = QUVENParameterFile::Output,
       .meaning = "the model; it appears under this name when it is complete",
       .legalValues = "a file name",
       .example = "churn.model"},
      {.key = "OutputFileName",
       .target = quvenParameterTarget<&P::outputFile>(),
       .file = QUVENParameterFile::Output,
       .outputNames = reportNames,
       .meaning = "first part of the names of _report.txt, _stages.csv, _segments.csv and _fields.csv",
       .example = "churn"},
      {.key = "Shares",
       .target = quvenParameterTarget<&P::shares>(),
       .defaultValue = "8",
       .isLegal = [](double value) { return value >= 1 && value <= 64; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: Shares must be from 1 to 64",
       .meaning =
           "fixed slices of each pass: the results are the same on any number of workers; 1 for a slice a worker",
       .legalValues = "an integer from 1 to 64"},
      {.key = "UnseenValues",
       .target = quvenParameterTarget<&P::unseenValues>(),
       .defaultValue = "Segment",
       .isLegalText = [](const std::string& name) { return name == "Segment" || name == "Root"; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: UnseenValues must be Segment or Root",
       .meaning = "what predicts for values that training has not seen: their own segment, or the whole table",
       .legalValues = "Segment or Root; Root is recommended",
       .example = "Root"},
      {.key = "VerbosityLevel",
       .target = quvenParameterTarget<&P::verbosityLevel>(),
       .defaultValue = "1",
       .isLegal = [](double value) { return value >= 0 && value <= 100; },
       .errorCode = IllegalParameter,
       .errorText = "vesk-analyze: VerbosityLevel must be from 0 to 100",
       .meaning = "from 1 on the losses are logged, from 31 on the segments of transforms as well",
       .legalValues = "an integer from 0 to 100"},
  };
  static constexpr QUVENParameterSection all[] = {{.rows = rows}};
  return all;
}

QUVENParameterSections TrainingParameters::sectionsOfCorrelations() {
  static const std::vector<QUVENParameter> rows = [] {
    constexpr std::string_view shared[] = {"Target",      "CaseWeight",  "InverseVarianceWeight", "Supplementary",
                                           "NumFolds",    "TestPercent", "HeldOutPercent",        "FoldSeed",
                                           "MemoryLimit", "SampleSize",  "MaxCategories",         "MinCategoryCount",
                                           "Shares"};
    std::vector<QUVENParameter> chosen;
    for (const QUVENParameter& row : sections().front().rows) {
      if (std::ranges::find(shared, row.key) != std::end(shared)) chosen.push_back(row);
    }
    chosen.push_back(correlationsOutput);
    return chosen;
  }();
  static const QUVENParameterSection all[] = {{.rows = rows}};
  return all;
}

void TrainingParameters::read(const QUVENXMLTag& tag, QUVENParameterSections of, const QUVENEnvHandle& env) {
  QUVENParameterReader(tag, of).read(of.front(), *this, QUVEN_ENV);
}

QUVENFoldDealing TrainingParameters::getDealing() const {
  return {.testPercent = testPercent,
          .heldOutPercent = heldOutPercent,
          .numFolds = numFolds,
          .seed = static_cast<std::uint32_t>(foldSeed)};
}

std::vector<std::string> TrainingParameters::getSupplementaryNames() const { return splitNames(supplementary); }

}  // namespace vesk_analyze
