// Who matters in each group, and the files of the results.

#include <filesystem>

#include "group_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class QUVENCGADataAnalysis : public GroupTest {
 protected:
  void analyse(const std::string& kernelValues, const Rows& rows) {
    Data data = connecting(kernelValues);
    passesTo(QUVENCGAData::AnalysisDone, data, rows);
    EXPECT_EQ(data->getFailedFile(), "");
    QUVEN_DELETE(data);
  }
  static long partialFilesIn(const std::string& path) {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      count += entry.path().filename().string().find(".partial") != std::string::npos ? 1 : 0;
    }
    return count;
  }
};

/// 1 calls 2, and that is all. From ranks of 1/2 each: M r = (0, 0.425), the rest of 0.575 is shared evenly, and so on
/// to 0.3394296875 and 0.6605703125 in the third step, whose change of 0.077 is not above 0.1. Reversed it is 2 that
/// calls 1. The first to be met is 1.
TEST_F(QUVENCGADataAnalysis, ACallBetweenTwo) {
  analyse("1,2,0\n", {{1, {2}}});
  EXPECT_EQ(clustersCsv(), clusterHeader() + "1,2,0.5,1,1,0.66057,0.33943,1.94612,0.66057,0.33943,1.94612\n");
  EXPECT_EQ(nodesCsv(), nodeHeader() +
                            "1,1,1,0.33943,2,0.66057,1,0,1,0,0.66057,0,0,1,1.94612\n"
                            "2,1,1,0.66057,1,0.33943,2,1,0,0.66057,0,1,1.94612,0,0\n");
}

/// All ranks are 1/4: the ratio is 1, and places go by the order in which the calls name the nodes, 3 4 2 1.
TEST_F(QUVENCGADataAnalysis, EqualRanksOfARing) {
  analyse("1,2,0\n2,3,0\n3,4,0\n", {{3, {4}}, {2, {3}}, {1, {2}}, {4, {1}}});
  EXPECT_EQ(clustersCsv(), clusterHeader() + "1,4,0.333333,0.5,1,0.25,0.25,1,0.25,0.25,1\n");
  EXPECT_EQ(nodesCsv(), nodeHeader() +
                            "1,1,1,0.25,4,0.25,4,1,1,0.25,0.25,0,0,0,0\n"
                            "2,1,1,0.25,3,0.25,3,1,1,0.25,0.25,0,0,0,0\n"
                            "3,1,1,0.25,1,0.25,1,1,1,0.25,0.25,1,1,1,1\n"
                            "4,1,1,0.25,2,0.25,2,1,1,0.25,0.25,0,0,0,0\n");
}

/// 5 is called by three others and calls nobody: no successors, its mass is shared out by the correction.
/// M r from 1/4 each gives 5 three times 0.85/4 = 0.6375; 0.3625 is left, 0.090625 for everybody: 0.728125 against
/// 0.090625. The second step: 0.85 * 3 * 0.090625 = 0.23109375, and a share of 0.1922265625: 0.4233203125. The third:
/// 0.85 * 3 * 0.1922265625 = 0.490177734375, share 0.12745556640625: 0.61763330078125. The fourth: 0.32501169433594,
/// share 0.16874707641602: 0.49375877075196. The fifth: 0.43030504486084, share 0.14242373878479: 0.57272878364563.
/// The changes are 0.956, 0.610, 0.389, 0.248, 0.158; the sixth: 0.36318053390121, share 0.1592048665247:
/// 0.52238540042591, change 0.1007; the seventh: 0.40597240963798, share 0.1485068975905: 0.55447930722848, 0.0642.
TEST_F(QUVENCGADataAnalysis, OneWhomAllCallAndWhoCallsNobody) {
  analyse("5,6,0\n5,7,0\n5,8,0\n", {{6, {5}}, {7, {5}}, {8, {5}}});
  // Reversed, 5 calls the three: M r = 0.85/12 = 0.0708333 each, and 0 for 5; 0.7875 is left, 0.196875 each:
  // 0.2677083 and 0.196875, change 0.10625. The second step: 0.85 * 0.196875 / 3 = 0.05578125 and a share of
  // 0.2081640625: 0.2639453125 and 0.2081640625, change 0.0226.
  EXPECT_EQ(clustersCsv(), clusterHeader() + "1,4,0.25,0.5,1,0.554479,0.148507,3.73369,0.263945,0.208164,1.26797\n");
  EXPECT_EQ(nodesCsv(), nodeHeader() +
                            "5,1,1,0.554479,1,0.208164,4,3,0,0.791836,0,1,3.73369,0,0\n"
                            "6,1,1,0.148507,2,0.263945,1,0,1,0,0.554479,0,0,1,1.26797\n"
                            "7,1,1,0.148507,3,0.263945,2,0,1,0,0.554479,0,0,0,0\n"
                            "8,1,1,0.148507,4,0.263945,3,0,1,0,0.554479,0,0,0,0\n");
}

