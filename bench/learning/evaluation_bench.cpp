// The cost of the passes that evaluate a boosted model, compared with a pass that only scores the records on one
// channel.

#include <benchmark/benchmark.h>
#include <mpi.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

#include "kernel/quven_num_field.h"
#include "learning/quven_fold_dealing.h"
#include "learning/quven_model_evaluation.h"
#include "learning/quven_model_sensitivity.h"
#include "learning/quven_transform_regression.h"
#include "passes/quven_pass_driver.h"
#include "support/mpi_main.h"
#include "support/table_file.h"
#include "util/quven_env_aux.h"

namespace {

constexpr long Inputs = 20;
constexpr long Records = 100'000;
constexpr std::int64_t SensitivityStep = 10;
constexpr std::int32_t Slices = 8;
constexpr std::int32_t Squared = 1;
constexpr std::int32_t FinalChannel = 1;

/// Processor time, because the parts of a ratio are timed one after the other on a machine that may be shared.
double now() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// Inputs with a heavy tail, ties and missing values; the target is a sum of curves, a step and a product.
std::vector<double> makeValues() {
  constexpr double missing = -99999.0;
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  std::vector<double> values;
  for (long r = 0; r < Records; ++r) {
    std::vector<double> x;
    for (long c = 0; c < Inputs; ++c) x.push_back(c % 3 == 0 ? std::exp(2 * normal(random)) : normal(random));
    for (long c = 1; c < Inputs; c += 4) x[static_cast<std::size_t>(c)] = std::round(x[static_cast<std::size_t>(c)]);
    const double y =
        std::log(x[0]) + std::sin(2 * x[2]) + (x[4] > 0.5 ? 1 : 0) + x[1] * x[5] + 0.3 * x[7] + normal(random);
    for (long c = 2; c < Inputs; c += 6) {
      if (random() % 10 == 0) x[static_cast<std::size_t>(c)] = missing;
    }
    values.insert(values.end(), x.begin(), x.end());
    values.push_back(y);
  }
  return values;
}

const TableFile& table() {
  static const TableFile one(Inputs + 1, makeValues());
  return one;
}

/// A trained model with the driver of its passes.
class Evaluated {
 public:
  Evaluated() : transport(MPI_COMM_SELF), driver(activated(), transport, handle()) {
    dataset = quvenMake<QUVENBinaryInputDataset>(handle());
    dataset->setProgressLines(false);
    dataset->open(table().getName(), &driver.getPoint(), 0, 1, handle());
    driver.setDataset(*dataset);
    driver.shareFields(handle());
    model = &driver.addScan(quvenMake<QUVENTransformRegression>(handle()), handle());
    for (long c = 1; c <= Inputs + 1; ++c) {
      QUVENField& field = driver.getPoint().getField(c);
      driver.addField(field, handle());
      model->addInput(&field, c <= Inputs ? QUVENUsageExplanatory : QUVENUsageTarget, handle());
      if (c <= Inputs) inputs.push_back(&field);
    }
    model->setNames(driver.getNames());
    model->setLossId(Squared);
    if (!model->setMiningMode(1, nullptr, handle())) std::abort();
    driver.runPasses(handle());
    model->getOutputs(outputs, "", driver.getNames(), handle());
    target = static_cast<QUVENNumField*>(&driver.getPoint().getField(Inputs + 1));
    const std::string name = target->getName().str();
    prediction = static_cast<QUVENNumField*>(driver.getNames().find("Predicted_" + name));
    stdDev = driver.getNames().find("StdDev_" + name);
    driver.addField(*prediction, handle());
    driver.runPasses(handle());  // the distribution of the prediction
  }
  ~Evaluated() {
    outputs.destroyPrimitive(handle());
    driver.release(handle());
    dataset.reset(handle());
    environment.getAux().deleteMemory(handle());
  }
  Evaluated(const Evaluated&) = delete;
  Evaluated& operator=(const Evaluated&) = delete;

