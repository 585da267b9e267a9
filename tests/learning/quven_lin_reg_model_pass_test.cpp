// Linear regressions through the pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include <bit>
#include <cmath>
#include <random>

#include "learning/literal_least_squares.h"
#include "learning/quven_fold_dealing.h"
#include "learning/quven_lin_reg_model.h"
#include "passes/pass_fixture.h"

namespace {

class QUVENLinRegModelPassTest : public PassTest {
 protected:
  static constexpr QUVENFoldDealing dealing{.testPercent = 15, .heldOutPercent = 15, .numFolds = 3, .seed = 4};
  static constexpr int Inputs = 3;

  static QUVENPassSettings settingsOf(std::int32_t slices) {
    return {.numChannels = dealing.getNumChannels(),
            .dealChannel = [](std::int64_t record) { return dealing.channelOf(record); },
            .numSlices = slices};
  }

  /// x1, x2, x3, an id, the weight w and the target y. x1 and w have missing values, and so has y.
  void writeTable(int records) {
    std::mt19937 random(8);
    std::vector<double> values;
    rows.clear();
    for (int i = 0; i < records; ++i) {
      LsRow row;
      for (int j = 0; j < Inputs; ++j) row.x.push_back(static_cast<double>(random() % 1000) / 100);
      const double y = 3 + 2 * row.x[0] - row.x[2] + static_cast<double>(random() % 100) / 50;
      const bool hasNoX = random() % 20 == 0;
      const bool hasNoY = random() % 30 == 0;
      const bool hasNoWeight = random() % 25 == 0;
      row.w = hasNoWeight ? 0 : static_cast<double>(random() % 4);
      if (hasNoX) row.x[0] = 0;  // a missing number is 0
      values.insert(values.end(), {hasNoX ? Missing : row.x[0], row.x[1], row.x[2], static_cast<double>(i),
                                   hasNoWeight ? Missing : row.w, hasNoY ? Missing : y});
      row.x.push_back(hasNoY ? Missing : y);
      rows.push_back(row);
    }
    write(
        "x1 Numeric Explanatory\nx2 Numeric Explanatory\nx3 Numeric Explanatory\nid Numeric Explanatory\n"
        "w Numeric Explanatory\ny Numeric Target\n",
        values);
  }
  /// The rows of channel c's eval or train data.
  LiteralData literal(int channel, bool train) const {
    LsTable dealt;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].x.back() == Missing) continue;
      const int k = dealing.channelOf(static_cast<std::int64_t>(i));
      const bool trains = k != channel && k != 1 && (channel <= 2 || k != 2);
      const bool trainsFirst = channel == 1 && k != 1;
      if (train ? trains || trainsFirst : k == channel) dealt.push_back(rows[i]);
    }
    for (LsRow& row : dealt) row.x.insert(row.x.begin() + Inputs, 0.0);  // the id, which is supplementary
    return {dealt, Inputs + 2};
  }
  static void expectData(const QUVENLSData& data, const LiteralData& expected) {
    EXPECT_EQ(data.getNumDataPoints(), static_cast<double>(expected.points));
    EXPECT_EQ(data.getSumCaseWeights(), static_cast<double>(expected.sumW));
    for (std::size_t j = 0; j < expected.mean.size(); ++j) {
      const long column = static_cast<long>(j) + 1;
      EXPECT_NEAR(data.getDataMean()[column], static_cast<double>(expected.mean[j]), 1e-11);
      for (std::size_t i = 0; i <= j; ++i) {
        const long double scale = std::sqrt(expected.cov[i][i] * expected.cov[j][j]);
        EXPECT_NEAR(data.getDataCov()[column * (column - 1) / 2 + static_cast<long>(i) + 1],
                    static_cast<double>(expected.cov[i][j]), 1e-12 * static_cast<double>(1 + scale));
      }
    }
  }

  static std::string bits(double value) { return std::to_string(std::bit_cast<std::uint64_t>(value)); }

  /// Trains a regression, and gives all that it has learned to the last bit. On rank 0.
  std::string train(std::int32_t slices, MPI_Comm ranks, const std::string& predictions) {
    PassRun run(path, settingsOf(slices), ranks);
    QUVENModelOutputs outputs;
    QUVENLinRegModel* model = nullptr;
    if (run.isRank0()) {
      model = &run.add<QUVENLinRegModel>("x1");
      for (const char* name : {"x2", "x3"}) {
        model->addInput(&run.field(name), QUVENUsageExplanatory, run.handle());
      }
      model->addInput(&run.field("id"), QUVENUsageSupplementary, run.handle());
      model->addInput(&run.field("w"), QUVENUsageCaseWeight, run.handle());
      model->addInput(&run.field("y"), QUVENUsageTarget, run.handle());
      model->getOutputs(outputs, "", run.driver.getNames(), run.handle());
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 1U);
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      for (int c = 1; c <= dealing.getNumChannels(); ++c) {
        row += " " + bits(run.field("Predicted_y").getNumValueOfChannel(c, run.handle()));
      }
    };
    run.driver.writeRows(predictions, "predictions", writeRow, run.handle());
    std::string learned;
    if (model != nullptr) {
      EXPECT_EQ(model->getModelState(), -1);
      EXPECT_EQ(model->getEvalChannels().getSize(), dealing.getNumChannels());
      for (int c = 1; c <= dealing.getNumChannels(); ++c) {
        SCOPED_TRACE(c);
        expectData(model->getEvalChannels()[c], literal(c, false));
        expectData(model->getTrnChannels()[c], literal(c, true));
        const QUVENLSModel& selected = *model->getSelectedModel(c);
        EXPECT_GE(selected.getModelRank(), 2);
        learned += "\n" + bits(selected.getIntercept()) + " " + bits(selected.getModelStdDev());
        for (long k = 1; k <= selected.getModelRank(); ++k) learned += " " + bits(selected.getCoefficientAt(k));
      }
      for (const QUVENField* field : model->getInputFields()) learned += " " + field->getName().str();
    }
    outputs.destroyPrimitive(run.handle());
    return learned;
  }

  LsTable rows;
};

TEST_F(QUVENLinRegModelPassTest, LearnsWhatTheRecordsSayForAnySlices) {
  writeTable(1200);
  for (const std::int32_t slices : {0, 1, 5, 8}) {
    SCOPED_TRACE(slices);
    EXPECT_EQ(train(slices, MPI_COMM_WORLD, path + ".rows").empty(), !isRank0());
  }
}

TEST_F(QUVENLinRegModelPassTest, LearnsTheSameBytesOnAnyNumberOfRanks) {
  writeTable(1200);
  for (const std::int32_t slices : {5, 8}) {
    const std::string together = train(slices, MPI_COMM_WORLD, path + ".together");
    if (isRank0()) {
      EXPECT_EQ(together, train(slices, MPI_COMM_SELF, path + ".alone"));
      EXPECT_EQ(folder.read("data.together"), folder.read("data.alone"));
      EXPECT_GT(folder.read("data.alone").size(), 1200U * 4);
    }
    MPI_Barrier(MPI_COMM_WORLD);
  }
}

}  // namespace
