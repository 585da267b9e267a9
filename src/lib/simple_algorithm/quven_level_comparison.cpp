#include "simple_algorithm/quven_level_comparison.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <ostream>
#include <string>
#include <utility>

#include "util/quven_debug.h"

namespace {

__extension__ using Wide = unsigned __int128;  // squares of counts of entries

}  // namespace

QUVENLevelComparison::QUVENLevelComparison(const QUVENKeptRows& keptRows, std::vector<QUVENComparedPair> comparedPairs,
                                           std::uint64_t numValues, std::uint64_t numBelow,
                                           const Settings& groupSettings)
    : rows(keptRows),
      pairs(std::move(comparedPairs)),
      numAllValues(numValues),
      numValuesBelow(numBelow),
      settings(groupSettings) {
  rowsByCaller.resize(static_cast<std::size_t>(rows.getNumRows()));
  std::iota(rowsByCaller.begin(), rowsByCaller.end(), std::int64_t{0});
  const auto isBefore = [&](std::int64_t a, std::int64_t b) { return rows.getCaller(a) < rows.getCaller(b); };
  if (!std::is_sorted(rowsByCaller.begin(), rowsByCaller.end(), isBefore)) {
    std::sort(rowsByCaller.begin(), rowsByCaller.end(), isBefore);
  }
  degrees.resize(static_cast<std::size_t>(rows.getNumNodes()) + 1);
  mayRepeat.resize(rowsByCaller.size());
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const auto contacts = rows.getContacts(row);
    mayRepeat[static_cast<std::size_t>(row)] =
        std::adjacent_find(contacts.begin(), contacts.end(), std::greater_equal<>()) != contacts.end();
    numEntries += contacts.size();
    degrees[rows.getCaller(row)] += contacts.size();
    for (const Node contact : contacts) ++degrees[contact];
  }
  values.reserve(pairs.size());
  for (const QUVENComparedPair& pair : pairs) {
    if (!std::isnan(pair.value)) values.push_back(pair.value + 0.0);  // the sum of -0 and 0 is 0
  }
  numberOf.resize(degrees.size());
  isTaken.resize(degrees.size());
  joinNeighbours();
}

/// Makes of the pairs, which are in the order of their columns, the neighbours of each node.
void QUVENLevelComparison::joinNeighbours() {
  const std::size_t numPlaces = degrees.size() + 1;
  std::vector<std::size_t> byColumn(numPlaces);  // where the pairs of a column begin
  std::vector<std::size_t> byRow(numPlaces);
  for (const QUVENComparedPair& pair : pairs) {
    ++byColumn[pair.column + 1];
    ++byRow[pair.row + 1];
  }
  std::partial_sum(byColumn.begin(), byColumn.end(), byColumn.begin());
  std::partial_sum(byRow.begin(), byRow.end(), byRow.begin());
  // The pairs in the order of their rows; of a row by ascending column.
  struct Neighbour {
    double value;
    Node node;
  };
  std::vector<Neighbour> ofRows(pairs.size());
  std::vector<std::size_t> next(byRow.begin(), byRow.end() - 1);
  for (const QUVENComparedPair& pair : pairs) ofRows[next[pair.row]++] = {pair.value, pair.column};

  firstNeighbours.reserve(numPlaces);
  neighbours.reserve(2 * pairs.size());
  neighbourValues.reserve(2 * pairs.size());
  for (std::size_t node = 0; node + 1 < numPlaces; ++node) {
    firstNeighbours.push_back(neighbours.size());
    std::size_t i = byColumn[node];
    std::size_t j = byRow[node];
    while (i < byColumn[node + 1] || j < byRow[node + 1]) {
      constexpr Node none = ~Node{0};
      const Node inColumn = i < byColumn[node + 1] ? pairs[i].row : none;
      const Node inRow = j < byRow[node + 1] ? ofRows[j].node : none;
      const Node neighbour = std::min(inColumn, inRow);
      double value = -std::numeric_limits<double>::infinity();
      if (inColumn == neighbour) value = std::fmax(value, pairs[i++].value);
      if (inRow == neighbour) value = std::fmax(value, ofRows[j++].value);
      neighbours.push_back(neighbour);
      neighbourValues.push_back(value);
    }
  }
  firstNeighbours.push_back(neighbours.size());
}

