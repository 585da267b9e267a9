#include "scoring_run.h"

#include <cmath>
#include <set>

#include "control/quven_csv_reader.h"
#include "exact_text.h"
#include "kernel/quven_model_result_field.h"
#include "kernel/quven_num_field.h"
#include "learning/quven_feature_transform.h"
#include "output_check.h"
#include "shared_words.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

constexpr int UntrainedValues = 5015;
constexpr std::int32_t FinalChannel = 1;

}  // namespace

ScoringRun::ScoringRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                       const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      model(runOptions.modelFile, workerTransport, QUVEN_ENV),
      facts(model.getFacts()),
      dataset(runOptions.dataset, QUVEN_ENV),
      outputs(QUVEN_ENV) {}

/// The channels are those of the training, set before the first field or scan of the run is made.
void ScoringRun::makeDriver(const QUVENEnvHandle& env) {
  model.share(QUVEN_ENV);
  scale = PredictionScale(facts.loss);
  const QUVENFoldDealing deal = facts.dealing;
  const QUVENPassSettings settings{.numChannels = deal.getNumChannels(),
                                   .dealChannel = [deal](std::int64_t record) { return deal.channelOf(record); },
                                   .scoredChannel = options.writesChannels ? 0 : FinalChannel};
  driver.emplace(settings, transport, QUVEN_ENV);
  driver->setDataset(dataset.get());
}

void ScoringRun::openTable(const QUVENEnvHandle& env) {
  dataset.openTable(driver->getPoint(), transport, QUVEN_ENV);
  const std::vector<std::string> first = predictionColumns();
  std::set<std::string> names(first.begin(), first.end());
  for (const std::string& name : options.keptColumns) {
    if (driver->getPoint().getFieldIndex(name) == 0)
      refuseInput(name, "--keep names no column of the dataset", QUVEN_ENV);
    if (!names.insert(name).second) refuseInput(name, "--keep gives the output two columns of this name", QUVEN_ENV);
  }
}

void ScoringRun::checkOutputs(const QUVENEnvHandle& env) const {
  RunFiles files{.outputs = {{options.outputFile}},
                 .results = options.resultsFile,
                 .resultsJson = options.resultsJsonFile,
                 .timings = options.timingsFile,
                 .inputs = dataset.tableFiles()};
  files.inputs.push_back(options.modelFile);
  files.checkWritable(outputUnwritable, QUVEN_ENV);
  files.checkNames(QUVEN_ENV);
}

void ScoringRun::addModel(const QUVENEnvHandle& env) {
  model.addTo(*driver, QUVEN_ENV);
  QUVENFieldNameMap& names = driver->getNames();
  outputs = quvenMake<QUVENModelOutputs>(QUVEN_ENV);
  QUVENField* warning = outputs->addOutput(names.find(facts.targetName), QUVENOutputWarning, "", names, QUVEN_ENV);
  warningName = warning->getName().str();
  QUVENTransformGlobalVars::get(QUVEN_ENV).setWarningField(warning);
}

void ScoringRun::open(const QUVENEnvHandle& env) {
  makeDriver(QUVEN_ENV);
  const auto readLabels = [this, env] {
    static_cast<void>(labels.read(QUVENTableLabels::pathOf(options.dataset), QUVEN_ENV));
  };
  if (transport.isMaster()) {
    openTable(QUVEN_ENV);
    readLabels();
    checkOutputs(QUVEN_ENV);
    model.takeTrainingFields(driver->getPoint(), QUVEN_ENV);
  }
  driver->shareFields(QUVEN_ENV);
  if (transport.isMaster()) {
    addModel(QUVEN_ENV);
  } else {
    dataset.open(driver->getPoint(), transport, QUVEN_ENV);
    readLabels();  // rank 0 has reported labels that cannot be read
  }
  shareText(warningName, transport, QUVEN_ENV);
  driver->setAfterRead([this, env](QUVENScanWorld& copy) {
    QUVENTransformGlobalVars::get(env).setWarningField(copy.getNames().find(warningName));
  });
}

/// The columns of the output before the kept ones.
std::vector<std::string> ScoringRun::predictionColumns() const {
  const std::string unnormalized = "UnnormalizedPredicted_" + facts.targetName;
  std::vector<std::string> names = {"record", unnormalized, "Predicted_" + facts.targetName};
  if (scale.hasProbability()) names.push_back("Probability_" + facts.targetName);
  names.push_back("StdDev_" + facts.targetName);
  names.push_back("Warning_" + facts.targetName);
  const auto addChannels = [&](const std::string& name) {
    if (!options.writesChannels) return;
    for (std::int32_t c = 1; c <= facts.dealing.getNumChannels(); ++c) names.push_back(name + "_" + std::to_string(c));
  };
  if (options.writesChannels) names.emplace_back("channel");
  addChannels(unnormalized);
  for (std::size_t stage = 1; options.writesStages && stage <= facts.stageNames.size(); ++stage) {
    const std::string name = unnormalized + "_stage_" + std::to_string(stage);
    names.push_back(name);
    addChannels(name);
  }
  for (std::int32_t i = 1; i <= options.numReasons; ++i) {
    names.push_back("reason_" + std::to_string(i));
    names.push_back("move_" + std::to_string(i));
  }
  return names;
}

std::string ScoringRun::header() const {
  std::string text;
  const auto add = [&](const std::string& name) {
    if (!text.empty()) text += ',';
    text += quvenCsvCell(name);
  };
  for (const std::string& name : predictionColumns()) add(name);
  for (const std::string& name : options.keptColumns) add(name);
  return text;
}

