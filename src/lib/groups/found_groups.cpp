#include "groups/found_groups.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "groups/line_file.h"

namespace vesk_groups {

namespace {

constexpr std::size_t columns = 15;
constexpr std::size_t nodeColumn = 0;
constexpr std::size_t groupColumn = 1;
constexpr std::size_t coreColumn = 2;
constexpr std::array<std::size_t, 2> leaderColumns{11, 13};  // the confidence stands one behind

enum class Kind { Whole, Flag, Real };

/// By column, in the order of the head line.
constexpr std::array<Kind, columns> kinds{Kind::Whole, Kind::Whole, Kind::Flag,  Kind::Real,  Kind::Whole,
                                          Kind::Real,  Kind::Whole, Kind::Whole, Kind::Whole, Kind::Real,
                                          Kind::Real,  Kind::Flag,  Kind::Real,  Kind::Flag,  Kind::Real};

struct NodeLine {
  std::array<std::uint64_t, columns> whole{};  // of whole numbers and flags
  std::array<double, columns> real{};
};

bool readReal(std::string_view text, double& number) {
  const char* end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end && std::isfinite(number);
}

/// Names a column as the head line does.
std::string columnName(std::size_t column) {
  std::string_view names = foundGroupsHeader;
  for (; column > 0; --column) names.remove_prefix(names.find(',') + 1);
  return std::string(names.substr(0, names.find(',')));
}

void readValue(const LineFile& file, std::string_view text, std::size_t column, NodeLine& node) {
  const auto whole = kinds[column] == Kind::Real ? std::nullopt : readWholeNumber(text);
  node.whole[column] = whole.value_or(0);
  const bool valid = kinds[column] == Kind::Real ? readReal(text, node.real[column])
                                                 : whole && (kinds[column] == Kind::Whole || *whole <= 1);
  if (valid) return;
  constexpr std::array<const char*, 3> wanted{"whole number", "0 or 1", "number"};
  file.fail(columnName(column) + " is '" + std::string(text) + "' and not a " +
            wanted[static_cast<std::size_t>(kinds[column])]);
}

NodeLine readNodeLine(const LineFile& file, std::string_view line) {
  const auto found = static_cast<std::size_t>(std::count(line.begin(), line.end(), ',')) + 1;
  if (found != columns) {
    file.fail(std::to_string(found) + " values instead of " + std::to_string(columns));
  }
  NodeLine node;
  for (std::size_t column = 0; column < columns; ++column) {
    const std::size_t end = std::min(line.find(','), line.size());
    readValue(file, line.substr(0, end), column, node);
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  return node;
}

/// A leader as it stands in the file.
struct LeaderLine {
  std::uint64_t groupNumber;
  std::size_t type;  // 0 or 1
  GroupLeader leader;
  std::uint64_t line;
};

std::size_t placeOf(const Grouping& grouping, std::uint64_t number) {
  const auto place = std::lower_bound(grouping.numbers.begin(), grouping.numbers.end(), number);
  return static_cast<std::size_t>(place - grouping.numbers.begin());
}

void takeLeaders(const LineFile& file, const std::vector<LeaderLine>& lines, FoundGroups& found) {
  for (const LeaderLine& line : lines) {
    std::optional<GroupLeader>& leader = found.groups[placeOf(found.grouping, line.groupNumber)].leaders[line.type];
    if (leader) {
      file.failAt(line.line, "node " + std::to_string(line.leader.node) + " is a second leader of type " +
                                 std::to_string(line.type + 1) + " in group " + std::to_string(line.groupNumber) +
                                 ", beside node " + std::to_string(leader->node));
    }
    leader = line.leader;
  }
}

}  // namespace

FoundGroups readFoundGroups(const std::string& path) {
  LineFile file(path);
  std::string line;
  if (!file.next(line)) file.failAt(1, "the file is empty");
  if (line != foundGroupsHeader) file.fail("this is not the head line of a nodes file of the group analysis");

  GroupingBuilder builder;
  std::vector<LeaderLine> leaders;
  std::vector<std::uint64_t> coreNodes;
  while (true) {
    if (file.endsWithoutLineFeed()) file.fail("the line has no end, the file is cut");
    if (!file.next(line)) break;
    const NodeLine node = readNodeLine(file, line);
    builder.add(node.whole[nodeColumn], node.whole[groupColumn], file.lineNumber());
    if (node.whole[coreColumn] == 1) coreNodes.push_back(node.whole[nodeColumn]);
    for (std::size_t type = 0; type < leaderColumns.size(); ++type) {
      const std::size_t column = leaderColumns[type];
      if (node.whole[column] == 0) continue;
      const GroupLeader leader{node.whole[nodeColumn], node.real[column + 1]};
      leaders.push_back({node.whole[groupColumn], type, leader, file.lineNumber()});
    }
  }

  FoundGroups found;
  found.grouping = builder.finish(file);
  found.groups.resize(found.grouping.numbers.size());
  std::sort(coreNodes.begin(), coreNodes.end());
  auto core = coreNodes.begin();
  for (const Grouping::Member& member : found.grouping.members) {
    FoundGroup& group = found.groups[member.group];
    ++group.size;
    const bool isCore = core != coreNodes.end() && *core == member.node;
    found.isCore.push_back(isCore);
    if (!isCore) continue;
    ++group.coreNodes;
    ++core;
  }
  takeLeaders(file, leaders, found);
  return found;
}

FoundGroups coreOf(const FoundGroups& found) {
  FoundGroups core;
  std::vector<std::size_t> newPlaces(found.groups.size());
  for (std::size_t place = 0; place < found.groups.size(); ++place) {
    if (found.groups[place].coreNodes == 0) continue;
    newPlaces[place] = core.groups.size();
    core.grouping.numbers.push_back(found.grouping.numbers[place]);
    FoundGroup& group = core.groups.emplace_back(found.groups[place]);
    group.size = group.coreNodes;
  }
  for (std::size_t i = 0; i < found.grouping.members.size(); ++i) {
    if (!found.isCore[i]) continue;
    const Grouping::Member& member = found.grouping.members[i];
    core.grouping.members.push_back({member.node, newPlaces[member.group]});
  }
  core.isCore.assign(core.grouping.members.size(), true);
  return core;
}

}  // namespace vesk_groups
