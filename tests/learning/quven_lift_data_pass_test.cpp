// Lift data through the pass driver, in a scan that owns them. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include "learning/quven_lift_data.h"

#include <bit>

#include "kernel/quven_num_field.h"
#include "kernel/quven_scan_results.h"
#include "passes/pass_fixture.h"
#include "util/quven_registration.h"

/// Adds the records of a target and a prediction to lift data.
class QUVENLiftOwner : public QUVENObjectOf<QUVENLiftOwner, QUVENMultiScan> {
 public:
  explicit QUVENLiftOwner(const QUVENEnvHandle& env) : Members(env) {}

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTarget, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPrediction, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivData, QUVENOwnPtr<QUVENLiftData>);

  void beginRecords(const QUVENEnvHandle& env) override { ivData->beginRecords(QUVEN_ENV); }
  void endRecords(const QUVENEnvHandle& env) override { ivData->endRecords(QUVEN_ENV); }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override {
    quvenWriteScanResults(*ivData, writer, keyword, QUVEN_ENV);
  }
  bool changesOnlyItsResults() const override { return ivData->changesOnlyItsResults(); }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle&) const override {
    return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENLiftOwner::observe) : nullptr;
  }
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle& env) override {
    ivData = quvenMake<QUVENLiftData>(QUVEN_ENV);
    ivData->initialize(static_cast<QUVENNumField&>(*ivTarget), static_cast<QUVENNumField&>(*ivPrediction), 3,
                       QUVEN_ENV);
    return ivData->beginDataScan(QUVEN_ENV);
  }
  int endDataScanPrimitive(const QUVENEnvHandle& env) override { return ivData->endDataScan(QUVEN_ENV); }

 private:
  void observe(QUVENDataPoint&, const QUVENEnvHandle& env) {
    const double predicted = ivPrediction->getNumValue(QUVEN_ENV);
    ivData->updateLiftData(ivTarget->getNumValue(QUVEN_ENV), predicted, 0.5 + predicted / 100, QUVEN_ENV);
  }
};
QUVEN_REGISTER(QUVENLiftOwner);

namespace {

class QUVENLiftDataPassTest : public PassTest {
 protected:
  void writeTable(int records) {
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double predicted = i * 37 % 101 / 7.0;
      values.insert(values.end(), {predicted + i * 13 % 17 / 5.0 - 1.6, predicted});
    }
    write("y Numeric Target\np Numeric Explanatory\n", values);
  }
  /// All sums and the numbers computed from them, to the last bit.
  std::string gather(std::int32_t slices, MPI_Comm ranks) {
    PassRun run(path, {.numSlices = slices}, ranks);
    QUVENLiftOwner* owner = nullptr;
    if (run.isRank0()) {
      owner = &run.driver.addScan(quvenMake<QUVENLiftOwner>(run.handle()), run.handle());
      owner->ivTarget = &run.field("y");
      owner->ivPrediction = &run.field("p");
      for (const char* name : {"y", "p"}) run.driver.addField(run.field(name), run.handle());
    }
    run.passes();
    std::string text;
    if (owner == nullptr) return text;
    const auto add = [&](double value) { text += std::to_string(std::bit_cast<std::uint64_t>(value)) + " "; };
    QUVENLiftData& data = *owner->ivData;
    data.finalizeStats(run.handle());
    for (const double value : {data.getWts(), data.getTrivialVar(), data.getModelVar(),
                               data.getModelQuality(run.handle()), data.getAreaRatio(run.handle())}) {
      add(value);
    }
    weightOfLast = data.getWts();
    for (const QUVENLiftCurve* curve : {data.getModelLiftCurve(), data.getOptimumLiftCurve()}) {
      EXPECT_EQ(curve->getNumBins(), 120);
      for (const double value : {curve->getPts(), curve->getSumActVal(), curve->getVarActVal(),
                                 curve->getRMSE(run.handle()), curve->getRSquared(run.handle())}) {
        add(value);
      }
      for (long bin = 1; bin <= curve->getNumBins(); ++bin) {
        const QUVENLiftCurveBin& b = curve->getBin(bin);
        for (const double value : {b.getBinBoundaryValue(), b.getNumRecords(), b.getSumPredVal(), b.getSumPredErr(),
                                   b.getSumSqrDev(), b.getSumSqrPredStdDev(), b.getRelChiSqr(),
                                   curve->getCumRecords(bin), curve->getCumActual(bin), curve->getZ(bin)}) {
          add(value);
        }
      }
    }
    return text;
  }

  double weightOfLast = 0;
};

TEST_F(QUVENLiftDataPassTest, AreTheSameBytesOnAnyNumberOfRanks) {
  writeTable(1700);
  const std::string together = gather(8, MPI_COMM_WORLD);
  if (!isRank0()) return;
  EXPECT_EQ(weightOfLast, 1700);
  EXPECT_TRUE(together == gather(8, MPI_COMM_SELF));
}

TEST_F(QUVENLiftDataPassTest, SeeAllRecordsWithoutSlices) {
  writeTable(300);
  gather(0, MPI_COMM_WORLD);
  if (isRank0()) {
    EXPECT_EQ(weightOfLast, 300);
  }
}

}  // namespace
