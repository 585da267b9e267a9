// What of the group analysis crosses between the workers.

#include <algorithm>

#include "group_fixture.h"

namespace {

using ::testing::HasSubstr;
using State = QUVENCGAData::State;
using Strings = std::vector<std::string>;

class QUVENCGADataStream : public GroupTest {
 protected:
  /// The keywords of a stream, in their order, without those of objects in it.
  static Strings keywordsIn(const std::string& stream) {
    Strings keywords;
    std::istringstream lines(stream);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t end = line.find(" = ");
      if (end != std::string::npos && line.starts_with("  ") && line[2] != ' ')
        keywords.push_back(line.substr(2, end - 2));
    }
    return keywords;
  }
  static Strings commonWith(const Strings& others) {
    Strings keywords{"ivDummy", "ivState", "ivCoveredNodesBuffer", "ivVerbosityLvl"};
    keywords.insert(keywords.end(), others.begin(), others.end());
    return keywords;
  }
};

TEST_F(QUVENCGADataStream, EachStateCarriesItsOwn) {
  const Strings analysis{"ivCCEdges",
                         "ivCCEdgesNum",
                         "ivPageRanks",
                         "ivPageRanksTransposed",
                         "ivCCNodesByPageRank",
                         "ivCCNodesByPageRankTransposed",
                         "ivOutDegreesWeightedByPageRank",
                         "ivInDegreesWeightedByPageRankTransposed",
                         "ivCCOutDegrees",
                         "ivCCInDegrees",
                         "ivCCNodesNum"};
  const std::map<State, Strings> members = {
      {QUVENCGAData::BuildingKernel, {"ivKernelPtr", "ivKernelEdges"}},
      {QUVENCGAData::CollectingKernelEdges, {"ivKernelPtr", "ivKernelEdges"}},
      {QUVENCGAData::ConnectingIsolatedNodes,
       {"ivNodesBuffer", "ivCCBuffer", "ivNodesToConnect", "ivClustersToConnectNodesTo"}},
      {QUVENCGAData::CollectingClusterEdges,
       {"ivIterationCounterCollectingEdges", "ivNodesBuffer", "ivCCBuffer", "ivMinIndRelevantClusters",
        "ivMaxIndRelevantClusters", "ivCCEdges"}},
      {QUVENCGAData::CCAnalysis, analysis}};
  for (const auto& [state, list] : members) {
    Data data = inState(state);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
      std::ostringstream text;
      QUVENTextObjWriter writer(text, mode);
      quvenWriteObject(writer, *data, QUVEN_ENV);
      EXPECT_EQ(keywordsIn(text.str()), commonWith(list)) << state;
    }
    EXPECT_EQ(member(data, "ivState"), std::to_string(state));
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENCGADataStream, TheNodeMapTravelsInTheFirstSliceOnly) {
  tags["NumIterationsCollectingEdges"] = "3";
  Data data = connecting("1,2,0\n11,12,0\n21,22,0\n");
  EXPECT_EQ(member(data, "ivNodesBuffer"), "[6] 1 2 11 12 21 22");
  EXPECT_EQ(member(data, "ivCCBuffer"), "[6] 1 1 2 2 3 3");
  const Rows rows{{30, {12}}, {1, {2}}, {11, {12}}, {21, {22}}};
  pass(data, rows);
  EXPECT_EQ(member(data, "ivNodesBuffer"), "[7] 1 2 11 12 21 22 30");
  EXPECT_EQ(member(data, "ivCCBuffer"), "[7] 1 1 2 2 3 3 2");
  pass(data, rows);
  pass(data, rows);
  EXPECT_EQ(keywordsIn(streamOf(*data)), commonWith({"ivIterationCounterCollectingEdges", "ivMinIndRelevantClusters",
                                                     "ivMaxIndRelevantClusters", "ivCCEdges"}));
  EXPECT_EQ(member(data, "ivIterationCounterCollectingEdges"), "2");
  EXPECT_EQ(member(data, "ivCoveredNodesBuffer"), "[0]");  // written anew by another cycle only
  QUVEN_DELETE(data);
}

