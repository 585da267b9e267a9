#include "inspect_groups.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <ostream>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

#include "groups/found_groups.h"
#include "groups/group_agreement.h"
#include "groups/known_groups.h"
#include "groups/partition_measures.h"
#include "network_calls.h"
#include "number_format.h"
#include "text_table.h"

namespace vesk_inspect {

namespace {

using vesk_groups::ComparedNodes;
using vesk_groups::FoundGroup;
using vesk_groups::FoundGroups;
using vesk_groups::GroupAgreement;
using vesk_groups::Grouping;
using vesk_groups::GroupLeader;
using vesk_groups::Modularity;
using vesk_groups::PartitionMeasures;

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

/// The shortest text that reads back as the same number.
std::string formatExact(const std::optional<double>& value) { return value ? formatNumber(*value) : "undefined"; }

void printMeasures(const Grouping& found, const Grouping& known, const GroupAgreement& agreement, std::ostream& out) {
  const PartitionMeasures both = measurePartitions(found, known, ComparedNodes::InBoth);
  const PartitionMeasures either = measurePartitions(found, known, ComparedNodes::InEither);
  const double coverage = static_cast<double>(agreement.sharedNodes) / static_cast<double>(known.members.size());
  constexpr const char* overEither = ", over the members in either, a missing one in a group of one\n";
  out << "\ncoverage             " << formatExact(coverage) << ", of the known members\n";
  out << "ARI, missing alone   " << formatExact(either.adjustedRand) << overEither;
  out << "NMI                  " << formatExact(both.normalizedMutualInformation) << ", over the members in both\n";
  out << "NMI, missing alone   " << formatExact(either.normalizedMutualInformation) << overEither;
}

/// The modularity of a grouping. Each subscriber that is in none of its groups gets a group of one.
class GroupingModularity {
 public:
  explicit GroupingModularity(const Grouping& grouping) : numGroups(grouping.numbers.size()) {
    places.reserve(grouping.members.size());
    for (const Grouping::Member& member : grouping.members) places.emplace(member.node, Place{member.group, false});
  }

  void add(const NetworkCall& call) {
    const std::size_t callerGroup = groupOf(call.caller);
    sums.add(callerGroup, groupOf(call.callee), call.weight);
  }
  const Modularity& get() const { return sums; }
  /// The members of the grouping who call or are called.
  std::uint64_t getNumMembers() const { return numMembers; }

 private:
  struct Place {
    std::size_t group;
    bool hasCalls;
  };

  std::size_t groupOf(std::uint64_t node) {
    const auto [found, isAlone] = places.try_emplace(node, Place{numGroups, true});
    if (isAlone) ++numGroups;
    Place& place = found->second;
    if (!std::exchange(place.hasCalls, true)) ++numMembers;
    return place.group;
  }

  std::size_t numGroups;
  std::uint64_t numMembers = 0;
  std::unordered_map<std::uint64_t, Place> places;
  Modularity sums;
};

void printModularity(const std::string& dataset, const Grouping& found, const Grouping& known, std::ostream& out) {
  GroupingModularity ofFound(found);
  GroupingModularity ofKnown(known);
  forEachCall(dataset, [&](const NetworkCall& call) {
    ofFound.add(call);
    ofKnown.add(call);
  });
  // Each degree is at most twice the sum.
  if (!std::isfinite(2.0 * ofFound.get().getTotal())) {
    throw std::runtime_error(dataset + ": the weights sum to more than the largest number");
  }
  out << "\ncalls                " << dataset << "\n";
  out << "sum of calls         " << formatNumber(ofFound.get().getTotal()) << "\n";
  out << "members with calls   " << ofFound.getNumMembers() << " of " << found.members.size() << " found, "
      << ofKnown.getNumMembers() << " of " << known.members.size() << " known\n";
  out << "modularity found     " << formatExact(ofFound.get().get()) << "\n";
  out << "modularity known     " << formatExact(ofKnown.get().get()) << "\n";
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
  FoundGroups found = vesk_groups::readFoundGroups(options.foundPath);
  if (options.coreOnly) found = coreOf(found);
  const Grouping known = vesk_groups::readKnownGroups(options.knownPath);
  const GroupAgreement agreement = compareGroups(found.grouping, known);
  out << "found                " << options.foundPath << "\n";
  out << "groups               " << countsOf(found.grouping) << (options.coreOnly ? ", core nodes only" : "") << "\n";
  out << "known                " << options.knownPath << "\n";
  out << "groups               " << countsOf(known) << "\n";
  printAgreement(agreement, out);
  if (options.full) printMeasures(found.grouping, known, agreement, out);
  if (!options.dataset.empty()) printModularity(options.dataset, found.grouping, known, out);
  printLargest(found, known, agreement, options.largest, out);
}

}  // namespace vesk_inspect
