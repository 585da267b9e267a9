#ifndef VESK_ANALYZE_GROUPS_RUN_H
#define VESK_ANALYZE_GROUPS_RUN_H

#include <memory>

#include "analysis_run.h"
#include "group_history.h"

namespace vesk_analyze {

/// A group analysis with what the command line adds to it.
class GroupsRun final : public AnalysisRun {
 public:
  using AnalysisRun::AnalysisRun;

 protected:
  void prepare(RunFiles& runFiles, const QUVENEnvHandle& env) override;

 private:
  std::unique_ptr<GroupHistory> history;  // on rank 0, with --previous
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_GROUPS_RUN_H
