#include "evaluation_run.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "exact_text.h"
#include "kernel/quven_num_field.h"
#include "learning/quven_scaled_prediction.h"
#include "learning/quven_scan_log.h"
#include "loss_words.h"
#include "model_parts.h"
#include "output_check.h"
#include "shared_words.h"
#include "table_run_files.h"
#include "training_fields.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameter = 2202, NoFinitePrediction = 5017 };

constexpr std::int32_t FinalChannel = 1;
constexpr std::int32_t MostShares = 64;

/// Lets the driver compute the scaled prediction after the model has scored a record.
class ScaledPredictionProtocol final : public QUVENMultiScanProtocol {
 public:
  const QUVENTypeName& getScanClass() const override { return QUVENScaledPrediction::typeName(); }
  bool canScore(const QUVENDataScan&) const override { return true; }
  void score(QUVENDataScan& scan, std::int32_t, QUVENDataPoint&, const QUVENEnvHandle& env) const override {
    static_cast<QUVENScaledPrediction&>(scan).scale(QUVEN_ENV);
  }
};

/// The first scan of a class in a world, or null.
template <class Scan>
Scan* findScan(QUVENScanWorld& world) {
  for (const QUVENOwnPtr<QUVENDataScan>& scan : world.getScans()) {
    if (scan->isA(Scan::typeName()) != 0) return static_cast<Scan*>(scan.get());
  }
  return nullptr;
}

std::string countText(double count) { return std::to_string(static_cast<std::int64_t>(count)); }

ResidualRow residualRow(const QUVENLiftCurveBin& bin) {
  ResidualRow row;
  row.records = bin.getNumRecords();
  if (row.records < 1) return row;
  row.meanPredicted = bin.getSumPredVal() / row.records;
  row.meanResidual = bin.getSumPredErr() / row.records;
  row.meanActual = (bin.getSumPredVal() + bin.getSumPredErr()) / row.records;
  if (row.records >= 2) row.stdDev = std::sqrt(bin.getSumSqrDev() / (row.records - 1));
  return row;
}

std::vector<LiftRow> liftRows(const QUVENLiftCurve* curve) {
  std::vector<LiftRow> rows;
  if (curve == nullptr) return rows;
  const double mean = curve->getSumActVal() / curve->getPts();
  for (long b = 1; b <= curve->getNumBins(); ++b) {
    const QUVENLiftCurveBin& bin = curve->getBin(b);
    rows.push_back({.boundary = bin.getBinBoundaryValue(),
                    .records = bin.getNumRecords(),
                    .cumRecords = curve->getCumRecords(b),
                    .sumPredicted = bin.getSumPredVal(),
                    .sumError = bin.getSumPredErr(),
                    .cumActual = curve->getCumActual(b),
                    .lift = mean == 0 ? std::numeric_limits<double>::quiet_NaN()
                                      : curve->getCumActual(b) / curve->getCumRecords(b) / mean,
                    .z = curve->getZ(b)});
  }
  return rows;
}

/// The smallest and the largest value of a distribution; both 0 if it has none.
std::pair<double, double> rangeOf(const QUVENNumFieldDist& distribution) {
  double smallest = QUVENNumFieldBin::HighestValue;
  double largest = QUVENNumFieldBin::LowestValue;
  for (long b = 1; b <= distribution.getNumBins(); ++b) {
    const QUVENNumFieldBin& bin = distribution.getBin(b);
    if (bin.getCount() == 0) continue;
    smallest = std::min(smallest, bin.getMinValue());
    largest = std::max(largest, bin.getMaxValue());
  }
  if (smallest > largest) return {0, 0};
  return {smallest, largest};
}

}  // namespace

EvaluationRun::EvaluationRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                             const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      parameterFile(*runOptions.kind, runOptions.parameterFile, runOptions.settings, QUVEN_ENV),
      model(runOptions.modelFile, workerTransport, QUVEN_ENV),
      facts(model.getFacts()),
      dataset(runOptions.dataset, QUVEN_ENV) {}

