#ifndef VESK_ANALYZE_RUN_RESULTS_H
#define VESK_ANALYZE_RUN_RESULTS_H

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "control/quven_XML_tag.h"
#include "dataset_card_check.h"
#include "parameter_file.h"
#include "passes/quven_pass_counters.h"

namespace vesk_analyze {

/// What the program, not the analysis, knows of a run.
struct RunSummary {
  std::string analysis;
  std::string dataset;
  int ranks = 1;
  std::chrono::system_clock::time_point start;
  double seconds = 0;                         ///< since the start
  std::span<const QUVENPassCounters> passes;  ///< those of rank 0
  std::optional<UsedCard> card = {};          ///< nothing for a dataset without a card
};

/// Adds the branch "Run" to the results: version, analysis, dataset with its card, number of ranks, start in UTC,
/// seconds, the passes of rank 0 with their records and the seconds of their phases, and the warnings of rank 0.
void addRunResults(QUVENXMLTag& results, const RunSummary& run, const QUVENEnvHandle& env);

/// Where the results of a run are written, empty for nowhere.
struct ResultsFiles {
  std::string xml;
  std::string json;
};

/// Writes what an action adds below AnalysisResults, and the branch "Run". The JSON file also has the branch
/// "Defaults", the defaults of the parameters; `parameters` is null for a run without a parameter file. Errors: the
/// terminating report 2302 with the name of the file.
void writeRunResults(const ResultsFiles& files, const RunSummary& run,
                     const std::function<void(QUVENXMLTag& results)>& addOwn, const ParameterFile* parameters,
                     const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RUN_RESULTS_H
