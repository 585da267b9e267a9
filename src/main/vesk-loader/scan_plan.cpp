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
    OperationKind kind{};
    if (!find_operation(settings.operationNames[i], kind)) continue;
    const Operation row = describe(kind);
    if ((row.run == RunKind::Table) != tableRun) continue;
    PlannedOperation operation{
        row, static_cast<std::int32_t>(i), settings.operationInputs[i], 0,
        Condition::fromSettings(settings.operationConditions[i], settings.operationThresholds[i])};
    if (addsToSum(row.effect)) {
      operation.output = static_cast<std::uint32_t>(settings.operationOutputs[i]);
      outputsAreDistinct =
          outputsAreDistinct && std::none_of(operations.begin(), operations.end(), [&](const auto& other) {
            return addsToSum(other.row.effect) && other.output == operation.output;
          });
      sumCount = std::max(sumCount, operation.output + 1);
    }
    const bool usesValue = row.needsValue || operation.condition.comparison != Comparison::Always;
    if (!tableRun && usesValue) operation.value = indexOfInput(operation.input);
    usesMultiplicity = usesMultiplicity || (multiplicityField >= 1 && row.effect != Effect::AddValue);
    operations.push_back(operation);
  }
  fieldsExist = allFieldsExist(settings);
}

bool ScanPlan::allFieldsExist(const LoaderSettings& settings) const {
  const auto exists = [&settings](std::int32_t field) {
    return field >= 0 && static_cast<std::size_t>(field) < settings.fieldStarts.size();
  };
  const std::vector<std::int32_t>& payloads = settings.payloadInputs;
  return exists(keyField) && (dateField == -1 || exists(dateField)) &&
         (multiplicityField < 1 || exists(multiplicityField)) &&
         std::all_of(operations.begin(), operations.end(),
                     [&](const auto& planned) { return exists(planned.input); }) &&
         std::all_of(payloads.begin(), payloads.end(), exists);
}

std::uint32_t ScanPlan::indexOfInput(std::int32_t field) {
  const auto place = std::find(valueInputs.begin(), valueInputs.end(), field);
  const auto index = static_cast<std::uint32_t>(place - valueInputs.begin());
  if (place == valueInputs.end()) valueInputs.push_back(field);
  return index;
}

}  // namespace vesk_loader
