#include "group_agreement.h"

#include <algorithm>
#include <utility>

namespace vesk_inspect {

namespace {

/// Places of the found and of the known group of a node that is in both.
using Cell = std::pair<std::size_t, std::size_t>;

std::uint64_t pairsOf(std::uint64_t n) { return n == 0 ? 0 : n * (n - 1) / 2; }

std::uint64_t sumOfPairs(const std::vector<std::uint64_t>& sizes) {
  std::uint64_t sum = 0;
  for (const std::uint64_t size : sizes) sum += pairsOf(size);
  return sum;
}

std::uint64_t pairsOf(const Grouping& grouping) {
  std::vector<std::uint64_t> sizes(grouping.numbers.size(), 0);
  for (const Grouping::Member& member : grouping.members) ++sizes[member.group];
  return sumOfPairs(sizes);
}

/// One cell for each node in both, in ascending order.
std::vector<Cell> sharedCells(const Grouping& found, const Grouping& known) {
  std::vector<Cell> cells;
  auto other = known.members.begin();
  for (const Grouping::Member& member : found.members) {
    while (other != known.members.end() && other->node < member.node) ++other;
    if (other == known.members.end()) break;
    if (other->node == member.node) cells.emplace_back(member.group, other->group);
  }
  std::sort(cells.begin(), cells.end());
  return cells;
}

std::optional<double> ratio(double dividend, double divisor) {
  if (divisor == 0.0) return std::nullopt;
  return dividend / divisor;
}

std::optional<double> adjustedRandIndex(double both, double found, double known, double all) {
  const std::optional<double> knownShare = ratio(known, all);
  if (!knownShare) return std::nullopt;
  const double expected = found * *knownShare;  // exact when all pairs are known, so that the divisor below is then 0
  return ratio(both - expected, (found + known) / 2.0 - expected);
}

}  // namespace

GroupAgreement compareGroups(const Grouping& found, const Grouping& known) {
  GroupAgreement result;
  result.matches.resize(found.numbers.size());
  const std::vector<Cell> cells = sharedCells(found, known);
  std::vector<std::uint64_t> sharedOfFound(found.numbers.size(), 0);
  std::vector<std::uint64_t> sharedOfKnown(known.numbers.size(), 0);
  for (auto cell = cells.begin(); cell != cells.end();) {
    const auto next = std::upper_bound(cell, cells.end(), *cell);
    const auto members = static_cast<std::uint64_t>(next - cell);
    result.sharedPairs += pairsOf(members);
    sharedOfFound[cell->first] += members;
    sharedOfKnown[cell->second] += members;
    GroupAgreement::Match& match = result.matches[cell->first];
    if (members > match.members) match = {cell->second, members};
    cell = next;
  }

  result.sharedNodes = cells.size();
  result.foundPairs = pairsOf(found);
  result.knownPairs = pairsOf(known);
  const auto both = static_cast<double>(result.sharedPairs);
  const auto foundPairs = static_cast<double>(result.foundPairs);
  const auto knownPairs = static_cast<double>(result.knownPairs);
  result.recall = ratio(both, knownPairs);
  result.precision = ratio(both, foundPairs);
  result.f1 = ratio(2.0 * both, foundPairs + knownPairs);
  result.adjustedRand =
      adjustedRandIndex(both, static_cast<double>(sumOfPairs(sharedOfFound)),
                        static_cast<double>(sumOfPairs(sharedOfKnown)), static_cast<double>(pairsOf(cells.size())));
  return result;
}

}  // namespace vesk_inspect