/// Must run before the first field or scan is made, because it sets the channels, which are those of the training.
void EvaluationRun::makeDriver(const QUVENEnvHandle& env) {
  model.share(QUVEN_ENV);
  lossId = QUVENGeneralLoss::idOf(facts.loss);
  channel = parameters.getChannel();
  shareWord(channel, transport);
  hasSensitivity = parameters.hasSensitivity() ? 1 : 0;
  shareWord(hasSensitivity, transport);
  std::int32_t verbosity = parameters.verbosityLevel;
  shareWord(verbosity, transport);
  QUVENScanLog::get(QUVEN_ENV).setVerbosity(verbosity);
  std::int32_t shares = parameters.shares == 0 ? std::clamp(facts.shares, 1, MostShares) : parameters.shares;
  shareWord(shares, transport);
  const QUVENFoldDealing dealing = facts.dealing;
  const std::int32_t chosen = channel;
  QUVENPassSettings settings{.numChannels = dealing.getNumChannels(),
                             .dealChannel = [dealing](std::int64_t record) { return dealing.channelOf(record); },
                             .numSlices = shares == 1 ? 0 : shares,
                             .scoredChannel = FinalChannel};
  if (chosen != 0) {
    settings.takesRecord = [dealing, chosen](std::int64_t record) { return dealing.channelOf(record) == chosen; };
  }
  static const ScaledPredictionProtocol scaledPredictions;
  driver.emplace(settings, transport, QUVEN_ENV);
  driver->addProtocol(scaledPredictions);
  driver->setDataset(dataset.get());
}

void EvaluationRun::openTable(const QUVENEnvHandle& env) {
  dataset.openTable(driver->getPoint(), transport, QUVEN_ENV);
  const QUVENDataPoint& point = driver->getPoint();
  const long index = point.getFieldIndex(facts.targetName);
  if (index == 0) refuseInput(facts.targetName, "the dataset does not have the target of the training", QUVEN_ENV);
  if (!point.getField(index).isNumeric()) {
    refuseInput(facts.targetName, "the column is categorical, in the training it was numeric", QUVEN_ENV);
  }
  model.takeTrainingFields(point, QUVEN_ENV);
}

void EvaluationRun::open(const QUVENEnvHandle& env) {
  if (transport.isMaster()) parameters.read(parameterFile.read(QUVEN_ENV), QUVEN_ENV);
  makeDriver(QUVEN_ENV);
  if (transport.isMaster()) {
    openTable(QUVEN_ENV);
    checkTableRunFiles(options, parameterFile, dataset, transport, QUVEN_ENV);
  }
  driver->shareFields(QUVEN_ENV);
  if (transport.isMaster()) {
    addModel(QUVEN_ENV);
  } else {
    dataset.open(driver->getPoint(), transport, QUVEN_ENV);
  }
  shareText(scaledName, transport, QUVEN_ENV);
}

/// Adds the model, then the scan for the prediction on the scale of the target. The driver gathers the distributions of
/// this prediction and of the target.
void EvaluationRun::addModel(const QUVENEnvHandle& env) {
  trained = &model.addTo(*driver, QUVEN_ENV);
  const QUVENTrainingFacts& training = model.getTrainingFacts();
  kind = &findModelKind(training.ivModelKind);
  for (long i = 1; i <= training.ivLabelColumns.getSize(); ++i) {
    static_cast<void>(labels.add(training.ivLabelColumns[i], static_cast<std::uint64_t>(training.ivLabelCodes.at(i)),
                                 training.ivLabelTexts.at(i)));
  }
  QUVENFieldNameMap& names = driver->getNames();
  auto made = quvenMake<QUVENNumField>(QUVEN_ENV);
  scaledName = names.makeUniqueName("Evaluated_" + facts.targetName, 0, QUVEN_ENV);
  made->setName(scaledName);
  made->setComputed(true);
  QUVENField* scaled = names.addOwned(std::move(made), QUVEN_ENV);
  auto scale = quvenMake<QUVENScaledPrediction>(QUVEN_ENV);
  scale->setFields(names.find(facts.predictionName), scaled, lossId);
  driver->addScan(std::move(scale), QUVEN_ENV);
  driver->addField(*scaled, QUVEN_ENV);
  driver->addField(*names.find(facts.targetName), QUVEN_ENV);
}

QUVENNumField& EvaluationRun::fieldOf(const std::string& name) const {
  return static_cast<QUVENNumField&>(*driver->getNames().find(name));
}

