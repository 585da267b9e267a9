// What the pass of a linear regression of 20 columns costs, beside a pass that only reads them and beside one packed
// update of order 21 per record.

#include <benchmark/benchmark.h>
#include <mpi.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

#include "learning/quven_lin_reg_model.h"
#include "passes/quven_pass_driver.h"
#include "support/mpi_main.h"
#include "support/table_file.h"
#include "util/quven_env_aux.h"

namespace {

constexpr std::int32_t Channels = 7;
constexpr long Columns = 21;  // twenty inputs, and the target
constexpr long Records = 100'000;

/// Processor time, because the parts of a ratio are timed one after the other on a machine that may be shared.
double now() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// Without missing values.
std::vector<double> makeValues() {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  std::vector<double> values(static_cast<std::size_t>(Columns * Records));
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool isTarget = i % Columns == Columns - 1;
    values[i] = normal(random) + (isTarget ? 2 * values[i - 1] - values[i - 2] : 0.0);
  }
  return values;
}

const TableFile& table() {
  static const TableFile one(Columns, makeValues());
  return one;
}

/// Seconds of a pass that reads every record.
double timeReading() {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENBinaryInputDataset dataset;
  QUVENDataPoint point;
  dataset.setProgressLines(false);
  dataset.open(table().getName(), &point, 0, 1, QUVEN_ENV);
  dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  const double start = now();
  dataset.rewind(QUVEN_ENV);
  while (dataset.readRecord(point, QUVEN_ENV)) benchmark::DoNotOptimize(point.getRecordId());
  const double seconds = now() - start;
  point.destroyPrimitive(QUVEN_ENV);
  dataset.destroyPrimitive(QUVEN_ENV);
  return seconds;
}

/// Seconds of one update per record from memory.
double timeUpdates() {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENLSData data;
  data.allocate(Columns, QUVEN_ENV);
  QUVENXaRay<double> row;
  row.setSize(Columns, QUVEN_ENV);
  const double start = now();
  for (long record = 0; record < Records; ++record) {
    std::copy_n(table().values.begin() + record * Columns, Columns, row.begin());
    data.addDataPoint(row, 1.0, 1.0);
  }
  const double seconds = now() - start;
  if (data.getNumDataPoints() != Records) std::abort();
  row.deleteMemory(QUVEN_ENV);
  data.destroyPrimitive(QUVEN_ENV);
  environment.getAux().deleteMemory(QUVEN_ENV);
  return seconds;
}

/// Seconds of the driver's one pass with a regression, the selection included.
double timePass(std::int32_t slices) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  const QUVENWorkerTransport transport(MPI_COMM_SELF);
  const QUVENPassSettings settings{
      .numChannels = Channels,
      .dealChannel = [](std::int64_t record) { return static_cast<std::int32_t>(1 + record % Channels); },
      .numSlices = slices};
  QUVENPassDriver driver(settings, transport, QUVEN_ENV);
  auto dataset = quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV);
  dataset->setProgressLines(false);
  dataset->open(table().getName(), &driver.getPoint(), 0, 1, QUVEN_ENV);
  driver.setDataset(*dataset);
  driver.shareFields(QUVEN_ENV);
  auto& model = driver.addScan(quvenMake<QUVENLinRegModel>(QUVEN_ENV), QUVEN_ENV);
  for (long c = 1; c <= Columns; ++c) {
    const std::int32_t usage = c < Columns ? QUVENUsageExplanatory : QUVENUsageTarget;
    model.addInput(&driver.getPoint().getField(c), usage, QUVEN_ENV);
  }
  if (!model.setMiningMode(1, nullptr, QUVEN_ENV)) std::abort();
  const double start = now();
  driver.runPasses(QUVEN_ENV);
  const double seconds = now() - start;
  if (driver.getPasses().size() != 1 || driver.getPasses().back().records != Records) std::abort();
  if (model.hasNoSignal(QUVEN_ENV)) std::abort();
  driver.release(QUVEN_ENV);
  dataset.reset(QUVEN_ENV);
  environment.getAux().deleteMemory(QUVEN_ENV);
  return seconds;
}

void BM_LinearPass(benchmark::State& state) {
  double reading = 0;
  double updates = 0;
  double pass = 0;
  for (auto _ : state) {
    reading += timeReading();
    updates += timeUpdates();
    pass += timePass(static_cast<std::int32_t>(state.range(0)));
  }
  constexpr double nsInSecond = 1e9;
  const double records = static_cast<double>(state.iterations() * Records);
  state.counters["read_ns_per_record"] = reading * nsInSecond / records;
  state.counters["update_ns_per_record"] = updates * nsInSecond / records;
  state.counters["pass_ns_per_record"] = pass * nsInSecond / records;
  state.counters["pass_per_update"] = pass / updates;
  state.counters["pass_per_read"] = pass / reading;
}

BENCHMARK(BM_LinearPass)->ArgName("slices")->Arg(0)->Arg(8)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return runBenchmarksWithMpi(argc, argv); }
