#include "training_run.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <sstream>

#include "dataset_check.h"
#include "exact_text.h"
#include "input_importance.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "learning/quven_feature_transform.h"
#include "learning/quven_general_loss.h"
#include "loss_words.h"
#include "output_check.h"
#include "shared_words.h"
#include "table_run_files.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameter = 2202, FileUnusable = 2302, TooFewRecords = 5016, NoFiniteLoss = 5017 };

constexpr int distributionPasses = 2;
constexpr std::int64_t megabyte = 1 << 20;

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
  readLossFunction(QUVEN_ENV);
  choosesLater = kind->staged != nullptr && parameters.isChosenByFoldLoss();
}

/// A model without stages has the squared loss.
void TrainingRun::readLossFunction(const QUVENEnvHandle& env) {
  const auto doubt = [&](const std::string& text) {
    report_doubt(IllegalParameter, "LossFunction", "vesk-analyze: " + text, QUVEN_ENV);
    parameters.lossFunction.clear();
  };
  if (!isLossName(parameters.lossFunction)) {
    doubt(parameters.lossFunction + " is no loss function; the loss is squared");
  } else if (kind->staged == nullptr && QUVENGeneralLoss::idOf(parameters.lossFunction) != lossId) {
    doubt(parameters.model + " has no use for it; the loss is squared");
  }
  if (parameters.lossFunction.empty()) parameters.lossFunction = "Squared";
  lossId = QUVENGeneralLoss::idOf(parameters.lossFunction);
}

/// The channels are set before the first field or scan of the run is made.
void TrainingRun::makeDriver(const QUVENEnvHandle& env) {
  QUVENFoldDealing dealing = parameters.getDealing();
  shareDealing(dealing, transport);
  std::int32_t shares = parameters.shares;
  shareWord(shares, transport);
  std::int32_t isFromRoot = parameters.isUnseenFromRoot() ? 1 : 0;
  shareWord(isFromRoot, transport);
  std::int32_t stopAfterPasses = parameters.stopAfterPasses;
  shareWord(stopAfterPasses, transport);
  std::int32_t isChosenLater = choosesLater ? 1 : 0;
  shareWord(isChosenLater, transport);
  choosesLater = isChosenLater != 0;
  std::int32_t outputCache = parameters.outputCache;
  shareWord(outputCache, transport);
  const QUVENPassSettings settings{.numChannels = dealing.getNumChannels(),
                                   .dealChannel = [dealing](std::int64_t record) { return dealing.channelOf(record); },
                                   .numSlices = shares == 1 ? 0 : shares,
                                   .distributionPasses = distributionPasses,
                                   .lastPass = stopAfterPasses,
                                   .outputCacheBytes = outputCache * megabyte / transport.getCountOnMachine()};
  driver.emplace(settings, transport, QUVEN_ENV);
  driver->setDataset(dataset.get());
  // The losses are those of the predictions that score will make.
  QUVENTransformGlobalVars::get(QUVEN_ENV).setUnseenFromRoot(isFromRoot != 0);
}

void TrainingRun::openTable(const QUVENEnvHandle& env) {
  dataset.openTable(driver->getPoint(), transport, QUVEN_ENV);
  checkNumRecords(dataset, parameters.getDealing(), QUVEN_ENV);
}

/// A linear model has no use for categories.
void TrainingRun::checkInputs(const QUVENEnvHandle& env) const {
  if (!fields.learnable().empty()) return;
  report_error(FileUnusable, options.dataset,
               "vesk-analyze: " + parameters.model + " needs a numeric input, the dataset has none", QUVEN_ENV, true);
}

void TrainingRun::open(const QUVENEnvHandle& env) {
  if (transport.isMaster()) readParameters(QUVEN_ENV);
  makeDriver(QUVEN_ENV);
  if (transport.isMaster()) {
    env.resolve().setSoftBytesLimit(parameters.memoryLimit * megabyte);
    openTable(QUVEN_ENV);
    static_cast<void>(labels.read(QUVENTableLabels::pathOf(options.dataset), QUVEN_ENV));
    fields = chooseTrainingFields(parameters, options.dataset, driver->getPoint(), QUVEN_ENV);
    fields.learnsCategories = kind->learnsCategories;
    checkInputs(QUVEN_ENV);
    checkTableRunFiles(options, parameterFile, dataset, transport, QUVEN_ENV);
  }
  driver->shareFields(QUVEN_ENV);
  if (transport.isMaster()) {
    addModel(QUVEN_ENV);
  } else {
    dataset.open(driver->getPoint(), transport, QUVEN_ENV);
  }
}

void TrainingRun::addModel(const QUVENEnvHandle& env) {
  askForDistributions(fields, parameters, *driver, QUVEN_ENV);
  model = &driver->addScan(kind->make(parameters, fields, driver->getNames(), QUVEN_ENV), QUVEN_ENV);
  if (kind->staged != nullptr) kind->staged->observe(*model, history, choosesLater, QUVEN_ENV);
  driver->setBetweenPasses([this, env](int pass) {
    history.passesDone = pass - distributionPasses;
    if (pass == distributionPasses) checkColumns(env);
  });
}

