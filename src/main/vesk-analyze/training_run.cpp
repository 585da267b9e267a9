#include "training_run.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>

#include "control/quven_result_file.h"
#include "dataset_check.h"
#include "exact_text.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "learning/quven_feature_transform.h"
#include "output_check.h"
#include "shared_words.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameter = 2202, FileUnusable = 2302, TooFewRecords = 5016 };

constexpr const char* outputUnwritable = "vesk-analyze: Unable to write output file";
constexpr const char* resultsUnwritable = "vesk-analyze: Unable to write results file";
constexpr int distributionPasses = 2;

void writeFile(const std::string& path, const std::function<void(std::ostream&)>& write, const QUVENEnvHandle& env) {
  QUVENResultFile file(path);
  if (file.isOpen()) write(file.getStream());
  if (!file.isOpen() || !file.commit()) report_error(FileUnusable, path, outputUnwritable, QUVEN_ENV, true);
}

/// The labels of a column: of a categorical one those of the categories that are told apart.
void addLabels(const QUVENField& field, const QUVENTableLabels& labels, QUVENTrainingFacts& facts,
               const QUVENEnvHandle& env) {
  const std::string name = field.getName().str();
  const QUVENTableLabels::Column* column = labels.findColumn(name);
  if (column == nullptr) return;
  if (field.isNumeric()) {
    for (const auto& [code, text] : column->labels) facts.addLabel(name, static_cast<double>(code), text, QUVEN_ENV);
    return;
  }
  const QUVENCatFieldDist& distribution = *static_cast<const QUVENCatField&>(field).getDistribution();
  for (long c = 1; c <= distribution.getNumCats(); ++c) {
    const std::string code = distribution.getCat(c).getValue().str();
    const std::string* text = labels.findByText(name, code);
    if (text != nullptr) facts.addLabel(name, std::stod(code), *text, QUVEN_ENV);
  }
}

}  // namespace

TrainingRun::TrainingRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                         const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      parameterFile(*runOptions.kind, runOptions.parameterFile, runOptions.settings, QUVEN_ENV),
      dataset(runOptions.dataset, QUVEN_ENV),
      outputs(QUVEN_ENV) {}

void TrainingRun::readParameters(const QUVENEnvHandle& env) {
  parameters.read(parameterFile.read(QUVEN_ENV), QUVEN_ENV);
  kind = &findModelKind(parameters.model);
  if (kind->hasSplitField && parameters.splitField.empty()) {
    report_error(IllegalParameter, "SplitField",
                 "vesk-analyze: SplitField is missing; " + parameters.model + " needs it", QUVEN_ENV, true);
  }
  if (!kind->hasSplitField && !parameters.splitField.empty()) {
    report_doubt(IllegalParameter, "SplitField", "vesk-analyze: " + parameters.model + " has no use for it", QUVEN_ENV);
    parameters.splitField.clear();
  }
}

/// The channels are set before the first field or scan of the run is made.
void TrainingRun::makeDriver(const QUVENEnvHandle& env) {
  QUVENFoldDealing dealing = parameters.getDealing();
  shareDealing(dealing, transport);
  std::int32_t shares = parameters.shares;
  shareWord(shares, transport);
  std::int32_t isFromRoot = parameters.isUnseenFromRoot() ? 1 : 0;
  shareWord(isFromRoot, transport);
  const QUVENPassSettings settings{.numChannels = dealing.getNumChannels(),
                                   .dealChannel = [dealing](std::int64_t record) { return dealing.channelOf(record); },
                                   .numSlices = shares == 1 ? 0 : shares,
                                   .distributionPasses = distributionPasses};
  driver.emplace(settings, transport, QUVEN_ENV);
  driver->setDataset(dataset.get());
  // The losses are those of the predictions that score will make.
  QUVENTransformGlobalVars::get(QUVEN_ENV).setUnseenFromRoot(isFromRoot != 0);
}

void TrainingRun::openTable(const QUVENEnvHandle& env) {
  dataset.open(driver->getPoint(), transport, QUVEN_ENV);
  if (dataset.get().getNumColumns() == 0) {
    report_error(FileUnusable, options.dataset, "vesk-analyze: the description of the dataset has no columns",
                 QUVEN_ENV, true);
  }
  checkLengths(options.dataset, dataset.get().getNumColumns(), QUVEN_ENV);
  const std::int64_t records =
      dataset.get().getTotalBytes() / (dataset.get().getNumColumns() * static_cast<std::int64_t>(sizeof(double)));
  if (records >= parameters.getDealing().getNumChannels()) return;
  report_error(FileUnusable, options.dataset,
               "vesk-analyze: the dataset has " + std::to_string(records) + " records, too few for " +
                   std::to_string(parameters.getDealing().getNumChannels()) + " channels",
               QUVEN_ENV, true);
}

