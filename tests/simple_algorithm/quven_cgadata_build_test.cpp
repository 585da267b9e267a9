// From pairs to final clusters: connecting, slices, edges.

#include <cmath>
#include <limits>

#include "group_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class QUVENCGADataBuild : public GroupTest {
 protected:
  /// Two clusters: 1 of 1, 2, 3 and 2 of 11, 12, 13.
  static std::string twoClusters() { return "1,2,0\n2,3,0\n11,12,0\n12,13,0\n"; }

  std::string sizes(const Data& data) {
    std::ostringstream text;
    for (const std::int32_t size : data->getClusterSizes()) text << ' ' << size;
    return text.str();
  }

  /// The cluster to which 9 is connected by its row, or 0.
  std::int32_t clusterFor(const Contacts& contacts) {
    Data data = connecting(twoClusters());
    pass(data, {{9, contacts}});
    const std::int32_t cluster = data->getCluster(9);
    EXPECT_EQ(sizes(data), cluster == 0 ? " 3 3" : cluster == 1 ? " 4 3" : " 3 4");
    QUVEN_DELETE(data);
    return cluster;
  }

  /// The edges of one row in the first slice, flat.
  std::string edgesOf(std::uint64_t caller, const Contacts& contacts) {
    Data data = connecting(twoClusters());
    pass(data, {});
    run = capturedRun([&] { scan(*data, {{caller, contacts}}); });
    std::string edges = member(data, "ivCCEdges");
    QUVEN_DELETE(data);
    return edges;
  }

  /// The slices of a run over n clusters of two.
  std::string slicesOf(int n) {
    std::string values;
    Rows rows;
    for (int i = 1; i <= n; ++i) {
      values += std::to_string(10 * i) + "," + std::to_string(10 * i + 1) + ",0\n";
      rows.push_back({static_cast<std::uint64_t>(10 * i), {10.0 * i + 1}});
    }
    return slicesOf(values, rows);
  }
  std::string slicesOf(const std::string& values, const Rows& rows) {
    Data data = connecting(values);
    std::ostringstream slices;
    for (int i = 0; i < 100 && data->getState() != QUVENCGAData::AnalysisDone; ++i) {
      if (data->getState() == QUVENCGAData::CollectingClusterEdges) slices << ' ' << slice(data);
      pass(data, rows);
    }
    EXPECT_EQ(data->getState(), QUVENCGAData::AnalysisDone);
    QUVEN_DELETE(data);
    return slices.str();
  }
};

TEST_F(QUVENCGADataBuild, PairsBecomeClusters) {
  // 4 has three neighbours and starts; of them it takes the one that was met first. 1 and 3 have nobody left.
  tags["MaxClusterSize"] = "2";
  Data data = connecting("1,2,0\n4,3,0\n4,2,0\n4,1,0\n7,7,0\n2,4,9\n");
  EXPECT_EQ(sizes(data), " 2");
  EXPECT_EQ(data->getCluster(4), 1);
  EXPECT_EQ(data->getCluster(2), 1);
  EXPECT_EQ(data->getCluster(1), 0);
  QUVEN_DELETE(data);
}