void TrainingRun::checkColumns(const QUVENEnvHandle& env) {
  const auto warn = [&](const TrainingWarning& warning) {
    report_doubt(IllegalParameter, warning.subject, "vesk-analyze: " + warning.text, QUVEN_ENV);
    warnings.push_back(warning);
  };
  checkDistributions(fields, kind->staged != nullptr, options.dataset, warn, QUVEN_ENV);
  checkTarget(fields, lossId, warn);
}

void TrainingRun::work(const QUVENEnvHandle& env) {
  driver->runPasses(QUVEN_ENV);
  if (transport.isMaster()) {
    trainingPasses = driver->getPasses().size() - distributionPasses;
    dropOutputDistributions(QUVEN_ENV);
  }
  if (choosesLater) chooseStage(QUVEN_ENV);
  if (transport.isMaster()) {
    outputs = quvenMake<QUVENModelOutputs>(QUVEN_ENV);
    kind->addOutputs(*model, *outputs, driver->getNames(), QUVEN_ENV);
    kind->releaseStatistics(*model, QUVEN_ENV);
    addReportScans(QUVEN_ENV);
  }
  driver->runPasses(QUVEN_ENV);
  if (transport.isMaster()) checkRecords(QUVEN_ENV);
}

/// Transforms are split by the outputs of earlier stages while they train; scoring and the model file need no
/// distribution of an output.
void TrainingRun::dropOutputDistributions(const QUVENEnvHandle& env) {
  for (const QUVENOwnPtr<QUVENField>& field : driver->getNames().getOwnedFields()) {
    if (field->isComputed()) field->setSampleFlag(false, QUVEN_ENV);
  }
}

/// Whether the records were enough to learn from.
void TrainingRun::checkRecords(const QUVENEnvHandle& env) const {
  if (fields.caseWeight != nullptr && losses->getTotalWeight() <= 0) {
    report_error(IllegalParameter, fields.caseWeight->getName().str(),
                 "vesk-analyze: the weight is nowhere above 0 where there is a target", QUVEN_ENV, true);
  }
  // A sum that overflows is a large number when it comes from a stream. A squared loss may be large by itself.
  const double overflowed = lossId == QUVENGeneralLoss::idOf("Squared") ? 1e300 : 1e100;
  if (!(std::abs(losses->getLoss(QUVENModelLosses::Train, losses->getNumStages())) < overflowed)) {
    report_doubt(NoFiniteLoss, options.dataset,
                 "vesk-analyze: predictions overflow, the model is of no use; see the losses of its stages", QUVEN_ENV);
  }
  if (model->hasUsableData(QUVEN_ENV)) return;
  report_doubt(
      TooFewRecords, options.dataset,
      "vesk-analyze: too few records with a target for the model: each fold needs one, the others together five",
      QUVEN_ENV);
}

QUVENModelLosses& TrainingRun::addLosses(const std::vector<QUVENField*>& predictions, const QUVENEnvHandle& env) {
  auto made = quvenMake<QUVENModelLosses>(QUVEN_ENV);
  made->setFields(fields.target, predictions, lossId, fields.caseWeight, QUVEN_ENV);
  return driver->addScan(std::move(made), QUVEN_ENV);
}

/// A pass over the candidates for the last stage. The one with the smallest mean loss on the folds is kept; of equal
/// ones the first, which is also kept when none has a loss.
void TrainingRun::chooseStage(const QUVENEnvHandle& env) {
  std::vector<StageCandidate> candidates;
  QUVENModelLosses* ofCandidates = nullptr;
  if (transport.isMaster()) {
    candidates = kind->staged->candidates(*model);
    std::vector<QUVENField*> predictions;
    for (const StageCandidate& candidate : candidates) predictions.push_back(candidate.prediction);
    ofCandidates = &addLosses(predictions, QUVEN_ENV);
  }
  driver->runPasses(QUVEN_ENV);
  if (!transport.isMaster()) return;
  std::size_t best = 0;
  double smallest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const double loss = ofCandidates->getLoss(QUVENModelLosses::Folds, static_cast<long>(i) + 1);
    if (!(loss < smallest)) continue;  // NaN is never the best
    smallest = loss;
    best = i;
  }
  // The losses end before the fields of the stages that are dropped.
  QUVENScanWorld::Scans& scans = driver->getScans();
  scans[scans.getSize()].reset(QUVEN_ENV);
  scans.setSize(scans.getSize() - 1, QUVEN_ENV);
  kind->staged->keep(*model, candidates[best], QUVEN_ENV);
}