/// The value at the place of the level in the ascending order of all values.
double QUVENLevelComparison::cutoffAt(double level) {
  const auto place = std::min(static_cast<std::uint64_t>(static_cast<double>(numAllValues) * level), numAllValues - 1);
  QUVEN_ASSERT(place >= numValuesBelow && place - numValuesBelow < values.size());
  const auto wanted = static_cast<std::size_t>(place - numValuesBelow);
  const auto next = orderedPlaces.lower_bound(wanted);
  if (next == orderedPlaces.end() || *next != wanted) {
    const std::size_t first = next == orderedPlaces.begin() ? 0 : *std::prev(next) + 1;
    const std::size_t last = next == orderedPlaces.end() ? values.size() : *next;
    const auto at = [&](std::size_t i) { return values.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(at(first), at(wanted), at(last));
    orderedPlaces.insert(wanted);
  }
  return values[wanted];
}

std::uint64_t QUVENLevelComparison::countBelow(double cutoff) const {
  return numValuesBelow + static_cast<std::uint64_t>(std::count_if(values.begin(), values.end(),
                                                                   [&](double value) { return value < cutoff; }));
}

/// Numbers the nodes of the kept pairs as they are met, of each pair the row's first: clusters start in this order.
void QUVENLevelComparison::numberNodes(double cutoff, QUVENLevelResult& result) {
  constexpr std::uint32_t notMet = ~std::uint32_t{0};
  std::fill(numberOf.begin(), numberOf.end(), notMet);
  metNodes.clear();
  const auto meet = [&](Node node) {
    if (numberOf[node] != notMet) return;
    numberOf[node] = static_cast<std::uint32_t>(metNodes.size());
    metNodes.push_back(node);
  };
  for (const QUVENComparedPair& pair : pairs) {
    if (!(pair.value >= cutoff)) continue;
    ++result.keptPairs;
    result.keptWithoutCommon += pair.hasCommon == 0 ? 1 : 0;
    meet(pair.row);
    meet(pair.column);
  }
}

/// The neighbours of each node at the level. About half of the values are below a cutoff, in no order that could be
/// foreseen, so there is no branch.
void QUVENLevelComparison::keepNeighbours(double cutoff) {
  keptNeighbours.resize(neighbours.size() + 1);
  firstKept.resize(firstNeighbours.size());
  std::size_t numKept = 0;
  for (std::size_t node = 0; node + 1 < firstNeighbours.size(); ++node) {
    firstKept[node] = numKept;
    for (std::size_t i = firstNeighbours[node]; i < firstNeighbours[node + 1]; ++i) {
      keptNeighbours[numKept] = neighbours[i];
      numKept += static_cast<std::size_t>(neighbourValues[i] >= cutoff);
    }
  }
  firstKept.back() = numKept;
}

/// The nodes that were met by descending number of neighbours; nodes with as many stay in the order of their numbers.
std::vector<QUVENLevelComparison::Node> QUVENLevelComparison::startOrder() const {
  std::vector<std::size_t> places(1);
  for (const Node node : metNodes) {
    if (getNumKept(node) >= places.size()) places.resize(getNumKept(node) + 1);
    ++places[getNumKept(node)];
  }
  std::size_t place = 0;
  for (std::size_t count = places.size(); count-- > 0;) place += std::exchange(places[count], place);
  std::vector<Node> order(metNodes.size());
  for (const Node node : metNodes) order[places[getNumKept(node)]++] = node;
  return order;
}

/// Lets the free neighbours of a node enter the queue in the order of their numbers, as far as the cluster has room.
void QUVENLevelComparison::addFreeNeighbours(Node node, std::vector<Node>& queue) {
  const std::size_t numBefore = queue.size();
  std::size_t size = numBefore;
  queue.resize(numBefore + getNumKept(node) + 1);
  for (std::size_t i = firstKept[node]; i < firstKept[node + 1]; ++i) {
    queue[size] = keptNeighbours[i];
    size += static_cast<std::size_t>(isTaken[keptNeighbours[i]] == 0);
  }
  const auto at = [&](std::size_t place) { return queue.begin() + static_cast<std::ptrdiff_t>(place); };
  const std::size_t newSize = std::min(static_cast<std::size_t>(settings.maxClusterSize), size);
  std::partial_sort(at(numBefore), at(newSize), at(size), [&](Node a, Node b) { return numberOf[a] < numberOf[b]; });
  queue.resize(newSize);
  for (std::size_t i = numBefore; i < newSize; ++i) isTaken[queue[i]] = 1;
}

/// The clusters that Graph::clusters makes of the kept pairs.
QUVENLevelComparison::Clusters QUVENLevelComparison::clustersAbove(double cutoff, QUVENLevelResult& result) {
  numberNodes(cutoff, result);
  keepNeighbours(cutoff);
  Clusters clusters;
  clusters.clusterOf.assign(degrees.size(), 0);
  clusters.sizes.assign(1, 0);
  std::fill(isTaken.begin(), isTaken.end(), std::uint8_t{0});
  const auto maxSize = static_cast<std::size_t>(settings.maxClusterSize);
  std::vector<Node> queue;
  for (const Node start : startOrder()) {
    if (isTaken[start] != 0) continue;
    queue.assign(1, start);
    isTaken[start] = 1;
    std::size_t numMembers = 0;
    do {
      const Node node = queue[numMembers++];
      if (queue.size() < maxSize) addFreeNeighbours(node, queue);
    } while (numMembers < queue.size());
    if (numMembers < 2) continue;
    const auto cluster = static_cast<std::int32_t>(clusters.sizes.size());
    for (std::size_t i = 0; i < numMembers; ++i) clusters.clusterOf[queue[i]] = cluster;
    clusters.sizes.push_back(static_cast<std::int32_t>(numMembers));
  }
  return clusters;
}

std::int32_t QUVENLevelComparison::bestCluster(std::int64_t row, const Clusters& clusters) {
  std::int32_t best = 0;
  std::int32_t bestCount = 0;
  for (const Node contact : rows.getContacts(row)) {
    const std::int32_t cluster = clusters.clusterOf[contact];
    if (cluster == 0) continue;
    const std::int32_t count = ++counts[static_cast<std::size_t>(cluster)];
    if (count == 1) touched.push_back(cluster);
    if (count <= bestCount) continue;
    best = cluster;
    bestCount = count;
  }
  for (const std::int32_t cluster : touched) counts[static_cast<std::size_t>(cluster)] = 0;
  touched.clear();
  return best;
}

/// One pass that connects callers outside to clusters. Returns whether one was connected.
bool QUVENLevelComparison::connect(Clusters& clusters) {
  struct Proposal {
    Node caller;
    std::int32_t cluster;
  };
  std::vector<Proposal> proposals;
  for (const std::int64_t row : rowsByCaller) {
    const Node caller = rows.getCaller(row);
    if (clusters.clusterOf[caller] != 0) continue;
    const std::int32_t cluster = bestCluster(row, clusters);
    if (cluster != 0) proposals.push_back({caller, cluster});
  }
  bool hasChanged = false;
  for (const Proposal& proposal : proposals) {
    std::int32_t& size = clusters.sizes[static_cast<std::size_t>(proposal.cluster)];
    if (size >= settings.maxClusterSize) continue;
    clusters.clusterOf[proposal.caller] = proposal.cluster;
    ++size;
    hasChanged = true;
  }
  return hasChanged;
}

void QUVENLevelComparison::dropIllegalSizes(Clusters& clusters) const {
  for (std::int32_t& cluster : clusters.clusterOf) {
    const std::int32_t size = clusters.sizes[static_cast<std::size_t>(cluster)];
    if (size < settings.minClusterSize || size > settings.maxClusterSize) cluster = 0;
  }
  for (std::int32_t& size : clusters.sizes) {
    if (size < settings.minClusterSize || size > settings.maxClusterSize) size = 0;
  }
}

void QUVENLevelComparison::judge(const Clusters& clusters, QUVENLevelResult& result) {
  std::uint64_t ownCalls = 0;  // of subscribers without a group to themselves
  std::vector<std::uint64_t> pairsInside(clusters.sizes.size());
  std::vector<Node> inside;  // the contacts of a row in the group of its caller
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const Node caller = rows.getCaller(row);
    const std::int32_t cluster = clusters.clusterOf[caller];
    const auto contacts = rows.getContacts(row);
    if (cluster == 0) {
      ownCalls += static_cast<std::uint64_t>(std::count(contacts.begin(), contacts.end(), caller));
      continue;
    }
    inside.resize(contacts.size() + 1);
    std::size_t numInside = 0;
    for (const Node contact : contacts) {
      inside[numInside] = contact;
      numInside += static_cast<std::size_t>(clusters.clusterOf[contact] == cluster);
    }
    result.callsInside += numInside;
    inside.resize(numInside);
    if (mayRepeat[static_cast<std::size_t>(row)]) {
      std::sort(inside.begin(), inside.end());
      inside.erase(std::unique(inside.begin(), inside.end()), inside.end());
    }
    const auto ownEntries = std::count(inside.begin(), inside.end(), caller);
    pairsInside[static_cast<std::size_t>(cluster)] += inside.size() - static_cast<std::size_t>(ownEntries);
  }

  std::vector<std::uint64_t> degreeSums(clusters.sizes.size());
  Wide squares = 0;
  for (std::size_t node = 1; node < degrees.size(); ++node) {
    const std::int32_t cluster = clusters.clusterOf[node];
    if (cluster == 0) {
      squares += static_cast<Wide>(degrees[node]) * degrees[node];
    } else {
      degreeSums[static_cast<std::size_t>(cluster)] += degrees[node];
    }
  }
  double sumOfDensities = 0;
  for (std::size_t cluster = 1; cluster < clusters.sizes.size(); ++cluster) {
    const auto size = static_cast<std::uint64_t>(clusters.sizes[cluster]);
    if (size == 0) continue;
    squares += static_cast<Wide>(degreeSums[cluster]) * degreeSums[cluster];
    ++result.groups;
    result.members += size;
    result.largest = std::max(result.largest, size);
    if (clusters.sizes[cluster] == settings.maxClusterSize) ++result.fullGroups;
    const auto n = static_cast<double>(size);
    if (size > 1) sumOfDensities += static_cast<double>(pairsInside[cluster]) / ((n - 1) * n);
  }
  const auto m = static_cast<double>(numEntries);
  if (result.groups != 0) result.meanDensity = sumOfDensities / static_cast<double>(result.groups);
  if (numEntries != 0) {
    result.callsInsideShare = static_cast<double>(result.callsInside) / m;
    result.modularity =
        static_cast<double>(result.callsInside + ownCalls) / m - static_cast<double>(squares) / (4 * m * m);
  }
  const std::int64_t numCallers = rows.getNumRows();
  if (numCallers != 0) result.coverage = static_cast<double>(result.members) / static_cast<double>(numCallers);
}

