// The analysis model in streams and copies: what each mode carries, and how it goes on after a read.

#include <sstream>
#include <tuple>

#include "kernel/quven_scan_results.h"
#include "simple_model_fixture.h"

namespace {

using Model = QUVENSimpleAlgorithmModel;

class QUVENSimpleAlgorithmStreamTest : public SimpleModelTest {};

// The columns have the serial numbers 1 to 5, the model has 6. The sum is 1.0, the state 2 in a pass.
constexpr const char* savedModel =
    "c1 99 'QUVENSimpleAlgorithmModel' c6 86 "
    "c7 c4 81 c1 8f 'QUVENModelInput' c6 81 't' c7 81 c2 c5 "
    "c8 c4 83 c1 8f 'QUVENModelInput' c6 81 'x' c7 82 c2 c1 8f 'QUVENModelInput' c6 84 'line' c7 87 c2 "
    "c1 8f 'QUVENModelInput' c6 81 'y' c7 82 c2 c5 "
    "c9 80 ca 80 cb 80 cc 25 81 "
    "cd c4 82 81 83 c5 ce c4 81 81 c5 cf 82 "
    "d0 c1 91 'QUVENTestAnalysis' c6 80 c7 00 00 00 00 00 00 f0 3f c8 80 c9 80 c2 "
    "d1 80 d2 82 c2";
constexpr const char* resultOfModel =
    "c1 99 'QUVENSimpleAlgorithmModel' c6 80 "
    "d0 c1 91 'QUVENTestAnalysis' c6 80 c7 00 00 00 00 00 00 f0 3f c8 80 c9 80 c2 c2";

TEST_F(QUVENSimpleAlgorithmStreamTest, SavedItCarriesAllAndAResultTheAnalysisAlone) {
  startExample("c7 00 00 00 00 00 00 f0 3f");
  EXPECT_EQ(hexOf(imageOf(*model, QUVENObjWriter::Save)), hexOfText(savedModel));
  EXPECT_EQ(hexOf(imageOf(*model, QUVENObjWriter::SaveForWorker)), hexOfText(savedModel));
  EXPECT_EQ(hexOf(imageOf(*model, QUVENObjWriter::ScanResults)), hexOfText(resultOfModel));
}

TEST_F(QUVENSimpleAlgorithmStreamTest, AModelThatWasReadTakesRecords) {
  readWith(bytesOf(savedModel), read);
  std::swap(read, model);
  EXPECT_EQ(model->getState(), Model::InPass);
  record(9, 4, 5, 6);
  EXPECT_EQ(example().takeCalls(), "update 4 5 | 6 | 9");
  EXPECT_EQ(example().ivSum, 5);
}

TEST_F(QUVENSimpleAlgorithmStreamTest, AResultNeedsNoFieldsAndIsMerged) {
  QUVENTestAnalysis& data = startExample("c7 00 00 00 00 00 00 f0 3f");
  data.takeCalls();
  read = objectOf<Model>(bytesOf(resultOfModel));
  EXPECT_FALSE(read->wantsRecords());
  EXPECT_EQ(read->getExplanatoryFields().getSize(), 0);
  EXPECT_TRUE(model->merge(read.get(), QUVEN_ENV));
  EXPECT_EQ(data.takeCalls(), "merge");
  EXPECT_EQ(data.ivSum, 2);
  EXPECT_TRUE(read->merge(model.get(), QUVEN_ENV));
  EXPECT_EQ(static_cast<QUVENTestAnalysis&>(read->getData(QUVEN_ENV)).ivSum, 3);
}

TEST_F(QUVENSimpleAlgorithmStreamTest, WhatIsNoModelOfTheClassIsNotMerged) {
  startExample();
  expectFailure([&] { std::ignore = model->merge(x, QUVEN_ENV); }, "other->isA(typeName())");
  read = make<Model>();
  expectFailure([&] { std::ignore = model->merge(read.get(), QUVEN_ENV); }, "ivDataPtr != 0");
}

TEST_F(QUVENSimpleAlgorithmStreamTest, ReadIntoAModelTheAnalysisIsReadInto) {
  const QUVENTestAnalysis* before = &startExample();
  example().lastSample = 44;
  readWith(bytesOf("c1 99 'QUVENSimpleAlgorithmModel' d0 c1 91 'QUVENTestAnalysis' c8 85 c2 d1 87 c2"), model);
  EXPECT_EQ(&example(), before);
  EXPECT_EQ(example().lastSample, 44U);
  EXPECT_EQ(example().ivHasEnded, 5);
  EXPECT_EQ(model->getIterationCount(), 7);
  record(9, 4, 5, 6);
  EXPECT_THAT(example().takeCalls(), testing::EndsWith("update 4 5 | 6 | 9"));
}

TEST_F(QUVENSimpleAlgorithmStreamTest, AnAnalysisOfAnotherClassTakesItsPlace) {
  startExample();
  putAnalysis("QUVENTestBareAnalysis", "");
  EXPECT_EQ(model->getData(QUVEN_ENV).isA(QUVENTestBareAnalysis::typeName()), 1);
  expectFailure([&] { record(9, 4, 5, 6); }, unreachableText);
}

TEST_F(QUVENSimpleAlgorithmStreamTest, APositionBeyondTheInputsIsRefused) {
  addInputs();
  const std::string cause = "A field order beyond the inputs of the model";
  for (const char* orders : {"cd c4 81 84 c5", "cd c4 81 80 c5", "ce c4 81 82 c5", "cf 84"}) {
    auto copy = make<Model>();
    copy->addInput(x, 2, QUVEN_ENV);
    copy->addInput(line, 7, QUVEN_ENV);
    copy->addInput(t, 1, QUVEN_ENV);
    expectFailure([&] { readWith(bytesOf(std::string("c1 99 'QUVENSimpleAlgorithmModel' ") + orders + "c2"), copy); },
                  "1 <= order && order <= inputs.getSize()", cause);
    copy.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENSimpleAlgorithmStreamTest, BeforeItsMapNoReferenceIsFound) {
  expectFailure([&] { readImage(bytesOf(savedModel), read); }, "ptr != 0", "No field with specified name");
}

TEST_F(QUVENSimpleAlgorithmStreamTest, EveryCutIsRefused) {
  const std::string bytes = bytesOf(savedModel);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const CapturedRun run = capturedRun([&] { readWith(bytes.substr(0, length), read); });
    EXPECT_TRUE(run.threwLibraryException) << length;
    read.reset(QUVEN_ENV);
  }
  quvenDebugWords.error = 0;
}

TEST_F(QUVENSimpleAlgorithmStreamTest, ACopyHasAnAnalysisOfItsOwn) {
  startExample("c7 00 00 00 00 00 00 f0 3f");
  const CapturedRun run = capturedRun([&] { read = quvenNewCopy(*model, QUVEN_ENV); });
  EXPECT_EQ(run.out, "Copied exp fields from 3 to 0\n");
  EXPECT_NE(&read->getData(QUVEN_ENV), &model->getData(QUVEN_ENV));
  std::swap(read, model);
  EXPECT_TRUE(model->wantsRecords());
  record(9, 4, 5, 6);
  EXPECT_EQ(example().takeCalls(), "update 4 5 | 6 | 9");
  EXPECT_EQ(static_cast<QUVENTestAnalysis&>(read->getData(QUVEN_ENV)).ivSum, 1);

  // Over a model with an analysis of the same class, which stays.
  const auto* held = &model->getData(QUVEN_ENV);
  example().ivSum = 77;
  capturedRun([&] { model->copyFromPrimitive(read.get(), QUVEN_ENV); });
  EXPECT_EQ(&model->getData(QUVEN_ENV), held);
  EXPECT_EQ(example().ivSum, 1);

  // And over a model with an analysis of another class.
  putAnalysis("QUVENTestBareAnalysis", "");
  capturedRun([&] { model->copyFromPrimitive(read.get(), QUVEN_ENV); });
  EXPECT_EQ(example().ivSum, 1);
}

TEST_F(QUVENSimpleAlgorithmStreamTest, ATransferIsRefused) {
  startExample();
  read = make<Model>();
  const CapturedRun run = capturedRun([&] { read->transferFromPrimitive(model.get(), QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::StartsWith("Transfered exp fields from 3 to 0\n"));
  EXPECT_THAT(run.out, testing::HasSubstr(unreachableText));
  EXPECT_NO_THROW(model->getData(QUVEN_ENV));
}

TEST_F(QUVENSimpleAlgorithmStreamTest, ACloneIsEmptyButForItsInputs) {
  startExample();
  QUVENOwnPtr<QUVENModel> made(QUVEN_ENV);
  model->clone(made, QUVEN_ENV);
  std::ostringstream out;
  static_cast<Model&>(*made).print(out);
  EXPECT_THAT(out.str(), testing::StartsWith("SimpleAlgorithmModel:\nState: 0\n"));
  EXPECT_THAT(out.str(), testing::EndsWith("Data: NULL\n"));
  EXPECT_EQ(made->getExplanatoryFields().getSize(), 3);
  made.reset(QUVEN_ENV);
}

}  // namespace
