#include "parameter_file.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameters = 2202, FileUnusable = 2302 };

constexpr const char* topElement = "AnalysisParams";

bool hasKey(const QUVENParameterSection& section, const std::string& key) {
  return std::any_of(section.rows.begin(), section.rows.end(),
                     [&](const QUVENParameter& row) { return key == row.key; });
}

bool isBranch(QUVENParameterSections sections, const std::string& name) {
  return std::any_of(sections.begin(), sections.end(), [&](const QUVENParameterSection& section) {
    return section.branch != nullptr && name == section.branch;
  });
}

/// The path of a key with its branch.
std::string branchPath(const QUVENParameterSection& section, const std::string& key) {
  return std::string(section.branch) + "/" + key;
}

/// The section that a setting is of, null for none. A key without a branch is that of the section without one first.
const QUVENParameterSection* sectionOf(const AnalysisKind& kind, const std::string& path) {
  const QUVENParameterSections sections = kind.parameters();
  for (const QUVENParameterSection& section : sections) {
    if (section.branch == nullptr && hasKey(section, path)) return &section;
  }
  for (const QUVENParameterSection& section : sections) {
    if (section.branch == nullptr) continue;
    const std::string start = branchPath(section, "");
    if (hasKey(section, path.starts_with(start) ? path.substr(start.size()) : path)) return &section;
  }
  return nullptr;
}

std::string keyOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

bool readSetting(const AnalysisKind& kind, const std::string& text, ParameterSetting& setting) {
  const std::size_t sign = text.find('=');
  if (sign == std::string::npos) return false;
  setting = {text.substr(0, sign), text.substr(sign + 1)};
  return sectionOf(kind, setting.path) != nullptr;
}

const QUVENXMLTag& ParameterFile::parameters(const QUVENEnvHandle& env) const {
  return tree->getTag(topElement, QUVEN_ENV);
}

void ParameterFile::readTree(const QUVENEnvHandle& env) {
  tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  if (!hasFile()) {
    tree->getTag("", QUVEN_ENV).addBranchTag(topElement, QUVEN_ENV);
    return;
  }
  std::error_code unknown;  // then reading the file reports it
  if (std::filesystem::is_directory(fileName, unknown) || tree->readXMLFile(fileName, QUVEN_ENV) != 1) {
    const std::string hint = fileName == noParameterFile ? "; without one, --set is needed" : "";
    report_error(FileUnusable, fileName, "vesk-analyze: Unable to read parameter file" + hint, QUVEN_ENV, true);
  }
  if (!tree->hasTag(topElement, QUVEN_ENV)) {
    report_error(IllegalParameters, fileName,
                 std::string("vesk-analyze: the parameter file has no element ") + topElement, QUVEN_ENV, true);
  }
}

void ParameterFile::applySettings(const QUVENEnvHandle& env) {
  QUVENXMLTag& top = tree->getTag(topElement, QUVEN_ENV);
  if (!settings.empty()) top.becomeBranch();
  // A branch is made before any key is set, unless the file has keys of the section beside the others.
  for (const ParameterSetting& setting : settings) {
    const QUVENParameterSection& section = *sectionOf(kind, setting.path);
    if (section.branch == nullptr || setting.path == keyOf(setting.path)) continue;
    const bool isBeside = std::any_of(section.rows.begin(), section.rows.end(), [&](const QUVENParameter& row) {
      return sectionOf(kind, row.key) == &section && top.hasTag(row.key, QUVEN_ENV);
    });
    if (!isBeside) top.addBranchTagPath(section.branch, QUVEN_ENV);
  }
  for (const ParameterSetting& setting : settings) {
    const QUVENParameterSection& section = *sectionOf(kind, setting.path);
    const bool hasBranch = section.branch != nullptr && top.hasTag(section.branch, QUVEN_ENV);
    QUVENXMLTag& tag = hasBranch ? top.getTag(section.branch, QUVEN_ENV) : top;
    tag.becomeBranch();
    QUVENXMLTag& leaf = tag.addLeafTagPath(keyOf(setting.path), QUVEN_ENV);
    leaf.removeAllChildren(QUVEN_ENV);
    leaf.setValue(setting.value, QUVEN_ENV);
  }
}

void ParameterFile::doubt(std::string_view key, std::string_view text) {
  report_warning(IllegalParameters, key, text);
  isDoubtful = true;
}

void ParameterFile::warnOfUnknown(const QUVENEnvHandle& env) {
  const QUVENXMLTag& top = parameters(QUVEN_ENV);
  const auto isKnown = [&](const std::string& name, const QUVENXMLTag& tag, QUVENParameterSections sections) {
    if (&tag == &top && isBranch(sections, name)) return true;
    return std::any_of(sections.begin(), sections.end(), [&](const QUVENParameterSection& section) {
      return &quvenSectionTag(top, section, QUVEN_ENV) == &tag && hasKey(section, name);
    });
  };
  const auto warn = [&](const QUVENXMLTag& tag) {
    for (const QUVENXMLTag& child : tag.getChildren()) {
      if (isKnown(child.getName(), tag, kind.parameters()) || isKnown(child.getName(), tag, kind.passedOver())) {
        continue;
      }
      doubt(child.getName(), "vesk-analyze: unknown parameter is ignored");
    }
  };
  warn(top);
  for (const QUVENParameterSection& section : kind.parameters()) {
    const QUVENXMLTag& tag = quvenSectionTag(top, section, QUVEN_ENV);
    if (&tag != &top) warn(tag);
  }
}

