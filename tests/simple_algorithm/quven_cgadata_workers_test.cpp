// The group analysis on several workers, each a process of its own. Run alone, as the other tests, and by mpirun: all
// workers then run the cases together.

#include <mpi.h>

#include <array>

#include "group_fixture.h"
#include "kernel/quven_worker.h"
#include "support/mpi_run.h"

namespace {

class QUVENCGADataWorkersTest : public GroupTest {
 protected:
  QUVENCGADataWorkersTest() {
    startMpi();
    rank = quvenWorkerRank();
    count = quvenWorkerCount();
  }
  /// The folder of the master is that of all.
  void TearDown() override { MPI_Barrier(MPI_COMM_WORLD); }

  bool isMaster() const { return rank == 0; }

  void broadcast(std::string& bytes) {
    auto size = static_cast<long>(bytes.size());
    MPI_Bcast(&size, 1, MPI_LONG, 0, MPI_COMM_WORLD);
    bytes.resize(static_cast<std::size_t>(size));
    MPI_Bcast(bytes.data(), static_cast<int>(size), MPI_CHAR, 0, MPI_COMM_WORLD);
  }

  /// A worker's share of the rows: every count-th caller.
  Rows shareOf(const Rows& rows) const {
    Rows share;
    for (const auto& [caller, contacts] : rows) {
      if (caller % static_cast<std::uint64_t>(count) == static_cast<std::uint64_t>(rank))
        share.emplace_back(caller, contacts);
    }
    return share;
  }

  /// One pass on all workers, up to the end of its scan. The master's object goes to all before it.
  void scanOnAll(Data& data, const Rows& rows) {
    std::string state;
    if (isMaster()) state = image(*data, QUVENObjWriter::SaveForWorker);
    broadcast(state);
    if (!isMaster()) readInto(data, state);
    run = capturedRun([&] { scan(*data, shareOf(rows)); });
    ASSERT_FALSE(run.threwLibraryException) << run.out;
  }
  /// The rest of the pass: the results go to the master in the order of the ranks.
  void endOnAll(Data& data) {
    if (!isMaster()) {
      const std::string bytes = image(*data, QUVENObjWriter::ScanResults);
      MPI_Send(bytes.data(), static_cast<int>(bytes.size()), MPI_CHAR, 0, 0, MPI_COMM_WORLD);
      return;
    }
    for (int other = 1; other < count; ++other) {
      MPI_Status status;
      int size = 0;
      MPI_Probe(other, 0, MPI_COMM_WORLD, &status);
      MPI_Get_count(&status, MPI_CHAR, &size);
      std::string bytes(static_cast<std::size_t>(size), '\0');
      MPI_Recv(bytes.data(), size, MPI_CHAR, other, 0, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
      Data result(QUVEN_ENV);
      readInto(result, bytes);
      data->merge(result.get(), QUVEN_ENV);
      QUVEN_DELETE(result);
    }
    run = capturedRun([&] { data->endDataScan(QUVEN_ENV); });
    ASSERT_FALSE(run.threwLibraryException) << run.out;
  }

  int rank = 0;
  int count = 1;
};

/// Five clusters 10c+1, 10c+2, 10c+3, of which the second one calls only itself, and 99 and 98, who call into the
/// fourth one; in three slices.
TEST_F(QUVENCGADataWorkersTest, BuffersAndMapsLiveAsLongAsTheyAreNeeded) {
  tags["NumIterationsCollectingEdges"] = "3";
  tags["NumIterationsConnectingNodes"] = "2";
  std::string values;
  Rows rows{{98, {99}}, {99, {42}}};
  for (int c = 1; c <= 5; ++c) {
    const std::string first = std::to_string(10 * c + 1);
    const std::string second = std::to_string(10 * c + 2);
    values += first + "," + second + ",0\n" + second + "," + std::to_string(10 * c + 3) + ",0\n";
    const auto caller = static_cast<std::uint64_t>(10 * c + 1);
    if (c == 2) {
      rows.push_back({caller, {static_cast<double>(caller)}});
      continue;
    }
    rows.push_back({caller, {10.0 * c + 2, 10.0 * c + 3}});
    rows.push_back({caller + 1, {10.0 * c + 1}});
  }
  rows.push_back({42, {99, 98}});

  Data data(QUVEN_ENV);
  if (isMaster()) data = connecting(values);
  for (int round = 1; round <= 2; ++round) {
    scanOnAll(data, rows);
    // Of a worker above 0 only the proposals are left.
    EXPECT_EQ(data->getCluster(42), isMaster() ? 4 : 0);
    EXPECT_EQ(member(data, "ivNodesBuffer") == "[0]", !isMaster());
    EXPECT_EQ(member(data, "ivCCBuffer") == "[0]", !isMaster());
    endOnAll(data);
  }
  const char* const slices[] = {"1..2", "3..4", "5..5"};
  const int inSlice[] = {1, 2, 1};  // clusters with a call
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(slices[k]);
    scanOnAll(data, rows);
    EXPECT_EQ(data->getState(), QUVENCGAData::CollectingClusterEdges);
    EXPECT_EQ(slice(data), slices[k]);
    // The map of the first slice serves the others; the buffers that brought it are gone.
    EXPECT_EQ(data->getCluster(42), 4);
    EXPECT_EQ(data->getCluster(98), 4);
    if (k == 0) {
      EXPECT_EQ(member(data, "ivNodesBuffer") == "[0]", !isMaster());
    }
    endOnAll(data);

    scanOnAll(data, rows);
    EXPECT_EQ(data->getState(), QUVENCGAData::CCAnalysis);
    // Cluster i of the slice belongs to worker i modulo the number of workers.
    int mine = 0;
    for (int i = 1; i <= inSlice[k]; ++i) mine += i % count == rank ? 1 : 0;
    const std::string analysed = member(data, "ivCCNodesNum");
    EXPECT_EQ(analysed.substr(0, analysed.find(']') + 1), "[" + std::to_string(mine) + "]");
    EXPECT_THAT(run.out, ::testing::HasSubstr("numOfWorkers = " + std::to_string(count) + ", "));
    EXPECT_THAT(run.out, ::testing::HasSubstr(" >>> analyzeClusters completed, " + std::to_string(mine) +
                                              " clusters analyzed locally ]"));
    endOnAll(data);
  }
  if (isMaster()) {
    EXPECT_TRUE(data->isFinished());
    // Rows come in the order of the merge: of two clusters, worker 0 has the second one if there are two workers.
    const std::string clusters = clustersCsv();
    EXPECT_EQ(std::count(clusters.begin(), clusters.end(), '\n'), 5);
    const std::string nodes = nodesCsv();
    EXPECT_THAT(nodes, ::testing::HasSubstr(count == 2 ? "\n42,3,1," : "\n42,4,1,"));
    EXPECT_THAT(nodes, ::testing::HasSubstr(count == 2 ? "\n31,4,1," : "\n31,3,1,"));
    EXPECT_THAT(nodes, ::testing::HasSubstr(count == 2 ? "\n98,3,0," : "\n98,4,0,"));
  }
  QUVEN_DELETE(data);
}

}  // namespace
