// What the training of boosted transform regression costs, beside a bound laid out by hand, and how large its state and
// its model file are.

#include <benchmark/benchmark.h>
#include <mpi.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "boosting_bound.h"
#include "learning/quven_model_file.h"
#include "learning/quven_transform_regression.h"
#include "passes/quven_pass_driver.h"
#include "support/mpi_main.h"
#include "support/table_file.h"
#include "util/quven_env_aux.h"

namespace {

constexpr std::int32_t Squared = 1;
constexpr std::int32_t Logistic = 2;
constexpr long Inputs = 20;
constexpr std::int32_t Slices = 8;

/// Processor time, because the parts of a ratio are timed one after the other on a machine that may be shared.
double now() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// Curves, steps, hinges and one product of inputs between 0 and 1, with noise of variance 1; half of the inputs mean
/// nothing. For the logistic loss whether that is above its middle.
std::vector<double> makeValues(long records, std::int32_t lossId) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform;
  std::normal_distribution<double> noise;
  std::vector<double> values;
  values.reserve(static_cast<std::size_t>(records * (Inputs + 1)));
  for (long record = 0; record < records; ++record) {
    std::vector<double> x(Inputs);
    for (double& value : x) value = uniform(random);
    constexpr double middle = 4.2;
    const double curves = 2 * std::sin(6 * x[0]) + 12 * (x[1] - 0.5) * (x[1] - 0.5) + std::exp(2 * x[2]) / 3;
    const double steps = (x[3] > 0.3 ? 1.5 : 0) + std::floor(4 * x[4]) / 2;
    const double hinges = 5 * std::max(0.0, x[5] - 0.6) + 4 * std::abs(x[6] - 0.4);
    const double product = 8 * (x[7] - 0.5) * (x[8] - 0.5);
    const double y = curves + steps + hinges + product + noise(random);
    values.insert(values.end(), x.begin(), x.end());
    values.push_back(lossId == Squared ? y : y > middle ? 1 : 0);
  }
  return values;
}

const TableFile& tableOf(long records, std::int32_t lossId) {
  static std::map<std::pair<long, std::int32_t>, TableFile> tables;
  const std::pair key(records, lossId);
  return tables.try_emplace(key, Inputs + 1, makeValues(records, lossId)).first->second;
}

/// What was measured in a training.
struct Measures {
  double seconds = 0;
  std::size_t passes = 0;
  std::vector<std::size_t> keptTransforms;                  // of each stage that was trained, after its pruning
  std::map<std::string, std::pair<double, double>> byKind;  // of passes: records x transforms x channels, seconds
  double mostStateBytes = 0;                                // that go out in a pass, over the number of its stage
  double fileBytes = 0;
  double keptStages = 0;
  double segments = 0;  // of all transforms in the file
  double rSquared = 0;  // of the test records, by the prediction of channel 1
};

class Training {
 public:
  Training(const TableFile& trainingTable, std::int32_t lossId, std::int64_t cacheBytes)
      : table(trainingTable), transport(MPI_COMM_SELF), driver(activated(cacheBytes), transport, handle()) {
    dataset = quvenMake<QUVENBinaryInputDataset>(handle());
    dataset->setProgressLines(false);
    dataset->open(table.getName(), &driver.getPoint(), 0, 1, handle());
    driver.setDataset(*dataset);
    driver.shareFields(handle());
    model = &driver.addScan(quvenMake<QUVENTransformRegression>(handle()), handle());
    for (long c = 1; c <= Inputs + 1; ++c) {
      QUVENField& field = driver.getPoint().getField(c);
      driver.addField(field, handle());
      model->addInput(&field, c <= Inputs ? QUVENUsageExplanatory : QUVENUsageTarget, handle());
    }
    model->setNames(driver.getNames());
    model->setLossId(lossId);
    if (!model->setMiningMode(1, nullptr, handle())) std::abort();
    model->setStageObserver([this](long stage) { noteStage(model->getStage(stage)); });
    driver.setBetweenPasses([this](int) { notePass(); });
  }
  ~Training() {
    outputs.destroyPrimitive(handle());
    blob.deleteMemory(handle());
    driver.release(handle());
    dataset.reset(handle());
    environment.getAux().deleteMemory(handle());
  }
  Training(const Training&) = delete;
  Training& operator=(const Training&) = delete;