/// The pass that only reports.
void TrainingRun::addReportScans(const QUVENEnvHandle& env) {
  const std::vector<QUVENField*> ofModel = {outputs->findOutput(fields.target, QUVENOutputPredicted, "")};
  losses = &addLosses(kind->staged == nullptr ? ofModel : kind->staged->predictions(*model), QUVEN_ENV);
  if (kind->terms == nullptr) return;
  terms = kind->terms(*model, QUVEN_ENV);
  auto made = quvenMake<QUVENTermVariances>(QUVEN_ENV);
  for (const PredictionTerm& term : terms) made->addTerm(term.field, term.factor, QUVEN_ENV);
  variances = &driver->addScan(std::move(made), QUVEN_ENV);
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
  facts->ivLoss = parameters.lossFunction;
  facts->ivTableName = std::filesystem::path(options.dataset).filename().string();
  facts->ivMiningMode = parameters.miningMode;
  facts->setDealing(parameters.getDealing());
  facts->ivShares = parameters.shares;
  facts->ivUnseenFromRoot = parameters.isUnseenFromRoot() ? 1 : 0;
  if (kind->staged != nullptr) {
    for (const QUVENField* stage : kind->staged->predictions(*model)) {
      facts->ivStageNames.append(stage->getName().str(), QUVEN_ENV);
    }
  }
  for (const QUVENField* field : fields.learnable()) facts->addInput(*field, QUVEN_ENV);
  for (const QUVENField* field : fields.described()) addLabels(*field, labels, *facts, QUVEN_ENV);
  QUVENXaRay<QUVENField*> kept;
  for (QUVENField* field : fields.described()) kept.append(field, QUVEN_ENV);
  for (QUVENField* field : fields.supplementary) kept.append(field, QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENField>& field : driver->getNames().getOwnedFields()) {
    if (field->isComputed()) kept.append(field.get(), QUVEN_ENV);
  }
  const bool isWritten = quvenWriteModelFile(parameters.modelFile, kept, *model, *facts, QUVEN_ENV);
  kept.deleteMemory(QUVEN_ENV);
  facts.reset(QUVEN_ENV);
  if (!isWritten) report_error(FileUnusable, parameters.modelFile, outputUnwritable, QUVEN_ENV, true);
}

std::vector<DescribedStage> TrainingRun::describeStages(const QUVENEnvHandle& env) const {
  std::vector<DescribedStage> stages = kind->describe(*model, history, labels, QUVEN_ENV);
  if (kind->staged == nullptr) stages.front().passes = static_cast<long>(trainingPasses);
  return stages;
}

TrainingReport TrainingRun::makeReport(const std::vector<DescribedStage>& stages,
                                       const std::vector<InputImportance>& importances) const {
  return {.parameters = parameters,
          .fields = fields,
          .dataset = options.dataset,
          .labels = labels,
          .stages = stages,
          .losses = *losses,
          .lossId = lossId,
          .importances = importances,
          .warnings = warnings,
          .outcome = kind->staged == nullptr ? "" : kind->staged->outcome(*model)};
}

void TrainingRun::writeReports(const QUVENEnvHandle& env) const {
  const std::vector<DescribedStage> stages = describeStages(QUVEN_ENV);
  const std::vector<InputImportance> importances =
      findImportances(fields, terms, variances, stages, kind->staged != nullptr);
  const TrainingReport report = makeReport(stages, importances);
  const auto output = [&](const std::string& path, void (*writeTo)(const TrainingReport&, std::ostream&)) {
    return WrittenOutput{path, [&report, writeTo](std::ostream& out) { writeTo(report, out); }};
  };
  const WrittenOutput reports[] = {
      output(parameters.stagesFile(), writeStages), output(parameters.segmentsFile(), writeSegments),
      output(parameters.fieldsFile(), writeFields), output(parameters.reportFile(), writeReport)};
  writeOutputs(reports, QUVEN_ENV);
}

void TrainingRun::logResults(const QUVENEnvHandle& env) const {
  constexpr std::int32_t levelOfSegments = 31;
  if (parameters.verbosityLevel < 1) return;
  const long numStages = losses->getNumStages();
  for (long stage = 1; stage <= numStages; ++stage) {
    const auto loss = [&](QUVENModelLosses::Kind of) { return lossText(*losses, of, stage); };
    const std::string subject = numStages == 1 ? "Losses: " : "Losses of stage " + std::to_string(stage) + ": ";
    report_log(1, subject + "train: " + loss(QUVENModelLosses::Train) + ", folds: " + loss(QUVENModelLosses::Folds) +
                      ", held out: " + loss(QUVENModelLosses::HeldOut) + ", test: " + loss(QUVENModelLosses::Test));
  }
  if (parameters.verbosityLevel < levelOfSegments) return;
  std::ostringstream text;
  const std::vector<DescribedStage> stages = describeStages(QUVEN_ENV);
  writeSegments(makeReport(stages, {}), text);
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
