// Means by category through the pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include "category_mean.h"

#include <bit>
#include <map>
#include <string>
#include <vector>

#include "kernel/quven_cat_field.h"
#include "pass_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class QUVENCategoryMeanTest : public PassTest {
 protected:
  struct Record {
    double category;
    double target;
  };

  void writeRecords(const std::vector<Record>& table) {
    std::vector<double> values;
    for (const Record& record : table) values.insert(values.end(), {record.category, record.target});
    write("c Categorical Explanatory\ny Numeric Target\n", values);
  }

  static QUVENCategoryMean& addModel(PassRun& run, std::string_view input = "c") {
    auto& model = run.add<QUVENCategoryMean>(input, "y");
    model.addPrediction(run.driver.getNames(), run.handle());
    return model;
  }

  /// The bits of the value of a field: "-" for a missing one, "none" without a value.
  static std::string bits(QUVENField& field, const QUVENEnvHandle& env) {
    if (!field.hasValue()) return "none";
    if (field.isMissing()) return "-";
    return std::to_string(std::bit_cast<std::uint64_t>(field.getNumValue(QUVEN_ENV)));
  }
  static std::string bits(double value) { return std::to_string(std::bit_cast<std::uint64_t>(value)); }

  static void writePredictions(PassRun& run, const std::string& file, const std::string& name = "Predicted_y") {
    QUVENField& predicted = run.field(name);
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) { row = bits(predicted, run.handle()); };
    run.driver.writeRows(file, "prediction", writeRow, run.handle());
  }

  /// Trains on some ranks, writes the predictions, and returns what was learned to the last bit. On rank 0.
  std::string train(const QUVENPassSettings& settings, MPI_Comm ranks, const std::string& predictions) {
    PassRun run(path, settings, ranks);
    QUVENCategoryMean* model = nullptr;
    if (run.isRank0()) {
      run.driver.addField(run.field("c"), run.handle());
      model = &addModel(run);
    }
    run.passes();
    writePredictions(run, predictions);
    if (model == nullptr) return "";
    EXPECT_EQ(model->getModelState(), -1);
    const auto& field = static_cast<const QUVENCatField&>(run.field("c"));
    std::string learned = bits(model->getScore(0, run.handle()));
    means.clear();
    counts.clear();
    for (std::int32_t i = -1; i <= field.getNumDistValues(run.handle()); ++i) {
      const std::string name = i == -1  ? "missing"
                               : i == 0 ? "default"
                                        : std::string(field.getCategoryText(i, run.handle()));
      means[name] = model->getMean(i);
      counts[name] = model->getCount(i);
      learned += " " + name + ":" + bits(means[name]) + ":" + bits(counts[name]);
    }
    return learned;
  }
  /// The prediction of each record.
  std::vector<std::string> readPredictions(const std::string& name) {
    std::vector<std::string> rows;
    std::string row;
    std::istringstream file(folder.read(name));
    while (std::getline(file, row)) rows.push_back(row);
    return rows;
  }

  std::map<std::string, double> means;
  std::map<std::string, double> counts;
};

TEST_F(QUVENCategoryMeanTest, LearnsTheMeansOfALiteralComputation) {
  // 4 is there once, so it is of the default category; 5 only with a missing target.
  const std::vector<Record> table = {{1, 10},      {2, -3}, {1, 20}, {4, 100},     {Missing, 7}, {2, Missing}, {2, -4},
                                     {Missing, 8}, {1, 33}, {9, 50}, {5, Missing}, {2, -8},      {5, Missing}};
  writeRecords(table);
  for (const std::int32_t slices : {0, 1, 4, 40}) {
    SCOPED_TRACE(slices);
    train({.numSlices = slices}, MPI_COMM_WORLD, path + ".predictions");
    if (!isRank0()) continue;
    EXPECT_EQ(counts, (std::map<std::string, double>{{"missing", 2}, {"default", 2}, {"1", 3}, {"2", 3}, {"5", 0}}));
    const std::map<std::string, double> expected = {{"missing", 7.5}, {"default", 75}, {"1", 21}, {"2", -5}, {"5", 0}};
    ASSERT_EQ(means.size(), expected.size());
    for (const auto& [name, mean] : expected) EXPECT_NEAR(means[name], mean, 1e-12) << name;
    const std::vector<std::string> rows = readPredictions("data.predictions");
    ASSERT_EQ(rows.size(), table.size() + 1);
    for (std::size_t i = 0; i < table.size(); ++i) {
      const double category = table[i].category;
      const std::string name = category == Missing              ? "missing"
                               : category == 4 || category == 9 ? "default"
                                                                : std::to_string(static_cast<int>(category));
      EXPECT_EQ(rows[i + 1], name == "5" ? "-" : bits(means[name])) << i;
    }
  }
}

