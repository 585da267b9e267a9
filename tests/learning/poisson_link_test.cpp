// Where the Poisson loss with a link starts.

#include "learning/quven_losses.h"
#include "transform_fixture.h"

namespace {

using QUVENPoissonLinkTest = TransformTest;

TEST_F(QUVENPoissonLinkTest, KnowsTheMeanOfATargetWhoseLastBinIsEmpty) {
  constexpr int counts[] = {21, 19, 8, 6, 2, 1};  // records with a target of 0, 1, 2, ...
  double sum = 0;
  double records = 0;
  y->setSampleFlag(true, QUVEN_ENV);
  for (int pass = 0; pass < 2; ++pass) {
    y->beginDistributionPass(QUVEN_ENV);
    std::uint32_t record = 0;
    for (int value = 0; value < std::ssize(counts); ++value) {
      for (int i = 0; i < counts[value]; ++i) {
        y->setNumValue(value);
        y->updateDistribution(record++, QUVEN_ENV);
        sum += value;
        records += 1;
      }
    }
    y->endDistributionPass(QUVEN_ENV);
  }
  const QUVENNumFieldDist& distribution = *static_cast<QUVENNumField*>(y)->getDistribution();
  ASSERT_EQ(distribution.getBin(distribution.getNumBins()).getCount(), 0);
  // A stream holds finite numbers only, and what is read is to be what was written.
  EXPECT_TRUE(std::isfinite(distribution.getBin(distribution.getNumBins()).getMean()));

  QUVENModel::Inputs targets;
  targets.append(QUVENModelInput(y, QUVENUsageTarget), QUVEN_ENV);
  auto loss = make<QUVENPoissonLinkLoss>();
  loss->openFirst(targets, nullptr, "1", *names, QUVEN_ENV);
  EXPECT_NEAR(loss->applyLinkOf(1, -3), std::log(sum / records / 100), 1e-12);
  EXPECT_EQ(loss->applyLinkOf(1, 2), std::log(2.0));
  loss.reset(QUVEN_ENV);
  targets.deleteMemory(QUVEN_ENV);
}

}  // namespace
