#include "learning/quven_trans_reg_residual_model.h"

#include <algorithm>
#include <random>
#include <set>

#include "learning/transform_fixture.h"

namespace {

/// A residual model of y over the inputs x1, x2, ..., each of which says less of y than the one before it.
class QUVENTransRegResidualModelTest : public TransformTest {
 protected:
  static constexpr int Records = 600;

  struct Row {
    std::vector<double> inputs;
    double y = 0;
    double w = 1;
    int channel = 3;
  };

  void TearDown() override {
    model.reset(QUVEN_ENV);
    TransformTest::TearDown();
  }

  /// Makes the inputs, the rows and the distributions.
  void makeInputs(int number) {
    std::mt19937 random(11);
    const auto uniform = [&] { return static_cast<double>(random() % 10000) / 10000; };
    for (int i = 0; i < Records; ++i) {
      Row& row = rows.emplace_back();
      row.channel = channelOf(i);
      row.w = 1 + uniform();
      double part = 1;
      for (int k = 0; k < number; ++k, part *= 0.7) {
        row.inputs.push_back(uniform());
        row.y += part * std::abs(row.inputs.back() - 0.4);
      }
      row.y += 0.02 * uniform();
    }
    for (int k = 0; k < number; ++k) {
      QUVENField* input = inputs.emplace_back(addField<QUVENNumField>(("x" + std::to_string(k + 1)).c_str()));
      input->setActualChannelCount(isPerChannel ? Channels : 1);
      input->setSampleFlag(true, QUVEN_ENV);
      gatherInput(k);
    }
  }
  void gatherInput(int k) {
    QUVENField& input = *inputs[static_cast<std::size_t>(k)];
    for (int pass = 0; pass < 2; ++pass) {
      input.beginDistributionPass(QUVEN_ENV);
      for (std::uint32_t i = 0; i < rows.size(); ++i) {
        setInputs(rows[i]);
        input.updateDistribution(i, QUVEN_ENV);
      }
      input.endDistributionPass(QUVEN_ENV);
    }
  }
  void setInputs(const Row& row) {
    for (std::size_t k = 0; k < inputs.size(); ++k) {
      for (long channel = 1; channel <= Channels; ++channel) {
        const double value = row.inputs[k];
        if (!isPerChannel) {
          inputs[k]->setNumValue(value);
        } else {
          inputs[k]->setNumValueOfChannel(channel, std::fmod(value + 0.21 * static_cast<double>(channel), 1),
                                          QUVEN_ENV);
        }
      }
    }
    w->setNumValue(row.w);
    point->setChannel(row.channel);
  }
  void setRow(const Row& row) {
    setInputs(row);
    if (!targetPerChannel) return y->setNumValue(row.y);
    for (long channel = 1; channel <= Channels; ++channel) {
      y->setNumValueOfChannel(channel, row.y + 0.1 * static_cast<double>(channel), QUVEN_ENV);
    }
  }

  void makeModel(std::int32_t usage = QUVENUsageExplanatory) {
    model = make<QUVENTransRegResidualModel>();
    model->setNames(*names);
    for (QUVENField* input : inputs) model->addInput(input, usage, QUVEN_ENV);
    model->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    EXPECT_TRUE(model->setMiningMode(1, nullptr, QUVEN_ENV));
  }
  void pass() {
    model->beginRecords(QUVEN_ENV);
    for (const Row& row : rows) {
      setRow(row);
      model->update(*point, QUVEN_ENV);
    }
    model->endRecords(QUVEN_ENV);
  }
  /// All passes of a training; returns their number.
  int train() {
    EXPECT_TRUE(model->beginDataScan(QUVEN_ENV));
    for (int passes = 1;; ++passes) {
      pass();
      if (model->endDataScan(0, QUVEN_ENV)) return passes;
    }
  }
  /// The split fields of the transforms, in their order.
  std::vector<std::string> splitNames() const {
    std::vector<std::string> found;
    for (const auto& pair : model->getTransforms()) {
      found.push_back(pair->getTransform().getSplitField()->getName().str());
    }
    return found;
  }

