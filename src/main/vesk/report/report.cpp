#include "report/report.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <list>
#include <memory>
#include <sstream>
#include <utility>

#include "command.h"
#include "control/quven_result_file.h"
#include "csv/output_file.h"
#include "ids/seed_ids.h"
#include "report/report_content.h"
#include "report/report_page.h"

namespace vesk {

namespace {

constexpr unsigned privatePermissions = 0640;

std::string levelsFileOf(const std::string& name) { return name + "_levels.csv"; }
std::string changesFileOf(const std::string& name) { return name + "_changes.csv"; }

std::string nameInFolder(const std::string& path) { return std::filesystem::path(path).filename().string(); }

/// A run is of the results on the page only if it wrote files of their names, below the limits that it had.
void compareWithRun(const ReportOptions& options, const RunFacts& run, ReportFacts& facts) {
  const auto compareName = [&](const std::string& name) {
    if (name.empty() || run.outputName.empty() || nameInFolder(name) == nameInFolder(run.outputName)) return;
    facts.remarks.push_back(run.file + " is of a run with the output name " + nameInFolder(run.outputName) +
                            ", and the page shows " + nameInFolder(name));
  };
  if (run.analysis == "diffusion") compareName(options.energy);
  if (run.analysis != "groups") return;
  compareName(options.groups);
  if (!facts.groups || !run.maxClusterSize) return;
  for (const FoundGroup& group : facts.groups->groups) {
    if (group.size <= *run.maxClusterSize) continue;
    throw CommandFailure(Status::Data, clustersFileOf(options.groups) + ": group " + std::to_string(group.number) +
                                           " has " + std::to_string(group.size) +
                                           " members, more than MaxClusterSize " + std::to_string(*run.maxClusterSize) +
                                           " of " + run.file + "; they are of different runs");
  }
}

/// The level that the run went on with has the groups of the other files.
void compareWithLevels(const ReportOptions& options, ReportFacts& facts) {
  const auto chosen = std::ranges::find_if(facts.levels, &LevelRow::isChosen);
  if (chosen == facts.levels.end() || !facts.groups) return;
  if (chosen->groups == facts.groups->groups.size() && chosen->members == facts.groups->members.size()) return;
  facts.remarks.push_back("the chosen level of " + levelsFileOf(options.groups) + " has " +
                          std::to_string(chosen->groups) + " groups with " + std::to_string(chosen->members) +
                          " members, and the run " + std::to_string(facts.groups->groups.size()) + " with " +
                          std::to_string(facts.groups->members.size()) + "; they may be of different runs");
}

/// A run without --previous leaves the changes of an earlier run. Each group of a run has one of four events.
void compareWithChanges(const ReportOptions& options, ReportFacts& facts) {
  if (facts.changes.empty() || !facts.groups) return;
  std::uint64_t numGroups = 0;
  for (const char* event : {"kept", "grown", "shrunk", "born"}) {
    const auto found = facts.changes.find(event);
    if (found != facts.changes.end()) numGroups += found->second;
  }
  if (numGroups == facts.groups->groups.size()) return;
  facts.remarks.push_back(changesFileOf(options.groups) + " has events of " + std::to_string(numGroups) +
                          " groups, and the run has " + std::to_string(facts.groups->groups.size()) +
                          " groups; they may be of different runs");
}

void readGroupFiles(const ReportOptions& options, ReportFacts& facts) {
  const std::string levels = levelsFileOf(options.groups);
  const std::string changes = changesFileOf(options.groups);
  if (std::filesystem::exists(levels)) facts.levels = readLevels(levels);
  // A run that only compares levels writes no groups.
  const bool hasGroups =
      std::filesystem::exists(clustersFileOf(options.groups)) || std::filesystem::exists(nodesFileOf(options.groups));
  if (hasGroups || facts.levels.empty()) facts.groups = readFoundGroups(options.groups);
  if (std::filesystem::exists(changes)) facts.changes = countChanges(changes);
  compareWithLevels(options, facts);
  compareWithChanges(options, facts);
}

ReportFacts readFacts(const ReportOptions& options, IdMap* map) {
  ReportFacts facts;
  for (const std::string& file : options.runs) {
    facts.runs.push_back(readRunFacts(file));
    for (std::size_t i = 0; i + 1 < facts.runs.size(); ++i) {
      if (facts.runs[i].analysis != facts.runs.back().analysis) continue;
      throw CommandFailure(Status::Data,
                           file + " is a second run of " + facts.runs[i].analysis + ", beside " + facts.runs[i].file);
    }
  }
  if (!options.groups.empty()) readGroupFiles(options, facts);
  for (const RunFacts& run : facts.runs) compareWithRun(options, run, facts);
  if (!options.energy.empty()) {
    std::unordered_set<std::uint64_t> seeds;
    if (!options.seeds.empty()) seeds = readSeedIds(options.seeds, map);
    facts.energy = readEnergyCurve(options.energy, seeds, facts.groups ? &*facts.groups : nullptr);
  }
  return facts;
}

void refuseSharedFiles(const ReportOptions& options, const std::vector<std::string>& outputs) {
  std::vector<std::string> inputs = options.runs;
  for (const std::string& input : {options.energy, options.seeds}) {
    if (!input.empty()) inputs.push_back(input);
  }
  if (!options.groups.empty()) {
    for (const auto& fileOf : {clustersFileOf, nodesFileOf, levelsFileOf, changesFileOf}) {
      inputs.push_back(fileOf(options.groups));
    }
  }
  if (!options.idMap.empty()) std::ranges::move(filesOfIdMap(options.idMap), std::back_inserter(inputs));
  for (const std::string& output : outputs) {
    for (const std::string& input : inputs) {
      if (!quvenIsSameFile(output, input)) continue;
      throw CommandFailure(Status::Usage, "the output " + output + " would take the place of " + input);
    }
  }
}

}  // namespace

std::string csvFileOf(const std::string& page, const std::string& table) {
  const std::filesystem::path path(page);
  const bool isHtml = path.extension() == ".html" || path.extension() == ".htm";
  const std::string stem = isHtml ? page.substr(0, page.size() - path.extension().string().size()) : page;
  return stem + "." + table + ".csv";
}

ReportResult makeReport(const ReportOptions& options) {
  refuseSharedFiles(options, {options.output});
  const std::unique_ptr<IdMap> map = openIdMap(options.idMap);
  const ReportFacts facts = readFacts(options, map.get());
  const ReportContent content = makeReportContent(facts, options.title, map.get());
  ReportResult result{{}, facts.remarks};
  std::vector<std::string> names;
  std::vector<std::string> texts;
  for (const ReportTable* table : tablesOf(content)) {
    result.csvFiles.push_back(csvFileOf(options.output, table->name));
    names.push_back(nameInFolder(result.csvFiles.back()));
    texts.push_back(csvOf(*table));
  }
  refuseSharedFiles(options, result.csvFiles);
  std::ostringstream page;
  writeReportPage(content, names, page);
  std::list<OutputFile> files;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    files.emplace_back(result.csvFiles[i], privatePermissions).write(texts[i]);
  }
  files.emplace_back(options.output, privatePermissions).write(page.str());
  for (OutputFile& file : files) file.commit();
  return result;
}

}  // namespace vesk
