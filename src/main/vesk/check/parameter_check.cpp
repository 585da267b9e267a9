#include "check/parameter_check.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <utility>

#include "check/known_tags.h"
#include "check/parameter_text.h"
#include "check/run_check.h"
#include "check/special_list_check.h"
#include "check/tag_values.h"
#include "control/quven_partition.h"

namespace vesk {

namespace {

constexpr std::int32_t largestInteger = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t longestLine = 9999;      // the loader ends at a line of 10000 characters
constexpr std::int32_t longestHorizon = 24855;  // its seconds fit 32 bits

std::optional<TagLevel> levelBelow(std::string_view name) {
  if (numberOf(name, "Field")) return TagLevel::Field;
  if (numberOf(name, "Operation")) return TagLevel::Operation;
  if (name == "SpecialList") return TagLevel::SpecialList;
  if (name == "XML") return TagLevel::Xml;
  return std::nullopt;
}

class ParameterChecker {
 public:
  ParameterChecker(const ParameterTree& tree, const std::string& name) : values(tree, name) {}

  CheckedParameters checkAll(std::size_t topTag) {
    top = topTag;
    collectTexts(top, "");
    if (!values[top].text.empty()) values.errorInText(top, "a text where tags are expected");
    checkNames(top, TagLevel::Top);
    checkNumbering("Field");
    checkNumbering("Operation");
    readFields();
    checkOverlaps();
    readNumbers();
    readSpecialListTag();
    readOutput();
    readReferences();
    checkOperations(values, top, settings);
    checked.settings = std::move(settings);
    checked.findings = values.takeFindings();
    return std::move(checked);
  }

 private:
  std::size_t find(const std::string& name) const { return values.find(top, name); }

  void collectTexts(std::size_t tag, const std::string& path) {
    // Known tags are two levels deep; what lies deeper is reported with the tag above it.
    for (const std::size_t child : values[tag].children) {
      const std::string childPath = path + values[child].name;
      if (values[child].children.empty()) {
        checked.tags[childPath] = values[child].text;
      } else if (tag == top) {
        collectTexts(child, childPath + "/");
      }
    }
  }

  void checkNames(std::size_t parent, TagLevel level) {
    for (const std::size_t tag : values[parent].children) {
      const std::string& name = values[tag].name;
      if (!isKnownTag(level, name)) {
        const std::string hint = hintFor(level, name);
        values.error(tag, hint.empty() ? "the loader knows no such tag" : hint.substr(1));
        continue;
      }
      const std::optional<TagLevel> below = level == TagLevel::Top ? levelBelow(name) : std::nullopt;
      if (below) {
        if (!values[tag].text.empty()) values.errorInText(tag, "a text where tags are expected");
        checkNames(tag, *below);
      } else if (!values[tag].children.empty()) {
        values.error(tag, "tags where a text is expected");
      }
    }
  }

  /// The loader reads numbered tags up to the first gap.
  void checkNumbering(const std::string& stem) {
    std::set<std::uint32_t> numbers;
    for (const std::size_t tag : values[top].children) {
      if (const auto number = numberOf(values[tag].name, stem)) numbers.insert(*number);
    }
    std::uint32_t expected = 1;
    for (const std::uint32_t number : numbers) {
      if (number == expected) {
        ++expected;
        continue;
      }
      const std::string missing = stem + std::to_string(expected);
      values.error(find(stem + std::to_string(number)),
                   "not read, because there is no " + missing + "; the numbers must have no gap");
    }
  }

  void readFields() {
    for (std::size_t number = 1;; ++number) {
      const std::size_t field = find("Field" + std::to_string(number));
      if (field == TagValues::None) break;
      fields.push_back(field);
      readField(field);
    }
    if (fields.empty()) values.errorOfFile("there is no Field1, so that no line has a field");
  }

  void readField(std::size_t field) {
    const auto textOf = [&](const char* name) -> std::string {
      const std::size_t tag = values.find(field, name);
      if (tag != TagValues::None) return values[tag].text;
      values.error(field, std::string("has no ") + name);
      return "";
    };
    settings.fieldNames.push_back(textOf("Name"));
    settings.fieldTypes.push_back(textOf("Type"));
    textOf("Start");
    textOf("End");
    const std::size_t start = values.find(field, "Start");
    const std::size_t end = values.find(field, "End");
    const std::size_t before = values.countFindings();
    const std::int32_t first = start == TagValues::None ? -1 : values.index(start, longestLine);
    const std::int32_t last = end == TagValues::None ? first : values.index(end, largestInteger);
    const bool areGood = start != TagValues::None && end != TagValues::None && values.countFindings() == before;
    if (areGood && last < first) {
      values.errorInText(end, "column " + values[end].text + " lies before Start, " + values[start].text);
    }
    settings.fieldStarts.push_back(first);
    settings.fieldEnds.push_back(last);
  }

  void checkOverlaps() {
    // Of each pair the later one is reported, with the first that it overlaps.
    constexpr std::size_t mostCompared = 1000;
    for (std::size_t i = 1; i < std::min(fields.size(), mostCompared); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if (settings.fieldStarts[i] > settings.fieldEnds[j] || settings.fieldStarts[j] > settings.fieldEnds[i])
          continue;
        values.remark(fields[i], "its columns overlap those of " + values[fields[j]].name);
        break;
      }
    }
  }

  void readNumber(const char* name, std::int32_t& value, std::int32_t smallest, std::int32_t largest) {
    const std::size_t tag = find(name);
    if (tag != TagValues::None) value = values.integer(tag, smallest, largest);
  }

