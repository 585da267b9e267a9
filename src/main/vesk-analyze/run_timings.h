#ifndef VESK_ANALYZE_RUN_TIMINGS_H
#define VESK_ANALYZE_RUN_TIMINGS_H

#include <span>
#include <string>
#include <string_view>

#include "passes/quven_pass_counters.h"
#include "passes/quven_worker_transport.h"

namespace vesk_analyze {

/// A string of JSON with its quotes. A byte that is not UTF-8 becomes U+FFFD.
std::string jsonText(std::string_view text);

/// The timings of one rank as an object of JSON, on lines that begin with four blanks. Rates are null where a phase has
/// taken no time; mostTime is null without passes.
std::string rankTimingsJson(const QUVENRunTimings& timings);

/// The file of --timings=json: the command, the dataset and the objects of the ranks in their order.
std::string timingsJson(std::string_view command, std::string_view dataset, std::span<const std::string> ranks);

/// Writes the timings of all ranks to one file, on rank 0.
///
/// Collective.
/// Errors: the terminating report 2302 with the name of the file, on rank 0.
void writeTimingsFile(const std::string& path, std::string_view command, std::string_view dataset,
                      const QUVENRunTimings& timings, const QUVENWorkerTransport& transport, const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RUN_TIMINGS_H
