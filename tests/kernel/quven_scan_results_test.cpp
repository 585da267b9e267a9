#include "kernel/quven_scan_results.h"

#include <limits>
#include <utility>

#include "kernel/quven_data_point.h"
#include "kernel_fixture.h"
#include "scan_examples.h"

namespace {

using NumberAndRecords = std::pair<std::int32_t, std::int32_t>;

class QUVENScanResultsTest : public KernelTest {
 protected:
  void TearDown() override {
    owner.reset(QUVEN_ENV);
    worker.reset(QUVEN_ENV);
    EXPECT_EQ(QUVENDataScanGlobalVars::get(QUVEN_ENV).getNumScans(), 0);
    KernelTest::TearDown();
  }

  /// What a worker is sent of a scan.
  QUVENOwnPtr<QUVENTestScan> copyOnWorker(const QUVENTestScan& scan) {
    return objectOf<QUVENTestScan>(imageOf(scan, QUVENObjWriter::SaveForWorker));
  }

  std::string resultsOf(const QUVENDataScan& scan) {
    return written(QUVENObjWriter::ScanResults,
                   [&](QUVENObjWriter& writer) { quvenWriteScanResults(scan, writer, keyword, QUVEN_ENV); });
  }
  /// The results of a worker that has seen so many records; of its children ten times as many, and so on.
  std::string resultsOfRecords(std::int32_t records) {
    worker.reset(QUVEN_ENV);
    worker = copyOnWorker(*owner);
    setRecords(*worker, records);
    return resultsOf(*worker);
  }
  static void setRecords(QUVENTestScan& scan, std::int32_t records) {
    scan.ivRecords = records;
    for (QUVENOwnPtr<QUVENTestScan>& child : scan.ivChildren) setRecords(*child, 10 * records);
  }

  std::string merged(const std::string& a, const std::string& b) {
    QUVENViewBlobIO blobA({a.data(), a.size()});
    QUVENViewBlobIO blobB({b.data(), b.size()});
    QUVENBinObjReader readerA(blobA, QUVEN_ENV);
    QUVENBinObjReader readerB(blobB, QUVEN_ENV);
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenMergeDataScanResults(readerA, readerB, writer, keyword, QUVEN_ENV);
      unreadOfB = blobB.getRemaining();
    });
  }
  void readResults(const std::string& results) {
    readFrom(results, [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, keyword, QUVEN_ENV); });
  }

  /// The merge numbers and records of a stream of results.
  std::vector<NumberAndRecords> listOf(const std::string& results) {
    std::vector<NumberAndRecords> list;
    readFrom(results, [&](QUVENObjReader& reader) {
      QUVENOwnPtr<QUVENTestScan> result(QUVEN_ENV);
      while (quvenRead(reader, keyword, result, QUVEN_ENV)) {
        list.emplace_back(result->getMergeWithSerialNumber(), result->ivRecords);
        result.reset(QUVEN_ENV);
      }
      EXPECT_TRUE(reader.isAtEnd());
    });
    return list;
  }

  /// A keyword with a whole scan behind it, whose merge number is positive, or with no object.
  std::string notAResult() {
    return written(QUVENObjWriter::Save,
                   [&](QUVENObjWriter& writer) { quvenWrite(writer, keyword, owner, QUVEN_ENV); });
  }
  std::string noObject() {
    QUVENOwnPtr<QUVENTestScan> none(QUVEN_ENV);
    return written(QUVENObjWriter::ScanResults,
                   [&](QUVENObjWriter& writer) { quvenWrite(writer, keyword, none, QUVEN_ENV); });
  }

  const QUVENKeyword& keyword = quvenScanResultKeyword();
  QUVENOwnPtr<QUVENTestScan> owner = make<QUVENTestScan>();
  QUVENOwnPtr<QUVENTestScan> worker;
  std::uint64_t unreadOfB = 0;
};

TEST_F(QUVENScanResultsTest, TheKeywordIsANameAndIsCalledScanResult) {
  EXPECT_TRUE(keyword.isName());
  EXPECT_EQ(keyword.getName(), "ScanResult");
}

TEST_F(QUVENScanResultsTest, AResultIsAKeywordAndAnObjectImage) {
  worker = copyOnWorker(*owner);
  const std::string image = imageOf(*worker, QUVENObjWriter::ScanResults);
  const std::string results = resultsOf(*worker);
  EXPECT_TRUE(results.ends_with(image));
  EXPECT_NE(results.substr(0, results.size() - image.size()).find("ScanResult"), std::string::npos);
}

TEST_F(QUVENScanResultsTest, AScanWithoutAResultWritesNothingOfItself) {
  owner->hasResult = false;
  EXPECT_EQ(resultsOf(*owner), "");
  owner->addChild(QUVEN_ENV);
  EXPECT_EQ(listOf(resultsOf(*owner)).size(), 1U);
}

