#include "analysis_run.h"

#include <filesystem>

#include "control/quven_result_file.h"
#include "dataset_check.h"
#include "parts_check.h"
#include "simple_algorithm/quven_simple_algorithm_protocol.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameters = 2202, FileUnusable = 2302 };

constexpr const char* resultsUnwritable = "vesk-analyze: Unable to write results file";

bool exists(const std::string& path) {
  std::error_code unknown;  // then the dataset says what is wrong
  return std::filesystem::exists(path, unknown);
}

}  // namespace

AnalysisRun::AnalysisRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                         const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      parameterFile(*runOptions.kind, runOptions.parameterFile, runOptions.settings, QUVEN_ENV),
      driver(QUVENPassSettings(), workerTransport, QUVEN_ENV),
      dataset(quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV)) {
  static const QUVENSimpleAlgorithmProtocol protocol;
  driver.addProtocol(protocol);
  driver.setDataset(*dataset);
}

void AnalysisRun::openDataset(const QUVENEnvHandle& env) {
  dataset->setProgressLines(false);  // there is a progress line of the program's own
  // A name that is not there stands for its parts, and then the description of part 0 may serve all.
  const bool isNameOfParts = !exists(options.dataset) && exists(options.dataset + ".0");
  dataset->setMultiFile(isNameOfParts);
  if (isNameOfParts && !exists(options.dataset + ".info")) dataset->setInfoFile(options.dataset + ".0.info");
  checkParts(options.dataset, QUVEN_ENV);
  dataset->setNotANumberAllowed(true);  // the analyses have reports of their own
  dataset->open(options.dataset, &driver.getPoint(), transport.getRank(), transport.getCount(), QUVEN_ENV);
  checkColumns(*options.kind, options.dataset, driver.getPoint(), QUVEN_ENV);
  checkLengths(options.dataset, dataset->getNumColumns(), QUVEN_ENV);
}

/// Of the results of another analysis of hours nothing would be left, nor of a dataset.
void AnalysisRun::checkNames(const QUVENEnvHandle& env) const {
  std::vector<OutputFile> outputs = outputFiles;
  if (!options.resultsFile.empty()) outputs.push_back({options.resultsFile});
  std::vector<std::string> inputs = parameterFile.inputFiles(QUVEN_ENV);
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
  checkOutputsDiffer(outputs, inputs, QUVEN_ENV);
}

void AnalysisRun::openModel(const QUVENXMLTag& parameters, const QUVENEnvHandle& env) {
  auto made = quvenMake<QUVENSimpleAlgorithmModel>(QUVEN_ENV);
  model = &driver.addScan(std::move(made), QUVEN_ENV);
  QUVENXaRay<QUVENField*> fields;
  const QUVENDataPoint& point = driver.getPoint();
  for (long i = 1; i <= point.getNumFields(); ++i) {
    QUVENField* field = &point.getField(i);
    fields.append(field, QUVEN_ENV);
    const auto purpose = static_cast<QUVENFieldPurpose>(field->getPurpose());
    const std::int32_t usage = purpose == QUVENFieldPurpose::LineNumber ? QUVENUsageSupplementary
                               : purpose == QUVENFieldPurpose::Target   ? QUVENUsageTarget
                                                                        : QUVENUsageExplanatory;
    model->addInput(field, usage, QUVEN_ENV);
  }
  model->setMiningMode(QUVENModel::BestModelTrainDataOnly, nullptr, QUVEN_ENV);
  model->setParameterFileName(parameterFile.fileOfText());
  model->open(options.kind->modelId, fields, parameters, QUVEN_ENV);
  fields.deleteMemory(QUVEN_ENV);
}

void AnalysisRun::open(const QUVENEnvHandle& env) {
  if (transport.isMaster()) {
    const QUVENXMLTag& parameters = parameterFile.read(QUVEN_ENV);
    openDataset(QUVEN_ENV);
    if (options.kind->readsTableRows) checkTable(*options.kind, options.dataset, driver.getPoint(), QUVEN_ENV);
    checkCallersOfParts(options.dataset, driver.getPoint(), QUVEN_ENV);
    parameterFile.warnOfNoUse(QUVEN_ENV);
    openModel(parameters, QUVEN_ENV);
    outputFiles = parameterFile.outputFiles(transport.getCount(), QUVEN_ENV);
    checkOutputsBefore(outputFiles, options.kind->outputError, QUVEN_ENV);
    const OutputFile results[] = {{options.resultsFile}};
    if (!options.resultsFile.empty()) checkOutputsBefore(results, resultsUnwritable, QUVEN_ENV);
    if (outputFiles.empty()) parameterFile.warnOfNoOutput();
    parameterFile.endIfStrict(QUVEN_ENV);
    checkNames(QUVEN_ENV);
  }
  driver.shareFields(QUVEN_ENV);
  if (!transport.isMaster()) openDataset(QUVEN_ENV);
}

void AnalysisRun::checkOutputs(const QUVENEnvHandle& env) const {
  checkOutputsAfter(outputFiles, options.kind->failedFile(model->getData(QUVEN_ENV)), QUVEN_ENV);
}

void AnalysisRun::writeResults(const RunSummary& summary, const QUVENEnvHandle& env) const {
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  QUVENXMLTag& top = tree->getTag("", QUVEN_ENV).addBranchTag("AnalysisResults", QUVEN_ENV);
  model->writeResultsToTag(top, QUVEN_ENV);
  parameterFile.addResults(top, QUVEN_ENV);
  addRunResults(top, summary, QUVEN_ENV);
  QUVENResultFile file(options.resultsFile);
  if (file.isOpen()) top.write(file.getStream(), 0, QUVEN_ENV);
  tree.reset(QUVEN_ENV);
  if (!file.isOpen() || !file.commit()) {
    report_error(FileUnusable, options.resultsFile, resultsUnwritable, QUVEN_ENV, true);
  }
}

void AnalysisRun::release(const QUVENEnvHandle& env) {
  driver.release(QUVEN_ENV);
  dataset.reset(QUVEN_ENV);
  parameterFile.release(QUVEN_ENV);
}

}  // namespace vesk_analyze
