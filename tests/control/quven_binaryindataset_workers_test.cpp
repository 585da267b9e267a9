// The modes in which all workers open the file together. Run alone and by mpirun with several workers: every worker
// then reads the same files and compares for itself.

#include <mpi.h>

#include <array>

#include "dataset_fixture.h"
#include "kernel/quven_worker.h"

namespace {

class QUVENBinaryInputDatasetWorkersTest : public DatasetTest {
 protected:
  /// The master writes for all; the others get the name.
  std::string writeForAll(const literal::Dataset& data, const std::vector<std::size_t>& parts = {}) {
    std::array<char, 4096> name{};
    if (quvenWorkerRank() == 0) write(data, parts).copy(name.data(), name.size() - 1);
    MPI_Bcast(name.data(), static_cast<int>(name.size()), MPI_CHAR, 0, MPI_COMM_WORLD);
    return name.data();
  }

  static literal::Dataset someDataset(std::size_t records) {
    literal::Dataset data;
    data.columns = {{"a", true, 1}, {"b", false, 1}, {"c", true, 1}};
    for (std::size_t i = 0; i < 3 * records; ++i) data.values.push_back(static_cast<double>(i * i % 1009));
    data.rank = quvenWorkerRank();
    data.count = quvenWorkerCount();
    return data;
  }

  /// No worker removes the files while another one reads them.
  void TearDown() override { MPI_Barrier(MPI_COMM_WORLD); }
};

TEST_F(QUVENBinaryInputDatasetWorkersTest, ReadSideBySide) {
  for (const std::size_t records : {0U, 1U, 2U, 3U, 8333U, 8334U, 20000U}) {
    literal::Dataset data = someDataset(records);
    const std::string name = writeForAll(data);
    for (const int type : {1, 2, 6, 0}) {
      data.scanType = type;
      compare(data, name);
    }
    MPI_Barrier(MPI_COMM_WORLD);
  }
}

TEST_F(QUVENBinaryInputDatasetWorkersTest, ReadPartsSideBySide) {
  literal::Dataset data = someDataset(20001);
  const std::string name = writeForAll(data, {1, 8334, 0, 11666});
  for (const int type : {1, 2, 6}) {
    data.scanType = type;
    compare(data, name, true);
  }
}

TEST_F(QUVENBinaryInputDatasetWorkersTest, StartFromAnEmptyBlockEachTime) {
  // A pass over slices leaves another block with each worker; the common pass behind it must not depend on that.
  literal::Dataset data = someDataset(20000);
  const std::string name = writeForAll(data);
  Reader reader(name, data, false, env);
  for (const int type : {0, 2, 0, 1, 0, 6}) {
    data.scanType = type;
    reader.startPass(data);
    EXPECT_EQ(reader.pass(), data.pass());
  }
}

}  // namespace
