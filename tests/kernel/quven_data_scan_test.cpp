#include "kernel/quven_data_scan.h"

#include "kernel/quven_data_point.h"
#include "kernel/quven_field.h"
#include "kernel_fixture.h"
#include "scan_examples.h"

namespace {

using UpdateFunction = QUVENDataScan::UpdateFunction;
const UpdateFunction countHandler = static_cast<UpdateFunction>(&QUVENTestScan::count);
const UpdateFunction countTwiceHandler = static_cast<UpdateFunction>(&QUVENTestScan::countTwice);

class QUVENDataScanTest : public KernelTest {
 protected:
  void TearDown() override {
    scan.reset(QUVEN_ENV);
    point.reset(QUVEN_ENV);
    EXPECT_EQ(globals().getNumScans(), 0);
    KernelTest::TearDown();
  }
  QUVENDataScanGlobalVars& globals() { return QUVENDataScanGlobalVars::get(QUVEN_ENV); }
  void show(QUVENDataScan& toScan) { toScan.update(*point, QUVEN_ENV); }

  /// The merge number that a stream of some mode has of the scan, as a reader of it finds it.
  std::int32_t writtenNumber(const QUVENDataScan& ofScan, std::int32_t mode) {
    QUVENOwnPtr<QUVENTestScan> read = objectOf<QUVENTestScan>(imageOf(ofScan, mode));
    const std::int32_t number = read->getMergeWithSerialNumber();
    read.reset(QUVEN_ENV);
    return number;
  }

  /// A scan with a merge number, which only a stream can give: that of a scan that is written for a worker, or of the
  /// result of such a scan when the number is negative.
  QUVENOwnPtr<QUVENTestScan> scanWithNumber(std::int32_t number) {
    while (globals().find(std::abs(number)) == nullptr) {
      scan.reset(QUVEN_ENV);
      scan = quvenMake<QUVENTestScan>(QUVEN_ENV);
    }
    QUVENOwnPtr<QUVENTestScan> copy = objectOf<QUVENTestScan>(imageOf(*scan, QUVENObjWriter::SaveForWorker));
    if (number < 0) {
      const std::string result = imageOf(*copy, QUVENObjWriter::ScanResults);
      copy.reset(QUVEN_ENV);
      copy = objectOf<QUVENTestScan>(result);
    }
    EXPECT_EQ(copy->getMergeWithSerialNumber(), number);
    return copy;
  }

  QUVENOwnPtr<QUVENTestScan> scan = make<QUVENTestScan>();
  QUVENOwnPtr<QUVENDataPoint> point = make<QUVENDataPoint>();
};

TEST_F(QUVENDataScanTest, SerialNumbersRunFromOneAndAreNotGivenTwice) {
  EXPECT_EQ(scan->getSerialNumber(), 1);
  QUVENOwnPtr<QUVENTestScan> second = quvenMake<QUVENTestScan>(QUVEN_ENV);
  EXPECT_EQ(second->getSerialNumber(), 2);
  second.reset(QUVEN_ENV);
  second = quvenMake<QUVENTestScan>(QUVEN_ENV);
  EXPECT_EQ(second->getSerialNumber(), 3);
  EXPECT_EQ(scan->getMergeWithSerialNumber(), 0);
  EXPECT_EQ(second->getMergeWithSerialNumber(), 0);
  second.reset(QUVEN_ENV);
}

void makeTheFirstScanIn(QUVENEnv* env) {
  env->activate();
  QUVENOwnPtr<QUVENTestScan> there = quvenMake<QUVENTestScan>(QUVEN_ENV);
  EXPECT_EQ(there->getSerialNumber(), 1);
  EXPECT_EQ(QUVENDataScanGlobalVars::get(QUVEN_ENV).find(1), there.get());
  there.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, EachEnvironmentCountsForItself) {
  environment.deactivate();
  {
    QUVENEnv other;
    makeTheFirstScanIn(&other);
  }
  environment.activate();
  EXPECT_EQ(globals().find(1), scan.get());
}

TEST_F(QUVENDataScanTest, TheTableFindsEveryLiveScanAndNoOther) {
  std::vector<QUVENOwnPtr<QUVENTestScan>> scans;
  for (int i = 0; i < 200; ++i) scans.push_back(quvenMake<QUVENTestScan>(QUVEN_ENV));
  for (int i = 0; i < 200; i += 3) scans[static_cast<std::size_t>(i)].reset(QUVEN_ENV);
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(globals().find(i + 2), scans[static_cast<std::size_t>(i)].get()) << i;
  }
  EXPECT_EQ(globals().find(0), nullptr);
  EXPECT_EQ(globals().find(-1), nullptr);
  EXPECT_EQ(globals().find(202), nullptr);
  EXPECT_EQ(globals().getNumScans(), 1 + 200 - 67);
  for (QUVENOwnPtr<QUVENTestScan>& one : scans) one.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, TakesTheChannelsOfItsEnvironmentAtConstruction) {
  EXPECT_EQ(scan->getGlobalNumChannels(), 1);
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(5);
  QUVENOwnPtr<QUVENTestScan> second = quvenMake<QUVENTestScan>(QUVEN_ENV);
  EXPECT_EQ(second->getGlobalNumChannels(), 5);
  EXPECT_EQ(scan->getGlobalNumChannels(), 1);
  second->copyFromPrimitive(scan.get(), QUVEN_ENV);
  EXPECT_EQ(second->getGlobalNumChannels(), 1);
  second.reset(QUVEN_ENV);
}

