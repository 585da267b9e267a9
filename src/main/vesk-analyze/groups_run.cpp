#include "groups_run.h"

#include <algorithm>
#include <charconv>

namespace vesk_analyze {

std::optional<std::vector<double>> readLevels(const std::string& text) {
  if (text == "auto") return std::vector<double>{0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9};
  std::vector<double> levels;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (;;) {
    double level = 0;
    const auto [behind, error] = std::from_chars(at, end, level);
    if (error != std::errc() || !(level > 0 && level < 1)) return std::nullopt;
    levels.push_back(level);
    if (behind == end) break;
    if (*behind != ',') return std::nullopt;
    at = behind + 1;
  }
  std::sort(levels.begin(), levels.end());
  levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
  return levels;
}

QUVENCGAData& GroupsRun::getGroups(const QUVENEnvHandle& env) const {
  return static_cast<QUVENCGAData&>(getData(QUVEN_ENV));
}

void GroupsRun::compareLevels(RunFiles& runFiles, const QUVENEnvHandle& env) {
  const bool goesOn = getOptions().levels == "auto";
  if (goesOn) {
    // The files of kept pairs, the only ones that are written in place, are not written.
    std::erase_if(runFiles.outputs, [](const OutputFile& file) { return !file.isReplaced; });
  } else {
    runFiles.outputs.clear();  // the analysis ends with the table
  }
  runFiles.outputs.push_back({getGroups(QUVEN_ENV).getOutputFileName() + "_levels.csv"});
  getGroups(QUVEN_ENV).compareLevels(*readLevels(getOptions().levels), goesOn, QUVEN_ENV);
}

void GroupsRun::prepare(RunFiles& runFiles, const QUVENEnvHandle& env) {
  if (!getOptions().levels.empty()) compareLevels(runFiles, QUVEN_ENV);
  if (getOptions().previousNodes.empty()) return;
  history = std::make_unique<GroupHistory>(getOptions().previousNodes, getGroups(QUVEN_ENV).getOutputFileName());
  history->open(runFiles, QUVEN_ENV);
  getGroups(QUVEN_ENV).setBeforeCommit([this](const std::string& clusters, const std::string& nodes) {
    return history->continueNumbers(clusters, nodes);
  });
}

}  // namespace vesk_analyze
