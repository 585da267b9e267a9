#include "simple_algorithm/quven_group_results.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

namespace {

/// Three members: 30 leads by the calls as they stand, 10 with the links reversed; 20 was connected in pass 2.
QUVENGroup someGroup() {
  QUVENGroup group;
  group.number = 7;
  group.density = 0.5;
  group.kernelDensity = 1;
  group.asItStands = {{30, 10, 20}, {0.6, 0.3, 0.15}, {0, 2, 1}, {0, 0.75, 0.6}};
  group.linksReversed = {{10, 20, 30}, {0.5, 0.25, 0.125}, {1, 0, 2}, {0.25, 0, 0.75}};
  group.iterations = {0, 0, 2};
  return group;
}

/// The same with a smallest rank of exactly 0 in both rankings.
QUVENGroup groupWithZeroRanks() {
  QUVENGroup group = someGroup();
  group.asItStands.ranks.back() = 0;
  group.linksReversed.ranks.back() = 0;
  return group;
}

template <class Write, class... Arguments>
std::string textOf(Write write, const Arguments&... arguments) {
  std::ostringstream out;
  write(out, arguments...);
  return out.str();
}

TEST(QUVENGroupResults, HeadersAsTheyStand) {
  EXPECT_EQ(textOf(quvenWriteClusterHeader),
            "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1,MinRankType1,MaxMinRankRatioType1,"
            "MaxRankLinksType2,MinRankLinksType2,MaxMinRankRatioLinksType2\n");
  EXPECT_EQ(textOf(quvenWriteNodeHeader),
            "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
            "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
            "GroupLeaderType2Conf\n");
}

TEST(QUVENGroupResults, ARowForAGroup) {
  EXPECT_EQ(textOf(quvenWriteCluster, someGroup()), "7,3,0.5,1,0.666667,0.6,0.15,4,0.5,0.125,4\n");
}

TEST(QUVENGroupResults, ARatioWithZeroIsInf) {
  EXPECT_EQ(textOf(quvenWriteCluster, groupWithZeroRanks()), "7,3,0.5,1,0.666667,0.6,0,Inf,0.5,0,Inf\n");
  QUVENGroup group = someGroup();
  group.linksReversed.ranks.back() = 0;
  EXPECT_EQ(textOf(quvenWriteCluster, group), "7,3,0.5,1,0.666667,0.6,0.15,4,0.5,0,Inf\n");
}

/// By number, with the data of both rankings; the confidences are 0.6 / 0.1500001 and 0.5 / 0.1250001.
TEST(QUVENGroupResults, ARowForAMember) {
  EXPECT_EQ(textOf(quvenWriteNodes, someGroup()),
            "10,7,1,0.3,2,0.5,1,1,2,0.25,0.75,0,0,1,4\n"
            "20,7,0,0.15,3,0.25,2,0,1,0,0.6,0,0,0,0\n"
            "30,7,1,0.6,1,0.125,3,2,0,0.75,0,1,4,0,0\n");
}

/// 1e-7 keeps the confidence finite: 0.6 and 0.5 over it.
TEST(QUVENGroupResults, TheConfidenceOfALeaderIsFinite) {
  const std::string rows = textOf(quvenWriteNodes, groupWithZeroRanks());
  EXPECT_NE(rows.find("30,7,1,0.6,1,0,3,2,0,0.75,0,1,6e+06,0,0\n"), std::string::npos) << rows;
  EXPECT_NE(rows.find("10,7,1,0.3,2,0.5,1,1,2,0.25,0.75,0,0,1,5e+06\n"), std::string::npos) << rows;
}

/// A number as a stream writes it by default.
std::string streamed(double number) {
  std::ostringstream out;
  out << number;
  return out.str();
}

/// Numbers of any size, those that are rounded to a power of ten, and those that are none.
TEST(QUVENGroupResults, NumbersAreThoseOfAStream) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  std::vector<double> numbers = {0.0,
                                 -0.0,
                                 1.0,
                                 999999.0,
                                 999999.4,
                                 999999.5,
                                 1e6,
                                 0.0001,
                                 0.000099999949,
                                 0.5,
                                 1234565.0,
                                 0.1234565,
                                 2.5e-7,
                                 infinity,
                                 -infinity,
                                 std::nan(""),
                                 -std::nan(""),
                                 std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::lowest(),
                                 std::numeric_limits<double>::denorm_min(),
                                 std::numeric_limits<double>::min()};
  std::mt19937_64 random(5);
  for (int i = 0; i < 20000; ++i) {
    numbers.push_back(std::bit_cast<double>(random()));
    numbers.push_back(static_cast<double>(random() % 20000001) / 1e7);
    numbers.push_back(static_cast<double>(random() % 4000001) * 0.5);
  }
  QUVENGroup group = someGroup();
  for (const double number : numbers) {
    group.density = number;
    group.asItStands.ranks = {number, number, 1};
    const std::string text = streamed(number);
    ASSERT_EQ(textOf(quvenWriteCluster, group),
              "7,3," + text + ",1,0.666667," + text + ",1," + text + ",0.5,0.125,4\n");
    const std::string rows = textOf(quvenWriteNodes, group);
    ASSERT_EQ(rows.substr(0, rows.find('\n')), "10,7,1," + text + ",2,0.5,1,1,2,0.25,0.75,0,0,1,4");
    const std::string tagged = textOf(quvenWriteTaggedCluster, group, std::string("x"), QUVENGroupFormat::Compact);
    ASSERT_NE(tagged.find("<xDensity>" + text + "</xDensity>\n"), std::string::npos) << tagged;
    ASSERT_NE(tagged.find("<xRanks>" + text + " " + text + " 1</xRanks>\n"), std::string::npos) << tagged;
  }
}