const ScoringRun::Columns& ScoringRun::findColumns(const QUVENEnvHandle&) {
  if (columns) return *columns;
  const QUVENFieldNameMap& names = driver->getNames();
  columns = Columns{names.find(facts.predictionName), names.find(facts.stdDevName), names.find(warningName)};
  for (const std::string& name : facts.stageNames) columns->stages.push_back(names.find(name));
  const QUVENDataPoint& point = driver->getPoint();
  std::vector<QUVENField*> inputs;
  for (const std::string& name : facts.inputNames) inputs.push_back(&point.getField(point.getFieldIndex(name)));
  reasons.emplace(*driver, std::move(inputs), *columns->prediction);
  for (const std::string& name : options.keptColumns) {
    columns->kept.push_back(&point.getField(point.getFieldIndex(name)));
  }
  return *columns;
}

void ScoringRun::appendKept(const QUVENField& field, std::string& row, const QUVENEnvHandle& env) const {
  row += ',';
  if (!field.hasValue() || field.isMissing()) return;
  const std::string_view name(field.getName());
  if (field.isNumeric()) {
    const double value = field.getNumValue(env);
    const std::string* label = labels.find(name, value);
    row += label == nullptr ? exactText(value) : quvenCsvCell(*label);
    return;
  }
  const std::string_view text(field.getCatValue(env));
  const std::string* label = labels.findByText(name, text);
  row += quvenCsvCell(label == nullptr ? text : std::string_view(*label));
}

void ScoringRun::appendStages(std::string& row) const {
  for (const QUVENField* stage : columns->stages) {
    row.append(1, ',').append(numberText(stage->getNumValueOrSingle(FinalChannel)));
    for (std::int32_t c = 1; options.writesChannels && c <= facts.dealing.getNumChannels(); ++c) {
      row.append(1, ',').append(numberText(stage->getNumValueOrSingle(c)));
    }
  }
}

void ScoringRun::appendReasons(std::string& row, const QUVENEnvHandle& env) {
  const std::vector<Reason> found = reasons->find(static_cast<std::size_t>(options.numReasons), QUVEN_ENV);
  for (const Reason& reason : found) {
    row.append(1, ',').append(quvenCsvCell(std::string_view(reason.input->getName())));
    row.append(1, ',').append(exactText(reason.move));
  }
  row.append(2 * (static_cast<std::size_t>(options.numReasons) - found.size()), ',');
}

void ScoringRun::writeRow(std::int64_t record, std::string& row, const QUVENEnvHandle& env) {
  const Columns& found = findColumns(QUVEN_ENV);
  const double prediction = found.prediction->getNumValueOrSingle(FinalChannel);
  const double warning = found.warning->hasValue() ? found.warning->getNumValueOrSingle(FinalChannel) : 0;
  if (warning > 0) ++numWarned;
  row += std::to_string(record);
  row.append(1, ',').append(numberText(prediction));
  row.append(1, ',').append(numberText(scale.predictionOf(prediction)));
  if (scale.hasProbability()) row.append(1, ',').append(numberText(scale.probabilityOf(prediction)));
  row.append(1, ',').append(exactText(found.stdDev->getNumValueOrSingle(FinalChannel)));
  row.append(1, ',').append(exactText(std::isnan(warning) ? 0 : warning));
  if (options.writesChannels) {
    row.append(1, ',').append(std::to_string(facts.dealing.channelOf(record)));
    for (std::int32_t c = 1; c <= facts.dealing.getNumChannels(); ++c) {
      row.append(1, ',').append(numberText(found.prediction->getNumValueOrSingle(c)));
    }
  }
  if (options.writesStages) appendStages(row);
  if (options.numReasons > 0) appendReasons(row, QUVEN_ENV);
  for (const QUVENField* field : found.kept) appendKept(*field, row, QUVEN_ENV);
}

std::int64_t ScoringRun::sumOverRanks(std::int64_t number, const QUVENEnvHandle& env) const {
  QUVENMemoryBlobIO blob;
  if (!transport.isMaster()) {
    blob.write(&number, sizeof number, QUVEN_ENV);
    transport.send(0, blob);
  } else {
    for (int rank = 1; rank < transport.getCount(); ++rank) {
      std::int64_t part = 0;
      transport.receive(rank, blob, QUVEN_ENV);
      blob.read(&part, sizeof part, QUVEN_ENV);
      number += part;
    }
  }
  blob.deleteMemory(QUVEN_ENV);
  return number;
}

void ScoringRun::work(const QUVENEnvHandle& env) {
  const auto write = [this, env](QUVENDataPoint&, std::int64_t record, std::string& row) {
    writeRow(record, row, env);
  };
  driver->writeRows(options.outputFile, header(), write, QUVEN_ENV);
  numWarned = sumOverRanks(numWarned, QUVEN_ENV);
  if (!transport.isMaster() || numWarned == 0) return;
  report_doubt(UntrainedValues, options.outputFile,
               "vesk-analyze: " + std::to_string(numWarned) + " records have values without usable training data",
               QUVEN_ENV);
}

void ScoringRun::addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  results.addLeafTagPath("Parameters/Model", QUVEN_ENV).setValue(options.modelFile, QUVEN_ENV);
  results.addLeafTagPath("Parameters/Output", QUVEN_ENV).setValue(options.outputFile, QUVEN_ENV);
  results.addLeafTagPath("RunParameters/RecordsWithWarning", QUVEN_ENV).setValue(std::to_string(numWarned), QUVEN_ENV);
}

void ScoringRun::release(const QUVENEnvHandle& env) {
  QUVENTransformGlobalVars::get(QUVEN_ENV).setWarningField(nullptr);
  outputs.reset(QUVEN_ENV);
  if (driver) driver->release(QUVEN_ENV);
  model.release(QUVEN_ENV);
  dataset.release(QUVEN_ENV);
}

}  // namespace vesk_analyze
