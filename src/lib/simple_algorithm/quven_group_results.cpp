#include "simple_algorithm/quven_group_results.h"

#include <algorithm>
#include <map>
#include <ostream>

namespace {

/// What a row says of one member.
struct Member {
  std::int32_t iteration = 0;
  double rank1 = 0;
  std::size_t order1 = 0;
  double rank2 = 0;
  std::size_t order2 = 0;
  std::int32_t inDegree = 0;
  std::int32_t outDegree = 0;
  double weightedInDegree = 0;
  double weightedOutDegree = 0;
};

std::map<std::uint64_t, Member> membersOf(const QUVENGroup& group) {
  std::map<std::uint64_t, Member> members;
  for (std::size_t k = 0; k < group.getSize(); ++k) {
    Member& a = members[group.asItStands.nodes[k]];
    a.iteration = group.iterations[k];
    a.rank1 = group.asItStands.ranks[k];
    a.order1 = k + 1;
    a.outDegree = group.asItStands.degrees[k];
    a.weightedOutDegree = group.asItStands.weightedDegrees[k];
    Member& b = members[group.linksReversed.nodes[k]];
    b.rank2 = group.linksReversed.ranks[k];
    b.order2 = k + 1;
    b.inDegree = group.linksReversed.degrees[k];
    b.weightedInDegree = group.linksReversed.weightedDegrees[k];
  }
  return members;
}

/// The leader of a ranking has the first place; how sure that is, says its rank over the smallest.
double confidence(std::size_t order, double rank, const QUVENGroupRanking& ranking) {
  constexpr double againstZero = 1e-7;
  return order == 1 ? rank / (ranking.ranks.back() + againstZero) : 0;
}

void writeRatio(std::ostream& out, const QUVENGroupRanking& ranking) {
  if (ranking.ranks.back() == 0) {
    out << "Inf";
  } else {
    out << ranking.ranks.front() / ranking.ranks.back();
  }
}

class Tags {
 public:
  Tags(std::ostream& stream, const std::string& tagPrefix) : out(stream), prefix(tagPrefix) {}

  void start(const char* name) { out << '<' << prefix << name << '>'; }
  void end(const char* name) { out << "</" << prefix << name << ">\n"; }
  template <class T>
  void leaf(const char* name, const T& value) {
    start(name);
    out << value;
    end(name);
  }
  template <class T>
  void list(const char* name, const std::vector<T>& values) {
    start(name);
    const char* separator = "";
    for (const T& value : values) {
      out << separator << value;
      separator = " ";
    }
    end(name);
  }
  void ranking(const char* largest, const char* smallest, const char* ratio, const QUVENGroupRanking& values) {
    leaf(largest, values.ranks.front());
    leaf(smallest, values.ranks.back());
    start(ratio);
    writeRatio(out, values);
    end(ratio);
  }

 private:
  std::ostream& out;
  const std::string& prefix;
};

}  // namespace

double QUVENGroup::getCoreNodesFraction() const {
  const auto numCore = std::count(iterations.begin(), iterations.end(), 0);
  return static_cast<double>(numCore) / static_cast<double>(iterations.size());
}

void quvenWriteClusterHeader(std::ostream& out) {
  out << "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1,MinRankType1,MaxMinRankRatioType1,"
         "MaxRankLinksType2,MinRankLinksType2,MaxMinRankRatioLinksType2\n";
}

void quvenWriteNodeHeader(std::ostream& out) { out << quvenNodeFileHeader << '\n'; }

void quvenWriteCluster(std::ostream& out, const QUVENGroup& group) {
  out << group.number << ',' << group.getSize() << ',' << group.density << ',' << group.kernelDensity << ','
      << group.getCoreNodesFraction();
  for (const QUVENGroupRanking* ranking : {&group.asItStands, &group.linksReversed}) {
    out << ',' << ranking->ranks.front() << ',' << ranking->ranks.back() << ',';
    writeRatio(out, *ranking);
  }
  out << '\n';
}

void quvenWriteNodes(std::ostream& out, const QUVENGroup& group) {
  for (const auto& [node, member] : membersOf(group)) {
    out << node << ',' << group.number << ',' << (member.iteration == 0) << ',' << member.rank1 << ',' << member.order1
        << ',' << member.rank2 << ',' << member.order2 << ',' << member.inDegree << ',' << member.outDegree << ','
        << member.weightedInDegree << ',' << member.weightedOutDegree << ',' << (member.order1 == 1) << ','
        << confidence(member.order1, member.rank1, group.asItStands) << ',' << (member.order2 == 1) << ','
        << confidence(member.order2, member.rank2, group.linksReversed) << '\n';
  }
}

void quvenWriteTaggedStart(std::ostream& out, const std::string& tagPrefix, const std::string& outputNamespace) {
  out << '<' << tagPrefix << "CGA-Output " << outputNamespace << " >\n";
}

void quvenWriteTaggedCluster(std::ostream& out, const QUVENGroup& group, const std::string& tagPrefix,
                             QUVENGroupFormat format) {
  Tags tags(out, tagPrefix);
  tags.start("Cluster");
  out << '\n';
  tags.leaf("Number", group.number);
  tags.leaf("Size", group.getSize());
  tags.leaf("Density", group.density);
  tags.leaf("KernelDensity", group.kernelDensity);
  tags.leaf("CoreNodesFraction", group.getCoreNodesFraction());
  tags.ranking("MaxRank", "MinRank", "MaxMinRankRatio", group.asItStands);
  tags.ranking("MaxRankLinksReversed", "MinRankLinksReversed", "MaxMinRankRatioLinksReversed", group.linksReversed);
  if (format == QUVENGroupFormat::Compact) {
    tags.list("Nodes", group.asItStands.nodes);
    tags.list("NodesLinksReversed", group.linksReversed.nodes);
    tags.list("Ranks", group.asItStands.ranks);
    tags.list("RanksLinksReversed", group.linksReversed.ranks);
    tags.list("Iterations", group.iterations);
  } else {
    tags.start("Nodes");
    out << '\n';
    for (const auto& [node, member] : membersOf(group)) {
      tags.start("Node");
      out << '\n';
      tags.leaf("Number", node);
      tags.leaf("Rank", member.rank1);
      tags.leaf("RankLinksReversed", member.rank2);
      tags.leaf("RankOrder", member.order1);
      tags.leaf("RankOrderLinksReversed", member.order2);
      tags.leaf("Iteration", member.iteration);
      tags.end("Node");
    }
    tags.end("Nodes");
  }
  tags.end("Cluster");
}

void quvenWriteTaggedEnd(std::ostream& out, const std::string& tagPrefix) {
  out << "</" << tagPrefix << "CGA-Output>\n";
}
