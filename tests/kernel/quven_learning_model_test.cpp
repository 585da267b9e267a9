#include "kernel/quven_learning_model.h"

#include "model_fixture.h"
#include "util/quven_registration.h"

/// The mean of a field: the least that a model has to say.
class QUVENTestMean : public QUVENObjectOf<QUVENTestMean, QUVENLearningModel> {
 public:
  explicit QUVENTestMean(const QUVENEnvHandle& env) : Members(env) {}

  bool merge(QUVENDataScan* other, const QUVENEnvHandle&) override {
    const auto& mean = static_cast<const QUVENTestMean&>(*other);
    ivCount += mean.ivCount;
    ivSum += mean.ivSum;
    return true;
  }
  void beginRecords(const QUVENEnvHandle&) override { ivCount = ivSum = 0; }
  double getVolume(const QUVENEnvHandle&) const override { return ivCount; }
  double getScore(int which, const QUVENEnvHandle&) const override { return 10 * which; }
  void scoreChannel(std::int32_t channel, QUVENDataPoint&, const QUVENEnvHandle&) override {
    channels.push_back(channel);
  }
  void learn(QUVENDataPoint&, const QUVENEnvHandle&) override {
    ivCount += 1;
    ivSum += getExplanatoryFields()[1].getField()->getNumValueOrSingle(1);
  }

  QUVEN_MEMBER(ivCount, double) = 0;
  QUVEN_MEMBER(ivSum, double) = 0;
  std::vector<std::int32_t> channels;
};

QUVEN_REGISTER(QUVENTestMean);

namespace {

class QUVENLearningModelTest : public ModelTest {
 protected:
  QUVENLearningModelTest() {
    QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(3);
    mean = make<QUVENTestMean>();
    mean->addInput(a, QUVENUsageExplanatory, QUVEN_ENV);
    mean->addInput(line, QUVENUsageSupplementary, QUVEN_ENV);
  }
  void TearDown() override {
    mean.reset(QUVEN_ENV);
    ModelTest::TearDown();
  }
  void show(double value) {
    a->setNumValue(value);
    mean->update(*world.point, QUVEN_ENV);
  }

  QUVENOwnPtr<QUVENTestMean> mean;
};

TEST_F(QUVENLearningModelTest, LearnsInMode1) {
  EXPECT_TRUE(mean->setMiningMode(1, nullptr, QUVEN_ENV));
  EXPECT_FALSE(mean->hasScanResult(QUVEN_ENV));
  EXPECT_TRUE(mean->beginDataScan(QUVEN_ENV));
  EXPECT_TRUE(mean->hasScanResult(QUVEN_ENV));
  EXPECT_EQ(mean->getHandler2(), nullptr);
  EXPECT_FALSE(mean->hasUsableData(QUVEN_ENV));
  show(2);
  show(4);
  EXPECT_TRUE(mean->hasUsableData(QUVEN_ENV));
  EXPECT_TRUE(mean->endDataScan(1, QUVEN_ENV));
  EXPECT_EQ(mean->getModelState(), -1);
  EXPECT_EQ(mean->ivSum / mean->ivCount, 3);
}

TEST_F(QUVENLearningModelTest, RefusesEveryOtherMode) {
  for (const std::int32_t mode : {0, 2, 3, 8, 10, -1}) {
    expectFailure([&] { mean->setMiningMode(mode, nullptr, QUVEN_ENV); }, notImplementedText);
  }
}

TEST_F(QUVENLearningModelTest, HasOneCandidate) {
  mean->ivCount = 6;
  QUVENXaRay<QUVENModelScores> scores;
  mean->getModelScoresVector(scores, QUVEN_ENV);
  ASSERT_EQ(scores.getSize(), 1);
  for (const int slot : {0, 1, 2}) {
    EXPECT_EQ(scores[1][slot].ivPts, 6);
    EXPECT_EQ(scores[1][slot].ivFit, 10 * slot);
    EXPECT_EQ(scores[1][slot].ivVar, 0);
  }
  scores.deleteMemory(QUVEN_ENV);
  mean->selectBest(1, QUVEN_ENV);
  expectFailure([&] { mean->selectBest(2, QUVEN_ENV); }, "index == 1");
  EXPECT_FALSE(mean->hasNoSignal(QUVEN_ENV));
}

TEST_F(QUVENLearningModelTest, ScoresEveryChannelAndUsesEveryInput) {
  mean->scorePoint(*world.point, QUVEN_ENV);
  EXPECT_THAT(mean->channels, testing::ElementsAre(1, 2, 3));
  mean->pruneUnusedInputs(QUVEN_ENV);
  EXPECT_EQ(explanatory(*mean), "a2 line7");
}

TEST_F(QUVENLearningModelTest, IsAnAbstractClassWithAName) {
  const QUVENTypeName* type = QUVENTypeNameAux::find(QUVENStringWithHash("QUVENLearningModel"));
  ASSERT_NE(type, nullptr);
  EXPECT_TRUE(type->isAbstract());
}

}  // namespace
