// Feature transforms through the pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include <bit>
#include <random>

#include "learning/quven_feature_transform.h"
#include "learning/quven_model_file.h"
#include "passes/pass_fixture.h"

namespace {

class QUVENFeatureTransformPassTest : public PassTest {
 protected:
  static constexpr std::int32_t Channels = 7;

  static QUVENPassSettings settingsOf(std::int32_t slices) {
    return {.numChannels = Channels,
            .dealChannel = [](std::int64_t record) { return static_cast<std::int32_t>(1 + record * 5 % Channels); },
            .numSlices = slices};
  }

  /// x, c, z and the target y, with missing values in each.
  void writeTable(int records) {
    std::mt19937 random(3);
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double x = static_cast<double>(random() % 10000) / 100;
      const double c = random() % 12;
      const double z = static_cast<double>(random() % 1000) / 100;
      const double y =
          std::abs(x - 40) + 5 * static_cast<int>(c / 4) + 0.3 * z + static_cast<double>(random() % 100) / 50;
      const auto orMissing = [&](double value, unsigned every) { return random() % every == 0 ? Missing : value; };
      values.insert(values.end(), {orMissing(x, 30), orMissing(c, 25), orMissing(z, 40), orMissing(y, 50)});
    }
    write("x Numeric Explanatory\nc Categorical Explanatory\nz Numeric Explanatory\ny Numeric Target\n", values);
  }

  static std::string bits(double value) { return std::to_string(std::bit_cast<std::uint64_t>(value)); }

  static void writeModelFile(PassRun& run, const QUVENFeatureTransform& transform, const std::string& file) {
    QUVENXaRay<QUVENField*> fields;
    for (const char* name : {"x", "c", "z", "y"}) fields.append(&run.field(name), run.handle());
    auto facts = quvenMake<QUVENTrainingFacts>(run.handle());
    EXPECT_TRUE(quvenWriteModelFile(file, fields, transform, *facts, run.handle()));
    facts.reset(run.handle());
    fields.deleteMemory(run.handle());
  }

  /// Trains a transform of x and one of c, and gives all that they have learned to the last bit. On rank 0.
  std::string train(const QUVENPassSettings& settings, MPI_Comm ranks, const std::string& predictions) {
    PassRun run(path, settings, ranks);
    QUVENModelOutputs outputs;
    std::vector<QUVENFeatureTransform*> transforms;
    if (run.isRank0()) {
      for (const char* name : {"x", "c"}) run.driver.addField(run.field(name), run.handle());
      for (const char* name : {"x", "c"}) {
        auto& transform = run.add<QUVENFeatureTransform>(name, "y");
        transform.addInput(&run.field("z"), QUVENUsageCarried, run.handle());
        transform.setSplitField(&run.field(name));
        transform.getOutputs(outputs, name, run.driver.getNames(), run.handle());
        transforms.push_back(&transform);
      }
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 3U);
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      for (const char* name : {"Predicted_y_x", "StdDev_y_x", "Predicted_y_c", "StdDev_y_c"}) {
        for (int channel = 1; channel <= Channels; ++channel) {
          row += " " + bits(run.field(name).getNumValueOfChannel(channel, run.handle()));
        }
      }
    };
    run.driver.writeRows(predictions, "predictions", writeRow, run.handle());
    std::string learned;
    for (const QUVENFeatureTransform* transform : transforms) {
      EXPECT_EQ(transform->getModelState(), -1);
      EXPECT_GT(transform->getNumSegments(), 2);
      for (int which = 0; which < 3; ++which) learned += " " + bits(transform->getScore(which, run.handle()));
      for (long i = 0; i <= transform->getNumSegments(); ++i) {
        const QUVENLinRegModel& model = i == 0 ? *transform->getRoot() : transform->getSegmentModel(i);
        learned += "\n" + bits(model.getVolume(run.handle()));
        for (int channel = 1; channel <= Channels; ++channel) {
          const QUVENLSModel& selected = *model.getSelectedModel(channel);
          learned += " " + bits(selected.getIntercept()) + " " + bits(selected.getModelStdDev());
          for (long k = 1; k <= selected.getModelRank(); ++k) learned += " " + bits(selected.getCoefficientAt(k));
        }
      }
      for (const QUVENSegmentDescription& segment : transform->describeSegments(run.handle())) {
        learned += "\n" + std::to_string(segment.segment) + " " + bits(segment.from) + " " + bits(segment.to);
        for (const std::int32_t category : segment.categories) learned += " " + std::to_string(category);
      }
    }
    if (run.isRank0()) writeModelFile(run, *transforms[0], predictions + ".model");
    outputs.destroyPrimitive(run.handle());
    return learned;
  }
};

TEST_F(QUVENFeatureTransformPassTest, LearnsTheSameBytesOnAnyNumberOfRanks) {
  writeTable(3000);
  const std::string together = train(settingsOf(8), MPI_COMM_WORLD, path + ".together");
  if (!isRank0()) return;
  EXPECT_EQ(together, train(settingsOf(8), MPI_COMM_SELF, path + ".alone"));
  EXPECT_EQ(folder.read("data.together"), folder.read("data.alone"));
  EXPECT_EQ(folder.read("data.together.model"), folder.read("data.alone.model"));
  EXPECT_GT(folder.read("data.alone").size(), 3000U * 4 * Channels);
}

TEST_F(QUVENFeatureTransformPassTest, LearnsWithoutSlices) {
  writeTable(1000);
  EXPECT_EQ(train(settingsOf(0), MPI_COMM_WORLD, path + ".predictions").empty(), !isRank0());
}

TEST_F(QUVENFeatureTransformPassTest, LearnsNothingFromFewRecords) {
  for (const int records : {0, 1, 5}) {
    write("x Numeric Explanatory\ny Numeric Target\n", std::vector<double>(static_cast<std::size_t>(2 * records), 4.0));
    PassRun run(path, settingsOf(8));
    QUVENModelOutputs outputs;
    QUVENFeatureTransform* transform = nullptr;
    if (run.isRank0()) {
      run.driver.addField(run.field("x"), run.handle());
      transform = &run.add<QUVENFeatureTransform>("x", "y");
      transform->setSplitField(&run.field("x"));
      transform->getOutputs(outputs, "", run.driver.getNames(), run.handle());
    }
    run.passes();
    if (transform != nullptr) {
      EXPECT_EQ(transform->getModelState(), -1);
      EXPECT_EQ(transform->getNumSegments(), 2);
      EXPECT_FALSE(transform->hasUsableData(run.handle()));
    }
    outputs.destroyPrimitive(run.handle());
  }
}

}  // namespace
