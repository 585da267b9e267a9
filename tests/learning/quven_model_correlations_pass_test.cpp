// Correlations through the pass driver. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include "learning/quven_model_correlations.h"

#include <bit>
#include <random>

#include "passes/pass_fixture.h"

namespace {

class QUVENModelCorrelationsPassTest : public PassTest {
 protected:
  static QUVENPassSettings settingsOf(std::int32_t slices) {
    constexpr std::int32_t channels = 5;
    return {.numChannels = channels,
            .dealChannel = [](std::int64_t record) { return static_cast<std::int32_t>(1 + record * 3 % channels); },
            .numSlices = slices};
  }
  void writeTable(int records) {
    std::mt19937 random(9);
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double x = random() % 10000 / 1000.0 - 5;
      const double c = random() % 7;
      const double z = x + random() % 1000 / 100.0;
      const double y = std::abs(x - 1) + c / 3 + random() % 100 / 50.0;
      const auto orMissing = [&](double value, unsigned every) { return random() % every == 0 ? Missing : value; };
      values.insert(values.end(), {orMissing(x, 30), orMissing(c, 25), orMissing(z, 40), orMissing(y, 50)});
    }
    write("x Numeric Explanatory\nc Categorical Explanatory\nz Numeric Explanatory\ny Numeric Target\n", values);
  }
  /// A scan of the three inputs in a run; null above rank 0.
  static QUVENModelCorrelations* addScan(PassRun& run) {
    if (!run.isRank0()) return nullptr;
    auto& scan = run.driver.addScan(quvenMake<QUVENModelCorrelations>(run.handle()), run.handle());
    auto model = quvenMake<QUVENTransRegResidualModel>(run.handle());
    for (const char* name : {"x", "c", "z"}) model->addInput(&run.field(name), QUVENUsageExplanatory, run.handle());
    model->addInput(&run.field("y"), QUVENUsageTarget, run.handle());
    model->setNames(run.driver.getNames());
    scan.setResidualModel(std::move(model));
    return &scan;
  }
  /// The scan counts after each pass, and the correlations to the last bit.
  std::string gather(std::int32_t slices, MPI_Comm ranks, bool waitsForFields) {
    PassRun run(path, settingsOf(slices), ranks);
    QUVENModelCorrelations* const scan = addScan(run);
    std::string text;
    if (scan != nullptr) {
      for (const char* name : {"x", "c", "z"}) {
        if (waitsForFields) {
          run.driver.addField(run.field(name), run.handle());
        } else {
          run.field(name).setSampleFlag(true, run.handle());
        }
      }
      run.driver.setBetweenPasses([&](int) { text += std::to_string(scan->getScanCount()) + " "; });
    }
    run.passes();
    if (scan == nullptr) return text;
    for (const std::string& name : scan->getCorrelations().ivFieldNames) text += name + " ";
    for (const double value : scan->getCorrelations().ivCorrelations) {
      EXPECT_LE(std::abs(value), 1);
      text += std::to_string(std::bit_cast<std::uint64_t>(value)) + " ";
    }
    return text;
  }
};

TEST_F(QUVENModelCorrelationsPassTest, AreTheSameBytesOnAnyNumberOfRanks) {
  writeTable(900);
  const std::string together = gather(8, MPI_COMM_WORLD, true);
  if (!isRank0()) return;
  EXPECT_EQ(together, gather(8, MPI_COMM_SELF, true));
  EXPECT_EQ(together.substr(0, 18), "0 0 3 -3 x c z y 4") << together;
}

// The driver does not know these fields, but they are sampled in the two plain passes of the scan.
TEST_F(QUVENModelCorrelationsPassTest, GatherDistributionsInTwoPassesOfTheirOwn) {
  writeTable(900);
  const std::string own = gather(8, MPI_COMM_WORLD, false);
  const std::string ofDriver = gather(8, MPI_COMM_WORLD, true);
  if (!isRank0()) return;
  EXPECT_EQ(own.substr(0, 8), "2 3 3 -3");
  EXPECT_EQ(own.substr(8), ofDriver.substr(8));
}

TEST_F(QUVENModelCorrelationsPassTest, GatherWithoutSlices) {
  writeTable(400);
  const std::string text = gather(0, MPI_COMM_WORLD, true);
  if (!isRank0()) return;
  EXPECT_EQ(text.substr(0, 17), "0 0 3 -3 x c z y ");
}

}  // namespace
