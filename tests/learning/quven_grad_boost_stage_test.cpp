#include "learning/quven_grad_boost_stage.h"

#include <map>
#include <utility>

#include "learning/quven_losses.h"
#include "learning/transform_fixture.h"
#include "passes/pass_examples.h"
#include "util/quven_registration.h"

/// A residual model that predicts twice the value of x, after some passes. The tests set what it answers.
class QUVENTestResidualModel : public QUVENObjectOf<QUVENTestResidualModel, QUVENPassModel> {
 public:
  explicit QUVENTestResidualModel(const QUVENEnvHandle& env) : Members(env) {}

  static inline std::map<std::string, int> passesOf;  // by the name of the target
  static inline bool refusesMode = false;
  static inline bool refusesScan = false;
  static inline std::map<std::string, bool> hasSignal;
  static inline std::vector<std::string> calls;

  std::string targetName() const { return getTargetFields()[1].getField()->getName().str(); }
  bool setMiningModeHook(std::int32_t, QUVENModel*, const QUVENEnvHandle&) override { return !refusesMode; }
  bool beginPass(const QUVENEnvHandle&) override {
    calls.push_back("begin " + targetName());
    return !refusesScan;
  }
  bool endPass(std::int32_t, const QUVENEnvHandle&) override {
    calls.push_back("end " + targetName());
    return --passesOf[targetName()] < 1;
  }
  [[nodiscard]] bool merge(QUVENDataScan*, const QUVENEnvHandle&) override { return true; }
  bool hasNoSignal(const QUVENEnvHandle&) const override { return !hasSignal[targetName()]; }
  double getVolume(const QUVENEnvHandle&) const override {
    return getTargetFields()[1].getField()->getName().str().size();
  }
  void learn(QUVENDataPoint&, const QUVENEnvHandle&) override { calls.push_back("learn " + targetName()); }
  void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                  const QUVENEnvHandle& env) override {
    prediction = outputs.addOutput(getTargetFields()[1].getField(), QUVENOutputPredicted, suffix, names, QUVEN_ENV);
  }
  void scoreChannel(std::int32_t channel, QUVENDataPoint&, const QUVENEnvHandle& env) override {
    if (channel == 1) calls.push_back("score " + targetName());
    const double value = getExplanatoryFields()[1].getField()->getNumValueOrSingle(channel);
    prediction->setNumValueOfChannel(channel, 2 * value, QUVEN_ENV);
  }

 private:
  QUVEN_STATE(prediction, QUVENField*) = nullptr;
};

QUVEN_REGISTER(QUVENTestResidualModel);

namespace {

class QUVENGradBoostStageTest : public TransformTest {
 protected:
  using Calls = std::vector<std::string>;

  QUVENGradBoostStageTest() {
    QUVENTestResidualModel::passesOf.clear();
    QUVENTestResidualModel::hasSignal.clear();
    QUVENTestResidualModel::refusesMode = QUVENTestResidualModel::refusesScan = false;
    QUVENTestResidualModel::calls.clear();
  }
  void TearDown() override {
    second.reset(QUVEN_ENV);
    first.reset(QUVEN_ENV);
    TransformTest::TearDown();
  }

  /// A stage of the targets y and z, with the input x.
  QUVENOwnPtr<QUVENGradBoostStage> makeStage() {
    auto stage = make<QUVENGradBoostStage>();
    stage->setNames(*names);
    stage->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    stage->addInput(z, QUVENUsageTarget, QUVEN_ENV);
    stage->addInput(x, QUVENUsageExplanatory, QUVEN_ENV);
    return stage;
  }
  void makeFirst() {
    first = makeStage();
    first->addInput(w, QUVENUsageCaseWeight, QUVEN_ENV);
    first->configureFirstStage(1, QUVENTestResidualModel::typeName(), "1", QUVEN_ENV);
    EXPECT_TRUE(first->setMiningMode(1, nullptr, QUVEN_ENV));
  }
  void makeSecond() {
    makeFirst();
    EXPECT_TRUE(first->beginDataScan(QUVEN_ENV));
    EXPECT_TRUE(first->endDataScan(0, QUVEN_ENV));
    first->getLoss().enterPredecessor(QUVEN_ENV);
    second = makeStage();
    second->configureFromPrevious(*first, QUVENTestResidualModel::typeName(), "2", QUVEN_ENV);
    EXPECT_TRUE(second->setMiningMode(8, nullptr, QUVEN_ENV));
    EXPECT_TRUE(second->beginDataScan(QUVEN_ENV));
  }
  Calls takeCalls() { return std::exchange(QUVENTestResidualModel::calls, {}); }

