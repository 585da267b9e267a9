// What a pass of the driver costs beside its parts: the delivery of the records, and the arithmetic of the model.

#include <benchmark/benchmark.h>
#include <mpi.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "kernel/quven_num_field.h"
#include "passes/quven_pass_driver.h"
#include "passes/toy_regression.h"
#include "support/mpi_main.h"
#include "support/table_file.h"
#include "util/quven_env_aux.h"

namespace {

constexpr long Columns = 21;  // twenty inputs, and the target
constexpr long Records = 200'000;
constexpr double Missing = -99999.0;

/// With a heavy tail, ties and missing values.
std::vector<double> makeValues() {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  std::vector<double> values(static_cast<std::size_t>(Columns * Records));
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double draw = normal(random);
    values[i] = i % 53 == 11 ? Missing : i % 3 == 0 ? std::exp(2 * draw) : i % 3 == 1 ? std::floor(8 * draw) : draw;
  }
  return values;
}

const TableFile& table() {
  static const TableFile one(Columns, makeValues());
  return one;
}

void countValues(benchmark::State& state, long passes) {
  constexpr double secondsInNs = 1e-9;
  state.counters["ns_per_value"] =
      benchmark::Counter(static_cast<double>(state.iterations() * passes * Columns * Records) * secondsInNs,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// The delivery of the table without a scan that reads it.
void BM_TableDelivery(benchmark::State& state) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENBinaryInputDataset dataset;
  QUVENDataPoint point;
  dataset.setProgressLines(false);
  dataset.open(table().getName(), &point, 0, 1, QUVEN_ENV);
  dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  for (auto _ : state) {
    dataset.rewind(QUVEN_ENV);
    while (dataset.readRecord(point, QUVEN_ENV)) benchmark::DoNotOptimize(point.getRecordId());
  }
  countValues(state, 1);
  point.destroyPrimitive(QUVEN_ENV);
  dataset.destroyPrimitive(QUVEN_ENV);
}

/// The multiply-adds of the regression over the same values in memory, by the plain loop.
void BM_CrossProducts(benchmark::State& state) {
  const std::vector<double>& values = table().values;
  std::vector<double> products(static_cast<std::size_t>(Columns * (Columns + 1) / 2));
  double x[Columns];
  for (auto _ : state) {
    for (std::size_t record = 0; record < values.size(); record += Columns) {
      for (std::size_t c = 0; c < Columns; ++c) {
        const double value = values[record + c];
        x[c] = value == Missing ? 0 : value - 0.5;
      }
      double* element = products.data();
      for (std::size_t j = 0; j < Columns; ++j) {
        for (std::size_t i = 0; i <= j; ++i) *element++ += x[i] * x[j];
      }
    }
    benchmark::DoNotOptimize(products.data());
    benchmark::ClobberMemory();
  }
  countValues(state, 1);
}

/// Whole runs of the driver with the regression: the two passes of the distributions and the one of the model, or the
/// distributions alone.
void BM_DriverRun(benchmark::State& state) {
  const bool hasModel = state.range(0) != 0;
  const auto slices = static_cast<std::int32_t>(state.range(1));
  double modelSeconds = 0;
  for (auto _ : state) {
    QUVENEnv environment;
    environment.activate();
    QUVENEnv* env = &environment;
    const QUVENWorkerTransport transport(MPI_COMM_SELF);
    QUVENPassDriver driver({.numSlices = slices}, transport, QUVEN_ENV);
    auto dataset = quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV);
    dataset->setProgressLines(false);
    dataset->open(table().getName(), &driver.getPoint(), 0, 1, QUVEN_ENV);
    driver.setDataset(*dataset);
    driver.shareFields(QUVEN_ENV);
    for (long c = 1; c <= Columns; ++c) driver.addField(driver.getPoint().getField(c), QUVEN_ENV);
    if (hasModel) {
      auto& model = driver.addScan(quvenMake<QUVENToyRegression>(QUVEN_ENV), QUVEN_ENV);
      for (long c = 1; c <= Columns; ++c) {
        model.addInput(&driver.getPoint().getField(c), c < Columns ? QUVENUsageExplanatory : QUVENUsageTarget,
                       QUVEN_ENV);
      }
      if (!model.setMiningMode(1, nullptr, QUVEN_ENV)) std::abort();
    }
    driver.runPasses(QUVEN_ENV);
    if (driver.getPasses().size() != (hasModel ? 3U : 2U) || driver.getPasses().back().records != Records) {
      state.SkipWithError("not the passes that were asked for");
    }
    for (const double seconds : driver.getPasses().back().seconds) modelSeconds += seconds;
    driver.release(QUVEN_ENV);
    dataset.reset(QUVEN_ENV);
    environment.getAux().deleteMemory(QUVEN_ENV);
  }
  countValues(state, hasModel ? 3 : 2);
  constexpr double nsInSecond = 1e9;
  state.counters["last_pass_ns_per_value"] =
      modelSeconds * nsInSecond / static_cast<double>(state.iterations() * Columns * Records);
}

BENCHMARK(BM_TableDelivery);
BENCHMARK(BM_CrossProducts);
BENCHMARK(BM_DriverRun)->ArgNames({"model", "slices"})->Args({0, 0})->Args({1, 0})->Args({1, 8});

}  // namespace

int main(int argc, char** argv) { return runBenchmarksWithMpi(argc, argv); }
