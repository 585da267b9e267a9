#ifndef VESK_ANALYZE_ANALYZE_H
#define VESK_ANALYZE_ANALYZE_H

#include <iosfwd>

#include "run.h"

namespace vesk_analyze {

/// What the command line asks for.
enum class CommandLine { Run, Done, Wrong };

/// Reads the command line. Help and version go to out, what is wrong with it to err.
CommandLine readCommandLine(int argc, const char* const* argv, AnalyzeOptions& options, std::ostream& out,
                            std::ostream& err);

/// Runs the sub-command on this worker.
///
/// Requires:   MPI runs.
/// Collective: every worker calls it with the same options.
/// Errors:     the library exception behind a report line; XRTMemoryException.
void runAnalysis(const AnalyzeOptions& options, std::ostream& err);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_ANALYZE_H
