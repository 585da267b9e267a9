#include "groups/group_changes.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <ostream>
#include <string>

#include "groups/contingency.h"

namespace vesk_groups {

namespace {

std::string textOf(double number) {
  char text[32];  // the shortest text of any double has at most 24 characters
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

/// Writes the rows of the events between two runs.
class ChangeRows {
 public:
  ChangeRows(std::ostream& stream, const FoundGroups& previousGroups, const FoundGroups& currentGroups,
             const ContinuedNumbers& continuedNumbers)
      : out(stream),
        previous(previousGroups),
        current(currentGroups),
        continued(continuedNumbers),
        shared(findSharedMembers(previous.grouping, current.grouping)),
        byNumber(current.groups.size()) {
    std::iota(byNumber.begin(), byNumber.end(), std::size_t{0});
    std::ranges::sort(byNumber, {}, [&](std::size_t group) { return continued.numbers[group]; });
  }

  void writeGroups() {
    std::vector<bool> isKept(previous.groups.size(), false);
    for (const std::size_t group : byNumber) {
      const std::size_t earlier = continued.previous[group];
      if (earlier != noGroup) isKept[earlier] = true;
      write(eventOf(earlier, group), earlier, group);
    }
    for (std::size_t earlier = 0; earlier < isKept.size(); ++earlier) {
      if (!isKept[earlier]) write("gone", earlier, noGroup);
    }
  }

  /// Writes groups that have more than half of each of several groups of the other run.
  void writeMerged() {
    std::vector<std::vector<std::size_t>> parts(current.groups.size());
    for (const SharedMembers& pair : shared) {
      if (2 * pair.members > previous.groups[pair.first].size) parts[pair.second].push_back(pair.first);
    }
    for (const std::size_t group : byNumber) {
      if (parts[group].size() < 2) continue;
      for (const std::size_t earlier : parts[group]) write("merged", earlier, group);
    }
  }
  void writeSplit() {
    std::vector<std::vector<std::size_t>> parts(previous.groups.size());
    for (const SharedMembers& pair : shared) {
      if (2 * pair.members > current.groups[pair.second].size) parts[pair.first].push_back(pair.second);
    }
    for (std::size_t earlier = 0; earlier < parts.size(); ++earlier) {
      if (parts[earlier].size() < 2) continue;
      std::ranges::sort(parts[earlier], {}, [&](std::size_t group) { return continued.numbers[group]; });
      for (const std::size_t group : parts[earlier]) write("split", earlier, group);
    }
  }

  void writeMoved() {
    auto earlier = previous.grouping.members.begin();
    const auto end = previous.grouping.members.end();
    for (const Grouping::Member& member : current.grouping.members) {
      while (earlier != end && earlier->node < member.node) ++earlier;
      if (earlier == end) break;
      if (earlier->node != member.node || earlier->group == continued.previous[member.group]) continue;
      write("moved", earlier->group, member.group, "", std::to_string(member.node));
    }
  }

  void writeLeaders() {
    constexpr const char* events[] = {"leader1", "leader2"};
    for (const std::size_t group : byNumber) {
      const std::size_t earlier = continued.previous[group];
      if (earlier == noGroup) continue;
      for (std::size_t type = 0; type < 2; ++type) {
        const std::string before = leaderOf(previous.groups[earlier], type);
        const std::string now = leaderOf(current.groups[group], type);
        if (before != now) write(events[type], earlier, group, before, now);
      }
    }
  }

 private:
  const char* eventOf(std::size_t earlier, std::size_t group) const {
    if (earlier == noGroup) return "born";
    const std::uint64_t before = previous.groups[earlier].size;
    const std::uint64_t now = current.groups[group].size;
    return now == before ? "kept" : now > before ? "grown" : "shrunk";
  }
  static std::string leaderOf(const FoundGroup& group, std::size_t type) {
    return group.leaders[type] ? std::to_string(group.leaders[type]->node) : std::string();
  }
  std::uint64_t sharedOf(std::size_t earlier, std::size_t group) const {
    const auto place = std::ranges::lower_bound(shared, std::pair(earlier, group), {}, [](const SharedMembers& pair) {
      return std::pair(pair.first, pair.second);
    });
    const bool isThere = place != shared.end() && place->first == earlier && place->second == group;
    return isThere ? place->members : 0;
  }

  void write(const char* event, std::size_t earlier, std::size_t group, const std::string& previousNode = "",
             const std::string& node = "") {
    std::string row = event;
    const auto add = [&row](const std::string& cell) { row.append(",").append(cell); };
    const bool hasEarlier = earlier != noGroup;
    const bool hasGroup = group != noGroup;
    const std::uint64_t before = hasEarlier ? previous.groups[earlier].size : 0;
    const std::uint64_t now = hasGroup ? current.groups[group].size : 0;
    add(hasEarlier ? std::to_string(previous.grouping.numbers[earlier]) : "");
    add(hasGroup ? std::to_string(continued.numbers[group]) : "");
    add(hasEarlier ? std::to_string(before) : "");
    add(hasGroup ? std::to_string(now) : "");
    if (hasEarlier && hasGroup) {
      const std::uint64_t members = sharedOf(earlier, group);
      add(std::to_string(members));
      add(textOf(static_cast<double>(members) / static_cast<double>(before + now - members)));
    } else {
      row.append(",,");
    }
    add(previousNode);
    add(node);
    out << row << '\n';
  }

  std::ostream& out;
  const FoundGroups& previous;
  const FoundGroups& current;
  const ContinuedNumbers& continued;
  const std::vector<SharedMembers> shared;
  std::vector<std::size_t> byNumber;  // the current groups
};

}  // namespace

ContinuedNumbers continueNumbers(const Grouping& previous, const Grouping& current) {
  const std::vector<GroupOverlap> overlaps = findOverlaps(previous, current);
  ContinuedNumbers continued;
  continued.previous = assignGroups(previous.numbers.size(), current.numbers.size(), overlaps);
  std::uint64_t next = 0;
  for (const Grouping* grouping : {&previous, &current}) {
    if (!grouping->numbers.empty()) next = std::max(next, grouping->numbers.back() + 1);
  }
  for (const std::size_t earlier : continued.previous) {
    continued.numbers.push_back(earlier == noGroup ? next++ : previous.numbers[earlier]);
    if (earlier != noGroup) ++continued.numKept;
  }
  return continued;
}

void writeGroupChanges(std::ostream& out, const FoundGroups& previous, const FoundGroups& current,
                       const ContinuedNumbers& continued) {
  out << groupChangesHeader << '\n';
  ChangeRows rows(out, previous, current, continued);
  rows.writeGroups();
  rows.writeMerged();
  rows.writeSplit();
  rows.writeMoved();
  rows.writeLeaders();
}

}  // namespace vesk_groups