// The tree: 1 has the children 2 and 4, and 2 has the child 3.
TEST_F(QUVENScanResultsTest, ChildrenComeInTreeOrder) {
  QUVENTestScan& first = owner->addChild(QUVEN_ENV);
  first.addChild(QUVEN_ENV);
  owner->addChild(QUVEN_ENV);
  const std::vector<NumberAndRecords> expected{{-1, 5}, {-2, 50}, {-3, 500}, {-4, 50}};
  EXPECT_EQ(listOf(resultsOfRecords(5)), expected);
  worker->ivChildren[1]->hasResult = false;  // its child still has one
  const std::vector<NumberAndRecords> withoutTwo{{-1, 5}, {-3, 500}, {-4, 50}};
  EXPECT_EQ(listOf(resultsOf(*worker)), withoutTwo);
}

TEST_F(QUVENScanResultsTest, MergesPairByPairInOrder) {
  owner->addChild(QUVEN_ENV).addChild(QUVEN_ENV);
  const std::string a = resultsOfRecords(1);
  const std::string b = resultsOfRecords(2);
  const std::vector<NumberAndRecords> expected{{-1, 3}, {-2, 30}, {-3, 300}};
  EXPECT_EQ(listOf(merged(a, b)), expected);
  EXPECT_EQ(unreadOfB, 0U);
}

TEST_F(QUVENScanResultsTest, MergedResultsCanBeMergedAgainInAnyTree) {
  owner->addChild(QUVEN_ENV);
  std::vector<std::string> parts;
  for (const std::int32_t records : {1, 2, 4, 8}) parts.push_back(resultsOfRecords(records));
  const std::string chain = merged(merged(merged(parts[0], parts[1]), parts[2]), parts[3]);
  const std::string tree = merged(merged(parts[0], parts[1]), merged(parts[2], parts[3]));
  EXPECT_EQ(chain, tree);
  const std::vector<NumberAndRecords> expected{{-1, 15}, {-2, 150}};
  EXPECT_EQ(listOf(chain), expected);
}

TEST_F(QUVENScanResultsTest, EmptyStreamsMergeToNothing) {
  EXPECT_EQ(merged("", ""), "");
  readResults("");
  EXPECT_EQ(owner->ivRecords, 0);
}

TEST_F(QUVENScanResultsTest, TheEndOfAEndsTheMergeHoweverLongBIs) {
  const std::string shorter = resultsOfRecords(1);
  owner->addChild(QUVEN_ENV);
  const std::string longer = resultsOfRecords(2);
  const std::vector<NumberAndRecords> expected{{-1, 3}};
  EXPECT_EQ(listOf(merged(shorter, longer)), expected);
  EXPECT_GT(unreadOfB, 0U);
  EXPECT_EQ(merged("", longer), "");
}

TEST_F(QUVENScanResultsTest, AnEndOfBBeforeThatOfAIsRefused) {
  const std::string a = resultsOfRecords(1);
  expectFailure([&] { merged(a, ""); }, "quvenRead (readerB, resultKwd, ptrB, QUVEN_ENV)",
                "Data scan result object expected in input");
}

TEST_F(QUVENScanResultsTest, NoObjectIsRefused) {
  const std::string a = resultsOfRecords(1);
  const std::string missing = "Missing data scan result object in input";
  expectFailure([&] { merged(noObject(), a); }, "ptrA != 0", missing);
  expectFailure([&] { merged(a, noObject()); }, "ptrB != 0", missing);
  expectFailure([&] { readResults(noObject()); }, "resultPtr != 0", missing);
}

TEST_F(QUVENScanResultsTest, AScanThatIsNoResultIsRefused) {
  const std::string a = resultsOfRecords(1);
  const std::string cause = "Attempt to read/merge a non-return-data-scan-results object";
  expectFailure([&] { merged(notAResult(), a); }, "ptrA->ivMergeWithSerialNumber < 0", cause);
  expectFailure([&] { merged(a, notAResult()); }, "ptrB->ivMergeWithSerialNumber < 0", cause);
  expectFailure([&] { readResults(notAResult()); }, "resultPtr->ivMergeWithSerialNumber < 0", cause);
  // The result of a scan that was made locally has the number 0.
  const std::string local = resultsOf(*owner);
  expectFailure([&] { merged(local, a); }, "ptrA->ivMergeWithSerialNumber < 0", cause);
  expectFailure([&] { readResults(local); }, "resultPtr->ivMergeWithSerialNumber < 0", cause);
}

TEST_F(QUVENScanResultsTest, ResultsOfDifferentScansAreNotMerged) {
  const std::string a = resultsOfRecords(1);
  QUVENOwnPtr<QUVENTestScan> second = make<QUVENTestScan>();
  QUVENOwnPtr<QUVENTestScan> copy = copyOnWorker(*second);
  const std::string b = resultsOf(*copy);
  expectFailure([&] { merged(a, b); }, "ptrA->getMergeWithSerialNumber() == ptrB->getMergeWithSerialNumber()",
                "Serial number mismatch between input streams");
  copy.reset(QUVEN_ENV);
  second.reset(QUVEN_ENV);
}

