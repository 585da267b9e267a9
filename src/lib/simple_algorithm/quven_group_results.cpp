#include "simple_algorithm/quven_group_results.h"

#include <algorithm>
#include <charconv>
#include <concepts>
#include <ostream>
#include <string_view>

namespace {

/// The text of a group, formatted as a whole and written at once.
class Text {
 public:
  template <std::integral Integer>
  Text& add(Integer value) {
    if constexpr (std::same_as<Integer, bool>) {
      return add(value ? '1' : '0');
    } else {
      return addNumber(value);
    }
  }
  Text& add(double value) {
    constexpr int digits = 6;  // the default precision of a stream, which the files have
    return addNumber(value, std::chars_format::general, digits);
  }
  Text& add(char character) {
    text.push_back(character);
    return *this;
  }
  Text& add(std::string_view more) {
    text.append(more);
    return *this;
  }
  void write(std::ostream& out) const { out.write(text.data(), static_cast<std::streamsize>(text.size())); }

 private:
  template <class Number, class... Format>
  Text& addNumber(Number value, Format... format) {
    char number[32];  // an integer has at most 20 characters, a double of six digits at most 13
    text.append(number, std::to_chars(number, number + sizeof number, value, format...).ptr);
    return *this;
  }

  std::string text;
};

/// What a row says of one member.
struct Member {
  std::uint64_t node = 0;
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

/// The places of a ranking, from 0, in ascending order of their nodes.
std::vector<std::size_t> placesByNode(const QUVENGroupRanking& ranking) {
  std::vector<std::size_t> places(ranking.nodes.size());
  for (std::size_t k = 0; k < places.size(); ++k) places[k] = k;
  std::sort(places.begin(), places.end(),
            [&](std::size_t a, std::size_t b) { return ranking.nodes[a] < ranking.nodes[b]; });
  return places;
}

/// The members in ascending order of their numbers.
std::vector<Member> membersOf(const QUVENGroup& group) {
  const std::vector<std::size_t> places1 = placesByNode(group.asItStands);
  const std::vector<std::size_t> places2 = placesByNode(group.linksReversed);
  std::vector<Member> members(group.getSize());
  for (std::size_t i = 0; i < members.size(); ++i) {
    Member& member = members[i];
    const std::size_t a = places1[i];
    member.node = group.asItStands.nodes[a];
    member.iteration = group.iterations[a];
    member.rank1 = group.asItStands.ranks[a];
    member.order1 = a + 1;
    member.outDegree = group.asItStands.degrees[a];
    member.weightedOutDegree = group.asItStands.weightedDegrees[a];
    const std::size_t b = places2[i];  // of the same node: both rankings have the same nodes
    member.rank2 = group.linksReversed.ranks[b];
    member.order2 = b + 1;
    member.inDegree = group.linksReversed.degrees[b];
    member.weightedInDegree = group.linksReversed.weightedDegrees[b];
  }
  return members;
}

/// The leader of a ranking has the first place; how sure that is, says its rank over the smallest.
double confidence(std::size_t order, double rank, const QUVENGroupRanking& ranking) {
  constexpr double againstZero = 1e-7;
  return order == 1 ? rank / (ranking.ranks.back() + againstZero) : 0;
}

void addRatio(Text& text, const QUVENGroupRanking& ranking) {
  if (ranking.ranks.back() == 0) {
    text.add("Inf");
  } else {
    text.add(ranking.ranks.front() / ranking.ranks.back());
  }
}

class Tags {
 public:
  Tags(Text& itsText, const std::string& tagPrefix) : text(itsText), prefix(tagPrefix) {}

  void start(const char* name) { text.add('<').add(prefix).add(name).add('>'); }
  void end(const char* name) { text.add("</").add(prefix).add(name).add(">\n"); }
  template <class T>
  void leaf(const char* name, const T& value) {
    start(name);
    text.add(value);
    end(name);
  }
  template <class T>
  void list(const char* name, const std::vector<T>& values) {
    start(name);
    const char* separator = "";
    for (const T& value : values) {
      text.add(separator).add(value);
      separator = " ";
    }
    end(name);
  }
  void ranking(const char* largest, const char* smallest, const char* ratio, const QUVENGroupRanking& values) {
    leaf(largest, values.ranks.front());
    leaf(smallest, values.ranks.back());
    start(ratio);
    addRatio(text, values);
    end(ratio);
  }

 private:
  Text& text;
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
  Text row;
  row.add(group.number).add(',').add(group.getSize()).add(',').add(group.density).add(',').add(group.kernelDensity);
  row.add(',').add(group.getCoreNodesFraction());
  for (const QUVENGroupRanking* ranking : {&group.asItStands, &group.linksReversed}) {
    row.add(',').add(ranking->ranks.front()).add(',').add(ranking->ranks.back()).add(',');
    addRatio(row, *ranking);
  }
  row.add('\n').write(out);
}

void quvenWriteNodes(std::ostream& out, const QUVENGroup& group) {
  Text rows;
  for (const Member& member : membersOf(group)) {
    rows.add(member.node).add(',').add(group.number).add(',').add(member.iteration == 0).add(',');
    rows.add(member.rank1).add(',').add(member.order1).add(',').add(member.rank2).add(',').add(member.order2).add(',');
    rows.add(member.inDegree).add(',').add(member.outDegree).add(',');
    rows.add(member.weightedInDegree).add(',').add(member.weightedOutDegree).add(',');
    rows.add(member.order1 == 1).add(',').add(confidence(member.order1, member.rank1, group.asItStands)).add(',');
    rows.add(member.order2 == 1).add(',').add(confidence(member.order2, member.rank2, group.linksReversed)).add('\n');
  }
  rows.write(out);
}

void quvenWriteTaggedStart(std::ostream& out, const std::string& tagPrefix, const std::string& outputNamespace) {
  out << '<' << tagPrefix << "CGA-Output " << outputNamespace << " >\n";
}

void quvenWriteTaggedCluster(std::ostream& out, const QUVENGroup& group, const std::string& tagPrefix,
                             QUVENGroupFormat format) {
  Text text;
  Tags tags(text, tagPrefix);
  tags.start("Cluster");
  text.add('\n');
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
    text.add('\n');
    for (const Member& member : membersOf(group)) {
      tags.start("Node");
      text.add('\n');
      tags.leaf("Number", member.node);
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
  text.write(out);
}

void quvenWriteTaggedEnd(std::ostream& out, const std::string& tagPrefix) {
  out << "</" << tagPrefix << "CGA-Output>\n";
}
