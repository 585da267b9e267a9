// Models of several kinds of origin: clones, copies, streams, and what mergeModel makes of two of them.

#include "model_fixture.h"

namespace {

class QUVENModelMergeTest : public ModelTest {
 protected:
  QUVENModelMergeTest() {
    model = make<QUVENTestModel>();
    other = make<QUVENTestModel>();
  }
  void TearDown() override {
    model.reset(QUVEN_ENV);
    other.reset(QUVEN_ENV);
    ModelTest::TearDown();
  }

  /// An input of each kind, a mode and a number of degrees.
  void fill(QUVENTestModel& filled) {
    filled.addInput(t, 1, QUVEN_ENV);
    filled.addInput(a, 2, QUVEN_ENV);
    filled.addInput(b, 4, QUVEN_ENV);
    filled.addInput(w, 5, QUVEN_ENV);
    filled.addInput(c, 6, QUVEN_ENV);
    filled.setMiningMode(2, &filled, QUVEN_ENV);
    filled.setNumAddDegreesOfFreedom(3);
    filled.ivRecords = 5;
    filled.takeCalls();
  }

  QUVENOwnPtr<QUVENTestModel> model;
  QUVENOwnPtr<QUVENTestModel> other;
};

TEST_F(QUVENModelMergeTest, ACloneHasTheInputsAndNothingElse) {
  fill(*model);
  QUVENOwnPtr<QUVENModel> made(QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { model->clone(made, QUVEN_ENV); });
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(made->getTypeName() == QUVENTestModel::typeName());
  EXPECT_EQ(explanatory(*made), "a2 b4");
  EXPECT_EQ(inputsOf(made->getTargetFields()), "t1");
  EXPECT_EQ(made->getCaseWeightField(), w);
  EXPECT_EQ(made->getInvVarWeightField(), c);
  EXPECT_EQ(made->getNumAddDegreesOfFreedom(), 0);
  EXPECT_EQ(made->getModelState(), 0);
  EXPECT_EQ(made->getReferenceModel(), nullptr);
  EXPECT_EQ(static_cast<QUVENTestModel&>(*made).ivRecords, 0);
  EXPECT_NE(made->getSerialNumber(), model->getSerialNumber());
  EXPECT_EQ(static_cast<QUVENTestModel&>(*made).takeCalls(), "added 1; added 2; added 4; added 5; added 6");
  made.reset(QUVEN_ENV);
}

TEST_F(QUVENModelMergeTest, ClearingInputsEmptiesAllOfThem) {
  fill(*model);
  model->clearInputs(QUVEN_ENV);
  EXPECT_EQ(explanatory(*model) + inputsOf(model->getTargetFields()), "");
  EXPECT_EQ(model->getCaseWeightField(), nullptr);
  EXPECT_EQ(model->getInvVarWeightField(), nullptr);
  EXPECT_EQ(model->getReferenceModel(), nullptr);
  EXPECT_EQ(model->getNumAddDegreesOfFreedom(), 0);
  EXPECT_EQ(model->getModelState(), 0);
}

TEST_F(QUVENModelMergeTest, ACopySaysWhatItCopies) {
  fill(*model);
  other->addInput(a, 2, QUVEN_ENV);
  EXPECT_EQ(capturedRun([&] { other->copyFromPrimitive(model.get(), QUVEN_ENV); }).out,
            "Copied exp fields from 2 to 1\n");
  EXPECT_EQ(explanatory(*other), "a2 b4");
  EXPECT_EQ(other->ivRecords, 5);
  EXPECT_EQ(other->getModelState(), 2);
  EXPECT_EQ(other->getReferenceModel(), model.get());
  EXPECT_EQ(capturedRun([&] {
              other->copyFromPrimitive(nullptr, QUVEN_ENV);
              other->copyFromPrimitive(other.get(), QUVEN_ENV);
            }).out,
            "");
}

TEST_F(QUVENModelMergeTest, ATransferSaysItsCountsAndIsRefused) {
  fill(*model);
  const CapturedRun run = capturedRun([&] { other->transferFromPrimitive(model.get(), QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_TRUE(run.out.starts_with("Transfered exp fields from 2 to 0\n")) << run.out;
  EXPECT_THAT(run.out, testing::HasSubstr(unreachableText));
  EXPECT_EQ(explanatory(*model), "a2 b4");
  EXPECT_EQ(capturedRun([&] { other->transferFromPrimitive(nullptr, QUVEN_ENV); }).out, "");
}

TEST_F(QUVENModelMergeTest, ModelsOfTheSameInputsMerge) {
  fill(*model);
  fill(*other);
  EXPECT_EQ(model->mergeModel(other.get(), QUVEN_ENV), 1);
  EXPECT_EQ(model->takeCalls(), "merge; refit; scores of 0; best 1");
  EXPECT_EQ(model->ivRecords, 10);
  EXPECT_EQ(model->getNumAddDegreesOfFreedom(), 3);
}

TEST_F(QUVENModelMergeTest, AMergeThatFailsTakesTheInputsOver) {
  fill(*model);
  fill(*other);
  model->canMerge = false;
  EXPECT_EQ(model->mergeModel(other.get(), QUVEN_ENV), 0);
  EXPECT_EQ(model->takeCalls(), "merge; clear; added 4; added 2");
  EXPECT_EQ(explanatory(*model), "b4 a2");
  EXPECT_EQ(inputsOf(model->getTargetFields()), "");
  EXPECT_EQ(model->getNumAddDegreesOfFreedom(), 3);
  EXPECT_EQ(model->ivRecords, 5);
}

TEST_F(QUVENModelMergeTest, TheUsageOfAnInputDoesNotKeepModelsApart) {
  model->addInput(a, 2, QUVEN_ENV);
  other->addInput(a, 4, QUVEN_ENV);
  EXPECT_EQ(model->mergeModel(other.get(), QUVEN_ENV), 1);
}

TEST_F(QUVENModelMergeTest, OtherInputsAreTakenOverLastFirst) {
  fill(*model);
  other->addInput(a, 2, QUVEN_ENV);
  other->addInput(line, 7, QUVEN_ENV);
  other->setNumAddDegreesOfFreedom(2);
  EXPECT_EQ(model->mergeModel(other.get(), QUVEN_ENV), 0);
  EXPECT_EQ(model->takeCalls(), "clear; added 7; added 2");
  EXPECT_EQ(explanatory(*model), "line7 a2");
  EXPECT_EQ(inputsOf(model->getTargetFields()), "");
  EXPECT_EQ(model->getNumAddDegreesOfFreedom(), 2);
  EXPECT_EQ(model->getModelState(), 2);
  EXPECT_EQ(model->ivRecords, 5);
}

TEST_F(QUVENModelMergeTest, AnOrderOfInputsOrNumbersOfTheirOwnKeepModelsApart) {
  const auto refuses = [&](std::vector<QUVENField*> mine, std::vector<QUVENField*> others, int degrees,
                           int otherDegrees) {
    model->clearInputs(QUVEN_ENV);
    other->clearInputs(QUVEN_ENV);
    for (QUVENField* field : mine) model->addInput(field, 2, QUVEN_ENV);
    for (QUVENField* field : others) other->addInput(field, 2, QUVEN_ENV);
    model->setNumAddDegreesOfFreedom(degrees);
    other->setNumAddDegreesOfFreedom(otherDegrees);
    const int result = model->mergeModel(other.get(), QUVEN_ENV);
    EXPECT_EQ(model->getNumAddDegreesOfFreedom(), std::min(degrees, otherDegrees));
    return result == 0;
  };
  EXPECT_FALSE(refuses({}, {}, 1, 1));
  EXPECT_FALSE(refuses({a, b}, {a, b}, 0, 0));
  EXPECT_TRUE(refuses({a, b}, {b, a}, 0, 0));
  EXPECT_TRUE(refuses({a, b}, {a}, 0, 0));
  EXPECT_TRUE(refuses({a}, {a, b}, 0, 0));
  EXPECT_TRUE(refuses({a}, {a}, 1, 2));
  EXPECT_TRUE(refuses({a}, {a}, 2, 1));
}

TEST_F(QUVENModelMergeTest, PruningKeepsWhatIsUsed) {
  for (QUVENField* field : {a, b, c, b, line}) model->addInput(field, 2, QUVEN_ENV);
  model->usedFields = {c, a, t};
  model->pruneUnusedInputs(QUVEN_ENV);
  EXPECT_EQ(explanatory(*model), "a2 c2");
  model->usedFields = {};
  model->pruneUnusedInputs(QUVEN_ENV);
  EXPECT_EQ(explanatory(*model), "");
}

TEST_F(QUVENModelMergeTest, PruningByAModelThatFailsLeavesTheAccountInOrder) {
  model->addInput(a, 2, QUVEN_ENV);
  model->usedFields = {a};
  const std::int64_t before = environment.getBytesInUse();
  environment.setBytesBudget(before + 1);
  const CapturedRun run = capturedRun([&] { model->pruneUnusedInputs(QUVEN_ENV); });
  environment.setBytesBudget(0);
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_THAT(run.out, testing::HasSubstr("Cannot allocate object memory"));
  EXPECT_EQ(environment.getBytesInUse(), before);
  EXPECT_EQ(explanatory(*model), "a2");
  quvenDebugWords.error = 0;
}

}  // namespace
