#include "learning/quven_model_sensitivity.h"

#include "learning/quven_scan_log.h"
#include "lin_reg_fixture.h"

namespace {

class QUVENModelSensitivityTest : public LinearRegressionTest {
 protected:
  QUVENModelSensitivityTest() { openWorld(5); }
  void TearDown() override {
    scan.reset(QUVEN_ENV);
    LinearRegressionTest::TearDown();
  }

  /// A regression of y on x1 and x2, distributions of the inputs, and a scan of the inputs that looks at the
  /// prediction.
  void trainExample(int records = 400) {
    table = randomRecords(records);
    for (std::size_t i = 0; i < table.size(); i += 7) table[i].x[1] = noNumber;
    for (QUVENField* field : x) distribute(*field);
    trainModel(table);
    scan = make<QUVENModelSensitivity>();
    scan->setFields({x[0], x[1], x[2]}, QUVEN_ENV);
    scan->setScoring(*model, *predicted(), nullptr, nullptr);
  }
  void distribute(QUVENField& field) {
    field.setSampleFlag(true, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {
      field.beginDistributionPass(QUVEN_ENV);
      for (std::size_t i = 0; i < table.size(); ++i) {
        set(table[i]);
        field.updateDistribution(static_cast<std::uint32_t>(i), QUVEN_ENV);
      }
      field.endDistributionPass(QUVEN_ENV);
    }
  }
  /// Lets the model score a record on channel 1 and passes it to the scan.
  void show(QUVENModelSensitivity& shown, std::size_t record) {
    scoreRecord(record);
    shown.update(*point, QUVEN_ENV);
  }
  void scoreRecord(std::size_t record) {
    set(table.at(record));
    point->setRecordId(static_cast<std::uint32_t>(record));
    for (QUVENField* field : {predicted(), stdDev()}) field->clearValue();
    model->scoreChannel(1, *point, QUVEN_ENV);
  }
  /// A pass over the records of the table that an action chooses.
  template <class Choose>
  void gather(QUVENModelSensitivity& gathering, Choose&& choose) {
    gathering.beginRecords(QUVEN_ENV);
    for (std::size_t i = 0; i < table.size(); ++i) {
      if (choose(i)) show(gathering, i);
    }
    gathering.endRecords(QUVEN_ENV);
  }
  /// The running mean of the squared changes of a field, record by record.
  template <class IndexOf, class Read>
  double literal(QUVENField& field, IndexOf&& indexOf, Read&& read) {
    double mean = 0;
    double points = 0;
    for (std::size_t i = 0; i < table.size(); ++i) {
      scoreRecord(i);
      const double base = read();
      field.sampleFromDistribution(indexOf(i), QUVEN_ENV);
      model->scoreChannel(1, *point, QUVEN_ENV);
      const double change = read() - base;
      mean = (points * mean + change * change) / (points + 1);
      ++points;
    }
    return mean;
  }
  double predictedNow() { return predicted()->getNumValueOfChannel(1, QUVEN_ENV); }
  static std::uint32_t recordId(std::size_t record) { return static_cast<std::uint32_t>(record); }

  /// A scan after records that change the prediction by the given numbers.
  QUVENOwnPtr<QUVENModelSensitivity> partOf(const std::vector<double>& changes) {
    auto part = make<QUVENModelSensitivity>();
    part->setFields({x[0], x[1], x[2]}, QUVEN_ENV);
    part->setScoring(
        *model, *w, [this](const QUVENEnvHandle&) { w->setNumValue(reading); }, nullptr);
    part->beginDataScan(QUVEN_ENV);
    part->beginRecords(QUVEN_ENV);
    for (const double change : changes) {
      scoreRecord(1);
      w->setNumValue(0);
      reading = change;
      part->update(*point, QUVEN_ENV);
    }
    return part;
  }

  double reading = 0;
  RegressionTable table;
  QUVENOwnPtr<QUVENModelSensitivity> scan;
};

TEST_F(QUVENModelSensitivityTest, IsTheMeanSquareOfTheChanges) {
  trainExample();
  EXPECT_FALSE(scan->wantsRecords());
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 1);
  gather(*scan, [](std::size_t) { return true; });
  std::vector<double> means;
  for (long field = 1; field <= 3; ++field) {
    EXPECT_EQ(scan->getPoints(field), 400);
    means.push_back(literal(*scan->getFields()[field], recordId, [&] { return predictedNow(); }));
    EXPECT_EQ(scan->getSensitivity(field), means.back());
  }
  EXPECT_GT(means[0], means[1]);  // y is 2 x1 - x2
  EXPECT_GT(means[1], 0);
  EXPECT_EQ(model->firstStepReading(x[2], QUVEN_ENV), 2);  // an input that the regression does not use
  EXPECT_EQ(means[2], 0);
  EXPECT_FALSE(scan->isNormalized());
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);
  EXPECT_TRUE(scan->isNormalized());
  const double sum = means[0] + means[1] + means[2];
  for (long field = 1; field <= 3; ++field) {
    EXPECT_EQ(scan->getSensitivity(field), means[static_cast<std::size_t>(field - 1)] / sum);
    EXPECT_EQ(scan->getPoints(field), 400);
  }
  // A second pass starts from zero.
  scan->beginDataScan(QUVEN_ENV);
  gather(*scan, [](std::size_t i) { return i == 0; });
  EXPECT_EQ(scan->getPoints(1), 1);
  EXPECT_FALSE(scan->isNormalized());
}

