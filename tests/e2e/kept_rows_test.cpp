// Analyses with their rows in memory and with passes over the file: the same results, byte for byte.

#include <gmock/gmock.h>

#include <algorithm>
#include <iomanip>
#include <random>
#include <sstream>

#include "groups_case.h"
#include "simple_algorithm/literal_diffusion.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

enum class Lists { Ascending, WithRepeats, Unordered };

class KeptRows : public GroupsCase {
 protected:
  KeptRows() {
    kernelTags["SparsityLevel"] = "0.3";
    writeFile("seeds", "1\n20\n37\n");
    writeFile("diffusion.xml",
              "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n"
              "<EndConditionValue>1e-12</EndConditionValue>\n<MaxNumIterations>12</MaxNumIterations>\n"
              "</AnalysisParams>\n");
  }

  /// Callers of communities of 12, with contacts mostly inside, one of them a hub, some without contacts.
  static Contacts network(unsigned seed, Lists lists) {
    std::mt19937 random(seed);
    const auto below = [&](std::uint64_t end) { return random() % end; };
    constexpr std::uint64_t numCallers = 96;
    Contacts contacts;
    for (std::uint64_t caller = 1; caller <= numCallers; ++caller) {
      std::vector<std::uint64_t>& list = contacts[caller];
      const std::uint64_t size = caller == 7 ? 90 : below(9);
      for (std::uint64_t i = 0; i < size; ++i) {
        const std::uint64_t inside = (caller - 1) / 12 * 12 + 1 + below(12);
        list.push_back(below(10) < 8 && caller != 7 ? inside : 1 + below(2 * numCallers));
      }
      if (lists == Lists::Unordered) continue;
      std::sort(list.begin(), list.end());
      if (lists == Lists::Ascending) list.erase(std::unique(list.begin(), list.end()), list.end());
    }
    return contacts;
  }

  /// The rows of a table of 100 places.
  static std::vector<double> tableRows(const Contacts& contacts) {
    constexpr double width = 100;
    std::vector<double> numbers;
    for (const auto& [caller, list] : contacts) {
      const auto key = static_cast<double>(caller);
      numbers.insert(numbers.end(), {key, 0, width});
      double position = 0;
      for (const std::uint64_t contact : list) {
        numbers.insert(numbers.end(), {key, ++position, static_cast<double>(contact)});
      }
      numbers.insert(numbers.end(), {key, width + 1, 0});
    }
    return numbers;
  }
  void table(const Contacts& contacts) const { writeNumbers("calls.bin", tableRows(contacts)); }

  /// The rows of pair sums with weights of quarters, some of them below 0.
  static std::vector<double> pairSums(const Contacts& contacts) {
    std::mt19937 random(static_cast<unsigned>(contacts.size()));
    std::vector<double> numbers;
    for (const auto& [caller, list] : contacts) {
      const auto key = static_cast<double>(caller);
      numbers.insert(numbers.end(), {key, 0, static_cast<double>(list.size())});
      for (const std::uint64_t callee : list) {
        const double weight = static_cast<double>(random() % 40) / 4 + (random() % 20 == 0 ? -0.75 : 0.25);
        numbers.insert(numbers.end(), {key, static_cast<double>(callee), weight});
      }
      numbers.insert(numbers.end(), {key, 0, 7788});
    }
    return numbers;
  }

  void run(const std::string& kind, int workers, const std::string& memory) {
    std::filesystem::create_directory(path("kept"));
    for (const std::string& file : resultFiles()) std::filesystem::remove(path(file));
    if (kind == "diffusion") {
      result = runOther(VESK_MPIRUN, {"-n", std::to_string(workers), std::string(VESK_BIN_DIR) + "/vesk-analyze", kind,
                                      "diffusion.xml", "calls.bin", "--memory", memory});
    } else {
      analyse(kind, workers, {"--memory", memory});
    }
  }

