#include "scan_plan.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vesk_loader {

namespace {

constexpr std::array<std::pair<const char*, Comparison>, 5> comparisons = {{{"EQ", Comparison::EQ},
                                                                            {"LE", Comparison::LE},
                                                                            {"GE", Comparison::GE},
                                                                            {"GT", Comparison::GT},
                                                                            {"LT", Comparison::LT}}};

constexpr std::array<std::pair<const char*, OperationKind>, 4> kinds = {{{"CyclicAdd", OperationKind::CyclicAdd},
                                                                         {"Add", OperationKind::Add},
                                                                         {"Count", OperationKind::Count},
                                                                         {"PairSum", OperationKind::PairSum}}};

}  // namespace

Condition Condition::fromSettings(const std::string& name, double threshold) {
  for (const auto& [text, comparison] : comparisons) {
    if (name == text) return {comparison, threshold};
  }
  return {Comparison::Always, threshold};
}

ScanPlan::ScanPlan(const LoaderSettings& settings)
    : tableRun(settings.cyclicTableSize > 0),
      keyField(settings.keyField),
      dateField(settings.dateField),
      multiplicityField(settings.multiplicityField) {
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    for (const auto& [name, kind] : kinds) {
      if (settings.operationNames[i] != name || (kind == OperationKind::CyclicAdd) != tableRun) continue;
      PlannedOperation operation{
          kind, static_cast<std::int32_t>(i), settings.operationInputs[i], 0,
          Condition::fromSettings(settings.operationConditions[i], settings.operationThresholds[i])};
      if (kind == OperationKind::Add || kind == OperationKind::Count) {
        operation.output = static_cast<std::uint32_t>(settings.operationOutputs[i]);
        sumCount = std::max(sumCount, operation.output + 1);
      }
      const bool usesValue = kind != OperationKind::Count || operation.condition.comparison != Comparison::Always;
      if (!tableRun && usesValue) operation.value = indexOfInput(operation.input);
      operations.push_back(operation);
    }
  }
}

std::uint32_t ScanPlan::indexOfInput(std::int32_t field) {
  const auto place = std::find(valueInputs.begin(), valueInputs.end(), field);
  const auto index = static_cast<std::uint32_t>(place - valueInputs.begin());
  if (place == valueInputs.end()) valueInputs.push_back(field);
  return index;
}

}  // namespace vesk_loader
