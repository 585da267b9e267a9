#ifndef VESK_ANALYZE_GROUPS_RUN_H
#define VESK_ANALYZE_GROUPS_RUN_H

#include <optional>
#include <string>
#include <vector>

#include "analysis_run.h"
#include "simple_algorithm/quven_cgadata.h"

namespace vesk_analyze {

/// The levels of a text: numbers above 0 and below 1 with commas between, ascending and each once, or "auto" for 0.1 to
/// 0.9. Nothing for any other text.
std::optional<std::vector<double>> readLevels(const std::string& text);

/// A group analysis with what the command line adds to it.
class GroupsRun final : public AnalysisRun {
 public:
  using AnalysisRun::AnalysisRun;

  void open(const QUVENEnvHandle& env) override;

 private:
  bool comparesLevels() const { return !getOptions().levels.empty(); }
  bool goesOnWithBestLevel() const { return getOptions().levels == "auto"; }
  QUVENCGAData& getGroups(const QUVENEnvHandle& env) const;
  void changeOutputs(std::vector<OutputFile>& outputs, const QUVENEnvHandle& env) override;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_GROUPS_RUN_H
