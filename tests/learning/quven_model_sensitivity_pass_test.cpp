// The sensitivity of boosted models through the pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include "learning/quven_model_sensitivity.h"

#include "learning/boosting_fixture.h"
#include "util/quven_registration.h"

/// Keeps the values of all fields of each record that it sees, as text.
class QUVENFieldWatch : public QUVENObjectOf<QUVENFieldWatch, QUVENMultiScan> {
 public:
  explicit QUVENFieldWatch(const QUVENEnvHandle& env) : Members(env) {}

  UpdateFunction getUpdateFunction(const QUVENEnvHandle&) const override {
    return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENFieldWatch::look) : nullptr;
  }
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  int endDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }

  std::vector<QUVENField*> fields;  // not streamed
  std::vector<std::string> records;

 private:
  void look(QUVENDataPoint&, const QUVENEnvHandle& env) {
    std::string& text = records.emplace_back();
    for (QUVENField* field : fields) {
      text += " " + std::to_string(field->hasValue()) + std::to_string(field->isMissing());
      if (!field->hasValue() || field->isMissing()) continue;
      if (field->isNumeric()) {
        text += std::to_string(std::bit_cast<std::uint64_t>(field->getNumValueOrSingle(1)));
      } else {
        text += field->getCatValue(env).str();
      }
      text += "," + std::to_string(field->getValueIndex(env));
    }
  }
};
QUVEN_REGISTER(QUVENFieldWatch);

namespace {

class QUVENModelSensitivityPassTest : public BoostTest {
 protected:
  static constexpr std::int32_t LastPass = 14;  // of the third stage

  static BoostTable tableOf(int records, int loss = Squared) {
    return randomBoostTable(7, records,
                            {.loss = loss, .hasMissing = true, .hasTies = true, .hasConstant = true, .hasNoise = true});
  }
  std::unique_ptr<BoostRun> trainStages(const BoostTable& table, std::int32_t slices, MPI_Comm ranks, int loss) {
    QUVENPassSettings settings = settingsOf(table, slices);
    settings.lastPass = LastPass;
    settings.scoredChannel = 1;
    auto run = train(table, loss, 1, settings, ranks);
    if (run->model != nullptr) {
      EXPECT_GT(run->model->getNumStages(), 1);
    }
    return run;
  }

