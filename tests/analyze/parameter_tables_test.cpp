// The table of parameters of each analysis against its help, its example, the documents and the man page.

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <sstream>

#include "parameter_help.h"
#include "support/captured_run.h"

namespace vesk_analyze {
namespace {

using ::testing::HasSubstr;
/// Keys with their defaults.
using Defaults = std::map<std::string, std::string>;

const AnalysisKind& kindOf(const std::string& command) {
  for (const AnalysisKind& kind : analysisKinds()) {
    if (command == kind.command) return kind;
  }
  throw std::invalid_argument(command);
}

/// The rows of the section without a branch, or of the one with a branch.
Defaults tableOf(const std::string& command, bool ofBranch, bool saysRequired) {
  Defaults defaults;
  for (const QUVENParameterSection& section : kindOf(command).parameters()) {
    if ((section.branch != nullptr) != ofBranch) continue;
    for (const QUVENParameter& row : section.rows) {
      defaults[row.key] = saysRequired && row.isRequired ? "required" : row.defaultValue;
    }
  }
  return defaults;
}

std::string documentOf(const std::string& name) {
  std::ifstream file(std::string(VESK_SOURCE_DIR) + "/docs/" + name);
  std::ostringstream text;
  text << file.rdbuf();
  EXPECT_FALSE(text.str().empty()) << name;
  return text.str();
}

/// The nth table "| tag | default | ..." of a document; a row may name several keys.
Defaults markdownTable(const std::string& document, int number) {
  std::istringstream lines(document);
  std::string line;
  for (int found = 0; found < number && std::getline(lines, line);) found += line.starts_with("| tag | default |");
  std::getline(lines, line);  // the line below the heads
  Defaults defaults;
  while (std::getline(lines, line) && line.starts_with("| `")) {
    std::istringstream cells(line.substr(1));
    std::string keys;
    std::string value;
    std::getline(cells, keys, '|');
    std::getline(cells, value, '|');
    std::erase_if(value, [](char c) { return c == ' ' || c == '`'; });
    std::istringstream parts(keys);
    for (std::string key; std::getline(parts, key, '`') && std::getline(parts, key, '`');) defaults[key] = value;
  }
  return defaults;
}

/// The keys of a subsection of the man page: .BR KEY " (default)" or ".B KEY" after each ".TP".
Defaults manSection(const std::string& page, const std::string& title) {
  std::istringstream lines(page.substr(std::min(page.find(".SS " + title + "\n"), page.size())));
  std::string line;
  std::getline(lines, line);
  Defaults defaults;
  while (std::getline(lines, line) && !line.starts_with(".S")) {
    if (line != ".TP") continue;
    std::string macro;
    std::string key;
    std::string rest;
    lines >> macro >> key;
    std::getline(lines, rest);
    defaults[key] = rest.empty() ? "" : rest.substr(4, rest.size() - 6);
  }
  return defaults;
}

TEST(ParameterTables, EveryKeyIsDocumentedWithItsDefault) {
  const std::string groups = documentOf("groups.md");
  EXPECT_EQ(markdownTable(documentOf("diffusion.md"), 1), tableOf("diffusion", false, false));
  EXPECT_EQ(markdownTable(groups, 1), tableOf("groups", false, false));
  EXPECT_EQ(markdownTable(groups, 2), tableOf("groups", true, false));
  EXPECT_EQ(markdownTable(groups, 2), tableOf("kernel", true, false));
  EXPECT_EQ(markdownTable(documentOf("models.md"), 1), tableOf("train", false, false));
  EXPECT_EQ(markdownTable(documentOf("evaluation.md"), 1), tableOf("evaluate", false, false));
  EXPECT_EQ(markdownTable(documentOf("evaluation.md"), 2), tableOf("correlations", false, false));
}

TEST(ParameterTables, TheManPageHasEveryKeyWithItsDefault) {
  const std::string page = documentOf("man/vesk-analyze.1");
  EXPECT_EQ(manSection(page, "Parameters of diffusion"), tableOf("diffusion", false, true));
  EXPECT_EQ(manSection(page, "Parameters of groups"), tableOf("groups", false, true));
  EXPECT_EQ(manSection(page, "Parameters of the kernel"), tableOf("kernel", true, true));
  EXPECT_EQ(manSection(page, "Parameters of train"), tableOf("train", false, true));
  EXPECT_EQ(manSection(page, "Parameters of evaluate"), tableOf("evaluate", false, true));
}

TEST(ParameterTables, TheHelpHasEveryKeyWithItsDefaultAndMeaning) {
  for (const AnalysisKind& kind : analysisKinds()) {
    const std::string help = parameterHelp(kind);
    for (const QUVENParameterSection& section : kind.parameters()) {
      for (const QUVENParameter& row : section.rows) {
        const std::string path = (section.branch == nullptr ? "" : std::string(section.branch) + "/") + row.key;
        const std::size_t start = help.find("\n  " + path + " ");
        ASSERT_NE(start, std::string::npos) << path;
        const std::string line = help.substr(start + 1, help.find('\n', start + 1) - start - 1);
        EXPECT_THAT(line, HasSubstr(row.isRequired ? " required " : std::string(" ") + row.defaultValue + " "));
        EXPECT_THAT(line, HasSubstr(row.meaning));
        EXPECT_THAT(line, HasSubstr(row.legalValues));
      }
    }
  }
}

/// A section is walked by one function for opening, help, known keys and files, so a row is everywhere or nowhere. What
/// can still be wrong is a row itself.
TEST(ParameterTables, RowsAreWhole) {
  for (const AnalysisKind& kind : analysisKinds()) {
    for (const QUVENParameterSection& section : kind.parameters()) {
      Defaults keys;
      for (const QUVENParameter& row : section.rows) {
        SCOPED_TRACE(row.key);
        EXPECT_TRUE(keys.emplace(row.key, "").second);
        EXPECT_STRNE(row.meaning, "");
        const bool hasCheck = row.isRequired || row.isLegal != nullptr || row.isLegalText != nullptr ||
                              row.target.type != QUVENParameterType::Text;
        EXPECT_EQ(hasCheck, row.errorCode != 0);
        EXPECT_EQ(hasCheck, *row.errorText != '\0');
        EXPECT_EQ(hasCheck || row.isSupportedText != nullptr, *row.legalValues != '\0');
        EXPECT_EQ(row.isSupported != nullptr || row.isSupportedText != nullptr, row.unsupportedCode != 0);
        EXPECT_EQ(row.isMeaningful != nullptr, *row.notMeaningful != '\0');
        EXPECT_TRUE(!row.isRequired || row.example != nullptr);
      }
    }
  }
}

}  // namespace
}  // namespace vesk_analyze
