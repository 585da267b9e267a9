// The pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks: every case holds on any number of ranks.

#include <filesystem>
#include <memory>

#include "kernel/quven_num_field.h"
#include "pass_fixture.h"

namespace {

using testing::ElementsAre;

class QUVENPassDriverTest : public PassTest {};

TEST_F(QUVENPassDriverTest, ShowsEveryRecordOnceInEachPass) {
  writeNumbers(10);
  PassRun run(path);
  QUVENPassCount* scan = run.isRank0() ? &run.addCount("x", 1, 3) : nullptr;
  run.passes();
  EXPECT_EQ(run.driver.getPasses().size(), 3U);
  if (scan == nullptr) return;
  // A driver that sends what was gathered, and lets it grow, counts 10, 15 and more here.
  EXPECT_THAT(scan->recordsOfPasses, ElementsAre(10, 10, 10));
  EXPECT_THAT(scan->sumsOfPasses, ElementsAre(55, 55, 55));
  EXPECT_EQ(scan->getModelState(), -1);
}

TEST_F(QUVENPassDriverTest, EndsWithoutAPassWhenNoScanWantsOne) {
  writeNumbers(3);
  PassRun run(path);
  run.passes();
  EXPECT_TRUE(run.driver.getPasses().empty());
}

TEST_F(QUVENPassDriverTest, RunsOverADatasetWithoutRecords) {
  for (const std::int32_t slices : {0, 3}) {
    writeNumbers(0);
    PassRun run(path, {.numSlices = slices});
    QUVENPassCount* scan = run.isRank0() ? &run.addCount("x", 1, 2) : nullptr;
    run.passes();
    if (run.isRank0()) {
      EXPECT_THAT(scan->recordsOfPasses, ElementsAre(0, 0));
    }
  }
}

TEST_F(QUVENPassDriverTest, RunsScansOfDifferentLengthSideBySide) {
  writeNumbers(20);
  for (const std::int32_t slices : {0, 1, 7, 33}) {
    SCOPED_TRACE(slices);
    PassRun run(path, {.numSlices = slices});
    std::vector<QUVENPassCount*> scans;
    for (const std::int32_t passes : {2, 1, 3}) {
      if (run.isRank0()) scans.push_back(&run.addCount("x", passes, passes));
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 3U);
    for (const QUVENPassCount* scan : scans) {
      EXPECT_EQ(scan->recordsOfPasses, std::vector<std::int64_t>(static_cast<std::size_t>(scan->ivId), 20));
      EXPECT_EQ(scan->sumsOfPasses, std::vector<double>(static_cast<std::size_t>(scan->ivId), 210));
    }
  }
}

TEST_F(QUVENPassDriverTest, TellsModelsFromWhichPassOnItIsTheLast) {
  writeNumbers(4);
  PassRun run(path, {.lastPass = 2});
  QUVENPassCount* scan = run.isRank0() ? &run.addCount("x", 1, 9) : nullptr;
  run.passes();
  if (!run.isRank0()) return;
  EXPECT_THAT(scan->lastPassWords, ElementsAre(0, 1));
}

TEST_F(QUVENPassDriverTest, RowsAreNotCountedAmongThePassesThatTrain) {
  writeNumbers(4);
  PassRun run(path, {.lastPass = 2});
  QUVENPassCount* scan = nullptr;
  std::vector<int> numbers;
  if (run.isRank0()) {
    scan = &run.addCount("x", 1, 9);
    run.driver.setBetweenPasses([&](int pass) { numbers.push_back(pass); });
  }
  const auto writeRow = [](QUVENDataPoint&, std::int64_t, std::string& row) { row = "row"; };
  run.driver.writeRows(path + ".rows", "header", writeRow, run.handle());
  run.passes();
  EXPECT_EQ(run.driver.getPasses().size(), 3U);
  if (!run.isRank0()) return;
  EXPECT_THAT(numbers, ElementsAre(1, 2));
  EXPECT_THAT(scan->lastPassWords, ElementsAre(0, 1));
}

TEST_F(QUVENPassDriverTest, RefusesAPlaceWithoutAScan) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeNumbers(4);
  for (const std::int32_t slices : {0, 2}) {
    const CapturedRun captured = capturedRun([&] {
      PassRun run(path, {.numSlices = slices});
      for (const std::int32_t id : {1, 2}) run.addCount("x", id, 3);
      run.driver.setBetweenPasses([&](int) { run.driver.getScans()[1].reset(run.handle()); });
      run.passes();
    });
    EXPECT_TRUE(captured.threwLibraryException);
    EXPECT_THAT(captured.out, testing::HasSubstr("The list of scans has a place without a scan"));
    quvenDebugWords = QUVENDebugWords();
  }
}

