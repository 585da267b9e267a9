#include "groups/literal_continuity.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "groups/csv_rows.h"

namespace literal {

namespace {

std::uint64_t sharedOf(const TimedGroup& a, const TimedGroup& b) {
  std::uint64_t count = 0;
  for (const std::uint64_t node : a.members) count += b.members.count(node);
  return count;
}

double jaccardOf(const TimedGroup& a, const TimedGroup& b) {
  const auto shared = static_cast<double>(sharedOf(a, b));
  return shared / (static_cast<double>(a.members.size() + b.members.size()) - shared);
}

/// Tries for each earlier group, from the lowest number on, each current group, from the lowest number on, and last no
/// group. The first assignment of the greatest sum stays.
class EveryAssignment {
 public:
  EveryAssignment(const TimedGroups& previousGroups, const TimedGroups& currentGroups)
      : previous(previousGroups), current(currentGroups) {
    tryFrom(previous.begin(), 0);
  }
  const std::map<std::uint64_t, std::uint64_t>& best() const { return bestNumbers; }

 private:
  void tryFrom(TimedGroups::const_iterator earlier, std::int64_t sum) {
    if (earlier == previous.end()) {
      if (sum > bestSum) {
        bestSum = sum;
        bestNumbers = numbers;
      }
      return;
    }
    for (const auto& [number, group] : current) {
      const std::uint64_t shared = sharedOf(earlier->second, group);
      const std::uint64_t either = earlier->second.members.size() + group.members.size() - shared;
      if (shared * 10 <= either * 3 || numbers.count(number) > 0) continue;
      numbers[number] = earlier->first;
      tryFrom(std::next(earlier), sum + static_cast<std::int64_t>(shared * 1000000000000U / either));
      numbers.erase(number);
    }
    tryFrom(std::next(earlier), sum);
  }

  const TimedGroups& previous;
  const TimedGroups& current;
  std::map<std::uint64_t, std::uint64_t> numbers;
  std::map<std::uint64_t, std::uint64_t> bestNumbers;
  std::int64_t bestSum = -1;
};

std::string shortest(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

class Rows {
 public:
  Rows(const TimedGroups& previousGroups, const TimedGroups& currentGroups)
      : previous(previousGroups), current(currentGroups) {}

  void addPair(const std::string& event, std::uint64_t earlier, std::uint64_t number, const std::string& previousNode,
               const std::string& node) {
    const TimedGroup& a = previous.at(earlier);
    const TimedGroup& b = current.at(number);
    text += event + "," + std::to_string(earlier) + "," + std::to_string(number) + "," +
            std::to_string(a.members.size()) + "," + std::to_string(b.members.size()) + "," +
            std::to_string(sharedOf(a, b)) + "," + shortest(jaccardOf(a, b)) + "," + previousNode + "," + node + "\n";
  }

  std::string text = "Event,PreviousGroup,Group,PreviousSize,Size,Shared,Jaccard,PreviousNode,Node\n";

 private:
  const TimedGroups& previous;
  const TimedGroups& current;
};

}  // namespace

TimedGroups readTimedGroups(const std::string& nodesFile) {
  TimedGroups groups;
  for (const std::vector<std::string>& row : fieldsOf(nodesFile)) {
    TimedGroup& group = groups[std::stoull(row.at(1))];
    group.members.insert(std::stoull(row.at(0)));
    if (row.at(11) == "1") group.leaders[0] = row.at(0);
    if (row.at(13) == "1") group.leaders[1] = row.at(0);
  }
  return groups;
}

std::map<std::uint64_t, std::uint64_t> continuedNumbers(const TimedGroups& previous, const TimedGroups& current) {
  std::map<std::uint64_t, std::uint64_t> numbers = EveryAssignment(previous, current).best();
  std::uint64_t next = 0;
  for (const auto& [number, group] : previous) next = std::max(next, number + 1);
  for (const auto& [number, group] : current) next = std::max(next, number + 1);
  for (const auto& [number, group] : current) {
    if (numbers.count(number) == 0) numbers[number] = next++;
  }
  return numbers;
}

std::string changesOf(const TimedGroups& previous, const TimedGroups& continued) {
  Rows rows(previous, continued);
  for (const auto& [number, group] : continued) {
    const std::size_t size = group.members.size();
    if (previous.count(number) == 0) {
      rows.text += "born,," + std::to_string(number) + ",," + std::to_string(size) + ",,,,\n";
      continue;
    }
    const std::size_t before = previous.at(number).members.size();
    rows.addPair(size == before ? "kept" : size > before ? "grown" : "shrunk", number, number, "", "");
  }
  for (const auto& [number, group] : previous) {
    if (continued.count(number) > 0) continue;
    rows.text += "gone," + std::to_string(number) + ",," + std::to_string(group.members.size()) + ",,,,,\n";
  }
  for (const auto& [number, group] : continued) {
    std::vector<std::uint64_t> parts;
    for (const auto& [earlier, part] : previous) {
      if (2 * sharedOf(part, group) > part.members.size()) parts.push_back(earlier);
    }
    for (const std::uint64_t earlier : parts) {
      if (parts.size() > 1) rows.addPair("merged", earlier, number, "", "");
    }
  }
  for (const auto& [earlier, group] : previous) {
    std::vector<std::uint64_t> parts;
    for (const auto& [number, part] : continued) {
      if (2 * sharedOf(group, part) > part.members.size()) parts.push_back(number);
    }
    for (const std::uint64_t number : parts) {
      if (parts.size() > 1) rows.addPair("split", earlier, number, "", "");
    }
  }
  std::map<std::uint64_t, std::uint64_t> groupOf;
  for (const auto& [earlier, group] : previous) {
    for (const std::uint64_t node : group.members) groupOf[node] = earlier;
  }
  std::map<std::uint64_t, std::pair<std::uint64_t, std::uint64_t>> moved;
  for (const auto& [number, group] : continued) {
    for (const std::uint64_t node : group.members) {
      if (groupOf.count(node) > 0 && groupOf[node] != number) moved[node] = {groupOf[node], number};
    }
  }
  for (const auto& [node, groups] : moved) {
    rows.addPair("moved", groups.first, groups.second, "", std::to_string(node));
  }
  for (const auto& [number, group] : continued) {
    if (previous.count(number) == 0) continue;
    for (const int type : {0, 1}) {
      const std::string& before = previous.at(number).leaders[type];
      if (before == group.leaders[type]) continue;
      rows.addPair(type == 0 ? "leader1" : "leader2", number, number, before, group.leaders[type]);
    }
  }
  return rows.text;
}

}  // namespace literal
