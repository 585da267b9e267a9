// The states of the group analysis: what each one does, and what it says.

#include <functional>

#include "group_fixture.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using State = QUVENCGAData::State;

constexpr State allStates[] = {QUVENCGAData::BuildingKernel,
                               QUVENCGAData::CollectingKernelEdges,
                               QUVENCGAData::ConnectingIsolatedNodes,
                               QUVENCGAData::CollectingClusterEdges,
                               QUVENCGAData::CCAnalysis,
                               QUVENCGAData::AnalysisDone,
                               QUVENCGAData::StartFromKernel};

class QUVENCGADataStates : public GroupTest {
 protected:
  using Action = std::function<void(QUVENCGAData&)>;

  /// The states in which an action is refused, as their digits.
  std::string refusedIn(const Action& action) {
    std::string states;
    for (const State state : allStates) {
      Data data = inState(state);
      const CapturedRun attempt = capturedRun([&] { action(*data); });
      if (attempt.threwLibraryException) {
        states += std::to_string(state);
        EXPECT_THAT(attempt.out, HasSubstr(unreachable())) << state;
        EXPECT_EQ(data->getState(), state);
      }
      QUVEN_DELETE(data);
    }
    return states;
  }

  static std::string progress(int number, const std::string& method, const std::string& text) {
    return log(1, "\n[Worker:0, Iteration: 1, ProgressReport:" + std::to_string(number) + "]\nMethod name:" + method +
                      ": " + text + "\n\n");
  }
  static std::string entering(const std::string& method) { return log(1, "Entering " + method); }
};

TEST_F(QUVENCGADataStates, WrongStatesAreInternalErrors) {
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.beginDataScan(2, QUVEN_ENV); }), "12345");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.getScanKind(QUVEN_ENV); }), "56");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.initIteration(QUVEN_ENV); }), "56");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) {
              const State state = data.getState();
              if (state < QUVENCGAData::AnalysisDone) data.initIteration(QUVEN_ENV);
              record(data, 77, 0, 1);
              EXPECT_EQ(data.getState(), state);
            }),
            "1456");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.updateWithoutDataScan(QUVEN_ENV); }), "02356");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.finishIteration(QUVEN_ENV); }), "56");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) {
              if (data.getState() == QUVENCGAData::BuildingKernel) scan(data, ringRows());
              data.endDataScan(QUVEN_ENV);
            }),
            "56");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) {
              auto other = quvenMake<QUVENCGAData>(QUVEN_ENV);
              try {
                data.merge(other.get(), QUVEN_ENV);
              } catch (int) {
                QUVEN_DELETE(other);
                throw;
              }
              QUVEN_DELETE(other);
            }),
            "56");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { image(data, QUVENObjWriter::Save); }), "56");
}

TEST_F(QUVENCGADataStates, OperationsThatAreNotItsOwnAreInternalErrors) {
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.reservedOperation(QUVEN_ENV); }), "0123456");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.resultsAvailable(); }), "0123456");
  EXPECT_EQ(refusedIn([&](QUVENCGAData& data) { data.getScanFraction(QUVEN_ENV); }), "0123456");
}

TEST_F(QUVENCGADataStates, EachStateHasItsPass) {
  const std::map<State, QUVENScanType> kinds = {{QUVENCGAData::BuildingKernel, QUVENScanType::Lines},
                                                {QUVENCGAData::CollectingKernelEdges, QUVENScanType::NoPass},
                                                {QUVENCGAData::ConnectingIsolatedNodes, QUVENScanType::Slice},
                                                {QUVENCGAData::CollectingClusterEdges, QUVENScanType::Slice},
                                                {QUVENCGAData::CCAnalysis, QUVENScanType::NoPass}};
  for (const auto& [state, kind] : kinds) {
    Data data = inState(state);
    EXPECT_EQ(data->getScanKind(QUVEN_ENV), kind) << state;
    EXPECT_FALSE(data->isFinished()) << state;
    EXPECT_EQ(data->needsMerge(), 1) << state;
    QUVEN_DELETE(data);
  }
  // The kernel's second pass is another one.
  Data data = inState(QUVENCGAData::BuildingKernel);
  EXPECT_EQ(pass(data, ringRows()), 0);
  EXPECT_EQ(data->getState(), QUVENCGAData::BuildingKernel);
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::EverythingSparse);
  QUVEN_DELETE(data);
  data = inState(QUVENCGAData::AnalysisDone);
  EXPECT_TRUE(data->isFinished());
  QUVEN_DELETE(data);
  data = inState(QUVENCGAData::StartFromKernel);
  EXPECT_FALSE(data->isFinished());
  QUVEN_DELETE(data);
}

