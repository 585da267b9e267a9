#include "group_history.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "control/quven_result_file.h"
#include "groups/group_changes.h"
#include "groups/line_file.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

namespace fs = std::filesystem;

using vesk_groups::ContinuedNumbers;
using vesk_groups::FoundGroups;
using vesk_groups::LineFile;

constexpr int FileError = 2302;

/// The columns of the group number.
constexpr std::size_t clusterColumn = 0;
constexpr std::size_t nodeColumn = 1;

bool isWrittenInPlace(const std::string& path) {
  std::error_code unknown;
  const fs::file_status status = fs::status(path, unknown);
  return fs::exists(status) && !fs::is_regular_file(status);
}

/// Replaces the group numbers in one column of a CSV file with a head line. The file is complete at all times.
/// Errors: std::runtime_error.
void replaceNumbers(const std::string& path, std::size_t column, const std::vector<std::uint64_t>& oldNumbers,
                    const std::vector<std::uint64_t>& newNumbers) {
  LineFile file(path);
  QUVENResultFile replacement(path);
  std::string line;
  for (bool isHeader = true; file.next(line); isHeader = false) {
    std::string_view text = line;
    if (!isHeader) {
      std::size_t begin = 0;
      for (std::size_t c = 0; c < column; ++c) begin = line.find(',', begin) + 1;
      const std::size_t end = line.find(',', begin);
      const auto number = vesk_groups::readWholeNumber(text.substr(begin, end - begin));
      const auto old = std::ranges::lower_bound(oldNumbers, number.value_or(0));
      if (!number || old == oldNumbers.end() || *old != *number) file.fail("no group of the run");
      const std::uint64_t newNumber = newNumbers[static_cast<std::size_t>(old - oldNumbers.begin())];
      replacement.getStream() << text.substr(0, begin) << std::to_string(newNumber);
      text.remove_prefix(end);
    }
    replacement.getStream() << text << '\n';
  }
  if (!replacement.commit()) throw std::runtime_error("cannot write " + path);
}

}  // namespace

GroupHistory::GroupHistory(std::string previousNodesFile, const std::string& resultName)
    : previousFile(std::move(previousNodesFile)),
      clustersFile(resultName + "_1.clusters.csv"),
      nodesFile(resultName + "_1.nodes.csv"),
      changesFile(resultName + "_changes.csv") {}

void GroupHistory::open(RunFiles& files, const QUVENEnvHandle& env) {
  files.outputs.push_back({changesFile});
  RunFiles notNodes = files;
  std::erase_if(notNodes.outputs, [this](const OutputFile& file) { return file.path == nodesFile; });
  notNodes.inputs = {previousFile};
  notNodes.checkNames(QUVEN_ENV);
  for (const std::string& path : {clustersFile, nodesFile}) {
    if (!isWrittenInPlace(path)) continue;
    report_error(FileError, path, "vesk-analyze: with --previous the results must be regular files", QUVEN_ENV, true);
  }
  std::string mistake;
  try {
    previous = vesk_groups::readFoundGroups(previousFile);
    constexpr std::uint64_t largestNumber = 0x7fffffffffffffff;
    const std::vector<std::uint64_t>& numbers = previous.grouping.numbers;
    if (!numbers.empty() && numbers.back() > largestNumber) {
      mistake = previousFile + ": group number " + std::to_string(numbers.back()) + " is too large to go on from";
    }
  } catch (const std::runtime_error& error) {
    mistake = error.what();
  }
  if (!mistake.empty()) report_error(FileError, previousFile, "vesk-analyze: " + mistake, QUVEN_ENV, true);
}

std::string GroupHistory::continueNumbers(const std::string& clustersPath, const std::string& nodesPath) const {
  std::string failed = nodesFile;
  try {
    const FoundGroups current = vesk_groups::readFoundGroups(nodesPath);
    const ContinuedNumbers continued = vesk_groups::continueNumbers(previous.grouping, current.grouping);
    QUVENResultFile changes(changesFile);
    vesk_groups::writeGroupChanges(changes.getStream(), previous, current, continued);
    replaceNumbers(nodesPath, nodeColumn, current.grouping.numbers, continued.numbers);
    failed = clustersFile;
    replaceNumbers(clustersPath, clusterColumn, current.grouping.numbers, continued.numbers);
    failed = changesFile;
    if (!changes.commit()) return failed;
    const std::size_t numGroups = current.groups.size();
    report_log(1, "Groups over time: " + std::to_string(continued.numKept) + " of " + std::to_string(numGroups) +
                      " groups keep the number of an earlier group, " +
                      std::to_string(previous.groups.size() - continued.numKept) + " earlier groups are gone");
    return "";
  } catch (const std::runtime_error& error) {
    report_error(FileError, failed, std::string("vesk-analyze: ") + error.what(), false);
    return failed;
  }
}

}  // namespace vesk_analyze
