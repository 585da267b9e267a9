#include "input_file_reader.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <utility>

#include "control/quven_XML_handler.h"
#include "control/quven_partition.h"
#include "loader_common.h"
#include "number_reading.h"
#include "operations.h"
#include "util/quven_env.h"

namespace vesk_loader {

namespace {

struct OutputName {
  const char* name;
  OutputFormat format;
  std::int32_t sparse;
};

constexpr std::array<OutputName, 4> outputNames = {{{"Sparse", OutputFormat::Binary, 1},
                                                    {"Dense", OutputFormat::Binary, 0},
                                                    {"CSV", OutputFormat::CSV, 0},
                                                    {"XML", OutputFormat::XML, 0}}};

/// Reads the tags below LoaderParams into the settings, in a fixed order.
class SettingsReader {
 public:
  SettingsReader(const QUVENXMLTag& root_, LoaderSettings& settings_, const QUVENEnvHandle& env_)
      : root(root_), settings(settings_), env(env_) {}

  void readAll() {
    readFields();
    readIfPresent("CyclicTableSize", settings.cyclicTableSize);
    readYesNo("CyclicTableSort", "sort", settings.sortCyclicTable);
    readYesNo("CyclicTableDistinct", "distinct", settings.distinctCyclicTable);
    readSpecialList();
    readOutput();
    readIndexIfPresent("Key", settings.keyField);
    readIndexIfPresent("DateField", settings.dateField);
    readIndexIfPresent("MultiplicityField", settings.multiplicityField);
    readPartitions();
    readIfPresent("DateHorizon", settings.dateHorizon);
    readOperations();
  }

 private:
  bool has(const QUVENXMLTag& tag, const std::string& path) const { return tag.hasTag(path, QUVEN_ENV); }

  const std::string& text(const QUVENXMLTag& tag, const std::string& path) const {
    return tag.getTag(path, QUVEN_ENV).getValue();
  }

  // The leading number of the text; the rest is ignored, and a text without a number is 0.
  std::int32_t integer(const QUVENXMLTag& tag, const std::string& path) const {
    return read_integer_by_library(text(tag, path));
  }

  // A column, field or position, which the file counts from 1; the lowest number there is stays what it is.
  std::int32_t index(const QUVENXMLTag& tag, const std::string& path) const {
    const std::int32_t number = integer(tag, path);
    return number == std::numeric_limits<std::int32_t>::min() ? number : number - 1;
  }

  void readIndexIfPresent(const char* name, std::int32_t& value) {
    if (has(root, name)) value = index(root, name);
  }
  void readIfPresent(const char* name, std::int32_t& value) {
    if (has(root, name)) value = integer(root, name);
  }

  // A tag that its element must have.
  void require(const QUVENXMLTag& tag, const char* name, std::int32_t code, const char* message, int number) const {
    if (!has(tag, name)) report_error(code, message + std::to_string(number));
  }

  void readFields() {
    for (int number = 1;; ++number) {
      const std::string name = "Field" + std::to_string(number);
      if (!has(root, name)) return;
      const QUVENXMLTag& field = root.getTag(name, QUVEN_ENV);
      require(field, "Name", 1164, "read_input_file_format: Missing <Name> in field ", number);
      require(field, "Type", 1161, "read_input_file_format: Missing type in field ", number);
      require(field, "Start", 1162, "read_input_file_format: Missing <Start> tag in field ", number);
      require(field, "End", 1163, "read_input_file_format: Missing <End> tag in field ", number);
      settings.fieldNames.push_back(text(field, "Name"));
      settings.fieldTypes.push_back(text(field, "Type"));
      settings.fieldStarts.push_back(index(field, "Start"));
      settings.fieldEnds.push_back(index(field, "End"));
    }
  }

  void readYesNo(const char* tag, const std::string& word, bool& setting) {
    if (!has(root, tag)) return;
    const std::string& value = text(root, tag);
    if (value != "Yes" && value != "No") {
      report_error(1170, "Cyclic table " + word + " type unknown (Should be Yes or No)");
    }
    setting = value == "Yes";
  }

  void readSpecialList() {
    if (!has(root, "SpecialList")) return;
    const QUVENXMLTag& list = root.getTag("SpecialList", QUVEN_ENV);
    if (!has(list, "File")) report_error(1170, "Special list file is missing");
    if (!read_special_list(text(list, "File"), settings.specialList)) {
      report_error(1170, "Special list file cannot be opened");
    }
    settings.specialListFilter = SpecialListFilter::Restrict;
    if (!has(list, "OpName")) return;
    const std::string& filter = text(list, "OpName");
    if (filter != "Exclude" && filter != "Restrict") {
      report_error(1170, "Unknown special list filter type (Should be Restrict or Exclude)");
    }
    if (filter == "Exclude") settings.specialListFilter = SpecialListFilter::Exclude;
  }