TEST_F(QUVENScanResultsTest, AResultThatItsClassCannotMergeIsRefused) {
  const std::string a = resultsOfRecords(1);
  const std::string b = resultsOfRecords(QUVENTestScan::RecordsThatCannotBeMerged);
  expectFailure([&] { merged(a, b); }, "Data scan result could not be merged");
  expectFailure([&] { readResults(b); }, "Data scan result could not be merged");
  EXPECT_EQ(owner->ivRecords, 0);
}

TEST_F(QUVENScanResultsTest, ReadingMergesIntoTheLiveScans) {
  QUVENTestScan& child = owner->addChild(QUVEN_ENV);
  owner->ivRecords = 100;
  readResults(resultsOfRecords(7));
  EXPECT_EQ(owner->ivRecords, 107);
  EXPECT_EQ(child.ivRecords, 70);
  readResults(resultsOfRecords(1));
  EXPECT_EQ(owner->ivRecords, 108);
  EXPECT_EQ(child.ivRecords, 80);
}

TEST_F(QUVENScanResultsTest, AResultWithoutALiveScanIsRefused) {
  const std::string results = resultsOfRecords(1);
  owner.reset(QUVEN_ENV);
  expectFailure([&] { readResults(results); }, "mergePtr != 0", "Cannot find corresponding data scan object");
}

// The lowest number has no absolute value. The image of a result is the same but for the number, whose code is one of
// variable length: here it is written by hand.
TEST_F(QUVENScanResultsTest, TheLowestNumberBelongsToNoScan) {
  const std::string results = written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
    writer.writeKeyword(keyword, QUVEN_ENV);
    writer.beginObjectType("QUVENTestScan", QUVEN_ENV);
    quvenWrite(writer, QUVENDataScan::keywords()[0], std::numeric_limits<std::int32_t>::min(), QUVEN_ENV);
    writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
  });
  EXPECT_EQ(listOf(results).at(0).first, std::numeric_limits<std::int32_t>::min());
  expectFailure([&] { readResults(results); }, "mergePtr != 0", "Cannot find corresponding data scan object");
}

TEST_F(QUVENScanResultsTest, ReadingEndsAtAnotherKeyword) {
  const std::string results = resultsOfRecords(1) + written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
                                writer.writeKeyword(QUVENKeyword::name("Other"), QUVEN_ENV);
                              });
  EXPECT_GT(results.size(), resultsOfRecords(1).size());
  readFrom(results, [&](QUVENObjReader& reader) {
    quvenReadDataScanResults(reader, keyword, QUVEN_ENV);
    EXPECT_FALSE(reader.isAtEnd());
    EXPECT_EQ(reader.getBufferedName(), "Other");
  });
  EXPECT_EQ(owner->ivRecords, 1);
}

// Two processes, each with its own serial numbers: the number of the owner goes there and comes back.
TEST_F(QUVENScanResultsTest, SerialNumbersOfTheWorkersDoNotMatter) {
  QUVENOwnPtr<QUVENTestScan> earlier = make<QUVENTestScan>();
  owner.reset(QUVEN_ENV);
  owner = make<QUVENTestScan>();
  ASSERT_EQ(owner->getSerialNumber(), 3);
  const std::string forWorker = imageOf(*owner, QUVENObjWriter::SaveForWorker);

  std::string results;
  environment.deactivate();
  {
    QUVENEnv other;
    other.activate();
    QUVENOwnPtr<QUVENTestScan> copy = objectOf<QUVENTestScan>(forWorker);
    EXPECT_EQ(copy->getSerialNumber(), 1);
    EXPECT_EQ(copy->getMergeWithSerialNumber(), 3);
    copy->ivRecords = 9;
    results = resultsOf(*copy);
    copy.reset(QUVEN_ENV);
    EXPECT_EQ(QUVENDataScanGlobalVars::get(QUVEN_ENV).getNumScans(), 0);
  }
  environment.activate();
  readResults(results);
  EXPECT_EQ(owner->ivRecords, 9);
  EXPECT_EQ(earlier->ivRecords, 0);
  earlier.reset(QUVEN_ENV);
}

// Passes as a driver runs them, with three workers that share ten records of each pass.
TEST_F(QUVENScanResultsTest, APassOverThreeWorkersCountsEveryRecordOnce) {
  owner->ivPassesLeft = 2;
  QUVENOwnPtr<QUVENDataPoint> point = make<QUVENDataPoint>();
  int passes = 0;
  for (bool done = false; !done; ++passes) {
    owner->beginDataScan(QUVEN_ENV);
    std::string total;
    for (int rank = 0; rank < 3; ++rank) {
      worker.reset(QUVEN_ENV);
      worker = copyOnWorker(*owner);
      worker->ivRecords = 0;
      for (int record = rank; record < 10; record += 3) worker->update(*point, QUVEN_ENV);
      const std::string part = resultsOf(*worker);
      total = rank == 0 ? part : merged(total, part);
    }
    readResults(total);
    done = owner->endDataScan(QUVEN_ENV) == 1;
  }
  EXPECT_EQ(passes, 2);
  EXPECT_EQ(owner->ivRecords, 20);
  point.reset(QUVEN_ENV);
}

}  // namespace