TEST_F(QUVENPassDriverTest, CallsTheStepWithoutRecordsForAScanThatReadsNone) {
  writeNumbers(6);
  PassRun run(path);
  QUVENPassCount* reader = nullptr;
  QUVENPassCount* other = nullptr;
  if (run.isRank0()) {
    reader = &run.addCount("x", 1, 1);
    other = &run.addCount("x", 2, 1);
    other->ivScanType = static_cast<std::int32_t>(QUVENScanType::NoPass);
  }
  run.passes();
  if (!run.isRank0()) return;
  EXPECT_THAT(reader->recordsOfPasses, ElementsAre(6));
  EXPECT_THAT(other->recordsOfPasses, ElementsAre(count));  // one step per rank
}

TEST_F(QUVENPassDriverTest, RefusesScansThatReadInDifferentModes) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeNumbers(6);
  const CapturedRun captured = capturedRun([&] {
    PassRun run(path);
    run.addCount("x", 1, 1);
    run.addCount("x", 2, 1).ivScanType = static_cast<std::int32_t>(QUVENScanType::RandomSample);
    run.passes();
  });
  EXPECT_TRUE(captured.threwLibraryException);
  EXPECT_THAT(captured.out, testing::HasSubstr("The scans of a run ask for different reading modes in one pass"));
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENPassDriverTest, RefusesAnotherModeThanSlicesInARunWithSlices) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeNumbers(6);
  const CapturedRun captured = capturedRun([&] {
    PassRun run(path, {.numSlices = 2});
    run.addCount("x", 1, 1).ivScanType = static_cast<std::int32_t>(QUVENScanType::RandomSample);
    run.passes();
  });
  EXPECT_TRUE(captured.threwLibraryException);
  EXPECT_THAT(captured.out, testing::HasSubstr("A run in slices reads its records in slices only"));
  quvenDebugWords = QUVENDebugWords();
}

// Distributions

TEST_F(QUVENPassDriverTest, GathersTheDistributionsOfFieldsBeforeTheModelsBegin) {
  std::vector<double> values;
  for (int i = 0; i < 300; ++i) values.push_back(i % 10 == 3 ? Missing : i % 50);
  write("x Numeric Explanatory\n", values);
  for (const std::int32_t slices : {0, 5}) {
    PassRun run(path, {.numSlices = slices});
    QUVENPassCount* scan = nullptr;
    if (run.isRank0()) {
      run.driver.addField(run.field("x"), run.handle());
      scan = &run.addCount("x", 1, 1);
    }
    run.passes();
    ASSERT_EQ(run.driver.getPasses().size(), 3U);
    if (!run.isRank0()) continue;
    EXPECT_THAT(scan->recordsOfPasses, ElementsAre(300));
    const auto& field = static_cast<const QUVENNumField&>(run.field("x"));
    const QUVENNumFieldDist& dist = *field.getDistribution();
    EXPECT_EQ(dist.getScansDone(), 2);
    EXPECT_EQ(dist.getMissingCount(), 30);
    EXPECT_EQ(dist.getValidCount(), 270);
    double sum = 0;
    std::int32_t inBins = 0;
    for (long i = 1; i <= dist.getNumBins(); ++i) {
      inBins += dist.getBin(i).getCount();
      sum += dist.getBin(i).getCount() * dist.getBin(i).getMean();
    }
    EXPECT_EQ(inBins, 270);
    double expected = 0;
    for (const double value : values) expected += value == Missing ? 0 : value;
    EXPECT_NEAR(sum, expected, 1e-9 * expected);
  }
}

TEST_F(QUVENPassDriverTest, AFieldThatIsNotSampledCostsNoPassAndGathersNothing) {
  writeNumbers(5);
  PassRun run(path, {.distributionPasses = 1});
  if (run.isRank0()) run.addCount("x", 1, 1);
  run.passes();
  EXPECT_EQ(run.driver.getPasses().size(), 1U);
  EXPECT_FALSE(run.field("x").hasDistribution());
}

