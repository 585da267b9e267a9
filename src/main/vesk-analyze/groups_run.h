#ifndef VESK_ANALYZE_GROUPS_RUN_H
#define VESK_ANALYZE_GROUPS_RUN_H

#include "analysis_run.h"

namespace vesk_analyze {

/// A group analysis with what the command line adds to it.
class GroupsRun final : public AnalysisRun {
 public:
  using AnalysisRun::AnalysisRun;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_GROUPS_RUN_H