QUVENLevelResult QUVENLevelComparison::compare(double level) {
  QUVENLevelResult result;
  result.level = level;
  result.cutoff = cutoffAt(level);
  Clusters clusters = clustersAbove(result.cutoff, result);
  counts.assign(clusters.sizes.size(), 0);
  for (std::int32_t pass = 1; pass <= settings.numIterationsConnecting && connect(clusters); ++pass) continue;
  dropIllegalSizes(clusters);
  judge(clusters, result);
  return result;
}

void quvenWriteLevels(std::ostream& out, std::span<const QUVENLevelResult> levels, long chosenPlace) {
  const auto number = [](double value) {
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
  };
  out << "Level,Cutoff,KeptPairs,Groups,Members,Largest,FullGroups,CallsInside,CallsInsideShare,Coverage,Modularity,"
         "MeanDensity,Chosen\n";
  long place = 0;
  for (const QUVENLevelResult& level : levels) {
    out << number(level.level) << ',' << number(level.cutoff) << ',' << level.keptPairs << ',' << level.groups << ','
        << level.members << ',' << level.largest << ',' << level.fullGroups << ',' << level.callsInside << ','
        << number(level.callsInsideShare) << ',' << number(level.coverage) << ',' << number(level.modularity) << ','
        << number(level.meanDensity) << ',' << (place++ == chosenPlace ? 1 : 0) << '\n';
  }
}
