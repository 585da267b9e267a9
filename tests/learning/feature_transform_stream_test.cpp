// Feature transforms in streams: files, copies of workers, results.

#include "kernel/quven_scan_results.h"
#include "transform_fixture.h"

namespace {

class QUVENFeatureTransformStreamTest : public TransformTest {};

TEST_F(QUVENFeatureTransformStreamTest, ReadFromAStreamOrCopiedItPredictsTheSameBits) {
  for (QUVENField* field : {x, c}) {
    TransformTable table = field == x ? brokenLine() : groupsOfLetters();
    table[7].x = absent;
    table[7].c = "";
    trainOn(field, table, true);
    const std::vector<double> expected = scores(*transform, table);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
      const std::string image = imageOf(*transform, mode);
      QUVENOwnPtr<QUVENFeatureTransform> read = readWithNames<QUVENFeatureTransform>(image);
      EXPECT_EQ(scores(*read, table), expected);
      EXPECT_EQ(read->getModelState(), -1);
      EXPECT_EQ(read->getSplitField(), field);
      EXPECT_EQ(read->getPredValField(), predicted());
      EXPECT_EQ(read->getPredValStdDevField(), stdDev());
      EXPECT_EQ(read->getNumInitialSegments(), 0);
      EXPECT_EQ(read->getVolume(QUVEN_ENV), transform->getVolume(QUVEN_ENV));
      EXPECT_EQ(read->hasUsableData(QUVEN_ENV), transform->hasUsableData(QUVEN_ENV));
      EXPECT_EQ(read->hasNoSignal(QUVEN_ENV), transform->hasNoSignal(QUVEN_ENV));
      for (int which = 0; which < 3; ++which) {
        EXPECT_EQ(read->getScore(which, QUVEN_ENV), transform->getScore(which, QUVEN_ENV));
      }
      // An image has the serial number of the object that it was written from; all else is the same.
      QUVENOwnPtr<QUVENFeatureTransform> again = readWithNames<QUVENFeatureTransform>(imageOf(*read, mode));
      EXPECT_EQ(scores(*again, table), expected);
      again.reset(QUVEN_ENV);
      read.reset(QUVEN_ENV);
    }
    QUVENOwnPtr<QUVENFeatureTransform> copy = make<QUVENFeatureTransform>();
    capturedRun([&] { copy->copyFromPrimitive(transform.get(), QUVEN_ENV); });
    EXPECT_EQ(scores(*copy, table), expected);
    EXPECT_EQ(copy->getNumInitialSegments(), transform->getNumInitialSegments());
    copy.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENFeatureTransformStreamTest, WithScansNumberedAnewTheImageIsThatOfAnyTrainingOnTheTable) {
  const TransformTable table = brokenLine();
  trainOn(x, table);
  const auto image = [&] {
    return written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) {
      writer.numberScansAnew();
      quvenWriteObject(writer, *transform, QUVEN_ENV);
    });
  };
  const std::string first = image();
  const std::vector<double> expected = scores(*transform, table);
  train(*transform, 1, table);
  EXPECT_EQ(image(), first);
  EXPECT_NE(imageOf(*transform), first);
  QUVENOwnPtr<QUVENFeatureTransform> read = readWithNames<QUVENFeatureTransform>(first);
  EXPECT_EQ(scores(*read, table), expected);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformStreamTest, AStreamKeepsWhichSegmentsAreUnusable) {
  trainOn(x, brokenLine());
  QUVENOwnPtr<QUVENFeatureTransform> read = readWithNames<QUVENFeatureTransform>(imageOf(*transform));
  QUVENTransformGlobalVars::get(QUVEN_ENV).setWarningField(warning);
  predictBy(*read, {.x = absent});
  EXPECT_EQ(warning->getNumValueOfChannel(1, QUVEN_ENV), 1);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformStreamTest, ADamagedStreamIsReportedWhenItIsScored) {
  auto empty = make<QUVENFeatureTransform>();
  set({.x = 1});
  expectFailure([&] { empty->scorePoint(*point, QUVEN_ENV); }, "ivSplitTestPtr != nullptr");
  expectFailure([&] { empty->describeSegments(QUVEN_ENV); }, "ivSplitTestPtr != nullptr");
  expectFailure([&] { empty->getSegmentModel(1); }, "getSize()");
  empty.reset(QUVEN_ENV);
}

