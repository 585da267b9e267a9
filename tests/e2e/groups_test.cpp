// vesk-analyze groups and kernel from outside, alone and under mpirun: what they find and what they refuse.

#include <algorithm>
#include <sstream>

#include "groups_case.h"

namespace vesk_e2e {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class GroupsProgram : public GroupsCase {};

TEST_F(GroupsProgram, FindsCliquesOnAnyNumberOfWorkers) {
  // Cliques are spread over the workers as a whole: their members are alike modulo 12.
  const auto number = [](std::uint64_t node) { return 12 * node + node / 10 % 12; };
  Contacts network;
  for (const auto& [caller, list] : cliques(12)) {
    for (const std::uint64_t contact : list) network[number(caller)].push_back(number(contact));
  }
  dataset(network);
  Strings expected;
  for (std::uint64_t c = 1; c <= 12; ++c) {
    std::ostringstream list;
    for (std::uint64_t i = 1; i <= 4; ++i) list << (i > 1 ? " " : "") << number(10 * c + i);
    expected.push_back(list.str());
  }
  std::sort(expected.begin(), expected.end());
  for (const int workers : {1, 2, 3, 4}) {
    SCOPED_TRACE(workers);
    expectGroups(workers);
    EXPECT_EQ(groups(), expected);
    const std::string end = "Log;|0;|CGA Terminated Successfully;|LogEnd\n";
    EXPECT_THAT(result.out, HasSubstr(end));
    // What other workers have to say may come later.
    if (workers == 1) {
      EXPECT_THAT(result.out, EndsWith(end));
    }
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(partialFiles(), Strings{});
  }
  // Without a launcher.
  removeResults();
  result = runOther("vesk-analyze", {"groups", "params.xml", "calls.bin"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(groups(), expected);
}

TEST_F(GroupsProgram, ReadsTheTableOfTheLoader) {
  // Callee behind caller; the table keeps the contacts ascending and fills the rows up with zeros.
  Strings lines;
  for (const auto& [caller, list] : cliques(4)) {
    for (const std::uint64_t contact : list) lines.push_back(std::to_string(caller) + " " + std::to_string(contact));
  }
  std::reverse(lines.begin(), lines.end());
  parameters("fields 1-2 4-5; Key 1; Output Sparse; CyclicTableSize 7; op CyclicAdd 2");
  LoaderCase::records("a", lines);
  outputFile = "calls.bin";
  run();
  ASSERT_EQ(result.status, 0) << result.out;
  expectGroups(2);
  EXPECT_EQ(groups(), (Strings{"11 12 13 14", "21 22 23 24", "31 32 33 34", "41 42 43 44"}));
}

TEST_F(GroupsProgram, PartsAreOneDataset) {
  const Contacts all = cliques(6);
  dataset(all);
  expectGroups(2);
  const std::string whole = nodes();
  writeNumbers("calls.bin.0", records(Contacts(all.begin(), all.find(31))));
  writeNumbers("calls.bin.1", records(Contacts(all.find(31), all.end())));
  for (const char* name : {"calls.bin.0.info", "calls.bin.1.info"}) writeFile(name, content("calls.bin.info"));
  std::filesystem::remove(path("calls.bin"));
  expectGroups(2);
  EXPECT_EQ(nodes(), whole);
}

TEST_F(GroupsProgram, MoreWorkersThanCallersAreAnOrdinaryCase) {
  dataset({{4, {8}}, {8, {4}}});  // both fall to worker 0 of four
  for (const int workers : {1, 4}) {
    expectGroups(workers);
    EXPECT_EQ(groups(), Strings{"4 8"});
  }
  tags["KernelValuesFileName"] = "values";
  writeFile("values", "1,2,0\n");
  dataset({{1, {2}}, {2, {1}}});
  for (const int workers : {1, 4}) {
    expectGroups(workers);
    EXPECT_EQ(groups(), Strings{"1 2"});
  }
  writeFile("calls.bin", "");  // nobody calls
  expectGroups(3);
  EXPECT_EQ(clusters(), clusterHeader());
  EXPECT_EQ(nodes(), nodeHeader());
}

/// The pairs of all workers, worker after worker, are what a run on as many workers clusters.
TEST_F(GroupsProgram, TheFilesOfTheKernelStartTheGroups) {
  Contacts network = cliques(15);
  for (std::uint64_t c = 1; c <= 15; ++c) {
    network[10 * c + 5] = {10 * c + 1, 10 * c + 2};  // strangers who are to be connected
    network[10 * c + 6] = {10 * c + 5, 10 * c + 12};
  }
  dataset(network);
  kernelTags["OutputFileName"] = "kept.txt";
  tags["MaxClusterSize"] = "6";
  for (const int workers : {1, 2, 3}) {
    SCOPED_TRACE(workers);
    expectGroups(workers);
    const std::string whole = clusters() + nodes();
    std::string values;
    for (int rank = 0; rank < workers; ++rank) values += content("kept_worker_" + std::to_string(rank) + ".txt");
    for (int rank = 0; rank < workers; ++rank) {
      std::filesystem::remove(path("kept_worker_" + std::to_string(rank) + ".txt"));
    }
    analyse("kernel", workers);
    ASSERT_EQ(result.status, 0) << result.out;
    std::string fromKernel;
    for (int rank = 0; rank < workers; ++rank) fromKernel += content("kept_worker_" + std::to_string(rank) + ".txt");
    EXPECT_EQ(fromKernel, values);
    EXPECT_GE(std::count(values.begin(), values.end(), '\n'), 15 * 12);

    writeFile("values", values);
    tags["KernelValuesFileName"] = "values";
    expectGroups(workers);
    tags.erase("KernelValuesFileName");
    EXPECT_THAT(result.out, HasSubstr("Starting from kernel values file\n"));
    EXPECT_THAT(result.out, HasSubstr("Read " + std::to_string(std::count(values.begin(), values.end(), '\n')) +
                                      " kernel values from file\n"));
    EXPECT_EQ(clusters() + nodes(), whole);
  }
}

TEST_F(GroupsProgram, TheKernelAloneTakesItsParametersWithoutTheirBranch) {
  dataset(cliques(3));
  kernelTags["OutputFileName"] = "kept.txt";
  analyse("kernel", 1);
  const std::string kept = content("kept_worker_0.txt");
  const std::string first = kept.substr(0, kept.find('\n'));
  // Column, row and value in columns of 15.
  EXPECT_EQ(first.substr(0, 34), "             11,\t             12,\t");
  std::string text = "<AnalysisParams>\n";
  for (const auto& [name, value] : kernelTags) text += "<" + name + ">" + value + "</" + name + ">\n";
  writeFile("flat.xml", text + "</AnalysisParams>\n");
  std::filesystem::remove(path("kept_worker_0.txt"));
  result = runOther("vesk-analyze", {"kernel", "flat.xml", "calls.bin"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(content("kept_worker_0.txt"), kept);
  EXPECT_THAT(result.out, Not(HasSubstr("Warning;|")));
}

TEST_F(GroupsProgram, AKernelWithoutAFileIsWarnedOf) {
  dataset(cliques(3));
  analyse("kernel", 2);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("Warning;|2202;|OutputFileName;|vesk-analyze: without it the results are written "
                                    "nowhere;|WarningEnd\n"));
}

TEST_F(GroupsProgram, WritesTheParametersAndCountersOfTheRun) {
  dataset(cliques(3));
  tags["MinClusterSize"] = "2";
  for (const int workers : {1, 2}) {
    analyse("groups", workers, {"--results", "run.xml", "--timings"});
    ASSERT_EQ(result.status, 0) << result.out;
    const std::string results = content("run.xml");
    const std::size_t end = results.find("    <Cutoff>");
    EXPECT_EQ(results.substr(0, end),
              "<AnalysisResults>\n"
              "  <InputParameters>\n"
              "    <MinClusterSize>2</MinClusterSize>\n"
              "    <MaxClusterSize>20</MaxClusterSize>\n"
              "    <NumIterationsConnectingNodes>1</NumIterationsConnectingNodes>\n"
              "    <Kernel>\n"
              "      <KernelType>Friends</KernelType>\n"
              "      <IsIndicesData>1</IsIndicesData>\n"
              "      <EmptyMarker>0</EmptyMarker>\n"
              "      <NormalizingFactor>100</NormalizingFactor>\n"
              "    </Kernel>\n"
              "  </InputParameters>\n"
              "  <RunParameters>\n"
              "    <Iteration-1>\n"
              "      <NumEdgesInGraph>36</NumEdgesInGraph>\n"
              "      <NumClustersInGraph>3</NumClustersInGraph>\n"
              "      <NumNodesInRelevantClusters>12</NumNodesInRelevantClusters>\n"
              "    </Iteration-1>\n");
    ASSERT_NE(end, std::string::npos);
    // The cutoff is that of the log.
    const std::size_t value = end + std::string("    <Cutoff>").size();
    std::ostringstream cutoff;
    cutoff << std::stod(results.substr(value));
    EXPECT_THAT(result.out, HasSubstr("cutoff threshold=" + cutoff.str() + "\n"));
    EXPECT_THAT(results, HasSubstr("</Cutoff>\n  </RunParameters>\n  <Parameters>\n    <KernelParams>\n"
                                   "      <KernelVerbosity>1</KernelVerbosity>\n"));
    EXPECT_THAT(results, HasSubstr("      <SparsityLevel>0.5</SparsityLevel>\n"));
    EXPECT_THAT(results, HasSubstr("    <Analysis>groups</Analysis>\n    <Dataset>calls.bin</Dataset>\n    <Ranks>" +
                                   std::to_string(workers) + "</Ranks>\n"));
    EXPECT_THAT(results, HasSubstr("      <Pass-6>\n"));
    EXPECT_THAT(results, Not(HasSubstr("Pass-7")));
    // Two passes of the kernel, its edges, connecting, collecting, ranking.
    for (int rank = 0; rank < workers; ++rank) {
      EXPECT_THAT(result.err, HasSubstr("seconds of worker " + std::to_string(rank) + "\n"));
    }
    // A title, a head, six passes; their sums, rates, memory and the costliest phase.
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), workers * 12);
    for (const char* pass : {"\n     1", "\n     6"}) EXPECT_THAT(result.err, HasSubstr(pass));
    EXPECT_THAT(result.err, Not(HasSubstr("\n     7")));
    EXPECT_THAT(result.out, Not(HasSubstr("seconds")));
  }
}

TEST_F(GroupsProgram, HelpNamesTheAnalyses) {
  result = runOther("vesk-analyze", {"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("Groups of subscribers with their leaders over a table dataset"));
  EXPECT_THAT(result.out, HasSubstr("Similarities of subscribers over a table dataset, from which groups can start"));
  result = runOther("vesk-analyze", {"groups", "--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("PARAMETER_FILE"));
}

TEST_F(GroupsProgram, UnknownParametersAreNamed) {
  dataset(cliques(3));
  tags["MaxClustersSize"] = "7";
  tags["SparsityLevel"] = "0.9";  // it belongs to the kernel
  kernelTags["Normalising"] = "7";
  kernelTags["MaxClusterSize"] = "7";
  const auto unknown = [](const std::string& name) {
    return "Warning;|2202;|" + name + ";|vesk-analyze: unknown parameter is ignored;|WarningEnd\n";
  };
  analyse("groups", 2);
  EXPECT_EQ(result.status, 0);
  for (const char* name : {"MaxClustersSize", "SparsityLevel", "Normalising", "MaxClusterSize"}) {
    EXPECT_THAT(result.out, HasSubstr(unknown(name)));
  }
  EXPECT_THAT(result.out, Not(HasSubstr(unknown("KernelParams"))));
  EXPECT_THAT(result.out, Not(HasSubstr(unknown("KernelType"))));
}

TEST_F(GroupsProgram, TheKernelTakesTheParameterFileOfTheGroups) {
  dataset(cliques(3));
  tags["MinClusterSize"] = "2";
  tags["KernelValuesFileName"] = "kept_worker_0.txt";
  kernelTags["OutputFileName"] = "kept.txt";
  analyse("kernel", 1);
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, Not(HasSubstr("Warning;|")));
  analyse("groups", 1);
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("Starting from kernel values file\n"));
}

/// The callers of a clique have two contacts in common; the first caller of a clique has none in common with that of
/// the next clique, which it calls.
TEST_F(GroupsProgram, ACutoffThatKeepsPairsWithoutCommonContactsIsWarnedOf) {
  dataset(cliques(12));
  kernelTags["NormalizingFactor"] = "100000";
  for (const char* kind : {"groups", "kernel"}) {
    for (const int workers : {1, 2}) {
      kernelTags["SparsityLevel"] = "0.5";
      analyse(kind, workers, {"--strict", "--set", "KernelParams/OutputFileName=kept"});
      EXPECT_EQ(result.status, 0) << result.out;
      EXPECT_THAT(result.out, Not(HasSubstr("Warning;|")));
      kernelTags["SparsityLevel"] = "0.01";
      analyse(kind, workers, {"--set", "KernelParams/OutputFileName=kept"});
      EXPECT_EQ(result.status, 0);
      EXPECT_THAT(result.out, HasSubstr("Warning;|5012;|SparsityLevel;|QUVENKernelData::endDataScan: the cutoff keeps "
                                        "pairs of similarity "));
      removeResults();
      analyse(kind, workers, {"--strict", "--set", "KernelParams/OutputFileName=kept"});
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr("Error;|4608;|5012;|--strict: "));
      EXPECT_FALSE(exists("found_1.nodes.csv"));
    }
  }
}

TEST_F(GroupsProgram, ClustersThatAreCutAreWarnedOf) {
  dataset(cliques(12));
  tags["MaxClusterSize"] = "2";
  analyse("groups", 2);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("Warning;|5013;|MaxClusterSize;|QUVENCGAData::buildInitialClusters: of "));
  removeResults();
  analyse("groups", 2, {"--strict"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|4608;|5013;|--strict: "));
  EXPECT_FALSE(exists("found_1.nodes.csv"));
  tags["MaxClusterSize"] = "20";
  analyse("groups", 2, {"--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(GroupsProgram, AStrictRunWithoutClustersLeavesNoResult) {
  dataset({{1, {2}}, {2, {3}}, {3, {1}}});
  tags["KernelValuesFileName"] = "values";
  writeFile("values", "");
  analyse("groups", 2);
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("Warning;|5006;|"));
  EXPECT_TRUE(exists("found_1.nodes.csv"));
  for (const int workers : {1, 2}) {
    removeResults();
    analyse("groups", workers, {"--strict"});
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Error;|4608;|5006;|--strict: "));
    EXPECT_FALSE(exists("found_1.clusters.csv"));
    EXPECT_FALSE(exists("found_1.nodes.csv"));
    EXPECT_EQ(partialFiles(), Strings{});
  }
}

TEST_F(GroupsProgram, WrongParametersEndTheRun) {
  dataset(cliques(3));
  const Tags sound = tags;
  tags["MaxClusterSize"] = "0";
  expectFailure("Error;|2202;|QUVENCGAData::open, illegal max cluster size;|ErrorEnd\n");
  tags = sound;
  tags["OutputFormat"] = "Compact";
  expectFailure("Error;|2204;|QUVENCGAData::open, only CSV format is supported in this version;|ErrorEnd\n");
  tags = sound;
  kernelTags["KernelType"] = "Poly";
  const std::string onlyFriends =
      "Error;|2204;|UVENKernelDataParameters::readParameters: only Friends Kernel is supported;|ErrorEnd\n";
  expectFailure(onlyFriends);
  expectFailure(onlyFriends, "kernel");
  EXPECT_FALSE(hasBegun());
}

TEST_F(GroupsProgram, DatasetsOfOtherRunsAreRefused) {
  const auto refused = [](const std::string& kind, int number, const std::string& record) {
    return "Error;|2302;|calls.bin;|vesk-analyze: record " + std::to_string(number) + " (" + record +
           ") does not fit; " + kind + " needs the sparse output of a table run;|ErrorEnd\n";
  };
  for (const char* kind : {"groups", "kernel"}) {
    writeNumbers("calls.bin", {1, 0, 1, 1, 5, 3, 1, 0, 7788, 2, 0, 0, 2, 0, 7788});
    expectFailure(refused(kind, 3, "1, 0, 7788"), kind);  // pair sums
    writeNumbers("calls.bin", {1, 12, 34, 2, 56, 78});
    expectFailure(refused(kind, 1, "1, 12, 34"), kind);  // dense
    EXPECT_FALSE(hasBegun());
  }
  writeFile("calls.bin.info",
            "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n"
            "Col4 Numeric Explanatory\n");
  writeNumbers("calls.bin", {1, 12, 34, 56});
  expectFailure(
      "Error;|2302;|calls.bin;|vesk-analyze: the dataset must have one line number column and 2 explanatory "
      "columns;|ErrorEnd\n");
}

TEST_F(GroupsProgram, AKernelValuesFileThatIsMissingEndsTheRun) {
  dataset(cliques(3));
  tags["KernelValuesFileName"] = "values";
  const std::string report =
      "Error;|2304;|QUVENCGAData::readKernelValuesFile: Unable to kernel values file;|ErrorEnd\n";
  expectFailure(report);
  std::filesystem::create_directory(path("values"));
  expectFailure(report);
}

TEST_F(GroupsProgram, WithoutAPairThereIsNoCutoff) {
  dataset({{1, {70, 71}}, {2, {70, 72}}});  // nobody names a caller
  const std::string report =
      "Error;|3503;|buildSelfKernelValuesHistogram:Could not find any samples for the histogram. It is likely that the "
      "data is corrupt or parameters are set too restrictively.;|ErrorEnd\n";
  expectFailure(report);
  EXPECT_THAT(result.out, HasSubstr("Warning;|5007;|FilterSimilarities;|"));
  expectFailure(report, "kernel");
  writeFile("calls.bin", "");
  expectFailure(report);
}

/// The report used to say that no caller names another, and blamed the parameter alone.
TEST_F(GroupsProgram, WithoutAPairOnAnyRankTheSplitIsNamed) {
  dataset({{1, {2, 70}}, {2, {1, 70}}, {3, {4, 70}}, {4, {3, 70}}});  // ranks have the odd and the even callers
  expectGroups(1);
  analyse("groups", 2);
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Warning;|5007;|FilterSimilarities;|QUVENKernelData: the callers are split over 2 "
                                    "ranks, and on none of them has a subscriber another caller of the same rank"));
}

/// Whoever names nobody but itself is alike to itself only.
TEST_F(GroupsProgram, WithoutSimilarSubscribersTheParametersAreNamed) {
  dataset({{1, {1, 70}}, {2, {2, 70}}, {3, {3}}});
  for (const int workers : {1, 2}) {
    expectGroups(workers);
    EXPECT_THAT(result.out, HasSubstr("Warning;|5006;|SparsityLevel;|"));
    EXPECT_THAT(result.out, HasSubstr("NormalizingFactor"));
    EXPECT_EQ(clusters(), clusterHeader());
    EXPECT_EQ(nodes(), nodeHeader());
  }
}

}  // namespace
}  // namespace vesk_e2e