  QUVENOwnPtr<QUVENGradBoostStage> first;
  QUVENOwnPtr<QUVENGradBoostStage> second;
};

// Configuration

TEST_F(QUVENGradBoostStageTest, EachTargetHasAModelOfItsResidual) {
  first = makeStage();
  first->addInput(w, QUVENUsageCaseWeight, QUVEN_ENV);
  first->addInput(warning, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  first->configureFirstStage(2, QUVENTestResidualModel::typeName(), "1", QUVEN_ENV);
  EXPECT_EQ(first->getLossId(), 2);
  EXPECT_EQ(first->getLoss().getTypeName(), QUVENLogisticLoss::typeName());
  ASSERT_EQ(first->getResidualModels().getSize(), 2);
  for (long i = 1; i <= 2; ++i) {
    const QUVENModel& model = *first->getResidualModels()[i];
    EXPECT_EQ(model.getTargetFields()[1].getField(), first->getLoss().getResiduals()[i]);
    ASSERT_EQ(model.getExplanatoryFields().getSize(), 1);
    EXPECT_EQ(model.getExplanatoryFields()[1].getField(), x);
    EXPECT_EQ(model.getCaseWeightField(), w);
    EXPECT_EQ(model.getInvVarWeightField(), warning);
  }
  EXPECT_NE(names->find("Residual_y_1"), nullptr);
  EXPECT_NE(names->find("Residual_z_1"), nullptr);
}

TEST_F(QUVENGradBoostStageTest, AnOutputTransformIsSplitByThePredictionOfThePreviousStage) {
  makeSecond();
  auto output = makeStage();
  output->configureFromPrevious(*first, QUVENFeatureTransform::typeName(), "2_output", QUVEN_ENV);
  EXPECT_EQ(output->getLossId(), 1);
  for (long i = 1; i <= 2; ++i) {
    const auto& model = static_cast<const QUVENFeatureTransform&>(*output->getResidualModels()[i]);
    EXPECT_EQ(model.getSplitField(), first->getLoss().getCurrentPredictedValues()[i]);
    EXPECT_EQ(output->getLoss().getPreviousPredictedValues()[i], model.getSplitField());
  }
  EXPECT_NE(names->find("Residual_z_2_output"), nullptr);
  output.reset(QUVEN_ENV);
}

// Passes

TEST_F(QUVENGradBoostStageTest, AFirstStageEndsWithTheLastOfItsResidualModels) {
  makeFirst();
  QUVENTestResidualModel::passesOf = {{"Residual_y_1", 3}, {"Residual_z_1", 2}};
  EXPECT_TRUE(first->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(takeCalls(), (Calls{"begin Residual_z_1", "begin Residual_y_1"}));
  for (const Calls& ended : {Calls{"end Residual_z_1", "end Residual_y_1"}, {"end Residual_z_1", "end Residual_y_1"}}) {
    EXPECT_EQ(first->getLoss().getState(), QUVENLossFunction::ResidualScan);
    EXPECT_FALSE(first->endDataScan(0, QUVEN_ENV));
    EXPECT_EQ(takeCalls(), ended);
  }
  // That of z has finished.
  set({.x = 1, .z = 2, .y = 3});
  first->update(*point, QUVEN_ENV);
  EXPECT_EQ(takeCalls(), (Calls{"learn Residual_y_1"}));
  EXPECT_EQ(first->getLoss().getResiduals()[1]->getNumValueOrSingle(1), 3);
  EXPECT_EQ(first->getLoss().getResiduals()[2]->getNumValueOrSingle(1), 2);
  EXPECT_TRUE(first->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(takeCalls(), (Calls{"end Residual_y_1"}));
  EXPECT_EQ(first->getLoss().getState(), QUVENLossFunction::OutputsMade);
  EXPECT_EQ(first->getLoss().getAlpha(1, 1), 1.0);
  EXPECT_EQ(first->getModelState(), -1);
}

TEST_F(QUVENGradBoostStageTest, ALaterStageSearchesOneStepForAllTargets) {
  makeSecond();
  const TransformTable table = {{.x = 1, .z = 4, .y = 5, .channel = 3},
                                {.x = -2, .z = 1, .y = 2, .channel = 1},
                                {.x = 3, .z = absent, .y = 1, .channel = 2},
                                {.x = 0.5, .z = 2, .y = absent, .channel = 5}};
  const auto pass = [&] {
    second->beginRecords(QUVEN_ENV);
    for (const TransformRecord& record : table) {
      set(record);
      first->scorePoint(*point, QUVEN_ENV);
      second->update(*point, QUVEN_ENV);
    }
    second->endRecords(QUVEN_ENV);
  };
  pass();
  EXPECT_FALSE(second->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(second->getLoss().getState(), QUVENLossFunction::StepSearch);
  takeCalls();
  pass();
  const Calls scored = takeCalls();
  ASSERT_GE(scored.size(), 4U);
  EXPECT_EQ(Calls(scored.begin(), scored.begin() + 4),
            (Calls{"score Residual_z_1", "score Residual_y_1", "score Residual_z_2", "score Residual_y_2"}));
  EXPECT_TRUE(second->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(second->getModelState(), -8);
  EXPECT_EQ(second->getLoss().getState(), QUVENLossFunction::OutputsMade);
  // F and r are 2 x for both targets, so g is the sum of (t - 2 x) 2 x and h that of 4 x^2 over the targets t.
  const auto step = [&](const std::vector<int>& records) {
    double g = 0;
    double h = 0;
    for (const int i : records) {
      const TransformRecord& record = table[static_cast<std::size_t>(i)];
      for (const double target : {record.y, record.z}) {
        if (std::isnan(target)) continue;
        g += (target - 2 * record.x) * 2 * record.x;
        h += 4 * record.x * record.x;
      }
    }
    return g / h;
  };
  const double alphas[] = {step({0, 1, 2, 3}), step({0, 2, 3}), step({3}), step({3}), 1.0};
  for (long channel = 1; channel <= Channels; ++channel) {
    for (const long target : {1, 2}) {
      EXPECT_DOUBLE_EQ(second->getLoss().getAlpha(target, channel), alphas[channel - 1]) << channel;
    }
  }
  set(table[0]);
  first->scorePoint(*point, QUVEN_ENV);
  second->scorePoint(*point, QUVEN_ENV);
  for (long channel = 1; channel <= Channels; ++channel) {
    for (const long target : {1, 2}) {
      EXPECT_DOUBLE_EQ(second->getLoss().getCurrentPredictedValues()[target]->getNumValueOfChannel(channel, QUVEN_ENV),
                       2 + 2 * alphas[channel - 1]);
    }
  }
}

// Queries

TEST_F(QUVENGradBoostStageTest, TheModelOfTheFirstTargetAnswers) {
  makeFirst();
  names->find("Residual_y_1")->setName("Residual_of_y");
  EXPECT_EQ(first->getVolume(QUVEN_ENV), 13);
}

TEST_F(QUVENGradBoostStageTest, AModelWithSignalAndAStepIsASignal) {
  makeSecond();
  QUVENTestResidualModel::hasSignal = {};
  EXPECT_TRUE(first->hasNoSignal(QUVEN_ENV));
  QUVENTestResidualModel::hasSignal = {{"Residual_z_1", true}, {"Residual_z_2", true}};
  EXPECT_FALSE(first->hasNoSignal(QUVEN_ENV));
  // The residuals of this record need no step: y and z are 2 x, and alpha becomes 0.
  for (int pass = 0; pass < 2; ++pass) {
    second->beginRecords(QUVEN_ENV);
    set({.x = 1, .z = 2, .y = 2, .channel = 5});
    first->scorePoint(*point, QUVEN_ENV);
    second->update(*point, QUVEN_ENV);
    second->endRecords(QUVEN_ENV);
    EXPECT_EQ(second->endDataScan(0, QUVEN_ENV), pass == 1);
  }
  EXPECT_EQ(second->getLoss().getAlpha(2, 1), 0.0);
  EXPECT_TRUE(second->hasNoSignal(QUVEN_ENV));
}

TEST_F(QUVENGradBoostStageTest, ThePreviousPredictionsCountAsUsed) {
  makeSecond();
  auto used = make<QUVENModelFieldsUsed>();
  second->collectFieldsUsed(*used, QUVEN_ENV);
  for (QUVENField* field : first->getLoss().getCurrentPredictedValues()) EXPECT_TRUE(used->contains(field));
  EXPECT_TRUE(used->contains(x));
  used.reset(QUVEN_ENV);
}

// Failures

TEST_F(QUVENGradBoostStageTest, OtherModesAreRefused) {
  makeFirst();
  for (const std::int32_t mode : {2, 3, 4, 5, 6, 7, 9, 10}) {
    expectFailure([&] { first->setMiningMode(mode, nullptr, QUVEN_ENV); }, notImplementedText);
  }
  for (const std::int32_t mode : {0, -8, 11}) {
    expectFailure([&] { first->setMiningMode(mode, nullptr, QUVEN_ENV); }, "Invalid mining mode");
  }
}

TEST_F(QUVENGradBoostStageTest, AResidualModelMustTakeTheModeAndStart) {
  makeFirst();
  QUVENTestResidualModel::refusesMode = true;
  expectFailure([&] { first->setMiningMode(1, nullptr, QUVEN_ENV); }, unreachableText);
  QUVENTestResidualModel::refusesScan = true;
  expectFailure([&] { first->beginDataScan(QUVEN_ENV); }, unreachableText);
}

TEST_F(QUVENGradBoostStageTest, AStateWithoutAPassIsReported) {
  makeFirst();
  EXPECT_EQ(first->recordHandler(QUVEN_ENV), nullptr);
  EXPECT_EQ(first->batchHandler(QUVEN_ENV), nullptr);
  EXPECT_TRUE(first->beginDataScan(QUVEN_ENV));
  EXPECT_NE(first->recordHandler(QUVEN_ENV), nullptr);
  // A pass ended behind the back of the base leaves the stage scanning with its outputs made.
  EXPECT_TRUE(first->endPass(0, QUVEN_ENV));
  expectFailure([&] { first->recordHandler(QUVEN_ENV); }, "Invalid loss function state");
  const CapturedRun run = capturedRun([&] { EXPECT_TRUE(first->endPass(0, QUVEN_ENV)); });
  EXPECT_NE(run.out.find("Invalid loss function state"), std::string::npos) << run.out;
  quvenDebugWords.error = 0;
  first->getLoss().enterPredecessor(QUVEN_ENV);
  EXPECT_NE(first->recordHandler(QUVEN_ENV), nullptr);
  first->getLoss().enterEnded(QUVEN_ENV);
  EXPECT_NE(first->batchHandler(QUVEN_ENV), nullptr);
  EXPECT_TRUE(first->endDataScan(0, QUVEN_ENV));
  quvenDebugWords.error = 0;
}

}  // namespace
