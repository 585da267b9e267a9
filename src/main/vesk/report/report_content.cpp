#include "report/report_content.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ids/seed_ids.h"

namespace vesk {

namespace {

constexpr std::size_t numLargest = 20;  // groups with a row on the page

using Row = std::vector<ReportCell>;
using Columns = std::vector<ReportTable::Column>;

const Columns itemColumns = {{"item", "item", false}, {"value", "value", false}};
const Columns numberColumns = {{"item", "item", false}, {"value", "value"}};

/// "1" and "2" in the names of the tables of two runs.
std::string numberOf(std::size_t index) { return std::to_string(index + 1); }

void addRunSection(const RunFacts& run, std::size_t index, ReportContent& content) {
  ReportSection section;
  section.heading = "Run of " + run.analysis;
  ReportTable items{"run" + numberOf(index), "What was run: " + run.analysis, itemColumns, {}};
  for (const RunFacts::Item& item : run.items) items.rows.push_back({ReportCell::text(item.name), item.value});
  items.rows.push_back({ReportCell::text("warnings"), ReportCell::count(run.warningCount)});
  section.tables.push_back(std::move(items));
  ReportTable changed{"parameters" + numberOf(index),
                      "Parameters of " + run.analysis + " that are not their defaults",
                      {{"parameter", "parameter", false}, {"value", "value", false}, {"default", "default", false}},
                      {}};
  for (const RunFacts::Changed& row : run.changed) {
    changed.rows.push_back({ReportCell::text(row.name), row.value, row.defaultValue});
  }
  if (!changed.rows.empty()) section.tables.push_back(std::move(changed));
  ReportTable counted{"counts" + numberOf(index), "What " + run.analysis + " counted", numberColumns, {}};
  for (const RunFacts::Item& item : run.counted) counted.rows.push_back({ReportCell::text(item.name), item.value});
  if (!counted.rows.empty()) section.tables.push_back(std::move(counted));
  content.sections.push_back(std::move(section));
}

ReportTable summaryOf(const FoundGroups& found) {
  std::vector<double> sizes;
  std::vector<double> densities;
  double sumOfSizes = 0;
  double sumOfDensities = 0;
  for (const FoundGroup& group : found.groups) {
    sizes.push_back(static_cast<double>(group.size));
    densities.push_back(group.density);
    sumOfSizes += sizes.back();
    sumOfDensities += group.density;
  }
  const auto count = static_cast<double>(found.groups.size());
  const auto members = static_cast<double>(found.members.size());
  ReportTable table{"groups", "All groups", numberColumns, {}};
  const auto add = [&](const char* item, const ReportCell& value) {
    table.rows.push_back({ReportCell::text(item), value});
  };
  add("groups", ReportCell::count(found.groups.size()));
  add("members", ReportCell::count(found.members.size()));
  add("core members", ReportCell::count(found.coreMembers));
  add("share of core members", ReportCell::share(static_cast<double>(found.coreMembers) / members));
  add("smallest size", ReportCell::number(*std::ranges::min_element(sizes)));
  add("median size", ReportCell::number(medianOf(sizes)));
  add("mean size", ReportCell::number(sumOfSizes / count));
  add("largest size", ReportCell::number(*std::ranges::max_element(sizes)));
  add("mean density", ReportCell::number(sumOfDensities / count));
  add("median density", ReportCell::number(medianOf(densities)));
  return table;
}

ReportTable sizesTable(const SizesAndDensities& groups) {
  ReportTable table{"sizes",
                    "Groups by their size",
                    {{"size_from", "size from"},
                     {"size_to", "to"},
                     {"groups", "groups"},
                     {"members", "members"},
                     {"median_density", "median density"}},
                    {}};
  for (const SizeBin& bin : groups.bins) {
    if (bin.groups == 0) continue;
    table.rows.push_back({ReportCell::count(bin.from), ReportCell::count(bin.to), ReportCell::count(bin.groups),
                          ReportCell::count(bin.members), ReportCell::number(bin.medianDensity)});
  }
  table.isFolded = true;
  return table;
}

ReportTable densitiesTable(const SizesAndDensities& groups) {
  ReportTable table{"densities",
                    "Groups by size and density",
                    {{"size_from", "size from"},
                     {"size_to", "to"},
                     {"density_from", "density from"},
                     {"density_to", "to"},
                     {"groups", "groups"}},
                    {}};
  const double step = groups.densityTop / static_cast<double>(SizesAndDensities::numDensitySteps);
  for (const SizeBin& bin : groups.bins) {
    for (std::size_t i = 0; i < bin.ofDensity.size(); ++i) {
      if (bin.ofDensity[i] == 0) continue;
      const double low = step * static_cast<double>(i);
      table.rows.push_back({ReportCell::count(bin.from), ReportCell::count(bin.to), ReportCell::number(low),
                            ReportCell::number(low + step), ReportCell::count(bin.ofDensity[i])});
    }
  }
  table.isFolded = true;
  return table;
}

ReportTable largestTable(const FoundGroups& found, bool hasEnergy, IdMap* map) {
  ReportTable table{"largest",
                    "The largest groups",
                    {{"group", "group", false},
                     {"size", "size"},
                     {"leader_1", "leader, listened to", false},
                     {"confidence_1", "confidence"},
                     {"leader_2", "leader, reaches others", false},
                     {"confidence_2", "confidence"},
                     {"density", "density"},
                     {"kernel_density", "kernel density"},
                     {"core_share", "core members"}},
                    {}};
  if (hasEnergy) table.columns.push_back({"energy", "energy"});
  for (const std::size_t index : largestGroups(found, numLargest)) {
    const FoundGroup& group = found.groups[index];
    table.rows.push_back({ReportCell::text(std::to_string(group.number)), ReportCell::count(group.size),
                          ReportCell::text(shownId(group.leader1.id, map)),
                          ReportCell::number(group.leader1.confidence),
                          ReportCell::text(shownId(group.leader2.id, map)),
                          ReportCell::number(group.leader2.confidence), ReportCell::number(group.density),
                          ReportCell::number(group.kernelDensity), ReportCell::share(group.coreShare)});
    if (hasEnergy) table.rows.back().push_back(ReportCell::number(group.energy));
  }
  return table;
}

void addGroupSections(const ReportFacts& facts, IdMap* map, ReportContent& content) {
  const FoundGroups& found = *facts.groups;
  ReportSection section;
  section.heading = "Groups";
  if (found.groups.empty()) {
    section.paragraphs = {"The run found no group."};
    content.sections.push_back(std::move(section));
    return;
  }
  const SizesAndDensities bins = binGroups(found);
  section.paragraphs = {
      "The density is the share of the possible pairs of caller and callee that call each other inside the group. Core "
      "members were grouped by their similarity; the others were connected because most of their contacts are in the "
      "group."};
  section.charts.push_back(drawSizes(bins));
  section.charts.push_back(drawDensities(bins));
  section.tables = {summaryOf(found), sizesTable(bins), densitiesTable(bins)};
  content.sections.push_back(std::move(section));

  ReportSection largest;
  largest.heading = "The largest groups";
  largest.paragraphs = {
      "Each group has two leaders: the member who is listened to (called by those who are called), and the member who "
      "reaches the others. The confidence is the rank of the leader divided by the lowest rank in the group: near 1 "
      "nobody leads."};
  if (facts.energy) largest.paragraphs.emplace_back("The energy is the sum of the energies of the members.");
  largest.tables.push_back(largestTable(found, facts.energy.has_value(), map));
  content.sections.push_back(std::move(largest));
}

ReportTable energySummary(const EnergyCurve& curve) {
  ReportTable table{"energy", "Energy of all subscribers", numberColumns, {}};
  const auto add = [&](const char* item, const ReportCell& value) {
    table.rows.push_back({ReportCell::text(item), value});
  };
  add("subscribers", ReportCell::count(curve.subscribers));
  add("subscribers with energy", ReportCell::count(curve.withEnergy));
  add("sum of the energies", ReportCell::number(curve.sum));
  if (curve.withEnergy > 0) {
    add("largest energy", ReportCell::number(curve.largest));
    add("median of those with energy", ReportCell::number(curve.median));
  }
  return table;
}

ReportTable seedSummary(const EnergyCurve& curve) {
  ReportTable table{"seeds", "Coverage of the seeds", numberColumns, {}};
  const auto add = [&](const char* item, const ReportCell& value) {
    table.rows.push_back({ReportCell::text(item), value});
  };
  const auto shareOf = [&](std::uint64_t part) {
    return ReportCell::share(static_cast<double>(part) / static_cast<double>(curve.seeds));
  };
  add("different seeds", ReportCell::count(curve.seeds));
  add("seeds that call or are called", ReportCell::count(curve.seedsInCalls));
  add("share of these seeds", shareOf(curve.seedsInCalls));
  add("seeds with energy", ReportCell::count(curve.seedsWithEnergy));
  add("share of the seeds with energy", shareOf(curve.seedsWithEnergy));
  add("share of the energy that seeds hold", ReportCell::share(curve.seedShare));
  return table;
}

/// The rows of the curve or of its decades.
ReportTable pointsTable(const std::string& name, const std::string& caption, const std::vector<EnergyPoint>& points,
                        std::uint64_t seeds) {
  ReportTable table{name,
                    caption,
                    {{"rank", "first subscribers"}, {"energy", "energy of the last"}, {"share", "share of the energy"}},
                    {}};
  if (seeds > 0) {
    table.columns.push_back({"seeds", "seeds among them"});
    table.columns.push_back({"seed_share", "share of the seeds"});
  }
  for (const EnergyPoint& point : points) {
    table.rows.push_back(
        {ReportCell::count(point.rank), ReportCell::number(point.energy), ReportCell::share(point.share)});
    if (seeds == 0) continue;
    table.rows.back().push_back(ReportCell::count(point.seeds));
    table.rows.back().push_back(ReportCell::share(static_cast<double>(point.seeds) / static_cast<double>(seeds)));
  }
  return table;
}

void addEnergySection(const EnergyCurve& curve, ReportContent& content) {
  ReportSection section;
  section.heading = "Energy";
  if (curve.withEnergy == 0) {
    section.paragraphs = {"No subscriber has energy."};
  } else {
    section.paragraphs = {"Subscribers are ordered by their energy, the largest first."};
  }
  if (curve.points.size() >= 2) {
    section.charts.push_back(drawEnergies(curve));
    section.charts.push_back(drawShares(curve));
  }
  section.tables.push_back(energySummary(curve));
  if (curve.seeds > 0) section.tables.push_back(seedSummary(curve));
  if (curve.withEnergy > 0) {
    section.tables.push_back(
        pointsTable("first", "What the first subscribers by energy hold", curve.decades, curve.seeds));
    section.tables.push_back(pointsTable("curve", "The curves of the pictures", curve.points, curve.seeds));
    section.tables.back().isFolded = true;
  }
  content.sections.push_back(std::move(section));
}

void addLevelSection(const std::vector<LevelRow>& levels, ReportContent& content) {
  ReportSection section;
  section.heading = "Sparsity levels";
  section.paragraphs = {
      "The groups that each level gives. Coverage is the number of members as a share of the callers; the modularity "
      "compares the calls inside groups with those of a network without groups."};
  if (levels.size() >= 2) section.charts.push_back(drawLevels(levels));
  ReportTable table{"levels",
                    "Groups at each level",
                    {{"level", "level"},
                     {"chosen", "chosen", false},
                     {"modularity", "modularity"},
                     {"coverage", "coverage"},
                     {"groups", "groups"},
                     {"members", "members"},
                     {"largest", "largest"},
                     {"full_groups", "full"},
                     {"mean_density", "mean density"},
                     {"calls_inside_share", "share of calls inside"},
                     {"calls_inside", "calls inside"},
                     {"kept_pairs", "kept pairs"},
                     {"cutoff", "cutoff"}},
                    {}};
  for (const LevelRow& row : levels) {
    table.rows.push_back({ReportCell::number(row.level), ReportCell::text(row.isChosen ? "chosen" : ""),
                          ReportCell::number(row.modularity), ReportCell::number(row.coverage),
                          ReportCell::count(row.groups), ReportCell::count(row.members), ReportCell::count(row.largest),
                          ReportCell::count(row.fullGroups), ReportCell::number(row.meanDensity),
                          ReportCell::share(row.callsInsideShare), ReportCell::number(row.callsInside),
                          ReportCell::count(row.keptPairs), ReportCell::number(row.cutoff)});
  }
  section.tables.push_back(std::move(table));
  content.sections.push_back(std::move(section));
}

void addChangeSection(const std::map<std::string, std::uint64_t>& changes, ReportContent& content) {
  ReportTable table{"changes", "Events", {{"event", "event", false}, {"count", "count"}}, {}};
  for (const auto& [event, count] : changes) {
    table.rows.push_back({ReportCell::text(event), ReportCell::count(count)});
  }
  content.sections.push_back(
      {"Changes since the earlier run",
       {"How often each event occurs. Born and gone groups have no earlier or no later group with enough common "
        "members. Merged counts the earlier groups that came together, split the groups that an earlier one fell into, "
        "moved the members who changed groups, leader1 and leader2 the groups with another leader: the one who is "
        "listened to, and the one who reaches the others."},
       {},
       {std::move(table)}});
}

std::string titleOf(const ReportFacts& facts) {
  const bool hasGroups = facts.groups || !facts.levels.empty();
  const std::string what = hasGroups && facts.energy ? "Groups and diffusion" : hasGroups ? "Groups" : "Diffusion";
  return facts.runs.empty() ? what : what + " of " + facts.runs.front().dataset;
}

/// A warning of a run without the separators of its report line: code, subject, text.
std::string plainWarning(std::string text) {
  for (std::size_t place = text.find(";|"); place != std::string::npos; place = text.find(";|", place)) {
    text.replace(place, 2, ", ");
  }
  return text;
}

ReportTable warningsOf(const ReportFacts& facts) {
  ReportTable table{"warnings", "Warnings", {{"run", "run", false}, {"warning", "warning", false}}, {}};
  const auto add = [&](const std::string& run, const std::string& text) {
    table.rows.push_back({ReportCell::text(run), ReportCell::text(text)});
  };
  for (const RunFacts& run : facts.runs) {
    for (const std::string& text : run.warnings) add(run.analysis, plainWarning(text));
    if (run.warningCount <= run.warnings.size()) continue;
    add(run.analysis, "the run had more warnings, which are in its log only");
  }
  for (const std::string& remark : facts.remarks) add("report", remark);
  return table;
}

}  // namespace

std::vector<const ReportTable*> tablesOf(const ReportContent& content) {
  std::vector<const ReportTable*> tables;
  if (!content.warnings.rows.empty()) tables.push_back(&content.warnings);
  for (const ReportSection& section : content.sections) {
    for (const ReportTable& table : section.tables) tables.push_back(&table);
  }
  return tables;
}

ReportContent makeReportContent(const ReportFacts& facts, const std::string& title, IdMap* map) {
  ReportContent content;
  content.title = title.empty() ? titleOf(facts) : title;
  content.warnings = warningsOf(facts);
  if (facts.groups) addGroupSections(facts, map, content);
  if (!facts.levels.empty()) addLevelSection(facts.levels, content);
  if (!facts.changes.empty()) addChangeSection(facts.changes, content);
  if (facts.energy) addEnergySection(*facts.energy, content);
  for (std::size_t i = 0; i < facts.runs.size(); ++i) addRunSection(facts.runs[i], i, content);
  return content;
}

}  // namespace vesk
