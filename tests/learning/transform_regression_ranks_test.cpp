// Boosted models on several ranks. Run alone, and by mpirun on 2, 3 and 4 ranks.

#include <sstream>

#include "learning/boosting_fixture.h"

namespace {

class QUVENTransformRegressionRanksPassTest : public BoostTest {
 protected:
  /// The last pass of stage 3: 2 of the distributions, 2 of stage 1 and 5 of each later stage.
  static constexpr std::int32_t LastPass = 14;

  struct Kind {
    const char* name;
    BoostTableKind table;
  };
  /// A table of each loss, and one of each peculiarity.
  static std::vector<Kind> kinds() {
    return {{"squared", {.loss = Squared}},
            {"logistic", {.loss = Logistic}},
            {"Poisson", {.loss = Poisson}},
            {"support vector", {.loss = SupportVector}},
            {"logistic link", {.loss = LogisticLink}},
            {"Poisson link", {.loss = PoissonLink}},
            {"weights", {.hasWeights = true, .hasVarianceWeights = true}},
            {"missing values", {.hasMissing = true}},
            {"ties", {.hasTies = true, .hasCategories = false}},
            {"a constant input", {.hasConstant = true}},
            {"an input of noise", {.hasNoise = true}},
            {"everything",
             {.loss = LogisticLink,
              .hasWeights = true,
              .hasVarianceWeights = true,
              .hasMissing = true,
              .hasTies = true,
              .hasConstant = true,
              .hasNoise = true,
              .channels = 7}}};
  }

  /// Trains on some ranks, and leaves the predictions of all stages in the file of a name, and the model in that of the
  /// name with ".model". Returns the number of stages on rank 0.
  std::size_t learn(const BoostTable& table, int loss, std::int32_t slices, MPI_Comm ranks, const std::string& name) {
    QUVENPassSettings settings = settingsOf(table, slices);
    settings.lastPass = LastPass;
    const auto run = train(table, loss, 1, settings, ranks, true);
    run->writePredictions(path + name);
    if (run->run.isRank0()) run->writeModel(path + name + ".model", table);
    return run->facts.size();
  }
  /// The numbers of a file of predictions.
  std::vector<double> numbersOf(const std::string& name) {
    std::istringstream in(folder.read("data" + name));
    std::string header;
    std::getline(in, header);
    std::vector<double> numbers;
    for (std::uint64_t bits = 0; in >> bits;) numbers.push_back(std::bit_cast<double>(bits));
    return numbers;
  }
};

TEST_F(QUVENTransformRegressionRanksPassTest, SlicesGiveTheSameBytesOnAnyNumberOfRanks) {
  for (const Kind& kind : kinds()) {
    SCOPED_TRACE(kind.name);
    const BoostTable table = randomBoostTable(21, 240, kind.table);
    writeTable(table);
    const std::size_t stages = learn(table, kind.table.loss, 8, MPI_COMM_WORLD, ".together");
    if (isRank0()) {
      EXPECT_GE(stages, 2U);
      EXPECT_EQ(learn(table, kind.table.loss, 8, MPI_COMM_SELF, ".alone"), stages);
      // Compared without a printout of the difference, which would have megabytes.
      EXPECT_TRUE(folder.read("data.together") == folder.read("data.alone"));
      EXPECT_TRUE(folder.read("data.together.model") == folder.read("data.alone.model"));
      EXPECT_EQ(numbersOf(".alone").size(),
                table.rows.size() * (2 * stages - 1) * static_cast<std::size_t>(table.channels));
    }
    MPI_Barrier(MPI_COMM_WORLD);
  }
}

TEST_F(QUVENTransformRegressionRanksPassTest, SharesGiveTheSamePredictionsUpToRounding) {
  for (const Kind& kind : kinds()) {
    SCOPED_TRACE(kind.name);
    const BoostTable table = randomBoostTable(21, 240, kind.table);
    writeTable(table);
    const std::size_t stages = learn(table, kind.table.loss, 0, MPI_COMM_WORLD, ".together");
    if (isRank0()) {
      EXPECT_EQ(learn(table, kind.table.loss, 0, MPI_COMM_SELF, ".alone"), stages);
      const std::vector<double> together = numbersOf(".together");
      const std::vector<double> alone = numbersOf(".alone");
      ASSERT_EQ(together.size(), alone.size());
      double largest = 0;
      double furthest = 0;
      for (std::size_t i = 0; i < alone.size(); ++i) {
        largest = std::max(largest, std::abs(alone[i]));
        furthest = std::max(furthest, std::abs(together[i] - alone[i]));
      }
      EXPECT_LE(furthest, 1e-9 * largest);
    }
    MPI_Barrier(MPI_COMM_WORLD);
  }
}

}  // namespace
