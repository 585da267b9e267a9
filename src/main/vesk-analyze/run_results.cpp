#include "run_results.h"

#include <array>
#include <ctime>

#include "control/quven_XML_handler.h"
#include "control/quven_result_file.h"
#include "output_check.h"
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

void writeRunResults(const std::string& path, const RunSummary& run,
                     const std::function<void(QUVENXMLTag& results)>& addOwn, const QUVENEnvHandle& env) {
  constexpr int fileUnusable = 2302;
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  QUVENXMLTag& top = tree->getTag("", QUVEN_ENV).addBranchTag("AnalysisResults", QUVEN_ENV);
  addOwn(top);
  addRunResults(top, run, QUVEN_ENV);
  QUVENResultFile file(path);
  if (file.isOpen()) top.write(file.getStream(), 0, QUVEN_ENV);
  tree.reset(QUVEN_ENV);
  if (!file.isOpen() || !file.commit()) {
    report_error(fileUnusable, path, resultsUnwritable, QUVEN_ENV, true);
  }
}

}  // namespace vesk_analyze
