// Models in streams: what each mode carries, and references that go through the map of names.

#include "kernel/quven_scan_results.h"
#include "model_fixture.h"
#include "support/stream_text.h"

namespace {

constexpr std::int32_t Save = QUVENObjWriter::Save;
constexpr std::int32_t ForWorker = QUVENObjWriter::SaveForWorker;
constexpr std::int32_t Results = QUVENObjWriter::ScanResults;

class QUVENModelStreamTest : public ModelTest {
 protected:
  QUVENModelStreamTest() {
    model = make<QUVENTestModel>();
    model->addInput(t, QUVENUsageTarget, QUVEN_ENV);
    model->addInput(a, QUVENUsageExplanatory, QUVEN_ENV);
    model->addInput(line, QUVENUsageSupplementary, QUVEN_ENV);
    model->addInput(w, QUVENUsageCaseWeight, QUVEN_ENV);
    model->setMiningMode(2, nullptr, QUVEN_ENV);
    model->setNumAddDegreesOfFreedom(3);
    model->ivRecords = 5;
  }
  void TearDown() override {
    model.reset(QUVEN_ENV);
    read.reset(QUVEN_ENV);
    ModelTest::TearDown();
  }

  std::string hexOfImage(std::int32_t mode) { return hexOf(imageOf(*model, mode)); }

  QUVENOwnPtr<QUVENTestModel> model;
  QUVENOwnPtr<QUVENTestModel> read;
};

// The columns have the serial numbers 1 to 7, the model has 8.
constexpr const char* savedModel =
    "c1 8e 'QUVENTestModel' c6 88 "
    "c7 c4 81 c1 8f 'QUVENModelInput' c6 81 't' c7 81 c2 c5 "
    "c8 c4 82 c1 8f 'QUVENModelInput' c6 81 'a' c7 82 c2 c1 8f 'QUVENModelInput' c6 84 'line' c7 87 c2 c5 "
    "c9 81 'w' ca 80 cb 83 cc 82 cd 85 c2";

TEST_F(QUVENModelStreamTest, SavedItCarriesItsInputsByName) {
  EXPECT_EQ(hexOfImage(Save), hexOfText(savedModel));
  EXPECT_EQ(hexOfImage(ForWorker), hexOfText(savedModel));
}

TEST_F(QUVENModelStreamTest, AResultCarriesNothingOfTheBase) {
  EXPECT_EQ(hexOfImage(Results), hexOfText("c1 8e 'QUVENTestModel' c6 80 cd 85 c2"));
  readWith(*world.names, bytesOf(savedModel), read);
  EXPECT_EQ(hexOf(imageOf(*read, Results)), hexOfText("c1 8e 'QUVENTestModel' c6 c7 cd 85 c2"));  // -8
}

TEST_F(QUVENModelStreamTest, ComesBackOnAnotherWorkerWithItsFields) {
  ModelWorld worker = makeWorld();
  readWith(*worker.names, imageOf(*model, ForWorker), read);
  EXPECT_EQ(explanatory(*read), "a2 line7");
  EXPECT_EQ(inputsOf(read->getTargetFields()), "t1");
  EXPECT_EQ(read->getExplanatoryFields()[1].getField(), worker.field("a"));
  EXPECT_EQ(read->getCaseWeightField(), worker.field("w"));
  EXPECT_EQ(read->getInvVarWeightField(), nullptr);
  EXPECT_EQ(read->getNumAddDegreesOfFreedom(), 3);
  EXPECT_EQ(read->getMergeWithSerialNumber(), model->getSerialNumber());
  EXPECT_EQ(read->getReferenceModel(), nullptr);
  const std::string again = imageOf(*read, Save);
  EXPECT_EQ(again.size(), imageOf(*model, Save).size());
  read.reset(QUVEN_ENV);
  end(worker);
}

TEST_F(QUVENModelStreamTest, AModelThatScansGoesOnScanning) {
  model->beginDataScan(QUVEN_ENV);
  readWith(*world.names, imageOf(*model, ForWorker), read);
  EXPECT_EQ(read->getModelState(), 102);
  read->update(*world.point, QUVEN_ENV);
  EXPECT_EQ(read->ivRecords, 6);
}

TEST_F(QUVENModelStreamTest, ReadIntoAModelKeepsWhatTheStreamDoesNotMention) {
  read = make<QUVENTestModel>();
  read->addInput(b, 2, QUVEN_ENV);
  read->setNumAddDegreesOfFreedom(9);
  readWith(*world.names, imageOf(*model, Results), read);
  EXPECT_EQ(explanatory(*read), "b2");
  EXPECT_EQ(read->getNumAddDegreesOfFreedom(), 9);
  EXPECT_EQ(read->ivRecords, 5);
  readWith(*world.names, imageOf(*model, Save), read);
  EXPECT_EQ(explanatory(*read), "a2 line7");
}

TEST_F(QUVENModelStreamTest, ReadBeforeItsMapAReferenceFindsNothing) {
  const std::string bytes = imageOf(*model);
  expectFailure([&] { readImage(bytes, read); }, "ptr != 0", "No field with specified name");
}

TEST_F(QUVENModelStreamTest, AMapThatStandsBeforeTheModelServesIt) {
  // The map refers to columns, which no stream of it carries: they are put in anew.
  const std::string bytes = written(Save, [&](QUVENObjWriter& writer) {
    quvenWriteObject(writer, *world.names, QUVEN_ENV);
    quvenWriteObject(writer, *model, QUVEN_ENV);
  });
  ModelWorld worker = makeWorld();
  EXPECT_EQ(readFrom(bytes,
                     [&](QUVENObjReader& reader) {
                       quvenReadObject(reader, *worker.names, QUVEN_ENV);
                       quvenReadObject(reader, read, QUVENTestModel::typeName(), QUVEN_ENV);
                     }),
            0U);
  EXPECT_EQ(read->getExplanatoryFields()[1].getField(), worker.field("a"));
  read.reset(QUVEN_ENV);
  end(worker);
}

TEST_F(QUVENModelStreamTest, AFieldThatTheMapDoesNotKnowIsAnError) {
  const std::string bytes = imageOf(*model);
  world.names->remove("line", QUVEN_ENV);
  expectFailure([&] { readWith(*world.names, bytes, read); }, "ptr != 0", "No field with specified name");
}

TEST_F(QUVENModelStreamTest, ResultsGoBackToTheModelTheyBelongTo) {
  readWith(*world.names, imageOf(*model, ForWorker), read);
  read->ivRecords = 30;
  const QUVENKeyword& keyword = quvenScanResultKeyword();
  const std::string results =
      written(Results, [&](QUVENObjWriter& writer) { quvenWriteScanResults(*read, writer, keyword, QUVEN_ENV); });
  readFrom(results, [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, keyword, QUVEN_ENV); });
  EXPECT_EQ(model->ivRecords, 35);
  EXPECT_EQ(model->getModelState(), 2);
  EXPECT_EQ(explanatory(*model), "a2 line7");
}

TEST_F(QUVENModelStreamTest, EveryCutOfTheStreamIsRefused) {
  const std::string bytes = imageOf(*model);
  const std::int64_t before = environment.getBytesInUse();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const CapturedRun run = capturedRun([&] { readWith(*world.names, bytes.substr(0, length), read); });
    EXPECT_TRUE(run.threwLibraryException) << length;
    read.reset(QUVEN_ENV);
    const std::int64_t inUse = environment.getBytesInUse();
    EXPECT_LE(inUse - before, 1024) << length;  // the tables of the serial numbers may have grown
  }
  quvenDebugWords.error = 0;
}

}  // namespace
