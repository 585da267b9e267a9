// The optional columns of the diffusion, and seeds with weights.

#include <cmath>
#include <optional>
#include <random>

#include "diffusion_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* heading = "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree";

class DiffusionLift : public DiffusionTest {
 protected:
  struct Lift {
    std::optional<double> perWeightedInDegree;
    std::optional<double> overExpected;
  };

  static std::optional<double> cell(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(std::stod(text));
  }

  /// The two columns, by subscriber.
  std::map<std::uint64_t, Lift> lifts() const {
    std::map<std::uint64_t, Lift> rows;
    std::istringstream lines(folder.read("out.csv"));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, std::string(heading) + ",EnergyPerWeightedInDegree,EnergyOverExpected");
    while (std::getline(lines, line)) {
      std::vector<std::string> cells(1);
      for (const char c : line) {
        if (c == ',') {
          cells.emplace_back();
        } else {
          cells.back() += c;
        }
      }
      EXPECT_EQ(cells.size(), 8U) << line;
      if (cells.size() == 8) rows[std::stoull(cells[0])] = {cell(cells[6]), cell(cells[7])};
    }
    return rows;
  }

  static void expectNear(const std::optional<double>& actual, const std::optional<double>& expected,
                         std::uint64_t number) {
    ASSERT_EQ(actual.has_value(), expected.has_value()) << number;
    // The file has nine digits.
    if (!actual) return;
    EXPECT_NEAR(*actual, *expected, 1e-8 * std::max(1e-3, std::fabs(*expected))) << number;
  }
};

constexpr const char* liftTag = "<LiftColumns>Yes</LiftColumns>\n";

/// Seed 1 calls 2 with weight 3 and 3 with weight 1; the coefficient is 1/2. Energies 1/2, 3/8, 1/8. With 1/3 at each
/// of the three, 1 keeps 1/6, 2 gets 1/8 and has 11/24, 3 gets 1/24 and has 3/8. Quotients: 3, 9/11, 1/3.
TEST_F(DiffusionLift, IsTheQuotientByHand) {
  Data data = open(liftTag, "1\n");
  runPasses(data, {{1, {{2, 3}, {3, 1}}}}, 1);
  EXPECT_EQ(folder.read("out.csv"), std::string(heading) +
                                        ",EnergyPerWeightedInDegree,EnergyOverExpected\n"
                                        "1,0.5,0,2,0,4,,3\n"
                                        "2,0.375,1,0,3,0,0.125,0.818181818\n"
                                        "3,0.125,1,0,1,0,0.125,0.333333333\n");
  QUVEN_DELETE(data);
}

TEST_F(DiffusionLift, EqualsTheLiteralComputationOnRandomNetworks) {
  std::mt19937_64 random(31);
  for (int round = 0; round < 30; ++round) {
    const std::uint64_t numNodes = 2 + random() % 40;
    std::vector<LiteralRow> rows;
    for (std::uint64_t caller = 1; caller <= numNodes; ++caller) {
      if (random() % 5 == 0) continue;
      LiteralRow literal{caller, {}};
      for (std::uint64_t i = random() % 6; i > 0; --i) {
        literal.callees.emplace_back(1 + random() % numNodes, static_cast<double>(1 + random() % 30) / 4);
      }
      rows.push_back(literal);
    }
    LiteralSeeds seeds;
    std::string text;
    for (int i = 0; i < 4; ++i) {
      const std::uint64_t seed = 1 + random() % (numNodes + 3);  // some of them are not in the data
      const double energy = random() % 3 == 0 ? 1 : static_cast<double>(1 + random() % 40) / 8;
      seeds[seed] += energy;
      text += std::to_string(seed) + (energy == 1 ? "" : ", " + std::to_string(energy)) + "\n";
    }
    const double coefficient = round % 3 == 0 ? 0.9 : 0.4;
    const LiteralDiffusion expected = literalDiffusionFrom(rows, seeds, coefficient, 0.0005, 30);
    const LiteralDiffusion fromAll = literalExpected(rows, seeds, expected, coefficient);
    const std::string tags =
        "<SeedWeights>Yes</SeedWeights>\n<EndConditionValue>0.0005</EndConditionValue>\n"
        "<MaxNumIterations>30</MaxNumIterations>\n<SpreadCoefficient>" +
        std::to_string(coefficient) + "</SpreadCoefficient>\n";
    for (const std::size_t workers : {1U, 2U, 3U}) {
      SCOPED_TRACE("round " + std::to_string(round) + ", workers " + std::to_string(workers));
      Data plain = open(tags, text);
      runPasses(plain, rows, workers);
      const auto plainResults = results();
      ASSERT_EQ(plainResults.size(), expected.nodes.size());
      for (const auto& [number, node] : expected.nodes) {
        EXPECT_NEAR(plainResults.at(number).energy, node.energy, 1e-8 * std::max(1e-3, node.energy)) << number;
      }
      const std::string plainText = folder.read("out.csv");
      QUVEN_DELETE(plain);

      Data data = open(tags + liftTag, text);
      runPasses(data, rows, workers);
      EXPECT_EQ(data->getNumIterations(), expected.iterations);
      QUVEN_DELETE(data);
      const auto actual = lifts();
      ASSERT_EQ(actual.size(), expected.nodes.size());
      for (const auto& [number, node] : expected.nodes) {
        std::optional<double> perWeight;
        if (node.weightedInDegree != 0) perWeight = node.energy / node.weightedInDegree;
        expectNear(actual.at(number).perWeightedInDegree, perWeight, number);
        expectNear(actual.at(number).overExpected, node.energy / fromAll.nodes.at(number).energy, number);
      }
      // The columns before the two are those of the run without them.
      std::istringstream lines(folder.read("out.csv"));
      std::istringstream plainLines(plainText);
      for (std::string line, plainLine; std::getline(plainLines, plainLine);) {
        ASSERT_TRUE(std::getline(lines, line));
        EXPECT_EQ(line.substr(0, plainLine.size() + 1), plainLine + ",");
      }
    }
  }
}

