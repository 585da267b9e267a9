#include "simple_algorithm/quven_seed_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "control/quven_csv_reader.h"
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
constexpr double ordinaryEnergy = 1;
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

/// A whole text as the energy of a seed; false if it is none.
bool readEnergy(std::string_view text, double& energy) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), energy);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(energy) && energy > 0;
}

/// Takes the second number off a trimmed seed line; false if it is no energy.
bool takeEnergy(std::string& text, double& energy) {
  constexpr const char* blanks = " \t";
  const std::size_t end = text.find_first_of(" \t,;");
  if (end == std::string::npos) return true;
  std::size_t start = text.find_first_not_of(blanks, end);
  if (start != std::string::npos && (text[start] == ',' || text[start] == ';')) {
    start = text.find_first_not_of(blanks, start + 1);
  }
  const std::string second = start == std::string::npos ? "" : text.substr(start);
  text.resize(end);
  return second.empty() || readEnergy(second, energy);
}

/// Reads a seed file that is CSV. Its first mistake ends the run.
class SeedCsv {
 public:
  SeedCsv(const std::string& fileName, const QUVENSeedForm& seedForm, const std::string& text,
          const QUVENEnvHandle& env)
      : name(fileName), form(seedForm), stream(text), rows(stream, delimiterOf(text)) {
    if (!rows.next()) refuse(1, "there is no header", QUVEN_ENV);
    const std::vector<std::string_view> headings = rows.getCells();
    width = headings.size();
    seedPlace = placeOf(form.column, headings, QUVEN_ENV);
    if (!form.weightColumn.empty()) weightPlace = placeOf(form.weightColumn, headings, QUVEN_ENV);
  }

  /// Returns the number of rows below the header.
  long readAll(std::vector<QUVENSeed>& seeds, const QUVENEnvHandle& env) {
    long count = 0;
    while (rows.next()) {
      ++count;
      const std::vector<std::string_view>& cells = rows.getCells();
      if (cells.size() != width) {
        refuse(rows.getLine(), std::to_string(cells.size()) + " cells, not " + std::to_string(width), QUVEN_ENV);
      }
      QUVENSeed seed{0, ordinaryEnergy};
      const std::string_view number = cells[seedPlace];
      const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), seed.number);
      if (error != std::errc() || end != number.data() + number.size() || seed.number == 0) {
        refuseCell(form.column, number, "is no subscriber number", QUVEN_ENV);
      }
      if (!form.weightColumn.empty() && !cells[weightPlace].empty() && !readEnergy(cells[weightPlace], seed.energy)) {
        refuseCell(form.weightColumn, cells[weightPlace], "is no number above 0", QUVEN_ENV);
      }
      seeds.push_back(seed);
    }
    if (!rows.getMistake().empty()) refuse(rows.getLine(), rows.getMistake(), QUVEN_ENV);
    return count;
  }

 private:
  static char delimiterOf(std::string_view text) {
    const std::string_view header = text.substr(0, text.find('\n'));
    constexpr std::string_view delimiters = ",;\t";
    return *std::ranges::max_element(delimiters, {}, [&](char c) { return std::ranges::count(header, c); });
  }

  std::size_t placeOf(const std::string& column, const std::vector<std::string_view>& headings,
                      const QUVENEnvHandle& env) const {
    const auto found = std::ranges::find(headings, column);
    if (found == headings.end()) refuse(1, "there is no column " + column, QUVEN_ENV);
    if (std::ranges::count(headings, column) > 1) refuse(1, "there are two columns " + column, QUVEN_ENV);
    return static_cast<std::size_t>(found - headings.begin());
  }

  void refuseCell(const std::string& column, std::string_view cell, const std::string& why,
                  const QUVENEnvHandle& env) const {
    constexpr std::size_t mostShown = 40;
    refuse(rows.getLine(), "column " + column + ": [" + std::string(cell.substr(0, mostShown)) + "] " + why, QUVEN_ENV);
  }

  /// Ends the run.
  void refuse(std::uint64_t line, const std::string& why, const QUVENEnvHandle& env) const {
    report_error(SeedsUnreadable, name,
                 "QUVENSNAData::readSeedFile: " + name + ", line " + std::to_string(line) + ": " + why, QUVEN_ENV,
                 true);
  }

  const std::string& name;
  const QUVENSeedForm& form;
  std::istringstream stream;
  QUVENCsvReader rows;
  std::size_t width = 0;
  std::size_t seedPlace = 0;
  std::size_t weightPlace = 0;
};

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