  Strings resultFiles() const {
    Strings files;
    for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with("found") || name == "energy.csv") files.push_back(name);
    }
    std::sort(files.begin(), files.end());
    return files;
  }

  /// All that a run has said and written, without what it says of the rows, which is returned.
  std::string takeOutcome(std::string& outcome) {
    std::string ofRows;
    std::istringstream lines(result.out);
    Strings others;
    for (std::string line; std::getline(lines, line);) {
      (line.starts_with("Log;|1;|Rows: ") ? ofRows : others.emplace_back()) = line;
    }
    std::sort(others.begin(), others.end());  // those of several ranks come in any order
    outcome = std::to_string(result.status) + "\n";
    for (const std::string& line : others) outcome += line + "\n";
    for (const std::string& file : resultFiles()) outcome += file + "\n" + content(file);
    return ofRows;
  }

  /// Runs an analysis in both ways and returns what the first says of its rows.
  std::string expectSame(const std::string& kind, int workers) {
    std::string kept;
    std::string fromFile;
    run(kind, workers, "1G");
    const std::string ofRows = takeOutcome(kept);
    run(kind, workers, "0");
    const std::string ofFile = takeOutcome(fromFile);
    // A check before the first pass may have refused the dataset, in both runs.
    if (!ofRows.empty()) {
      EXPECT_THAT(ofFile, StartsWith("Log;|1;|Rows: read from the file in each pass, "));
    }
    EXPECT_EQ(kept, fromFile) << kind << " on " << workers;
    return ofRows;
  }
};

TEST_F(KeptRows, GroupsOfAllKindsOfRows) {
  for (const Lists lists : {Lists::Ascending, Lists::WithRepeats, Lists::Unordered}) {
    for (const unsigned seed : {1U, 2U}) {
      table(network(seed, lists));
      for (const int workers : {1, 2, 3}) {
        EXPECT_THAT(expectSame("groups", workers), StartsWith("Log;|1;|Rows: kept in memory, "));
        EXPECT_EQ(result.status, 0);
      }
    }
  }
}

TEST_F(KeptRows, GroupsInSlicesAndInSeveralPasses) {
  tags["NumIterationsConnectingNodes"] = "3";
  tags["NumIterationsCollectingEdges"] = "4";
  tags["MaxClusterSize"] = "7";
  table(network(3, Lists::WithRepeats));
  for (const int workers : {1, 3}) expectSame("groups", workers);
}

TEST_F(KeptRows, KernelValues) {
  kernelTags["OutputFileName"] = "found.values";
  for (const Lists lists : {Lists::Ascending, Lists::Unordered}) {
    table(network(4, lists));
    for (const int workers : {1, 3}) {
      EXPECT_THAT(expectSame("kernel", workers), StartsWith("Log;|1;|Rows: kept in memory, "));
      EXPECT_FALSE(resultFiles().empty());
    }
  }
}

TEST_F(KeptRows, Diffusion) {
  for (const Lists lists : {Lists::Ascending, Lists::Unordered}) {
    for (const unsigned seed : {5U, 6U}) {
      writeNumbers("calls.bin", pairSums(network(seed, lists)));
      for (const int workers : {1, 2, 4}) {
        EXPECT_THAT(expectSame("diffusion", workers), StartsWith("Log;|1;|Rows: kept in memory, "));
        EXPECT_EQ(result.status, 0);
      }
    }
  }
}

/// Both ways against the literal computation, with seeds of a CSV file that have weights.
TEST_F(KeptRows, DiffusionWithLiftColumns) {
  constexpr double coefficient = 0.7;
  constexpr double epsilon = 1e-6;
  constexpr int passes = 12;
  writeFile("seeds", "energy,id\n2.5,1\n,20\n0.25,37\n");
  const LiteralSeeds seeds = {{1, 2.5}, {20, 1}, {37, 0.25}};
  writeFile("diffusion.xml",
            "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n"
            "<EndConditionValue>1e-6</EndConditionValue>\n<MaxNumIterations>12</MaxNumIterations>\n"
            "<SpreadCoefficient>0.7</SpreadCoefficient>\n<LiftColumns>Yes</LiftColumns>\n"
            "<SeedWeights>Yes</SeedWeights>\n<SeedColumn>id</SeedColumn>\n"
            "<SeedWeightColumn>energy</SeedWeightColumn>\n</AnalysisParams>\n");
  std::vector<LiteralRow> rows;
  std::vector<double> numbers;
  for (const auto& [caller, list] : network(7, Lists::Unordered)) {
    const auto key = static_cast<double>(caller);
    rows.push_back({caller, {}});
    numbers.insert(numbers.end(), {key, 0, static_cast<double>(list.size())});
    for (const std::uint64_t callee : list) {
      const double weight = static_cast<double>(1 + (caller * 7 + callee * 13) % 40) / 4;
      rows.back().callees.emplace_back(callee, weight);
      numbers.insert(numbers.end(), {key, static_cast<double>(callee), weight});
    }
    numbers.insert(numbers.end(), {key, 0, 7788});
  }
  writeNumbers("calls.bin", numbers);
  const LiteralDiffusion expected = literalDiffusionFrom(rows, seeds, coefficient, epsilon, passes);
  const LiteralDiffusion fromAll = literalExpected(rows, seeds, expected, coefficient);
  for (const int workers : {1, 2, 3}) {
    EXPECT_THAT(expectSame("diffusion", workers), StartsWith("Log;|1;|Rows: kept in memory, "));
    EXPECT_EQ(result.status, 0);
    std::istringstream lines(content("energy.csv"));
    std::string line;
    std::getline(lines, line);
    std::size_t count = 0;
    while (std::getline(lines, line)) {
      ++count;
      const LiteralResult& node = expected.nodes.at(std::stoull(line));
      const double lift = node.energy / fromAll.nodes.at(std::stoull(line)).energy;
      EXPECT_NEAR(std::stod(line.substr(line.rfind(',') + 1)), lift, 1e-8 * std::max(lift, 1e-3)) << line;
    }
    EXPECT_EQ(count, expected.nodes.size());
  }
}