/// Requires: the passes for the distributions are done.
void EvaluationRun::checkRecords(const QUVENEnvHandle& env) const {
  const QUVENNumFieldDist& target = *fieldOf(facts.targetName).getDistribution();
  if (target.getValidCount() > 0) return;
  const std::string of = channel == 0 ? "" : " of Records " + parameters.records;
  refuseInput(
      options.dataset,
      target.getMissingCount() > 0 ? "the target is missing in every record" + of : "the dataset has no records" + of,
      QUVEN_ENV);
}

/// Warns of a target that the loss does not allow; the evaluation continues.
void EvaluationRun::warnOfTarget(const QUVENEnvHandle& env) {
  TrainingFields fields;
  fields.target = &fieldOf(facts.targetName);
  checkTarget(fields, lossId, [this, env](const TrainingWarning& warning) {
    report_doubt(IllegalParameter, warning.subject, "vesk-analyze: " + warning.text, env);
    warnings.push_back(warning.subject + ": " + warning.text);
  });
}

void EvaluationRun::addEvaluation(const QUVENEnvHandle& env) {
  const QUVENFieldNameMap& names = driver->getNames();
  auto made = quvenMake<QUVENModelEvaluation>(QUVEN_ENV);
  const QUVENModelEvaluation::Fields fields{.target = &fieldOf(facts.targetName),
                                            .prediction = names.find(facts.predictionName),
                                            .scaled = &fieldOf(scaledName),
                                            .stdDev = names.find(facts.stdDevName)};
  made->setFields(fields, lossId, isOfTwoClasses(lossId));
  made->layOut(QUVEN_ENV);
  if (kind->firstTransforms != nullptr) {
    for (const QUVENFeatureTransform* transform : kind->firstTransforms(*trained)) {
      made->addSplit(*transform->getSplitTest(), QUVEN_ENV);
    }
  }
  evaluation = &driver->addScan(std::move(made), QUVEN_ENV);
}

/// With a target of 0 and 1 the order of margins is meaningful, but their size is not.
void EvaluationRun::warnOfScale() {
  if (!isOfTwoClasses(lossId) || isLogistic(lossId)) return;
  if (rangeOf(*fieldOf(facts.targetName).getDistribution()).first < 0) return;
  warnings.emplace_back(
      "the predictions are below 0 for one class, but the target is not: rmse, R_squared, R_squared_plain, "
      "accuracy_quality, model_quality, residuals and the calibration have no meaning here");
}

void EvaluationRun::warnOfEvaluation(const QUVENEnvHandle& env) {
  warnOfScale();
  if (evaluation->getNumNotFinite() == 0) return;
  const std::string text = countText(evaluation->getNumNotFinite()) +
                           " records have predictions that are not finite numbers; they are left out";
  report_doubt(NoFinitePrediction, options.dataset, "vesk-analyze: " + text, QUVEN_ENV);
  warnings.push_back(text);
}

/// The smallest step for which at least one chosen record, and not more than the parameter allows, is at a multiple of
/// the step. Such a step exists: the number of the last chosen record, from 0, or the number of records if that is 0.
std::int64_t EvaluationRun::chooseSensitivityStep() {
  const std::int64_t records = dataset.getNumRecords();
  const std::int64_t most = parameters.maxSensitivityRecords;
  if (channel == 0) return std::max<std::int64_t>((records + most - 1) / most, 1);
  // The records of a channel are not evenly spread, so the records of each step are counted, up to one too many.
  const auto isUsable = [&](std::int64_t step) {
    std::int64_t found = 0;
    for (std::int64_t record = 0; record < records && found <= most; record += step) {
      if (facts.dealing.channelOf(record) == channel) ++found;
    }
    return found >= 1 && found <= most;
  };
  std::int64_t step = 1;
  while (!isUsable(step)) ++step;
  return step;
}

