#include "simple_algorithm/quven_seed_file.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string_view>
#include <utility>

#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int {
  SeedsUnreadable = 2307,
  SeedLineIgnored = 5003,
  NoUsableSeed = 5009,
  SeedNotDecimal = 5010,
  FurtherWarnings = 5011
};

constexpr std::size_t longestParameterLine = 10000;
constexpr std::size_t longestSeedLine = 79;
constexpr std::size_t longestDetectedNumber = 10;  // with base detection; a longer one is decimal
constexpr long mostWarnings = 20;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

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

/// The line without the blanks around it.
std::string trimmed(const std::string& line) {
  const std::size_t last = line.find_last_not_of(" \t\r");
  if (last == std::string::npos) return "";
  const std::size_t first = line.find_first_not_of(" \t");
  return first > last ? "" : line.substr(first, last - first + 1);
}

/// The number of a trimmed seed line; 0 for a line that is none.
std::uint64_t seedOfLine(const std::string& text) {
  // A sign before a number would make another subscriber of it.
  if (text.empty() || text.size() > longestSeedLine || text.front() < '0' || text.front() > '9') return 0;
  char* end = nullptr;
  errno = 0;
  const std::uint64_t number = text.size() > longestDetectedNumber
                                   ? static_cast<std::uint64_t>(std::strtoll(text.c_str(), &end, 10))
                                   : std::strtoull(text.c_str(), &end, 0);
  return errno == 0 && end == text.c_str() + text.size() ? number : 0;
}

/// Warnings of one kind: the first ones are printed, the others are counted.
class CountedWarnings {
 public:
  bool isPrinted() { return ++count <= mostWarnings; }
  void reportRest(const std::string& what) const {
    if (count <= mostWarnings) return;
    const std::string rest = std::to_string(count - mostWarnings);
    report_warning(FurtherWarnings, rest, "QUVENSNAData::readSeedFile: " + rest + " further lines " + what);
  }

 private:
  long count = 0;
};

/// Says of a seed that it was read in another base than 10, or is left out (`seed` 0) for its base.
void warnOfBase(const std::string& text, std::uint64_t seed, CountedWarnings& warnings, const QUVENEnvHandle& env) {
  if (text.size() > longestDetectedNumber || !text.starts_with('0')) return;
  char* end = nullptr;
  const std::uint64_t decimal = std::strtoull(text.c_str(), &end, 10);
  const bool isDecimal = *end == '\0';
  if (isDecimal ? decimal == seed : seed == 0) return;
  // A strict run ends at the first doubt, however many other warnings were before it.
  if (!warnings.isPrinted() && !(isDecimal && env.resolve().isStrict())) return;
  if (seed == 0) {
    report_doubt(
        SeedNotDecimal, text,
        "QUVENSNAData::readSeedFile: the seed is left out: its leading zero means base 8, which has no digit 8 "
        "or 9; it may mean " +
            std::to_string(decimal),
        QUVEN_ENV);
    return;
  }
  const std::string start = "QUVENSNAData::readSeedFile: the seed is read in base ";
  if (!isDecimal) {
    report_warning(SeedNotDecimal, text, start + "16 as " + std::to_string(seed));
    return;
  }
  report_doubt(
      SeedNotDecimal, text,
      start + "8 because of its leading zero: as " + std::to_string(seed) + ", not as " + std::to_string(decimal),
      QUVEN_ENV);
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

long quvenReadSeedFile(const std::string& parameterFileName, QUVENXaRay<std::uint64_t>& seeds,
                       const QUVENEnvHandle& env) {
  std::string seedFileName;
  if (!FindSeedFileNameInParamFile(parameterFileName, seedFileName)) {
    report_error(SeedsUnreadable, "QUVENSNAData::readSeedFile: Unable to open seed file (visual version) ", QUVEN_ENV,
                 true);
  }
  return quvenReadSeeds(seedFileName, seeds, QUVEN_ENV);
}

long quvenReadSeeds(const std::string& seedFileName, QUVENXaRay<std::uint64_t>& seeds, const QUVENEnvHandle& env) {
  std::ifstream file(seedFileName);
  const auto reportUnreadable = [&] {
    report_error(SeedsUnreadable, seedFileName, "QUVENSNAData::readSeedFile: the seed file cannot be read", QUVEN_ENV,
                 false);
    report_error(SeedsUnreadable, "QUVENSNAData::readSeedFile: Unable to open seed file", QUVEN_ENV, true);
  };
  if (!file.is_open()) reportUnreadable();
  CountedWarnings ignored;
  CountedWarnings inOtherBase;
  long lineNumber = 0;
  long lostSeeds = 0;
  for (std::string line; std::getline(file, line);) {
    ++lineNumber;
    if (lineNumber == 1 && line.starts_with(byteOrderMark)) line.erase(0, byteOrderMark.size());
    const std::string text = trimmed(line);
    const std::uint64_t seed = seedOfLine(text);
    if (seed != 0) {
      seeds.append(seed, QUVEN_ENV);
    } else if (ignored.isPrinted()) {
      const std::string number = std::to_string(lineNumber);
      report_warning(SeedLineIgnored, number,
                     "Warning: ignoring empty line or invalid numeric value - " + number + " ");
    }
    const bool isHeader = lineNumber == 1 && text.find_first_of("0123456789") == std::string::npos;
    if (seed == 0 && !text.empty() && !isHeader) ++lostSeeds;
    warnOfBase(text, seed, inOtherBase, QUVEN_ENV);
  }
  if (file.bad()) reportUnreadable();  // such as a directory
  ignored.reportRest("are ignored");
  inOtherBase.reportRest("are read in another base than 10");
  if (seeds.isEmpty()) {
    report_doubt(NoUsableSeed, seedFileName,
                 "QUVENSNAData::readSeedFile: no line of the seed file is a subscriber number, so all energies are 0",
                 QUVEN_ENV);
  }
  // Other runs have a warning for each line.
  if (lostSeeds > 0 && env.resolve().isStrict()) {
    const std::string words = lostSeeds == 1 ? "1 line is" : std::to_string(lostSeeds) + " lines are";
    report_doubt(SeedLineIgnored, seedFileName,
                 "QUVENSNAData::readSeedFile: " + words + " no subscriber number, so seeds are missing", QUVEN_ENV);
  }
  return lineNumber;
}