TEST(QUVENGroupResults, CoreNodesAreThoseOfIterationZero) {
  QUVENGroup group = someGroup();
  EXPECT_DOUBLE_EQ(group.getCoreNodesFraction(), 2.0 / 3);
  group.iterations = {1, 3, 2};
  EXPECT_EQ(group.getCoreNodesFraction(), 0);
  group.iterations = {0, 0, 0};
  EXPECT_EQ(group.getCoreNodesFraction(), 1);
}

TEST(QUVENGroupResults, TaggedTextHasTheseEnds) {
  EXPECT_EQ(textOf(quvenWriteTaggedStart, std::string("x:"), std::string("xmlns:x=\"urn:groups\"")),
            "<x:CGA-Output xmlns:x=\"urn:groups\" >\n");
  EXPECT_EQ(textOf(quvenWriteTaggedStart, std::string(), std::string()), "<CGA-Output  >\n");
  EXPECT_EQ(textOf(quvenWriteTaggedEnd, std::string("x:")), "</x:CGA-Output>\n");
}

constexpr const char* summary =
    "<x:Cluster>\n"
    "<x:Number>7</x:Number>\n"
    "<x:Size>3</x:Size>\n"
    "<x:Density>0.5</x:Density>\n"
    "<x:KernelDensity>1</x:KernelDensity>\n"
    "<x:CoreNodesFraction>0.666667</x:CoreNodesFraction>\n"
    "<x:MaxRank>0.6</x:MaxRank>\n"
    "<x:MinRank>0.15</x:MinRank>\n"
    "<x:MaxMinRankRatio>4</x:MaxMinRankRatio>\n"
    "<x:MaxRankLinksReversed>0.5</x:MaxRankLinksReversed>\n"
    "<x:MinRankLinksReversed>0.125</x:MinRankLinksReversed>\n"
    "<x:MaxMinRankRatioLinksReversed>4</x:MaxMinRankRatioLinksReversed>\n";

TEST(QUVENGroupResults, TheCompactFormListsTheBlocks) {
  EXPECT_EQ(textOf(quvenWriteTaggedCluster, someGroup(), std::string("x:"), QUVENGroupFormat::Compact),
            summary + std::string("<x:Nodes>30 10 20</x:Nodes>\n"
                                  "<x:NodesLinksReversed>10 20 30</x:NodesLinksReversed>\n"
                                  "<x:Ranks>0.6 0.3 0.15</x:Ranks>\n"
                                  "<x:RanksLinksReversed>0.5 0.25 0.125</x:RanksLinksReversed>\n"
                                  "<x:Iterations>0 0 2</x:Iterations>\n"
                                  "</x:Cluster>\n"));
}

TEST(QUVENGroupResults, TheNormalFormHasANodeForEachMember) {
  const auto node = [](const char* number, const char* rank, const char* reversed, int order, int orderReversed,
                       int iteration) {
    return std::string("<x:Node>\n<x:Number>") + number + "</x:Number>\n<x:Rank>" + rank +
           "</x:Rank>\n<x:RankLinksReversed>" + reversed + "</x:RankLinksReversed>\n<x:RankOrder>" +
           std::to_string(order) + "</x:RankOrder>\n<x:RankOrderLinksReversed>" + std::to_string(orderReversed) +
           "</x:RankOrderLinksReversed>\n<x:Iteration>" + std::to_string(iteration) + "</x:Iteration>\n</x:Node>\n";
  };
  EXPECT_EQ(textOf(quvenWriteTaggedCluster, someGroup(), std::string("x:"), QUVENGroupFormat::Normal),
            summary + ("<x:Nodes>\n" + node("10", "0.3", "0.5", 2, 1, 0) + node("20", "0.15", "0.25", 3, 2, 2) +
                       node("30", "0.6", "0.125", 1, 3, 0) + "</x:Nodes>\n</x:Cluster>\n"));
}

TEST(QUVENGroupResults, ATaggedRatioWithZeroIsInf) {
  const std::string text =
      textOf(quvenWriteTaggedCluster, groupWithZeroRanks(), std::string(), QUVENGroupFormat::Compact);
  EXPECT_NE(text.find("<MaxMinRankRatio>Inf</MaxMinRankRatio>\n"), std::string::npos);
  EXPECT_NE(text.find("<MaxMinRankRatioLinksReversed>Inf</MaxMinRankRatioLinksReversed>\n"), std::string::npos);
}

}  // namespace
