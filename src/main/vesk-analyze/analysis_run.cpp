#include "analysis_run.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "dataset_check.h"
#include "simple_algorithm/quven_result_file.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_stream_values.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameters = 2202, FileUnusable = 2302 };

constexpr const char* topElement = "AnalysisParams";
constexpr const char* kernelBranch = "KernelParams";
constexpr const char* resultsUnwritable = "vesk-analyze: Unable to write results file";

bool exists(const std::string& path) {
  std::error_code unknown;  // then the dataset says what is wrong
  return std::filesystem::exists(path, unknown);
}

void warnOfUnknown(const QUVENXMLTag& tag, std::span<const char* const> known, std::span<const char* const> alsoKnown) {
  const auto isIn = [](std::span<const char* const> names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  for (const QUVENXMLTag& child : tag.getChildren()) {
    if (isIn(known, child.getName()) || isIn(alsoKnown, child.getName())) continue;
    report_warning(IllegalParameters, child.getName(), "vesk-analyze: unknown parameter is ignored");
  }
}

}  // namespace

AnalysisRun::AnalysisRun(const AnalyzeOptions& runOptions, const WorkerTransport& workerTransport,
                         const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      parameterTree(QUVEN_ENV),
      point(quvenMake<QUVENDataPoint>(QUVEN_ENV)),
      names(quvenMake<QUVENFieldNameMap>(QUVEN_ENV)),
      dataset(quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV)),
      model(quvenMake<QUVENSimpleAlgorithmModel>(QUVEN_ENV)) {}

const QUVENXMLTag& AnalysisRun::readParameters(const QUVENEnvHandle& env) {
  parameterTree = QUVENXMLHandler::create(QUVEN_ENV);
  parameterTree->resetTree(QUVEN_ENV);
  std::error_code unknown;  // then the reading says what is wrong
  if (std::filesystem::is_directory(options.parameterFile, unknown) ||
      parameterTree->readXMLFile(options.parameterFile, QUVEN_ENV) != 1) {
    report_error(FileUnusable, options.parameterFile, "vesk-analyze: Unable to read parameter file", QUVEN_ENV, true);
  }
  if (!parameterTree->hasTag(topElement, QUVEN_ENV)) {
    report_error(IllegalParameters, options.parameterFile,
                 std::string("vesk-analyze: the parameter file has no element ") + topElement, QUVEN_ENV, true);
  }
  const QUVENXMLTag& parameters = parameterTree->getTag(topElement, QUVEN_ENV);
  const bool hasBranch = parameters.hasTag(kernelBranch, QUVEN_ENV);
  warnOfUnknown(parameters, options.kind->parameters,
                hasBranch ? std::span<const char* const>() : options.kind->kernelParameters);
  if (hasBranch) warnOfUnknown(parameters.getTag(kernelBranch, QUVEN_ENV), options.kind->kernelParameters, {});
  return parameters;
}

/// Values that the kernel takes, and with which it finds nothing that means anything in such a dataset.
void AnalysisRun::warnOfNoUse(const QUVENXMLTag& parameters, const QUVENEnvHandle& env) const {
  if (options.kind->kernelParameters.empty()) return;
  const QUVENXMLTag& tag =
      parameters.hasTag(kernelBranch, QUVEN_ENV) ? parameters.getTag(kernelBranch, QUVEN_ENV) : parameters;
  const auto warn = [&](const char* key, bool (*isOfUse)(double), const char* text) {
    if (!tag.hasTag(key, QUVEN_ENV)) return;
    const std::string value = tag.getTag(key, QUVEN_ENV).getValue();
    char* end = nullptr;
    const double number = std::strtod(value.c_str(), &end);
    if (*end != '\0') return;  // an error of its own
    if (!isOfUse(number)) report_warning(IllegalParameters, key, text);
  };
  warn(
      "isSparseData", [](double number) { return number != 0 && !std::isnan(number); },
      "vesk-analyze: the records of a sparse dataset are compared one by one, as if each were a subscriber");
  warn(
      "NormalizingFactor", [](double number) { return number > 0 && std::isfinite(number); },
      "vesk-analyze: similarities over a population that is not a number above 0 mean nothing");
}

void AnalysisRun::openDataset(const QUVENEnvHandle& env) {
  dataset->setProgressLines(false);  // there is a progress line of the program's own
  // A name that is not there stands for its parts, and then the description of part 0 may serve all.
  const bool isNameOfParts = !exists(options.dataset) && exists(options.dataset + ".0");
  dataset->setMultiFile(isNameOfParts);
  if (isNameOfParts && !exists(options.dataset + ".info")) dataset->setInfoFile(options.dataset + ".0.info");
  if (isNameOfParts) checkParts(options.dataset, QUVEN_ENV);
  dataset->setNotANumberAllowed(true);  // the analyses have reports of their own
  dataset->open(options.dataset, point.get(), transport.getRank(), transport.getCount(), QUVEN_ENV);
  checkColumns(*options.kind, options.dataset, *point, QUVEN_ENV);
  // What a copy or a full disk has cut would be analysed as if it were all.
  const std::int64_t recordBytes = dataset->getNumColumns() * static_cast<std::int64_t>(sizeof(double));
  if (recordBytes > 0 && dataset->getTotalBytes() % recordBytes != 0) {
    report_error(FileUnusable, options.dataset, "vesk-analyze: the dataset ends inside a record", QUVEN_ENV, true);
  }
  for (long i = 1; i <= point->getNumFields(); ++i) names->addReference(&point->getField(i), QUVEN_ENV);
}