TEST_F(QUVENCategoryMeanTest, LearnsTheSameBytesOnAnyNumberOfRanks) {
  std::vector<Record> table;
  for (int i = 0; i < 2000; ++i) {
    table.push_back({i % 13 == 4 ? Missing : i * i % 37, i % 29 == 3 ? Missing : 0.1 * (i % 101) + 1e6 / (i + 1)});
  }
  writeRecords(table);
  const QUVENPassSettings settings{.numSlices = 7};
  const std::string together = train(settings, MPI_COMM_WORLD, path + ".together");
  if (!isRank0()) return;
  EXPECT_EQ(together, train(settings, MPI_COMM_SELF, path + ".alone"));
  EXPECT_EQ(folder.read("data.together"), folder.read("data.alone"));
  std::map<std::string, double> sums;
  for (const Record& record : table) {
    const std::string name = record.category == Missing ? "missing" : std::to_string(static_cast<int>(record.category));
    if (record.target != Missing) sums[name] += record.target;
  }
  EXPECT_EQ(sums.size(), counts.size() - 1);  // nothing is of the default category
  for (const auto& [name, sum] : sums) EXPECT_NEAR(means[name], sum / counts[name], 1e-12 * sum) << name;
  // In another number of slices the same means are added in another order.
  EXPECT_NE(train({.numSlices = 2}, MPI_COMM_SELF, path + ".two"), together);
}

TEST_F(QUVENCategoryMeanTest, LearnsNothingFromADatasetWithoutRecords) {
  writeRecords({});
  for (const std::int32_t slices : {0, 3}) {
    train({.numSlices = slices}, MPI_COMM_WORLD, path + ".predictions");
    if (!isRank0()) continue;
    EXPECT_EQ(counts, (std::map<std::string, double>{{"missing", 0}, {"default", 0}}));
    EXPECT_EQ(folder.read("data.predictions"), "prediction\n");
  }
}

TEST_F(QUVENCategoryMeanTest, LearnsFromOneRecordOnAnyNumberOfRanks) {
  writeRecords({{6, 2.5}});
  for (const std::int32_t slices : {0, 1, 9}) {
    train({.numSlices = slices}, MPI_COMM_WORLD, path + ".predictions");
    if (!isRank0()) continue;
    EXPECT_EQ(counts, (std::map<std::string, double>{{"missing", 0}, {"default", 1}}));
    EXPECT_EQ(folder.read("data.predictions"), "prediction\n" + bits(2.5) + "\n");
  }
}

TEST_F(QUVENCategoryMeanTest, RefusesAnInputWithoutCategories) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeRecords({{1, 2}, {1, 3}});
  const CapturedRun captured = capturedRun([&] {
    PassRun run(path);
    addModel(run);
    run.passes();
  });
  EXPECT_TRUE(captured.threwLibraryException);
  EXPECT_THAT(captured.out, HasSubstr("getDistributionPasses() > 0"));
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENCategoryMeanTest, AModelThatIsTrainedAgainStartsAnew) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}, {2, 11}});
  for (const std::int32_t slices : {0, 3}) {
    SCOPED_TRACE(slices);
    PassRun run(path, {.numSlices = slices});
    QUVENCategoryMean* model = nullptr;
    if (run.isRank0()) {
      run.driver.addField(run.field("c"), run.handle());
      model = &addModel(run);
    }
    run.passes();
    if (model != nullptr) {
      ASSERT_TRUE(model->setMiningMode(1, nullptr, run.handle()));
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 4U);
    if (model == nullptr) continue;
    EXPECT_EQ(model->getVolume(run.handle()), 4);
    EXPECT_EQ(model->getScore(0, run.handle()), 1);
    EXPECT_EQ(model->getMean(1) + model->getMean(2), 3 + 10);
  }
}