  /// Compares the first transform of the model, whose records come in blocks, with one of the same field that gets them
  /// one after the other. The usages are those of the field.
  void expectSameInBlocks(const std::vector<std::int32_t>& usages) {
    model->beginDataScan(QUVEN_ENV);
    transform = make<QUVENFeatureTransform>();
    transform->setSplitField(inputs[0]);
    for (const std::int32_t usage : usages) transform->addInput(inputs[0], usage, QUVEN_ENV);
    transform->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    transform->getOutputs(*outputs, "", *names, QUVEN_ENV);
    EXPECT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
    transform->beginDataScan(QUVEN_ENV);
    transform->beginRecords(QUVEN_ENV);
    for (const Row& row : rows) {
      setRow(row);
      transform->update(*point, QUVEN_ENV);
    }
    transform->endRecords(QUVEN_ENV);
    EXPECT_TRUE(transform->endDataScan(0, QUVEN_ENV));
    pass();
    EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
    QUVENFeatureTransform& inBlocks = model->getTransforms()[1]->getTransform();
    EXPECT_GT(transform->getNumSegments(), 1);
    EXPECT_EQ(inBlocks.getNumSegments(), transform->getNumSegments());
    for (const Row& row : rows) {
      setRow(row);
      transform->scorePoint(*point, QUVEN_ENV);
      inBlocks.scorePoint(*point, QUVEN_ENV);
      for (long channel = 1; channel <= Channels; ++channel) {
        ASSERT_EQ(inBlocks.getPredValField()->getNumValueOrSingle(channel), predicted()->getNumValueOrSingle(channel));
      }
    }
  }

