#include "simple_algorithm/quven_seed_file.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string_view>
#include <utility>

#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { SeedsUnreadable = 2307, SeedLineIgnored = 5003 };

constexpr std::size_t longestParameterLine = 10000;
constexpr std::size_t longestSeedLine = 79;
constexpr std::size_t longestDetectedNumber = 10;  // with base detection; a longer one is decimal

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

/// The name between the tags of a line; "&amp;" comes last, so that it makes no new entity.
bool nameInLine(const std::string& line, std::string& name) {
  constexpr std::string_view opening = "<Seed>";
  constexpr std::string_view closing = "</Seed>";
  const std::size_t start = line.find(opening);
  if (start == std::string::npos) return false;
  const std::size_t end = line.find(closing, start + opening.size());
  if (end == std::string::npos) return false;
  name = line.substr(start + opening.size(), end - start - opening.size());
  using Entity = std::pair<std::string_view, std::string_view>;
  constexpr std::array<Entity, 8> entities{{{"&lt;", "<"},
                                            {"&gt;", ">"},
                                            {"&quot;", "\""},
                                            {"&#9;", "\t"},
                                            {"&#10;", "\n"},
                                            {"&#13;", "\r"},
                                            {"&#32;", " "},
                                            {"&amp;", "&"}}};
  for (const auto& [from, to] : entities) replaceAll(name, from, to);
  const std::size_t first = name.find_first_not_of(' ');
  name = first == std::string::npos ? "" : name.substr(first, name.find_last_not_of(' ') - first + 1);
  return true;
}

/// The number of a seed line; 0 for a line that is none.
std::uint64_t seedOfLine(std::string_view line) {
  const std::size_t last = line.find_last_not_of(" \t\r");
  line = last == std::string_view::npos ? std::string_view() : line.substr(0, last + 1);
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  // A sign before a number would make another subscriber of it.
  if (line.empty() || line.size() > longestSeedLine || line.front() < '0' || line.front() > '9') return 0;
  const std::string text(line);
  char* end = nullptr;
  errno = 0;
  const std::uint64_t number = text.size() > longestDetectedNumber
                                   ? static_cast<std::uint64_t>(std::strtoll(text.c_str(), &end, 10))
                                   : std::strtoull(text.c_str(), &end, 0);
  return errno == 0 && end == text.c_str() + text.size() ? number : 0;
}

}  // namespace

bool FindSeedFileNameInParamFile(const std::string& parameterFileName, std::string& seedFileName) {
  std::ifstream file(parameterFileName);
  if (!file.is_open()) {
    std::cout << "FindSeedFileNameInParamFile:  cannot open file param file " << parameterFileName << '\n';
    return false;
  }
  long lineNumber = 0;
  for (std::string line; std::getline(file, line);) {
    ++lineNumber;
    if (line.size() > longestParameterLine) {
      std::cout << "FindSeedFileNameInParamFile: reading failure in line " << lineNumber << '\n';
      return false;
    }
    if (nameInLine(line, seedFileName)) {
      std::cout << "find seed file: [" << seedFileName << "]\n";
      return true;
    }
  }
  if (file.bad()) std::cout << "FindSeedFileNameInParamFile: reading failure in line " << lineNumber + 1 << '\n';
  std::cout << "Warning: param file should contain a line of the form <Seed> fname </Seed>\n";
  return false;
}

void quvenReadSeedFile(const std::string& parameterFileName, QUVENXaRay<std::uint64_t>& seeds,
                       const QUVENEnvHandle& env) {
  std::string seedFileName;
  if (!FindSeedFileNameInParamFile(parameterFileName, seedFileName)) {
    report_error(SeedsUnreadable, "QUVENSNAData::readSeedFile: Unable to open seed file (visual version) ", QUVEN_ENV,
                 true);
  }
  quvenReadSeeds(seedFileName, seeds, QUVEN_ENV);
}

void quvenReadSeeds(const std::string& seedFileName, QUVENXaRay<std::uint64_t>& seeds, const QUVENEnvHandle& env) {
  std::ifstream file(seedFileName);
  const auto reportUnreadable = [&] {
    report_error(SeedsUnreadable, "QUVENSNAData::readSeedFile: Unable to open seed file", QUVEN_ENV, true);
  };
  if (!file.is_open()) reportUnreadable();
  long lineNumber = 0;
  for (std::string line; std::getline(file, line);) {
    ++lineNumber;
    const std::uint64_t seed = seedOfLine(line);
    if (seed != 0) {
      seeds.append(seed, QUVEN_ENV);
      continue;
    }
    const std::string number = std::to_string(lineNumber);
    report_warning(SeedLineIgnored, number, "Warning: ignoring empty line or invalid numeric value - " + number + " ");
  }
  if (file.bad()) reportUnreadable();  // such as a directory
}
