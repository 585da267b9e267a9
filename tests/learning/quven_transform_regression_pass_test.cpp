// Transform regression through the pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include "learning/quven_transform_regression.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <sstream>

#include "passes/pass_fixture.h"

namespace {

class QUVENTransformRegressionPassTest : public PassTest {
 protected:
  static constexpr std::int32_t Channels = 7;

  static QUVENPassSettings settingsOf(std::int32_t slices, std::int32_t lastPass = 0, std::int64_t cacheBytes = 0) {
    return {.numChannels = Channels,
            .dealChannel = [](std::int64_t record) { return static_cast<std::int32_t>(1 + record * 5 % Channels); },
            .numSlices = slices,
            .lastPass = lastPass,
            .outputCacheBytes = cacheBytes};
  }

  /// x, c, z and the target y: a curve of x, groups of c, and a product of x and z that no stage can learn at once.
  void writeTable(int records, bool hasSignal = true, unsigned seed = 3) {
    std::mt19937 random(seed);
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double x = static_cast<double>(random() % 10000) / 1000 - 5;
      const double c = random() % 12;
      const double z = static_cast<double>(random() % 1000) / 100 - 5;
      const double noise = static_cast<double>(random() % 1000) / 1000;
      const double y = hasSignal ? std::abs(x - 1) + static_cast<int>(c / 4) + 0.5 * x * z + noise : noise;
      const auto orMissing = [&](double value, unsigned every) { return random() % every == 0 ? Missing : value; };
      values.insert(values.end(), {orMissing(x, 30), orMissing(c, 25), orMissing(z, 40), orMissing(y, 50)});
    }
    write("x Numeric Explanatory\nc Categorical Explanatory\nz Numeric Explanatory\ny Numeric Target\n", values);
  }

  static std::string bits(double value) { return " " + std::to_string(std::bit_cast<std::uint64_t>(value)); }

  /// A model of y in a run; null above rank 0.
  static QUVENTransformRegression* addModel(PassRun& run, std::int32_t lossId = 1) {
    if (!run.isRank0()) return nullptr;
    for (const char* name : {"x", "c", "z", "y"}) run.driver.addField(run.field(name), run.handle());
    auto& model = run.driver.addScan(quvenMake<QUVENTransformRegression>(run.handle()), run.handle());
    for (const char* name : {"x", "c", "z"}) model.addInput(&run.field(name), QUVENUsageExplanatory, run.handle());
    model.addInput(&run.field("y"), QUVENUsageTarget, run.handle());
    model.setNames(run.driver.getNames());
    model.setLossId(lossId);
    EXPECT_TRUE(model.setMiningMode(1, nullptr, run.handle()));
    return &model;
  }

  /// Trains a model, and gives the predictions of all channels to the last bit.
  std::string train(const QUVENPassSettings& settings, MPI_Comm ranks, std::int32_t lossId, const std::string& file) {
    PassRun run(path, settings, ranks);
    QUVENTransformRegression* const model = addModel(run, lossId);
    run.passes();
    QUVENModelOutputs outputs;
    std::string learned;
    if (model != nullptr) {
      model->getOutputs(outputs, "", run.driver.getNames(), run.handle());
      learned = std::to_string(model->getNumStages());
      for (long s = 1; s <= model->getNumStages(); ++s) {
        for (long c = 1; c <= Channels; ++c) learned += bits(model->getStage(s).getLoss().getAlpha(1, c));
      }
    }
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      for (int c = 1; c <= Channels; ++c) row += bits(run.field("Predicted_y").getNumValueOfChannel(c, run.handle()));
    };
    run.driver.writeRows(file, "predictions", writeRow, run.handle());
    outputs.destroyPrimitive(run.handle());
    return learned;
  }
};