TEST_F(QUVENCategoryMeanTest, AnInputWithoutAValueCountsAsMissing) {
  writeRecords({{1, 2}, {1, 4}, {Missing, 9}});
  PassRun run(path);
  if (!run.isRank0()) {
    run.passes();
    return;
  }
  run.driver.addField(run.field("c"), run.handle());
  QUVENCategoryMean& model = addModel(run);
  run.passes();
  run.field("c").setCatValue("1");
  model.scorePoint(run.driver.getPoint(), run.handle());
  EXPECT_EQ(run.field("Predicted_y").getNumValue(run.handle()), 3);
  run.field("c").clearValue();
  model.scorePoint(run.driver.getPoint(), run.handle());
  EXPECT_EQ(run.field("Predicted_y").getNumValue(run.handle()), 9);
}

TEST_F(QUVENCategoryMeanTest, AFieldWithoutAValueHasNoCategory) {
  writeRecords({{1, 2}, {1, 4}});
  PassRun run(path);
  if (run.isRank0()) run.driver.addField(run.field("c"), run.handle());
  run.passes();
  QUVENField& field = run.field("c");
  field.setCatValue("1");
  field.clearValue();
  EXPECT_EQ(field.getValueIndex(run.handle()), QUVENField::MissingValueIndex);
}

// The driver at its edges

TEST_F(QUVENCategoryMeanTest, AFieldThatIsAddedTwiceCostsNoFurtherPass) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}});
  PassRun run(path);
  QUVENCategoryMean* model = nullptr;
  if (run.isRank0()) {
    run.driver.addField(run.field("c"), run.handle());
    run.driver.addField(run.field("c"), run.handle());
    model = &addModel(run);
  }
  run.passes();
  EXPECT_EQ(run.driver.getPasses().size(), 3U);
  // Once more after the passes: the distribution is there.
  if (run.isRank0()) run.driver.addField(run.field("c"), run.handle());
  run.passes();
  EXPECT_EQ(run.driver.getPasses().size(), 3U);
  if (!run.isRank0()) return;
  EXPECT_EQ(model->getMean(1), 3);
  const QUVENCatFieldDist& dist = *static_cast<const QUVENCatField&>(run.field("c")).getDistribution();
  EXPECT_EQ(dist.getScansDone(), 2);
  EXPECT_EQ(dist.getValidCount(), 3);
}

TEST_F(QUVENCategoryMeanTest, ScoresEachChannel) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}, {2, 11}, {Missing, 5}});
  for (const std::int32_t slices : {0, 4}) {
    const auto deal = [](std::int64_t record) { return static_cast<std::int32_t>(record % 3) + 1; };
    PassRun run(path, {.numChannels = 3, .dealChannel = deal, .numSlices = slices});
    if (run.isRank0()) {
      run.driver.addField(run.field("c"), run.handle());
      addModel(run);
    }
    run.passes();
    QUVENField& predicted = run.field("Predicted_y");
    const auto writeRow = [&](QUVENDataPoint& point, std::int64_t, std::string& row) {
      row = std::to_string(point.getChannel()) + ":" + std::to_string(predicted.getNumValues());
      for (long channel = 1; channel <= 3; ++channel) {
        row += "," + std::to_string(static_cast<int>(predicted.getNumValueOfChannel(channel, run.handle())));
      }
    };
    run.driver.writeRows(path + ".channels", "channels", writeRow, run.handle());
    if (!run.isRank0()) continue;
    EXPECT_EQ(folder.read("data.channels"), "channels\n1:3,3,3,3\n2:3,3,3,3\n3:3,10,10,10\n1:3,10,10,10\n2:3,5,5,5\n");
  }
}

TEST_F(QUVENCategoryMeanTest, ScoresOneChannelAndScoresARecordAgain) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}, {2, 11}, {Missing, 5}});
  PassRun run(path, {.numChannels = 3, .dealChannel = [](std::int64_t) { return 1; }, .scoredChannel = 2});
  if (run.isRank0()) {
    run.driver.addField(run.field("c"), run.handle());
    addModel(run);
  }
  run.passes();
  QUVENField& predicted = run.field("Predicted_y");
  const auto number = [&](long channel) {
    const double value = predicted.getNumValueOfChannel(channel, run.handle());
    return std::isnan(value) ? std::string("-") : std::to_string(static_cast<int>(value));
  };
  const auto writeRow = [&](QUVENDataPoint& point, std::int64_t, std::string& row) {
    row = number(1) + "," + number(2) + "," + number(3);
    QUVENField& category = point.getField(point.getFieldIndex("c"));
    QUVENFieldValue saved;
    category.saveValue(saved, run.handle());
    category.setMissing();
    run.driver.scoreAgain(run.handle());
    row += ":" + number(2);
    category.restoreValue(saved, run.handle());
    saved.deleteMemory(run.handle());
    run.driver.scoreAgain(run.handle());
    row += ":" + number(2);
  };
  run.driver.writeRows(path + ".channel", "channel", writeRow, run.handle());
  if (!run.isRank0()) return;
  EXPECT_EQ(folder.read("data.channel"), "channel\n-,3,-:5:3\n-,3,-:5:3\n-,10,-:5:10\n-,10,-:5:10\n-,5,-:5:5\n");
}