long quvenReadSeedFile(const std::string& parameterFileName, const QUVENSeedForm& form, std::vector<QUVENSeed>& seeds,
                       const QUVENEnvHandle& env) {
  std::string seedFileName;
  if (!FindSeedFileNameInParamFile(parameterFileName, seedFileName)) {
    report_error(SeedsUnreadable, "QUVENSNAData::readSeedFile: Unable to open seed file (visual version) ", QUVEN_ENV,
                 true);
  }
  return quvenReadSeeds(seedFileName, form, seeds, QUVEN_ENV);
}

long quvenReadSeeds(const std::string& seedFileName, const QUVENSeedForm& form, std::vector<QUVENSeed>& seeds,
                    const QUVENEnvHandle& env) {
  std::ifstream file(seedFileName);
  const auto reportUnreadable = [&] {
    report_error(SeedsUnreadable, seedFileName, "QUVENSNAData::readSeedFile: the seed file cannot be read", QUVEN_ENV,
                 false);
    report_error(SeedsUnreadable, "QUVENSNAData::readSeedFile: Unable to open seed file", QUVEN_ENV, true);
  };
  if (!file.is_open()) reportUnreadable();
  const auto checkSeeds = [&] {
    double sum = 0;
    for (const QUVENSeed& seed : seeds) sum += seed.energy;
    if (!std::isfinite(sum)) {
      report_error(SeedsUnreadable, seedFileName,
                   "QUVENSNAData::readSeedFile: the energies of the seeds sum to more than the largest number",
                   QUVEN_ENV, true);
    }
    if (!seeds.empty()) return;
    report_doubt(NoUsableSeed, seedFileName,
                 "QUVENSNAData::readSeedFile: no line of the seed file is a subscriber number, so all energies are 0",
                 QUVEN_ENV);
  };
  if (!form.column.empty()) {
    std::string text;
    std::array<char, 1 << 16> block;
    while (file.read(block.data(), block.size()), file.gcount() > 0) {
      text.append(block.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) reportUnreadable();  // such as a directory
    const long rows = SeedCsv(seedFileName, form, text, QUVEN_ENV).readAll(seeds, QUVEN_ENV);
    checkSeeds();
    return rows;
  }
  CountedWarnings ignored;
  CountedWarnings inOtherBase;
  long lineNumber = 0;
  long lostSeeds = 0;
  for (std::string line; std::getline(file, line);) {
    ++lineNumber;
    if (lineNumber == 1 && line.starts_with(byteOrderMark)) line.erase(0, byteOrderMark.size());
    const std::string whole = trimmed(line);
    std::string text = whole;
    double energy = ordinaryEnergy;
    const bool hasEnergy = !form.hasWeights || takeEnergy(text, energy);
    const std::uint64_t seed = hasEnergy ? seedOfLine(text) : 0;
    if (seed != 0) {
      seeds.push_back({seed, energy});
    } else if (ignored.isPrinted()) {
      const std::string number = std::to_string(lineNumber);
      report_warning(SeedLineIgnored, number,
                     "Warning: ignoring empty line or invalid numeric value - " + number + " ");
    }
    const bool isHeader = lineNumber == 1 && whole.find_first_of("0123456789") == std::string::npos;
    if (seed == 0 && !whole.empty() && !isHeader) ++lostSeeds;
    if (hasEnergy) warnOfBase(text, seed, inOtherBase, QUVEN_ENV);
  }
  if (file.bad()) reportUnreadable();  // such as a directory
  ignored.reportRest("are ignored");
  inOtherBase.reportRest("are read in another base than 10");
  checkSeeds();
  // Other runs have a warning for each line.
  if (lostSeeds > 0 && env.resolve().isStrict()) {
    const std::string words = lostSeeds == 1 ? "1 line is" : std::to_string(lostSeeds) + " lines are";
    report_doubt(SeedLineIgnored, seedFileName,
                 "QUVENSNAData::readSeedFile: " + words + " no subscriber number, so seeds are missing", QUVEN_ENV);
  }
  return lineNumber;
}