// Whether a child in mode 1, 2, 3, 4 can run in a mode.
TEST_F(QUVENDataScanTest, TheFirstTwoModesNeedAChildInAModeOfNoHigherNumber) {
  const auto allowed = [](std::int32_t requested) {
    std::vector<bool> list;
    for (std::int32_t child = 1; child <= 4; ++child) list.push_back(QUVENDataScan::allowsMode(requested, child));
    return list;
  };
  EXPECT_THAT(allowed(1), testing::ElementsAre(true, false, false, false));
  EXPECT_THAT(allowed(2), testing::ElementsAre(true, true, false, false));
  for (const std::int32_t requested : {0, 3, 4, 10, -1}) {
    EXPECT_THAT(allowed(requested), testing::ElementsAre(true, true, true, true)) << requested;
  }
}

TEST_F(QUVENDataScanTest, AModeFromThreeOnHasTheChannelsOfTheEnvironment) {
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(7);
  for (const std::int32_t mode : {0, 1, 2}) EXPECT_EQ(QUVENDataScan::channelsOfMode(mode, QUVEN_ENV), mode);
  for (const std::int32_t mode : {3, 4, 10}) EXPECT_EQ(QUVENDataScan::channelsOfMode(mode, QUVEN_ENV), 7);
}

TEST_F(QUVENDataScanTest, TheGlobalObjectIsNeverSavedCopiedOrMoved) {
  QUVENDataScanGlobalVars& vars = globals();
  expectFailure([&] { vars.copyFromPrimitive(nullptr, QUVEN_ENV); }, unreachableText);
  expectFailure([&] { vars.transferFromPrimitive(nullptr, QUVEN_ENV); }, unreachableText);
  expectFailure([&] { imageOf(vars); }, unreachableText);
  expectFailure([&] { readFrom("", [&](QUVENObjReader& reader) { vars.readPrimitive(reader, QUVEN_ENV); }); },
                unreachableText);
}

