// vesk-analyze groups and kernel on random networks, under mpirun, against the literal analysis.
//
// VESK_GROUPS_SEEDS is the number of networks of each test, VESK_GROUPS_FIRST the first seed. A failure prints its
// seed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <locale>
#include <map>
#include <set>
#include <sstream>

#include "csv_rows.h"
#include "literal_groups.h"
#include "networks.h"
#include "same_groups.h"
#include "support/program_run.h"

namespace literal {
namespace {

using ::testing::AllOf;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::Le;

std::uint64_t numberFrom(const char* variable, std::uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::string datasetBytes(const std::vector<Line>& lines) {
  std::string bytes;
  for (const Line& line : lines) {
    for (const double number : {line.caller, line.x1, line.x2}) {
      bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
  }
  return bytes;
}

template <class Value>
std::string leaf(const std::string& name, const Value& value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text.precision(std::numeric_limits<double>::max_digits10);
  text << '<' << name << '>' << value << "</" << name << ">\n";
  return text.str();
}

std::string kernelBranch(const KernelParameters& parameters) {
  return "<KernelParams>\n" + leaf("KernelType", "Friends") + leaf("OutputFileName", "kept.txt") +
         leaf("FilterSimilarities", parameters.filterSimilarities ? 1 : 0) + leaf("isSparseData", 1) +
         leaf("IsSparseKernel", 1) + leaf("SparsityLevel", parameters.sparsityLevel) + leaf("IndicesData", 1) +
         leaf("EmptyMarker", parameters.emptyMarker) +
         (parameters.factorIsCallers ? leaf("NormalizingFactor", "Callers")
                                     : leaf("NormalizingFactor", parameters.normalizingFactor)) +
         (parameters.cutoffFromAllPairs ? leaf("CutoffFrom", "AllPairs") : "") +
         (parameters.amongCommon ? leaf("CutoffAmong", "Common") : "") + "</KernelParams>\n";
}

std::string groupLeaves(const GroupParameters& parameters) {
  return leaf("MinClusterSize", parameters.minClusterSize) + leaf("MaxClusterSize", parameters.maxClusterSize) +
         leaf("NumIterationsConnectingNodes", parameters.numIterationsConnectingNodes) +
         leaf("NumIterationsCollectingEdges", parameters.numIterationsCollectingEdges) +
         leaf("MaxNodesCollectingEdges", parameters.maxNodesCollectingEdges) +
         (parameters.connectsByNumbers ? leaf("ConnectOrder", "Numbers") : "") + leaf("OutputFileName", "found") +
         leaf("OutputFormat", "CSV");
}

/// The folder of one run.
class Analysis {
 public:
  explicit Analysis(const std::vector<Line>& lines) {
    folder.write("calls.bin", datasetBytes(lines));
    folder.write("calls.bin.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  }

  ProgramRun groups(const GroupParameters& parameters, int workers, std::vector<std::string> options = {}) {
    runOptions = std::move(options);
    return run("groups", groupLeaves(parameters) + kernelBranch(parameters), workers);
  }
  ProgramRun groupsFrom(const std::string& kernelValues, const GroupParameters& parameters, int workers) {
    folder.write("values", kernelValues);
    return run("groups", groupLeaves(parameters) + leaf("KernelValuesFileName", "values") + kernelBranch(parameters),
               workers);
  }
  ProgramRun kernel(const KernelParameters& parameters, int workers) {
    return run("kernel", kernelBranch(parameters), workers);
  }

  std::string clustersCsv() const { return folder.read("found_1.clusters.csv"); }
  std::string nodesCsv() const { return folder.read("found_1.nodes.csv"); }
  std::string levelsCsv() const { return folder.read("found_levels.csv"); }
  bool hasGroups() const { return std::filesystem::exists(folder.path() + "/found_1.nodes.csv"); }
  std::string kept(std::size_t rank) const { return folder.read("kept_worker_" + std::to_string(rank) + ".txt"); }

 private:
  ProgramRun run(const std::string& kind, const std::string& tags, int workers) {
    folder.write("params.xml", "<AnalysisParams>\n" + tags + "</AnalysisParams>\n");
    std::vector<std::string> arguments = {
        "-n", std::to_string(workers), std::string(VESK_BIN_DIR) + "/vesk-analyze", kind, "params.xml", "calls.bin"};
    arguments.insert(arguments.end(), runOptions.begin(), runOptions.end());
    return runProgram(VESK_MPIRUN, arguments, folder.path());
  }

  std::vector<std::string> runOptions;

  TemporaryFolder folder;
};

class GroupsRun : public ::testing::TestWithParam<int> {
 protected:
  /// Calls check(choices, seed) for each seed, up to the first that fails.
  template <class Check>
  void forEachSeed(Check&& check) {
    const std::uint64_t first = numberFrom("VESK_GROUPS_FIRST", 1);
    const std::uint64_t count = numberFrom("VESK_GROUPS_SEEDS", defaultSeeds);
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
      SCOPED_TRACE("VESK_GROUPS_SEEDS=1 VESK_GROUPS_FIRST=" + std::to_string(seed) + ", " + std::to_string(workers) +
                   " workers");
      Choices choices(seed);
      check(choices, seed);
      if (HasFailure()) return;
    }
    if (count >= defaultSeeds) {
      EXPECT_GE(completeRuns, enoughRuns);
    }
  }

  void expectNoCutoff(const ProgramRun& run) {
    EXPECT_EQ(run.status, 99) << run.out << run.err;
    EXPECT_THAT(run.out, HasSubstr("Error;|3503;|"));
  }

  void expectFiles(const ProgramRun& run, const Analysis& analysis, const GroupResult& result) {
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(analysis.clustersCsv(), result.clustersCsv);
    EXPECT_EQ(analysis.nodesCsv(), result.nodesCsv);
    ++completeRuns;
  }

  void expectKept(const Analysis& analysis, const std::vector<std::vector<KernelValue>>& keptByWorker) {
    for (std::size_t rank = 0; rank < keptByWorker.size(); ++rank) {
      EXPECT_EQ(analysis.kept(rank), keptText(keptByWorker[rank])) << "of worker " << rank;
    }
  }

  static constexpr std::uint64_t defaultSeeds = 8;
  static constexpr int enoughRuns = 4;  // of so many seeds; the others have no cutoff
  int workers = GetParam();
  int completeRuns = 0;
};

TEST_P(GroupsRun, GivesTheFilesOfTheLiteralAnalysis) {
  forEachSeed([&](Choices& choices, std::uint64_t) {
    const std::vector<Line> lines = randomNetwork(choices);
    const GroupParameters parameters = randomParameters(choices);
    const GroupResult expected = runGroups(lines, parameters, workers);
    Analysis analysis(lines);
    const ProgramRun run = analysis.groups(parameters, workers);
    if (expected.failed) return expectNoCutoff(run);
    expectFiles(run, analysis, expected);
    if (run.status == 0) expectKept(analysis, expected.keptByWorker);
  });
}

TEST_P(GroupsRun, TheKernelAloneKeepsTheLiteralValues) {
  forEachSeed([&](Choices& choices, std::uint64_t) {
    const std::vector<Line> lines = randomNetwork(choices);
    const KernelParameters parameters = randomParameters(choices);
    const KernelResult expected = runKernel(lines, parameters, workers);
    Analysis analysis(lines);
    const ProgramRun run = analysis.kernel(parameters, workers);
    if (expected.failed) return expectNoCutoff(run);
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    expectKept(analysis, expected.keptByWorker);
    ++completeRuns;
  });
}

/// A kernel values file: every contact of every caller, or what one worker keeps.
std::string kernelValuesOf(const std::vector<Line>& lines, const KernelParameters& parameters, bool everyContact) {
  const KernelResult kernel = runKernel(lines, parameters, 1);
  if (!everyContact && !kernel.failed) return keptText(kernel.keptByWorker[0]);
  std::string text;
  for (const Line& line : lines) {
    if (line.x1 < 1 || line.x2 <= 0) continue;
    text += std::to_string(sampleOf(line)) + "," + std::to_string(static_cast<std::uint64_t>(line.x2)) + ",1\n";
  }
  return text;
}

TEST_P(GroupsRun, FromAKernelValuesFileTheGroupsAreThoseOfAnyNumberOfWorkers) {
  forEachSeed([&](Choices& choices, std::uint64_t seed) {
    const std::vector<Line> lines = randomNetwork(choices);
    GroupParameters parameters = randomParameters(choices);
    if (seed % 2 == 0) parameters.maxClusterSize = 500;  // room for everybody
    std::string values = kernelValuesOf(lines, parameters, seed % 3 == 0);
    // Without its last line end the file has no empty last line.
    if (seed % 4 < 2 && !values.empty()) values.pop_back();
    const NodePairs pairs = readKernelValues(values);
    const GroupResult expected = runGroups(lines, parameters, workers, pairs);
    Analysis analysis(lines);
    expectFiles(analysis.groupsFrom(values, parameters, workers), analysis, expected);
    if (HasFailure()) return;
    // Where a cluster is full, the first proposal wins, and which one that is depends on the workers.
    const GroupResult alone = runGroups(lines, parameters, 1, pairs);
    if (alone.refusedProposals != 0 || expected.refusedProposals != 0) return;
    EXPECT_EQ(differenceOfGroups(analysis.nodesCsv(), alone.nodesCsv), "");
  });
}

TEST_P(GroupsRun, SlicesOfAnySizeGiveTheRowsOfOne) {
  forEachSeed([&](Choices& choices, std::uint64_t seed) {
    const std::vector<Line> lines = randomNetwork(choices, Network::InOrder);
    GroupParameters parameters = randomParameters(choices);
    parameters.numIterationsCollectingEdges = 1;
    parameters.maxNodesCollectingEdges = 0;
    const GroupResult whole = runGroups(lines, parameters, workers);
    if (whole.failed) return;
    (seed % 2 == 0 ? parameters.maxNodesCollectingEdges : parameters.numIterationsCollectingEdges) =
        choices.between(1, 40);
    Analysis analysis(lines);
    expectFiles(analysis.groups(parameters, workers), analysis, runGroups(lines, parameters, workers));
    if (HasFailure()) return;
    EXPECT_EQ(withoutColumn(analysis.clustersCsv(), GroupOfCluster), withoutColumn(whole.clustersCsv, GroupOfCluster));
    EXPECT_EQ(withoutColumn(analysis.nodesCsv(), GroupOfNode), withoutColumn(whole.nodesCsv, GroupOfNode));
  });
}

/// Whether a cutoff is below one contact of the population.
bool isCutoffLow(const std::vector<Line>& lines, const KernelParameters& parameters, double cutoff) {
  return cutoff < 1 / (parameters.factorIsCallers ? callersOf(lines, 1) : parameters.normalizingFactor);
}

/// The first block of each caller, in the order of the callers: contacts ascend in a block.
std::vector<Line> ascending(const std::vector<Line>& lines) {
  std::map<double, std::vector<Line>> blocks;
  for (const Line& line : lines) {
    std::vector<Line>& block = blocks[line.caller];
    if (block.size() < 2 || block.back().x1 <= block.front().x2) block.push_back(line);
  }
  std::vector<Line> ordered;
  for (const auto& [caller, block] : blocks) ordered.insert(ordered.end(), block.begin(), block.end());
  return ordered;
}

/// The network of regular rows alone, which can be kept in memory: every caller once, contacts above 0 in order.
std::vector<Line> regular(const std::vector<Line>& lines) {
  std::map<double, std::set<double>> contactsOf;
  for (const Line& line : lines) {
    std::set<double>& contacts = contactsOf[line.caller + 1];
    if (line.x1 >= 1 && line.x2 > 0) contacts.insert(line.x2 + 1);
  }
  std::vector<Line> rows;
  for (const auto& [caller, contacts] : contactsOf) {
    appendBlock(rows, caller, {contacts.begin(), contacts.end()}, 1);
  }
  return rows;
}

/// Parameters with a cutoff from all pairs.
GroupParameters withAllPairs(Choices& choices) {
  GroupParameters parameters = randomParameters(choices);
  parameters.cutoffFromAllPairs = true;
  parameters.amongCommon = choices.oneIn(2);
  parameters.factorIsCallers = choices.oneIn(3);
  parameters.filterSimilarities = !choices.oneIn(6);
  return parameters;
}

TEST_P(GroupsRun, WithACutoffFromAllPairsTheFilesAreThoseOfTheLiteralAnalysis) {
  forEachSeed([&](Choices& choices, std::uint64_t seed) {
    const std::vector<Line> lines = seed % 2 == 0 ? randomNetwork(choices) : regular(randomNetwork(choices));
    const GroupParameters parameters = withAllPairs(choices);
    const GroupResult expected = runGroups(lines, parameters, workers);
    Analysis analysis(lines);
    const std::vector<std::string> options = {"--memory", seed % 3 == 0 ? "0" : "1G"};
    const ProgramRun run = analysis.groups(parameters, workers, options);
    if (expected.failed) return expectNoCutoff(run);
    expectFiles(run, analysis, expected);
    if (run.status == 0) expectKept(analysis, expected.keptByWorker);
    const KernelResult kernel = runKernel(lines, parameters, workers);
    EXPECT_THAT(run.out,
                HasSubstr("Log;|1;|Pairs: compared " + std::to_string(kernel.numCompared) + ", with common contacts " +
                          std::to_string(kernel.numWithCommon) + ", kept " + std::to_string(kernel.numKept) +
                          ", of these without common contacts " + std::to_string(kernel.numKeptWithoutCommon) + ";"));
    EXPECT_EQ(run.out.find("Warning;|5012;|") == std::string::npos,
              kernel.numKeptWithoutCommon == 0 && !isCutoffLow(lines, parameters, kernel.cutoff))
        << run.out;
  });
}

TEST_P(GroupsRun, WithACutoffFromAllPairsTheFilesAreThoseOfOneWorker) {
  forEachSeed([&](Choices& choices, std::uint64_t seed) {
    const std::vector<Line> network = randomNetwork(choices, Network::InOrder);
    const std::vector<Line> lines = seed % 2 == 0 ? network : regular(network);
    const GroupParameters parameters = withAllPairs(choices);
    const GroupResult alone = runGroups(lines, parameters, 1);
    Analysis analysis(lines);
    const ProgramRun run = analysis.groups(parameters, workers);
    if (alone.failed) return expectNoCutoff(run);
    expectFiles(run, analysis, alone);
  });
}

TEST_P(GroupsRun, InTheOrderOfNumbersTheGroupsOfAValuesFileAreThoseOfOneWorker) {
  forEachSeed([&](Choices& choices, std::uint64_t seed) {
    const std::vector<Line> lines = ascending(randomNetwork(choices, Network::InOrder));
    GroupParameters parameters = randomParameters(choices);
    const std::string values = kernelValuesOf(lines, parameters, seed % 3 == 0);
    const NodePairs pairs = readKernelValues(values);
    // On one worker the order of a dataset in ascending order is that of the numbers.
    const GroupResult merged = runGroups(lines, parameters, 1, pairs);
    parameters.connectsByNumbers = true;
    Analysis analysis(lines);
    expectFiles(analysis.groupsFrom(values, parameters, workers), analysis, merged);
  });
}

TEST_P(GroupsRun, InTheOrderOfNumbersTheFilesAreThoseOfTheLiteralAnalysis) {
  forEachSeed([&](Choices& choices, std::uint64_t) {
    const std::vector<Line> lines = ascending(randomNetwork(choices, Network::InOrder));
    GroupParameters parameters = randomParameters(choices);
    const GroupResult merged = runGroups(lines, parameters, workers);
    parameters.connectsByNumbers = true;
    const GroupResult expected = runGroups(lines, parameters, workers);
    Analysis analysis(lines);
    const ProgramRun run = analysis.groups(parameters, workers);
    if (expected.failed) return expectNoCutoff(run);
    expectFiles(run, analysis, expected);
    if (workers > 1) return;
    EXPECT_EQ(analysis.clustersCsv(), merged.clustersCsv);
    EXPECT_EQ(analysis.nodesCsv(), merged.nodesCsv);
  });
}

/// A row of the table of levels by the definitions, from the literal analysis at the level.
struct LiteralLevel {
  double cutoff = 0;
  int keptPairs = 0;
  std::map<int, int> sizes;  // of the groups
  int largest = 0;
  int fullGroups = 0;
  int members = 0;
  double callsInside = 0;
  double calls = 0;
  double coverage = 0;
  double modularity = 0;
  double meanDensity = 0;
};

LiteralLevel literalLevel(const std::vector<Line>& lines, const GroupParameters& parameters,
                          const GroupResult& result) {
  LiteralLevel level;
  level.cutoff = result.cutoff;
  for (const auto& kept : result.keptByWorker) level.keptPairs += static_cast<int>(kept.size());
  const auto isLegal = [&](int size) { return size >= parameters.minClusterSize && size <= parameters.maxClusterSize; };
  // The groups of one are numbered below 0.
  std::map<std::uint64_t, int> groupOf;
  int numAlone = 0;
  for (const auto& [node, cluster] : result.nodeToCluster) {
    const int size = result.clusterSizes[static_cast<std::size_t>(cluster - 1)];
    if (!isLegal(size)) continue;
    groupOf[node] = cluster;
    ++level.sizes[cluster];
  }
  const auto groupFor = [&](std::uint64_t node) {
    const auto [entry, isNew] = groupOf.emplace(node, 0);
    if (isNew) entry->second = --numAlone;
    return entry->second;
  };
  std::map<int, double> degrees;
  std::map<int, std::set<NodePair>> inside;
  std::set<std::uint64_t> callers;
  double callsInOne = 0;
  for (const Line& line : lines) {
    callers.insert(sampleOf(line));
    if (line.x1 < 1 || line.x2 <= 0) continue;
    const auto callee = static_cast<std::uint64_t>(line.x2);
    const int from = groupFor(sampleOf(line));
    const int to = groupFor(callee);
    ++level.calls;
    ++degrees[from];
    ++degrees[to];
    if (from != to) continue;
    ++callsInOne;
    if (from < 0) continue;
    ++level.callsInside;
    if (callee != sampleOf(line)) inside[from].insert({sampleOf(line), callee});
  }
  const double m = level.calls;
  level.modularity = callsInOne / m;
  for (const auto& [group, degree] : degrees) level.modularity -= degree / (2 * m) * (degree / (2 * m));
  for (const auto& [group, size] : level.sizes) {
    level.members += size;
    level.largest = std::max(level.largest, size);
    level.fullGroups += size == parameters.maxClusterSize ? 1 : 0;
    if (size > 1) level.meanDensity += static_cast<double>(inside[group].size()) / (size * (size - 1.0));
  }
  if (!level.sizes.empty()) level.meanDensity /= static_cast<double>(level.sizes.size());
  level.coverage = static_cast<double>(level.members) / static_cast<double>(callers.size());
  return level;
}

void expectLevel(const std::vector<std::string>& row, const LiteralLevel& level) {
  const auto number = [&](std::size_t column) { return std::stod(row.at(column)); };
  EXPECT_EQ(number(1), level.cutoff);
  EXPECT_EQ(number(2), level.keptPairs);
  EXPECT_EQ(number(3), static_cast<double>(level.sizes.size()));
  EXPECT_EQ(number(4), level.members);
  EXPECT_EQ(number(5), level.largest);
  EXPECT_EQ(number(6), level.fullGroups);
  EXPECT_EQ(number(7), level.callsInside);
  EXPECT_NEAR(number(8), level.callsInside / level.calls, 1e-12);
  EXPECT_NEAR(number(9), level.coverage, 1e-12);
  EXPECT_NEAR(number(10), level.modularity, 1e-12);
  EXPECT_NEAR(number(11), level.meanDensity, 1e-12);
}

TEST_P(GroupsRun, ComparesLevelsAndGoesOnWithTheBest) {
  forEachSeed([&](Choices& choices, std::uint64_t seed) {
    const std::vector<Line> lines = regular(randomNetwork(choices, Network::InOrder));
    GroupParameters parameters = withAllPairs(choices);
    parameters.filterSimilarities = true;
    parameters.emptyMarker = 0;
    const bool goesOn = seed % 3 != 0;
    Analysis analysis(lines);
    const ProgramRun run = analysis.groups(parameters, workers, {"--levels", goesOn ? "auto" : "0.75,0.2,0.5,0.2"});
    if (runKernel(lines, parameters, 1).failed) return expectNoCutoff(run);
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const auto rows = fieldsOf(analysis.levelsCsv());
    // Of three levels between the two best one may be there already.
    EXPECT_THAT(rows.size(), goesOn ? AllOf(Ge(11U), Le(12U)) : AllOf(Ge(3U), Le(3U)));
    double best = -2;
    std::string chosen;
    for (const auto& row : rows) {
      parameters.sparsityLevel = std::stod(row.at(0));
      const LiteralLevel level = literalLevel(lines, parameters, runGroups(lines, parameters, 1));
      SCOPED_TRACE("level " + row.at(0));
      expectLevel(row, level);
      best = std::max(best, std::stod(row.at(10)));
      if (row.at(12) == "1") chosen = row.at(0);
    }
    if (!goesOn) {
      EXPECT_EQ(chosen, "");
      EXPECT_FALSE(analysis.hasGroups());
      ++completeRuns;
      return;
    }
    parameters.sparsityLevel = std::stod(chosen);
    const GroupResult expected = runGroups(lines, parameters, 1);
    EXPECT_NEAR(literalLevel(lines, parameters, expected).modularity, best, 1e-12);
    expectFiles(run, analysis, expected);
    EXPECT_THAT(run.out, HasSubstr("Log;|1;|Levels: going on with " + chosen + ", which has the best modularity of " +
                                   std::to_string(rows.size()) + " levels, "));
  });
}

INSTANTIATE_TEST_SUITE_P(Workers, GroupsRun, ::testing::Values(1, 2, 3, 4));

}  // namespace
}  // namespace literal
