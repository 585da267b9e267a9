#include "report/found_groups.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>

#include "command.h"
#include "top/result_rows.h"

namespace vesk {

namespace {

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

/// Reads the two files of a run and compares them.
class GroupsReader {
 public:
  explicit GroupsReader(const std::string& name) : clustersFile(clustersFileOf(name)), nodesFile(nodesFileOf(name)) {}

  FoundGroups read() {
    readClusters();
    readNodes();
    checkSizes();
    std::ranges::sort(found.members, {}, &FoundGroups::Member::id);
    const auto twice = std::ranges::adjacent_find(found.members, {}, &FoundGroups::Member::id);
    if (twice != found.members.end()) refuse(nodesFile + " has two rows of subscriber " + std::to_string(twice->id));
    return std::move(found);
  }

 private:
  struct Seen {
    std::uint64_t line = 0;     // in the file of the clusters
    std::uint64_t members = 0;  // rows in the file of the nodes
    bool hasLeader1 = false;
    bool hasLeader2 = false;
  };

  void readClusters() {
    ResultRows rows(clustersFile, {"GroupNumber", "Size", "Density", "KernelDensity", "CoreNodesFraction"},
                    "NAME_1.clusters.csv of vesk-analyze groups");
    while (rows.next()) {
      FoundGroup group;
      group.number = rows.getWhole(0);
      group.size = rows.getWhole(1);
      group.density = rows.getNumber(2);
      group.kernelDensity = rows.getNumber(3);
      group.coreShare = rows.getNumber(4);
      if (group.size == 0) rows.refuse("a group without members");
      if (group.density < 0) rows.refuse("Density is below 0");
      if (!placeOf.emplace(group.number, found.groups.size()).second) {
        rows.refuse("group " + std::to_string(group.number) + " has a second row");
      }
      found.groups.push_back(group);
      seen.push_back({.line = rows.getLine()});
    }
  }

  void readNodes() {
    ResultRows rows(nodesFile,
                    {"NodeNumber", "GroupNumber", "IsCoreNode", "IsGroupLeaderType1", "GroupLeaderType1Conf",
                     "IsGroupLeaderType2", "GroupLeaderType2Conf"},
                    "NAME_1.nodes.csv of vesk-analyze groups");
    while (rows.next()) {
      const std::uint64_t id = rows.getWhole(0);
      const std::uint64_t number = rows.getWhole(1);
      const auto place = placeOf.find(number);
      if (place == placeOf.end()) {
        rows.refuse("group " + std::to_string(number) + " has no row in " + clustersFile +
                    "; the two files are of different runs");
      }
      if (rows.getFlag(2)) ++found.coreMembers;
      FoundGroup& group = found.groups[place->second];
      Seen& its = seen[place->second];
      ++its.members;
      takeLeader(rows, 3, id, its.hasLeader1, group.leader1);
      takeLeader(rows, 5, id, its.hasLeader2, group.leader2);
      found.members.push_back({id, static_cast<std::uint32_t>(place->second)});
    }
  }

  /// column: that of the flag; the next one is the confidence.
  static void takeLeader(const ResultRows& rows, std::size_t column, std::uint64_t id, bool& hasLeader,
                         FoundGroup::Leader& leader) {
    const double confidence = rows.getNumber(column + 1);
    if (!rows.getFlag(column)) return;
    if (hasLeader) rows.refuse("the group has a second leader of this type");
    hasLeader = true;
    leader = {id, confidence};
  }

  void checkSizes() const {
    for (std::size_t i = 0; i < seen.size(); ++i) {
      const FoundGroup& group = found.groups[i];
      const std::string place =
          clustersFile + ", line " + std::to_string(seen[i].line) + ": group " + std::to_string(group.number) + " has ";
      if (seen[i].members != group.size) {
        refuse(place + "the size " + std::to_string(group.size) + ", but " + std::to_string(seen[i].members) +
               " rows in " + nodesFile + "; the two files are of different runs");
      }
      if (!seen[i].hasLeader1 || !seen[i].hasLeader2) refuse(place + "no leader in " + nodesFile);
    }
  }

  std::string clustersFile;
  std::string nodesFile;
  FoundGroups found;
  std::vector<Seen> seen;  // of each group
  std::unordered_map<std::uint64_t, std::size_t> placeOf;
};

}  // namespace

std::string clustersFileOf(const std::string& name) { return name + "_1.clusters.csv"; }
std::string nodesFileOf(const std::string& name) { return name + "_1.nodes.csv"; }

FoundGroups readFoundGroups(const std::string& name) { return GroupsReader(name).read(); }

std::vector<std::size_t> largestGroups(const FoundGroups& found, std::size_t most) {
  std::vector<std::size_t> order(found.groups.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const std::size_t taken = std::min(most, order.size());
  const auto isBefore = [&](std::size_t a, std::size_t b) {
    const FoundGroup& first = found.groups[a];
    const FoundGroup& second = found.groups[b];
    if (first.size != second.size) return first.size > second.size;
    if (first.density != second.density) return first.density > second.density;
    return first.number < second.number;
  };
  std::ranges::partial_sort(order, order.begin() + static_cast<std::ptrdiff_t>(taken), isBefore);
  order.resize(taken);
  return order;
}

}  // namespace vesk
