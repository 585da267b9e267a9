#include "networks.h"

#include <algorithm>
#include <set>

namespace literal {

namespace {

/// Callers in groups of their own sizes; numbers are distinct.
std::vector<std::vector<double>> plantGroups(Choices& choices, int numCallers) {
  std::set<double> used;
  std::vector<std::vector<double>> groups;
  const bool dense = choices.oneIn(2);
  int size = 0;
  for (int i = 0; i < numCallers; ++i) {
    if (size == 0) {
      groups.emplace_back();
      size = choices.between(2, 14);
    }
    --size;
    double number = 0;
    do {
      if (dense) {
        number = choices.between(choices.oneIn(20) ? 0 : 1, 4 * numCallers);
      } else {
        number = static_cast<double>(choices.bits() >> choices.between(12, 40));
      }
    } while (!used.insert(number).second);
    groups.back().push_back(number);
  }
  return groups;
}

void disorder(Choices& choices, std::vector<Line>& lines) {
  // The last record stays: a dataset that has no end is refused.
  for (int i = choices.between(1, 4); i > 0 && lines.size() > 1; --i) {
    const auto place = lines.begin() + choices.below(static_cast<int>(lines.size()) - 1);
    switch (choices.below(4)) {
      case 0:
        lines.erase(place);
        break;
      case 1:
        place->x2 = choices.oneIn(2) ? -99999 : 0;
        break;
      case 2:
        lines.insert(place, {place->caller, 0, static_cast<double>(choices.below(6))});
        break;
      default:
        lines.insert(place, *place);
    }
  }
}

}  // namespace

void appendBlock(std::vector<Line>& lines, double caller, const std::vector<double>& contacts, std::size_t width) {
  const auto n = static_cast<double>(std::max(width, contacts.size()));
  lines.push_back({caller, 0, n});
  for (std::size_t j = 0; j < contacts.size(); ++j) lines.push_back({caller, static_cast<double>(j + 1), contacts[j]});
  lines.push_back({caller, n + 1, 0});
}

std::vector<Line> randomNetwork(Choices& choices, Network form) {
  const int numCallers = choices.oneIn(8) ? choices.between(1, 6) : choices.between(20, 200);
  const auto groups = plantGroups(choices, numCallers);
  std::vector<double> callers;
  for (const auto& group : groups) callers.insert(callers.end(), group.begin(), group.end());
  const auto anyCaller = [&] { return callers[static_cast<std::size_t>(choices.below(numCallers))]; };

  const int inside = choices.between(3, 9);  // of ten possible contacts
  const auto contactsOf = [&](double caller, const std::vector<double>& group) {
    std::set<double> contacts;
    if (choices.oneIn(12)) return std::vector<double>{};
    for (const double other : group) {
      if (other != caller && choices.below(10) < inside) contacts.insert(other);
    }
    for (int i = choices.below(3); i > 0; --i) contacts.insert(anyCaller());
    if (choices.oneIn(4)) contacts.insert(static_cast<double>(choices.between(1, 100000)));
    if (choices.oneIn(15)) contacts.insert(caller);
    return std::vector<double>(contacts.begin(), contacts.end());
  };

  struct Block {
    double caller;
    std::vector<double> contacts;
  };
  std::vector<Block> blocks;
  for (const auto& group : groups) {
    for (const double caller : group) blocks.push_back({caller, contactsOf(caller, group)});
  }
  std::sort(blocks.begin(), blocks.end(), [](const Block& a, const Block& b) { return a.caller < b.caller; });
  if (choices.oneIn(3)) {
    for (int i = choices.between(1, 3); i > 0; --i) {
      const double caller = anyCaller();
      blocks.push_back(
          {caller,
           contactsOf(caller, groups[static_cast<std::size_t>(choices.below(static_cast<int>(groups.size())))])});
    }
  }
  std::size_t width = 0;
  if (choices.oneIn(2)) {
    for (const Block& block : blocks) width = std::max(width, block.contacts.size());
  }
  std::vector<Line> lines;
  for (const Block& block : blocks) appendBlock(lines, block.caller, block.contacts, width);
  if (form == Network::Any && choices.oneIn(6)) disorder(choices, lines);
  return lines;
}

GroupParameters randomParameters(Choices& choices) {
  constexpr double factors[] = {150, 1000, 50000000};
  GroupParameters parameters;
  parameters.sparsityLevel = choices.between(1, 19) / 20.0;
  parameters.normalizingFactor = factors[choices.below(3)];
  if (choices.oneIn(8)) parameters.emptyMarker = choices.oneIn(2) ? -1 : 7;
  parameters.maxClusterSize = choices.between(2, 30);
  parameters.minClusterSize = choices.between(1, std::min(5, parameters.maxClusterSize));
  parameters.numIterationsConnectingNodes = choices.between(1, 4);
  if (choices.oneIn(3)) parameters.numIterationsCollectingEdges = choices.between(2, 12);
  if (choices.oneIn(3)) parameters.maxNodesCollectingEdges = choices.between(-1, 60);
  return parameters;
}

}  // namespace literal
