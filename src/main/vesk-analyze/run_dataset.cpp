#include "run_dataset.h"

#include <filesystem>

#include "control/quven_table_labels.h"
#include "dataset_check.h"
#include "files/dataset_card.h"
#include "parts_check.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

bool exists(const std::string& path) {
  std::error_code unknown;  // then the dataset says what is wrong
  return std::filesystem::exists(path, unknown);
}

}  // namespace

RunDataset::RunDataset(std::string datasetName, const QUVENEnvHandle& env)
    : name(std::move(datasetName)), dataset(quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV)) {}

void RunDataset::open(QUVENDataPoint& point, const QUVENWorkerTransport& transport, const QUVENEnvHandle& env) {
  dataset->setProgressLines(false);  // there is a progress line of the program's own
  // If no file has the name, its parts are read; one description beside part 0 is enough for all of them.
  const bool isNameOfParts = !exists(name) && exists(name + ".0");
  dataset->setMultiFile(isNameOfParts);
  if (isNameOfParts && !exists(name + ".info")) dataset->setInfoFile(name + ".0.info");
  checkParts(name, QUVEN_ENV);
  dataset->open(name, &point, transport.getRank(), transport.getCount(), QUVEN_ENV);
}

void RunDataset::openTable(QUVENDataPoint& point, const QUVENWorkerTransport& transport, const QUVENEnvHandle& env) {
  open(point, transport, QUVEN_ENV);
  if (dataset->getNumColumns() == 0) {
    constexpr int fileUnusable = 2302;
    report_error(fileUnusable, name, "vesk-analyze: the description of the dataset has no columns", QUVEN_ENV, true);
  }
  checkLengths(name, dataset->getNumColumns(), QUVEN_ENV);
}

std::int64_t RunDataset::getNumRecords() {
  return dataset->getTotalBytes() / (dataset->getNumColumns() * static_cast<std::int64_t>(sizeof(double)));
}

std::vector<std::string> RunDataset::files() const {
  std::vector<std::string> all;
  const std::vector<std::string> parts = exists(name) ? std::vector{name} : partsOf(name);
  for (const std::string& part : parts) {
    all.push_back(part);
    all.push_back(part + ".info");
  }
  all.push_back(name + ".info");
  // A card that does not exist is no input: an output may have its name.
  if (const std::string card = vesk_files::cardPath(name); exists(card)) all.push_back(card);
  return all;
}

std::vector<std::string> RunDataset::tableFiles() const {
  std::vector<std::string> all = files();
  all.push_back(QUVENTableLabels::pathOf(name));
  return all;
}

}  // namespace vesk_analyze
