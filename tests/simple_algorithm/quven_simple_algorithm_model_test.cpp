#include "simple_algorithm/quven_simple_algorithm_model.h"

#include <cmath>
#include <limits>
#include <sstream>

#include "kernel/quven_scan_results.h"
#include "simple_algorithm/quven_kernel_data.h"
#include "simple_model_fixture.h"

namespace {

using Model = QUVENSimpleAlgorithmModel;

class QUVENSimpleAlgorithmModelTest : public SimpleModelTest {};

constexpr const char* emptyDump =
    "SimpleAlgorithmModel:\nState: 0\nivDataVec size: 0\nivTargetVec size: 0\nivExplanatoryFieldOrder size: 0\n"
    "ivTargetFieldOrder size: 0\nivIterationCount: 0\nData: NULL\n";

TEST_F(QUVENSimpleAlgorithmModelTest, OpenedItKnowsItsFields) {
  EXPECT_EQ(dump(), emptyDump);
  addInputs();
  EXPECT_FALSE(open({line, x, y, t}).threwLibraryException);
  EXPECT_EQ(dump(),
            "SimpleAlgorithmModel:\nState: 1\nivDataVec size: 2\nivTargetVec size: 1\nivExplanatoryFieldOrder size: 2\n"
            "ivTargetFieldOrder size: 1\nivIterationCount: 0\nData: \n");
}

TEST_F(QUVENSimpleAlgorithmModelTest, AFieldThatIsNoInputStops) {
  addInputs();
  const CapturedRun run = open({line, text});
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::HasSubstr(unreachableText));
}

TEST_F(QUVENSimpleAlgorithmModelTest, AnUnknownModelIdIsReportedFirst) {
  addInputs();
  const std::string error = "Error;|2100;|QUVENSimpleAlgorithmModel::open: Internal error - wrong  modelId;|ErrorEnd";
  for (const std::int32_t modelId : {-1, 0, 7, 9, 18, 25}) {
    const CapturedRun run = open({line, x}, modelId);
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_THAT(run.out, testing::HasSubstr(error));
    EXPECT_LT(run.out.find(error), run.out.find(notImplementedText));
    EXPECT_THAT(run.out, testing::Not(testing::HasSubstr("Terminating")));
  }
  expectFailure([&] { model->getData(QUVEN_ENV); }, "ivDataPtr != 0");
}

TEST_F(QUVENSimpleAlgorithmModelTest, TheModelIdChoosesTheAnalysis) {
  addInputs();
  const std::string kernel =
      "<KernelParams>\n<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n"
      "<isSparseData>1</isSparseData>\n<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n"
      "</KernelParams>\n";
  EXPECT_FALSE(open({line, x, y}, 8, kernel).threwLibraryException);
  EXPECT_TRUE(model->getData(QUVEN_ENV).isA(QUVENKernelData::typeName()));
  const CapturedRun run = open({line, x, y}, 17, "<KernelParams>\n</KernelParams>\n");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::HasSubstr("Starting reading parameter file."));
  EXPECT_THAT(run.out, testing::HasSubstr("only Friends Kernel is supported"));
}

TEST_F(QUVENSimpleAlgorithmModelTest, ParametersThatAreRefusedLeaveNoAnalysis) {
  addInputs();
  const CapturedRun run = open({line, x, y, t}, 24, "<isSparseData>0</isSparseData>\n");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::HasSubstr("Error;|2202;|QUVENSNAData::open: Data must be sparse!;|ErrorEnd"));
  expectFailure([&] { model->getData(QUVEN_ENV); }, "ivDataPtr != 0");
}

TEST_F(QUVENSimpleAlgorithmModelTest, ValuesStandInTheOrderOfTheFieldList) {
  addInputs();
  EXPECT_FALSE(open({t, y, x, line}).threwLibraryException);
  QUVENTestAnalysis& data = startExample();
  EXPECT_EQ(data.takeCalls(), "begin 2");
  record(77, 1, 2, 3);
  EXPECT_EQ(data.takeCalls(), "update 2 1 | 3 | 77");
}

