#ifndef QUVEN_GROUP_RESULTS_H
#define QUVEN_GROUP_RESULTS_H

// The results of a group analysis, group by group, and the forms in which they are written.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

/// What a ranking says of a group, by the order of the ranks.
struct QUVENGroupRanking {
  std::vector<std::uint64_t> nodes;  ///< largest rank first
  std::vector<double> ranks;
  std::vector<std::int32_t> degrees;
  std::vector<double> weightedDegrees;  ///< the sum of the ranks of the neighbours
};

/// One group with its members.
struct QUVENGroup {
  long number = 0;
  double density = 0;
  double kernelDensity = 0;
  QUVENGroupRanking asItStands;          ///< type 1: degrees are those of outgoing links
  QUVENGroupRanking linksReversed;       ///< type 2: of exactly the same nodes; degrees are those of incoming links
  std::vector<std::int32_t> iterations;  ///< in the order of type 1: in which a node was connected; 0 for a core node

  std::size_t getSize() const { return asItStands.nodes.size(); }
  double getCoreNodesFraction() const;
};

/// The head line of the nodes file, without its line break.
inline constexpr const char* quvenNodeFileHeader =
    "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
    "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
    "GroupLeaderType2Conf";

/// The header lines of the two files.
void quvenWriteClusterHeader(std::ostream& out);
void quvenWriteNodeHeader(std::ostream& out);
/// The row of a group.
void quvenWriteCluster(std::ostream& out, const QUVENGroup& group);
/// The rows of its members, in ascending order of their numbers.
void quvenWriteNodes(std::ostream& out, const QUVENGroup& group);

/// How a tagged file lists the members.
enum class QUVENGroupFormat : std::int32_t { Compact = 0, Normal = 1, Csv = 2 };

void quvenWriteTaggedStart(std::ostream& out, const std::string& tagPrefix, const std::string& outputNamespace);
/// Requires: another format than Csv.
void quvenWriteTaggedCluster(std::ostream& out, const QUVENGroup& group, const std::string& tagPrefix,
                             QUVENGroupFormat format);
void quvenWriteTaggedEnd(std::ostream& out, const std::string& tagPrefix);

#endif  // QUVEN_GROUP_RESULTS_H
