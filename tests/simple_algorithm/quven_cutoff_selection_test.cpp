#include "simple_algorithm/quven_cutoff_selection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "kernel_tools_fixture.h"

namespace {

using Values = std::vector<double>;
using Limits = std::numeric_limits<double>;

class QUVENCutoffSelectionTest : public KernelToolsTest {
 protected:
  /// The quantile of values that are dealt to workers, and how many are below it.
  struct Found {
    double cutoff;
    std::uint64_t numBelow;
  };
  Found select(const Values& values, double level, std::size_t numWorkers) {
    std::vector<QUVENOwnPtr<QUVENCutoffSelection>> workers;
    for (std::size_t i = 0; i < numWorkers; ++i) {
      workers.push_back(quvenMake<QUVENCutoffSelection>(QUVEN_ENV));
      workers[i]->begin(level, QUVEN_ENV);
    }
    int numRounds = 0;
    for (bool isFound = false; !isFound; ++numRounds) {
      EXPECT_LT(numRounds, 4);
      for (std::size_t i = 0; i < numWorkers; ++i) {
        if (i > 0) workers[i]->copyFromPrimitive(workers[0].get(), QUVEN_ENV);
        workers[i]->beginRound(QUVEN_ENV);
      }
      for (std::size_t i = 0; i < values.size(); ++i) workers[i % numWorkers]->add(values[i]);
      for (std::size_t i = 1; i < numWorkers; ++i) workers[0]->merge(*workers[i]);
      isFound = workers[0]->endRound();
    }
    const Found found{workers[0]->getCutoff(), workers[0]->getNumBelow()};
    EXPECT_EQ(workers[0]->getNumValues(), values.size());
    for (auto& worker : workers) worker.reset(QUVEN_ENV);
    return found;
  }

  void expectQuantile(Values values, double level, std::size_t numWorkers) {
    const Found found = select(values, level, numWorkers);
    std::sort(values.begin(), values.end());
    const auto place = static_cast<std::size_t>(static_cast<double>(values.size()) * level);
    EXPECT_EQ(found.cutoff, values[std::min(place, values.size() - 1)]);
    EXPECT_EQ(found.numBelow, std::lower_bound(values.begin(), values.end(), found.cutoff) - values.begin());
  }
};

TEST_F(QUVENCutoffSelectionTest, SelectsTheQuantileOfValuesOnAnyNumberOfWorkers) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 60; ++round) {
    Values values(1 + random() % 300);
    for (double& value : values) {
      switch (random() % 5) {
        case 0:
          value = std::ldexp(static_cast<double>(random() % 1000) - 500, -static_cast<int>(random() % 1100));
          break;
        case 1:
          value = static_cast<double>(random() % 7) / 8;  // ties
          break;
        case 2:
          value = random() % 2 == 0 ? -0.0 : 0.0;
          break;
        default:
          value = 1e-9 + 1e-25 * static_cast<double>(random() % 10);  // other in the last bits alone
      }
    }
    expectQuantile(values, static_cast<double>(1 + random() % 99) / 100, 1 + random() % 4);
  }
}

TEST_F(QUVENCutoffSelectionTest, OrdersTheEndsOfTheRange) {
  const Values values = {Limits::infinity(),
                         -Limits::infinity(),
                         Limits::max(),
                         Limits::lowest(),
                         Limits::denorm_min(),
                         -Limits::denorm_min(),
                         Limits::min(),
                         -1,
                         1,
                         0};
  for (int i = 1; i < 20; ++i) expectQuantile(values, i / 20.0, 2);
}

TEST_F(QUVENCutoffSelectionTest, ZeroOfEitherSignIsOneValue) {
  const Found found = select({-0.0, 0.0, -0.0, 1}, 0.6, 1);
  EXPECT_EQ(found.cutoff, 0);
  EXPECT_FALSE(std::signbit(found.cutoff));
  EXPECT_EQ(found.numBelow, 0U);
}

TEST_F(QUVENCutoffSelectionTest, LeavesOutWhatIsNoNumber) {
  auto selection = quvenMake<QUVENCutoffSelection>(QUVEN_ENV);
  selection->begin(0.5, QUVEN_ENV);
  selection->add(Limits::quiet_NaN());
  EXPECT_FALSE(selection->endRound());
  EXPECT_EQ(selection->getNumValues(), 0U);
  selection.reset(QUVEN_ENV);
}

TEST_F(QUVENCutoffSelectionTest, ALevelNextToOneIsTheLargestValue) {
  EXPECT_EQ(select({1, 2, 3}, std::nextafter(1.0, 0.0), 1).cutoff, 3);
}

}  // namespace
