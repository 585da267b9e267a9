#include "groups_run.h"

#include "simple_algorithm/quven_cgadata.h"

namespace vesk_analyze {

void GroupsRun::prepare(RunFiles& runFiles, const QUVENEnvHandle& env) {
  if (getOptions().previousNodes.empty()) return;
  auto& groups = static_cast<QUVENCGAData&>(getData(QUVEN_ENV));
  history = std::make_unique<GroupHistory>(getOptions().previousNodes, groups.getOutputFileName());
  history->open(runFiles, QUVEN_ENV);
  groups.setBeforeCommit([this](const std::string& clusters, const std::string& nodes) {
    return history->continueNumbers(clusters, nodes);
  });
}

}  // namespace vesk_analyze
