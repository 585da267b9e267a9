#include "parameter_help.h"

#include <iomanip>
#include <sstream>

namespace vesk_analyze {

namespace {

constexpr int keyWidth = 40;
constexpr int defaultWidth = 11;

void writeHeader(std::ostream& out, const std::string& key, const std::string& byDefault) {
  out << "  " << std::left << std::setw(keyWidth) << key << ' ' << std::setw(defaultWidth) << byDefault << ' ';
}

/// The line of a parameter in the example; none for one without a value.
void writeExample(std::ostream& out, const std::string& indent, const QUVENParameterSection& section,
                  const QUVENParameter& row) {
  // The files of a section that only prepares the analysis are not asked for.
  const bool isByProduct = section.unusedWith != nullptr && row.file == QUVENParameterFile::Output;
  const std::string value = row.example != nullptr && !isByProduct ? row.example : row.defaultValue;
  if (!value.empty()) out << indent << '<' << row.key << '>' << value << "</" << row.key << ">\n";
}

}  // namespace

std::string parameterHelp(const AnalysisKind& kind) {
  std::ostringstream out;
  out << "Parameters, as tags below AnalysisParams:\n";
  writeHeader(out, "KEY", "DEFAULT");
  out << "MEANING\n";
  const char* branch = nullptr;
  for (const QUVENParameterSection& section : kind.parameters()) {
    if (section.branch != nullptr) branch = section.branch;
    for (const QUVENParameter& row : section.rows) {
      const std::string path = (section.branch == nullptr ? "" : std::string(section.branch) + "/") + row.key;
      writeHeader(out, path, row.isRequired ? "required" : row.defaultValue);
      out << row.meaning;
      if (*row.legalValues != '\0') out << " (" << row.legalValues << ')';
      out << '\n';
    }
  }
  if (branch != nullptr) out << "Without the tag " << branch << " its parameters are read beside the others.\n";
  return out.str();
}

std::string parameterExample(const AnalysisKind& kind) {
  std::ostringstream out;
  out << "<AnalysisParams>\n";
  for (const QUVENParameterSection& section : kind.parameters()) {
    const bool isBranch = section.branch != nullptr;
    if (isBranch) out << "  <" << section.branch << ">\n";
    for (const QUVENParameter& row : section.rows) writeExample(out, isBranch ? "    " : "  ", section, row);
    if (isBranch) out << "  </" << section.branch << ">\n";
  }
  out << "</AnalysisParams>";
  return out.str();
}

}  // namespace vesk_analyze