TEST_F(QUVENPassDriverTest, ScoresFinishedModelsBeforeOthersSeeTheRecordAndFeedsTheirDistributions) {
  std::vector<double> values;
  for (int i = 1; i <= 20; ++i) values.push_back(i == 5 ? Missing : i);
  std::vector<double> records;
  for (const double value : values) records.insert(records.end(), {value, value});
  write("x Numeric Explanatory\ny Numeric Target\n", records);
  QUVENPassDoubler::scored = 0;
  PassRun run(path);
  QUVENPassCount* reader = nullptr;
  if (run.isRank0()) {
    auto& doubler = run.add<QUVENPassDoubler>("x", "y");
    QUVENField* output = doubler.addOutput(run.driver.getNames(), run.handle());
    // The reader is in the list from pass 2 on, when the doubler has finished.
    run.driver.setBetweenPasses([&, output](int pass) {
      if (pass > 1) return;
      output->setSampleFlag(true, run.handle());
      reader = &run.add<QUVENPassCount>("Predicted_y");
      reader->ivId = 1;
      reader->ivPassesLeft = 2;
    });
  }
  run.passes();
  ASSERT_EQ(run.driver.getPasses().size(), 3U);
  long scored = QUVENPassDoubler::scored;
  MPI_Allreduce(MPI_IN_PLACE, &scored, 1, MPI_LONG, MPI_SUM, MPI_COMM_WORLD);
  EXPECT_EQ(scored, 2 * 20);  // once for each record of passes 2 and 3
  if (!run.isRank0()) return;
  EXPECT_THAT(reader->recordsOfPasses, ElementsAre(20, 20));
  const auto& dist = *static_cast<const QUVENNumField&>(run.field("Predicted_y")).getDistribution();
  EXPECT_EQ(dist.getScansDone(), 2);
  EXPECT_EQ(dist.getMissingCount(), 2);  // the missing input, and the 13 that gave no number
  EXPECT_EQ(dist.getValidCount(), 18);
  const QUVENNumFieldBin& last = dist.getBin(dist.getNumBins());
  EXPECT_EQ(last.getMaxValue(), std::numeric_limits<double>::max());  // the infinity of 17
}

/// The square of a field, of 3 a missing value.
class Square : public QUVENNumValueProducer {
 public:
  explicit Square(QUVENField& squared) : field(squared) {}
  bool produceValue(QUVENDataPoint&, double& value, const QUVENEnvHandle& env) override {
    value = field.getNumValue(env) * field.getNumValue(env);
    return value != 9;
  }

 private:
  QUVENField& field;
};

/// Gives the field "square" of a world its producer.
void attachSquare(QUVENScanWorld& world, std::unique_ptr<Square>& producer) {
  producer = std::make_unique<Square>(*world.getNames().find("x"));
  static_cast<QUVENNumField&>(*world.getNames().find("square")).setValueProducer(producer.get());
}

TEST_F(QUVENPassDriverTest, AsksTheValueProducersOfComputedFields) {
  writeNumbers(4);
  for (const std::int32_t slices : {0, 3}) {
    PassRun run(path, {.numSlices = slices});
    std::unique_ptr<Square> live;
    std::unique_ptr<Square> copied;
    QUVENPassCount* reader = nullptr;
    if (run.isRank0()) {
      QUVENOwnPtr<QUVENField> field = quvenMake<QUVENNumField>(run.handle());
      field->setName("square");
      field->setComputed(true);
      run.driver.getNames().addOwned(std::move(field), run.handle());
      attachSquare(run.driver.getWorld(), live);
      reader = &run.addCount("square", 1, 2);
    }
    run.driver.setAfterRead([&](QUVENScanWorld& copy) { attachSquare(copy, copied); });
    run.passes();
    if (!run.isRank0()) continue;
    EXPECT_THAT(reader->recordsOfPasses, ElementsAre(4, 4));
    EXPECT_THAT(reader->sumsOfPasses, ElementsAre(1 + 4 + 16, 1 + 4 + 16));
  }
}

TEST_F(QUVENPassDriverTest, RefusesACopyWithoutTheValueProducersOfRank0) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeNumbers(4);
  std::unique_ptr<Square> live;
  const CapturedRun captured = capturedRun([&] {
    PassRun run(path, {.numSlices = 2});
    QUVENOwnPtr<QUVENField> field = quvenMake<QUVENNumField>(run.handle());
    field->setName("square");
    field->setComputed(true);
    run.driver.getNames().addOwned(std::move(field), run.handle());
    attachSquare(run.driver.getWorld(), live);
    run.addCount("square", 1, 1);
    run.passes();
  });
  EXPECT_TRUE(captured.threwLibraryException);
  EXPECT_THAT(captured.out, testing::HasSubstr("A computed field has no value producer on this rank"));
  quvenDebugWords = QUVENDebugWords();
}