const QUVENXMLTag& ParameterFile::read(const QUVENEnvHandle& env) {
  readTree(QUVEN_ENV);
  applySettings(QUVEN_ENV);
  warnOfUnknown(QUVEN_ENV);
  return parameters(QUVEN_ENV);
}

void ParameterFile::warnOfNoUse(const QUVENEnvHandle& env) {
  for (const QUVENParameterSection& section : kind.parameters()) {
    const QUVENXMLTag& tag = quvenSectionTag(parameters(QUVEN_ENV), section, QUVEN_ENV);
    for (const QUVENParameter& row : section.rows) {
      if (row.isMeaningful == nullptr || !tag.hasTag(row.key, QUVEN_ENV)) continue;
      const std::string value = tag.getTag(row.key, QUVEN_ENV).getValue();
      char* end = nullptr;
      const double number = std::strtod(value.c_str(), &end);
      if (*end != '\0') continue;  // the analysis reports it
      if (!row.isMeaningful(number)) doubt(row.key, row.notMeaningful);
    }
  }
}

void ParameterFile::warnOfNoOutput() {
  for (const QUVENParameterSection& section : kind.parameters()) {
    for (const QUVENParameter& row : section.rows) {
      if (row.file != QUVENParameterFile::Output) continue;
      doubt(row.key, "vesk-analyze: without it the results are written nowhere");
    }
  }
}

void ParameterFile::endIfStrict(const QUVENEnvHandle& env) const {
  if (isDoubtful) end_strict_run(IllegalParameters, QUVEN_ENV);
}

template <class Action>
void ParameterFile::forEachFile(QUVENParameterFile file, Action action, const QUVENEnvHandle& env) const {
  const QUVENXMLTag& top = parameters(QUVEN_ENV);
  for (const QUVENParameterSection& section : kind.parameters()) {
    if (section.unusedWith != nullptr && top.hasTag(section.unusedWith, QUVEN_ENV)) continue;
    const QUVENXMLTag& tag = quvenSectionTag(top, section, QUVEN_ENV);
    for (const QUVENParameter& row : section.rows) {
      if (row.file != file || !tag.hasTag(row.key, QUVEN_ENV)) continue;
      action(row, tag.getTag(row.key, QUVEN_ENV).getValue());
    }
  }
}

std::vector<std::string> ParameterFile::inputFiles(const QUVENEnvHandle& env) const {
  std::vector<std::string> files;
  if (hasFile()) files.push_back(fileName);
  const auto add = [&](const QUVENParameter&, const std::string& value) { files.push_back(value); };
  forEachFile(QUVENParameterFile::Input, add, QUVEN_ENV);
  return files;
}

std::vector<OutputFile> ParameterFile::outputFiles(int numWorkers, const QUVENEnvHandle& env) const {
  std::vector<OutputFile> files;
  const auto add = [&](const QUVENParameter& row, const std::string& value) {
    if (row.outputNames == nullptr) {
      files.push_back({value, row.isReplaced});
      return;
    }
    for (const std::string& name : row.outputNames(value, numWorkers)) files.push_back({name, row.isReplaced});
  };
  forEachFile(QUVENParameterFile::Output, add, QUVEN_ENV);
  return files;
}

template <class Action>
void ParameterFile::forEachParameter(Action action, const QUVENEnvHandle& env) const {
  const QUVENXMLTag& top = parameters(QUVEN_ENV);
  for (const QUVENParameterSection& section : kind.parameters()) {
    for (const QUVENParameter& row : section.rows) {
      if (row.isOptional && !quvenSectionTag(top, section, QUVEN_ENV).hasTag(row.key, QUVEN_ENV)) continue;
      action(quvenParameterPath(top, section, row, QUVEN_ENV), row, section);
    }
  }
}

void ParameterFile::addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  const auto add = [&](const std::string& path, const QUVENParameter& row, const QUVENParameterSection& section) {
    const QUVENXMLTag& tag = quvenSectionTag(parameters(QUVEN_ENV), section, QUVEN_ENV);
    const std::string value = tag.hasTag(row.key, QUVEN_ENV)
                                  ? quvenValueInUse(row, tag.getTag(row.key, QUVEN_ENV).getValue())
                                  : row.defaultValue;
    results.addLeafTagPath("Parameters/" + path, QUVEN_ENV).setValue(value, QUVEN_ENV);
  };
  forEachParameter(add, QUVEN_ENV);
}

void ParameterFile::addDefaults(QUVENXMLTag& results, const QUVENEnvHandle& env) const {
  const auto add = [&](const std::string& path, const QUVENParameter& row, const QUVENParameterSection&) {
    results.addLeafTagPath("Defaults/" + path, QUVEN_ENV).setValue(row.defaultValue, QUVEN_ENV);
  };
  forEachParameter(add, QUVEN_ENV);
}

bool ParameterFile::isText(std::string_view key) const {
  const auto isTextRow = [key](const QUVENParameter& row) {
    return row.key == key && row.target.type == QUVENParameterType::Text && row.isLegal == nullptr;
  };
  return std::ranges::any_of(kind.parameters(), [&](const QUVENParameterSection& section) {
    return std::ranges::any_of(section.rows, isTextRow);
  });
}

std::string ParameterFile::fileOfText() const {
  const auto isFoundInText = [&](const ParameterSetting& setting) {
    for (const QUVENParameter& row : sectionOf(kind, setting.path)->rows) {
      if (row.isFoundInText && keyOf(setting.path) == row.key) return true;
    }
    return false;
  };
  const bool isSet = std::any_of(settings.begin(), settings.end(), isFoundInText);
  return isSet || !hasFile() ? std::string() : fileName;
}

}  // namespace vesk_analyze
