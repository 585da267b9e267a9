#include "correlations_run.h"

#include <ostream>

#include "control/quven_csv_reader.h"
#include "exact_text.h"
#include "kernel/quven_packed_triangle.h"
#include "output_check.h"
#include "shared_words.h"
#include "table_run_files.h"
#include "vesk-common/quven_doubt.h"

namespace vesk_analyze {

namespace {

constexpr int IllegalParameter = 2202;
constexpr int distributionPasses = 2;
constexpr std::int64_t megabyte = 1 << 20;

/// Each pair of different fields once.
void writeCorrelations(const QUVENFieldCorrelations& found, std::ostream& out) {
  out << "field,field,correlation\n";
  const long count = found.ivFieldNames.getSize();
  for (long i = 1; i <= count; ++i) {
    for (long j = i + 1; j <= count; ++j) {
      out << quvenCsvCell(found.ivFieldNames[i]) << ',' << quvenCsvCell(found.ivFieldNames[j]) << ','
          << exactText(found.ivCorrelations.at(quvenPackedIndex(i, j))) << '\n';
    }
  }
}

}  // namespace

CorrelationsRun::CorrelationsRun(const AnalyzeOptions& runOptions, const QUVENWorkerTransport& workerTransport,
                                 const QUVENEnvHandle& env)
    : options(runOptions),
      transport(workerTransport),
      parameterFile(*runOptions.kind, runOptions.parameterFile, runOptions.settings, QUVEN_ENV),
      dataset(runOptions.dataset, QUVEN_ENV) {}

/// Must run before the first field or scan is made, because it sets the channels.
void CorrelationsRun::makeDriver(const QUVENEnvHandle& env) {
  QUVENFoldDealing dealing = parameters.getDealing();
  shareDealing(dealing, transport);
  std::int32_t shares = parameters.shares;
  shareWord(shares, transport);
  const QUVENPassSettings settings{.numChannels = dealing.getNumChannels(),
                                   .dealChannel = [dealing](std::int64_t record) { return dealing.channelOf(record); },
                                   .numSlices = shares == 1 ? 0 : shares,
                                   .distributionPasses = distributionPasses};
  driver.emplace(settings, transport, QUVEN_ENV);
  driver->setDataset(dataset.get());
}

void CorrelationsRun::openTable(const QUVENEnvHandle& env) {
  dataset.openTable(driver->getPoint(), transport, QUVEN_ENV);
  checkNumRecords(dataset, parameters.getDealing(), QUVEN_ENV);
  fields = chooseTrainingFields(parameters, options.dataset, driver->getPoint(), QUVEN_ENV);
  fields.learnsCategories = true;
}

void CorrelationsRun::open(const QUVENEnvHandle& env) {
  if (transport.isMaster()) {
    parameters.read(parameterFile.read(QUVEN_ENV), TrainingParameters::sectionsOfCorrelations(), QUVEN_ENV);
  }
  makeDriver(QUVEN_ENV);
  if (transport.isMaster()) {
    env.resolve().setSoftBytesLimit(parameters.memoryLimit * megabyte);
    openTable(QUVEN_ENV);
    checkTableRunFiles(options, parameterFile, dataset, transport, QUVEN_ENV);
  }
  driver->shareFields(QUVEN_ENV);
  if (transport.isMaster()) {
    addScan(QUVEN_ENV);
  } else {
    dataset.open(driver->getPoint(), transport, QUVEN_ENV);
  }
}

void CorrelationsRun::addScan(const QUVENEnvHandle& env) {
  askForDistributions(fields, parameters, *driver, QUVEN_ENV);
  auto residualModel = quvenMake<QUVENTransRegResidualModel>(QUVEN_ENV);
  residualModel->setNames(driver->getNames());
  for (QUVENField* field : fields.inputs) residualModel->addInput(field, QUVENUsageExplanatory, QUVEN_ENV);
  residualModel->addInput(fields.target, QUVENUsageTarget, QUVEN_ENV);
  if (fields.caseWeight != nullptr) residualModel->addInput(fields.caseWeight, QUVENUsageCaseWeight, QUVEN_ENV);
  if (fields.inverseVarianceWeight != nullptr) {
    residualModel->addInput(fields.inverseVarianceWeight, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  }
  auto made = quvenMake<QUVENModelCorrelations>(QUVEN_ENV);
  made->setResidualModel(std::move(residualModel));
  correlations = &driver->addScan(std::move(made), QUVEN_ENV);
  driver->setBetweenPasses([this, env](int pass) {
    if (pass != distributionPasses) return;
    const auto warn = [&](const TrainingWarning& warning) {
      report_doubt(IllegalParameter, warning.subject, "vesk-analyze: " + warning.text, env);
    };
    constexpr bool endsWithoutSignal = true;
    checkDistributions(fields, endsWithoutSignal, options.dataset, warn, env);
  });
}

void CorrelationsRun::finish(const QUVENEnvHandle& env) {
  const WrittenOutput outputs[] = {{parameters.correlationsFile(), [&](std::ostream& out) {
                                      writeCorrelations(correlations->getCorrelations(), out);
                                    }}};
  writeOutputs(outputs, QUVEN_ENV);
}

void CorrelationsRun::addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  parameterFile.addResults(results, QUVEN_ENV);
}

void CorrelationsRun::release(const QUVENEnvHandle& env) {
  if (driver) driver->release(QUVEN_ENV);
  dataset.release(QUVEN_ENV);
  parameterFile.release(QUVEN_ENV);
}

}  // namespace vesk_analyze