TEST_F(QUVENModelSensitivityTest, LeavesTheRecordAndItsPredictionAsTheyWere) {
  trainExample();
  scan->beginDataScan(QUVEN_ENV);
  scan->beginRecords(QUVEN_ENV);
  for (std::size_t i = 0; i < 100; ++i) {
    table[i].hasValuePerChannel = i % 3 == 0 && i % 7 != 0;
    scoreRecord(i);
    const auto look = [&] {
      std::vector<double> values;
      for (const QUVENField* field : {x[0], x[1], x[2], w, v, y}) {
        values.insert(values.end(), {static_cast<double>(field->hasValue()), static_cast<double>(field->isMissing()),
                                     static_cast<double>(field->getNumValues())});
        for (int c = 1; c <= channels; ++c) values.push_back(field->getNumValueOrSingle(c));
      }
      for (QUVENField* field : {predicted(), stdDev()}) values.push_back(field->getNumValueOfChannel(1, QUVEN_ENV));
      for (QUVENField* field : x) values.push_back(field->getValueIndex(QUVEN_ENV));
      return values;
    };
    const std::vector<double> before = look();
    scan->update(*point, QUVEN_ENV);
    ASSERT_EQ(look(), before) << i;
  }
}

TEST_F(QUVENModelSensitivityTest, ReadsThePredictionAfterTheAction) {
  trainExample();
  long calls = 0;
  const auto afterScoring = [&](const QUVENEnvHandle&) {
    ++calls;
    w->setNumValue(std::exp(predictedNow() / 4));
  };
  scan->setScoring(*model, *w, afterScoring, nullptr);
  scan->beginDataScan(QUVEN_ENV);
  scan->beginRecords(QUVEN_ENV);
  for (std::size_t i = 0; i < table.size(); ++i) {
    scoreRecord(i);
    w->setNumValue(std::exp(predictedNow() / 4));
    scan->update(*point, QUVEN_ENV);
    ASSERT_EQ(w->getNumValue(QUVEN_ENV), std::exp(predictedNow() / 4));
  }
  // The model reads two of the inputs; the third call scores the unchanged record.
  EXPECT_EQ(calls, 3 * 400);
  const auto read = [&] { return std::exp(predictedNow() / 4); };
  for (long field = 1; field <= 3; ++field) {
    EXPECT_EQ(scan->getSensitivity(field), literal(*scan->getFields()[field], recordId, read));
  }
}

