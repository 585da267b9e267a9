#include "groups/partition_measures.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "groups/contingency.h"

namespace vesk_groups {

namespace {

__extension__ using Wide = __int128;

/// Groups of equal size.
struct Groups {
  std::uint64_t size = 0;
  std::uint64_t count = 0;
};

/// A group of each partition that share nodes, and how often this combination occurs.
struct Cells {
  std::uint64_t shared = 0;
  std::uint64_t firstSize = 0;
  std::uint64_t secondSize = 0;
  std::uint64_t count = 0;
};

/// The contingency table of two partitions of the same nodes. Its equal entries for nodes that only one
/// grouping has are counted and not repeated.
struct Table {
  std::uint64_t nodes = 0;
  std::vector<Groups> first;
  std::vector<Groups> second;
  std::vector<Cells> cells;
};

std::vector<Groups> groupsOf(const std::vector<std::uint64_t>& sizes, std::uint64_t numSingle) {
  std::vector<Groups> groups;
  for (const std::uint64_t size : sizes) {
    if (size > 0) groups.push_back({size, 1});
  }
  if (numSingle > 0) groups.push_back({1, numSingle});
  return groups;
}

Table tableOf(const Grouping& first, const Grouping& second, ComparedNodes compared) {
  const std::vector<SharedMembers> sharedMembers = findSharedMembers(first, second);
  std::vector<std::uint64_t> sharedOfFirst(first.numbers.size(), 0);
  std::vector<std::uint64_t> sharedOfSecond(second.numbers.size(), 0);
  Table table;
  for (const SharedMembers& shared : sharedMembers) {
    sharedOfFirst[shared.first] += shared.members;
    sharedOfSecond[shared.second] += shared.members;
    table.nodes += shared.members;
  }
  const bool isUnion = compared == ComparedNodes::InEither;
  const std::vector<std::uint64_t> sizesOfFirst = isUnion ? sizesOf(first) : sharedOfFirst;
  const std::vector<std::uint64_t> sizesOfSecond = isUnion ? sizesOf(second) : sharedOfSecond;
  for (const SharedMembers& shared : sharedMembers) {
    table.cells.push_back({shared.members, sizesOfFirst[shared.first], sizesOfSecond[shared.second], 1});
  }
  // Each node that only one grouping has shares itself with a group of one.
  std::uint64_t onlyInFirst = 0;
  std::uint64_t onlyInSecond = 0;
  for (std::size_t i = 0; i < sizesOfFirst.size(); ++i) {
    const std::uint64_t alone = sizesOfFirst[i] - sharedOfFirst[i];
    if (alone > 0) table.cells.push_back({1, sizesOfFirst[i], 1, alone});
    onlyInFirst += alone;
  }
  for (std::size_t j = 0; j < sizesOfSecond.size(); ++j) {
    const std::uint64_t alone = sizesOfSecond[j] - sharedOfSecond[j];
    if (alone > 0) table.cells.push_back({1, 1, sizesOfSecond[j], alone});
    onlyInSecond += alone;
  }
  table.nodes += onlyInFirst + onlyInSecond;
  table.first = groupsOf(sizesOfFirst, onlyInSecond);
  table.second = groupsOf(sizesOfSecond, onlyInFirst);
  return table;
}

Wide pairsOf(std::uint64_t n) { return static_cast<Wide>(n) * (static_cast<Wide>(n) - 1) / 2; }

Wide pairsOf(const std::vector<Groups>& groups) {
  Wide pairs = 0;
  for (const Groups& group : groups) pairs += static_cast<Wide>(group.count) * pairsOf(group.size);
  return pairs;
}

double adjustedRandOf(const Table& table) {
  Wide inBoth = 0;
  for (const Cells& cell : table.cells) inBoth += static_cast<Wide>(cell.count) * pairsOf(cell.shared);
  const Wide inFirstOnly = pairsOf(table.first) - inBoth;
  const Wide inSecondOnly = pairsOf(table.second) - inBoth;
  if (inFirstOnly == 0 && inSecondOnly == 0) return 1.0;
  const Wide inNeither = pairsOf(table.nodes) - inBoth - inFirstOnly - inSecondOnly;
  const Wide dividend = inBoth * inNeither - inFirstOnly * inSecondOnly;
  const Wide divisor =
      (inBoth + inFirstOnly) * (inFirstOnly + inNeither) + (inBoth + inSecondOnly) * (inSecondOnly + inNeither);
  return 2.0 * static_cast<double>(dividend) / static_cast<double>(divisor);
}

double entropyOf(const std::vector<Groups>& groups, double nodes) {
  CompensatedSum entropy;
  for (const Groups& group : groups) {
    const auto size = static_cast<double>(group.size);
    entropy.add(static_cast<double>(group.count) * (size / nodes) * std::log(nodes / size));
  }
  return entropy.get();
}

bool isOneGroup(const std::vector<Groups>& groups) { return groups.size() == 1 && groups.front().count == 1; }

double mutualInformationOf(const Table& table) {
  if (table.nodes == 0 || (isOneGroup(table.first) && isOneGroup(table.second))) return 1.0;
  const auto nodes = static_cast<double>(table.nodes);
  CompensatedSum information;
  for (const Cells& cell : table.cells) {
    const auto expected = static_cast<double>(static_cast<Wide>(cell.firstSize) * static_cast<Wide>(cell.secondSize));
    const auto found = static_cast<double>(static_cast<Wide>(cell.shared) * static_cast<Wide>(table.nodes));
    information.add(static_cast<double>(cell.count * cell.shared) / nodes * std::log(found / expected));
  }
  if (information.get() <= std::numeric_limits<double>::epsilon()) return 0.0;
  return information.get() / ((entropyOf(table.first, nodes) + entropyOf(table.second, nodes)) / 2.0);
}

template <class Sum>
Sum& degreeOf(std::vector<Sum>& degrees, std::size_t group) {
  if (group >= degrees.size()) degrees.resize(group + 1);
  return degrees[group];
}

}  // namespace

PartitionMeasures measurePartitions(const Grouping& first, const Grouping& second, ComparedNodes nodes) {
  const Table table = tableOf(first, second, nodes);
  return {table.nodes, adjustedRandOf(table), mutualInformationOf(table)};
}

void CompensatedSum::add(double term) {
  const double next = sum + term;
  lost += std::abs(sum) >= std::abs(term) ? (sum - next) + term : (term - next) + sum;
  sum = next;
}

void Modularity::add(std::size_t groupOfCaller, std::size_t groupOfCallee, double weight) {
  constexpr double wholeLimit = 0x1p61;
  const bool isInside = groupOfCaller == groupOfCallee;
  if (isWhole && (weight != std::trunc(weight) || static_cast<double>(wholeTotal) + weight >= wholeLimit)) {
    leaveWholeNumbers();
  }
  if (isWhole) {
    const auto whole = static_cast<std::uint64_t>(weight);
    wholeTotal += whole;
    if (isInside) wholeInside += whole;
    degreeOf(wholeDegrees, groupOfCaller) += whole;
    degreeOf(wholeDegrees, groupOfCallee) += whole;
  } else {
    total.add(weight);
    if (isInside) inside.add(weight);
    degreeOf(degrees, groupOfCaller).add(weight);
    degreeOf(degrees, groupOfCallee).add(weight);
  }
}

void Modularity::leaveWholeNumbers() {
  isWhole = false;
  total.add(static_cast<double>(wholeTotal));
  inside.add(static_cast<double>(wholeInside));
  degrees.resize(wholeDegrees.size());
  for (std::size_t g = 0; g < wholeDegrees.size(); ++g) degrees[g].add(static_cast<double>(wholeDegrees[g]));
  wholeDegrees = {};
}

double Modularity::getTotal() const { return isWhole ? static_cast<double>(wholeTotal) : total.get(); }

std::optional<double> Modularity::get() const {
  if (getTotal() == 0.0) return std::nullopt;
  if (isWhole) {
    const Wide doubled = 2 * static_cast<Wide>(wholeTotal);
    Wide squares = 0;
    for (const std::uint64_t degree : wholeDegrees) squares += static_cast<Wide>(degree) * static_cast<Wide>(degree);
    const Wide dividend = 2 * doubled * static_cast<Wide>(wholeInside) - squares;
    return static_cast<double>(dividend) / static_cast<double>(doubled * doubled);
  }
  CompensatedSum expected;
  for (const CompensatedSum& degree : degrees) {
    const double share = degree.get() / (2.0 * total.get());
    expected.add(share * share);
  }
  return inside.get() / total.get() - expected.get();
}

}  // namespace vesk_groups
