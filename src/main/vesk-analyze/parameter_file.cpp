#include "parameter_file.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameters = 2202, FileUnusable = 2302 };

constexpr const char* topElement = "AnalysisParams";
constexpr const char* kernelBranch = "KernelParams";

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

const QUVENXMLTag& ParameterFile::parameters(const QUVENEnvHandle& env) const {
  return tree->getTag(topElement, QUVEN_ENV);
}

const QUVENXMLTag& ParameterFile::read(const QUVENEnvHandle& env) {
  tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  std::error_code unknown;  // then reading the file reports it
  if (std::filesystem::is_directory(fileName, unknown) || tree->readXMLFile(fileName, QUVEN_ENV) != 1) {
    report_error(FileUnusable, fileName, "vesk-analyze: Unable to read parameter file", QUVEN_ENV, true);
  }
  if (!tree->hasTag(topElement, QUVEN_ENV)) {
    report_error(IllegalParameters, fileName,
                 std::string("vesk-analyze: the parameter file has no element ") + topElement, QUVEN_ENV, true);
  }
  const QUVENXMLTag& tag = parameters(QUVEN_ENV);
  const bool hasBranch = tag.hasTag(kernelBranch, QUVEN_ENV);
  warnOfUnknown(tag, kind.parameters, hasBranch ? std::span<const char* const>() : kind.kernelParameters);
  if (hasBranch) warnOfUnknown(tag.getTag(kernelBranch, QUVEN_ENV), kind.kernelParameters, {});
  return tag;
}

void ParameterFile::warnOfNoUse(const QUVENEnvHandle& env) const {
  if (kind.kernelParameters.empty()) return;
  const QUVENXMLTag& all = parameters(QUVEN_ENV);
  const QUVENXMLTag& tag = all.hasTag(kernelBranch, QUVEN_ENV) ? all.getTag(kernelBranch, QUVEN_ENV) : all;
  const auto warn = [&](const char* key, bool (*isOfUse)(double), const char* text) {
    if (!tag.hasTag(key, QUVEN_ENV)) return;
    const std::string value = tag.getTag(key, QUVEN_ENV).getValue();
    char* end = nullptr;
    const double number = std::strtod(value.c_str(), &end);
    if (*end != '\0') return;  // the analysis reports it
    if (!isOfUse(number)) report_warning(IllegalParameters, key, text);
  };
  warn(
      "isSparseData", [](double number) { return number != 0 && !std::isnan(number); },
      "vesk-analyze: the records of a sparse dataset are compared one by one, as if each were a subscriber");
  warn(
      "NormalizingFactor", [](double number) { return number > 0 && std::isfinite(number); },
      "vesk-analyze: similarities over a population that is not a number above 0 mean nothing");
}

std::vector<std::string> ParameterFile::inputFiles(const QUVENEnvHandle& env) const {
  std::vector<std::string> files = {fileName};
  const QUVENXMLTag& tag = parameters(QUVEN_ENV);
  for (const char* key : {"KernelValuesFileName", "Seed"}) {
    if (tag.hasTag(key, QUVEN_ENV)) files.push_back(tag.getTag(key, QUVEN_ENV).getValue());
  }
  return files;
}

}  // namespace vesk_analyze
