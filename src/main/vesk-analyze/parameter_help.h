#ifndef VESK_ANALYZE_PARAMETER_HELP_H
#define VESK_ANALYZE_PARAMETER_HELP_H

#include <string>

#include "analysis_kind.h"

namespace vesk_analyze {

/// One line per parameter of the analysis: its path, its default or "required", its meaning and what is legal.
std::string parameterHelp(const AnalysisKind& kind);

/// A whole parameter file of the analysis, with the defaults and the example values of its table; no line break at its
/// end.
std::string parameterExample(const AnalysisKind& kind);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PARAMETER_HELP_H
