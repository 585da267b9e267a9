#include "check/run_check.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "check/known_tags.h"
#include "operations.h"  // of vesk-loader

namespace vesk {

namespace {

using vesk_loader::Effect;
using vesk_loader::OperationKind;
using vesk_loader::RunKind;

constexpr std::size_t None = TagValues::None;
// Each caller has as many sums as the largest output says.
constexpr std::int32_t largestOutput = 1000000;

/// What people write for a condition.
constexpr std::array<std::pair<std::string_view, std::string_view>, 12> otherConditions = {{{"GTE", "GE"},
                                                                                            {">=", "GE"},
                                                                                            {"MIN", "GE"},
                                                                                            {"LTE", "LE"},
                                                                                            {"<=", "LE"},
                                                                                            {"MAX", "LE"},
                                                                                            {">", "GT"},
                                                                                            {"<", "LT"},
                                                                                            {"=", "EQ"},
                                                                                            {"==", "EQ"},
                                                                                            {"None", "NoCondition"},
                                                                                            {"No", "NoCondition"}}};

struct ReadOperation {
  std::size_t tag;
  vesk_loader::Operation row;
  std::int32_t output;  ///< 0-based, of operations that have a sum
};

class RunChecker {
 public:
  RunChecker(TagValues& allValues, std::size_t topTag, vesk_loader::LoaderSettings& readSettings)
      : values(allValues), top(topTag), settings(readSettings) {}

  void checkAll() {
    readOperations();
    const bool isTable = settings.cyclicTableSize > 0;
    checkKinds(isTable);
    if (settings.pairSumFlag != 0) checkPairSum();
    checkIgnoredTags(isTable);
    checkOutputs();
  }

 private:
  std::size_t find(const std::string& name) const { return values.find(top, name); }

  void readOperations() {
    std::size_t number = 1;
    for (;; ++number) {
      const std::size_t tag = find("Operation" + std::to_string(number));
      if (tag == None) break;
      readOperation(tag);
    }
    if (number == 1) values.errorOfFile("there is no Operation1, so that nothing would be loaded");
  }

  void readOperation(std::size_t tag) {
    const std::size_t nameTag = values.find(tag, "OpName");
    if (nameTag == None) values.error(tag, "has no OpName");
    const std::int32_t input = readInput(tag);
    if (nameTag == None) return;
    const std::string& name = values[nameTag].text;
    OperationKind kind{};
    if (!vesk_loader::find_operation(name, kind)) {
      const auto near = nearestText(name, {"CyclicAdd", "CyclicAddPayload", "Add", "Count", "PairSum"});
      values.errorInText(nameTag, inBrackets(name) + " is none of CyclicAdd, CyclicAddPayload, Add, Count, PairSum" +
                                      (near ? "; did you mean " + std::string(*near) + "?" : ""));
      return;
    }
    const vesk_loader::Operation row = vesk_loader::describe(kind);
    if (row.effect == Effect::AppendPayload) {
      operations.push_back({tag, row, 0});
      refusePayloadCondition(tag);
      settings.payloadInputs.push_back(input);
      return;
    }
    if (row.effect == Effect::WeighPair) settings.pairSumFlag = 1;
    settings.operationNames.push_back(name);
    settings.operationInputs.push_back(input);
    settings.operationOutputs.push_back(readOutput(tag, row));
    operations.push_back({tag, row, settings.operationOutputs.back()});
    readCondition(tag);
  }

  std::int32_t readInput(std::size_t operation) {
    const std::size_t tag = values.find(operation, "Input");
    if (tag == None) {
      values.error(operation, "has no Input");
      return -1;
    }
    const std::int32_t field = values.fieldIndex(tag, settings.fieldStarts.size());
    if (field >= 0 && field == settings.keyField) {
      values.remark(tag, "the field is the Key as well");
    }
    return field;
  }

  std::int32_t readOutput(std::size_t operation, const vesk_loader::Operation& row) {
    constexpr std::int32_t ignored = -1;
    constexpr std::int32_t missing = -2;
    const std::size_t tag = values.find(operation, "Output");
    if (row.output != vesk_loader::OutputTag::Required) {
      if (tag != None) values.remark(tag, std::string(row.name) + " does not use it");
      if (row.output == vesk_loader::OutputTag::Ignored) return ignored;
      return tag == None ? missing : values.index(tag, std::numeric_limits<std::int32_t>::max());
    }
    if (tag == None) {
      values.error(operation, std::string(row.name) + " has no Output");
      return 0;
    }
    const std::int32_t output = values.index(tag, largestOutput);
    return std::clamp(output, 0, largestOutput - 1);
  }

  void readCondition(std::size_t operation) {
    const std::size_t condition = values.find(operation, "Condition");
    const std::size_t threshold = values.find(operation, "Threshold");
    settings.operationConditions.push_back(condition == None ? "NoCondition" : values[condition].text);
    constexpr double without = -1.0;
    settings.operationThresholds.push_back(threshold == None ? without : values.real(threshold));
    if (condition != None) checkCondition(condition);
    const bool isNone = condition != None && values[condition].text == "NoCondition";
    if (condition == None && threshold != None)
      values.error(threshold, "there is no Condition, so that it is not used");
    if (condition != None && threshold == None && !isNone) {
      values.error(condition, "there is no Threshold; the loader would compare with -1");
    }
    if (isNone && threshold != None) values.remark(threshold, "not used with NoCondition");
  }

