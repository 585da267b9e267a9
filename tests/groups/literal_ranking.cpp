#include "literal_ranking.h"

#include <locale>
#include <sstream>

namespace literal {

namespace {

std::vector<RankedNode> rankOne(const Successors& successors, const std::vector<std::uint64_t>& nodes) {
  const std::vector<double> ranks = pageRank(successors, 10, 0.1, 0.15);
  std::map<double, std::vector<std::size_t>, std::greater<>> byRank;
  for (std::size_t i = 0; i < ranks.size(); ++i) byRank[ranks[i]].push_back(i);
  std::vector<RankedNode> ranked;
  for (const auto& [rank, group] : byRank) {
    for (const std::size_t i : group) {
      double sum = 0;
      for (const std::size_t successor : successors[i]) sum += ranks[successor];
      ranked.push_back({nodes[i], rank, static_cast<int>(successors[i].size()), sum});
    }
  }
  return ranked;
}

std::ostringstream row() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  return text;
}

std::string ratioText(double greatest, double least) {
  if (least == 0) return "Inf";
  std::ostringstream text = row();
  text << greatest / least;
  return text.str();
}

}  // namespace

RankedCluster rankCluster(const NodePairs& edges) {
  std::map<std::uint64_t, std::size_t> compact;
  std::vector<std::uint64_t> nodes;
  const auto numberOf = [&](std::uint64_t node) {
    const auto [entry, isNew] = compact.emplace(node, nodes.size());
    if (isNew) nodes.push_back(node);
    return entry->second;
  };
  std::vector<NodeEdge> compactEdges;
  for (const auto& [caller, callee] : edges) {
    const std::size_t first = numberOf(caller);
    compactEdges.emplace_back(first, numberOf(callee));
  }
  const Successors successors = successorsOf(nodes.size(), compactEdges);
  return {rankOne(successors, nodes), rankOne(transposed(successors), nodes)};
}

std::vector<RankedCluster> analyzeClusters(const std::vector<NodePairs>& clusterEdges, int numWorkers) {
  std::vector<RankedCluster> results;
  for (int rank = 0; rank < numWorkers; ++rank) {
    for (std::size_t i = 1; i <= clusterEdges.size(); ++i) {
      if (i % static_cast<std::size_t>(numWorkers) != static_cast<std::size_t>(rank)) continue;
      results.push_back(rankCluster(clusterEdges[i - 1]));
    }
  }
  return results;
}

std::string clustersHeader() {
  return "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1,MinRankType1,MaxMinRankRatioType1,"
         "MaxRankLinksType2,MinRankLinksType2,MaxMinRankRatioLinksType2\n";
}

std::string nodesHeader() {
  return "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
         "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
         "GroupLeaderType2Conf\n";
}

std::string clusterRow(int group, const RankedCluster& cluster, const ClusterNumbers& numbers,
                       const std::map<std::uint64_t, int>& nodeToIteration) {
  const std::size_t n = cluster.asItStands.size();
  int coreNodes = 0;
  for (const RankedNode& node : cluster.asItStands) {
    if (nodeToIteration.at(node.node) == 0) ++coreNodes;
  }
  std::ostringstream text = row();
  text << group << ',' << n << ',' << numbers.density << ',' << numbers.kernelDensity << ','
       << static_cast<double>(coreNodes) / static_cast<double>(n);
  for (const auto* ranking : {&cluster.asItStands, &cluster.reversed}) {
    const double greatest = ranking->front().rank;
    const double least = ranking->back().rank;
    text << ',' << greatest << ',' << least << ',' << ratioText(greatest, least);
  }
  text << '\n';
  return text.str();
}

std::string nodeRows(int group, const RankedCluster& cluster, const std::map<std::uint64_t, int>& nodeToIteration) {
  struct Member {
    RankedNode type1;
    RankedNode type2;
    std::size_t order1;
    std::size_t order2;
  };
  std::map<std::uint64_t, Member> members;
  for (std::size_t k = 1; k <= cluster.asItStands.size(); ++k) {
    const RankedNode& a = cluster.asItStands[k - 1];
    members[a.node].type1 = a;
    members[a.node].order1 = k;
    const RankedNode& b = cluster.reversed[k - 1];
    members[b.node].type2 = b;
    members[b.node].order2 = k;
  }
  const double least1 = cluster.asItStands.back().rank;
  const double least2 = cluster.reversed.back().rank;
  std::ostringstream text = row();
  for (const auto& [node, member] : members) {
    const bool leads1 = member.order1 == 1;
    const bool leads2 = member.order2 == 1;
    text << node << ',' << group << ',' << (nodeToIteration.at(node) == 0) << ',' << member.type1.rank << ','
         << member.order1 << ',' << member.type2.rank << ',' << member.order2 << ',' << member.type2.degree << ','
         << member.type1.degree << ',' << member.type2.weightedDegree << ',' << member.type1.weightedDegree << ','
         << leads1 << ',' << (leads1 ? member.type1.rank / (least1 + 1e-7) : 0) << ',' << leads2 << ','
         << (leads2 ? member.type2.rank / (least2 + 1e-7) : 0) << '\n';
  }
  return text.str();
}

}  // namespace literal