/// A linear model has no use for categories.
void TrainingRun::checkInputs(const QUVENEnvHandle& env) const {
  if (!fields.learnable().empty()) return;
  report_error(FileUnusable, options.dataset,
               "vesk-analyze: " + parameters.model + " needs a numeric input, the dataset has none", QUVEN_ENV, true);
}

void TrainingRun::checkNames(const QUVENEnvHandle& env) const {
  std::vector<OutputFile> files = outputFiles;
  if (!options.resultsFile.empty()) files.push_back({options.resultsFile});
  std::vector<std::string> inputs = parameterFile.inputFiles(QUVEN_ENV);
  const std::vector<std::string> table = dataset.files();
  inputs.insert(inputs.end(), table.begin(), table.end());
  inputs.push_back(QUVENTableLabels::pathOf(options.dataset));
  checkOutputsDiffer(files, inputs, QUVEN_ENV);
}

void TrainingRun::open(const QUVENEnvHandle& env) {
  if (transport.isMaster()) readParameters(QUVEN_ENV);
  makeDriver(QUVEN_ENV);
  if (transport.isMaster()) {
    openTable(QUVEN_ENV);
    static_cast<void>(labels.read(QUVENTableLabels::pathOf(options.dataset), QUVEN_ENV));
    fields = chooseTrainingFields(parameters, options.dataset, driver->getPoint(), QUVEN_ENV);
    checkInputs(QUVEN_ENV);
    outputFiles = parameterFile.outputFiles(transport.getCount(), QUVEN_ENV);
    checkOutputsBefore(outputFiles, outputUnwritable, QUVEN_ENV);
    const OutputFile results[] = {{options.resultsFile}};
    if (!options.resultsFile.empty()) checkOutputsBefore(results, resultsUnwritable, QUVEN_ENV);
    parameterFile.endIfStrict(QUVEN_ENV);
    checkNames(QUVEN_ENV);
  }
  driver->shareFields(QUVEN_ENV);
  if (transport.isMaster()) {
    addModel(QUVEN_ENV);
  } else {
    dataset.open(driver->getPoint(), transport, QUVEN_ENV);
  }
}

void TrainingRun::addModel(const QUVENEnvHandle& env) {
  for (QUVENField* field : fields.described()) {
    driver->addField(*field, QUVEN_ENV);
    if (field->isNumeric()) {
      static_cast<QUVENNumField*>(field)->setSampleCapacity(parameters.sampleSize, QUVEN_ENV);
      continue;
    }
    auto& categories = static_cast<QUVENCatField&>(*field);
    categories.setSampleCapacity(parameters.sampleSize, QUVEN_ENV);
    categories.setMaxCatsAllowed(parameters.maxCategories, QUVEN_ENV);
    categories.setMinCatOccuranceThreshold(parameters.minCategoryCount, QUVEN_ENV);
  }
  outputs = quvenMake<QUVENModelOutputs>(QUVEN_ENV);
  model = &driver->addScan(kind->make(parameters, fields, QUVEN_ENV), QUVEN_ENV);
  kind->addOutputs(*model, *outputs, driver->getNames(), QUVEN_ENV);
  driver->setBetweenPasses([this, env](int pass) {
    if (pass == distributionPasses) checkDistributions(fields, options.dataset, env);
  });
}

void TrainingRun::work(const QUVENEnvHandle& env) {
  driver->runPasses(QUVEN_ENV);
  if (transport.isMaster()) {
    trainingPasses = driver->getPasses().size() - distributionPasses;
    kind->releaseStatistics(*model, QUVEN_ENV);
    addLosses(QUVEN_ENV);
  }
  driver->runPasses(QUVEN_ENV);
  if (transport.isMaster()) checkRecords(QUVEN_ENV);
}

/// Whether the records were enough to learn from.
void TrainingRun::checkRecords(const QUVENEnvHandle& env) const {
  if (fields.caseWeight != nullptr && losses->getTotalWeight() <= 0) {
    report_error(IllegalParameter, fields.caseWeight->getName().str(),
                 "vesk-analyze: the weight is nowhere above 0 where there is a target", QUVEN_ENV, true);
  }
  if (model->hasUsableData(QUVEN_ENV)) return;
  report_doubt(
      TooFewRecords, options.dataset,
      "vesk-analyze: too few records with a target for the model: each fold needs one, the others together five",
      QUVEN_ENV);
}