TEST_F(QUVENSimpleAlgorithmModelTest, ALineNumberIsFoundBesideAnotherUsageOfItsField) {
  model->addInput(line, QUVENUsageExplanatory, QUVEN_ENV);
  addInputs();
  EXPECT_FALSE(open({line, x, y}).threwLibraryException);
  QUVENTestAnalysis& data = startExample();
  data.takeCalls();
  record(9, 1, 2, 3);
  EXPECT_EQ(data.takeCalls(), "update 1 2 0 | 0 | 9");
}

TEST_F(QUVENSimpleAlgorithmModelTest, AFieldThatIsNamedTwiceGetsNoMorePlaces) {
  addInputs();
  EXPECT_FALSE(open({line, x, x, y, t, t, t}).threwLibraryException);
  QUVENTestAnalysis& data = startExample();
  data.takeCalls();
  record(9, 1, 2, 3);
  EXPECT_EQ(data.takeCalls(), "update 1 1 | 3 | 9");
}

TEST_F(QUVENSimpleAlgorithmModelTest, WithoutALineNumberNoRecordIsTaken) {
  addInputs();
  EXPECT_FALSE(open({x, y, t}).threwLibraryException);
  startExample();
  expectFailure([&] { record(1, 2, 3, 4); }, "lineNumberField != nullptr", "A record without a line number field");
}

TEST_F(QUVENSimpleAlgorithmModelTest, ARecordWithoutAnAnalysisIsAnError) {
  startExample();
  model->resetModel(QUVEN_ENV);
  EXPECT_EQ(dump(), emptyDump);
  expectFailure([&] { model->initIteration(QUVEN_ENV); }, "ivDataPtr != 0");
  readWith(bytesOf("c1 99 'QUVENSimpleAlgorithmModel' cd c4 81 81 c5 cf 82 c2"), model);
  expectFailure([&] { record(1, 2, 3, 4); }, "ivDataPtr != 0");
}

TEST_F(QUVENSimpleAlgorithmModelTest, WhatIsNoNumberIsZero) {
  model->addInput(text, QUVENUsageExplanatory, QUVEN_ENV);
  addInputs();
  EXPECT_FALSE(open({line, text, x, y, t}).threwLibraryException);
  QUVENTestAnalysis& data = startExample();
  data.takeCalls();
  text->setCatValue("12");
  record(5, 1, 2, 3);
  EXPECT_EQ(data.takeCalls(), "update 0 1 2 | 3 | 5");
  y->setMissing();
  t->clearValue();
  line->setMissing();
  model->update(*point, QUVEN_ENV);
  EXPECT_EQ(data.takeCalls(), "update 0 1 0 | 0 | 0");
}

TEST_F(QUVENSimpleAlgorithmModelTest, RowsOfChannels1And2FillTheVectorsOnly) {
  QUVENTestAnalysis& data = startExample();
  data.takeCalls();
  record(5, 1, 2, 3, 1);
  record(5, 1, 2, 3, 2);
  EXPECT_EQ(data.takeCalls(), "");
  record(5, 1, 2, 3, 3);
  record(5, 1, 2, 3, -1);
  EXPECT_EQ(data.takeCalls(), "update 1 2 | 3 | 5; update 1 2 | 3 | 5");
}