TEST_F(QUVENCategoryMeanTest, PredictionsAreWrittenBeforeTrainingAndTwiceAfterIt) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}, {Missing, Missing}});
  for (const std::int32_t slices : {0, 3}) {
    PassRun run(path, {.numSlices = slices});
    if (run.isRank0()) {
      run.driver.addField(run.field("c"), run.handle());
      addModel(run);
    }
    // The field of the output is in the copies from the first state stream on.
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      row = bits(run.field("Predicted_y"), run.handle());
    };
    run.driver.writeRows(path + ".before", "prediction", writeRow, run.handle());
    run.passes();
    writePredictions(run, path + ".first");
    writePredictions(run, path + ".first");
    writePredictions(run, path + ".second");
    if (!run.isRank0()) continue;
    EXPECT_EQ(folder.read("data.before"), "prediction\nnone\nnone\nnone\nnone\n");
    EXPECT_EQ(folder.read("data.first"), "prediction\n" + bits(3) + "\n" + bits(3) + "\n" + bits(9) + "\n-\n");
    EXPECT_EQ(folder.read("data.second"), folder.read("data.first"));
  }
}

TEST_F(QUVENCategoryMeanTest, AModelReadsTheOutputOfAModelThatHasFinished) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}, {2, 11}, {Missing, 5}, {3, 6}});
  for (const std::int32_t slices : {0, 3}) {
    SCOPED_TRACE(slices);
    PassRun run(path, {.numSlices = slices});
    QUVENPassCount* reader = nullptr;
    if (run.isRank0()) {
      run.driver.addField(run.field("c"), run.handle());
      const QUVENCategoryMean& model = addModel(run);
      run.driver.setBetweenPasses([&](int) {
        if (model.getModelState() < 0 && reader == nullptr) reader = &run.addCount("Predicted_y", 1, 1);
      });
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 4U);
    if (!run.isRank0()) continue;
    EXPECT_THAT(reader->sumsOfPasses, ElementsAre(3 + 3 + 10 + 10 + 5 + 6));
  }
}

TEST_F(QUVENCategoryMeanTest, TheListOfScansChangesWhileTheModelsTrain) {
  writeRecords({{1, 2}, {1, 4}, {2, 9}, {2, 11}});
  for (const std::int32_t slices : {0, 3}) {
    SCOPED_TRACE(slices);
    PassRun run(path, {.numSlices = slices});
    QUVENCategoryMean* kept = nullptr;
    QUVENCategoryMean* late = nullptr;
    if (run.isRank0()) {
      run.driver.addField(run.field("c"), run.handle());
      addModel(run);  // dropped after the first pass, with its output
      kept = &addModel(run);
      run.driver.setBetweenPasses([&](int pass) {
        QUVENScanWorld::Scans& list = run.driver.getScans();
        if (pass == 1) {
          list[1].reset(run.handle());
          list[1] = std::move(list[2]);
          list.setSize(1, run.handle());
        }
        if (pass == 3) {
          late = &addModel(run);  // takes the name of the output that is gone
          std::swap(list[1], list[2]);
        }
      });
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 4U);
    writePredictions(run, path + ".late");
    writePredictions(run, path + ".kept", "Predicted_y1");
    if (!run.isRank0()) continue;
    for (const QUVENCategoryMean* model : {kept, late}) {
      EXPECT_EQ(model->getMean(1) + model->getMean(2), 3 + 10);
      EXPECT_EQ(model->getVolume(run.handle()), 4);
    }
    EXPECT_EQ(folder.read("data.late"), folder.read("data.kept"));
    EXPECT_EQ(run.driver.getNames().getNumFields(), 2 + 2);
  }
}

}  // namespace