TEST_F(KeptRows, AHundredPassesOnFourRanks) {
  writeFile("diffusion.xml",
            "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n"
            "<EndConditionValue>1e-300</EndConditionValue>\n<MaxNumIterations>98</MaxNumIterations>\n"
            "<SpreadCoefficient>0.99</SpreadCoefficient>\n"
            "</AnalysisParams>\n");
  writeNumbers("calls.bin", pairSums(network(12, Lists::Ascending)));
  expectSame("diffusion", 4);
  EXPECT_THAT(result.out, HasSubstr("Diffusion Model 1, Iteration 98 diffVal = "));
}

TEST_F(KeptRows, ATableThatIsNotRegularIsReadInEachPass) {
  const std::vector<double> good = tableRows(
      {{1, {2, 3, 4}}, {2, {1, 3, 4}}, {3, {1, 2, 4}}, {4, {1, 2, 3}}, {11, {12, 13}}, {12, {11, 13}}, {13, {11}}});
  const std::vector<std::pair<std::size_t, double>> damages = {
      {0, 13},                       // a caller that comes again
      {4, 2},                        // a position that is left out
      {5, 4.5},                      // a contact that is no integer
      {5, -4},                       // one below 0
      {5, -99999},                   // one that is missing
      {5, 0},                        // none
      {2, 0.5},                      // a width that is no integer
      {1, 1},                        // a row without a header
      {good.size() - 1, 3},          // a footer with a value
      {good.size() - 2, 0},          // a row without a footer
      {good.size() - 2, 134217729},  // a footer after more places than a row may have
      {3, 1e300},                    // an entry of another caller
  };
  int numAnalysed = 0;  // others are refused
  for (const auto& [place, value] : damages) {
    std::vector<double> records = good;
    records[place] = value;
    writeNumbers("calls.bin", records);
    for (const int workers : {1, 2}) {
      const std::string ofRows = expectSame("groups", workers);
      if (result.status == 0) {
        EXPECT_THAT(ofRows, HasSubstr(", because they are not all regular;|LogEnd")) << place << " " << value;
        ++numAnalysed;
      }
    }
  }
  EXPECT_GE(numAnalysed, 10);
}

TEST_F(KeptRows, PairSumsThatAreNotRegularAreReadInEachPass) {
  const std::vector<double> good = pairSums({{1, {2, 3, 4}}, {2, {1}}, {3, {}}, {4, {2, 9}}, {20, {1}}});
  const std::vector<std::pair<std::size_t, double>> damages = {{0, 4},
                                                               {1, 5},
                                                               {2, 2},
                                                               {2, 2.5},
                                                               {4, -3},
                                                               {4, 2.5},
                                                               {4, 0},
                                                               {5, -99999},
                                                               {5, 1e308},
                                                               {8, 1e308},
                                                               {14, 7},
                                                               {12, 7},
                                                               {3, 2},
                                                               {good.size() - 1, 7789},
                                                               {good.size() - 2, 3}};
  for (const auto& [place, value] : damages) {
    std::vector<double> records = good;
    records[place] = value;
    if (value == 1e308) records[11] = records[8] = records[5] = value;  // their sum is infinite
    writeNumbers("calls.bin", records);
    for (const int workers : {1 + static_cast<int>(place % 2)}) {
      EXPECT_THAT(expectSame("diffusion", workers), HasSubstr(", because they are not all regular;|LogEnd"))
          << place << " " << value;
    }
  }
}

