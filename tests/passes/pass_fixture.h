#ifndef TESTS_PASSES_PASS_FIXTURE_H
#define TESTS_PASSES_PASS_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mpi.h>

#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "pass_examples.h"
#include "passes/quven_pass_driver.h"
#include "support/captured_run.h"
#include "support/mpi_run.h"
#include "support/temporary_folder.h"
#include "util/quven_env_aux.h"

/// A driver with a dataset open, in an environment of its own that must be empty at the end.
class PassRun {
 public:
  explicit PassRun(const std::string& dataset, const QUVENPassSettings& settings = {},
                   MPI_Comm ranks = MPI_COMM_WORLD)
      : transport(ranks), driver(activated(settings), transport, handle()) {
    data = quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV);
    data->setProgressLines(false);
    const auto open = [&] {
      data->open(dataset, &driver.getPoint(), transport.getRank(), transport.getCount(), QUVEN_ENV);
    };
    if (isRank0()) open();
    driver.shareFields(QUVEN_ENV);
    if (!isRank0()) open();
    driver.setDataset(*data);
  }
  ~PassRun() {
    driver.release(QUVEN_ENV);
    data.reset(QUVEN_ENV);
    environment.getAux().deleteMemory(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
  }
  PassRun(const PassRun&) = delete;
  PassRun& operator=(const PassRun&) = delete;

  QUVENEnvHandle handle() { return {environment, __FILE__, __LINE__, __func__}; }
  bool isRank0() const { return transport.isMaster(); }
  QUVENField& field(std::string_view name) { return *driver.getNames().find(name); }

  /// Adds a model in mode 1 with one input, and maybe a target. On rank 0.
  template <class Model>
  Model& add(std::string_view input, std::string_view target = "") {
    Model& model = driver.addScan(quvenMake<Model>(QUVEN_ENV), QUVEN_ENV);
    model.addInput(&field(input), QUVENUsageExplanatory, QUVEN_ENV);
    if (!target.empty()) model.addInput(&field(target), QUVENUsageTarget, QUVEN_ENV);
    EXPECT_TRUE(model.setMiningMode(1, nullptr, QUVEN_ENV));
    return model;
  }
  QUVENPassCount& addCount(std::string_view input, std::int32_t id, std::int32_t passes) {
    auto& model = add<QUVENPassCount>(input);
    model.ivId = id;
    model.ivPassesLeft = passes;
    return model;
  }
  void passes() { driver.runPasses(handle()); }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENWorkerTransport transport;
  QUVENPassDriver driver;
  QUVENOwnPtr<QUVENBinaryInputDataset> data;

 private:
  const QUVENPassSettings& activated(const QUVENPassSettings& settings) {
    environment.activate();
    return settings;
  }
};

/// Runs over small datasets. Under mpirun all ranks run each case together, with the folder of rank 0.
class PassTest : public testing::Test {
 protected:
  static constexpr double Missing = -99999.0;

  PassTest() {
    startMpi();
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &count);
    path = folder.path("data");
    auto size = static_cast<int>(path.size());
    MPI_Bcast(&size, 1, MPI_INT, 0, MPI_COMM_WORLD);
    path.resize(static_cast<std::size_t>(size));
    MPI_Bcast(path.data(), size, MPI_CHAR, 0, MPI_COMM_WORLD);
  }
  /// No rank removes its folder, or starts the next case, before all have ended this one.
  void TearDown() override { MPI_Barrier(MPI_COMM_WORLD); }

  bool isRank0() const { return rank == 0; }

  /// Writes a dataset: its description, and the values of its records one after the other.
  void write(const std::string& info, const std::vector<double>& values) {
    if (isRank0()) {
      std::string bytes(values.size() * sizeof(double), '\0');
      if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
      folder.write("data", bytes);
      folder.write("data.info", info);
    }
    MPI_Barrier(MPI_COMM_WORLD);
  }
  /// The numbers 1..n in the one column x.
  void writeNumbers(int n) {
    std::vector<double> values;
    for (int i = 1; i <= n; ++i) values.push_back(i);
    write("x Numeric Explanatory\n", values);
  }

  TemporaryFolder folder;
  std::string path;
  int rank = 0;
  int count = 1;
};

#endif  // TESTS_PASSES_PASS_FIXTURE_H