/// The pass that only reports.
void TrainingRun::addLosses(const QUVENEnvHandle& env) {
  auto made = quvenMake<QUVENModelLosses>(QUVEN_ENV);
  made->setFields(fields.target, {outputs->findOutput(fields.target, QUVENOutputPredicted, "")}, 1, fields.caseWeight,
                  QUVEN_ENV);
  losses = &driver->addScan(std::move(made), QUVEN_ENV);
}

void TrainingRun::writeModel(const QUVENEnvHandle& env) const {
  const QUVENField* prediction = outputs->findOutput(fields.target, QUVENOutputPredicted, "");
  const QUVENField* stdDev = outputs->findOutput(fields.target, QUVENOutputStdDev, "");
  auto facts = quvenMake<QUVENTrainingFacts>(QUVEN_ENV);
  facts->ivVersion = VESK_VERSION;
  facts->ivModelKind = parameters.model;
  facts->ivTargetName = fields.target->getName().str();
  facts->ivPredictionName = prediction->getName().str();
  facts->ivStdDevName = stdDev->getName().str();
  facts->ivLoss = "Squared";
  facts->ivTableName = std::filesystem::path(options.dataset).filename().string();
  facts->ivMiningMode = parameters.miningMode;
  facts->setDealing(parameters.getDealing());
  facts->ivShares = parameters.shares;
  facts->ivUnseenFromRoot = parameters.isUnseenFromRoot() ? 1 : 0;
  for (const QUVENField* field : fields.learnable()) facts->addInput(*field, QUVEN_ENV);
  for (const QUVENField* field : fields.described()) addLabels(*field, labels, *facts, QUVEN_ENV);
  QUVENXaRay<QUVENField*> kept;
  for (QUVENField* field : fields.described()) kept.append(field, QUVEN_ENV);
  for (QUVENField* field : fields.supplementary) kept.append(field, QUVEN_ENV);
  for (const auto& result : outputs->getResultFields()) kept.append(result->getField(), QUVEN_ENV);
  const bool isWritten = quvenWriteModelFile(parameters.modelFile, kept, *model, *facts, QUVEN_ENV);
  kept.deleteMemory(QUVEN_ENV);
  facts.reset(QUVEN_ENV);
  if (!isWritten) report_error(FileUnusable, parameters.modelFile, outputUnwritable, QUVEN_ENV, true);
}

TrainingReport TrainingRun::makeReport(const std::vector<DescribedStage>& stages) const {
  return {parameters, fields, options.dataset, labels, stages, *losses, static_cast<long>(trainingPasses)};
}

void TrainingRun::writeReports(const QUVENEnvHandle& env) const {
  const std::vector<DescribedStage> stages = kind->describe(*model, labels, QUVEN_ENV);
  const TrainingReport report = makeReport(stages);
  writeFile(
      parameters.stagesFile(), [&](std::ostream& out) { writeStages(report, out); }, QUVEN_ENV);
  writeFile(
      parameters.segmentsFile(), [&](std::ostream& out) { writeSegments(report, out); }, QUVEN_ENV);
  writeFile(
      parameters.reportFile(), [&](std::ostream& out) { writeReport(report, out); }, QUVEN_ENV);
}

void TrainingRun::logResults(const QUVENEnvHandle& env) const {
  constexpr std::int32_t levelOfSegments = 31;
  if (parameters.verbosityLevel < 1) return;
  const auto loss = [this](QUVENModelLosses::Kind of) { return exactText(losses->getLoss(of, 1)); };
  report_log(1, "Losses: train: " + loss(QUVENModelLosses::Train) + ", folds: " + loss(QUVENModelLosses::Folds) +
                    ", held out: " + loss(QUVENModelLosses::HeldOut) + ", test: " + loss(QUVENModelLosses::Test));
  if (parameters.verbosityLevel < levelOfSegments) return;
  std::ostringstream text;
  const std::vector<DescribedStage> stages = kind->describe(*model, labels, QUVEN_ENV);
  writeSegments(makeReport(stages), text);
  std::istringstream lines(text.str());
  for (std::string line; std::getline(lines, line);) report_log(1, line);
}

void TrainingRun::finish(const QUVENEnvHandle& env) {
  logResults(QUVEN_ENV);
  if (!parameters.outputFile.empty()) writeReports(QUVEN_ENV);
  writeModel(QUVEN_ENV);  // last: a model that is there has its reports
}

void TrainingRun::addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  kind->addResults(*model, results, QUVEN_ENV);
  parameterFile.addResults(results, QUVEN_ENV);
}

void TrainingRun::release(const QUVENEnvHandle& env) {
  outputs.reset(QUVEN_ENV);
  if (driver) driver->release(QUVEN_ENV);
  dataset.release(QUVEN_ENV);
  parameterFile.release(QUVEN_ENV);
}

}  // namespace vesk_analyze