TEST_F(KeptRows, DiffusionWhereNobodyOrNobodyOfRank0Calls) {
  for (const auto& contacts : {Contacts{{1, {}}, {2, {}}}, Contacts{{1, {3}}, {3, {1, 5}}}}) {
    writeNumbers("calls.bin", pairSums(contacts));
    for (const int workers : {1, 2, 3}) {
      EXPECT_THAT(expectSame("diffusion", workers), StartsWith("Log;|1;|Rows: kept in memory, "));
      EXPECT_EQ(result.status, 0) << result.err;
    }
  }
}

TEST_F(KeptRows, OfEnergiesThatAreLostThatOfTheLowestSubscriberIsReported) {
  std::vector<double> records{1, 0, 3, 1, 9, 1e308, 1, 3, -1e308, 1, 4, 1, 1, 0, 7788};
  records.insert(records.end(), {9, 0, 43, 9, 8, 1e308, 9, 7, -1e308, 9, 6, 1});
  for (double callee = 20; callee < 60; ++callee) records.insert(records.end(), {9, callee, 1});
  records.insert(records.end(), {9, 0, 7788, 7, 0, 0, 7, 0, 7788});
  writeNumbers("calls.bin", records);
  EXPECT_THAT(expectSame("diffusion", 1), StartsWith("Log;|1;|Rows: kept in memory, "));
  EXPECT_THAT(result.out, HasSubstr("Error;|4606;|7;|"));
}

TEST_F(KeptRows, TheLogSaysWhichWayWasTaken) {
  writeNumbers("calls.bin", pairSums(network(8, Lists::Ascending)));
  const std::int64_t bytes = static_cast<std::int64_t>(std::filesystem::file_size(path("calls.bin")));
  std::ostringstream megabytes;
  megabytes << std::fixed << std::setprecision(1) << static_cast<double>(bytes) / 1e6 << " MB";
  run("diffusion", 1, "1M");
  EXPECT_THAT(result.out, HasSubstr(" of 1.0 MB on this rank; from the file a pass would read " + megabytes.str()));
  run("diffusion", 1, "2K");
  EXPECT_THAT(result.out, HasSubstr("Log;|1;|Rows: read from the file in each pass, " + megabytes.str() +
                                    "; in memory they would need about 0.0 MB on a rank, of 0.0 MB;|LogEnd"));
}

TEST_F(KeptRows, TracedRecordsAreReadInEachPass) {
  tags["VerbosityLevel"] = "6";
  table(network(9, Lists::Ascending));
  EXPECT_THAT(expectSame("groups", 1), HasSubstr(", because records are traced; in memory they would need about "));
  tags["VerbosityLevel"] = "5";
  EXPECT_THAT(expectSame("groups", 1), StartsWith("Log;|1;|Rows: kept in memory, "));
  kernelTags["KernelVerbosity"] = "6";
  EXPECT_THAT(expectSame("groups", 1), HasSubstr(", because records are traced; in memory they would need about "));
}

TEST_F(KeptRows, OtherKernelsReadTheirRecordsInEachPass) {
  table(network(10, Lists::Ascending));
  for (const auto& [key, value] : Tags{{"FilterSimilarities", "0"}, {"EmptyMarker", "5"}}) {
    const Tags before = kernelTags;
    kernelTags[key] = value;
    EXPECT_THAT(expectSame("groups", 1),
                HasSubstr(", because the kernel compares more than lists of contacts in one block; in memory they"))
        << key;
    kernelTags = before;
  }
}

TEST_F(KeptRows, GroupsFromPairsKeepTheRowsForTheirOwnPasses) {
  table(network(11, Lists::WithRepeats));
  writeFile("pairs", "1,2,1\n2,3,1\n1,3,1\n13,14,1\n14,15,1\n25,26,1\n26,27,1\n");
  tags["KernelValuesFileName"] = "pairs";
  for (const int workers : {1, 2}) {
    EXPECT_THAT(expectSame("groups", workers), StartsWith("Log;|1;|Rows: kept in memory, "));
    EXPECT_EQ(result.status, 0) << result.out;
  }
}

}  // namespace
}  // namespace vesk_e2e
