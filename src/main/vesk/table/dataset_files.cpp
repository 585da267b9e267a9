#include "table/dataset_files.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "control/quven_dataset_parts.h"

namespace vesk {

std::vector<std::string> datasetFilesOf(const std::string& name) {
  QUVENDatasetFiles files = quvenFindDatasetFiles(name);
  if (!files.wrongFile.empty()) throw std::runtime_error(files.wrongFile + ": " + files.mistake);
  return std::move(files.paths);
}

std::string descriptionPathOf(const std::string& name) {
  for (const std::string& path : {name + ".info", name + ".0.info"}) {
    std::error_code unknown;  // then there is no such file
    if (std::filesystem::exists(path, unknown)) return path;
  }
  return {};
}

std::vector<dataset_info::Column> readDescription(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot open " + path + ": " + std::generic_category().message(errno));
  std::vector<dataset_info::Column> columns;
  const std::string mistake = dataset_info::readFrom(file, columns);
  if (!mistake.empty()) throw std::runtime_error(path + ": " + mistake);
  return columns;
}

}  // namespace vesk
