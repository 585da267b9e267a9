#ifndef VESK_ANALYZE_ANALYSIS_KIND_H
#define VESK_ANALYZE_ANALYSIS_KIND_H

#include <cstdint>
#include <span>
#include <string_view>

namespace vesk_analyze {

/// One analysis that the program can run: all that the driver knows of it.
struct AnalysisKind {
  const char* command;                      ///< its sub-command
  const char* summary;                      ///< its line in the help
  std::int32_t modelId;                     ///< what the model opens
  std::span<const char* const> parameters;  ///< the tags that its parameter file may have
  long explanatoryColumns = 0;              ///< that its dataset has beside the line number, all numeric; 0 for any
};

/// The analyses in the order of the help.
std::span<const AnalysisKind> analysisKinds();

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_ANALYSIS_KIND_H
