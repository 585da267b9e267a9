// What a feature transform costs: its pass beside one that only reads the records, and the merges of its segments.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

#include "control/quven_binaryindataset.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "learning/quven_feature_transform.h"
#include "support/mpi_main.h"
#include "support/table_file.h"
#include "util/quven_env_aux.h"

namespace {

constexpr std::int32_t Channels = 7;

/// Processor time, because the parts of a ratio are timed one after the other on a machine that may be shared.
double now() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

std::string numbered(std::string_view text, int number) {
  std::string name(text);
  name += std::to_string(number);
  return name;
}

/// An environment with channels, emptied at the end.
class Environment {
 public:
  Environment() {
    environment.activate();
    QUVENFieldGlobalVars::get(handle()).setGlobalNumChannels(Channels);
  }
  ~Environment() { environment.getAux().deleteMemory(handle()); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  QUVENEnvHandle handle() { return {environment, __FILE__, __LINE__, __func__}; }

 private:
  QUVENEnv environment;
};

constexpr long Records = 1'000'000;

/// Records of x and y, where y is a broken line of x.
std::vector<double> makeValues() {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(0, 100);
  std::vector<double> values;
  values.reserve(2 * Records);
  for (long i = 0; i < Records; ++i) {
    const double x = uniform(random);
    values.push_back(x);
    values.push_back(std::abs(x - 40) + uniform(random) / 100);
  }
  return values;
}

const TableFile& table() {
  static const TableFile one(2, makeValues());
  return one;
}

/// Passes over the table: one that only reads, and one of a transform of x without context, in turns.
void BM_TransformPass(benchmark::State& state) {
  Environment environment;
  const QUVENEnvHandle env = environment.handle();
  auto dataset = quvenMake<QUVENBinaryInputDataset>(QUVEN_ENV);
  auto point = quvenMake<QUVENDataPoint>(QUVEN_ENV);
  dataset->setProgressLines(false);
  dataset->open(table().getName(), point.get(), 0, 1, QUVEN_ENV);
  dataset->setScanType(QUVENScanType::Slice, QUVEN_ENV);
  QUVENField& x = point->getField(1);
  const auto pass = [&](auto&& take) {
    dataset->rewind(QUVEN_ENV);
    long records = 0;
    for (; dataset->readRecord(*point, QUVEN_ENV); ++records) take(records);
    if (records != Records) state.SkipWithError("not all records were read");
  };
  x.setSampleFlag(true, QUVEN_ENV);
  for (int i = 0; i < 2; ++i) {
    x.beginDistributionPass(QUVEN_ENV);
    pass([&](long record) { x.updateDistribution(static_cast<std::uint32_t>(record), QUVEN_ENV); });
    x.endDistributionPass(QUVEN_ENV);
  }
  auto transform = quvenMake<QUVENFeatureTransform>(QUVEN_ENV);
  transform->addInput(&x, QUVENUsageExplanatory, QUVEN_ENV);
  transform->addInput(&point->getField(2), QUVENUsageTarget, QUVEN_ENV);
  transform->setSplitField(&x);

  double reading = 0;
  double learning = 0;
  for (auto _ : state) {
    auto start = now();
    pass([&](long record) { benchmark::DoNotOptimize(record); });
    reading += now() - start;
    if (!transform->setMiningMode(1, nullptr, QUVEN_ENV) || !transform->beginDataScan(QUVEN_ENV)) std::abort();
    start = now();
    transform->beginRecords(QUVEN_ENV);
    pass([&](long record) {
      point->setChannel(static_cast<std::int32_t>(1 + record % Channels));
      transform->update(*point, QUVEN_ENV);
    });
    transform->endRecords(QUVEN_ENV);
    learning += now() - start;
    if (!transform->endDataScan(1, QUVEN_ENV) || transform->getNumSegments() < 3)
      state.SkipWithError("nothing learned");
  }
  constexpr double nsInSecond = 1e9;
  const double records = static_cast<double>(state.iterations() * Records);
  state.counters["read_ns_per_record"] = reading * nsInSecond / records;
  state.counters["pass_ns_per_record"] = learning * nsInSecond / records;
  state.counters["ratio"] = learning / reading;
  transform.reset(QUVEN_ENV);
  point.reset(QUVEN_ENV);
  dataset.reset(QUVEN_ENV);
}

/// The end of a training: selection and merges of the segments of a field, of three inputs and a target.
template <class Field>
void mergeSegments(benchmark::State& state) {
  constexpr bool isNumeric = std::is_same_v<Field, QUVENNumField>;
  constexpr int inputs = 3;
  const auto values = static_cast<int>(state.range(0));
  Environment environment;
  const QUVENEnvHandle env = environment.handle();
  auto split = quvenMake<Field>(QUVEN_ENV);
  split->setName("split");
  split->setSampleFlag(true, QUVEN_ENV);
  QUVENXaRay<QUVENOwnPtr<QUVENNumField>, 0> fields;  // the inputs, then the target
  for (int i = 0; i <= inputs; ++i) {
    auto field = quvenMake<QUVENNumField>(QUVEN_ENV);
    field->setName(numbered("x", i));
    fields.append(std::move(field), QUVEN_ENV);
  }
  auto point = quvenMake<QUVENDataPoint>(QUVEN_ENV);
  const long records = 60L * values;
  std::mt19937 random;
  const auto set = [&](long record) {
    const int value = static_cast<int>(record % values);
    if constexpr (isNumeric) {
      split->setNumValue(value);
    } else {
      split->setCatValue(numbered("category ", value));
    }
    double target = value * 7 % 10;
    for (int i = 1; i <= inputs; ++i) {
      const double x = static_cast<double>(random() % 1000) / 100;
      fields[i]->setNumValue(x);
      target += i * x;
    }
    fields[inputs + 1]->setNumValue(target + static_cast<double>(random() % 100) / 100);
    point->setChannel(static_cast<std::int32_t>(1 + record / values % Channels));
  };
  for (int pass = 0; pass < 2; ++pass) {
    split->beginDistributionPass(QUVEN_ENV);
    for (long record = 0; record < records; ++record) {
      set(record);
      split->updateDistribution(static_cast<std::uint32_t>(record), QUVEN_ENV);
    }
    split->endDistributionPass(QUVEN_ENV);
  }
  auto transform = quvenMake<QUVENFeatureTransform>(QUVEN_ENV);
  for (int i = 1; i <= inputs; ++i) transform->addInput(fields[i].get(), QUVENUsageCarried, QUVEN_ENV);
  transform->addInput(fields[inputs + 1].get(), QUVENUsageTarget, QUVEN_ENV);
  transform->setSplitField(split.get());
  for (auto _ : state) {
    if (!transform->setMiningMode(1, nullptr, QUVEN_ENV) || !transform->beginDataScan(QUVEN_ENV)) std::abort();
    random.seed(1);
    transform->beginRecords(QUVEN_ENV);
    for (long record = 0; record < records; ++record) {
      set(record);
      transform->update(*point, QUVEN_ENV);
    }
    transform->endRecords(QUVEN_ENV);
    const auto start = now();
    const bool isDone = transform->endDataScan(1, QUVEN_ENV);
    state.SetIterationTime(now() - start);
    if (!isDone || transform->getNumSegments() < 3) state.SkipWithError("nothing learned");
  }
  state.counters["segments"] = transform->getNumInitialSegments();
  state.counters["final"] = static_cast<double>(transform->getNumSegments());
  transform.reset(QUVEN_ENV);
  point.reset(QUVEN_ENV);
  fields.deleteMemory(QUVEN_ENV);
  split.reset(QUVEN_ENV);
}

void BM_MergeCategories(benchmark::State& state) { mergeSegments<QUVENCatField>(state); }
void BM_MergeIntervals(benchmark::State& state) { mergeSegments<QUVENNumField>(state); }

BENCHMARK(BM_TransformPass)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MergeCategories)->Arg(25)->Arg(50)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MergeIntervals)->Arg(25)->Arg(50)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return runBenchmarksWithMpi(argc, argv); }
