#include "learning/quven_feature_transform.h"

#include <map>
#include <set>

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

class QUVENFeatureTransformTest : public TransformTest {};

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

TEST_F(QUVENFeatureTransformTest, AnUnusableSegmentThatIsNotTheMissingOneIsCountedAndScoresItself) {
  TransformTable table = brokenLine(6);
  trainOn(x, table);
  ASSERT_FALSE(transform->hasUsableData(QUVEN_ENV));
  const double prediction = predict({.x = 10});
  auto& settings = QUVENTransformGlobalVars::get(QUVEN_ENV);
  settings.setUnseenFromRoot(true);
  settings.setWarningField(warning);
  set({.x = 10});
  // The root of these records is the same model: only its outputs tell whether it is asked.
  const_cast<QUVENLinRegModel*>(transform->getRoot())->setOutputFields(nullptr, nullptr);
  predicted()->clearValue();
  transform->scorePoint(*point, QUVEN_ENV);
  ASSERT_TRUE(predicted()->hasValue());
  EXPECT_EQ(predicted()->getNumValueOfChannel(1, QUVEN_ENV), prediction);
  EXPECT_EQ(warning->getNumValueOfChannel(1, QUVEN_ENV), 1);
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

}  // namespace