/// Of each pair the second node is met first: of equal degrees 2 starts, and not 1.
TEST_F(QUVENCGADataBuild, TheSecondNodeOfAPairIsMetFirst) {
  tags["MaxClusterSize"] = "2";
  // A ring 1 2 3 4, so all degrees are 2. Met in the order 2, 1, 3, 4: 2 starts and takes 1.
  Data data = connecting("1,2,0\n2,3,0\n3,4,0\n4,1,0\n");
  EXPECT_EQ(member(data, "ivNodesBuffer"), "[4] 1 2 3 4");
  EXPECT_EQ(member(data, "ivCCBuffer"), "[4] 1 1 2 2");
  QUVEN_DELETE(data);
  // Met in the order 2, 1, 3, 4 again, but the ring is 1 2 4 3: 2 takes 1 before 4.
  data = connecting("1,2,0\n1,3,0\n3,4,0\n4,2,0\n");
  EXPECT_EQ(member(data, "ivCCBuffer"), "[4] 1 1 2 2");
  QUVEN_DELETE(data);
  // Met in the order 1, 2, 3, 4 with the same ring: 1 takes 2.
  data = connecting("2,1,0\n3,1,0\n4,3,0\n2,4,0\n");
  EXPECT_EQ(member(data, "ivCCBuffer"), "[4] 1 1 2 2");
  QUVEN_DELETE(data);
  // Met in the order 4, 1, 3, 2, ring 1 4 2 3: 4 takes 1, 3 takes 2.
  data = connecting("1,4,0\n1,3,0\n3,2,0\n2,4,0\n");
  EXPECT_EQ(member(data, "ivNodesBuffer"), "[4] 1 2 3 4");
  EXPECT_EQ(member(data, "ivCCBuffer"), "[4] 1 2 2 1");
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataBuild, ANodeJoinsTheClusterOfMostOfItsContacts) {
  EXPECT_EQ(clusterFor({1, 11, 12}), 2);
  EXPECT_EQ(clusterFor({11, 1, 2}), 1);
  EXPECT_EQ(clusterFor({1, 11}), 1);  // of equal counts the first to reach it
  EXPECT_EQ(clusterFor({11, 1}), 2);
  EXPECT_EQ(clusterFor({1, 11, 12, 2}), 2);   // 2 was the first to reach two
  EXPECT_EQ(clusterFor({50, 60, 9, 13}), 2);  // others, and itself, do not count
  EXPECT_EQ(clusterFor({11, 11, 1}), 2);      // each mention counts
  EXPECT_EQ(clusterFor({50, 60}), 0);
  EXPECT_EQ(clusterFor({}), 0);
}

TEST_F(QUVENCGADataBuild, ARowEndsWithItsFirstElementThatIsNoContact) {
  EXPECT_EQ(clusterFor({1, 0, 11, 12}), 1);
  EXPECT_EQ(clusterFor({0, 11, 12}), 0);
  EXPECT_EQ(clusterFor({1, -5, 11, 12}), 1);
  EXPECT_EQ(clusterFor({1, std::nan(""), 11, 12}), 1);
  EXPECT_EQ(edgesOf(1, {2, 0, 3}), "[2] 1 2");
  EXPECT_EQ(edgesOf(1, {0, 2, 3}), "[0]");
  EXPECT_EQ(edgesOf(1, {-2, 3}), "[0]");
}

TEST_F(QUVENCGADataBuild, MembersAreNotConnectedElsewhere) {
  Data data = connecting(twoClusters());
  run = capturedRun([&] { scan(*data, {{1, {11, 12, 13}}}); });
  EXPECT_EQ(member(data, "ivNodesToConnect"), "[0]");
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataBuild, AFullClusterRefuses) {
  tags["MaxClusterSize"] = "4";
  Data data = connecting(twoClusters());
  pass(data, {{21, {1}}, {22, {1}}, {23, {11}}});
  EXPECT_EQ(data->getCluster(21), 1);
  EXPECT_EQ(data->getCluster(22), 0);
  EXPECT_EQ(data->getCluster(23), 2);
  EXPECT_EQ(sizes(data), " 4 4");
  EXPECT_EQ(member(data, "ivNodesBuffer"), "[8] 1 2 3 11 12 13 21 23");
  QUVEN_DELETE(data);
}

