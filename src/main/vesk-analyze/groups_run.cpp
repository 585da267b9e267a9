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

void GroupsRun::open(const QUVENEnvHandle& env) {
  AnalysisRun::open(QUVEN_ENV);
  if (!isMaster() || !comparesLevels()) return;
  getGroups(QUVEN_ENV).compareLevels(*readLevels(getOptions().levels), goesOnWithBestLevel(), QUVEN_ENV);
}

void GroupsRun::changeOutputs(std::vector<OutputFile>& outputs, const QUVENEnvHandle& env) {
  if (!comparesLevels()) return;
  if (!goesOnWithBestLevel()) outputs.clear();  // the analysis ends with the table
  outputs.push_back({getGroups(QUVEN_ENV).getOutputFileName() + "_levels.csv"});
}

}  // namespace vesk_analyze