/// The whole run from a kernel: every state, its reports, and what else is written.
TEST_F(QUVENCGADataStates, TellsItsProgress) {
  Data data = inState(QUVENCGAData::BuildingKernel);
  EXPECT_EQ(run.out, entering("beginDataScan"));
  const auto outOf = [&](int answer) {
    run.out.clear();
    EXPECT_EQ(pass(data, ringRows()), answer);
    return run.out;
  };
  const std::string start = entering("initIteration");
  const std::string finish = entering("finishIteration");
  EXPECT_THAT(outOf(0), AllOf(::testing::StartsWith(start + finish), Not(HasSubstr("Method name"))));
  EXPECT_EQ(outOf(0), start + finish + progress(0, "endDataScan", "Finished building kernel"));
  EXPECT_EQ(data->getState(), QUVENCGAData::CollectingKernelEdges);
  // The callers 1, 2, 3 name each other; 4 names 2 and itself. One cluster of all four: pairs 12 13 23 24.
  EXPECT_EQ(outOf(0),
            start + finish +
                progress(1, "finishIteration", "Finished an iteration of kernel building and edge collection") +
                progress(2, "endDataScan", "Finished collecting kernel edges") +
                "buildInitialClusters: Found 2 initial clusters\n"
                "buildInitialClusters: Found 4 kernel nodes\n"
                "buildInitialClusters: avg core cluster size = 2, avg kernel density = 0.333333\n" +
                progress(3, "endDataScan", "Finished building initial clusters"));
  EXPECT_EQ(data->getState(), QUVENCGAData::ConnectingIsolatedNodes);
  EXPECT_EQ(outOf(0), start + finish +
                          progress(4, "finishIteration", "Finished an iteration of issolated nodes connection") +
                          progress(5, "endDataScan", "Finished connecting isolated nodes"));
  EXPECT_EQ(data->getState(), QUVENCGAData::CollectingClusterEdges);
  EXPECT_EQ(outOf(0), start + finish +
                          progress(6, "finishIteration", "Finished an iteration cluster edges collection") +
                          log(0, "\n[Worker:0 >>> buildFinalClusters: done, 1 clusters found relevant (out of 1) ]") +
                          progress(7, "endDataScan", "Final cluster edges connected"));
  EXPECT_EQ(data->getState(), QUVENCGAData::CCAnalysis);
  EXPECT_EQ(outOf(1), start + log(2, " >>> analyzeClusters starts, numOfWorkers = 1, edges = 7, clusters = 1") +
                          log(2, " >>> analyzeClusters completed, 1 clusters analyzed locally ]") + finish +
                          progress(8, "finishIteration", "Finished an iteration cluster analysis") +
                          log(1, "printAnalysisResults: final network contains 4 nodes and 1 clusters") +
                          progress(9, "endDataScan", "Final clusters built") +
                          progress(10, "endDataScan", "Analysis done") + log(0, "CGA Terminated Successfully"));
  EXPECT_EQ(data->getState(), QUVENCGAData::AnalysisDone);
  QUVEN_DELETE(data);
}