/// A caller with two blocks of rows is proposed twice: it ends in the last cluster, and counts in both.
TEST_F(QUVENCGADataBuild, ANodeConnectedTwiceCountsTwice) {
  const Rows rows{{9, {1}}, {8, {2}}, {9, {11}}};
  Data data = connecting(twoClusters());
  pass(data, rows);
  EXPECT_EQ(data->getCluster(9), 2);
  EXPECT_EQ(sizes(data), " 5 4");
  QUVEN_DELETE(data);
  tags["MaxClusterSize"] = "4";
  data = connecting(twoClusters());
  pass(data, {{9, {1}}, {9, {1}}, {9, {2}}});  // the second finds it full
  EXPECT_EQ(sizes(data), " 4 3");
  EXPECT_EQ(data->getCluster(9), 1);
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataBuild, ConnectingGoesOnWhileSomethingChanges) {
  const Rows chain{{21, {3}}, {22, {21}}, {23, {22}}, {24, {23}}};
  const auto passesWith = [&](const char* limit) {
    tags["NumIterationsConnectingNodes"] = limit;
    Data data = connecting(twoClusters());
    int passes = 0;
    for (; data->getState() == QUVENCGAData::ConnectingIsolatedNodes; ++passes) pass(data, chain);
    const std::string text = std::to_string(passes) + " passes," + sizes(data);
    QUVEN_DELETE(data);
    return text;
  };
  EXPECT_EQ(passesWith("1"), "1 passes, 4 3");
  EXPECT_EQ(passesWith("2"), "2 passes, 5 3");
  EXPECT_EQ(passesWith("4"), "4 passes, 7 3");
  EXPECT_EQ(passesWith("5"), "5 passes, 7 3");
  EXPECT_EQ(passesWith("50"), "5 passes, 7 3");  // the fifth changes nothing
}

/// A refused proposal is no change.
TEST_F(QUVENCGADataBuild, ConnectingEndsWhenOnlyRefusalsAreLeft) {
  tags["MaxClusterSize"] = "3";
  tags["NumIterationsConnectingNodes"] = "7";
  Data data = connecting(twoClusters());
  pass(data, {{9, {1}}});
  EXPECT_EQ(data->getState(), QUVENCGAData::CollectingClusterEdges);
  QUVEN_DELETE(data);
}

/// Who was connected, in whatever pass, is no core node; in the fraction too.
TEST_F(QUVENCGADataBuild, ConnectedNodesAreNoCoreNodes) {
  tags["NumIterationsConnectingNodes"] = "3";
  Data data = connecting("1,2,0\n");
  passesTo(QUVENCGAData::AnalysisDone, data, {{1, {2}}, {3, {2}}, {4, {3}}});
  EXPECT_THAT(clustersCsv(), HasSubstr("\n1,4,0.25,1,0.5,"));
  const std::string nodes = nodesCsv();
  for (const char* row : {"\n1,1,1,", "\n2,1,1,", "\n3,1,0,", "\n4,1,0,"}) EXPECT_THAT(nodes, HasSubstr(row));
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataBuild, EdgesAreTheCallsInsideACluster) {
  EXPECT_EQ(edgesOf(1, {3, 2}), "[4] 1 3 1 2");
  EXPECT_EQ(edgesOf(1, {1, 2}), "[2] 1 2");                // not to itself
  EXPECT_EQ(edgesOf(1, {11, 2, 50}), "[2] 1 2");           // not out of the cluster
  EXPECT_EQ(edgesOf(1, {3, 2, 3, 3, 2}), "[4] 1 3 1 2");   // each once
  EXPECT_EQ(edgesOf(12, {13, 1, 11}), "[4] 12 13 12 11");  // of every cluster of the slice
  EXPECT_EQ(edgesOf(50, {1, 2}), "[0]");                   // not of those without a cluster
  EXPECT_EQ(edgesOf(1, {}), "[0]");
}

