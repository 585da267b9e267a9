#include "learning/quven_feature_transform.h"

#include <map>
#include <memory>
#include <random>
#include <set>

#include "kernel/quven_scan_results.h"
#include "literal_tree.h"
#include "transform_fixture.h"
#include "util/quven_registration.h"

/// A regression that refuses a mode, or its scan.
class QUVENTestStubbornRegression : public QUVENObjectOf<QUVENTestStubbornRegression, QUVENLinRegModel> {
 public:
  explicit QUVENTestStubbornRegression(const QUVENEnvHandle& env) : Members(env) {}

  bool setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle&) override { return mode != refusedMode; }
  bool beginPass(const QUVENEnvHandle& env) override {
    return Members::beginPass(QUVEN_ENV) && getMiningMode(QUVEN_ENV) != refusedScan;
  }
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override {
    scores.append(QUVENModelScores(), QUVEN_ENV);
  }
  void selectBest(long, const QUVENEnvHandle&) override {}

  static inline std::int32_t refusedMode = 0;
  static inline std::int32_t refusedScan = 0;
};

class QUVENTestStubbornTransform : public QUVENObjectOf<QUVENTestStubbornTransform, QUVENFeatureTransform> {
 public:
  explicit QUVENTestStubbornTransform(const QUVENEnvHandle& env) : Members(env) {}

 protected:
  void makeRootModel(QUVENOwnPtr<QUVENLinRegModel>& result, const QUVENEnvHandle& env) const override {
    result = quvenMake<QUVENTestStubbornRegression>(QUVEN_ENV);
  }
};

QUVEN_REGISTER(QUVENTestStubbornRegression);
QUVEN_REGISTER(QUVENTestStubbornTransform);

namespace {

using testing::DoubleNear;
using testing::ElementsAre;

/// Deals the records of a table to folds, and every tenth each to the test and the held-out records.
int channelOf(int i) { return i % 10 < 2 ? 1 + i % 10 : 3 + i / 2 % 3; }

class QUVENFeatureTransformTest : public TransformTest {
 protected:
  void TearDown() override {
    auto& settings = QUVENTransformGlobalVars::get(QUVEN_ENV);
    settings.setUnseenFromRoot(false);
    settings.setWarningField(nullptr);
    TransformTest::TearDown();
  }