  /// Trains, and measures what it took and what came out.
  Measures run() {
    passStart = now();
    kind = "distributions";
    driver.runPasses(handle());
    for (const auto& [name, work] : measures.byKind) measures.seconds += work.second;
    measures.passes = driver.getPasses().size();
    model->getOutputs(outputs, "", driver.getNames(), handle());
    measures.rSquared = testPredictions();
    measureFile();
    return measures;
  }

 private:
  QUVENEnvHandle handle() { return {environment, __FILE__, __LINE__, __func__}; }
  QUVENPassSettings activated(std::int64_t cacheBytes) {
    environment.activate();
    return {.numChannels = dealing.getNumChannels(),
            .dealChannel = [this](std::int64_t record) { return dealing.channelOf(record); },
            .numSlices = Slices,
            .outputCacheBytes = cacheBytes};
  }

  static const QUVENTransRegResidualModel& learnerOf(const QUVENGradBoostStage& stage) {
    return static_cast<const QUVENTransRegResidualModel&>(*stage.getResidualModels().at(1));
  }

  void noteStage(const QUVENGradBoostStage& stage) {
    measures.keptTransforms.push_back(static_cast<std::size_t>(learnerOf(stage).getTransforms().getSize()));
  }

  /// After a pass: its seconds, and what the next pass will do.
  void notePass() {
    const double seconds = now() - passStart;
    auto& [work, total] = measures.byKind[kind];
    work += static_cast<double>(driver.getPasses().back().records) * numTransforms * dealing.getNumChannels();
    total += seconds;
    if (model->isScanning() && model->getNumStages() > 0) nameNextPass();
    passStart = now();
  }

  void nameNextPass() {
    const long stage = model->getNumStages();
    const QUVENGradBoostStage* const output = model->getOutputTransform(stage);
    const QUVENGradBoostStage& part = output != nullptr ? *output : model->getStage(stage);
    const bool isStep = part.getLoss().getState() == QUVENLossFunction::StepSearch;
    if (output != nullptr) {
      kind = isStep ? "output_step" : "output_transform";
      numTransforms = 1;
    } else {
      const QUVENTransRegResidualModel& learner = learnerOf(part);
      kind = isStep ? "step" : learner.getRegression() != nullptr ? "regression" : "transforms";
      numTransforms = static_cast<double>(learner.getTransforms().getSize());
    }
    driver.getWorld().write(blob, handle());
    const double bytes = static_cast<double>(blob.getBytes().size());
    measures.mostStateBytes = std::max(measures.mostStateBytes, bytes / static_cast<double>(stage));
  }

  double testPredictions() {
    std::vector<double> targets;
    double errors = 0;
    const auto note = [&](QUVENDataPoint& point, std::int64_t record, std::string&) {
      if (dealing.channelOf(record) != QUVENFoldDealing::TestChannel) return;
      const double y = point.getField(Inputs + 1).getNumValue(handle());
      double prediction = driver.getNames()
                              .find("Predicted_" + point.getField(Inputs + 1).getName().str())
                              ->getNumValueOfChannel(QUVENFoldDealing::TestChannel, handle());
      if (!std::isfinite(prediction)) std::abort();
      if (model->getLossId() == Logistic) prediction = 1 / (1 + std::exp(-2 * prediction));
      targets.push_back(y);
      errors += (y - prediction) * (y - prediction);
    };
    driver.writeRows(table.getName() + ".rows", "", note, handle());
    double mean = 0;
    for (const double y : targets) mean += y / static_cast<double>(targets.size());
    double variation = 0;
    for (const double y : targets) variation += (y - mean) * (y - mean);
    return 1 - errors / variation;
  }