  bool isPerChannel = false;  // the inputs have a value of each channel
  bool targetPerChannel = false;
  std::vector<QUVENField*> inputs;
  std::vector<Row> rows;
  QUVENOwnPtr<QUVENTransRegResidualModel> model;
};

using Names = std::vector<std::string>;

// Passes

TEST_F(QUVENTransRegResidualModelTest, TakesAPassForTheTransformsAndOneForTheRegression) {
  makeInputs(3);
  makeModel();
  EXPECT_EQ(train(), 2);
  EXPECT_EQ(splitNames(), (Names{"x1", "x2", "x3"}));
  EXPECT_EQ(model->getModelState(), -1);
  EXPECT_FALSE(model->hasNoSignal(QUVEN_ENV));
}

TEST_F(QUVENTransRegResidualModelTest, TheWeakestHalfOfEarlierBatchesGivesWayToTheNextBatch) {
  makeInputs(7);
  std::reverse(inputs.begin(), inputs.end());  // the weakest first: x7 of the last place in the rows
  for (Row& row : rows) std::reverse(row.inputs.begin(), row.inputs.end());
  makeModel();
  const std::int64_t before = environment.getBytesInUse();
  model->beginDataScan(QUVEN_ENV);
  ASSERT_EQ(splitNames().size(), 7U);
  const std::int64_t ofTransform = (environment.getBytesInUse() - before) / 7;
  makeModel();
  // The fourth transform exceeds the limit, and is trained all the same.
  environment.setSoftBytesLimit(environment.getBytesInUse() + 7 * ofTransform / 2);
  ASSERT_TRUE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(splitNames(), (Names{"x7", "x6", "x5", "x4"}));
  pass();
  environment.setSoftBytesLimit(1);
  // Four were trained, of which the better (4 + 1)/2 = 2 stay whatever the limit is.
  EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(splitNames(), (Names{"x4", "x5", "x3"}));
  for (long k = 1; k <= 3; ++k) {
    EXPECT_EQ(model->getTransforms()[k]->getTransform().isScanning(), k == 3);
    EXPECT_EQ(std::isnan(model->getTransforms()[k]->getRankingScore()), k == 3);
  }
  pass();
  // Three were trained: (3 + 1)/2 = 2 stay.
  EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(splitNames(), (Names{"x3", "x4", "x2"}));
  EXPECT_LT(model->getTransforms()[1]->getRankingScore(), model->getTransforms()[2]->getRankingScore());
  environment.setSoftBytesLimit(0);
  pass();
  EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(splitNames(), (Names{"x2", "x3", "x4", "x1"}));
  pass();
  EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_NE(model->getRegression(), nullptr);
  pass();
  EXPECT_TRUE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(model->getRegression()->getExplanatoryFields().getSize(), 4);
}

TEST_F(QUVENTransRegResidualModelTest, ALimitBelowOneTransformEndsTheRun) {
  makeInputs(2);
  makeModel();
  environment.setSoftBytesLimit(1);
  expectFailure([&] { model->beginDataScan(QUVEN_ENV); },
                "Error;|2202;|MemoryLimit;|vesk-analyze: MemoryLimit is too small for one transform;|ErrorEnd\n");
  environment.setSoftBytesLimit(0);
}

// Inputs

TEST_F(QUVENTransRegResidualModelTest, AnInputWithoutBinsHasNoTransform) {
  makeInputs(2);
  inputs.push_back(addField<QUVENNumField>("empty"));
  for (Row& row : rows) row.inputs.push_back(3);
  inputs.push_back(z);
  for (Row& row : rows) row.inputs.push_back(3);
  makeModel();
  EXPECT_EQ(train(), 2);
  EXPECT_EQ(splitNames(), (Names{"x1", "x2"}));
}

TEST_F(QUVENTransRegResidualModelTest, WithoutATransformTheInputsThemselvesAreRegressed) {
  makeInputs(2);
  for (QUVENField* input : inputs) input->setSampleFlag(false, QUVEN_ENV);
  makeModel();
  model->addInput(z, QUVENUsageSupplementary, QUVEN_ENV);
  EXPECT_EQ(train(), 1);
  EXPECT_TRUE(model->getTransforms().isEmpty());
  const auto& regressed = model->getRegression()->getExplanatoryFields();
  ASSERT_EQ(regressed.getSize(), 2);
  for (long i = 1; i <= 2; ++i) {
    EXPECT_EQ(regressed[i].getField(), inputs[static_cast<std::size_t>(i - 1)]);
    EXPECT_EQ(regressed[i].getUsage(), QUVENUsageCarried);
  }
}

/// A field of usage 4 is an input of every transform, once.
TEST_F(QUVENTransRegResidualModelTest, ACarriedInputIsContextOfAllTransforms) {
  makeInputs(3);
  model = make<QUVENTransRegResidualModel>();
  model->setNames(*names);
  model->addInput(inputs[0], QUVENUsageExplanatory, QUVEN_ENV);
  model->addInput(inputs[1], QUVENUsageCarried, QUVEN_ENV);
  model->addInput(inputs[2], QUVENUsageSupplementary, QUVEN_ENV);
  model->addInput(y, QUVENUsageTarget, QUVEN_ENV);
  EXPECT_TRUE(model->setMiningMode(8, nullptr, QUVEN_ENV));
  model->beginDataScan(QUVEN_ENV);
  ASSERT_EQ(splitNames(), (Names{"x1", "x2"}));
  const auto& own = model->getTransforms()[1]->getTransform().getExplanatoryFields();
  ASSERT_EQ(own.getSize(), 2);
  EXPECT_EQ(own[1].getField(), inputs[0]);
  EXPECT_EQ(own[1].getUsage(), QUVENUsageExplanatory);
  EXPECT_EQ(own[2].getField(), inputs[1]);
  const auto& carried = model->getTransforms()[2]->getTransform().getExplanatoryFields();
  ASSERT_EQ(carried.getSize(), 1);
  EXPECT_EQ(carried[1].getUsage(), QUVENUsageCarried);
  for (const auto& pair : model->getTransforms()) EXPECT_EQ(pair->getTransform().getMiningMode(QUVEN_ENV), 1);
  pass();
  EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(model->getRegression()->getMiningMode(QUVEN_ENV), 8);
}

/// A field can be an input of two usages; its transform of usage 2 has it twice.
TEST_F(QUVENTransRegResidualModelTest, ABlockLearnsAnInputThatIsContextToo) {
  targetPerChannel = true;
  makeInputs(1);
  makeModel();
  model->addInput(inputs[0], QUVENUsageCarried, QUVEN_ENV);
  expectSameInBlocks({QUVENUsageExplanatory, QUVENUsageCarried});
}

/// With a target of each channel the records are learned in blocks, with one value record by record.
class QUVENTransRegResidualBlockTest : public QUVENTransRegResidualModelTest,
                                       public testing::WithParamInterface<std::tuple<std::int32_t, bool>> {};

TEST_P(QUVENTransRegResidualBlockTest, ABlockLearnsAsATransformAloneDoes) {
  const auto [usage, inputPerChannel] = GetParam();
  isPerChannel = inputPerChannel;
  targetPerChannel = true;
  makeInputs(1);
  makeModel(usage);
  expectSameInBlocks({usage});
}
INSTANTIATE_TEST_SUITE_P(Usages, QUVENTransRegResidualBlockTest,
                         testing::Combine(testing::Values(QUVENUsageExplanatory, QUVENUsageExplanatory3,
                                                          QUVENUsageCarried),
                                          testing::Bool()));

// The weighted variant

TEST_F(QUVENTransRegResidualModelTest, TheVariantWeightsARecordByItsSmallestStandardDeviation) {
  makeInputs(2);
  for (const bool hasOwnWeight : {false, true}) {
    SCOPED_TRACE(hasOwnWeight);
    makeModel();
    model->setWeightedVariant(true);
    if (hasOwnWeight) model->addInput(w, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
    ASSERT_TRUE(model->beginDataScan(QUVEN_ENV));
    pass();
    EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
    QUVENField* weight = model->getRegression()->getInvVarWeightField();
    ASSERT_NE(weight, nullptr);
    EXPECT_NE(weight, w);
    EXPECT_TRUE(weight->getName().str().starts_with("InverseVarianceWeight_y"));
    model->beginRecords(QUVEN_ENV);
    std::set<double> found;
    for (const Row& row : rows) {
      setRow(row);
      model->update(*point, QUVEN_ENV);
      for (long channel = 1; channel <= Channels; ++channel) {
        double m = std::numeric_limits<double>::max();
        for (const auto& pair : model->getTransforms()) {
          m = std::min(m, pair->getTransform().getPredValStdDevField()->getNumValueOrSingle(channel));
        }
        ASSERT_EQ(weight->getNumValueOrSingle(channel), (hasOwnWeight ? row.w : 1) / (m * m));
        found.insert(m);
      }
    }
    EXPECT_GT(found.size(), 2U);
    model->endRecords(QUVEN_ENV);
    EXPECT_TRUE(model->endDataScan(0, QUVEN_ENV));
    EXPECT_NE(imageOf(*model).find("InverseVarianceWeight_y"), std::string::npos);
    model.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENTransRegResidualModelTest, WithoutTheVariantThereIsNoWeightField) {
  makeInputs(2);
  makeModel();
  model->addInput(w, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  EXPECT_EQ(train(), 2);
  EXPECT_EQ(model->getRegression()->getInvVarWeightField(), w);
  EXPECT_EQ(imageOf(*model).find("InverseVarianceWeight_y"), std::string::npos);
}

// What is used

TEST_F(QUVENTransRegResidualModelTest, PruningDropsWhatTheRegressionDoesNotUse) {
  makeInputs(3);
  for (Row& row : rows) row.inputs[1] = 0.5;  // the same in all records
  gatherInput(1);
  makeModel();
  EXPECT_EQ(train(), 2);
  std::vector<double> before;
  const auto score = [&] {
    std::vector<double> values;
    QUVENModelOutputs results;
    model->getOutputs(results, "", *names, QUVEN_ENV);
    for (const Row& row : rows) {
      setRow(row);
      model->scorePoint(*point, QUVEN_ENV);
      values.push_back(results.findOutput(y, QUVENOutputPredicted, "")->getNumValueOrSingle(1));
    }
    results.destroyPrimitive(QUVEN_ENV);
    return values;
  };
  before = score();
  model->pruneInputs(QUVEN_ENV);
  EXPECT_EQ(splitNames().size(), 2U);
  EXPECT_EQ(model->getRegression()->getExplanatoryFields().getSize(), 2);
  EXPECT_EQ(model->getExplanatoryFields().getSize(), 2);
  EXPECT_EQ(score(), before);
}

// Failures

TEST_F(QUVENTransRegResidualModelTest, OtherModesAreRefused) {
  makeInputs(1);
  makeModel();
  for (const std::int32_t mode : {2, 3, 4, 5, 6, 7, 9, 10}) {
    expectFailure([&] { model->setMiningMode(mode, nullptr, QUVEN_ENV); }, notImplementedText);
  }
  for (const std::int32_t mode : {0, -1, 11}) {
    expectFailure([&] { model->setMiningMode(mode, nullptr, QUVEN_ENV); }, "Invalid mining mode");
  }
}

TEST_F(QUVENTransRegResidualModelTest, AStateOfNoPassIsNeverReached) {
  makeInputs(1);
  makeModel();
  EXPECT_EQ(train(), 2);
  expectFailure([&] { model->endPass(0, QUVEN_ENV); }, unreachableText);
}

}  // namespace