void EvaluationRun::runSensitivity(const QUVENEnvHandle& env) {
  std::int32_t step = 1;
  if (transport.isMaster()) {
    sensitivityStep = chooseSensitivityStep();
    step = static_cast<std::int32_t>(sensitivityStep);
  }
  shareWord(step, transport);
  const QUVENFoldDealing dealing = facts.dealing;
  const std::int32_t chosen = channel;
  driver->setTakesRecord([dealing, chosen, step](std::int64_t record) {
    return record % step == 0 && (chosen == 0 || dealing.channelOf(record) == chosen);
  });
  // These settings are not in the stream, so they are set in each copy of the live world.
  const auto attach = [this](QUVENScanWorld& world) {
    QUVENModelSensitivity* scan = findScan<QUVENModelSensitivity>(world);
    QUVENModel* scored = findScan<QUVENModel>(world);
    QUVENScaledPrediction* scale = findScan<QUVENScaledPrediction>(world);
    scan->setScoring(
        *scored, *world.getNames().find(scaledName), [scale](const QUVENEnvHandle& handle) { scale->scale(handle); },
        nullptr);
  };
  driver->setAfterRead(attach);
  if (transport.isMaster()) {
    std::vector<QUVENField*> inputs;
    for (const std::string& name : facts.inputNames) inputs.push_back(driver->getNames().find(name));
    auto made = quvenMake<QUVENModelSensitivity>(QUVEN_ENV);
    made->setFields(inputs, QUVEN_ENV);
    sensitivity = &driver->addScan(std::move(made), QUVEN_ENV);
    attach(driver->getWorld());
  }
  driver->runPasses(QUVEN_ENV);
}

void EvaluationRun::work(const QUVENEnvHandle& env) {
  driver->runPasses(QUVEN_ENV);  // distributions
  if (transport.isMaster()) {
    checkRecords(QUVEN_ENV);
    warnOfTarget(QUVEN_ENV);
    addEvaluation(QUVEN_ENV);
  }
  driver->runPasses(QUVEN_ENV);
  if (transport.isMaster()) warnOfEvaluation(QUVEN_ENV);
  if (hasSensitivity != 0) runSensitivity(QUVEN_ENV);
  if (transport.isMaster()) report = makeReport(QUVEN_ENV);
}

// The report

EvaluationReport EvaluationRun::makeReport(const QUVENEnvHandle& env) const {
  const QUVENLiftCurve* curve = evaluation->getLiftData().getModelLiftCurve();
  EvaluationReport made;
  made.modelFile = options.modelFile;
  made.modelKind = model.getTrainingFacts().ivModelKind;
  made.dataset = options.dataset;
  made.trainedOn = model.getTrainingFacts().ivTableName;
  made.target = facts.targetName;
  made.loss = facts.loss;
  made.chosenRecords = parameters.records;
  made.isOfTwoClasses = isOfTwoClasses(lossId);
  made.numRecords = evaluation->getNumRecords();
  made.numWithoutTarget = evaluation->getNumWithoutTarget();
  made.numNotFinite = evaluation->getNumNotFinite();
  made.meanActual = evaluation->getMeanActual();
  made.lift = liftRows(curve);
  made.optimum = liftRows(evaluation->getLiftData().getOptimumLiftCurve());
  made.numBelowLastBin = made.numRecords - (made.lift.empty() ? 0 : made.lift.back().cumRecords);
  made.warnings = warnings;
  addQuality(made, QUVEN_ENV);
  addSegments(made, QUVEN_ENV);
  addSensitivities(made);
  const StageHistory history = kind->staged == nullptr ? StageHistory() : kind->staged->recall(*trained);
  made.stages = kind->describe(*trained, history, labels, QUVEN_ENV);
  return made;
}

void EvaluationRun::addQuality(EvaluationReport& made, const QUVENEnvHandle& env) const {
  const QUVENLiftData& data = evaluation->getLiftData();
  const QUVENLiftCurve& curve = *data.getModelLiftCurve();
  made.quality = {{"records", made.numRecords},
                  {"area_above_random", curve.getAreaAboveRandom(QUVEN_ENV)},
                  {"area_ratio", data.getAreaRatio(QUVEN_ENV)},
                  {"rmse", curve.getRMSE(QUVEN_ENV)},
                  {"R_squared", curve.getRSquared(QUVEN_ENV)},
                  {"R_squared_plain", evaluation->getRSquared()},
                  {"accuracy_quality", curve.getAccuracyQuality(QUVEN_ENV)},
                  {"model_quality", data.getModelQuality(QUVEN_ENV)},
                  {"mean_loss", evaluation->getMeanLoss()}};
  if (made.isOfTwoClasses) made.quality.push_back({"auc", evaluation->getClassRanks().getArea()});
  if (isLogistic(lossId)) made.quality.push_back({"log_loss", evaluation->getMeanLoss()});
}