TEST_F(QUVENModelSensitivityTest, DrawsByTheValueOfTheSampleField) {
  trainExample();
  QUVENField* const id = v;
  scan->setScoring(*model, *predicted(), nullptr, id);
  const auto indexOf = [](std::size_t i) {
    if (i % 5 == 0) return static_cast<std::uint32_t>(i);  // a missing index: that of the record
    if (i % 5 == 1) return std::uint32_t{0};               // beyond all integers
    if (i % 5 == 2) return static_cast<std::uint32_t>(-static_cast<std::int64_t>(i));
    return static_cast<std::uint32_t>((1ULL << 32) + 1000 - i);
  };
  scan->beginDataScan(QUVEN_ENV);
  scan->beginRecords(QUVEN_ENV);
  for (std::size_t i = 0; i < table.size(); ++i) {
    scoreRecord(i);
    const double number = static_cast<double>(i);
    const double values[] = {0, 1e300, -number, 0x1p32 + 1000 - number + 0.25, 0x1p32 + 1000 - number};
    i % 5 == 0 ? id->setMissing() : id->setNumValue(values[i % 5]);
    scan->update(*point, QUVEN_ENV);
  }
  for (long field = 1; field <= 2; ++field) {
    EXPECT_EQ(scan->getSensitivity(field), literal(*scan->getFields()[field], indexOf, [&] { return predictedNow(); }));
  }
}

TEST_F(QUVENModelSensitivityTest, IgnoresPredictionsAndChangesThatAreNotFinite) {
  trainExample();
  scan->setScoring(
      *model, *w, [this](const QUVENEnvHandle&) { w->setNumValue(reading); }, nullptr);
  scan->beginDataScan(QUVEN_ENV);
  scan->beginRecords(QUVEN_ENV);
  const auto showWith = [&](double base, double changed) {
    scoreRecord(1);
    std::isnan(base) ? w->setMissing() : w->setNumValue(base);
    reading = changed;
    scan->update(*point, QUVEN_ENV);
  };
  const double infinity = std::numeric_limits<double>::infinity();
  showWith(noNumber, 1);
  showWith(infinity, 1);
  EXPECT_EQ(scan->getPoints(1), 0);
  EXPECT_EQ(scan->getPoints(3), 0);
  showWith(1, noNumber);
  showWith(1, infinity);
  showWith(-1e308, 1e308);
  EXPECT_EQ(scan->getPoints(1), 0);
  EXPECT_EQ(scan->getPoints(3), 3);  // the model does not read it
  showWith(1, 3);
  EXPECT_EQ(scan->getPoints(1), 1);
  EXPECT_EQ(scan->getSensitivity(1), 4);
  showWith(0, 1e200);
  EXPECT_EQ(scan->getSensitivity(1), std::numeric_limits<double>::max());
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);
  EXPECT_TRUE(std::isfinite(scan->getSensitivity(1)));
}

TEST_F(QUVENModelSensitivityTest, DividesASumThatOverflowsIntoShares) {
  trainExample();
  auto part = partOf({1e200});
  EXPECT_EQ(part->getSensitivity(1), std::numeric_limits<double>::max());
  EXPECT_EQ(part->getSensitivity(2), std::numeric_limits<double>::max());
  EXPECT_EQ(part->endDataScan(QUVEN_ENV), 1);
  EXPECT_TRUE(part->isNormalized());
  EXPECT_EQ(part->getSensitivity(1), 0.5);
  EXPECT_EQ(part->getSensitivity(2), 0.5);
  EXPECT_EQ(part->getSensitivity(3), 0);  // the model does not read it
  part.reset(QUVEN_ENV);
}

TEST_F(QUVENModelSensitivityTest, WithoutFieldsSeesNothing) {
  trainExample(50);
  scan->setFields({}, QUVEN_ENV);
  scan->beginDataScan(QUVEN_ENV);
  gather(*scan, [](std::size_t) { return true; });
  EXPECT_EQ(capturedRun([&] { scan->endDataScan(QUVEN_ENV); }).out,
            "Error;|3418;|Error in QUVENModelSensitivity::endDataScanPrimitive:   cannot normalize: sum over all "
            "sensitivites is <= 0. numSenstFields=0, sumSensitivities=0;|ErrorEnd\n");
  EXPECT_FALSE(scan->isScanInProgress());
  EXPECT_FALSE(scan->isNormalized());
}