  void measureFile() {
    QUVENXaRay<QUVENField*> fields;
    for (long i = 1; i <= driver.getPoint().getNumFields(); ++i) {
      fields.append(&driver.getPoint().getField(i), handle());
    }
    for (const QUVENOwnPtr<QUVENField>& field : driver.getNames().getOwnedFields()) {
      field->setSampleFlag(false, handle());  // scoring needs no distribution of an output
      fields.append(field.get(), handle());
    }
    auto facts = quvenMake<QUVENTrainingFacts>(handle());
    const std::string path = table.getName() + ".model";
    if (!quvenWriteModelFile(path, fields, *model, *facts, handle())) std::abort();
    measures.fileBytes = static_cast<double>(std::filesystem::file_size(path));
    facts.reset(handle());
    fields.deleteMemory(handle());
    measures.keptStages = static_cast<double>(model->getNumStages());
    for (long s = 1; s <= model->getNumStages(); ++s) {
      const QUVENModel& learner = *model->getStage(s).getResidualModels().at(1);
      if (learner.isA(QUVENFeatureTransform::typeName()) != 0) {
        measures.segments += static_cast<double>(static_cast<const QUVENFeatureTransform&>(learner).getNumSegments());
        continue;
      }
      for (const auto& pair : learnerOf(model->getStage(s)).getTransforms()) {
        measures.segments += static_cast<double>(pair->getTransform().getNumSegments());
      }
    }
  }

  const TableFile& table;
  const QUVENFoldDealing dealing;
  QUVENEnv environment;
  QUVENWorkerTransport transport;
  QUVENPassDriver driver;
  QUVENOwnPtr<QUVENBinaryInputDataset> dataset;
  QUVENTransformRegression* model = nullptr;
  QUVENModelOutputs outputs;
  QUVENMemoryBlobIO blob;
  Measures measures;
  double passStart = 0;
  std::string kind;          // of the present pass
  double numTransforms = 0;  // that it learns or scores
};

/// Arguments: records, loss id, megabytes of the output cache.
void BM_Boosting(benchmark::State& state) {
  constexpr double millions = 1e6;
  constexpr double fewestExplained = 0.4;
  const long records = state.range(0);
  const auto lossId = static_cast<std::int32_t>(state.range(1));
  const TableFile& table = tableOf(records, lossId);
  Measures measured;
  for (auto _ : state) {
    measured = Training(table, lossId, state.range(2) << 20).run();
    if (!(measured.rSquared > fewestExplained)) state.SkipWithError("the model explains too little");
    state.SetIterationTime(measured.seconds);
  }
  const auto channels = static_cast<std::size_t>(QUVENFoldDealing().getNumChannels());
  const auto bound = BoostingBound(static_cast<std::size_t>(records), Inputs, channels, measured.keptTransforms).time();
  state.counters["r_squared"] = measured.rSquared;
  state.counters["stages"] = static_cast<double>(measured.keptTransforms.size());
  state.counters["train_s"] = measured.seconds;
  state.counters["bound_s"] = bound.scoredAgain;
  state.counters["bound_kept_s"] = bound.kept;
  state.counters["ratio"] = measured.seconds / bound.scoredAgain;
  state.counters["ratio_kept"] = measured.seconds / bound.kept;
  for (const auto& [kind, work] : measured.byKind) {
    if (work.first > 0) state.counters[kind + "_M_per_s"] = work.first / work.second / millions;
  }
  state.counters["state_bytes_per_stage"] = measured.mostStateBytes;
  state.counters["file_bytes_per_stage"] = measured.fileBytes / measured.keptStages;
  state.counters["file_bytes_per_segment"] = measured.fileBytes / measured.segments;
}

BENCHMARK(BM_Boosting)
    ->ArgNames({"records", "loss", "cache"})
    ->ArgsProduct({{40'000, 100'000}, {Squared, Logistic}, {0, 1024}})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return runBenchmarksWithMpi(argc, argv); }
