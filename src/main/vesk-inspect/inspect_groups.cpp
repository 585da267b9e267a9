#include "inspect_groups.h"

#include <algorithm>
#include <numeric>
#include <ostream>
#include <vector>

#include "found_groups.h"
#include "group_agreement.h"
#include "known_groups.h"
#include "number_format.h"
#include "text_table.h"

namespace vesk_inspect {

namespace {

/// Six digits behind the point.
std::string formatRatio(const std::optional<double>& value) { return value ? std::to_string(*value) : "undefined"; }

std::string countsOf(const Grouping& grouping) {
  return std::to_string(grouping.numbers.size()) + ", members " + std::to_string(grouping.members.size());
}

void printAgreement(const GroupAgreement& agreement, std::ostream& out) {
  out << "members in both      " << agreement.sharedNodes << "\n\n";
  out << "pairs found          " << agreement.foundPairs << "\n";
  out << "pairs known          " << agreement.knownPairs << "\n";
  out << "pairs in both        " << agreement.sharedPairs << "\n";
  out << "pairs recall         " << formatRatio(agreement.recall) << "\n";
  out << "pairs precision      " << formatRatio(agreement.precision) << "\n";
  out << "pairs F1             " << formatRatio(agreement.f1) << "\n";
  out << "adjusted Rand index  " << formatRatio(agreement.adjustedRand) << ", over the members in both\n";
}

/// The places of the found groups, the largest first, of equal ones the lower number first.
std::vector<std::size_t> largestGroups(const std::vector<FoundGroup>& groups, std::size_t wanted) {
  std::vector<std::size_t> places(groups.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::stable_sort(places.begin(), places.end(),
                   [&](std::size_t a, std::size_t b) { return groups[a].size > groups[b].size; });
  places.resize(std::min(wanted, places.size()));
  return places;
}

void printLargest(const FoundGroups& found, const Grouping& known, const GroupAgreement& agreement, std::size_t wanted,
                  std::ostream& out) {
  TextTable table(
      {"group", "size", "core", "leader 1", "confidence", "leader 2", "confidence", "known", "members", "share"});
  for (const std::size_t place : largestGroups(found.groups, wanted)) {
    const FoundGroup& group = found.groups[place];
    const GroupAgreement::Match& match = agreement.matches[place];
    std::vector<std::string> cells{std::to_string(found.grouping.numbers[place]), std::to_string(group.size),
                                   std::to_string(group.coreNodes)};
    for (const std::optional<GroupLeader>& leader : group.leaders) {
      cells.push_back(leader ? std::to_string(leader->node) : "-");
      cells.push_back(leader ? formatNumber(leader->confidence) : "-");
    }
    cells.push_back(match.members > 0 ? std::to_string(known.numbers[match.knownGroup]) : "-");
    cells.push_back(std::to_string(match.members));
    cells.push_back(std::to_string(static_cast<double>(match.members) / static_cast<double>(group.size)));
    table.addRow(std::move(cells));
  }
  if (table.isEmpty()) return;
  out << "\n";
  table.print(out);
}

}  // namespace

void inspectGroups(const GroupsOptions& options, std::ostream& out) {
  const FoundGroups found = readFoundGroups(options.foundPath);
  const Grouping known = readKnownGroups(options.knownPath);
  const GroupAgreement agreement = compareGroups(found.grouping, known);
  out << "found                " << options.foundPath << "\n";
  out << "groups               " << countsOf(found.grouping) << "\n";
  out << "known                " << options.knownPath << "\n";
  out << "groups               " << countsOf(known) << "\n";
  printAgreement(agreement, out);
  printLargest(found, known, agreement, options.largest, out);
}

}  // namespace vesk_inspect