  /// y is a broken line of x: it falls to x = 50 and rises from there.
  static TransformTable brokenLine(int records = 1000) {
    std::mt19937 random(5);
    TransformTable table;
    for (int i = 0; i < records; ++i) {
      TransformRecord record;
      record.x = static_cast<double>(random() % 10000) / 100;
      record.z = static_cast<double>(random() % 100) / 10;
      record.y = std::abs(record.x - 50) + static_cast<double>(random() % 1000) / 1000;
      record.channel = channelOf(i);
      table.push_back(record);
    }
    return table;
  }
  /// y is 10, 20 or 30 by groups of the categories a to f.
  static TransformTable groupsOfLetters(int records = 900) {
    std::mt19937 random(6);
    TransformTable table;
    for (int i = 0; i < records; ++i) {
      TransformRecord record;
      const int letter = static_cast<int>(random() % 6);
      record.c = std::string(1, static_cast<char>('a' + letter));
      record.y = 10.0 * (1 + letter % 3) + static_cast<double>(random() % 1000) / 1000;
      record.channel = channelOf(i);
      table.push_back(record);
    }
    return table;
  }
  std::int32_t segmentOf(const TransformRecord& record) {
    set(record);
    return transform->getSplitTest()->getSegment(1, QUVEN_ENV);
  }
};

// What it learns

TEST_F(QUVENFeatureTransformTest, LearnsABrokenLine) {
  trainOn(x, brokenLine());
  EXPECT_GT(transform->getNumInitialSegments(), 15);
  EXPECT_LT(transform->getNumSegments(), 8);
  EXPECT_GE(transform->getNumSegments(), 3);
  for (const double value : {3.0, 20.0, 45.0, 55.0, 80.0, 97.0}) {
    for (int channel = 1; channel <= Channels; ++channel) {
      EXPECT_NEAR(predict({.x = value}, channel), std::abs(value - 50) + 0.5, 0.4) << value << " " << channel;
      EXPECT_NEAR(stdDev()->getNumValueOfChannel(channel, QUVEN_ENV), 0.29, 0.15);
    }
  }
  EXPECT_NEAR(predictBy(const_cast<QUVENLinRegModel&>(*transform->getRoot()), {.x = 50}), 25.5, 3);
}

TEST_F(QUVENFeatureTransformTest, DescribesItsSegmentsAlongTheAxis) {
  trainOn(x, brokenLine());
  const auto segments = transform->describeSegments(QUVEN_ENV);
  ASSERT_EQ(static_cast<long>(segments.size()), transform->getNumSegments());
  EXPECT_EQ(segments.front().from, -std::numeric_limits<double>::infinity());
  for (std::size_t i = 1; i + 1 < segments.size(); ++i) EXPECT_EQ(segments[i].from, segments[i - 1].to);
  EXPECT_EQ(segments[segments.size() - 2].to, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(segments.back().isMissing);
  for (const QUVENSegmentDescription& segment : segments) {
    if (!segment.isInterval || segment.to > 1e300) continue;
    EXPECT_EQ(segmentOf({.x = segment.to}), segment.segment);
  }
}

TEST_F(QUVENFeatureTransformTest, GroupsCategories) {
  trainOn(c, groupsOfLetters());
  EXPECT_EQ(transform->getNumInitialSegments(), 7);
  EXPECT_LT(transform->getNumSegments(), 7);
  std::map<std::int32_t, std::set<int>> levels;  // by final segment
  for (int letter = 0; letter < 6; ++letter) {
    const std::string text(1, static_cast<char>('a' + letter));
    levels[segmentOf({.c = text})].insert(letter % 3);
    EXPECT_NEAR(predict({.c = text}), 10.0 * (1 + letter % 3) + 0.5, 0.2);
  }
  for (const auto& [segment, found] : levels) EXPECT_EQ(found.size(), 1U) << segment;
}

TEST_F(QUVENFeatureTransformTest, ContextEntersTheSegments) {
  TransformTable table = brokenLine();
  for (TransformRecord& record : table) record.y += record.x < 50 ? 2 * record.z : -record.z;
  trainOn(x, table, true);
  EXPECT_NEAR(predict({.x = 20, .z = 0}), 30.5, 1);
  EXPECT_NEAR(predict({.x = 20, .z = 5}), 40.5, 1);
  EXPECT_NEAR(predict({.x = 80, .z = 5}), 25.5, 1);
}

TEST_F(QUVENFeatureTransformTest, AFieldWithFewRecordsHasOneSegmentLikeTheRoot) {
  TransformTable table;
  for (int i = 0; i < 40; ++i) table.push_back({.x = i < 20 ? 1.0 : 2.0, .z = i * i % 7 * 1.0, .channel = 1 + i % 5});
  for (TransformRecord& record : table) record.y = 3 * record.z + record.x;
  table.resize(12);
  gather(table);
  x->setSampleFlag(false, QUVEN_ENV);
  makeTransform(x, true);
  train(*transform, 1, table);
  EXPECT_EQ(transform->getNumSegments(), 2);
  for (const double context : {0.0, 3.0, 6.0}) {
    const TransformRecord record{.x = 1, .z = context};
    for (int channel = 1; channel <= Channels; ++channel) {
      EXPECT_EQ(predict(record, channel),
                predictBy(const_cast<QUVENLinRegModel&>(*transform->getRoot()), record, channel));
    }
  }
}

TEST_F(QUVENFeatureTransformTest, RareCategoriesOnlyAreOneSegmentWithTheMissingValues) {
  TransformTable table;
  for (int i = 0; i < 200; ++i) {
    table.push_back({.c = std::to_string(i), .y = 5.0 + i % 3, .channel = channelOf(i)});
  }
  trainOn(c, table);
  EXPECT_EQ(transform->getNumSegments(), 1);
  EXPECT_EQ(transform->getSplitTest()->getMissingSegment(), 1);
  EXPECT_NEAR(predict({.c = "unseen"}), 6, 0.1);
  EXPECT_EQ(predict({.c = ""}), predict({.c = "unseen"}));
}

TEST_F(QUVENFeatureTransformTest, LearnsNothingWithOneFold) {
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(3);
  TransformTable table = brokenLine(300);
  for (std::size_t i = 0; i < table.size(); ++i) table[i].channel = 1 + static_cast<int>(i % 3);
  trainOn(x, table);
  EXPECT_GT(transform->getNumInitialSegments(), 10);
  EXPECT_EQ(transform->getNumSegments(), 2);
  EXPECT_FALSE(transform->hasUsableData(QUVEN_ENV));
  EXPECT_EQ(predict({.x = 10}), predict({.x = 90}));
}

TEST_F(QUVENFeatureTransformTest, ManyMissingValuesHaveAModelOfTheirOwn) {
  TransformTable table = brokenLine();
  for (std::size_t i = 0; i < table.size(); i += 4) {
    table[i].x = absent;
    table[i].y = 77 + 0.01 * static_cast<double>(i % 7);
  }
  trainOn(x, table);
  EXPECT_NEAR(predict({.x = absent}), 77.03, 0.05);
  EXPECT_NEAR(predict({.x = 80}), 30.5, 0.5);
}

TEST_F(QUVENFeatureTransformTest, FewMissingValuesShareTheSegmentOfRareCategories) {
  TransformTable table = groupsOfLetters();
  table[3].c = "rare";
  table[5].c = "";
  trainOn(c, table);
  const std::int32_t shared = segmentOf({.c = "rare"});
  EXPECT_EQ(shared, transform->getSplitTest()->getMissingSegment());
  EXPECT_EQ(segmentOf({.c = ""}), shared);
  EXPECT_EQ(segmentOf({.c = "unseen"}), shared);
  EXPECT_NE(segmentOf({.c = "a"}), shared);
}

// Values that training has never seen

TEST_F(QUVENFeatureTransformTest, AnEmptyMissingSegmentPredictsZero) {
  TransformTable table = brokenLine();
  for (TransformRecord& record : table) record.y += 100;
  trainOn(x, table);
  EXPECT_EQ(predict({.x = absent}), 0.0);
  EXPECT_FALSE(warning->hasValue());
}

TEST_F(QUVENFeatureTransformTest, CountsSegmentsWithoutUsableDataByChannel) {
  trainOn(x, brokenLine());
  QUVENTransformGlobalVars::get(QUVEN_ENV).setWarningField(warning);
  predict({.x = 10});
  EXPECT_FALSE(warning->hasValue());
  predict({.x = absent});
  for (int channel = 1; channel <= Channels; ++channel) {
    EXPECT_EQ(warning->getNumValueOfChannel(channel, QUVEN_ENV), 1);
  }
  transform->scorePoint(*point, QUVEN_ENV);  // as a second transform would
  EXPECT_EQ(warning->getNumValueOfChannel(1, QUVEN_ENV), 2);
  // In one channel only: the others have no count.
  set({.x = absent});
  transform->scoreChannel(2, *point, QUVEN_ENV);
  EXPECT_EQ(warning->getNumValueOfChannel(2, QUVEN_ENV), 1);
  EXPECT_TRUE(std::isnan(warning->getNumValueOfChannel(1, QUVEN_ENV)));
  transform->scoreChannel(1, *point, QUVEN_ENV);
  EXPECT_EQ(warning->getNumValueOfChannel(1, QUVEN_ENV), 1);
}

TEST_F(QUVENFeatureTransformTest, TheRootScoresUnseenValuesWhereItIsAsked) {
  TransformTable table = brokenLine();
  for (TransformRecord& record : table) record.y += 100;
  trainOn(x, table);
  auto& settings = QUVENTransformGlobalVars::get(QUVEN_ENV);
  const double seen = predict({.x = 10});
  settings.setUnseenFromRoot(true);
  EXPECT_EQ(predict({.x = 10}), seen);
  const double ofRoot = predictBy(const_cast<QUVENLinRegModel&>(*transform->getRoot()), {.x = absent}, 4);
  EXPECT_EQ(predict({.x = absent}, 4), ofRoot);
  EXPECT_NE(ofRoot, 0);
  settings.setWarningField(warning);
  predict({.x = absent});
  EXPECT_EQ(warning->getNumValueOfChannel(1, QUVEN_ENV), 1);
}

TEST_F(QUVENFeatureTransformTest, AMissingSegmentWithUsableDataIsNeverScoredByTheRoot) {
  TransformTable table = brokenLine();
  for (std::size_t i = 0; i < table.size(); i += 4) table[i].x = absent;
  trainOn(x, table);
  const double prediction = predict({.x = absent});
  auto& settings = QUVENTransformGlobalVars::get(QUVEN_ENV);
  settings.setUnseenFromRoot(true);
  settings.setWarningField(warning);
  EXPECT_EQ(predict({.x = absent}), prediction);
  EXPECT_FALSE(warning->hasValue());
}

// Modes and assertions

TEST_F(QUVENFeatureTransformTest, TrainsInModes1And8Only) {
  const TransformTable table = brokenLine(300);
  gather(table);
  makeTransform(x);
  for (const std::int32_t mode : {1, 8}) {
    train(*transform, mode, table);
    EXPECT_EQ(transform->getModelState(), -mode);
    EXPECT_GT(transform->getNumSegments(), 1);
    EXPECT_EQ(transform->getRoot()->getModelState(), -1);
    EXPECT_EQ(transform->getSegmentModel(1).getModelState(), -2);
  }
  for (const std::int32_t mode : {2, 3, 4, 5, 6, 7, 9, 10}) {
    expectFailure([&] { transform->setMiningMode(mode, nullptr, QUVEN_ENV); }, notImplementedText);
  }
  for (const std::int32_t mode : {0, 11, -1, 101}) {
    expectFailure([&] { transform->setMiningMode(mode, nullptr, QUVEN_ENV); }, "Invalid model state");
  }
}

TEST_F(QUVENFeatureTransformTest, AModelWithoutAModeCannotBegin) {
  makeTransform(x);
  expectFailure([&] { transform->beginDataScan(QUVEN_ENV); }, "Invalid model state");
  expectFailure([&] { transform->beginBottomUpTraining(QUVENModel::TrainForMerging, QUVEN_ENV); },
                "ivRootModelPtr != nullptr");
  EXPECT_EQ(transform->getHandler(), nullptr);
  EXPECT_EQ(transform->getHandler2(), nullptr);
}

TEST_F(QUVENFeatureTransformTest, RefusesToSplitByNoField) {
  makeTransform(x);
  transform->setSplitField(nullptr);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  expectFailure([&] { transform->beginDataScan(QUVEN_ENV); }, "Invalid field type");
}

TEST_F(QUVENFeatureTransformTest, ModelsThatRefuseAModeOrAScanAreReported) {
  using Stubborn = QUVENTestStubbornRegression;
  struct Case {
    std::int32_t& refused;
    std::int32_t mode;
    const char* text;
    const char* hint;
  };
  const Case cases[] = {
      {Stubborn::refusedMode, 1, "ivRootModelPtr->setMiningMode (QUVENModel::BestModelTrainDataOnly, QUVEN_ENV)",
       "Segment models must implement best model train data only"},
      {Stubborn::refusedScan, 1, "ivRootModelPtr->beginDataScan (QUVEN_ENV)",
       "Segment models must scan data in best-model-train-data-only mode"},
      {Stubborn::refusedMode, 2, "ivSegmentModelVec[k]->setMiningMode (mode, refModelPtr, QUVEN_ENV)",
       "Segment models must implement training mode"},
      {Stubborn::refusedScan, 2, "ivSegmentModelVec[k]->beginDataScan (QUVEN_ENV)",
       "Segment models must scan data in train-for-merging mode"}};
  for (const Case& refusal : cases) {
    makeTransform<QUVENTestStubbornTransform>(x);
    ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
    refusal.refused = refusal.mode;
    expectFailure([&] { transform->beginDataScan(QUVEN_ENV); }, refusal.text, refusal.hint);
    refusal.refused = 0;
  }
}

// Queries

TEST_F(QUVENFeatureTransformTest, ScoresAreSumsOverTheSegments) {
  trainOn(x, brokenLine());
  double scoreSums[3] = {};
  double varianceSums[3] = {};
  double volume = std::numeric_limits<double>::max();
  double heldOutPoints = 0;
  for (long i = 1; i <= transform->getNumSegments(); ++i) {
    const QUVENLinRegModel& segment = transform->getSegmentModel(i);
    volume = std::min(volume, segment.getVolume(QUVEN_ENV));
    for (int which = 0; which < 3; ++which) {
      scoreSums[which] += segment.getScore(which, QUVEN_ENV);
      varianceSums[which] += segment.getScoreVariance(which, QUVEN_ENV);
    }
    heldOutPoints += segment.getSelectedModel(2)->getEval().points;
  }
  EXPECT_EQ(heldOutPoints, 100);
  EXPECT_EQ(transform->getVolume(QUVEN_ENV), volume);
  EXPECT_EQ(volume, 0.0);  // the empty missing segment
  EXPECT_TRUE(transform->hasUsableData(QUVEN_ENV));
  QUVENXaRay<QUVENModelScores> scores;
  transform->getModelScoresVector(scores, QUVEN_ENV);
  ASSERT_EQ(scores.getSize(), 1);
  for (int which = 0; which < 3; ++which) {
    EXPECT_EQ(transform->getScore(which, QUVEN_ENV), scoreSums[which]);
    EXPECT_EQ(transform->getScoreVariance(which, QUVEN_ENV), varianceSums[which]);
    EXPECT_DOUBLE_EQ(scores[1][which].ivFit, scoreSums[which]);
    EXPECT_DOUBLE_EQ(scores[1][which].ivVar, varianceSums[which]);
  }
  EXPECT_EQ(scores[1][2].ivPts, 100);
  EXPECT_EQ(scores[1][1].ivPts, 800);
  scores.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformTest, AnUntrainedTransformAnswers) {
  makeTransform(x, true);
  EXPECT_EQ(transform->getVolume(QUVEN_ENV), 0.0);
  EXPECT_FALSE(transform->hasUsableData(QUVEN_ENV));
  EXPECT_TRUE(transform->hasNoSignal(QUVEN_ENV));
  EXPECT_EQ(transform->getNumSegments(), 0);
  auto used = make<QUVENModelFieldsUsed>();
  transform->collectFieldsUsed(*used, QUVEN_ENV);
  EXPECT_TRUE(used->contains(x));
  EXPECT_TRUE(used->contains(z));
  used.reset(QUVEN_ENV);
  transform->pruneInputs(QUVEN_ENV);
  transform->finishScoring(QUVEN_ENV);
  EXPECT_EQ(transform->getExplanatoryFields().getSize(), 2);
}

TEST_F(QUVENFeatureTransformTest, HasNoSignalWhenOneSegmentPredictsAConstant) {
  // Pairs of records that differ in the target only: it has no slope in any channel.
  TransformTable noise = brokenLine();
  for (std::size_t i = 0; i < noise.size(); ++i) {
    if (i % 2 == 1) noise[i] = noise[i - 1];
    noise[i].y = i % 2 == 0 ? 5 : -5;
  }
  gather(noise);
  x->setSampleFlag(false, QUVEN_ENV);  // one segment beside the missing one
  makeTransform(x);
  train(*transform, 1, noise);
  EXPECT_EQ(transform->getNumSegments(), 2);
  EXPECT_TRUE(transform->hasNoSignal(QUVEN_ENV));
  for (TransformRecord& record : noise) record.y += record.x * 100;
  train(*transform, 1, noise);
  EXPECT_EQ(transform->getNumSegments(), 2);
  EXPECT_FALSE(transform->hasNoSignal(QUVEN_ENV));
  // Two groups of categories are a signal, though each predicts a constant.
  trainOn(c, groupsOfLetters());
  EXPECT_FALSE(transform->hasNoSignal(QUVEN_ENV));
}

TEST_F(QUVENFeatureTransformTest, ReleasesTheStatisticsAfterTheTraining) {
  trainOn(x, brokenLine());
  for (long i = 0; i <= transform->getNumSegments(); ++i) {
    const QUVENLinRegModel& model = i == 0 ? *transform->getRoot() : transform->getSegmentModel(i);
    for (const QUVENLSData& data : model.getTrnChannels()) EXPECT_EQ(data.getNumFields(), 0);
    for (const QUVENLSData& data : model.getEvalChannels()) EXPECT_EQ(data.getNumFields(), 0);
    EXPECT_NE(model.getSelectedModel(1), nullptr);
  }
}

TEST_F(QUVENFeatureTransformTest, RootAndSegmentsWriteIntoOneOutput) {
  trainOn(x, brokenLine());
  EXPECT_EQ(outputs->getResultFields().getSize(), 2);
  EXPECT_EQ(predicted()->getName(), "Predicted_y");
  EXPECT_EQ(predicted()->getActualChannelCount(), Channels);
  for (long i = 0; i <= transform->getNumSegments(); ++i) {
    const QUVENLinRegModel& model = i == 0 ? *transform->getRoot() : transform->getSegmentModel(i);
    EXPECT_EQ(model.getPredValField(), predicted());
    EXPECT_EQ(model.getPredValStdDevField(), stdDev());
  }
}

TEST_F(QUVENFeatureTransformTest, PruningLeavesThePredictions) {
  const TransformTable table = brokenLine();
  trainOn(x, table, true);
  transform->addInput(w, QUVENUsageExplanatory, QUVEN_ENV);
  const std::vector<double> before = scores(*transform, table);
  transform->pruneInputs(QUVEN_ENV);
  EXPECT_EQ(transform->findExplanatory(w), 0);
  EXPECT_NE(transform->findExplanatory(x), 0);
  EXPECT_EQ(scores(*transform, table), before);
}

TEST_F(QUVENFeatureTransformTest, TrainedAgainItStartsAnew) {
  const TransformTable table = brokenLine();
  trainOn(x, table);
  const std::vector<double> before = scores(*transform, table);
  train(*transform, 1, table);
  EXPECT_EQ(scores(*transform, table), before);
}

// Values per channel

/// The train data of two models agree to rounding.
void expectSameData(const QUVENXaRay<QUVENLSData, 0>& a, const QUVENXaRay<QUVENLSData, 0>& b) {
  ASSERT_EQ(a.getSize(), b.getSize());
  for (long c = 1; c <= a.getSize(); ++c) {
    ASSERT_EQ(a[c].getNumDataPoints(), b[c].getNumDataPoints()) << c;
    ASSERT_EQ(a[c].getNumFields(), b[c].getNumFields());
    for (long i = 1; i <= a[c].getDataMean().getSize(); ++i) {
      EXPECT_NEAR(a[c].getDataMean()[i], b[c].getDataMean()[i], 1e-12 * (1 + std::abs(a[c].getDataMean()[i])));
    }
    for (long i = 1; i <= a[c].getDataCov().getSize(); ++i) {
      EXPECT_NEAR(a[c].getDataCov()[i], b[c].getDataCov()[i], 1e-9 * (1 + std::abs(a[c].getDataCov()[i])));
    }
  }
}

class QUVENFeatureTransformChannelsTest : public QUVENFeatureTransformTest {
 protected:
  /// The same x in channels 1, 3, 4 and another one in the others; NaN in channel 5 for every seventh record.
  void setPerChannel(const TransformRecord& record, bool perChannel) {
    set(record);
    if (!perChannel) return;
    x->clearValue();
    const double values[Channels] = {record.x, 100 - record.x, record.x, record.x,
                                     static_cast<int>(record.x) % 7 == 0 ? absent : 90.0};
    for (int channel = 1; channel <= Channels; ++channel) {
      x->setNumValueOfChannel(channel, values[channel - 1], QUVEN_ENV);
    }
  }
  /// Shows the records to a transform; those that an action says have values per channel.
  template <class Choose>
  void learnAll(const TransformTable& table, Choose&& hasValuePerChannel) {
    ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
    ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
    transform->beginRecords(QUVEN_ENV);
    for (std::size_t i = 0; i < table.size(); ++i) {
      setPerChannel(table[i], hasValuePerChannel(i));
      transform->update(*point, QUVEN_ENV);
    }
    transform->endRecords(QUVEN_ENV);
  }
  /// Compares root and segments with regressions that are shown the records that they are to get, one by one.
  template <class Choose>
  void expectLiteralData(const TransformTable& table, Choose&& hasValuePerChannel) {
    const long segments = transform->getNumSegments();
    for (long segment = 0; segment <= segments; ++segment) {
      SCOPED_TRACE(segment);
      auto literal = make<QUVENLinRegModel>();
      addInputs(*literal, x, false);
      ASSERT_TRUE(literal->setMiningMode(2, nullptr, QUVEN_ENV));
      ASSERT_TRUE(literal->beginDataScan(QUVEN_ENV));
      literal->beginRecords(QUVEN_ENV);
      for (std::size_t i = 0; i < table.size(); ++i) {
        setPerChannel(table[i], hasValuePerChannel(i));
        for (int channel = 1; channel <= Channels; ++channel) {
          if (segment != 0 && transform->getSplitTest()->getSegment(channel, QUVEN_ENV) != segment) continue;
          literal->learnChannel(channel, *point, QUVEN_ENV);
        }
      }
      literal->endRecords(QUVEN_ENV);
      const QUVENLinRegModel& tested = segment == 0 ? *transform->getRoot() : transform->getSegmentModel(segment);
      expectSameData(tested.getEvalChannels(), literal->getEvalChannels());
      expectSameData(tested.getTrnChannels(), literal->getTrnChannels());
      literal.reset(QUVEN_ENV);
    }
  }
};

TEST_F(QUVENFeatureTransformChannelsTest, EachChannelGoesToItsSegment) {
  const TransformTable table = brokenLine(400);
  gather(table);
  for (const int kind : {0, 1, 2, 3}) {
    SCOPED_TRACE(kind);
    // No record with values per channel; all of them; those after the first; every third one.
    const auto choose = [&](std::size_t i) { return kind == 1 || (kind == 2 && i > 100) || (kind == 3 && i % 3 == 0); };
    makeTransform(x);
    learnAll(table, choose);
    expectLiteralData(table, choose);
    EXPECT_TRUE(transform->endDataScan(1, QUVEN_ENV));
  }
}

TEST_F(QUVENFeatureTransformChannelsTest, TheBatchFormOfAllChannelsIsARecord) {
  const TransformTable table = brokenLine(200);
  gather(table);
  makeTransform(x);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
  transform->beginRecords(QUVEN_ENV);
  ASSERT_NE(transform->getHandler2(), nullptr);
  for (const TransformRecord& record : table) {
    set(record);
    for (int channel = 1; channel <= Channels; ++channel) {
      transform->setBatchChannel(channel);
      (transform.get()->*transform->getHandler2())(*point, QUVEN_ENV);
    }
  }
  transform->endRecords(QUVEN_ENV);
  expectLiteralData(table, [](std::size_t) { return false; });
}

TEST_F(QUVENFeatureTransformChannelsTest, ScoresEachChannelInItsSegment) {
  trainOn(x, brokenLine());
  setPerChannel({.x = 14}, true);
  transform->scorePoint(*point, QUVEN_ENV);
  const double low = predicted()->getNumValueOfChannel(1, QUVEN_ENV);
  const double high = predicted()->getNumValueOfChannel(2, QUVEN_ENV);
  EXPECT_EQ(predicted()->getNumValueOfChannel(5, QUVEN_ENV), 0.0);  // NaN there: the empty missing segment
  EXPECT_EQ(low, predict({.x = 14}, 1));
  EXPECT_EQ(high, predict({.x = 86}, 2));
}

TEST_F(QUVENFeatureTransformChannelsTest, ATargetThatIsNaNInAChannelIsNotLearnedThere) {
  TransformTable table = brokenLine(400);
  gather(table);
  makeTransform(x);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
  transform->beginRecords(QUVEN_ENV);
  for (const TransformRecord& record : table) {
    set(record);
    y->clearValue();
    for (int channel = 1; channel <= Channels; ++channel) {
      y->setNumValueOfChannel(channel, channel == 4 && record.x < 10 ? absent : record.y, QUVEN_ENV);
    }
    transform->update(*point, QUVEN_ENV);
  }
  transform->endRecords(QUVEN_ENV);
  const auto& root = *transform->getRoot();
  const auto below = [](const TransformRecord& record) { return record.x < 10; };
  const auto trains4 = [](const TransformRecord& record) { return record.channel == 3 || record.channel == 5; };
  const auto trains5 = [](const TransformRecord& record) { return record.channel == 3 || record.channel == 4; };
  EXPECT_EQ(root.getTrnChannels()[4].getNumDataPoints(),
            std::ranges::count_if(table, [&](const auto& record) { return trains4(record) && !below(record); }));
  EXPECT_EQ(root.getTrnChannels()[5].getNumDataPoints(), std::ranges::count_if(table, trains5));
}

// Streams and workers

TEST_F(QUVENFeatureTransformTest, ReadFromAStreamOrCopiedItPredictsTheSameBits) {
  for (QUVENField* field : {x, c}) {
    TransformTable table = field == x ? brokenLine() : groupsOfLetters();
    table[7].x = absent;
    table[7].c = "";
    trainOn(field, table, true);
    const std::vector<double> expected = scores(*transform, table);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
      const std::string image = imageOf(*transform, mode);
      QUVENOwnPtr<QUVENFeatureTransform> read = readWithNames<QUVENFeatureTransform>(image);
      EXPECT_EQ(scores(*read, table), expected);
      EXPECT_EQ(read->getModelState(), -1);
      EXPECT_EQ(read->getSplitField(), field);
      EXPECT_EQ(read->getPredValField(), predicted());
      EXPECT_EQ(read->getPredValStdDevField(), stdDev());
      EXPECT_EQ(read->getNumInitialSegments(), 0);
      EXPECT_EQ(read->getVolume(QUVEN_ENV), transform->getVolume(QUVEN_ENV));
      EXPECT_EQ(read->hasUsableData(QUVEN_ENV), transform->hasUsableData(QUVEN_ENV));
      EXPECT_EQ(read->hasNoSignal(QUVEN_ENV), transform->hasNoSignal(QUVEN_ENV));
      for (int which = 0; which < 3; ++which) {
        EXPECT_EQ(read->getScore(which, QUVEN_ENV), transform->getScore(which, QUVEN_ENV));
      }
      // An image has the serial number of the object that it was written from; all else is the same.
      QUVENOwnPtr<QUVENFeatureTransform> again = readWithNames<QUVENFeatureTransform>(imageOf(*read, mode));
      EXPECT_EQ(scores(*again, table), expected);
      again.reset(QUVEN_ENV);
      read.reset(QUVEN_ENV);
    }
    QUVENOwnPtr<QUVENFeatureTransform> copy = make<QUVENFeatureTransform>();
    copy->copyGathered(*transform, QUVEN_ENV);
    EXPECT_EQ(scores(*copy, table), expected);
    EXPECT_EQ(copy->getNumInitialSegments(), transform->getNumInitialSegments());
    copy.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENFeatureTransformTest, WithScansNumberedAnewTheImageIsThatOfAnyTrainingOnTheTable) {
  const TransformTable table = brokenLine();
  trainOn(x, table);
  const auto image = [&] {
    return written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) {
      writer.numberScansAnew();
      quvenWriteObject(writer, *transform, QUVEN_ENV);
    });
  };
  const std::string first = image();
  const std::vector<double> expected = scores(*transform, table);
  train(*transform, 1, table);
  EXPECT_EQ(image(), first);
  EXPECT_NE(imageOf(*transform), first);
  QUVENOwnPtr<QUVENFeatureTransform> read = readWithNames<QUVENFeatureTransform>(first);
  EXPECT_EQ(scores(*read, table), expected);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformTest, AStreamKeepsWhichSegmentsAreUnusable) {
  trainOn(x, brokenLine());
  QUVENOwnPtr<QUVENFeatureTransform> read = readWithNames<QUVENFeatureTransform>(imageOf(*transform));
  QUVENTransformGlobalVars::get(QUVEN_ENV).setWarningField(warning);
  predictBy(*read, {.x = absent});
  EXPECT_EQ(warning->getNumValueOfChannel(1, QUVEN_ENV), 1);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformTest, ADamagedStreamIsReportedWhenItIsScored) {
  auto empty = make<QUVENFeatureTransform>();
  set({.x = 1});
  expectFailure([&] { empty->scorePoint(*point, QUVEN_ENV); }, "ivSplitTestPtr != nullptr");
  expectFailure([&] { empty->describeSegments(QUVEN_ENV); }, "ivSplitTestPtr != nullptr");
  expectFailure([&] { empty->getSegmentModel(1); }, "getSize()");
  empty.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformTest, ResultsOfWorkersMergeToThoseOfOnePass) {
  TransformTable table = brokenLine();
  trainOn(x, table, true);
  const std::vector<double> expected = scores(*transform, table);
  const long segments = transform->getNumSegments();

  makeTransform(x, true);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
  transform->beginRecords(QUVEN_ENV);
  const std::string state = imageOf(*transform, QUVENObjWriter::SaveForWorker);
  std::vector<std::string> results;
  for (std::size_t worker = 0; worker < 3; ++worker) {
    QUVENOwnPtr<QUVENFeatureTransform> copy = readWithNames<QUVENFeatureTransform>(state);
    copy->beginRecords(QUVEN_ENV);
    for (std::size_t i = worker; i < table.size(); i += 3) {
      set(table[i]);
      copy->update(*point, QUVEN_ENV);
    }
    copy->endRecords(QUVEN_ENV);
    EXPECT_FALSE(copy->hasScanResult(QUVEN_ENV));
    results.push_back(written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenWriteScanResults(*copy, writer, quvenScanResultKeyword(), QUVEN_ENV);
    }));
    copy.reset(QUVEN_ENV);
  }
  for (const std::string& result : results) {
    readFrom(result,
             [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV); });
  }
  EXPECT_TRUE(transform->endDataScan(1, QUVEN_ENV));
  EXPECT_EQ(transform->getNumSegments(), segments);
  const std::vector<double> merged = scores(*transform, table);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(merged[i], expected[i], 1e-9 * (1 + std::abs(expected[i]))) << i;
  }
}