/// The reports of a pass's end belong to endDataScan; there is none where no pass has ended.
TEST_F(QUVENCGADataStates, AKernelValuesFileTakesThePlaceOfTheKernel) {
  Data data = connecting("1,2,0\n2,3,0\n4,4,0\n");
  EXPECT_EQ(run.out, entering("beginDataScan") +
                         "Read 3 kernel values from file\n"
                         "buildInitialClusters: Found 2 initial clusters\n"
                         "buildInitialClusters: Found 3 kernel nodes\n"
                         "buildInitialClusters: avg core cluster size = 1.5, avg kernel density = 0.333333\n");
  EXPECT_EQ(data->getKernelEdges().getSize(), 6);
  pass(data, {});
  EXPECT_EQ(data->getKernelEdges().getSize(), 0);  // they have served
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataStates, NoClustersAreWarnedOf) {
  Data data = connecting("7,7,0\n");
  EXPECT_THAT(run.out, HasSubstr("buildInitialClusters: Found 1 initial clusters\n"
                                 "buildInitialClusters: Found 0 kernel nodes\n"
                                 "buildInitialClusters: avg core cluster size = 0, avg kernel density = 0\n"
                                 "Warning;|5006;|SparsityLevel;|QUVENCGAData::buildInitialClusters: "));
  EXPECT_THAT(run.out, HasSubstr("NormalizingFactor"));
  passesTo(QUVENCGAData::AnalysisDone, data, {{7, {8, 7}}});
  EXPECT_THAT(run.out, HasSubstr("0 clusters found relevant (out of 0) ]"));
  EXPECT_EQ(clustersCsv(), clusterHeader());
  EXPECT_EQ(nodesCsv(), nodeHeader());
  QUVEN_DELETE(data);
}

/// Columns ascending and rows ascending, whatever the values; nobody is alike to itself.
TEST_F(QUVENCGADataStates, KernelEdgesAreTheKeptCellsInTheirOrder) {
  Data data = inState(QUVENCGAData::CollectingKernelEdges);
  run = capturedRun([&] { scan(*data, {}); });
  // The column is a contact of the row: 1 of 2 and 3; 2 of 1, 3 and 4; 3 of 1 and 2; 4 of 4 itself.
  EXPECT_EQ(member(data, "ivKernelEdges"), "[14] 1 2 1 3 2 1 2 3 2 4 3 1 3 2");
  EXPECT_EQ(member(data, "ivKernelPtr"), "null");
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataStates, MergeAppendsInTheOrderOfItsCalls) {
  const auto merged = [&](State state, const Rows& first, const Rows& second, const std::string& keyword) {
    Data a = inState(state);
    Data b = inState(state);
    run = capturedRun([&] {
      scan(*a, first);
      scan(*b, second);
      a->merge(b.get(), QUVEN_ENV);
      a->merge(a.get(), QUVEN_ENV);  // nothing
    });
    EXPECT_FALSE(run.threwLibraryException) << run.out;
    std::string text = member(a, keyword);
    QUVEN_DELETE(a);
    QUVEN_DELETE(b);
    return text;
  };
  EXPECT_EQ(merged(QUVENCGAData::CollectingKernelEdges, {}, {}, "ivKernelEdges"),
            "[28] 1 2 1 3 2 1 2 3 2 4 3 1 3 2 1 2 1 3 2 1 2 3 2 4 3 1 3 2");
  const Rows outside{{9, {1}}, {8, {3}}};
  const Rows alsoOutside{{7, {2}}};
  EXPECT_EQ(merged(QUVENCGAData::ConnectingIsolatedNodes, outside, alsoOutside, "ivNodesToConnect"), "[3] 9 8 7");
  EXPECT_EQ(merged(QUVENCGAData::ConnectingIsolatedNodes, outside, alsoOutside, "ivClustersToConnectNodesTo"),
            "[3] 1 1 1");
  EXPECT_EQ(merged(QUVENCGAData::CollectingClusterEdges, {{2, {3}}}, {{1, {2}}}, "ivCCEdges"), "[4] 2 3 1 2");
  for (const char* keyword : {"ivCCNodesByPageRank", "ivCCNodesByPageRankTransposed"}) {
    const std::string twice = merged(QUVENCGAData::CCAnalysis, {}, {}, keyword);
    EXPECT_EQ(twice.substr(0, 3), "[8]");
    EXPECT_EQ(twice.substr(3, 8), twice.substr(11, 8));
  }
  for (const char* keyword : {"ivPageRanks", "ivPageRanksTransposed", "ivOutDegreesWeightedByPageRank",
                              "ivInDegreesWeightedByPageRankTransposed", "ivCCOutDegrees", "ivCCInDegrees"}) {
    EXPECT_EQ(merged(QUVENCGAData::CCAnalysis, {}, {}, keyword).substr(0, 3), "[8]") << keyword;
  }
  EXPECT_EQ(merged(QUVENCGAData::CCAnalysis, {}, {}, "ivCCNodesNum"), "[2] 4 4");
}

