// The whole training of a boosted model, stage by stage, against the literal steps.

#include "kernel/quven_num_field.h"
#include "learning/stage_comparison.h"

namespace {

using QUVENTransformRegressionLiteralTest = LiteralBoostTest;

TEST_F(QUVENTransformRegressionLiteralTest, EachLossLearnsEveryKindOfTable) {
  for (int round = 0; round < 120; ++round) {
    const int loss = 1 + round % 6;
    const int records = (round % 5 == 0 ? 300 : 40 + 17 * (round % 11)) + (loss == SupportVector ? 100 : 0);
    const BoostTableKind kind{.loss = loss,
                              .hasWeights = loss == Squared ? round % 4 == 2 : round % 4 != 3,
                              .hasVarianceWeights = round % 10 < 3,
                              .hasMissing = round % 3 == 1,
                              .hasTies = round % 2 == 1,
                              .hasCategories = round % 7 != 2,
                              .hasConstant = round % 5 == 3,
                              .hasNoise = round % 7 == 2,
                              .channels = round % 3 == 2 ? 7 : 5};
    const int mode = round % 8 < 4 ? 1 : 8;
    SCOPED_TRACE("round " + std::to_string(round) + ", loss " + std::to_string(loss) + ", mode " +
                 std::to_string(mode) + ", records " + std::to_string(records));
    compare(randomBoostTable(static_cast<unsigned>(1000 + round), records, kind), loss, mode);
  }
  expectFewTies();
}

TEST_F(QUVENTransformRegressionLiteralTest, OutputsWithMoreValuesThanTheSampleHoldsAreSplitBySample) {
  constexpr int records = 1700;
  const BoostTableKind kind{.loss = Squared, .hasMissing = true, .hasTies = true, .channels = 7};
  ASSERT_GT(records * kind.channels, QUVENNumField::DefaultSampleCapacity);
  compare(randomBoostTable(41, records, kind), Squared, 1);
  EXPECT_EQ(ties, 0U);
  EXPECT_GE(numStages, 3U);
}

}  // namespace