/// A worker's object lives on from pass to pass; each stream of the master brings it up to date.
TEST_F(QUVENCGADataStream, ALiveObjectIsBroughtUpToDate) {
  tags["NumIterationsCollectingEdges"] = "2";
  Data master = connecting("1,2,0\n11,12,0\n");
  const Rows rows{{5, {12}}, {1, {2}}, {11, {12, 5}}};
  Data worker(QUVEN_ENV);
  readInto(worker, image(*master, QUVENObjWriter::SaveForWorker));
  EXPECT_EQ(worker->getState(), QUVENCGAData::ConnectingIsolatedNodes);
  EXPECT_EQ(worker->getCluster(2), 1);
  EXPECT_EQ(worker->getCluster(11), 2);
  EXPECT_EQ(worker->getCluster(5), 0);
  pass(master, rows);
  run = capturedRun([&] { scan(*worker, rows); });
  EXPECT_EQ(member(worker, "ivNodesToConnect"), "[1] 5");

  readInto(worker, image(*master, QUVENObjWriter::SaveForWorker));
  EXPECT_EQ(worker->getState(), QUVENCGAData::CollectingClusterEdges);
  EXPECT_EQ(worker->getCluster(5), 2);
  run = capturedRun([&] { scan(*worker, rows); });
  EXPECT_EQ(member(worker, "ivCCEdges"), "[2] 1 2");
  pass(master, rows);

  readInto(worker, image(*master, QUVENObjWriter::SaveForWorker));
  EXPECT_EQ(worker->getState(), QUVENCGAData::CCAnalysis);
  EXPECT_EQ(member(worker, "ivCCEdgesNum"), "[1] 1");
  run = capturedRun([&] { scan(*worker, rows); });
  EXPECT_EQ(member(worker, "ivCCNodesNum"), "[1] 2");
  pass(master, rows);

  // The second slice brings no map; the worker has kept that of the first.
  readInto(worker, image(*master, QUVENObjWriter::SaveForWorker));
  EXPECT_EQ(worker->getState(), QUVENCGAData::CollectingClusterEdges);
  EXPECT_EQ(worker->getCluster(5), 2);
  EXPECT_EQ(slice(worker), "2..2");
  run = capturedRun([&] { scan(*worker, rows); });
  EXPECT_EQ(member(worker, "ivCCEdges"), "[6] 5 12 11 12 11 5");
  Data late(QUVEN_ENV);
  readInto(late, image(*master, QUVENObjWriter::SaveForWorker));
  EXPECT_EQ(late->getCluster(5), 0);  // nobody has told it
  QUVEN_DELETE(late);
  QUVEN_DELETE(worker);
  QUVEN_DELETE(master);
}

/// The last caller of a pass has no cluster; in the next one, whose map knows it, it is the first.
TEST_F(QUVENCGADataStream, ACallerIsLookedUpAnewInEachPass) {
  Data first = connecting("1,2,0\n");
  pass(first, {});
  Data second = connecting("8,9,0\n");
  pass(second, {});
  Data worker(QUVEN_ENV);
  readInto(worker, image(*first, QUVENObjWriter::SaveForWorker));
  run = capturedRun([&] { scan(*worker, {{1, {2}}, {8, {9}}}); });
  EXPECT_EQ(member(worker, "ivCCEdges"), "[2] 1 2");
  readInto(worker, image(*second, QUVENObjWriter::SaveForWorker));
  run = capturedRun([&] { scan(*worker, {{8, {9}}, {1, {2}}}); });
  EXPECT_EQ(member(worker, "ivCCEdges"), "[2] 8 9");
  for (Data* data : {&first, &worker, &second}) QUVEN_DELETE(*data);
}

TEST_F(QUVENCGADataStream, WhatIsReadIsWhatWasWritten) {
  for (const State state :
       {QUVENCGAData::BuildingKernel, QUVENCGAData::CollectingKernelEdges, QUVENCGAData::ConnectingIsolatedNodes,
        QUVENCGAData::CollectingClusterEdges, QUVENCGAData::CCAnalysis}) {
    Data data = inState(state);
    run = capturedRun([&] { scan(*data, {{1, {3, 2}}, {2, {1}}, {9, {2}}}); });
    const std::string bytes = image(*data, QUVENObjWriter::ScanResults);
    Data result(QUVEN_ENV);
    readInto(result, bytes);
    EXPECT_EQ(image(*result, QUVENObjWriter::ScanResults), bytes) << state;
    EXPECT_EQ(result->getState(), state);
    QUVEN_DELETE(result);
    QUVEN_DELETE(data);
  }
}

