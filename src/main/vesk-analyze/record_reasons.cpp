#include "record_reasons.h"

#include <algorithm>
#include <cmath>

namespace vesk_analyze {

namespace {

constexpr std::int32_t FinalChannel = 1;

}  // namespace

std::vector<Reason> RecordReasons::find(std::size_t most, const QUVENEnvHandle& env) {
  std::vector<Reason> reasons;
  const double value = prediction.getNumValueOrSingle(FinalChannel);
  for (QUVENField* input : inputs) {
    if (!input->hasValue() || input->isMissing()) continue;
    QUVENFieldValue saved;
    input->saveValue(saved, QUVEN_ENV);
    input->setMissing();
    driver.scoreAgain(QUVEN_ENV);
    const double move = value - prediction.getNumValueOrSingle(FinalChannel);
    input->restoreValue(saved, QUVEN_ENV);
    saved.deleteMemory(QUVEN_ENV);
    if (std::isfinite(move) && move != 0) reasons.push_back({input, move});
  }
  driver.scoreAgain(QUVEN_ENV);
  std::stable_sort(reasons.begin(), reasons.end(),
                   [](const Reason& a, const Reason& b) { return std::fabs(a.move) > std::fabs(b.move); });
  if (reasons.size() > most) reasons.resize(most);
  return reasons;
}

}  // namespace vesk_analyze
