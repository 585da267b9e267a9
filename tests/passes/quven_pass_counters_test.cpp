#include "passes/quven_pass_counters.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

std::vector<QUVENPassCounters> twoPasses() {
  std::vector<QUVENPassCounters> passes(2);
  passes[0] = {.records = 3000000, .bytes = 72 << 20, .seconds = {1, 0.5, 0.25, 0, 0.125}};
  passes[1] = {.records = 1000000, .bytes = 24 << 20, .seconds = {0.25, 1.5, 0, 0.0625, 1.5}};
  return passes;
}

std::string tableOf(const QUVENRunTimings& timings) {
  std::ostringstream out;
  quvenPrintTimings(timings, out);
  return out.str();
}

TEST(QUVENPassCounters, AreSummedOverThePasses) {
  const QUVENPassCounters sum = quvenSumOfPasses(twoPasses());
  EXPECT_EQ(sum.records, 4000000);
  EXPECT_EQ(sum.bytes, 96 << 20);
  EXPECT_EQ(sum.seconds, (std::array<double, QUVENPassCounters::NumPhases>{1.25, 2, 0.25, 0.0625, 1.625}));
}

TEST(QUVENPassCounters, TheFirstOfTheLongestPhasesIsTheCostliest) {
  const auto costliest = quvenCostliestPhase(twoPasses());
  ASSERT_TRUE(costliest.has_value());
  EXPECT_EQ(costliest->pass, 2U);
  EXPECT_EQ(costliest->phase, QUVENPassCounters::Update);
  EXPECT_EQ(costliest->seconds, 1.5);
  EXPECT_FALSE(quvenCostliestPhase({}).has_value());
}

TEST(QUVENPassCounters, TheTableHasPassesAndSums) {
  const std::vector<QUVENPassCounters> passes = twoPasses();
  const QUVENRunTimings timings{
      .rank = 3, .seconds = 7.5, .cpuSeconds = 6, .peakMemoryBytes = 5 << 19, .passes = passes};
  EXPECT_EQ(tableOf(timings),
            "seconds of worker 3\n"
            "  pass       records       read     update  transport      merge        end     Mrec/s    MB read\n"
            "     1       3000000      1.000      0.500      0.250      0.000      0.125      2.000     72.000\n"
            "     2       1000000      0.250      1.500      0.000      0.062      1.500      0.571     24.000\n"
            "   all       4000000      1.250      2.000      0.250      0.062      1.625      1.231     96.000\n"
            "Mrec/s                    3.200      2.000     16.000     64.000      2.462\n"
            "peak memory: 2.500 MB\n"
            "most time: update of pass 2, 1.500 s of 7.500 s\n");
}

TEST(QUVENPassCounters, ATableWithoutPassesNamesNoPhase) {
  EXPECT_EQ(tableOf({}),
            "seconds of worker 0\n"
            "  pass       records       read     update  transport      merge        end     Mrec/s    MB read\n"
            "   all             0      0.000      0.000      0.000      0.000      0.000      0.000      0.000\n"
            "Mrec/s                    0.000      0.000      0.000      0.000      0.000\n"
            "peak memory: 0.000 MB\n");
}

TEST(QUVENPassCounters, TheProcessIsMeasured) {
  QUVENRunTimings before;
  before.measureProcess();
  constexpr std::size_t numBytes = 64 << 20;
  const std::vector<char> touched(numBytes, 1);
  QUVENRunTimings after;
  after.measureProcess();
  EXPECT_GT(before.peakMemoryBytes, 1 << 20);
  EXPECT_GE(after.peakMemoryBytes, static_cast<std::int64_t>(numBytes));
  EXPECT_GE(after.cpuSeconds, before.cpuSeconds);
  EXPECT_GT(after.cpuSeconds, 0);
  EXPECT_EQ(touched[numBytes - 1], 1);
}

}  // namespace
