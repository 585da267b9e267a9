#include "same_groups.h"

#include <cmath>
#include <map>

#include "csv_rows.h"

namespace literal {

namespace {

enum Column : std::size_t {
  NodeNumber,
  GroupNumber,
  IsCoreNode,
  RankType1,
  RankOrderType1,
  RankType2,
  RankOrderType2,
  InDegree,
  OutDegree,
  WeightedInDegree,
  WeightedOutDegree,
  IsGroupLeaderType1,
  GroupLeaderType1Conf,
  IsGroupLeaderType2,
  GroupLeaderType2Conf
};

using Nodes = std::map<std::string, std::vector<std::string>>;

Nodes nodesOf(const std::string& csv) {
  Nodes nodes;
  for (const auto& row : fieldsOf(csv)) nodes[row.at(NodeNumber)] = row;
  return nodes;
}

bool near(const std::string& left, const std::string& right) {
  const double a = std::stod(left);
  const double b = std::stod(right);
  return std::fabs(a - b) <= 1e-5 * std::fmax(std::fabs(a), std::fabs(b));
}

/// The leader of each group, by number of the group.
std::map<std::string, std::string> leadersOf(const Nodes& nodes, Column mark) {
  std::map<std::string, std::string> leaders;
  for (const auto& [node, row] : nodes) {
    if (row.at(mark) == "1") leaders[row.at(GroupNumber)] = node;
  }
  return leaders;
}

std::string differenceOfLeaders(const Nodes& nodes, const Nodes& others, Column mark, Column rank) {
  const auto otherLeaders = leadersOf(others, mark);
  for (const auto& [group, leader] : leadersOf(nodes, mark)) {
    const auto& row = others.at(leader);
    const auto& otherLeader = others.at(otherLeaders.at(row.at(GroupNumber)));
    if (!near(row.at(rank), otherLeader.at(rank))) return "leader " + leader + " of group " + group;
    if (!near(nodes.at(leader).at(mark + 1), otherLeader.at(mark + 1))) return "confidence of leader " + leader;
  }
  return "";
}

}  // namespace

std::string differenceOfGroups(const std::string& nodesCsv, const std::string& otherNodesCsv) {
  const Nodes nodes = nodesOf(nodesCsv);
  const Nodes others = nodesOf(otherNodesCsv);
  if (nodes.size() != others.size()) return "number of nodes";
  std::map<std::string, std::string> forth;
  std::map<std::string, std::string> back;
  for (const auto& [node, row] : nodes) {
    const auto found = others.find(node);
    if (found == others.end()) return "node " + node;
    const auto& other = found->second;
    if (forth.emplace(row[GroupNumber], other[GroupNumber]).first->second != other[GroupNumber] ||
        back.emplace(other[GroupNumber], row[GroupNumber]).first->second != row[GroupNumber]) {
      return "group of node " + node;
    }
    for (const Column column : {IsCoreNode, InDegree, OutDegree}) {
      if (row.at(column) != other.at(column)) return "column " + std::to_string(column) + " of node " + node;
    }
    for (const Column column : {RankType1, RankType2, WeightedInDegree, WeightedOutDegree}) {
      if (!near(row.at(column), other.at(column))) return "column " + std::to_string(column) + " of node " + node;
    }
  }
  const std::string found = differenceOfLeaders(nodes, others, IsGroupLeaderType1, RankType1);
  return found.empty() ? differenceOfLeaders(nodes, others, IsGroupLeaderType2, RankType2) : found;
}

}  // namespace literal