TEST_F(QUVENFeatureTransformTest, AnImageInAStreamOfResultsHasNoFields) {
  trainOn(x, brokenLine(300));
  QUVENOwnPtr<QUVENFeatureTransform> read =
      objectOf<QUVENFeatureTransform>(imageOf(*transform, QUVENObjWriter::ScanResults));
  EXPECT_EQ(read->getSplitField(), nullptr);
  EXPECT_EQ(read->getNumSegments(), 0);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformTest, ThousandsOfTrialsPrintNothing) {
  const TransformTable table = brokenLine(300);
  gather(table);
  makeTransform(x);
  const CapturedRun run = capturedRun([&] { train(*transform, 1, table); });
  EXPECT_EQ(run.out, "");
}

// The whole training against the literal steps

/// A set of initial segments: what a regression over their records says, each trained once from the records.
class QUVENLiteralTransformTest : public QUVENFeatureTransformTest {
 protected:
  struct Numbers {
    bool isUsable;
    double volume;
    double scores[2];
  };
  /// The data of a literal tree.
  struct Group {
    QUVENLiteralTransformTest* test;
    std::set<int> segments;
    bool isUsable() const { return test->numbersOf(segments).isUsable; }
    double volume() const { return test->numbersOf(segments).volume; }
    double score(int which) const { return test->numbersOf(segments).scores[which]; }
    Group operator+(const Group& other) const {
      Group sum = *this;
      sum.segments.insert(other.segments.begin(), other.segments.end());
      return sum;
    }
  };