TEST_F(QUVENCGADataStates, MergeAndPrintDoWithoutAKernel) {
  Data a(QUVEN_ENV);
  Data b(QUVEN_ENV);
  a = quvenMake<QUVENCGAData>(QUVEN_ENV);
  b = quvenMake<QUVENCGAData>(QUVEN_ENV);
  run = capturedRun([&] {
    a->merge(b.get(), QUVEN_ENV);
    std::ostringstream printed;
    a->print(printed);
    EXPECT_EQ(printed.str(), "");
  });
  EXPECT_FALSE(run.threwLibraryException);
  QUVEN_DELETE(a);
  for (const State state : {QUVENCGAData::BuildingKernel, QUVENCGAData::CCAnalysis, QUVENCGAData::AnalysisDone}) {
    a = inState(state);
    std::ostringstream printed;
    a->print(printed);
    EXPECT_EQ(printed.str(), "");
    if (state == QUVENCGAData::BuildingKernel) {
      run = capturedRun([&] { a->merge(b.get(), QUVEN_ENV); });  // the other one has none
      EXPECT_FALSE(run.threwLibraryException) << run.out;
    }
    QUVEN_DELETE(a);
  }
  QUVEN_DELETE(b);
}

TEST_F(QUVENCGADataStates, MergeForwardsToTheKernel) {
  const auto cutoffReports = [&](bool merges) {
    Data a = inState(QUVENCGAData::BuildingKernel);
    Data b = inState(QUVENCGAData::BuildingKernel);
    run = capturedRun([&] {
      scan(*a, {{1, {2, 3}}, {2, {1, 3}}});
      scan(*b, {{5, {5, 6, 7, 8}}});
      if (merges) a->merge(b.get(), QUVEN_ENV);
      a->endDataScan(QUVEN_ENV);
    });
    QUVEN_DELETE(a);
    QUVEN_DELETE(b);
    return run.out.substr(run.out.find("Added"));
  };
  EXPECT_THAT(cutoffReports(false), HasSubstr("A single kernel value was found"));
  EXPECT_THAT(cutoffReports(true), Not(HasSubstr("A single kernel value was found")));
}

TEST_F(QUVENCGADataStates, TracesRecordsAboveItsLevel) {
  const auto traceOf = [&](const std::string& verbosity, State state, std::uint64_t caller, const Contacts& contacts) {
    tags["VerbosityLevel"] = verbosity;
    Data data = inState(state);
    const CapturedRun traced = capturedRun([&] {
      data->initIteration(QUVEN_ENV);
      row(*data, caller, contacts);
    });
    QUVEN_DELETE(data);
    return traced.out.substr(log(1, "Entering initIteration").size());
  };
  const auto entry = [](int state, std::uint64_t caller, int position, double value) {
    std::ostringstream text;
    text << " Entering QUVENCGAData::update, ivState = " << state << ", sample num = " << caller
         << "\n -- dataVec size =  2\n  - Elm 1: " << position << "\n  - Elm 2: " << value
         << "\n-- targetVec size =  0\n";
    return text.str();
  };
  const std::string start = ">>>>>> Worker 0[SampleTraceEventStarts]\n";
  for (const State state : {QUVENCGAData::ConnectingIsolatedNodes, QUVENCGAData::CollectingClusterEdges}) {
    EXPECT_EQ(traceOf("5", state, 9, {1}), "");
  }
  const State connects = QUVENCGAData::ConnectingIsolatedNodes;
  const std::string header = start + entry(2, 9, 0, 1);
  EXPECT_EQ(traceOf("6", connects, 9, {1}), header + entry(2, 9, 1, 1) + entry(2, 9, 2, 0) +
                                                "checkConnectingNode: node 9 to be connected to cluster 1\n");
  EXPECT_EQ(traceOf("6", connects, 9, {7}), header + entry(2, 9, 1, 7) + entry(2, 9, 2, 0) +
                                                "checkConnectingNode: node 9, no connecting cluster was found \n");
  EXPECT_EQ(traceOf("6", connects, 2, {7}), start + entry(2, 2, 0, 1) + entry(2, 2, 1, 7) + entry(2, 2, 2, 0));
  // The passes before have used up the first records; at the highest level every one is traced, and the mark stands.
  const State collects = QUVENCGAData::CollectingClusterEdges;
  EXPECT_EQ(traceOf("100", collects, 2, {1, 2, 9, 3, 1}),
            entry(3, 2, 0, 5) + entry(3, 2, 1, 1) + entry(3, 2, 2, 2) + entry(3, 2, 3, 9) + entry(3, 2, 4, 3) +
                entry(3, 2, 5, 1) + entry(3, 2, 6, 0) +
                "addEdges: statring node 2\naddEdges: added edge (2, 1)\naddEdges: added edge (2, 3)\n"
                "addEdges: ending node 2\n");
  const std::string skipping = " skipping 9 (not in relevant cluster)\n";
  EXPECT_EQ(traceOf("100", collects, 9, {1}),
            entry(3, 9, 0, 1) + skipping + entry(3, 9, 1, 1) + skipping + entry(3, 9, 2, 0) + skipping);
}