TEST_F(QUVENDataScanTest, AScanHasTheDefaults) {
  QUVENOwnPtr<QUVENTestPlainScan> plain = quvenMake<QUVENTestPlainScan>(QUVEN_ENV);
  EXPECT_EQ(plain->getScanType(QUVEN_ENV), QUVENScanType::Slice);
  EXPECT_EQ(plain->getSamplingRate(QUVEN_ENV), 1.0);
  EXPECT_FALSE(plain->getScanOption(QUVEN_ENV));
  EXPECT_FALSE(plain->hasScanResult(QUVEN_ENV));
  EXPECT_EQ(plain->getUpdateFunction(QUVEN_ENV), nullptr);
  EXPECT_EQ(plain->getUpdateFunction2(QUVEN_ENV), nullptr);
  EXPECT_FALSE(plain->wantsRecords());
  EXPECT_TRUE(plain->merge(scan.get(), QUVEN_ENV));
  EXPECT_EQ(written(QUVENObjWriter::ScanResults,
                    [&](QUVENObjWriter& w) { plain->writeChildScanResults(w, QUVEN_KWD(EndObject), QUVEN_ENV); }),
            "");
  plain.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, ACopyHasANewSerialNumberAndTheOldHandlers) {
  scan->beginDataScan(QUVEN_ENV);
  scan->ivRecords = 4;
  QUVENOwnPtr<QUVENTestScan> worker = scanWithNumber(1);
  QUVENOwnPtr<QUVENTestScan> copy = quvenNewCopy(*worker, QUVEN_ENV);
  EXPECT_EQ(copy->getSerialNumber(), 3);
  EXPECT_EQ(copy->getMergeWithSerialNumber(), 0);  // never copied
  EXPECT_EQ(copy->getHandler(), countHandler);
  EXPECT_EQ(copy->getHandler2(), countTwiceHandler);
  EXPECT_TRUE(copy->isScanInProgress());
  EXPECT_EQ(copy->ivRecords, 4);
  EXPECT_EQ(globals().find(3), copy.get());
  copy.reset(QUVEN_ENV);
  EXPECT_EQ(globals().find(3), nullptr);
  EXPECT_EQ(globals().find(1), scan.get());
  worker.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, ACopyOfNothingChangesNothing) {
  scan->beginDataScan(QUVEN_ENV);
  scan->copyFromPrimitive(nullptr, QUVEN_ENV);
  scan->copyFromPrimitive(scan.get(), QUVEN_ENV);
  EXPECT_TRUE(scan->isScanInProgress());
  EXPECT_EQ(scan->getHandler(), countHandler);
  EXPECT_EQ(scan->getSerialNumber(), 1);
}

TEST_F(QUVENDataScanTest, AScanCannotBeMoved) {
  QUVENOwnPtr<QUVENTestScan> other = quvenMake<QUVENTestScan>(QUVEN_ENV);
  expectFailure([&] { scan->transferFromPrimitive(other.get(), QUVEN_ENV); }, unreachableText);
  scan->transferFromPrimitive(nullptr, QUVEN_ENV);
  EXPECT_EQ(scan->getSerialNumber(), 1);
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, DestroyingClearsItAndRemovesItsEntryOnce) {
  scan->beginDataScan(QUVEN_ENV);
  QUVENOwnPtr<QUVENTestScan> worker = scanWithNumber(1);
  worker->destroyPrimitive(QUVEN_ENV);
  EXPECT_EQ(globals().find(2), nullptr);
  EXPECT_EQ(globals().find(1), scan.get());
  EXPECT_EQ(worker->getSerialNumber(), 0);
  EXPECT_EQ(worker->getMergeWithSerialNumber(), 0);
  EXPECT_EQ(worker->getGlobalNumChannels(), 0);
  EXPECT_EQ(worker->getHandler(), nullptr);
  EXPECT_EQ(worker->getHandler2(), nullptr);
  EXPECT_FALSE(worker->isScanInProgress());
  worker.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, AScanOnTheStackLeavesTheTableAtItsEnd) {
  {
    QUVENTestPlainScan local(QUVEN_ENV);
    EXPECT_EQ(globals().find(local.getSerialNumber()), &local);
  }
  EXPECT_EQ(globals().getNumScans(), 1);
}

/// Whether a first scan can be made with so many bytes; a failure leaves nothing of it in the table.
bool makesScanWithin(std::int64_t bytes) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  environment.setBytesBudget(bytes);
  QUVENOwnPtr<QUVENTestScan> made(QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { made = quvenMake<QUVENTestScan>(QUVEN_ENV); });
  environment.setBytesBudget(0);
  EXPECT_EQ(QUVENDataScanGlobalVars::get(QUVEN_ENV).getNumScans(), run.threwMemoryException ? 0 : 1) << bytes;
  made.reset(QUVEN_ENV);
  return !run.threwMemoryException;
}

// A scan that failed on its way was found in the table afterwards, where there was no object.
TEST_F(QUVENDataScanTest, AFailedConstructionLeavesNoEntry) {
  environment.deactivate();
  std::int64_t bytes = 8;
  while (!makesScanWithin(bytes)) bytes += 8;
  EXPECT_GT(bytes, static_cast<std::int64_t>(sizeof(QUVENTestScan)));
  environment.activate();
}