  void readNumbers() {
    readNumber("CyclicTableSize", settings.cyclicTableSize, 0, largestInteger);
    readNumber("DateHorizon", settings.dateHorizon, 0, longestHorizon);
    readNumber("NumberOfPartitions", settings.numberOfPartitions, 1, largestPartitionCount);
    readYesNo("CyclicTableSort", settings.sortCyclicTable);
    readYesNo("CyclicTableDistinct", settings.distinctCyclicTable);
  }

  void readYesNo(const char* name, bool& setting) {
    const std::size_t tag = find(name);
    if (tag == TagValues::None) return;
    checkChoice(tag, {"Yes", "No"});
    setting = values[tag].text == "Yes";
  }

  void checkChoice(std::size_t tag, std::initializer_list<std::string_view> choices) {
    const std::string& text = values[tag].text;
    std::string list;
    for (const std::string_view choice : choices) {
      if (choice == text) return;
      list += (list.empty() ? "" : ", ") + std::string(choice);
    }
    const auto near = nearestText(text, choices);
    values.errorInText(
        tag, inBrackets(text) + " is none of " + list + (near ? "; did you mean " + std::string(*near) + "?" : ""));
  }

  void readSpecialListTag() {
    const std::size_t list = find("SpecialList");
    if (list == TagValues::None) return;
    settings.specialListFilter = vesk_loader::SpecialListFilter::Restrict;
    if (const std::size_t filter = values.find(list, "OpName"); filter != TagValues::None) {
      checkChoice(filter, {"Exclude", "Restrict"});
      if (values[filter].text == "Exclude") settings.specialListFilter = vesk_loader::SpecialListFilter::Exclude;
    }
    const std::size_t file = values.find(list, "File");
    if (file == TagValues::None) {
      values.error(list, "has no File");
      return;
    }
    values.refuseForeignText(file);
    if (values[file].text.empty()) {
      values.errorInText(file, "the name of the file is missing");
      return;
    }
    const std::string mistake = readSpecialList(values[file].text, settings.specialList);
    if (!mistake.empty()) {
      values.errorInText(file, mistake);
    } else if (settings.specialList.size() == 0) {
      values.errorInText(file, values[file].text + " holds no number");
    }
  }

  void readOutput() {
    const std::size_t output = find("Output");
    if (output == TagValues::None) {
      values.remarkOfFile("there is no Output, so that the dataset will be Dense");
    } else {
      checkChoice(output, {"Sparse", "Dense", "CSV", "XML"});
      const std::string& text = values[output].text;
      settings.sparse = text == "Sparse" ? 1 : 0;
      if (text == "CSV") settings.outputFormat = vesk_loader::OutputFormat::CSV;
      if (text == "XML") settings.outputFormat = vesk_loader::OutputFormat::XML;
      if (text == "CSV" || text == "XML") values.remark(output, text + " is for debugging; no analysis reads it");
    }
    const std::size_t xml = find("XML");
    if (xml == TagValues::None) return;
    if (settings.outputFormat != vesk_loader::OutputFormat::XML) {
      values.remark(xml, "not used, because Output is not XML");
      return;
    }
    readXmlText(xml, "TagPrefix", settings.tagPrefix);
    readXmlText(xml, "OutputNamespace", settings.outputNamespace);
  }

  void readXmlText(std::size_t xml, const char* name, std::string& text) {
    const std::size_t tag = values.find(xml, name);
    if (tag == TagValues::None) return;
    values.refuseForeignText(tag);
    text = values[tag].text;
  }

  bool readReference(const char* name, std::int32_t& field) {
    const std::size_t tag = find(name);
    if (tag == TagValues::None) return false;
    field = values.fieldIndex(tag, fields.size());
    return true;
  }

  void readReferences() {
    if (!readReference("Key", settings.keyField))
      values.errorOfFile("there is no Key, the number of the caller's field");
    readReference("DateField", settings.dateField);
    if (readReference("MultiplicityField", settings.multiplicityField) && settings.multiplicityField == 0) {
      values.errorInText(find("MultiplicityField"),
                         "the loader takes Field1 for no multiplicity; move the multiplicity to another field");
    }
    const std::size_t horizon = find("DateHorizon");
    if (horizon != TagValues::None && find("DateField") == TagValues::None) {
      values.error(horizon, "there is no DateField, so that nothing would be dropped");
    }
  }

  TagValues values;
  std::size_t top = 0;
  std::vector<std::size_t> fields;  // the tags Field1, Field2, ... up to the first gap
  vesk_loader::LoaderSettings settings;
  CheckedParameters checked;
};

}  // namespace

bool CheckedParameters::hasErrors() const {
  return std::ranges::any_of(findings, [](const ParameterFinding& finding) { return finding.isError; });
}

CheckedParameters checkParameters(const std::string& text, const std::string& name) {
  ParameterText read = readParameterText(text);
  std::optional<TextMistake> mistake = std::move(read.mistake);
  constexpr const char* topName = "LoaderParams";
  if (!mistake && read.tree.tags[1].name != topName) {
    mistake = {read.tree.tags[1].place, "the top tag is <" + read.tree.tags[1].name + ">, not <LoaderParams>"};
  }
  if (mistake) {
    CheckedParameters checked;
    checked.findings.push_back(
        {true, placed(name, mistake->place) + ": " + mistake->text, mistake->place.line, mistake->place.column});
    return checked;
  }
  return ParameterChecker(read.tree, name).checkAll(1);
}

}  // namespace vesk