/// Two rows of a caller are told apart: each gives its edges.
TEST_F(QUVENCGADataBuild, EdgesOfTwoBlocksStandTwice) {
  Data data = connecting(twoClusters());
  passesTo(QUVENCGAData::CollectingClusterEdges, data, {});
  run = capturedRun([&] { scan(*data, {{1, {2}}, {12, {13}}, {1, {2, 3}}}); });
  EXPECT_EQ(member(data, "ivCCEdges"), "[8] 1 2 12 13 1 2 1 3");
  run = capturedRun([&] { data->endDataScan(QUVEN_ENV); });
  // Cluster after cluster, in the order of their coming.
  EXPECT_EQ(member(data, "ivCCEdges"), "[8] 1 2 1 2 1 3 12 13");
  EXPECT_EQ(member(data, "ivCCEdgesNum"), "[2] 3 1");
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataBuild, SlicesByTheirNumber) {
  const auto with = [&](int number, int clusters) {
    tags["NumIterationsCollectingEdges"] = std::to_string(number);
    return slicesOf(clusters);
  };
  EXPECT_EQ(with(1, 5), " 1..5");
  EXPECT_EQ(with(2, 5), " 1..3 4..5");
  EXPECT_EQ(with(5, 5), " 1..1 2..2 3..3 4..4 5..5");
  EXPECT_EQ(with(4, 5), " 1..2 3..4 5..6");  // the third reaches all, and goes beyond
  EXPECT_EQ(with(6, 5), " 1..1 2..2 3..3 4..4 5..5");
  EXPECT_EQ(with(100, 1), " 1..1");
  EXPECT_EQ(with(1, 0), " 1..0");
  EXPECT_EQ(with(3, 0), " 1..0");
  EXPECT_EQ(with(2147483647, 2), " 1..1 2..2");
}

TEST_F(QUVENCGADataBuild, SlicesByTheirNodes) {
  const auto with = [&](int nodes, int clusters) {
    tags["MaxNodesCollectingEdges"] = std::to_string(nodes);
    return slicesOf(clusters);
  };
  EXPECT_EQ(with(4, 5), " 1..2 3..4 5..5");
  EXPECT_EQ(with(5, 5), " 1..2 3..4 5..5");
  EXPECT_EQ(with(6, 5), " 1..3 4..5");
  EXPECT_EQ(with(3, 3), " 1..1 2..2 3..3");
  EXPECT_EQ(with(1, 3), " 1..1 2..2 3..3");  // one at least
  EXPECT_EQ(with(-7, 3), " 1..1 2..2 3..3");
  EXPECT_EQ(with(2147483647, 5), " 1..5");
  EXPECT_EQ(with(10, 5), " 1..5");
  EXPECT_EQ(with(9, 5), " 1..4 5..5");
  EXPECT_EQ(with(4, 0), " 1..1");
  // The number of slices says nothing then.
  tags["NumIterationsCollectingEdges"] = "5";
  EXPECT_EQ(with(6, 5), " 1..3 4..5");
}

/// The sizes are those behind connecting: 3, 2, 2 and two more in the second one.
TEST_F(QUVENCGADataBuild, SlicesCountConnectedNodes) {
  tags["MaxNodesCollectingEdges"] = "5";
  const std::string values = "1,2,0\n2,3,0\n11,12,0\n21,22,0\n";
  EXPECT_EQ(slicesOf(values, {}), " 1..2 3..3");
  EXPECT_EQ(slicesOf(values, {{31, {11}}, {32, {11}}}), " 1..1 2..2 3..3");
}

TEST_F(QUVENCGADataBuild, EdgesComeFromTheSliceAlone) {
  tags["NumIterationsCollectingEdges"] = "2";
  const Rows rows{{1, {2}}, {2, {3}}, {11, {12}}};
  Data data = connecting(twoClusters());
  passesTo(QUVENCGAData::CCAnalysis, data, rows);
  EXPECT_EQ(member(data, "ivCCEdges"), "[4] 1 2 2 3");
  EXPECT_THAT(run.out, HasSubstr("1 clusters found relevant (out of 1) ]"));
  pass(data, rows);
  EXPECT_EQ(member(data, "ivCCEdges"), "[0]");
  passesTo(QUVENCGAData::CCAnalysis, data, rows);
  EXPECT_EQ(member(data, "ivCCEdges"), "[2] 11 12");
  EXPECT_EQ(member(data, "ivCCEdgesNum"), "[1] 1");
  EXPECT_EQ(member(data, "ivCCNodesNum"), "[0]");  // those of the first slice are written and gone
  QUVEN_DELETE(data);
}