TEST_F(QUVENDataScanTest, BeginningEntersTheScanOnce) {
  EXPECT_FALSE(scan->wantsRecords());
  show(*scan);
  EXPECT_EQ(scan->ivRecords, 0);  // without a handler it sees nothing
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 1);
  EXPECT_TRUE(scan->isScanInProgress());
  EXPECT_EQ(scan->getHandler(), countHandler);
  EXPECT_EQ(scan->getHandler2(), countTwiceHandler);
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 1);
  EXPECT_THAT(scan->calls, testing::ElementsAre("begin"));
  show(*scan);
  EXPECT_EQ(scan->ivRecords, 1);
}

TEST_F(QUVENDataScanTest, ARefusedBeginLeavesItOutside) {
  scan->refusesBegin = true;
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 0);
  EXPECT_FALSE(scan->isScanInProgress());
  EXPECT_FALSE(scan->wantsRecords());
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 0);
  EXPECT_THAT(scan->calls, testing::ElementsAre("begin", "begin"));
}

TEST_F(QUVENDataScanTest, EndingTellsWhetherAnotherPassIsNeeded) {
  scan->ivPassesLeft = 2;
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);  // it is in no scan
  EXPECT_TRUE(scan->calls.empty());
  scan->beginDataScan(QUVEN_ENV);
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 0);
  EXPECT_TRUE(scan->isScanInProgress());
  EXPECT_EQ(scan->getHandler(), countHandler);
  EXPECT_EQ(scan->beginDataScan(QUVEN_ENV), 1);
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);
  EXPECT_FALSE(scan->isScanInProgress());
  EXPECT_EQ(scan->getHandler(), nullptr);
  EXPECT_EQ(scan->getHandler2(), nullptr);
  EXPECT_EQ(scan->endDataScan(QUVEN_ENV), 1);
  EXPECT_THAT(scan->calls, testing::ElementsAre("begin", "end", "end"));
}

TEST_F(QUVENDataScanTest, AClassWithoutHandlersIsRefused) {
  QUVENOwnPtr<QUVENTestBareScan> bare = quvenMake<QUVENTestBareScan>(QUVEN_ENV);
  expectFailure([&] { bare->getUpdateFunction(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->getUpdateFunction2(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->beginDataScan(QUVEN_ENV); }, unreachableText);
  bare.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, AReadScanHasTheHandlersOfItsState) {
  scan->beginDataScan(QUVEN_ENV);
  QUVENOwnPtr<QUVENTestScan> read = objectOf<QUVENTestScan>(imageOf(*scan));
  EXPECT_TRUE(read->isScanInProgress());
  EXPECT_EQ(read->getHandler(), countHandler);
  EXPECT_EQ(read->getHandler2(), countTwiceHandler);
  scan->endDataScan(QUVEN_ENV);
  readImage(imageOf(*scan), read);
  EXPECT_FALSE(read->isScanInProgress());
  EXPECT_EQ(read->getHandler(), nullptr);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, ASaveCarriesTheSerialNumberWhateverTheMergeNumber) {
  QUVENOwnPtr<QUVENTestScan> worker = scanWithNumber(7);
  EXPECT_EQ(worker->getSerialNumber(), 8);
  EXPECT_EQ(writtenNumber(*worker, QUVENObjWriter::Save), 8);
  EXPECT_EQ(writtenNumber(*worker, QUVENObjWriter::SaveForWorker), 8);
  worker.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, AResultCarriesTheMergeNumberNegated) {
  QUVENOwnPtr<QUVENTestScan> worker = scanWithNumber(7);
  EXPECT_EQ(writtenNumber(*worker, QUVENObjWriter::ScanResults), -7);
  worker.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, ANumberOfZeroOrBelowGoesIntoAResultAsItIs) {
  EXPECT_EQ(writtenNumber(*scan, QUVENObjWriter::ScanResults), 0);
  QUVENOwnPtr<QUVENTestScan> result = scanWithNumber(-7);
  EXPECT_EQ(writtenNumber(*result, QUVENObjWriter::ScanResults), -7);
  result.reset(QUVEN_ENV);
}

TEST_F(QUVENDataScanTest, ThereIsOneKeywordAndItIsMergeWithSerialNumber) {
  const auto keywords = QUVENDataScan::keywords();
  ASSERT_EQ(keywords.size(), 1U);
  EXPECT_EQ(keywords[0].getName(), "mergeWithSerialNumber");
  ASSERT_EQ(QUVENMultiScan::keywords().size(), 1U);
  EXPECT_EQ(QUVENMultiScan::keywords()[0].getName(), "ivScanInProgress");
}

}  // namespace