/// The blocks of the stream: a cluster's nodes stand side by side, largest rank first.
TEST_F(QUVENCGADataAnalysis, BlocksStandClusterAfterCluster) {
  Data data = connecting("5,6,0\n5,7,0\n5,8,0\n1,2,0\n");
  passesTo(QUVENCGAData::CCAnalysis, data, {{6, {5}}, {1, {2}}, {7, {5}}, {8, {5}}});
  run = capturedRun([&] { scan(*data, {}); });
  EXPECT_EQ(member(data, "ivCCNodesNum"), "[2] 4 2");
  EXPECT_EQ(member(data, "ivCCNodesByPageRank"), "[6] 5 6 7 8 2 1");
  EXPECT_EQ(member(data, "ivCCNodesByPageRankTransposed"), "[6] 6 7 8 5 1 2");
  EXPECT_EQ(member(data, "ivCCOutDegrees"), "[6] 0 1 1 1 0 1");
  EXPECT_EQ(member(data, "ivCCInDegrees"), "[6] 0 0 0 3 0 1");
  EXPECT_EQ(member(data, "ivCCEdges"), "[0]");  // they have served
  EXPECT_EQ(member(data, "ivCCEdgesNum"), "[0]");
  EXPECT_THAT(run.out, HasSubstr(log(2, " >>> analyzeClusters starts, numOfWorkers = 1, edges = 4, clusters = 2")));
  EXPECT_THAT(run.out, HasSubstr(log(2, " >>> analyzeClusters completed, 2 clusters analyzed locally ]")));
  // A pass again starts from nothing.
  run = capturedRun([&] { scan(*data, {}); });
  EXPECT_EQ(member(data, "ivCCNodesNum"), "[0]");
  EXPECT_EQ(member(data, "ivPageRanks"), "[0]");
  QUVEN_DELETE(data);
}

/// One header for all slices; the group numbers begin with the slice's first cluster.
TEST_F(QUVENCGADataAnalysis, LaterSlicesGoOnWithoutAHeader) {
  const std::string values = "1,2,0\n11,12,0\n21,22,0\n31,32,0\n";
  const Rows rows{{1, {2}}, {21, {22}}, {31, {32}}};  // nobody calls in cluster 2
  const std::string row = ",2,0.5,1,1,0.66057,0.33943,1.94612,0.66057,0.33943,1.94612\n";
  analyse(values, rows);
  EXPECT_EQ(clustersCsv(), clusterHeader() + "1" + row + "2" + row + "3" + row);
  const std::string nodes = nodesCsv();
  tags["NumIterationsCollectingEdges"] = "2";
  analyse(values, rows);
  EXPECT_EQ(clustersCsv(), clusterHeader() + "1" + row + "3" + row + "4" + row);
  EXPECT_EQ(std::count(nodes.begin(), nodes.end(), '\n'), 7);
  const std::string inSlices = nodesCsv();
  EXPECT_EQ(std::count(inSlices.begin(), inSlices.end(), '\n'), 7);
  EXPECT_THAT(inSlices, HasSubstr("\n21,3,"));
  EXPECT_THAT(inSlices, HasSubstr("\n31,4,"));
  EXPECT_THAT(run.out, HasSubstr(log(1, "printAnalysisResults: final network contains 2 nodes and 1 clusters")));
  EXPECT_THAT(run.out, HasSubstr(log(1, "printAnalysisResults: final network contains 4 nodes and 2 clusters")));
}

