#include "kernel/quven_model.h"

#include <limits>

#include "model_fixture.h"

namespace {

using Scores = QUVENModelScores;

class QUVENModelTest : public ModelTest {
 protected:
  QUVENModelTest() { model = make<QUVENTestModel>(); }
  void TearDown() override {
    model.reset(QUVEN_ENV);
    other.reset(QUVEN_ENV);
    ModelTest::TearDown();
  }

  void chooseMode(std::int32_t mode) {
    EXPECT_TRUE(model->setMiningMode(mode, nullptr, QUVEN_ENV));
    model->takeCalls();
  }
  void makeOther() { other = make<QUVENTestModel>(); }

  QUVENOwnPtr<QUVENTestModel> model;
  QUVENOwnPtr<QUVENTestModel> other;
};

TEST_F(QUVENModelTest, FilesAnInputByItsUsageAndTellsIt) {
  model->addInput(t, 1, QUVEN_ENV);
  for (const std::int32_t usage : {2, 3, 4, 7}) model->addInput(a, usage, QUVEN_ENV);
  model->addInput(w, 5, QUVEN_ENV);
  model->addInput(c, 6, QUVEN_ENV);
  EXPECT_EQ(inputsOf(model->getTargetFields()), "t1");
  EXPECT_EQ(explanatory(*model), "a2 a3 a4 a7");
  EXPECT_EQ(model->getCaseWeightField(), w);
  EXPECT_EQ(model->getInvVarWeightField(), c);
  EXPECT_EQ(model->takeCalls(), "added 1; added 2; added 3; added 4; added 7; added 5; added 6");
}

TEST_F(QUVENModelTest, RefusesEveryOtherUsageAndAddsNothing) {
  for (const std::int32_t usage : {std::numeric_limits<std::int32_t>::min(), -1, 0, 8, 9}) {
    expectFailure([&] { model->addInput(a, usage, QUVEN_ENV); }, "Invalid model input field usage type");
  }
  EXPECT_EQ(model->takeCalls() + explanatory(*model) + inputsOf(model->getTargetFields()), "");
}

TEST_F(QUVENModelTest, KeepsOneWeightOfAKind) {
  model->addInput(w, QUVENUsageCaseWeight, QUVEN_ENV);
  model->addInput(a, QUVENUsageCaseWeight, QUVEN_ENV);
  model->addInput(b, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  model->addInput(nullptr, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  EXPECT_EQ(model->getCaseWeightField(), a);
  EXPECT_EQ(model->getInvVarWeightField(), nullptr);
}

TEST_F(QUVENModelTest, ATargetAndItsTwinBothExist) {
  model->addInput(t, QUVENUsageTarget, QUVEN_ENV);
  model->addInput(t, QUVENUsageExplanatory, QUVEN_ENV);
  EXPECT_EQ(model->findTarget(t), 1);
  EXPECT_EQ(model->findExplanatory(t), 1);
}

TEST_F(QUVENModelTest, AFieldLearnsItsPurposeUnlessTheDataGaveItOne) {
  line->setPurpose(static_cast<std::int32_t>(QUVENFieldPurpose::LineNumber));
  model->addInput(line, QUVENUsageExplanatory, QUVEN_ENV);
  model->addInput(a, QUVENUsageCarried, QUVEN_ENV);
  model->addInput(a, QUVENUsageTarget, QUVEN_ENV);
  EXPECT_EQ(line->getPurpose(), 7);
  EXPECT_EQ(a->getPurpose(), 4);
  EXPECT_EQ(b->getPurpose(), 0);
}

TEST_F(QUVENModelTest, ASupplementaryFieldKeepsThePurposeThatItHas) {
  b->setPurpose(2);
  for (QUVENField* field : {a, b}) model->addInput(field, QUVENUsageSupplementary, QUVEN_ENV);
  QUVENOwnPtr<QUVENModel> copy(QUVEN_ENV);
  model->clone(copy, QUVEN_ENV);
  EXPECT_EQ(copy->getExplanatoryFields().getSize(), 2);
  EXPECT_TRUE(copy->setMiningMode(2, model.get(), QUVEN_ENV));
  EXPECT_EQ(a->getPurpose(), 0);
  EXPECT_EQ(b->getPurpose(), 2);
  copy.reset(QUVEN_ENV);
}

TEST_F(QUVENModelTest, FindsInputsByFieldAndByUsage) {
  EXPECT_EQ(model->findExplanatory(a), 0);
  model->addInput(b, 2, QUVEN_ENV);
  model->addInput(a, 2, QUVEN_ENV);
  model->addInput(a, 7, QUVEN_ENV);
  EXPECT_EQ(model->findExplanatory(a), 2);
  EXPECT_EQ(model->findExplanatory(a, 7), 3);
  EXPECT_EQ(model->findExplanatory(b, 7), 0);
  EXPECT_EQ(model->findTarget(a), 0);
  EXPECT_TRUE(QUVENModelInput(a, 2) == QUVENModelInput(a, 2));
  EXPECT_FALSE(QUVENModelInput(a, 2) == QUVENModelInput(a, 3));
  EXPECT_FALSE(QUVENModelInput(a, 2) == QUVENModelInput(b, 2));
}

TEST_F(QUVENModelTest, RemovingAnInputMovesTheLaterOnesDown) {
  for (QUVENField* field : {a, b, c, w}) model->addInput(field, 2, QUVEN_ENV);
  model->removeExplanatory(2, QUVEN_ENV);
  EXPECT_EQ(explanatory(*model), "a2 c2 w2");
  model->removeExplanatory(3, QUVEN_ENV);
  model->removeExplanatory(1, QUVEN_ENV);
  EXPECT_EQ(explanatory(*model), "c2");
  for (const long index : {0L, 2L, -1L}) {
    expectFailure([&] { model->removeExplanatory(index, QUVEN_ENV); },
                  "1 <= index && index <= ivExplanatoryFields.getSize()");
  }
  model->removeExplanatory(1, QUVEN_ENV);
  EXPECT_EQ(explanatory(*model), "");
}

TEST_F(QUVENModelTest, AModeIsTakenWhenTheHookHasIt) {
  EXPECT_EQ(model->getMiningMode(QUVEN_ENV), 0);
  EXPECT_TRUE(model->setMiningMode(2, nullptr, QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "hook 2; mode chosen");
  EXPECT_EQ(model->getModelState(), 2);
  model->hasMode = false;
  EXPECT_FALSE(model->setMiningMode(3, model.get(), QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "hook 3 with reference");
  EXPECT_EQ(model->getModelState(), 2);
  EXPECT_EQ(model->getReferenceModel(), nullptr);
}

TEST_F(QUVENModelTest, AReferenceGivesItsInputsAndItsDegreesOfFreedom) {
  makeOther();
  model->addInput(c, 2, QUVEN_ENV);
  other->addInput(t, 1, QUVEN_ENV);
  other->addInput(a, 2, QUVEN_ENV);
  other->addInput(w, 5, QUVEN_ENV);
  other->setNumAddDegreesOfFreedom(3);
  model->takeCalls();
  EXPECT_TRUE(model->setMiningMode(4, other.get(), QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "hook 4 with reference; added 2; mode chosen");
  EXPECT_EQ(model->getNumAddDegreesOfFreedom(), 3);
  const QUVENModelInput extra(b, QUVENUsageCarried);
  EXPECT_TRUE(model->setMiningMode(5, other.get(), &extra, QUVEN_ENV));
  EXPECT_EQ(model->getNumAddDegreesOfFreedom(), 4);
  EXPECT_EQ(explanatory(*model), "a2 b4");
  EXPECT_EQ(inputsOf(model->getTargetFields()), "");
  EXPECT_EQ(model->getCaseWeightField(), nullptr);
  EXPECT_EQ(model->getReferenceModel(), other.get());
  EXPECT_EQ(model->getModelState(), 5);
  EXPECT_TRUE(model->setMiningMode(6, nullptr, QUVEN_ENV));
  EXPECT_EQ(model->getReferenceModel(), nullptr);
  EXPECT_EQ(explanatory(*model), "a2 b4");
}

TEST_F(QUVENModelTest, AnExtraInputOfNoUsageLeavesTheStateAtZero) {
  chooseMode(3);
  const QUVENModelInput extra(a, 9);
  expectFailure([&] { model->setMiningMode(4, nullptr, &extra, QUVEN_ENV); }, "Invalid model input field usage type");
  EXPECT_EQ(model->getModelState(), 0);
}

/// A model in a state that only a stream can bring about.
TEST_F(QUVENModelTest, TheModeFollowsFromEveryState) {
  const auto modeOf = [&](std::int32_t state) {
    const std::string changed = written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) {
      writer.beginObjectType("QUVENTestModel", QUVEN_ENV);
      const QUVENKeyword keyword = QUVENKeyword::name("ivModelState");
      quvenWrite(writer, keyword, state, QUVEN_ENV);
      writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
    });
    QUVENOwnPtr<QUVENTestModel> read(QUVEN_ENV);
    EXPECT_EQ(
        readFrom(changed,
                 [&](QUVENObjReader& reader) { quvenReadObject(reader, read, QUVENTestModel::typeName(), QUVEN_ENV); }),
        0U);
    std::int32_t mode = -1;
    const CapturedRun run = capturedRun([&] { mode = read->getMiningMode(QUVEN_ENV); });
    EXPECT_EQ(run.threwLibraryException, mode == -1);
    if (mode == -1) {
      EXPECT_THAT(run.out, testing::HasSubstr("Invalid model state"));
    }
    read.reset(QUVEN_ENV);
    return mode;
  };
  for (std::int32_t mode = 1; mode <= 10; ++mode) {
    EXPECT_EQ(modeOf(mode), mode);
    EXPECT_EQ(modeOf(-mode), mode);
    EXPECT_EQ(modeOf(100 + mode), mode);
  }
  EXPECT_EQ(modeOf(0), 0);
  for (const std::int32_t state : {11, -11, 99, 100, 111, -101, -110, std::numeric_limits<std::int32_t>::max(),
                                   std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_EQ(modeOf(state), -1) << state;
  }
}

TEST_F(QUVENModelTest, RunsAPassAndChoosesItsBest) {
  chooseMode(1);
  EXPECT_FALSE(model->wantsRecords());
  EXPECT_TRUE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "begin; scan begun");
  EXPECT_EQ(model->getModelState(), 101);
  EXPECT_TRUE(model->wantsRecords());
  EXPECT_NE(model->getHandler2(), nullptr);
  EXPECT_TRUE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "");
  model->update(*world.point, QUVEN_ENV);
  EXPECT_EQ(model->ivRecords, 1);

  model->isDone = false;
  EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "end 0");
  EXPECT_TRUE(model->wantsRecords());
  model->isDone = true;
  EXPECT_TRUE(model->endDataScan(7, QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "end 7; scores of 0; best 1; scan ended");
  EXPECT_EQ(model->getModelState(), -1);
  EXPECT_FALSE(model->wantsRecords());
  EXPECT_EQ(model->getHandler2(), nullptr);
  EXPECT_TRUE(model->endDataScan(7, QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "");
}

TEST_F(QUVENModelTest, ATrainedModelIsTrainedAgainInItsMode) {
  chooseMode(3);
  model->beginDataScan(QUVEN_ENV);
  model->endDataScan(0, QUVEN_ENV);
  EXPECT_EQ(model->getModelState(), -3);
  EXPECT_TRUE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(model->getModelState(), 103);
}

TEST_F(QUVENModelTest, WithoutNeedOfDataItIsTrainedAtOnce) {
  chooseMode(2);
  model->needsData = false;
  EXPECT_FALSE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(model->takeCalls(), "begin; scores of 0; best 1");
  EXPECT_EQ(model->getModelState(), -2);
  EXPECT_FALSE(model->wantsRecords());
}

TEST_F(QUVENModelTest, WithoutAModeThereIsNoScan) {
  for (const bool needsData : {true, false}) {
    model->needsData = needsData;
    expectFailure([&] { model->beginDataScan(QUVEN_ENV); }, "Invalid model state");
    EXPECT_EQ(model->getModelState(), 0);
  }
  EXPECT_TRUE(model->endDataScan(0, QUVEN_ENV));
}

TEST_F(QUVENModelTest, TheModeTellsByWhichTripleTheBestIsChosen) {
  // By triple 1 the second is best, by triple 2 the third.
  model->candidates.clear();
  model->addCandidate({5, 3, 0}, {5, 3, 0});
  model->addCandidate({5, 1, 0}, {5, 2, 0});
  model->addCandidate({5, 2, 0}, {5, 1, 0});
  const char* best[] = {"2", "2", "2", "2", "2", "2", "", "3", "2", ""};
  for (const bool needsData : {true, false}) {
    for (std::int32_t mode = 1; mode <= 10; ++mode) {
      chooseMode(mode);
      model->needsData = needsData;
      EXPECT_EQ(model->beginDataScan(QUVEN_ENV), needsData);
      EXPECT_TRUE(model->endDataScan(0, QUVEN_ENV));
      EXPECT_EQ(model->getModelState(), -mode);
      const std::string expected = best[mode - 1];
      const std::string calls = model->takeCalls();
      EXPECT_EQ(calls.find("best") != std::string::npos, !expected.empty()) << mode;
      if (!expected.empty()) {
        EXPECT_THAT(calls, testing::HasSubstr("best " + expected)) << mode;
      }
    }
  }
}

TEST_F(QUVENModelTest, TheLowestOfEqualCandidatesIsTheBest) {
  model->candidates.clear();
  for (const double fit : {2.0, 1.0, 1.0, 1.5, 1.0}) model->addCandidate({1, fit, 0});
  model->selectBestModel(1, QUVEN_ENV);
  EXPECT_EQ(model->takeCalls(), "scores of 0; best 2");
  // The vector is shared, and empty each time.
  model->selectBestModel(1, QUVEN_ENV);
  EXPECT_EQ(model->takeCalls(), "scores of 0; best 2");
}

TEST_F(QUVENModelTest, AFirstCandidateWithoutPointsIsTheBest) {
  model->candidates.clear();
  model->addCandidate({0, 9, 0}, {0.999, 9, 0});
  model->addCandidate({100, 1, 0}, {100, 1, 0});
  model->selectBestModel(1, QUVEN_ENV);
  EXPECT_EQ(model->takeCalls(), "scores of 0; best 1");
}

TEST_F(QUVENModelTest, BelowOneHeldOutPointTheOtherTripleIsLookedAt) {
  model->candidates.clear();
  model->addCandidate({10, 9, 0}, {0.999, 1, 0});
  model->addCandidate({10, 1, 0}, {100, 9, 0});
  model->selectBestModel(2, QUVEN_ENV);
  EXPECT_EQ(model->takeCalls(), "scores of 0; best 2");
  model->candidates.front().accumulate(Scores::HeldOut, {0.001, 0, 0});
  model->selectBestModel(2, QUVEN_ENV);
  EXPECT_EQ(model->takeCalls(), "scores of 0; best 1");
}

TEST_F(QUVENModelTest, AModelWithoutCandidatesIsAnError) {
  model->candidates.clear();
  expectFailure([&] { model->selectBestModel(1, QUVEN_ENV); }, "modelScores.getSize() > 0",
                "Model scores vector not initialized by derived class");
}

TEST_F(QUVENModelTest, ScoresAddUpInTheirSlots) {
  Scores scores;
  for (const int slot : {0, 1, 2, 2}) scores.accumulate(slot, {1.0 + slot, 10, 100});
  EXPECT_EQ(scores[0].ivPts, 1);
  EXPECT_EQ(scores[1].ivPts, 2);
  EXPECT_EQ(scores[2].ivPts, 6);
  EXPECT_EQ(scores[2].ivFit, 20);
  EXPECT_EQ(scores[2].ivVar, 200);
  for (const int slot : {-1, 3}) {
    expectFailure([&] { scores.accumulate(slot, {1, 1, 1}); }, "Train <= slot && slot <= HeldOut");
  }
}

TEST_F(QUVENModelTest, AnswersOfTheBase) {
  EXPECT_EQ(model->acceptsScore(), 1);
  EXPECT_EQ(model->reservedQuery1() + model->reservedQuery2() + model->reservedQuery3() + model->reservedQuery4(), 0);
  EXPECT_EQ(model->noteInputAdded(nullptr, 2, QUVEN_ENV), 0);
  auto bare = make<QUVENTestBareModel>();
  expectFailure([&] { bare->recordHandler(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->batchHandler(QUVEN_ENV); }, unreachableText);
  bare.reset(QUVEN_ENV);
}

}  // namespace