void EvaluationRun::addSegments(EvaluationReport& made, const QUVENEnvHandle& env) const {
  const QUVENResidualGroups& groups = evaluation->getGroups();
  for (long i = 1; i <= groups.getNumIntervals(); ++i) {
    ResidualRow& row = made.twentieths.emplace_back(residualRow(groups.getInterval(i)));
    row.segment.kind = DescribedSegment::Kind::Interval;
    if (i > 1) row.segment.from = groups.getEnd(i - 1);
    if (i < groups.getNumIntervals()) row.segment.to = groups.getEnd(i);
  }
  if (kind->firstTransforms == nullptr) return;
  long split = 0;
  for (const QUVENFeatureTransform* transform : kind->firstTransforms(*trained)) {
    ++split;
    FieldCurve& curve = made.curves.emplace_back();
    curve.transform = describeTransform(*transform, labels, QUVEN_ENV);
    const QUVENField& field = *model.getTrainingFields().find(curve.transform.field);
    if (field.isNumeric()) {
      std::tie(curve.smallest, curve.largest) = rangeOf(*static_cast<const QUVENNumField&>(field).getDistribution());
    }
    const std::vector<QUVENSegmentDescription> found = transform->describeSegments(QUVEN_ENV);
    for (std::size_t i = 0; i < found.size(); ++i) {
      ResidualRow& row = made.segments.emplace_back(residualRow(groups.getSegment(split, found[i].segment)));
      const DescribedSegment& described = curve.transform.segments[i];
      row.field = curve.transform.field;
      row.segment.kind = described.kind;
      row.segment.from = described.from;
      row.segment.to = described.to;
      row.segment.categories = described.categories;
    }
  }
}

void EvaluationRun::addSensitivities(EvaluationReport& made) const {
  made.hasSensitivities = sensitivity != nullptr && sensitivity->isNormalized();
  if (sensitivity == nullptr) {
    made.sensitivityRemark = "The parameter Sensitivity is No.";
    return;
  }
  if (!made.hasSensitivities) made.sensitivityRemark = "No input changes a prediction.";
  if (made.hasSensitivities && sensitivityStep > 1) {
    made.sensitivityRemark = "One record in " + std::to_string(sensitivityStep) + " was used.";
  }
  for (long i = 1; i <= sensitivity->getFields().getSize(); ++i) {
    made.sensitivities.push_back({.field = sensitivity->getFields()[i]->getName().str(),
                                  .sensitivity = sensitivity->getSensitivity(i),
                                  .points = sensitivity->getPoints(i)});
  }
  std::stable_sort(made.sensitivities.begin(), made.sensitivities.end(),
                   [](const SensitivityRow& a, const SensitivityRow& b) { return a.sensitivity > b.sensitivity; });
}

void EvaluationRun::logResults() const {
  if (parameters.verbosityLevel < 1) return;
  for (const QualityNumber& number : report.quality) {
    report_log(1, "Quality: " + number.name + ": " + numberText(number.value));
  }
}

void EvaluationRun::finish(const QUVENEnvHandle& env) {
  logResults();
  const auto output = [&](const std::string& path, void (*writeTo)(const EvaluationReport&, std::ostream&)) {
    return WrittenOutput{path, [this, writeTo](std::ostream& out) { writeTo(report, out); }};
  };
  const WrittenOutput outputs[] = {
      output(parameters.liftFile(), writeLift), output(parameters.qualityFile(), writeQuality),
      output(parameters.residualsFile(), writeResiduals), output(parameters.sensitivityFile(), writeSensitivity),
      output(parameters.pageFile(), writePage)};
  writeOutputs(outputs, QUVEN_ENV);
}

void EvaluationRun::addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  for (const QualityNumber& number : report.quality) {
    results.addLeafTagPath("Quality/" + number.name, QUVEN_ENV).setValue(numberText(number.value), QUVEN_ENV);
  }
  results.addLeafTagPath("Parameters/Model", QUVEN_ENV).setValue(options.modelFile, QUVEN_ENV);
  parameterFile.addResults(results, QUVEN_ENV);
}

void EvaluationRun::release(const QUVENEnvHandle& env) {
  if (driver) driver->release(QUVEN_ENV);
  model.release(QUVEN_ENV);
  dataset.release(QUVEN_ENV);
  parameterFile.release(QUVEN_ENV);
}

}  // namespace vesk_analyze