/// Of the results of another analysis of hours nothing would be left, nor of a dataset.
void AnalysisRun::checkNames(const QUVENXMLTag& parameters, const QUVENEnvHandle& env) const {
  std::vector<OutputFile> outputs = outputFiles;
  if (!options.resultsFile.empty()) outputs.push_back({options.resultsFile});
  std::vector<std::string> inputs = {options.parameterFile};
  std::vector<std::string> parts = {options.dataset};
  if (!exists(options.dataset)) {
    parts.clear();
    for (int number = 0; exists(options.dataset + "." + std::to_string(number)); ++number) {
      parts.push_back(options.dataset + "." + std::to_string(number));
    }
  }
  for (const std::string& part : parts) {
    inputs.push_back(part);
    inputs.push_back(part + ".info");
  }
  inputs.push_back(options.dataset + ".info");
  for (const char* key : {"KernelValuesFileName", "Seed"}) {
    if (parameters.hasTag(key, QUVEN_ENV)) inputs.push_back(parameters.getTag(key, QUVEN_ENV).getValue());
  }
  checkOutputsDiffer(outputs, inputs, QUVEN_ENV);
}

void AnalysisRun::openModel(const QUVENXMLTag& parameters, const QUVENEnvHandle& env) {
  QUVENXaRay<QUVENField*> fields;
  for (long i = 1; i <= point->getNumFields(); ++i) {
    QUVENField* field = &point->getField(i);
    fields.append(field, QUVEN_ENV);
    const auto purpose = static_cast<QUVENFieldPurpose>(field->getPurpose());
    const std::int32_t usage = purpose == QUVENFieldPurpose::LineNumber ? QUVENUsageSupplementary
                               : purpose == QUVENFieldPurpose::Target   ? QUVENUsageTarget
                                                                        : QUVENUsageExplanatory;
    model->addInput(field, usage, QUVEN_ENV);
  }
  model->setMiningMode(QUVENModel::BestModelTrainDataOnly, nullptr, QUVEN_ENV);
  model->setParameterFileName(options.parameterFile);
  model->open(options.kind->modelId, fields, parameters, QUVEN_ENV);
  fields.deleteMemory(QUVEN_ENV);
}

void AnalysisRun::shareFields(const QUVENEnvHandle& env) {
  QUVENMemoryBlobIO blob;
  if (transport.isMaster()) {
    QUVENBinObjWriter writer(blob, QUVENObjWriter::SaveForWorker);
    quvenWriteObject(writer, *point, QUVEN_ENV);
  }
  transport.broadcast(blob, QUVEN_ENV);
  if (!transport.isMaster()) {
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, *point, QUVEN_ENV);
  }
  blob.deleteMemory(QUVEN_ENV);
}

void AnalysisRun::open(const QUVENEnvHandle& env) {
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(1);
  if (transport.isMaster()) {
    const QUVENXMLTag& parameters = readParameters(QUVEN_ENV);
    openDataset(QUVEN_ENV);
    if (options.kind->readsTableRows) checkTable(*options.kind, options.dataset, *point, QUVEN_ENV);
    warnOfNoUse(parameters, QUVEN_ENV);
    openModel(parameters, QUVEN_ENV);
    outputFiles = options.kind->outputFiles(parameters, transport.getCount(), QUVEN_ENV);
    checkOutputsBefore(outputFiles, options.kind->outputError, QUVEN_ENV);
    const OutputFile results[] = {{options.resultsFile}};
    if (!options.resultsFile.empty()) checkOutputsBefore(results, resultsUnwritable, QUVEN_ENV);
    if (outputFiles.empty()) {
      report_warning(IllegalParameters, "OutputFileName", "vesk-analyze: without it the results are written nowhere");
    }
    checkNames(parameters, QUVEN_ENV);
  }
  if (transport.isAlone()) return;
  shareFields(QUVEN_ENV);
  if (!transport.isMaster()) openDataset(QUVEN_ENV);
}

void AnalysisRun::readModel(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) {
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  names->putInto(reader, QUVEN_ENV);
  quvenReadObject(reader, *model, QUVEN_ENV);
}

void AnalysisRun::writeModel(QUVENMemoryBlobIO& blob, std::int32_t writerMode, const QUVENEnvHandle& env) const {
  blob.clear();
  QUVENBinObjWriter writer(blob, writerMode);
  quvenWriteObject(writer, *model, QUVEN_ENV);
}

void AnalysisRun::checkOutputs(const QUVENEnvHandle& env) const {
  checkOutputsAfter(outputFiles, options.kind->failedFile(model->getData(QUVEN_ENV)), QUVEN_ENV);
}

void AnalysisRun::writeResults(const QUVENEnvHandle& env) const {
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  QUVENXMLTag& top = tree->getTag("", QUVEN_ENV).addBranchTag("AnalysisResults", QUVEN_ENV);
  model->writeResultsToTag(top, QUVEN_ENV);
  QUVENResultFile file(options.resultsFile);
  if (file.isOpen()) top.write(file.getStream(), 0, QUVEN_ENV);
  tree.reset(QUVEN_ENV);
  if (!file.isOpen() || !file.commit()) {
    report_error(FileUnusable, options.resultsFile, resultsUnwritable, QUVEN_ENV, true);
  }
}

void AnalysisRun::release(const QUVENEnvHandle& env) {
  model.reset(QUVEN_ENV);
  dataset.reset(QUVEN_ENV);
  names.reset(QUVEN_ENV);
  point.reset(QUVEN_ENV);
  parameterTree.reset(QUVEN_ENV);
}

}  // namespace vesk_analyze
