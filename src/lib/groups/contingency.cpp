#include "groups/contingency.h"

#include <algorithm>
#include <utility>

namespace vesk_groups {

std::vector<SharedMembers> findSharedMembers(const Grouping& first, const Grouping& second) {
  std::vector<std::pair<std::size_t, std::size_t>> places;  // of the two groups of each node in both
  auto other = second.members.begin();
  for (const Grouping::Member& member : first.members) {
    while (other != second.members.end() && other->node < member.node) ++other;
    if (other == second.members.end()) break;
    if (other->node == member.node) places.emplace_back(member.group, other->group);
  }
  std::sort(places.begin(), places.end());
  std::vector<SharedMembers> table;
  for (const auto& [a, b] : places) {
    if (table.empty() || table.back().first != a || table.back().second != b) table.push_back({a, b, 0});
    ++table.back().members;
  }
  return table;
}

std::vector<std::uint64_t> sizesOf(const Grouping& grouping) {
  std::vector<std::uint64_t> sizes(grouping.numbers.size(), 0);
  for (const Grouping::Member& member : grouping.members) ++sizes[member.group];
  return sizes;
}

}  // namespace vesk_groups