/// Once the reader took the value of the record before, and the result depended on the number of ranks.
TEST_F(QUVENPassDriverTest, RefusesAModelThatReadsAnOutputBeforeItIsSet) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  std::vector<double> records;
  for (int i = 1; i <= 8; ++i) records.insert(records.end(), {double(i), double(i)});
  write("x Numeric Explanatory\ny Numeric Target\n", records);
  const auto train = [&](bool inWrongOrder) {
    PassRun run(path);
    run.add<QUVENPassDoubler>("x", "y").addOutput(run.driver.getNames(), run.handle());
    run.add<QUVENPassDoubler>("Predicted_y", "y").addOutput(run.driver.getNames(), run.handle());
    run.driver.setBetweenPasses([&](int) {
      if (inWrongOrder) std::swap(run.driver.getScans()[1], run.driver.getScans()[2]);
    });
    run.passes();
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      row = std::to_string(static_cast<int>(run.field("Predicted_y1").getNumValue(run.handle())));
    };
    run.driver.writeRows(path + ".rows", "prediction", writeRow, run.handle());
  };
  train(false);
  EXPECT_EQ(folder.read("data.rows"), "prediction\n4\n8\n12\n16\n20\n24\n28\n32\n");
  const CapturedRun captured = capturedRun([&] { train(true); });
  EXPECT_TRUE(captured.threwLibraryException);
  EXPECT_THAT(captured.out, testing::HasSubstr("A computed field is read before the record has set it"));
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENPassDriverTest, RefusesAModelWhoseInputWasDropped) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  write("x Numeric Explanatory\ny Numeric Target\n", {1, 1, 2, 2});
  for (const std::int32_t slices : {0, 2}) {
    const CapturedRun captured = capturedRun([&] {
      PassRun run(path, {.numSlices = slices});
      run.add<QUVENPassDoubler>("x", "y").addOutput(run.driver.getNames(), run.handle());
      run.driver.setBetweenPasses([&](int pass) {
        if (pass > 1) return;
        run.addCount("Predicted_y", 1, 2);
        std::swap(run.driver.getScans()[1], run.driver.getScans()[2]);
        run.driver.getScans().setSize(1, run.handle());
      });
      run.passes();
    });
    EXPECT_TRUE(captured.threwLibraryException);
    EXPECT_THAT(captured.out, testing::HasSubstr("A scan reads a field that no longer exists"));
    quvenDebugWords = QUVENDebugWords();
  }
}

TEST_F(QUVENPassDriverTest, RefusesSettingsAndChannelsThatMeanNothing) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeNumbers(4);
  const auto outOf = [&](const QUVENPassSettings& settings) {
    const CapturedRun captured = capturedRun([&] {
      PassRun run(path, settings);
      run.addCount("x", 1, 1);
      run.passes();
    });
    EXPECT_TRUE(captured.threwLibraryException);
    quvenDebugWords = QUVENDebugWords();
    return captured.out;
  };
  EXPECT_THAT(outOf({.numChannels = 0}), testing::HasSubstr("settings.numChannels >= 1"));
  EXPECT_THAT(outOf({.numSlices = -1}), testing::HasSubstr("settings.numSlices >= 0"));
  EXPECT_THAT(outOf({.distributionPasses = 0}), testing::HasSubstr("settings.distributionPasses >= 1"));
  EXPECT_THAT(outOf({.lastPass = -1}), testing::HasSubstr("settings.lastPass >= 0"));
  const auto deal = [](std::int64_t record) { return record == 2 ? 4 : 0; };
  EXPECT_THAT(outOf({.numChannels = 3, .dealChannel = deal}),
              testing::HasSubstr("Record 2 was dealt to channel 4 of 3"));
}

TEST_F(QUVENPassDriverTest, TheDistributionOfAnOutputThatWasAddedHasItsValues) {
  std::vector<double> records;
  for (int i = 1; i <= 8; ++i) records.insert(records.end(), {double(i), double(i)});
  write("x Numeric Explanatory\ny Numeric Target\n", records);
  PassRun run(path);
  if (run.isRank0()) {
    QUVENField* output = run.add<QUVENPassDoubler>("x", "y").addOutput(run.driver.getNames(), run.handle());
    run.driver.addField(*output, run.handle());
  }
  run.passes();
  if (!run.isRank0()) return;
  EXPECT_EQ(static_cast<const QUVENNumField&>(run.field("Predicted_y")).getDistribution()->getValidCount(), 8);
}