TEST_F(QUVENCGADataStates, TracesTargetsToo) {
  tags["VerbosityLevel"] = "100";
  Data data = inState(QUVENCGAData::ConnectingIsolatedNodes);
  targetVec.setSize(2, QUVEN_ENV);
  targetVec[1] = 7.5;
  targetVec[2] = 8;
  run = capturedRun([&] {
    data->initIteration(QUVEN_ENV);
    record(*data, 9, 0, 1);
  });
  EXPECT_THAT(run.out, EndsWith("-- targetVec size =  2\n  - Elm 1: 7.5\n  - Elm 2: 8\n"));
  QUVEN_DELETE(data);
}

/// In a later slice the members of the earlier ones are covered.
TEST_F(QUVENCGADataStates, SkipsWhoIsCovered) {
  tags["VerbosityLevel"] = "100";
  tags["NumIterationsCollectingEdges"] = "2";
  const Rows rows{{1, {2}}, {11, {12}}};
  Data data = connecting("1,2,0\n11,12,0\n");
  passesTo(QUVENCGAData::CCAnalysis, data, rows);
  EXPECT_THAT(run.out, Not(HasSubstr("(aleardy covered)")));
  pass(data, rows);
  ASSERT_EQ(data->getState(), QUVENCGAData::CollectingClusterEdges);
  run.out.clear();
  pass(data, rows);
  EXPECT_THAT(run.out, HasSubstr("sample num = 1\n -- dataVec size =  2\n  - Elm 1: 0\n  - Elm 2: 1\n"
                                 "-- targetVec size =  0\n skipping 1 (aleardy covered)\n"));
  EXPECT_THAT(run.out, HasSubstr("addEdges: added edge (11, 12)\n"));
  EXPECT_THAT(run.out, Not(HasSubstr("skipping 11")));
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataStates, DumpsItselfBeforeTheResults) {
  const auto dumped = [&](const std::string& verbosity) {
    tags["VerbosityLevel"] = verbosity;
    Data data = inState(QUVENCGAData::CCAnalysis);
    run.out.clear();
    pass(data, {});
    QUVEN_DELETE(data);
    return run.out;
  };
  const std::string text = dumped("100");
  const std::size_t start = text.find("<<<<<< Worker 0 [TraceEventStarts]\n[CGADataObjectStarts]\n <- ");
  const std::size_t end = text.find("[CGADataObjectEnds]\n>>>>>> Worker 0 [TraceEventEnds]\n");
  ASSERT_NE(start, std::string::npos);
  ASSERT_NE(end, std::string::npos);
  EXPECT_LT(start, end);
  EXPECT_LT(end, text.find("printAnalysisResults: "));
  for (const char* line : {" <- ivState: 4\n", " <- ivNodeToCCMap: 4\n", " <- ivCCNodesNum: 1\n",
                           " <- ivCCNodesByPageRank: 4\n", " <- ivNodeToIterationConnectedMap: 4\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  EXPECT_THAT(dumped("1"), Not(HasSubstr("CGADataObject")));
}

}  // namespace