TEST_F(QUVENCGADataAnalysis, AMemberWithoutACallInsideHasNoRow) {
  analyse("1,2,0\n2,3,0\n", {{1, {2}}});
  EXPECT_THAT(clustersCsv(), HasSubstr("\n1,2,0.166667,"));
  EXPECT_THAT(nodesCsv(), Not(HasSubstr("\n3,")));
}

TEST_F(QUVENCGADataAnalysis, LargeNumbersHaveAllTheirDigits) {
  analyse("9007199254740991,4611686018427387904,0\n", {{9007199254740991U, {4611686018427387904.0}}});
  EXPECT_THAT(nodesCsv(), HasSubstr("\n9007199254740991,1,1,"));
  EXPECT_THAT(nodesCsv(), HasSubstr("\n4611686018427387904,1,1,"));
}

TEST_F(QUVENCGADataAnalysis, TheFilesAppearWhenTheyAreComplete) {
  tags["NumIterationsCollectingEdges"] = "2";
  Data data = connecting("1,2,0\n11,12,0\n");
  const Rows rows{{1, {2}}, {11, {12}}};
  passesTo(QUVENCGAData::CCAnalysis, data, rows);
  EXPECT_EQ(partialFilesIn(folder.path()), 0);
  pass(data, rows);
  EXPECT_EQ(partialFilesIn(folder.path()), 2);
  EXPECT_FALSE(folder.has("out_1.clusters.csv"));
  EXPECT_FALSE(folder.has("out_1.nodes.csv"));
  passesTo(QUVENCGAData::AnalysisDone, data, rows);
  EXPECT_EQ(partialFilesIn(folder.path()), 0);
  EXPECT_TRUE(folder.has("out_1.clusters.csv"));
  EXPECT_TRUE(folder.has("out_1.nodes.csv"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataAnalysis, WhatIsBrokenOffLeavesNothingAndTheOldFilesStay) {
  folder.write("out_1.clusters.csv", "old");
  tags["NumIterationsCollectingEdges"] = "2";
  Data data = connecting("1,2,0\n11,12,0\n");
  const Rows rows{{1, {2}}, {11, {12}}};
  passesTo(QUVENCGAData::CCAnalysis, data, rows);
  pass(data, rows);
  QUVEN_DELETE(data);
  EXPECT_EQ(partialFilesIn(folder.path()), 0);
  EXPECT_EQ(clustersCsv(), "old");
  EXPECT_FALSE(folder.has("out_1.nodes.csv"));
}

/// The analysis does not end there; whoever runs it is told.
TEST_F(QUVENCGADataAnalysis, AFileThatCannotBeWrittenIsRemembered) {
  const auto failedFile = [&] {
    Data data = connecting("1,2,0\n");
    passesTo(QUVENCGAData::AnalysisDone, data, {{1, {2}}});
    EXPECT_THAT(run.out, HasSubstr("CGA Terminated Successfully"));
    const std::string name = data->getFailedFile();
    QUVEN_DELETE(data);
    return name;
  };
  EXPECT_EQ(failedFile(), "");
  std::filesystem::create_symlink("/dev/full", folder.path("full_1.nodes.csv"));
  tags["OutputFileName"] = folder.path("full");
  EXPECT_EQ(failedFile(), "/dev/full");
  EXPECT_FALSE(folder.has("full_1.clusters.csv"));  // both or none
  std::filesystem::create_directory(folder.path("taken_1.clusters.csv"));
  tags["OutputFileName"] = folder.path("taken");
  EXPECT_EQ(failedFile(), folder.path("taken_1.clusters.csv"));
  tags["OutputFileName"] = folder.path("missing/out");
  EXPECT_EQ(failedFile(), folder.path("missing/out_1.clusters.csv"));
  EXPECT_FALSE(folder.has("missing"));
}

}  // namespace