// Channels

TEST_F(QUVENPassDriverTest, DealsRecordsToChannelsByTheirNumbers) {
  writeNumbers(30);
  for (const std::int32_t slices : {0, 4}) {
    const auto deal = [](std::int64_t record) { return static_cast<std::int32_t>(record % 4) + 1; };
    PassRun run(path, {.numChannels = 4, .dealChannel = deal, .numSlices = slices});
    EXPECT_EQ(run.field("x").getGlobalNumChannels(), 4);
    if (run.isRank0()) {
      EXPECT_EQ(run.addCount("x", 1, 1).getGlobalNumChannels(), 4);
    }
    run.passes();
    const auto writeChannel = [](QUVENDataPoint& point, std::int64_t, std::string& row) {
      row = std::to_string(point.getChannel());
    };
    run.driver.writeRows(path + ".channels", "channel", writeChannel, run.handle());
    if (!run.isRank0()) continue;
    std::string expected = "channel\n";
    for (int i = 0; i < 30; ++i) expected += std::to_string(i % 4 + 1) + "\n";
    EXPECT_EQ(folder.read("data.channels"), expected);
  }
}

TEST_F(QUVENPassDriverTest, PassesHaveTheRecordsThatWereChosen) {
  writeNumbers(30);
  for (const std::int32_t slices : {0, 4}) {
    PassRun run(path, {.numSlices = slices});
    const auto isEven = [](std::int64_t record) { return record % 2 == 0; };  // the values 1, 3, .. 29
    run.driver.setTakesRecord(isEven);
    if (run.isRank0()) run.driver.addField(run.field("x"), run.handle());
    run.passes();
    QUVENPassCount* chosen = run.isRank0() ? &run.addCount("x", 1, 1) : nullptr;
    run.passes();
    run.driver.setTakesRecord(nullptr);
    QUVENPassCount* all = run.isRank0() ? &run.addCount("x", 2, 1) : nullptr;
    run.passes();
    if (!run.isRank0()) continue;
    EXPECT_THAT(chosen->recordsOfPasses, ElementsAre(15));
    EXPECT_THAT(chosen->sumsOfPasses, ElementsAre(225));
    EXPECT_THAT(all->recordsOfPasses, ElementsAre(30));
    EXPECT_EQ(static_cast<QUVENNumField&>(run.field("x")).getDistribution()->getValidCount(), 15);
  }
}

// Rows

TEST_F(QUVENPassDriverTest, WritesOneRowPerRecordInTheOrderOfTheDataset) {
  std::vector<double> records;
  for (int i = 1; i <= 11; ++i) records.insert(records.end(), {double(i), double(i)});
  write("x Numeric Explanatory\ny Numeric Target\n", records);
  PassRun run(path);
  if (run.isRank0()) run.add<QUVENPassDoubler>("x", "y").addOutput(run.driver.getNames(), run.handle());
  run.passes();
  const auto writeRow = [](QUVENDataPoint&, std::int64_t record, std::string& row) { row = std::to_string(record); };
  run.driver.writeRows(path + ".rows", "record", writeRow, run.handle());
  const QUVENField& predicted = run.field("Predicted_y");
  const auto writePrediction = [&](QUVENDataPoint& point, std::int64_t, std::string& row) {
    const QUVENEnvHandle env = run.handle();
    row = std::to_string(static_cast<int>(point.getField(1).getNumValue(env))) + "," +
          (predicted.isMissing() ? "-" : std::to_string(static_cast<int>(predicted.getNumValue(env))));
  };
  run.driver.writeRows(path + ".predictions", "x,predicted", writePrediction, run.handle());
  MPI_Barrier(MPI_COMM_WORLD);
  if (!run.isRank0()) return;
  EXPECT_EQ(folder.read("data.rows"), "record\n0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n");
  EXPECT_EQ(folder.read("data.predictions"),
            "x,predicted\n1,2\n2,4\n3,6\n4,8\n5,10\n6,12\n7,14\n8,16\n9,18\n10,20\n11,22\n");
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename().string();
    EXPECT_EQ(name.find(".rows1"), std::string::npos) << name;
    EXPECT_EQ(name.find(".partial"), std::string::npos) << name;
  }
}