TEST_F(QUVENTransformRegressionPassTest, TakesTwoPassesInStage1AndFiveInEachLaterOne) {
  writeTable(2000);
  PassRun run(path, settingsOf(8));
  QUVENTransformRegression* const model = addModel(run);
  std::vector<std::string> kinds;
  std::vector<long> stages;
  if (model != nullptr) {
    model->setStageObserver([&](long stage) { stages.push_back(stage); });
    run.driver.setBetweenPasses([&](int) {
      const long s = model->getNumStages();
      if (s == 0 || model->getModelState() < 0) return;
      const QUVENGradBoostStage* output = model->getOutputTransform(s);
      const QUVENGradBoostStage& part = output != nullptr ? *output : model->getStage(s);
      kinds.push_back(std::to_string(s) + (output != nullptr ? " output " : " ") +
                      std::to_string(part.getLoss().getState()));
    });
  }
  run.passes();
  if (model == nullptr) return;
  EXPECT_GE(stages.size(), 3U);
  EXPECT_EQ(model->getStopReason(), QUVENTransformRegression::StopReason::NothingSignificant);
  EXPECT_EQ(run.driver.getPasses().size(), 2 + 2 + 5 * (stages.size() - 1));
  ASSERT_GE(kinds.size(), 7U);
  kinds.resize(7);
  EXPECT_EQ(kinds, (std::vector<std::string>{"1 1", "2 1", "2 1", "2 3", "2 output 1", "2 output 3", "3 1"}));
}

TEST_F(QUVENTransformRegressionPassTest, LearnsTheSameBytesOnAnyNumberOfRanks) {
  writeTable(1500);
  for (const std::int32_t lossId : {1, 6}) {
    SCOPED_TRACE("loss " + std::to_string(lossId));
    const std::string together = train(settingsOf(8), MPI_COMM_WORLD, lossId, path + ".together");
    if (!isRank0()) continue;
    EXPECT_EQ(together, train(settingsOf(8), MPI_COMM_SELF, lossId, path + ".alone"));
    EXPECT_EQ(folder.read("data.together"), folder.read("data.alone"));
  }
}

// The outputs of the first stage and a half fit into the smaller cache, those of all stages into the larger one.
TEST_F(QUVENTransformRegressionPassTest, LearnsTheSameBytesFromKeptOutputs) {
  constexpr int records = 1000;
  const std::int64_t bytesOfOutput = records / count * static_cast<std::int64_t>(Channels * sizeof(double) + 1);
  writeTable(records);
  for (const auto& [slices, lossId] : {std::pair(0, 1), std::pair(8, 6)}) {
    SCOPED_TRACE("slices " + std::to_string(slices) + ", loss " + std::to_string(lossId));
    const std::string without = train(settingsOf(slices), MPI_COMM_WORLD, lossId, path + ".without");
    for (const std::int64_t bytes : {7 * bytesOfOutput / 2, 100 * bytesOfOutput}) {
      EXPECT_EQ(without, train(settingsOf(slices, 0, bytes), MPI_COMM_WORLD, lossId, path + ".with"));
      if (isRank0()) {
        EXPECT_EQ(folder.read("data.with"), folder.read("data.without"));
      }
    }
  }
}

TEST_F(QUVENTransformRegressionPassTest, GivesThePredictionsOfTheFinishedStages) {
  writeTable(1000);
  PassRun run(path, settingsOf(8));
  QUVENTransformRegression* const model = addModel(run);
  std::vector<std::size_t> counts;
  if (model != nullptr) {
    run.driver.setBetweenPasses([&](int) {
      std::vector<QUVENField*> outputs;
      model->collectFinalOutputs(outputs);
      counts.push_back(outputs.size());
    });
  }
  run.passes();
  if (model == nullptr) return;
  ASSERT_GE(counts.size(), 12U);
  EXPECT_EQ(counts.back(), 0U);
  counts.resize(12);
  // Two passes for the distributions,; two of stage 1, five of stage 2, then stage 3.
  EXPECT_EQ(counts, (std::vector<std::size_t>{0, 0, 0, 2, 2, 2, 2, 2, 4, 4, 4, 4}));
}

