// Linear regressions in streams: files, copies of workers, results; and their description.

#include <sstream>

#include "control/quven_XML_tag.h"
#include "lin_reg_fixture.h"

namespace {

class QUVENLinRegModelStreamTest : public LinearRegressionTest {
 protected:
  QUVENLinRegModelStreamTest() { openWorld(5); }

  /// What a model says of a table, to the last bit.
  std::vector<double> answers(QUVENLinRegModel& asked, const RegressionTable& table) {
    std::vector<double> list = {asked.getVolume(QUVEN_ENV)};
    for (int which = 0; which < 3; ++which) {
      list.push_back(asked.getScore(which, QUVEN_ENV));
      list.push_back(asked.getScoreVariance(which, QUVEN_ENV));
    }
    for (const RegressionRecord& record : table) {
      for (int c = 1; c <= channels; ++c) list.push_back(predict(asked, record, c));
    }
    return list;
  }
};

TEST_F(QUVENLinRegModelStreamTest, ReadFromAStreamItPredictsTheSameBits) {
  const RegressionTable table = randomRecords(100, 1, true);
  trainModel(table, 1, true);
  const std::vector<double> expected = answers(*model, table);
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
    auto read = readWithNames<QUVENLinRegModel>(imageOf(*model, mode));
    EXPECT_EQ(answers(*read, table), expected);
    EXPECT_EQ(read->getModelState(), -1);
    EXPECT_EQ(read->getPredValField(), predicted());
    EXPECT_EQ(read->getPredValStdDevField(), stdDev());
    EXPECT_EQ(read->getCaseWeightField(), w);
    EXPECT_EQ(read->getInvVarWeightField(), v);
    EXPECT_EQ(read->getResultsChannels()[1].getNumModels(), 4);
    expectChannels(*read, table);
    read.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENLinRegModelStreamTest, AModelThatWasReadCanBeMergedAndTrained) {
  const RegressionTable table = randomRecords(200);
  model = makeModel();
  train(*model, part(table, [](std::size_t i) { return i < 100; }));
  auto read = readWithNames<QUVENLinRegModel>(imageOf(*model));
  auto other = makeModel();
  train(*other, part(table, [](std::size_t i) { return i >= 100; }));
  EXPECT_EQ(read->mergeModel(other.get(), QUVEN_ENV), 1);
  expectChannels(*read, table);
  train(*read, part(table, [](std::size_t i) { return i < 50; }));
  expectChannels(*read, part(table, [](std::size_t i) { return i < 50; }));
  read.reset(QUVEN_ENV);
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelStreamTest, ResultsOfWorkersMergeToThoseOfOnePass) {
  const RegressionTable table = randomRecords(300, 2, true);
  for (const int workers : {1, 2, 3, 5}) {
    model = makeModel(true);
    begin(*model, 1);
    const std::string state = imageOf(*model, QUVENObjWriter::SaveForWorker);
    std::vector<std::string> results;
    for (int worker = 0; worker < workers; ++worker) {
      auto copy = readWithNames<QUVENLinRegModel>(state);
      EXPECT_TRUE(copy->isScanning());
      copy->beginRecords(QUVEN_ENV);
      show(*copy, part(table, [&](std::size_t i) { return static_cast<int>(i) % workers == worker; }));
      copy->endRecords(QUVEN_ENV);
      EXPECT_TRUE(copy->hasScanResult(QUVEN_ENV));
      results.push_back(resultOf(*copy));
      copy.reset(QUVEN_ENV);
    }
    // The first results are merged with each other, as those of slices are; the last goes to the live model alone.
    std::string merged = results[0];
    for (std::size_t i = 1; i + 1 < results.size(); ++i) merged = mergedResults(merged, results[i]);
    readResults(merged);
    if (workers > 1) readResults(results.back());
    expectChannels(*model, table);
    EXPECT_TRUE(model->endDataScan(1, QUVEN_ENV));
    EXPECT_FALSE(model->hasNoSignal(QUVEN_ENV));
  }
}

TEST_F(QUVENLinRegModelStreamTest, AResultIsTheTwoVectorsOfChannels) {
  model = makeModel();
  gather(*model, randomRecords(50));
  const std::string result = imageOf(*model, QUVENObjWriter::ScanResults);
  auto read = objectOf<QUVENLinRegModel>(result);  // it needs no fields
  EXPECT_EQ(read->getEvalChannels().getSize(), 5);
  EXPECT_EQ(read->getTrnChannels().getSize(), 5);
  EXPECT_TRUE(read->getExplanatoryFields().isEmpty());
  EXPECT_EQ(read->getModelState(), 0);
  read.reset(QUVEN_ENV);
  EXPECT_TRUE(model->endDataScan(1, QUVEN_ENV));
  // Outside of a scan there is nothing to send.
  read = objectOf<QUVENLinRegModel>(imageOf(*model, QUVENObjWriter::ScanResults));
  EXPECT_TRUE(read->getEvalChannels().isEmpty());
  EXPECT_TRUE(read->getTrnChannels().isEmpty());
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelStreamTest, AVectorWithoutItsEndIsASyntaxError) {
  trainModel(randomRecords(50));
  const std::string image = imageOf(*model);
  constexpr char arrayEnd = '\xC5';
  constexpr char objectEnd = '\xC2';
  int ends = 0;
  for (std::size_t place = image.find(arrayEnd); place != std::string::npos; place = image.find(arrayEnd, place + 1)) {
    ++ends;
  }
  ASSERT_GE(ends, 5);
  // The last end of an array is that of the fields of the selected model.
  std::string damaged = image;
  damaged.at(image.rfind(arrayEnd)) = objectEnd;
  QUVENOwnPtr<QUVENLinRegModel> read(QUVEN_ENV);
  expectFailure([&] { read = readWithNames<QUVENLinRegModel>(damaged); }, "Syntax Error: EndArray keyword expected");
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelStreamTest, AStreamWithoutAnInputOfTheModelIsRefused) {
  trainModel(randomRecords(100));
  const std::string image = imageOf(*model);
  const std::string last = model->getInputFields()[model->getInputFields().getSize()]->getName().str();
  const std::size_t length = image.rfind(last) - 1;  // of the name, in one byte
  QUVENOwnPtr<QUVENLinRegModel> read(QUVEN_ENV);
  // A reference to no field.
  std::string damaged = image;
  damaged.replace(length, last.size() + 1, 1, '\x80');
  expectFailure([&] { read = readWithNames<QUVENLinRegModel>(damaged); }, "field != nullptr");
  // One field fewer than the models have coefficients.
  damaged = image;
  damaged.erase(length, last.size() + 1);
  --damaged.at(damaged.rfind('\xC4') + 1);  // the size of the array
  expectFailure([&] { read = readWithNames<QUVENLinRegModel>(damaged); }, "selected->getModelRank()");
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelStreamTest, DescribesTheModelOfChannel1) {
  trainModel(randomRecords(200));
  QUVENXMLTag tag;
  model->writeResultsToTag(tag, QUVEN_ENV);
  const QUVENLSModel& selected = *model->getSelectedModel(1);
  ASSERT_GE(selected.getModelRank(), 2);
  const auto valueAt = [&](const std::string& path) {
    EXPECT_TRUE(tag.hasTag(path, QUVEN_ENV)) << path;
    return tag.getTag(path, QUVEN_ENV).getValue();
  };
  const auto numberAt = [&](const std::string& path) { return std::stod(valueAt(path)); };
  EXPECT_EQ(numberAt("AlgorithmOutput/Intercept"), selected.getIntercept());
  EXPECT_EQ(numberAt("AlgorithmOutput/ModelStdDev"), selected.getModelStdDev());
  const auto& coefficients = tag.getTag("AlgorithmOutput/CoefftInOrder", QUVEN_ENV).getChildren();
  ASSERT_EQ(coefficients.getSize(), selected.getModelRank());
  for (long i = 1; i <= selected.getModelRank(); ++i) {
    EXPECT_EQ(std::stod(coefficients[i].getValue()), selected.getCoefficientAt(i));
    EXPECT_EQ(valueAt("InputParameters/Field" + std::to_string(i)), model->getInputFields()[i]->getName().str());
  }
  EXPECT_EQ(valueAt("InputParameters/Target"), "y");
  EXPECT_EQ(valueAt("RunParameters/MiningMode"), "1");
  EXPECT_EQ(valueAt("RunParameters/NumChannels"), "5");
  tag.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelStreamTest, ADescriptionNeedsASelectedModel) {
  model = makeModel();
  QUVENXMLTag tag;
  expectFailure([&] { model->writeResultsToTag(tag, QUVEN_ENV); }, "model != nullptr");
  tag.destroyPrimitive(QUVEN_ENV);
}

}  // namespace