TEST_F(QUVENPassDriverTest, NamesAFileThatCannotBeWritten) {
  if (count > 1) GTEST_SKIP() << "a fatal report ends all ranks";
  writeNumbers(3);
  PassRun run(path);
  const auto writeRow = [](QUVENDataPoint&, std::int64_t, std::string& row) { row = "row"; };
  for (const std::string& bad : {folder.path() + "/nowhere/rows", std::string("/dev/full")}) {
    const CapturedRun captured = capturedRun([&] { run.driver.writeRows(bad, "header", writeRow, run.handle()); });
    EXPECT_TRUE(captured.threwLibraryException);
    EXPECT_THAT(captured.out, testing::HasSubstr("Error;|2302;|" + bad + ";|Unable to write output file;|ErrorEnd\n"));
    quvenDebugWords = QUVENDebugWords();
  }
}

// Identity

TEST_F(QUVENPassDriverTest, TopScansAreAddedDroppedAndReorderedBetweenPasses) {
  writeNumbers(12);
  for (const std::int32_t slices : {0, 5}) {
    PassRun run(path, {.numSlices = slices});
    std::vector<QUVENPassCount*> scans;
    long droppedRecords = 0;
    if (run.isRank0()) {
      for (const std::int32_t id : {1, 2, 3}) scans.push_back(&run.addCount("x", id, 4));
      run.driver.setBetweenPasses([&](int pass) {
        QUVENScanWorld::Scans& list = run.driver.getScans();
        if (pass == 1) {
          std::swap(list[1], list[3]);
          scans.push_back(&run.addCount("x", 4, 3));
        } else if (pass == 2) {
          droppedRecords = scans[1]->ivRecords;
          list[2].reset(run.handle());  // scan 2
          list[2] = std::move(list[4]);
          list.setSize(3, run.handle());
        }
      });
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 4U);
    if (!run.isRank0()) continue;
    EXPECT_EQ(droppedRecords, 12);
    for (const int i : {0, 2, 3}) {
      const QUVENPassCount& scan = *scans[static_cast<std::size_t>(i)];
      EXPECT_EQ(scan.recordsOfPasses, std::vector<std::int64_t>(i == 3 ? 3 : 4, 12));
      EXPECT_EQ(scan.mistakesOfPasses, std::vector<std::int32_t>(i == 3 ? 3 : 4, 0));
    }
  }
}

TEST_F(QUVENPassDriverTest, OwnedModelsAndTheirOutputsKeepTheirObjectsWhenTheyChangePlaces) {
  std::vector<double> records;
  for (int i = 1; i <= 9; ++i) records.insert(records.end(), {double(i), double(i)});
  write("x Numeric Explanatory\ny Numeric Target\n", records);
  for (const std::int32_t slices : {0, 4}) {
    PassRun run(path, {.numSlices = slices});
    QUVENPassEnsemble* ensemble = nullptr;
    if (run.isRank0()) {
      ensemble = &run.add<QUVENPassEnsemble>("x", "y");
      ensemble->ivPassesLeft = 5;
      for (const std::int32_t id : {1, 2, 3}) ensemble->addModel(id, run.driver.getNames(), run.handle());
      run.driver.setBetweenPasses([&](int pass) {
        if (pass == 1) ensemble->addModel(4, run.driver.getNames(), run.handle());
        if (pass == 2) ensemble->swapModels(1, 2, run.handle());
        if (pass == 3) ensemble->dropModel(1, run.handle());  // model 2, with its field
        if (pass == 4) {
          ensemble->swapModels(1, 3, run.handle());
          ensemble->addModel(2, run.driver.getNames(), run.handle());  // another model with the name of its output
        }
      });
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), 5U);
    if (!run.isRank0()) continue;
    std::string ids;
    for (const QUVENOwnPtr<QUVENPassCount>& model : ensemble->ivModels) {
      ids += std::to_string(model->ivId);
      for (const std::int64_t seen : model->recordsOfPasses) EXPECT_EQ(seen, 9);
      for (const double sum : model->sumsOfPasses) EXPECT_EQ(sum, 45);
      for (const std::int32_t mistakes : model->mistakesOfPasses) EXPECT_EQ(mistakes, 0) << model->ivId;
    }
    EXPECT_EQ(ids, "4312");
    EXPECT_EQ(run.driver.getNames().getNumFields(), 2 + 4);
  }
}

}  // namespace