// Stage 1 of a target is that of a model of this target alone; the steps are shared, so later stages are not.
TEST_F(QUVENTransformRegressionPassTest, LearnsSeveralTargetsAtOnce) {
  constexpr std::int32_t lastPassOfStage2 = 9;
  writeTable(800);
  // Writes the predictions of stage 1 to the last bit; those of the output transform of stage 2 are only looked at.
  const auto learn = [&](const std::vector<std::string>& targets, const std::string& file) {
    PassRun run(path, settingsOf(8, lastPassOfStage2));
    QUVENTransformRegression* model = nullptr;
    if (run.isRank0()) {
      for (const char* name : {"x", "c", "z", "y"}) run.driver.addField(run.field(name), run.handle());
      model = &run.driver.addScan(quvenMake<QUVENTransformRegression>(run.handle()), run.handle());
      for (const char* name : {"x", "c"}) model->addInput(&run.field(name), QUVENUsageExplanatory, run.handle());
      for (const std::string& name : targets) model->addInput(&run.field(name), QUVENUsageTarget, run.handle());
      model->setNames(run.driver.getNames());
      EXPECT_TRUE(model->setMiningMode(1, nullptr, run.handle()));
    }
    run.passes();
    if (model != nullptr) {
      EXPECT_EQ(model->getNumStages(), 2);
      const QUVENGradBoostStage& last = model->getStage(2);
      EXPECT_EQ(last.getResidualModels().getSize(), static_cast<long>(targets.size()));
      for (long i = 1; i <= static_cast<long>(targets.size()); ++i) {
        EXPECT_EQ(last.getLoss().getAlpha(i, 3), last.getLoss().getAlpha(1, 3));
        EXPECT_EQ(last.getLoss().getCurrentPredictedValues()[i]->getName().str(),
                  "UnnormalizedPredicted_" + targets[static_cast<std::size_t>(i - 1)] + "_2_output");
      }
    }
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      for (const std::string& target : {std::string("y"), std::string("z")}) {
        if (std::find(targets.begin(), targets.end(), target) == targets.end()) continue;
        for (const char* stage : {"_1", "_2_output"}) {
          const QUVENField& field = run.field("UnnormalizedPredicted_" + target + stage);
          for (int c = 1; c <= Channels; ++c) {
            const double value = field.getNumValueOrSingle(c);
            EXPECT_TRUE(std::isfinite(value));
            if (stage == std::string("_1")) row += bits(value);
          }
        }
      }
    };
    run.driver.writeRows(file, "predictions", writeRow, run.handle());
  };
  learn({"y", "z"}, path + ".both");
  learn({"y"}, path + ".y");
  learn({"z"}, path + ".z");
  if (!isRank0()) return;
  std::istringstream both(folder.read("data.both"));
  std::istringstream y(folder.read("data.y"));
  std::istringstream z(folder.read("data.z"));
  std::string lines[3];
  for (std::istream* in : {&both, &y, &z}) std::getline(*in, lines[0]);
  long rows = 0;
  for (; std::getline(both, lines[0]) && std::getline(y, lines[1]) && std::getline(z, lines[2]); ++rows) {
    ASSERT_EQ(lines[0], lines[1] + lines[2]);
  }
  EXPECT_EQ(rows, 800);
}

TEST_F(QUVENTransformRegressionPassTest, LearnsWithoutSlices) {
  writeTable(1000);
  EXPECT_EQ(train(settingsOf(0), MPI_COMM_WORLD, 1, path + ".predictions").empty(), !isRank0());
}

TEST_F(QUVENTransformRegressionPassTest, StopsAtTheEndOfTheStageInWhichTheLastPassIs) {
  writeTable(1000);
  for (const auto& [lastPass, passes] : {std::pair(1, 4), std::pair(4, 4), std::pair(5, 9), std::pair(9, 9)}) {
    PassRun run(path, settingsOf(8, lastPass));
    QUVENTransformRegression* const model = addModel(run);
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), static_cast<std::size_t>(passes));
    if (model == nullptr) continue;
    EXPECT_EQ(model->getStopReason(), QUVENTransformRegression::StopReason::LastPass);
    EXPECT_EQ(model->getNumStages(), passes == 4 ? 1 : 2);
  }
}

// The merging of segments looks for any gain on the folds, so it finds some in noise too.
TEST_F(QUVENTransformRegressionPassTest, EndsInOrderOnNoise) {
  for (unsigned seed = 1; seed < 6; ++seed) {
    writeTable(500, false, seed);
    PassRun run(path, settingsOf(0));
    QUVENTransformRegression* const model = addModel(run);
    run.passes();
    if (model == nullptr) continue;
    EXPECT_LE(run.driver.getPasses().size(), 2U + 17U);
    EXPECT_NE(model->getStopReason(), QUVENTransformRegression::StopReason::MostStages);
  }
}

}  // namespace