TEST_F(QUVENSimpleAlgorithmModelTest, AValueListGivesTheElementOfTheChannel) {
  QUVENTestAnalysis& data = startExample();
  data.takeCalls();
  QUVENXaRay<double> values;
  values.fromZeroBased(std::vector<double>{10, 20, 30}, QUVEN_ENV);
  const auto updateIn = [&](std::int32_t channel) {
    line->setNumValues(values, QUVEN_ENV);
    x->setNumValues(values, QUVEN_ENV);
    y->setNumValue(7);
    t->setNumValues(values, QUVEN_ENV);
    point->setChannel(channel);
    model->update(*point, QUVEN_ENV);
    return data.takeCalls();
  };
  EXPECT_EQ(updateIn(3), "update 30 7 | 30 | 30");
  EXPECT_EQ(updateIn(0), "update 10 7 | 10 | 10");  // the single value is the first
  EXPECT_EQ(updateIn(4), "update 10 7 | 10 | 10");
  values.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENSimpleAlgorithmModelTest, SampleNumbersGoOverTheWholeUnsignedRange) {
  QUVENTestAnalysis& data = startExample();
  const auto sampleOf = [&](double lineNumber) {
    record(lineNumber, 0, 0, 0);
    return data.lastSample;
  };
  EXPECT_EQ(sampleOf(2.99), 2U);
  EXPECT_EQ(sampleOf(std::ldexp(1, 63)), 0x8000000000000000U);
  EXPECT_EQ(sampleOf(std::ldexp(1, 64) - 2048), 0xFFFFFFFFFFFFF800U);
}

TEST_F(QUVENSimpleAlgorithmModelTest, TheScanProtocolIsAnsweredByTheAnalysis) {
  QUVENTestAnalysis& data = startExample();
  EXPECT_EQ(data.takeCalls(), "begin 2");
  EXPECT_EQ(model->getState(), Model::InPass);
  EXPECT_EQ(model->getModelState(), 101);
  EXPECT_TRUE(model->beginDataScan(QUVEN_ENV));
  EXPECT_EQ(data.takeCalls(), "");
  EXPECT_EQ(
      model->initIteration(QUVEN_ENV) + model->updateWithoutDataScan(QUVEN_ENV) + model->finishIteration(QUVEN_ENV), 3);
  EXPECT_EQ(data.takeCalls(), "init; without data; finish");
  data.ivScanKind = 3;
  EXPECT_EQ(model->getScanType(QUVEN_ENV), QUVENScanType::NoPass);
  EXPECT_EQ(model->getSamplingRate(QUVEN_ENV), 0.25);
  EXPECT_TRUE(model->getScanOption(QUVEN_ENV));
  EXPECT_TRUE(model->hasScanResult(QUVEN_ENV));
  EXPECT_EQ(model->getHandler2(), nullptr);
  data.ivSum = 1.5;
  model->writeResultsToTag(tree->getTag("", QUVEN_ENV), QUVEN_ENV);
  EXPECT_EQ(tree->getTag("Sum", QUVEN_ENV).getValue(), "1.5");
  EXPECT_THAT(dump(), testing::EndsWith("Data: sum 1.5\n"));
}

TEST_F(QUVENSimpleAlgorithmModelTest, PassesGoOnUntilTheAnalysisEnds) {
  QUVENTestAnalysis& data = startExample();
  data.takeCalls();
  EXPECT_FALSE(model->endDataScan(1, QUVEN_ENV));
  EXPECT_FALSE(model->endDataScan(-1, QUVEN_ENV));
  EXPECT_EQ(data.takeCalls(), "");
  EXPECT_EQ(model->getState(), Model::InPass);
  EXPECT_EQ(model->getIterationCount(), 0);
  for (int pass = 1; pass <= 3; ++pass) {
    EXPECT_FALSE(model->endDataScan(0, QUVEN_ENV));
    EXPECT_EQ(model->getIterationCount(), pass);
    EXPECT_EQ(model->getState(), Model::PassEnded);
    EXPECT_TRUE(model->wantsRecords());
    EXPECT_FALSE(model->isFinished(QUVEN_ENV));
  }
  data.ivHasEnded = 1;
  data.takeCalls();
  EXPECT_TRUE(model->isFinished(QUVEN_ENV));
  EXPECT_TRUE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(data.takeCalls(), "end");
  EXPECT_EQ(model->getModelState(), -1);
  EXPECT_FALSE(model->wantsRecords());
  EXPECT_EQ(model->getIterationCount(), 4);
  EXPECT_TRUE(model->endDataScan(0, QUVEN_ENV));
  EXPECT_EQ(model->getIterationCount(), 4);
}

