#include "day/state_settings.h"

#include <array>
#include <cstdio>
#include <set>

#include "files/printable.h"

namespace vesk {

namespace {

std::string fieldName(const vesk_loader::LoaderSettings& settings, std::int32_t field) {
  return settings.fieldNames.at(static_cast<std::size_t>(field));
}

std::string operationText(const vesk_loader::LoaderSettings& settings, std::size_t index) {
  std::string text = settings.operationNames[index] + " of " + fieldName(settings, settings.operationInputs[index]);
  const std::string& condition = settings.operationConditions[index];
  if (condition != "NoCondition") {
    std::array<char, 40> threshold{};
    std::snprintf(threshold.data(), threshold.size(), " if %s %.17g", condition.c_str(),
                  settings.operationThresholds[index]);
    text += threshold.data();
  }
  const bool hasOutput = settings.cyclicTableSize == 0 && settings.pairSumFlag == 0;
  if (hasOutput) text += " to output " + std::to_string(settings.operationOutputs[index] + 1);
  return text;
}

}  // namespace

std::map<std::string, std::string> stateSettings(const vesk_loader::LoaderSettings& settings,
                                                 const std::string& recordDates) {
  std::map<std::string, std::string> texts;
  texts["Key"] = fieldName(settings, settings.keyField);
  texts["CyclicTableSize"] = std::to_string(settings.cyclicTableSize);
  if (settings.cyclicTableSize > 0 && settings.distinctCyclicTable) texts["CyclicTableDistinct"] = "Yes";
  texts["NumberOfPartitions"] = std::to_string(settings.numberOfPartitions);
  if (settings.dateField >= 0) {
    texts["DateField"] = fieldName(settings, settings.dateField);
    texts["--record-dates"] = recordDates;
  }
  if (settings.multiplicityField >= 1) texts["MultiplicityField"] = fieldName(settings, settings.multiplicityField);
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    texts["Operation" + std::to_string(i + 1)] = operationText(settings, i);
  }
  for (std::size_t i = 0; i < settings.payloadInputs.size(); ++i) {
    texts["Payload" + std::to_string(i + 1)] = fieldName(settings, settings.payloadInputs[i]);
  }
  return texts;
}

std::string settingsDifference(const std::map<std::string, std::string>& state,
                               const std::map<std::string, std::string>& now) {
  std::set<std::string> tags;
  for (const auto& [tag, text] : state) tags.insert(tag);
  for (const auto& [tag, text] : now) tags.insert(tag);
  const auto textOf = [](const std::map<std::string, std::string>& texts, const std::string& tag) {
    const auto found = texts.find(tag);
    return found == texts.end() ? "none" : found->second;
  };
  std::string difference;
  for (const std::string& tag : tags) {
    const std::string before = textOf(state, tag);
    const std::string after = textOf(now, tag);
    if (before == after) continue;
    if (!difference.empty()) difference += "; ";
    difference += vesk_files::printable(tag) + ": " + vesk_files::printable(before) + " in the state, " +
                  vesk_files::printable(after) + " now";
  }
  return difference;
}

}  // namespace vesk
