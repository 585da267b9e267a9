#include "captured_shares.h"

#include <gmock/gmock.h>

#include "sample_evaluation.h"

namespace vesk_analyze {
namespace {

TEST(CapturedShares, RiseOnAStraightLineWithinABin) {
  // The sum of the target is 100: 60 in the first 100 records, 40 in the next 260, 0 in the 40 below the last bin.
  const EvaluationReport report = sampleEvaluation();
  const CapturedShares shares(report, report.lift);
  ASSERT_TRUE(shares.isUsable());
  EXPECT_EQ(shares.capturedAt(0), 0);
  EXPECT_DOUBLE_EQ(shares.capturedAt(0.05), 0.12);  // a fifth of 0.6
  EXPECT_DOUBLE_EQ(shares.capturedAt(0.25), 0.6);
  EXPECT_DOUBLE_EQ(shares.capturedAt(0.575), 0.8);  // half of the second bin
  EXPECT_DOUBLE_EQ(shares.capturedAt(0.95), 1);     // records below the last bin
  EXPECT_EQ(shares.capturedAt(1), 1);
}

TEST(CapturedShares, SkipBinsWithoutRecords) {
  const EvaluationReport report = sampleEvaluation();
  EXPECT_EQ(CapturedShares(report, report.lift).getPoints().size(), 4U);  // the start, two bins and the end
  EXPECT_EQ(CapturedShares(report, report.optimum).getPoints().size(), 3U);
}

TEST(CapturedShares, AreNotUsableWithoutBinsOrAFiniteMeanAbove0) {
  const EvaluationReport good = sampleEvaluation();
  EXPECT_FALSE(CapturedShares(good, {}).isUsable());
  EXPECT_FALSE(CapturedShares(good, {good.lift.front()}).isUsable());
  for (const double mean : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e308}) {
    EvaluationReport report = good;
    report.meanActual = mean;
    EXPECT_FALSE(CapturedShares(report, report.lift).isUsable()) << mean;
  }
  EvaluationReport report = good;
  report.lift[0].cumActual = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(CapturedShares(report, report.lift).isUsable());
  report = good;
  report.numRecords = 0;
  EXPECT_FALSE(CapturedShares(report, report.lift).isUsable());
}

}  // namespace
}  // namespace vesk_analyze