TEST_F(QUVENSimpleAlgorithmModelTest, ItHasModeOneOnly) {
  EXPECT_TRUE(model->setMiningMode(1, nullptr, QUVEN_ENV));
  for (std::int32_t mode = 2; mode <= 10; ++mode) {
    expectFailure([&] { model->setMiningMode(mode, nullptr, QUVEN_ENV); }, notImplementedText);
  }
  for (const std::int32_t mode : {-1, 0, 11, 101}) {
    expectFailure([&] { model->setMiningMode(mode, nullptr, QUVEN_ENV); }, "Invalid Model State");
  }
  EXPECT_EQ(model->getModelState(), 1);
}

/// States that only a stream can bring about.
TEST_F(QUVENSimpleAlgorithmModelTest, AStateOfAnotherModeIsRefused) {
  const auto inState = [&](const std::string& state) {
    return capturedRun([&] {
      QUVENOwnPtr<Model> made(QUVEN_ENV);
      try {
        readWith(bytesOf("c1 99 'QUVENSimpleAlgorithmModel' cc " + state + " c2"), made);
        made->beginDataScan(QUVEN_ENV);
      } catch (...) {
        made.reset(QUVEN_ENV);
        throw;
      }
      made.reset(QUVEN_ENV);
    });
  };
  EXPECT_THAT(inState("80").out, testing::HasSubstr("Invalid Model State"));
  EXPECT_THAT(inState("82").out, testing::HasSubstr("Invalid Model State"));
  EXPECT_THAT(inState("8a").out, testing::HasSubstr(notImplementedText));
  EXPECT_THAT(inState("8b").out, testing::HasSubstr("Invalid Model State"));
  EXPECT_THAT(inState("c0").out, testing::HasSubstr("Invalid Model State"));  // -1: it has ended
  EXPECT_THAT(inState("c9").out, testing::HasSubstr("Invalid Model State"));  // -10
  // 102 and 110 while it is read, 111 as well.
  EXPECT_THAT(inState("26 81").out, testing::HasSubstr(notImplementedText));
  EXPECT_THAT(inState("2e 81").out, testing::HasSubstr(notImplementedText));
  EXPECT_THAT(inState("2f 81").out, testing::HasSubstr("Invalid model state"));
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENSimpleAlgorithmModelTest, ItsScoresAreOneCandidateOfKind4) {
  QUVENXaRay<QUVENModelScores> scores;
  model->getModelScoresVector(scores, QUVEN_ENV);
  ASSERT_EQ(scores.getSize(), 1);
  EXPECT_EQ(scores[1].kind, 4);
  for (int slot = 0; slot < 3; ++slot) {
    EXPECT_EQ(scores[1][slot].ivPts, 0);
    EXPECT_EQ(scores[1][slot].ivFit, 0);
    EXPECT_EQ(scores[1][slot].ivVar, 0);
  }
  scores.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENSimpleAlgorithmModelTest, WhatAModelDoesForScoringIsNotThere) {
  auto used = make<QUVENModelFieldsUsed>();
  expectFailure([&] { model->hasUsableData(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->getVolume(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->getScore(1, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->getScoreVariance(1, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->hasNoSignal(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->pruneInputs(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->finishScoring(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->scorePoint(*point, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->scoreChannel(1, *point, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { model->collectFieldsUsed(*used, QUVEN_ENV); }, notImplementedText);
  used.reset(QUVEN_ENV);
}

TEST_F(QUVENSimpleAlgorithmModelTest, PreparingInputsBindsThemAnew) {
  startExample();
  model->addInput(text, QUVENUsageExplanatory, QUVEN_ENV);
  model->addInput(text, QUVENUsageTarget, QUVEN_ENV);
  model->prepareInput(QUVEN_ENV);
  EXPECT_THAT(dump(), testing::HasSubstr("ivDataVec size: 3\nivTargetVec size: 2\n"));
}

}  // namespace
