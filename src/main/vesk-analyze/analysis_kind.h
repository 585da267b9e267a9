#ifndef VESK_ANALYZE_ANALYSIS_KIND_H
#define VESK_ANALYZE_ANALYSIS_KIND_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "files/dataset_card.h"
#include "passes/quven_worker_transport.h"
#include "simple_algorithm/quven_parameters.h"
#include "simple_algorithm/quven_simple_algorithm_data.h"

namespace vesk_analyze {

/// A file that an analysis writes.
struct OutputFile {
  std::string path;
  bool isReplaced = true;  ///< it gets its name when it is complete; else it is written in place
};

struct AnalyzeOptions;
class Run;

/// One sub-command with a parameter file.
struct AnalysisKind {
  const char* command;  ///< its name
  const char* summary;  ///< its line in the help
  std::unique_ptr<Run> (*makeRun)(const AnalyzeOptions& options, const QUVENWorkerTransport& transport,
                                  const QUVENEnvHandle& env);
  bool comparesGroups = false;  ///< has options for levels and an earlier run
  const char* exampleDataset = "pairsum.bin";
  const char* exampleModel = nullptr;      ///< model file in the example; null if the sub-command takes no model
  QUVENParameterSections (*parameters)();  ///< what its parameter file holds
  /// What a parameter file may hold beside that without a warning.
  QUVENParameterSections (*passedOver)();

  /// The kind that the card of its dataset must have.
  vesk_files::DatasetKind datasetKind = vesk_files::DatasetKind::Dense;

  // Of the network analyses alone.
  std::int32_t modelId = 0;      ///< what the model opens
  long explanatoryColumns = 0;   ///< that its dataset has beside the line number, all numeric; 0 for any
  bool readsTableRows = false;   ///< its dataset is the sparse output of a table run
  const char* outputError = "";  ///< what to say of an output that cannot be opened
  /// A file that the analysis could not write, of which it has said nothing; empty for none.
  std::string (*failedFile)(const QUVENSimpleAlgorithmAbstractData& data) = nullptr;
};

/// The sub-commands in the order of the help.
std::span<const AnalysisKind> analysisKinds();

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_ANALYSIS_KIND_H
