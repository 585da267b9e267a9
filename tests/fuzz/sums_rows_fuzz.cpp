// Reads arbitrary triples as the sums of a loader run, in one to three files. Either the table has the values that a
// literal reading finds, or the files are refused and nothing is written. The first byte chooses the number of files
// and their lengths; every three of the other bytes are a triple.

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

#include "fuzz_numbers.h"
#include "fuzz_support.h"
#include "support/binary_numbers.h"
#include "table/rows_table.h"

namespace {

using Triple = std::array<double, 3>;
using Triples = std::vector<Triple>;
using Sums = std::map<double, std::map<double, double>>;  // by key and position

bool isWhole(double number) { return std::fabs(number) < 9007199254740992.0 && std::floor(number) == number; }

/// Reads the row that begins with the triple `at` and moves `at` after it. Empty for a row that no loader run writes.
std::optional<std::map<double, double>> rowOf(const Triples& triples, std::size_t& at, double width) {
  const Triple header = triples[at++];
  if (header[1] != 0 || header[2] != width || !isWhole(header[0]) || header[0] == -99999) return std::nullopt;
  std::map<double, double> row;
  for (; at < triples.size() && triples[at][0] == header[0]; ++at) {
    const auto& [key, position, value] = triples[at];
    if (position == width + 1 && value == 0) {
      ++at;
      return row;
    }
    const bool ascends = row.empty() || position > row.rbegin()->first;
    if (!isWhole(position) || position < 1 || position >= width || !ascends || !std::isfinite(value)) break;
    row[position] = value;
  }
  return std::nullopt;
}

/// Empty if a file is not one that a loader run writes.
std::optional<Sums> sumsOf(const std::vector<Triples>& files) {
  Sums sums;
  for (const Triples& triples : files) {
    std::optional<double> last;
    for (std::size_t at = 0; at < triples.size();) {
      const double key = triples[at][0];
      const double width = triples.front()[2];
      if (!isWhole(width) || width < 0 || (last && !(key > *last))) return std::nullopt;
      const auto row = rowOf(triples, at, width);
      if (!row || !sums.emplace(key, *row).second) return std::nullopt;
      last = key;
    }
  }
  if (sums.empty()) return std::nullopt;
  return sums;
}

std::vector<double> tableOf(const Sums& sums, const std::vector<vesk::SumsColumn>& columns) {
  std::vector<double> table;
  for (const auto& [key, row] : sums) {
    table.push_back(key);
    for (const vesk::SumsColumn& column : columns) {
      const auto found = row.find(static_cast<double>(column.position));
      table.push_back(found == row.end() ? 0.0 : found->second);
    }
  }
  return table;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const FuzzFolder folder;
  const std::size_t fileCount = 1 + data[0] % 3;
  const std::size_t tripleCount = (size - 1) / 3;
  const std::size_t perFile = fileCount == 1 ? tripleCount : std::min<std::size_t>(tripleCount, data[0] / 3);
  std::vector<Triples> files(fileCount);
  for (std::size_t t = 0; t < tripleCount; ++t) {
    const std::uint8_t* bytes = data + 1 + 3 * t;
    const std::size_t file = perFile == 0 ? fileCount - 1 : std::min(t / perFile, fileCount - 1);
    files[file].push_back({fuzzNumber(bytes[0]), fuzzNumber(bytes[1]), fuzzNumber(bytes[2])});
  }
  std::vector<std::string> names;
  for (std::size_t f = 0; f < fileCount; ++f) {
    names.push_back(fileCount == 1 ? "in" : "in." + std::to_string(f));
    std::vector<double> numbers;
    for (const Triple& triple : files[f]) numbers.insert(numbers.end(), triple.begin(), triple.end());
    std::string bytes = bytesOfNumbers(numbers);
    if (f + 1 == fileCount && (size - 1) % 3 != 0) bytes += "rest";
    folder.write(names.back(), bytes);
  }
  vesk::RowsOptions options;
  options.input = folder.path("in");
  options.output = folder.path("out");
  options.columns = {{3, "c"}, {1, "a"}, {7788, "p"}};

  const std::optional<Sums> sums = (size - 1) % 3 == 0 ? sumsOf(files) : std::nullopt;
  try {
    const vesk::RowsTable table = vesk::makeRowsTable(options);
    REQUIRE(sums && table.records == sums->size());
    REQUIRE(folder.read("out") == bytesOfNumbers(tableOf(*sums, options.columns)));
    for (const char* name : {"out", "out.info", "out.labels"}) std::filesystem::remove(folder.path(name));
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    REQUIRE(!sums || text.find("; the other parts are of a run with ") != std::string::npos);
    REQUIRE(text.find('\n') == std::string::npos);
  }
  for (const std::string& name : names) std::filesystem::remove(folder.path(name));
  REQUIRE(folder.isEmpty());
  return 0;
}