/// Sizes 4, 3 and 2: those below the least size keep their numbers, and have neither edges nor output.
TEST_F(QUVENCGADataBuild, SmallClustersStayInTheNumberingWithoutOutput) {
  const std::string values = "1,2,0\n1,3,0\n1,4,0\n11,12,0\n12,13,0\n21,22,0\n";
  const Rows rows{{1, {2, 3}}, {4, {1}}, {11, {12}}, {13, {11}}, {21, {22}}};
  const auto numbers = [&] {
    std::ostringstream text;
    std::istringstream lines(clustersCsv());
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) text << ' ' << line.substr(0, line.find(',', line.find(',') + 1));
    return text.str();
  };
  const auto written = [&](const char* least) {
    tags["MinClusterSize"] = least;
    Data data = connecting(values);
    passesTo(QUVENCGAData::AnalysisDone, data, rows);
    QUVEN_DELETE(data);
    return numbers();
  };
  EXPECT_EQ(written("1"), " 1,4 2,3 3,2");
  EXPECT_EQ(written("3"), " 1,4 2,3");
  EXPECT_THAT(run.out, HasSubstr("2 clusters found relevant (out of 3) ]"));
  EXPECT_EQ(written("4"), " 1,4");
  EXPECT_EQ(written("5"), "");
  EXPECT_THAT(run.out, HasSubstr("0 clusters found relevant (out of 3) ]"));
  EXPECT_THAT(run.out, HasSubstr("final network contains 0 nodes and 0 clusters"));
}

/// Nobody is covered in a cluster that is too small: in a later slice its members would be looked at again.
TEST_F(QUVENCGADataBuild, OnlyMembersOfRelevantClustersAreCovered) {
  tags["MinClusterSize"] = "3";
  tags["NumIterationsCollectingEdges"] = "2";
  tags["VerbosityLevel"] = "100";
  Data data = connecting("1,2,0\n1,3,0\n11,12,0\n21,22,0\n");
  const Rows rows{{1, {2}}, {11, {12}}};
  passesTo(QUVENCGAData::CCAnalysis, data, rows);
  pass(data, rows);
  run.out.clear();
  pass(data, rows);
  EXPECT_THAT(run.out, HasSubstr(" skipping 1 (aleardy covered)\n"));
  EXPECT_THAT(run.out, Not(HasSubstr(" skipping 11 (aleardy covered)\n")));
  EXPECT_THAT(run.out, HasSubstr(" skipping 11 (not in relevant cluster)\n"));
  QUVEN_DELETE(data);
}

/// A cluster in which nobody calls vanishes; its number does not.
TEST_F(QUVENCGADataBuild, ClustersWithoutACallVanish) {
  Data data = connecting("1,2,0\n1,3,0\n11,12,0\n12,13,0\n21,22,0\n");
  passesTo(QUVENCGAData::CCAnalysis, data, {{1, {2}}, {22, {21}}});
  EXPECT_THAT(run.out, HasSubstr("3 clusters found relevant (out of 3) ]"));
  EXPECT_EQ(member(data, "ivCCEdgesNum"), "[2] 1 1");
  pass(data, {});
  // Densities are those of clusters 1 and 3: a call of 3 * 2, a call of 2 * 1.
  EXPECT_THAT(clustersCsv(), HasSubstr("\n1,2,0.166667,0.666667,1,"));
  EXPECT_THAT(clustersCsv(), HasSubstr("\n2,2,0.5,1,1,"));
  QUVEN_DELETE(data);
}

}  // namespace
