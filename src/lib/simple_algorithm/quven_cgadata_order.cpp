// The order of numbers: rank 0 sorts what the workers found, so that the results do not depend on their number.

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "simple_algorithm/quven_cgadata.h"
#include "util/quven_debug.h"

namespace {

using Pair = std::pair<std::uint64_t, std::uint64_t>;

/// A part of an array of results: those of one cluster.
struct Block {
  std::int32_t cluster;
  long first;  // from 1
  long size;
};

/// Puts the blocks of an array in another order.
template <class T>
void orderBlocks(QUVENXaRay<T>& array, const std::vector<Block>& blocks, const QUVENEnvHandle& env) {
  QUVENXaRay<T> ordered;
  ordered.setSize(array.getSize(), QUVEN_ENV);
  T* end = ordered.begin();
  for (const Block& block : blocks) {
    const T* const begin = array.begin() + (block.first - 1);
    end = std::copy(begin, begin + block.size, end);
  }
  array.swap(ordered);
  ordered.deleteMemory(QUVEN_ENV);
}

}  // namespace

void QUVENCGAData::orderPairs(Nodes& nodePairs) {
  std::vector<Pair> pairs;
  pairs.reserve(static_cast<std::size_t>(nodePairs.getSize() / 2));
  for (long i = 1; i < nodePairs.getSize(); i += 2) pairs.emplace_back(nodePairs[i], nodePairs[i + 1]);
  if (std::is_sorted(pairs.begin(), pairs.end())) return;
  std::sort(pairs.begin(), pairs.end());
  long i = 0;
  for (const Pair& pair : pairs) {
    nodePairs[++i] = pair.first;
    nodePairs[++i] = pair.second;
  }
}

void QUVENCGAData::orderProposals(const QUVENEnvHandle&) {
  struct Proposal {
    SampleNumber node;
    std::int32_t cluster;
  };
  std::vector<Proposal> proposals;
  proposals.reserve(static_cast<std::size_t>(ivNodesToConnect.getSize()));
  for (long i = 1; i <= ivNodesToConnect.getSize(); ++i) {
    proposals.push_back({ivNodesToConnect[i], ivClustersToConnectNodesTo[i]});
  }
  // A caller with two rows is on one rank, so its proposals come in the order of the rows.
  std::stable_sort(proposals.begin(), proposals.end(),
                   [](const Proposal& a, const Proposal& b) { return a.node < b.node; });
  long i = 0;
  for (const Proposal& proposal : proposals) {
    ivNodesToConnect[++i] = proposal.node;
    ivClustersToConnectNodesTo[i] = proposal.cluster;
  }
}

void QUVENCGAData::orderResults(const QUVENEnvHandle& env) {
  std::vector<Block> blocks;
  long first = 1;
  for (const std::int32_t size : ivCCNodesNum) {
    blocks.push_back({getCluster(ivCCNodesByPageRank.at(first)), first, size});
    first += size;
  }
  const auto isBefore = [](const Block& a, const Block& b) { return a.cluster < b.cluster; };
  if (std::is_sorted(blocks.begin(), blocks.end(), isBefore)) return;
  std::sort(blocks.begin(), blocks.end(), isBefore);
  orderBlocks(ivPageRanks, blocks, QUVEN_ENV);
  orderBlocks(ivPageRanksTransposed, blocks, QUVEN_ENV);
  orderBlocks(ivCCNodesByPageRank, blocks, QUVEN_ENV);
  orderBlocks(ivCCNodesByPageRankTransposed, blocks, QUVEN_ENV);
  orderBlocks(ivOutDegreesWeightedByPageRank, blocks, QUVEN_ENV);
  orderBlocks(ivInDegreesWeightedByPageRankTransposed, blocks, QUVEN_ENV);
  orderBlocks(ivCCOutDegrees, blocks, QUVEN_ENV);
  orderBlocks(ivCCInDegrees, blocks, QUVEN_ENV);
  long i = 0;
  for (const Block& block : blocks) ivCCNodesNum[++i] = static_cast<std::int32_t>(block.size);
}
