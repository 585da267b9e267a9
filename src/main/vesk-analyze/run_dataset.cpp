#include "run_dataset.h"

#include <filesystem>

#include "parts_check.h"

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

std::vector<std::string> RunDataset::files() const {
  std::vector<std::string> all;
  const std::vector<std::string> parts = exists(name) ? std::vector{name} : partsOf(name);
  for (const std::string& part : parts) {
    all.push_back(part);
    all.push_back(part + ".info");
  }
  all.push_back(name + ".info");
  return all;
}

}  // namespace vesk_analyze