TEST_F(QUVENModelSensitivityTest, ASumOfZeroIsAnErrorThatDoesNotEndTheRun) {
  trainExample(50);
  QUVENScanLog::get(QUVEN_ENV).setVerbosity(4);
  scan->beginDataScan(QUVEN_ENV);
  gather(*scan, [](std::size_t) { return false; });
  const CapturedRun run = capturedRun([&] { EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1); });
  EXPECT_FALSE(run.threwLibraryException);
  EXPECT_EQ(run.out,
            "Log;|4;|entering QUVENModelSensitivity::endDataScanPrimitive;|LogEnd\n"
            "Error;|3418;|Error in QUVENModelSensitivity::endDataScanPrimitive:   cannot normalize: sum over all "
            "sensitivites is <= 0. numSenstFields=3, sumSensitivities=0;|ErrorEnd\n"
            "Log;|4;|end of QUVENModelSensitivity::endDataScanPrimitive;|LogEnd\n");
  for (long field = 1; field <= 3; ++field) EXPECT_EQ(scan->getSensitivity(field), 0);
}

TEST_F(QUVENModelSensitivityTest, WritesNothingBelowItsVerbosity) {
  trainExample(50);
  QUVENScanLog::get(QUVEN_ENV).setVerbosity(3);
  scan->beginDataScan(QUVEN_ENV);
  gather(*scan, [](std::size_t) { return true; });
  EXPECT_EQ(capturedRun([&] { scan->endDataScan(QUVEN_ENV); }).out, "");
}

TEST_F(QUVENModelSensitivityTest, MergesMeansByTheirPoints) {
  trainExample(50);
  struct Case {
    std::vector<double> t, s;
    double mean, points;
  };
  constexpr double largest = std::numeric_limits<double>::max();
  const Case cases[] = {{{2, 4}, {1}, 7, 3},  // (10 * 2 + 1) / 3
                        {{1}, {2, 4}, 7, 3}, {{}, {2, 4}, 10, 2},           {{2, 4}, {}, 10, 2},
                        {{}, {}, 0, 0},      {{1e160}, {1e160}, largest, 2}};
  for (const Case& merged : cases) {
    auto t = partOf(merged.t);
    auto s = partOf(merged.s);
    EXPECT_TRUE(t->merge(s.get(), QUVEN_ENV));
    EXPECT_EQ(t->getSensitivity(1), merged.mean);
    EXPECT_EQ(t->getSensitivity(2), merged.mean);
    EXPECT_EQ(t->getSensitivity(3), 0);
    for (long field = 1; field <= 3; ++field) EXPECT_EQ(t->getPoints(field), merged.points);
    t.reset(QUVEN_ENV);
    s.reset(QUVEN_ENV);
  }
  auto t = partOf({1});
  auto other = make<QUVENModelSensitivity>();
  expectFailure([&] { static_cast<void>(t->merge(other.get(), QUVEN_ENV)); }, "part.ivSenstValVec.getSize()");
  t.reset(QUVEN_ENV);
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENModelSensitivityTest, ResultsOfWorkersMergeIntoTheLiveObject) {
  trainExample(300);
  scan->beginDataScan(QUVEN_ENV);
  gather(*scan, [](std::size_t) { return true; });
  std::vector<double> together;
  for (long field = 1; field <= 3; ++field) together.push_back(scan->getSensitivity(field));
  scan->beginRecords(QUVEN_ENV);
  std::vector<std::string> results;
  for (std::size_t worker = 0; worker < 4; ++worker) {  // the last one has no record
    auto copy = readWithNames<QUVENModelSensitivity>(imageOf(*scan, QUVENObjWriter::SaveForWorker));
    EXPECT_EQ(copy->getFields()[2], x[1]);
    copy->setScoring(*model, *predicted(), nullptr, nullptr);
    gather(*copy, [&](std::size_t i) { return i % 3 == worker; });
    results.push_back(resultOf(*copy));
    copy.reset(QUVEN_ENV);
  }
  for (const std::string& result : {results[3], mergedResults(results[0], results[1]), results[2]}) readResults(result);
  for (long field = 1; field <= 3; ++field) {
    EXPECT_EQ(scan->getPoints(field), 300);
    expectNear(scan->getSensitivity(field), together[static_cast<std::size_t>(field - 1)]);
  }
}

TEST_F(QUVENModelSensitivityTest, NeedsAModel) {
  scan = make<QUVENModelSensitivity>();
  scan->setFields({x[0]}, QUVEN_ENV);
  scan->beginDataScan(QUVEN_ENV);
  expectFailure([&] { scan->beginRecords(QUVEN_ENV); }, "model != nullptr");
}

}  // namespace
