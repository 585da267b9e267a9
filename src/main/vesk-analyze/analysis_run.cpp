#include "analysis_run.h"

#include "dataset_check.h"
#include "parts_check.h"
#include "run_memory.h"
#include "simple_algorithm/quven_simple_algorithm_protocol.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

AnalysisRun::AnalysisRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                         const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      parameterFile(*runOptions.kind, runOptions.parameterFile, runOptions.settings, QUVEN_ENV),
      driver(QUVENPassSettings(), workerTransport, QUVEN_ENV),
      dataset(runOptions.dataset, QUVEN_ENV) {
  static const QUVENSimpleAlgorithmProtocol protocol;
  driver.addProtocol(protocol);
  driver.setDataset(dataset.get());
}

void AnalysisRun::openDataset(const QUVENEnvHandle& env) {
  dataset.get().setNotANumberAllowed(true);  // the analyses have reports of their own
  dataset.open(driver.getPoint(), transport, QUVEN_ENV);
  checkColumns(*options.kind, options.dataset, driver.getPoint(), QUVEN_ENV);
  checkLengths(options.dataset, dataset.get().getNumColumns(), QUVEN_ENV);
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
    files = {.outputs = parameterFile.outputFiles(transport.getCount(), QUVEN_ENV),
             .results = options.resultsFile,
             .resultsJson = options.resultsJsonFile,
             .timings = options.timingsFile,
             .inputs = parameterFile.inputFiles(QUVEN_ENV)};
    files.addInputs(dataset.files());
    prepare(files, QUVEN_ENV);
    files.checkWritable(options.kind->outputError, QUVEN_ENV);
    if (files.outputs.empty()) parameterFile.warnOfNoOutput();
    parameterFile.endIfStrict(QUVEN_ENV);
    files.checkNames(QUVEN_ENV);
  }
  driver.shareFields(QUVEN_ENV);
  if (!transport.isMaster()) openDataset(QUVEN_ENV);
  keepRows();
}

void AnalysisRun::keepRows() {
  rows = std::make_unique<QUVENKeptRows>(dataset.get(), transport, memoryOfRank(options));
  if (transport.isMaster()) model->setKeptRows(rows.get());
  // Above rank 0 the model is read from a stream in each pass.
  driver.setAfterRead([this](QUVENScanWorld& copy) {
    for (const QUVENOwnPtr<QUVENDataScan>& scan : copy.getScans()) {
      static_cast<QUVENSimpleAlgorithmModel&>(*scan).setKeptRows(rows.get());
    }
  });
}

void AnalysisRun::finish(const QUVENEnvHandle& env) {
  checkOutputsAfter(files.outputs, options.kind->failedFile(model->getData(QUVEN_ENV)), QUVEN_ENV);
}

void AnalysisRun::addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  model->writeResultsToTag(results, QUVEN_ENV);
  parameterFile.addResults(results, QUVEN_ENV);
}

void AnalysisRun::release(const QUVENEnvHandle& env) {
  driver.release(QUVEN_ENV);
  dataset.release(QUVEN_ENV);
  parameterFile.release(QUVEN_ENV);
}

}  // namespace vesk_analyze