  void readOutput() {
    if (!has(root, "Output")) return;
    const std::string& value = text(root, "Output");
    for (const OutputName& output : outputNames) {
      if (value != output.name) continue;
      settings.outputFormat = output.format;
      settings.sparse = output.sparse;
      if (output.format == OutputFormat::XML) {
        if (has(root, "XML/TagPrefix")) settings.tagPrefix = text(root, "XML/TagPrefix");
        if (has(root, "XML/OutputNamespace")) settings.outputNamespace = text(root, "XML/OutputNamespace");
      }
      return;
    }
    report_error(1175, "read_input_file_format: Unknown output format (Supported types are XML, Sparse, and Dense)");
  }

  void readPartitions() {
    readIfPresent("NumberOfPartitions", settings.numberOfPartitions);
    if (settings.numberOfPartitions < 1 || settings.numberOfPartitions > largestPartitionCount) {
      report_error(1150, "read_input_file_format: number of partitions should be between 1 and 100");
    }
  }

  void readOperations() {
    for (int number = 1;; ++number) {
      const std::string name = "Operation" + std::to_string(number);
      if (!has(root, name)) return;
      readOperation(root.getTag(name, QUVEN_ENV), number);
    }
  }

  void readOperation(const QUVENXMLTag& operation, int number) {
    require(operation, "OpName", 1170, "read_input_file_format: Missing name in op ", number);
    require(operation, "Input", 1170, "read_input_file_format: Missing input tag in op ", number);
    const std::string& name = text(operation, "OpName");
    const std::int32_t input = index(operation, "Input");
    OperationKind kind{};
    if (!find_operation(name, kind)) report_error(1170, "read_input_file_format: Unknown operation " + name);
    const Operation row = describe(kind);
    switch (row.effect) {
      case Effect::AppendPayload:
        settings.payloadInputs.push_back(input);
        return;
      case Effect::WeighPair:
        settings.pairSumFlag = 1;
        break;
      case Effect::AppendEntry:
      case Effect::AddValue:
      case Effect::AddMultiplicity:
        break;
    }
    std::int32_t output = -1;
    if (row.output != OutputTag::Ignored) output = has(operation, "Output") ? index(operation, "Output") : -2;
    if (row.output == OutputTag::Required && output < 0) {
      report_error(1170, "read_input_file_format: Missing output tag in op " + std::to_string(number));
    }
    settings.operationNames.push_back(name);
    settings.operationInputs.push_back(input);
    settings.operationOutputs.push_back(output);
    settings.operationConditions.push_back(has(operation, "Condition") ? text(operation, "Condition") : "NoCondition");
    settings.operationThresholds.push_back(
        has(operation, "Threshold") ? read_double_by_library(text(operation, "Threshold")) : -1.0);
  }

  const QUVENXMLTag& root;
  LoaderSettings& settings;
  const QUVENEnvHandle& env;
};

void read_format(const std::string& fileName, LoaderSettings& settings) {
  QUVENEnv env;
  env.activate();
  auto handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  if (handler->readXMLFile(fileName, QUVEN_ENV) == 0) {
    report_error(1150, "read_input_file_format: Errors when reading input format file");
  }
  if (!handler->hasTag("LoaderParams", QUVEN_ENV)) {
    report_error(1160, "read_input_file_format: Cannot find root tag");
  }
  settings = LoaderSettings();
  SettingsReader(handler->getTag("LoaderParams", QUVEN_ENV), settings, QUVEN_ENV).readAll();
  QUVEN_DELETE(handler);
}

// What formatted stream input takes for a real number: decimal notation only.
bool parse_number(const std::string& word, double& number) {
  if (word.find_first_not_of("0123456789+-.eE") != std::string::npos) return false;
  char* end = nullptr;
  number = std::strtod(word.c_str(), &end);
  return end == word.c_str() + word.size() && std::isfinite(number);
}

}  // namespace

int read_input_file_format(const std::string& fileName, LoaderSettings& settings) {
  try {
    report_log(0, ">>> VESK loader: starting read_input_file_format: reading input file " + fileName);
    read_format(fileName, settings);
    report_log(0, ">>> VESK loader: read input file format done.");
    return 1;
  } catch (...) {
    report_error(1322, "unexpected error in read_input_file_format");
  }
}

bool read_special_list(const std::string& fileName, SpecialList& list) {
  list.clear();
  std::ifstream file(fileName);
  if (!file) return false;
  std::vector<double> numbers;
  std::string word;
  while (file >> word) {
    double number = 0.0;
    if (!parse_number(word, number)) {
      report_error(1170, "Special list file " + fileName + " holds a word that is no number: " + word);
    }
    numbers.push_back(number);
  }
  if (file.bad()) report_error(1170, "Special list file " + fileName + " cannot be read");
  list.assign(std::move(numbers));
  return true;
}

}  // namespace vesk_loader