/// Nodes that are covered come with every stream and are left out of everything.
TEST_F(QUVENCGADataStream, CoveredNodesAreLeftOutOfKernelAndEdges) {
  tags["VerbosityLevel"] = "100";
  Data data = inState(QUVENCGAData::BuildingKernel);
  std::string bytes = image(*data, QUVENObjWriter::SaveForWorker);
  using namespace std::string_literals;
  const std::string empty = "\xc8\xc4\x80\xc5"s;  // the third keyword: an array of 0
  const std::size_t place = bytes.find(empty);
  ASSERT_NE(place, std::string::npos);
  const auto withCovered = [&](const std::string& array) {
    std::string changed = bytes;
    return changed.replace(place, empty.size(), "\xc8\xc4"s + array + "\xc5"s);
  };
  readInto(data, withCovered("\x81\x83"s));  // 3
  EXPECT_EQ(member(data, "ivCoveredNodesBuffer"), "[1] 3");
  run = capturedRun([] {});
  passesTo(QUVENCGAData::CollectingKernelEdges, data, ringRows());
  EXPECT_THAT(run.out, HasSubstr(" skipping 3 (aleardy covered)\n"));
  // Nothing is known of 3, not even that the others name it.
  run = capturedRun([&] { scan(*data, {}); });
  EXPECT_EQ(member(data, "ivKernelEdges"), "[6] 1 2 2 1 2 4");
  QUVEN_DELETE(data);

  // Covered behind the kernel's passes, its cells are no edges. The kernel's samples stay where they are.
  data = inState(QUVENCGAData::CollectingKernelEdges);
  bytes = image(*data, QUVENObjWriter::SaveForWorker);
  ASSERT_EQ(bytes.find(empty), place);
  readInto(data, withCovered("\x81\x83"s));
  run = capturedRun([&] { scan(*data, {}); });
  EXPECT_EQ(member(data, "ivKernelEdges"), "[6] 1 2 2 1 2 4");
  QUVEN_DELETE(data);
  // The next stream has its own; the old ones are gone.
  data = inState(QUVENCGAData::ConnectingIsolatedNodes);
  bytes = image(*data, QUVENObjWriter::SaveForWorker);
  ASSERT_EQ(bytes.find(empty), place);
  readInto(data, withCovered("\x82\x88\x89"s));  // 8 and 9
  readInto(data, withCovered("\x81\x88"s));
  run = capturedRun([&] { scan(*data, {{8, {1}}, {9, {1}}}); });
  EXPECT_EQ(member(data, "ivNodesToConnect"), "[1] 9");
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataStream, AStateThatDoesNotTravelEndsTheRun) {
  Data data = inState(QUVENCGAData::ConnectingIsolatedNodes);
  const std::string bytes = image(*data, QUVENObjWriter::SaveForWorker);
  const std::size_t place = bytes.find("\xc7\x82");  // the second keyword: state 2
  ASSERT_NE(place, std::string::npos);
  for (const char state : {'\x85', '\x86', '\x87', '\xff'}) {  // the last one is -1
    std::string changed = bytes;
    changed[place + 1] = state;
    run = capturedRun([&] { readInto(data, changed); });
    EXPECT_TRUE(run.threwLibraryException) << static_cast<int>(state);
    EXPECT_THAT(run.out, HasSubstr(unreachable()));
  }
  QUVEN_DELETE(data);
}

TEST_F(QUVENCGADataStream, BuffersOfDifferentLengthsEndTheRun) {
  Data data = inState(QUVENCGAData::ConnectingIsolatedNodes);
  using namespace std::string_literals;
  std::string bytes = image(*data, QUVENObjWriter::SaveForWorker);
  const std::string clusters = "\xc4\x83\x81\x81\x81\xc5"s;  // of the nodes 1, 2, 3
  const std::size_t place = bytes.find(clusters);
  ASSERT_NE(place, std::string::npos);
  bytes.replace(place, clusters.size(), "\xc4\x82\x81\x81\xc5"s);
  run = capturedRun([&] { readInto(data, bytes); });
  EXPECT_TRUE(run.threwLibraryException);
  QUVEN_DELETE(data);
}

}  // namespace
