#include "simple_algorithm/quven_simple_algorithm_data.h"

#include <sstream>

#include "analysis_examples.h"
#include "control/quven_XML_handler.h"
#include "kernel/kernel_fixture.h"
#include "simple_algorithm/quven_snadata.h"
#include "support/stream_text.h"

namespace {

class QUVENSimpleAlgorithmDataTest : public KernelTest {
 protected:
  void TearDown() override {
    bare.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }

  QUVENOwnPtr<QUVENTestBareAnalysis> bare = make<QUVENTestBareAnalysis>();
};

TEST_F(QUVENSimpleAlgorithmDataTest, AnOperationThatAClassLacksStops) {
  QUVENXaRay<double> none;
  std::ostringstream out;
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  expectFailure([&] { bare->reservedOperation(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->beginDataScan(2, QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->update(none, none, 1, QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->endDataScan(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->updateWithoutDataScan(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->initIteration(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->finishIteration(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->isFinished(); }, unreachableText);
  expectFailure([&] { bare->merge(bare.get(), QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->print(out); }, unreachableText);
  expectFailure([&] { bare->resultsAvailable(); }, unreachableText);
  expectFailure([&] { bare->writeResultsToTag(tree->getTag("", QUVEN_ENV), QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->getScanKind(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->getScanFraction(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { bare->needsMerge(); }, unreachableText);
  EXPECT_EQ(out.str(), "");
  tree.reset(QUVEN_ENV);
}

TEST_F(QUVENSimpleAlgorithmDataTest, TheReportTellsTheOperation) {
  expectFailure([&] { bare->getScanFraction(QUVEN_ENV); }, "in function getScanFraction at line", unreachableText);
  expectFailure([&] { bare->needsMerge(); }, "in function needsMerge at line", unreachableText);
}

TEST_F(QUVENSimpleAlgorithmDataTest, DiffusionLacksTwoOperationsAndRefusesTheReservedOne) {
  auto data = make<QUVENSNAData>();
  expectFailure([&] { data->reservedOperation(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { data->updateWithoutDataScan(QUVEN_ENV); }, unreachableText);
  expectFailure([&] { data->resultsAvailable(); }, unreachableText);
  EXPECT_EQ(data->getScanFraction(QUVEN_ENV), 1.0);
  EXPECT_EQ(data->needsMerge(), 1);
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::Lines);
  data.reset(QUVEN_ENV);
}

TEST_F(QUVENSimpleAlgorithmDataTest, ItsOneMemberTravelsInEveryMode) {
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    EXPECT_EQ(hexOf(imageOf(*bare, mode)), hexOfText("c1 95 'QUVENTestBareAnalysis' c6 80 c2"));
  }
}

}  // namespace