  void checkCondition(std::size_t tag) {
    const std::string& text = values[tag].text;
    const auto known = {"EQ", "LE", "GE", "GT", "LT", "NoCondition"};
    if (std::ranges::find(known, text) != known.end()) return;
    std::optional<std::string_view> near;
    for (const auto& [other, meant] : otherConditions) {
      if (text == other) near = meant;
    }
    if (!near) near = nearestText(text, {"EQ", "LE", "GE", "GT", "LT", "NoCondition"});
    values.errorInText(tag, inBrackets(text) +
                                " is none of EQ, LE, GE, GT, LT, NoCondition; the loader would test nothing" +
                                (near ? "; did you mean " + std::string(*near) + "?" : ""));
  }

  void refusePayloadCondition(std::size_t operation) {
    for (const char* name : {"Condition", "Threshold"}) {
      const std::size_t tag = values.find(operation, name);
      if (tag != None) values.error(tag, "CyclicAddPayload tests nothing; the payload follows the entry of CyclicAdd");
    }
    const std::size_t output = values.find(operation, "Output");
    if (output != None) values.remark(output, "CyclicAddPayload does not use it");
  }

  void checkKinds(bool isTable) {
    bool hasTable = false;
    bool hasPlain = false;
    bool hasEntry = false;
    for (const ReadOperation& operation : operations) {
      (operation.row.run == RunKind::Table ? hasTable : hasPlain) = true;
      hasEntry = hasEntry || operation.row.effect == Effect::AppendEntry;
    }
    for (const ReadOperation& operation : operations) {
      const std::string name(operation.row.name);
      const bool forTable = operation.row.run == RunKind::Table;
      if (forTable && hasPlain) {
        values.error(operation.tag, name + " is for a table and does not go together with Add, Count or PairSum");
      } else if (forTable && !isTable) {
        values.error(operation.tag, name + " needs a CyclicTableSize of at least 1");
      } else if (!forTable && isTable && !hasTable) {
        values.error(operation.tag, name + " does not go together with CyclicTableSize");
      } else if (operation.row.effect == Effect::AppendPayload && !hasEntry) {
        values.error(operation.tag, "there is no CyclicAdd, so that nothing would be stored");
      }
    }
    if (!isTable && settings.dateField != -1) {
      values.error(find("DateField"), "dates need a CyclicTableSize of at least 1; the loader would end with an error");
    }
  }

  void checkPairSum() {
    for (const ReadOperation& operation : operations) {
      if (operation.row.effect == Effect::WeighPair && operations.size() > 1) {
        values.error(operation.tag, "PairSum must be the only operation");
      }
    }
    const bool isDense = settings.outputFormat == vesk_loader::OutputFormat::Binary && settings.sparse == 0;
    if (!isDense && settings.outputFormat != vesk_loader::OutputFormat::CSV) return;
    const std::size_t output = find("Output");
    const std::string text = "PairSum needs Sparse or XML";
    if (output == None) {
      values.errorOfFile(text + ", and there is no Output");
    } else {
      values.errorInText(output, text);
    }
  }

  void checkIgnoredTags(bool isTable) {
    if (!isTable) {
      for (const char* name : {"CyclicTableSort", "CyclicTableDistinct"}) {
        if (const std::size_t tag = find(name); tag != None) values.remark(tag, "used for tables only");
      }
      if (const std::size_t tag = find("SpecialList"); tag != None) {
        values.error(tag, "the list is used for tables only, so that nothing would be left out");
      }
    }
    const bool onlyAdds = !operations.empty() && std::ranges::all_of(operations, [](const ReadOperation& operation) {
      return operation.row.effect == Effect::AddValue;
    });
    if (const std::size_t tag = find("MultiplicityField"); tag != None && onlyAdds) {
      values.remark(tag, "Add does not use it");
    }
  }

  void checkOutputs() {
    std::map<std::int32_t, std::size_t> seen;
    for (const ReadOperation& operation : operations) {
      if (!vesk_loader::addsToSum(operation.row.effect)) continue;
      const std::size_t tag = values.find(operation.tag, "Output");
      if (tag == None) continue;
      const std::string& text = values[tag].text;
      if (operation.output == 0) values.remark(tag, "the sum of Output 1 is kept but never written to the dataset");
      const auto [place, isNew] = seen.emplace(operation.output, operation.tag);
      if (!isNew) values.remark(tag, text + " is the Output of " + values[place->second].name + " as well");
    }
  }

  TagValues& values;
  std::size_t top;
  vesk_loader::LoaderSettings& settings;
  std::vector<ReadOperation> operations;
};

}  // namespace

void checkOperations(TagValues& values, std::size_t top, vesk_loader::LoaderSettings& settings) {
  RunChecker(values, top, settings).checkAll();
}

}  // namespace vesk