  template <class Scan>
  static Scan* findScan(QUVENScanWorld::Scans& scans) {
    for (QUVENOwnPtr<QUVENDataScan>& scan : scans) {
      if (scan->isA(Scan::typeName()) != 0) return static_cast<Scan*>(scan.get());
    }
    return nullptr;
  }
  static QUVENField& predictionOf(const QUVENTransformRegression& model) {
    return *model.getStage(model.getNumStages()).getLoss().getCurrentPredictedValues().at(1);
  }
  static void connect(QUVENScanWorld::Scans& scans) {
    auto* const model = findScan<QUVENTransformRegression>(scans);
    auto* const sensitivity = findScan<QUVENModelSensitivity>(scans);
    if (sensitivity == nullptr) return;
    sensitivity->setScoring(*model, predictionOf(*model), nullptr, nullptr);
  }
  static std::vector<QUVENField*> inputsOf(BoostRun& run, const BoostTable& table) {
    std::vector<QUVENField*> inputs;
    for (std::size_t i = 0; i < table.isCategorical.size(); ++i) {
      inputs.push_back(&run.run.field("x" + std::to_string(i)));
    }
    return inputs;
  }
  /// Adds a sensitivity scan to the run of a trained model, and makes its pass. Null above rank 0.
  QUVENModelSensitivity* gather(BoostRun& run, const BoostTable& table,
                                const std::function<void()>& addMore = nullptr) {
    QUVENModelSensitivity* scan = nullptr;
    if (run.run.isRank0()) {
      scan = &run.run.driver.addScan(quvenMake<QUVENModelSensitivity>(run.run.handle()), run.run.handle());
      scan->setFields(inputsOf(run, table), run.run.handle());
      connect(run.run.driver.getScans());
      if (addMore) addMore();
    }
    run.run.driver.setAfterRead([](QUVENScanWorld& copy) { connect(copy.getScans()); });
    run.run.passes();
    return scan;
  }
  static QUVENFieldWatch& addWatch(BoostRun& run) {
    auto& watch = run.run.driver.addScan(quvenMake<QUVENFieldWatch>(run.run.handle()), run.run.handle());
    for (long i = 1; i <= run.run.driver.getPoint().getNumFields(); ++i) {
      watch.fields.push_back(&run.run.driver.getPoint().getField(i));
    }
    for (const QUVENOwnPtr<QUVENField>& field : run.run.driver.getNames().getOwnedFields()) {
      watch.fields.push_back(field.get());
    }
    return watch;
  }
  static std::string bitsOf(const QUVENModelSensitivity& scan) {
    std::string text;
    for (long field = 1; field <= scan.getFields().getSize(); ++field) {
      text += " " + std::to_string(std::bit_cast<std::uint64_t>(scan.getSensitivity(field))) + " " +
              std::to_string(scan.getPoints(field));
    }
    return text;
  }
};

// The slow check: a pass that writes rows replaces every field of every record and scores the whole model again.
TEST_F(QUVENModelSensitivityPassTest, EqualsScoringTheWholeModelForEachDraw) {
  for (const int loss : {Squared, LogisticLink}) {
    SCOPED_TRACE("loss " + std::to_string(loss));
    const BoostTable table = tableOf(600, loss);
    writeTable(table);
    if (!isRank0()) continue;
    const auto run = trainStages(table, 0, MPI_COMM_SELF, loss);
    const std::vector<QUVENField*> inputs = inputsOf(*run, table);
    std::vector<long double> squares(inputs.size());
    double points = 0;
    long missingDraws = 0;
    const auto writeRow = [&](QUVENDataPoint& point, std::int64_t, std::string&) {
      const QUVENField& prediction = predictionOf(*run->model);
      const double base = prediction.getNumValueOrSingle(1);
      ++points;
      for (std::size_t i = 0; i < inputs.size(); ++i) {
        QUVENFieldValue saved;
        inputs[i]->saveValue(saved, run->run.handle());
        inputs[i]->sampleFromDistribution(point.getRecordId(), run->run.handle());
        missingDraws += inputs[i]->isMissing() ? 1 : 0;
        run->model->scoreChannel(1, point, run->run.handle());
        const long double change = prediction.getNumValueOrSingle(1) - base;
        squares[i] += change * change;
        inputs[i]->restoreValue(saved, run->run.handle());
        saved.deleteMemory(run->run.handle());
      }
    };
    run->run.driver.writeRows(path + ".rows", "", writeRow, run->run.handle());
    EXPECT_GT(missingDraws, 10);
    const QUVENModelSensitivity& scan = *gather(*run, table);
    EXPECT_TRUE(scan.isNormalized());
    long double sum = 0;
    for (const long double square : squares) sum += square;
    long inputsThatMatter = 0;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      const long field = static_cast<long>(i) + 1;
      EXPECT_EQ(scan.getPoints(field), points);
      EXPECT_NEAR(scan.getSensitivity(field), static_cast<double>(squares[i] / sum), 1e-12) << i;
      inputsThatMatter += squares[i] > sum / 100 ? 1 : 0;
    }
    EXPECT_GE(inputsThatMatter, 2);
  }
}

TEST_F(QUVENModelSensitivityPassTest, LeavesEveryFieldOfARecordAsItWas) {
  const BoostTable table = tableOf(400);
  writeTable(table);
  if (!isRank0()) return;
  const auto run = trainStages(table, 0, MPI_COMM_SELF, Squared);
  // One watch is before the sensitivity scan in the list, one is after it.
  const QUVENFieldWatch& before = addWatch(*run);
  gather(*run, table, [&] { addWatch(*run); });
  const QUVENXaRay<QUVENOwnPtr<QUVENDataScan>, 0>& scans = run->run.driver.getScans();
  const auto& after = static_cast<const QUVENFieldWatch&>(*scans[scans.getSize()]);
  ASSERT_NE(&before, &after);
  EXPECT_EQ(before.records.size(), 400U);
  EXPECT_TRUE(after.records == before.records);
}

TEST_F(QUVENModelSensitivityPassTest, IsTheSameBytesOnAnyNumberOfRanks) {
  const BoostTable table = tableOf(700);
  writeTable(table);
  const auto learn = [&](MPI_Comm ranks) {
    const auto run = trainStages(table, 8, ranks, Squared);
    const QUVENModelSensitivity* const scan = gather(*run, table);
    return scan == nullptr ? std::string() : bitsOf(*scan);
  };
  const std::string together = learn(MPI_COMM_WORLD);
  if (!isRank0()) return;
  EXPECT_FALSE(together.empty());
  EXPECT_EQ(together, learn(MPI_COMM_SELF));
}

TEST_F(QUVENModelSensitivityPassTest, GathersWithoutSlicesOnEveryRank) {
  const BoostTable table = tableOf(500);
  writeTable(table);
  const auto run = trainStages(table, 0, MPI_COMM_WORLD, Squared);
  const QUVENModelSensitivity* const scan = gather(*run, table);
  if (scan == nullptr) return;
  EXPECT_TRUE(scan->isNormalized());
  EXPECT_EQ(scan->getPoints(1), 500);
}

}  // namespace