/// Seeds everywhere, all of them alike, are what is expected.
TEST_F(DiffusionLift, IsOneForSeedsEverywhere) {
  Data data = open(liftTag, "1\n2\n3\n4\n");
  runPasses(data, {{1, {{2, 3}, {3, 1}}}, {2, {{1, 1}, {4, 2}}}, {3, {{1, 5}}}}, 2);
  for (const auto& [number, lift] : lifts()) expectNear(lift.overExpected, 1.0, number);
  QUVEN_DELETE(data);
}

TEST_F(DiffusionLift, IsEmptyWithoutSeeds) {
  Data data = open(liftTag, "");
  runPasses(data, {{1, {{2, 3}}}}, 1);
  EXPECT_THAT(folder.read("out.csv"), HasSubstr("\n1,0,0,1,0,3,,\n2,0,1,0,3,0,0,\n"));
  QUVEN_DELETE(data);
}

TEST_F(DiffusionLift, WithNoTheResultIsThatWithoutTheTag) {
  const std::vector<LiteralRow> rows = {{1, {{2, 3}, {3, 1}}}, {2, {{1, 1}}}};
  Data data = open("", "1\n");
  const std::string stream = image(*data, QUVENObjWriter::SaveForWorker);
  runPasses(data, rows, 2);
  const std::string plain = folder.read("out.csv");
  QUVEN_DELETE(data);
  data = open("<LiftColumns>No</LiftColumns>\n<SeedWeights>No</SeedWeights>\n", "1\n");
  EXPECT_EQ(image(*data, QUVENObjWriter::SaveForWorker), stream);
  runPasses(data, rows, 2);
  EXPECT_EQ(folder.read("out.csv"), plain);
  QUVEN_DELETE(data);
}

TEST_F(DiffusionLift, AnyOtherWordIsRefused) {
  for (const std::string key : {"LiftColumns", "SeedWeights"}) {
    for (const std::string word : {"yes", "1", ""}) {
      open("<" + key + ">" + word + "</" + key + ">\n", "1\n");
      EXPECT_TRUE(run.threwLibraryException) << key << word;
      EXPECT_THAT(run.out, HasSubstr("Error;|2202;|QUVENSNAData::open: Illegal value. " + key + " must be Yes or No"));
    }
  }
}

TEST_F(DiffusionLift, SeedsOfACsvFileHaveTheEnergiesOfTheirColumn) {
  const std::string column = "<SeedColumn>id</SeedColumn>\n";
  const std::string weights = "<SeedWeights>Yes</SeedWeights>\n<SeedWeightColumn>w</SeedWeightColumn>\n";
  const std::string seeds = "w,id\n4,2\n0.5,1\n";
  Data data = open(column + weights, seeds);
  runPasses(data, {{1, {{2, 1}}}}, 1);
  EXPECT_EQ(folder.read("out.csv"), std::string(heading) + "\n1,0.25,0,1,0,1\n2,4.25,1,0,1,0\n");
  QUVEN_DELETE(data);
  data = open(column, seeds);
  runPasses(data, {{1, {{2, 1}}}}, 1);
  EXPECT_EQ(folder.read("out.csv"), std::string(heading) + "\n1,0.5,0,1,0,1\n2,1.5,1,0,1,0\n");
  QUVEN_DELETE(data);
  for (const std::string& tags :
       {weights, column + "<SeedWeights>Yes</SeedWeights>\n", column + "<SeedWeightColumn>w</SeedWeightColumn>\n"}) {
    open(tags, seeds);
    EXPECT_TRUE(run.threwLibraryException) << tags;
    EXPECT_THAT(run.out, HasSubstr("Error;|2202;|SeedWeightColumn;|QUVENSNAData::open: SeedWeightColumn goes with "
                                   "SeedColumn and SeedWeights Yes, and these two with it;|ErrorEnd"));
  }
}

}  // namespace