/// A model file with a nameless input ended the scoring with a crash.
TEST_F(QUVENFeatureTransformStreamTest, ASelectedInputMustHaveAFieldAndACoefficient) {
  trainOn(x, brokenLine());
  const std::string image = imageOf(*transform);
  const std::string inputs = "\xC4\x81\x81x\xC5";  // an array of one field
  const std::size_t place = image.find(inputs);
  ASSERT_NE(place, std::string::npos);
  const auto refuse = [&](const std::string& replacement, const char* text) {
    std::string damaged = image;
    damaged.replace(place, inputs.size(), replacement);
    expectFailure([&] { readWithNames<QUVENFeatureTransform>(damaged); }, text);
  };
  refuse("\xC4\x81\x80\xC5", "field != nullptr");
  refuse("\xC4\x82\x81x\x81x\xC5", "selected == nullptr || selected->getModelRank() == ivInputFields.getSize()");
  refuse("\xC4\x80\xC5", "selected == nullptr || selected->getModelRank() == ivInputFields.getSize()");
}

TEST_F(QUVENFeatureTransformStreamTest, ResultsOfWorkersMergeToThoseOfOnePass) {
  TransformTable table = brokenLine();
  trainOn(x, table, true);
  const std::vector<double> expected = scores(*transform, table);
  const long segments = transform->getNumSegments();

  makeTransform(x, true);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
  transform->beginRecords(QUVEN_ENV);
  const std::string state = imageOf(*transform, QUVENObjWriter::SaveForWorker);
  std::vector<std::string> results;
  for (std::size_t worker = 0; worker < 3; ++worker) {
    QUVENOwnPtr<QUVENFeatureTransform> copy = readWithNames<QUVENFeatureTransform>(state);
    copy->beginRecords(QUVEN_ENV);
    for (std::size_t i = worker; i < table.size(); i += 3) {
      set(table[i]);
      copy->update(*point, QUVEN_ENV);
    }
    copy->endRecords(QUVEN_ENV);
    EXPECT_FALSE(copy->hasScanResult(QUVEN_ENV));
    results.push_back(written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenWriteScanResults(*copy, writer, quvenScanResultKeyword(), QUVEN_ENV);
    }));
    copy.reset(QUVEN_ENV);
  }
  for (const std::string& result : results) {
    readFrom(result,
             [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV); });
  }
  EXPECT_TRUE(transform->endDataScan(1, QUVEN_ENV));
  EXPECT_EQ(transform->getNumSegments(), segments);
  const std::vector<double> merged = scores(*transform, table);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(merged[i], expected[i], 1e-9 * (1 + std::abs(expected[i]))) << i;
  }
}

TEST_F(QUVENFeatureTransformStreamTest, AnImageInAStreamOfResultsHasNoFields) {
  trainOn(x, brokenLine(300));
  QUVENOwnPtr<QUVENFeatureTransform> read =
      objectOf<QUVENFeatureTransform>(imageOf(*transform, QUVENObjWriter::ScanResults));
  EXPECT_EQ(read->getSplitField(), nullptr);
  EXPECT_EQ(read->getNumSegments(), 0);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENFeatureTransformStreamTest, ThousandsOfTrialsPrintNothing) {
  const TransformTable table = brokenLine(300);
  gather(table);
  makeTransform(x);
  const CapturedRun run = capturedRun([&] { train(*transform, 1, table); });
  EXPECT_EQ(run.out, "");
}

}  // namespace