  /// Seconds of a pass that scores each record and writes an empty row.
  double timeScoring() {
    const double start = now();
    const auto write = [](QUVENDataPoint&, std::int64_t, std::string&) {};
    driver.writeRows(table().getName() + ".rows", "", write, handle());
    return now() - start;
  }
  double timeEvaluation() {
    auto made = quvenMake<QUVENModelEvaluation>(handle());
    made->setFields({target, prediction, prediction, stdDev}, Squared, false);
    made->layOut(handle());
    for (const auto& pair : firstStage().getTransforms()) {
      made->addSplit(*pair->getTransform().getSplitTest(), handle());
    }
    driver.addScan(std::move(made), handle());
    return timePass();
  }
  /// Seconds of a sensitivity pass over every tenth record.
  double timeSensitivity() {
    auto made = quvenMake<QUVENModelSensitivity>(handle());
    made->setFields(inputs, handle());
    driver.addScan(std::move(made), handle());
    const auto attach = [this](QUVENScanWorld& world) {
      const QUVENScanWorld::Scans& scans = world.getScans();
      auto& scan = static_cast<QUVENModelSensitivity&>(*scans[scans.getSize()]);
      scan.setScoring(static_cast<QUVENModel&>(*scans[1]), *world.getNames().find(prediction->getName()), nullptr,
                      nullptr);
    };
    attach(driver.getWorld());
    driver.setAfterRead(attach);
    driver.setTakesRecord([](std::int64_t record) { return record % SensitivityStep == 0; });
    const double seconds = timePass();
    driver.setTakesRecord(nullptr);
    driver.setAfterRead(nullptr);
    return seconds;
  }
  double getNumStages() const { return static_cast<double>(model->getNumStages()); }

 private:
  QUVENEnvHandle handle() { return {environment, __FILE__, __LINE__, __func__}; }
  QUVENPassSettings activated() {
    environment.activate();
    return {.numChannels = dealing.getNumChannels(),
            .dealChannel = [this](std::int64_t record) { return dealing.channelOf(record); },
            .numSlices = Slices,
            .scoredChannel = FinalChannel};  // the training has its channels within the model
  }
  const QUVENTransRegResidualModel& firstStage() const {
    return static_cast<const QUVENTransRegResidualModel&>(*model->getStage(1).getResidualModels().at(1));
  }
  /// Seconds of the pass of the last scan, which is removed afterwards.
  double timePass() {
    const double start = now();
    driver.runPasses(handle());
    const double seconds = now() - start;
    QUVENScanWorld::Scans& scans = driver.getScans();
    scans[scans.getSize()].reset(handle());
    scans.setSize(scans.getSize() - 1, handle());
    return seconds;
  }

  QUVENEnv environment;
  QUVENFoldDealing dealing;
  QUVENWorkerTransport transport;
  QUVENPassDriver driver;
  QUVENOwnPtr<QUVENBinaryInputDataset> dataset;
  QUVENTransformRegression* model = nullptr;
  QUVENModelOutputs outputs;
  std::vector<QUVENField*> inputs;
  QUVENNumField* target = nullptr;
  QUVENNumField* prediction = nullptr;
  QUVENField* stdDev = nullptr;
};

void evaluation(benchmark::State& state) {
  static Evaluated one;
  std::vector<double> scoring;
  std::vector<double> evaluating;
  std::vector<double> sensitivity;
  for (auto _ : state) {
    scoring.push_back(one.timeScoring());
    evaluating.push_back(one.timeEvaluation());
    sensitivity.push_back(one.timeSensitivity());
  }
  const auto median = [](std::vector<double>& seconds) {
    std::sort(seconds.begin(), seconds.end());
    return seconds[seconds.size() / 2];
  };
  constexpr auto records = static_cast<double>(Records);
  constexpr double drawn = records / SensitivityStep;
  const double perRecord = median(scoring) / records;
  state.counters["stages"] = one.getNumStages();
  state.counters["score_rec/s"] = 1 / perRecord;
  state.counters["evaluate_rec/s"] = records / median(evaluating);
  state.counters["evaluate:score"] = median(evaluating) / median(scoring);
  state.counters["sensitivity_rec/s"] = drawn / median(sensitivity);
  // One scoring for each input, and one for the record itself.
  state.counters["sensitivity:(inputs+1)*score"] = median(sensitivity) / drawn / perRecord / (Inputs + 1);
}
BENCHMARK(evaluation)->Iterations(5)->Unit(benchmark::kMillisecond);

/// The area under the ROC curve of a million records of different predictions.
void classRanks(benchmark::State& state) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  constexpr long count = 1'000'000;
  std::mt19937 random(2);
  std::normal_distribution<double> normal;
  std::vector<double> predictions;
  for (long i = 0; i < count; ++i) predictions.push_back(normal(random));
  for (auto _ : state) {
    QUVENClassRanks ranks;
    for (const double prediction : predictions) ranks.add(prediction, prediction + normal(random) > 1, QUVEN_ENV);
    ranks.sortIn(QUVEN_ENV);
    benchmark::DoNotOptimize(ranks.getArea());
    ranks.destroyPrimitive(QUVEN_ENV);
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(classRanks)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return runBenchmarksWithMpi(argc, argv); }
