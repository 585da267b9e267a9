#ifndef VESK_REPORT_RUN_FACTS_H
#define VESK_REPORT_RUN_FACTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/report_table.h"

namespace vesk {

/// What a file of `vesk-analyze --results-json` says of a run.
struct RunFacts {
  struct Item {
    std::string name;
    ReportCell value;
  };
  struct Changed {
    std::string name;  ///< the path below Parameters
    ReportCell value;
    ReportCell defaultValue;
  };
  std::string file;
  std::string analysis;
  std::string dataset;
  std::string outputName;                       ///< the parameter OutputFileName; empty for none
  std::optional<std::uint64_t> maxClusterSize;  ///< of a group run
  std::vector<Item> items;                      ///< of the branch Run
  std::vector<Item> counted;                    ///< of the branch RunParameters, by their paths
  std::vector<Changed> changed;                 ///< the parameters that are not their defaults
  std::uint64_t warningCount = 0;
  std::vector<std::string> warnings;  ///< the first of them
};

/// Errors: CommandFailure with Status::Data and the file, and the line of what is no JSON: a file that is no JSON or
/// has
///         no results of a run, a member of another type, more than 64 MB.
RunFacts readRunFacts(const std::string& file);

}  // namespace vesk

#endif  // VESK_REPORT_RUN_FACTS_H
