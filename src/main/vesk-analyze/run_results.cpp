#include "run_results.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <ostream>
#include <string_view>

#include "control/quven_XML_handler.h"
#include "control/quven_result_file.h"
#include "output_check.h"
#include "results_json.h"
#include "vesk-common/quven_reports.h"
#include "vesk-common/quven_warning_list.h"

namespace vesk_analyze {

namespace {

constexpr std::array<const char*, QUVENPassCounters::NumPhases> phaseNames = {
    "ReadSeconds", "UpdateSeconds", "TransportSeconds", "MergeSeconds", "EndSeconds"};

std::string utcText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text.data(), size};
}

/// Texts of the program and of models that may look like numbers. A path may end with a number.
constexpr std::string_view textPaths[] = {"Run/Version",           "Run/Analysis",           "Run/Dataset",
                                          "Run/DatasetCard/Run",   "Run/DatasetCard/Sha256", "Run/Start",
                                          "Run/Warnings/Warning",  "Parameters/Model",       "Parameters/Output",
                                          "InputParameters/Field", "InputParameters/Target"};

bool isTextOfRun(std::string_view path, const ParameterFile* parameters) {
  if (parameters != nullptr && parameters->isText(path.substr(path.rfind('/') + 1))) return true;
  const std::string_view withoutNumber = path.substr(0, path.find_last_not_of("0123456789") + 1);
  return std::ranges::find(textPaths, withoutNumber) != std::end(textPaths);
}

}  // namespace

void addRunResults(QUVENXMLTag& results, const RunSummary& run, const QUVENEnvHandle& env) {
  const auto set = [&](const std::string& path, const auto& value) {
    results.addLeafTagPath("Run/" + path, QUVEN_ENV).setValue(value, QUVEN_ENV);
  };
  set("Version", VESK_VERSION);
  set("Analysis", run.analysis);
  set("Dataset", run.dataset);
  if (run.card) {
    set("DatasetCard/Run", run.card->run);
    set("DatasetCard/Sha256", run.card->sha256);
    set("DatasetCard/Verified", run.card->isVerified ? 1 : 0);
  }
  set("Ranks", run.ranks);
  set("Start", utcText(run.start));
  set("Seconds", run.seconds);
  int number = 0;
  for (const QUVENPassCounters& pass : run.passes) {
    const std::string branch = "Passes/Pass-" + std::to_string(++number) + "/";
    set(branch + "Records", std::to_string(pass.records));
    for (std::size_t phase = 0; phase < phaseNames.size(); ++phase)
      set(branch + phaseNames[phase], pass.seconds[phase]);
  }
  const QUVENWarningList& warnings = QUVENWarningList::get();
  set("Warnings/Count", std::to_string(warnings.getCount()));
  number = 0;
  for (const std::string& text : warnings.getTexts()) set("Warnings/Warning-" + std::to_string(++number), text);
}

void writeRunResults(const ResultsFiles& files, const RunSummary& run,
                     const std::function<void(QUVENXMLTag& results)>& addOwn, const ParameterFile* parameters,
                     const QUVENEnvHandle& env) {
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  QUVENXMLTag& top = tree->getTag("", QUVEN_ENV).addBranchTag("AnalysisResults", QUVEN_ENV);
  addOwn(top);
  addRunResults(top, run, QUVEN_ENV);
  std::string unwritable;
  {
    // The report ends the run, so an incomplete file and the tree are removed before it.
    const auto write = [&](const std::string& path, const auto& writeTo) {
      if (path.empty() || !unwritable.empty()) return;
      QUVENResultFile file(path);
      if (file.isOpen()) writeTo(file.getStream());
      if (!file.isOpen() || !file.commit()) unwritable = path;
    };
    write(files.xml, [&](std::ostream& out) { top.write(out, 0, QUVEN_ENV); });
    if (parameters != nullptr) parameters->addDefaults(top, QUVEN_ENV);
    const auto isText = [&](std::string_view path) { return isTextOfRun(path, parameters); };
    write(files.json, [&](std::ostream& out) { out << resultsJson(top, isText); });
    tree.reset(QUVEN_ENV);
  }
  constexpr int fileUnusable = 2302;
  if (!unwritable.empty()) report_error(fileUnusable, unwritable, resultsUnwritable, QUVEN_ENV, true);
}

}  // namespace vesk_analyze