  const Numbers& numbersOf(const std::set<int>& group) {
    const auto found = known.find(group);
    if (found != known.end()) return found->second;
    TransformTable records;
    for (std::size_t i = 0; i < table.size(); ++i) {
      if (group.contains(segmentOfRecord[i])) records.push_back(table[i]);
    }
    auto model = make<QUVENLinRegModel>();
    addInputs(*model, splitField, true);
    train(*model, 2, records);
    Numbers numbers{model->hasUsableData(QUVEN_ENV), model->getVolume(QUVEN_ENV), {}};
    for (int which = 0; which < 2; ++which) numbers.scores[which] = model->getScore(which, QUVEN_ENV);
    model.reset(QUVEN_ENV);
    return known.emplace(group, numbers).first->second;
  }

  TransformTable table;
  QUVENField* splitField = nullptr;
  std::vector<int> segmentOfRecord;
  std::map<std::set<int>, Numbers> known;
};

TEST_F(QUVENLiteralTransformTest, RandomTablesGiveTheGroupsAndScoresOfTheLiteralSteps) {
  std::mt19937 random(77);
  int unusableStayed = 0;
  int groupsOfSeveral = 0;
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    splitField = round % 2 == 0 ? x : c;
    table.clear();
    const unsigned most = round % 3 == 0 ? 40 : 160;
    const unsigned records = 1 + random() % most;
    for (unsigned i = 0; i < records; ++i) {
      TransformRecord record;
      const double level = static_cast<double>(random() % 8);
      record.x = random() % 15 == 0 ? absent : level * 10 + static_cast<double>(random() % 10000) / 1000;
      record.c = random() % 15 == 0 ? "" : std::string(1, static_cast<char>('a' + static_cast<int>(level)));
      record.z = static_cast<double>(random() % 10000) / 1000;
      record.y = static_cast<double>(static_cast<int>(level) % 3) * 4 + static_cast<double>(random()) / 4e9;
      record.channel = 1 + static_cast<int>(random() % Channels);
      table.push_back(record);
    }
    for (QUVENField* field : {x, c}) {  // distributions begin anew
      field->setSampleFlag(false, QUVEN_ENV);
      field->setSampleFlag(true, QUVEN_ENV);
    }
    gather(table);
    QUVENOwnPtr<QUVENSplitTest> split(QUVEN_ENV);
    QUVENSplitTest::createSplitTest(split, splitField, 2.0 * (Channels - 2), QUVEN_ENV);
    segmentOfRecord.clear();
    for (const TransformRecord& record : table) {
      set(record);
      segmentOfRecord.push_back(split->getSegment(1, QUVEN_ENV));
    }
    known.clear();
    std::vector<Group> leaves;
    for (int i = 1; i <= split->getNumSegments(); ++i) leaves.push_back({this, {i}});
    const LiteralTree<Group> literal(leaves, split->getMissingSegment(), splitField == x);

    makeTransform(splitField, true);
    train(*transform, 1, table);
    ASSERT_EQ(transform->getNumSegments(), static_cast<long>(literal.groups.size()));
    for (std::size_t i = 0; i < table.size(); ++i) {
      set(table[i]);
      const auto segment = static_cast<std::size_t>(transform->getSplitTest()->getSegment(1, QUVEN_ENV));
      ASSERT_TRUE(literal.groups[segment - 1].contains(segmentOfRecord[i])) << i;
    }
    for (long i = 1; i <= transform->getNumSegments(); ++i) {
      const Numbers& expected = numbersOf(literal.groups[static_cast<std::size_t>(i - 1)]);
      const QUVENLinRegModel& segment = transform->getSegmentModel(i);
      EXPECT_EQ(segment.hasUsableData(QUVEN_ENV), expected.isUsable);
      EXPECT_EQ(segment.getVolume(QUVEN_ENV), expected.volume);
      for (int which = 0; which < 2; ++which) {
        EXPECT_NEAR(segment.getScore(which, QUVEN_ENV), expected.scores[which],
                    1e-8 * (1 + std::abs(expected.scores[which])));
      }
    }
    unusableStayed += literal.leftUnusable ? 1 : 0;
    groupsOfSeveral += std::ranges::any_of(literal.groups, [](const auto& group) { return group.size() > 1; }) ? 1 : 0;
    split.reset(QUVEN_ENV);
  }
  EXPECT_GT(unusableStayed, 20);
  EXPECT_GT(groupsOfSeveral, 100);
}

}  // namespace
