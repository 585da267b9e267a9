// Cutoffs from all pairs and the comparison of levels from outside: options, failures and what is written.

#include <filesystem>

#include "groups_case.h"

namespace vesk_e2e {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class GroupLevels : public GroupsCase {
 protected:
  GroupLevels() { kernelTags["NormalizingFactor"] = "1000"; }

  static constexpr const char* header =
      "Level,Cutoff,KeptPairs,Groups,Members,Largest,FullGroups,CallsInside,CallsInsideShare,Coverage,Modularity,"
      "MeanDensity,Chosen\n";
};

TEST_F(GroupLevels, AListGivesTheTableAlone) {
  dataset(cliques(12));
  writeFile("found_1.nodes.csv", "earlier");
  for (const int workers : {1, 2}) {
    analyse("groups", workers, {"--levels", "0.5,0.1,0.5"});
    ASSERT_EQ(result.status, 0) << result.out;
    // The cliques are found at both levels, of which the first is named: 48 members, 12 calls of each inside.
    const std::string table = content("found_levels.csv");
    EXPECT_THAT(table, StartsWith(header));
    EXPECT_THAT(table, HasSubstr("\n0.5,"));
    EXPECT_THAT(table, HasSubstr(",12,48,4,0,144,0.9230769230769231,1,"));
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 3);
    EXPECT_THAT(table, Not(HasSubstr(",1\n")));  // none is chosen
    EXPECT_THAT(result.out, HasSubstr("Log;|1;|Levels: 0.1 has the best modularity of 2 levels, "));
    EXPECT_EQ(content("found_1.nodes.csv"), "earlier");
    EXPECT_FALSE(exists("found_1.clusters.csv"));
    std::filesystem::remove(path("found_levels.csv"));
  }
}

TEST_F(GroupLevels, AListHasNoCutoffInTheResults) {
  dataset(cliques(12));
  for (const int workers : {1, 2}) {
    analyse("groups", workers, {"--levels", "0.1,0.5", "--results", "results.xml"});
    ASSERT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(content("results.xml"), AllOf(HasSubstr("<ComparedLevels>2</ComparedLevels>"),
                                              Not(HasSubstr("<Cutoff>")), Not(HasSubstr("NumClustersInGraph"))));
  }
}

TEST_F(GroupLevels, OneLevelHasNoNextBest) {
  dataset(cliques(12));
  analyse("groups", 1, {"--levels", "0.5"});
  ASSERT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("Log;|1;|Levels: 0.5 has the modularity "));
  EXPECT_THAT(result.out, Not(HasSubstr("next best")));
}

TEST_F(GroupLevels, ACutoffOf0HasNoSign) {
  dataset({{1, {2}}, {2, {1}}});
  analyse("groups", 1, {"--levels", "auto", "--set", "KernelParams/NormalizingFactor=inf"});
  ASSERT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(content("found_levels.csv"), HasSubstr("\n0.1,0,2,1,2,"));
}

TEST_F(GroupLevels, AutoTellsTheLevelInTheResults) {
  dataset(cliques(12));
  analyse("groups", 1, {"--levels", "auto", "--results", "results.xml"});
  ASSERT_EQ(result.status, 0) << result.out;
  EXPECT_TRUE(exists("found_1.nodes.csv"));
  EXPECT_THAT(content("found_levels.csv"), HasSubstr(",1\n"));
  EXPECT_THAT(content("results.xml"), AllOf(HasSubstr("<Level>"), HasSubstr("<Modularity>")));
}

TEST_F(GroupLevels, TextsThatAreNoLevelsAreRefused) {
  dataset(cliques(3));
  for (const char* levels : {"", "Auto", "0", "1", "0.5,", ",0.5", "0.5;0.6", "0.5 0.6", "nan", "-0.5", "0.5,1.5"}) {
    analyse("groups", 1, {"--levels", levels});
    EXPECT_EQ(result.status, 1) << levels;
    EXPECT_THAT(result.err, HasSubstr("--levels")) << levels;
  }
  analyse("kernel", 1, {"--levels", "auto"});
  EXPECT_EQ(result.status, 1);
}

TEST_F(GroupLevels, RowsThatAreNotKeptAreOneError) {
  dataset(cliques(3));
  for (const int workers : {1, 2}) {
    analyse("groups", workers, {"--levels", "auto", "--memory", "0"});
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Rows: read from the file in each pass"));
    const std::string error =
        "Error;|2204;|--levels;|QUVENCGAData::compareLevels: levels are compared over rows in memory";
    EXPECT_THAT(result.out, HasSubstr(error));
    EXPECT_EQ(result.out.find(error), result.out.rfind(error));
    EXPECT_FALSE(exists("found_levels.csv"));
  }
  kernelTags["FilterSimilarities"] = "0";
  analyse("groups", 1, {"--levels", "auto"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2204;|--levels;|"));
}

TEST_F(GroupLevels, AKernelValuesFileHasNoLevels) {
  dataset(cliques(3));
  writeFile("values", "11,12,1\n");
  tags["KernelValuesFileName"] = "values";
  analyse("groups", 1, {"--levels", "auto"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2204;|--levels;|QUVENCGAData::compareLevels: levels are compared of a "
                                    "kernel, not from a kernel values file;|ErrorEnd"));
}

TEST_F(GroupLevels, TheKernelWritesNoFileOfItsPairs) {
  dataset(cliques(12));
  kernelTags["OutputFileName"] = "values";
  for (const int workers : {1, 2}) {
    for (const char* levels : {"0.1,0.5", "auto"}) {
      writeFile("values_worker_0", "earlier");
      analyse("groups", workers, {"--levels", levels, "--strict"});
      EXPECT_EQ(result.status, 0) << result.out;
      EXPECT_THAT(result.out, HasSubstr("Warning;|2202;|OutputFileName;|QUVENKernelData: with --levels the kernel "
                                        "writes no file of its pairs;|WarningEnd"));
      EXPECT_EQ(content("values_worker_0"), "earlier");
      EXPECT_FALSE(exists("values_worker_1"));
    }
  }
}

TEST_F(GroupLevels, ATableThatCannotBeWrittenEndsTheRunBeforeIt) {
  dataset(cliques(3));
  std::filesystem::create_directory(path("found_levels.csv"));
  analyse("groups", 1, {"--levels", "0.5"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|found_levels.csv;|"));
  EXPECT_THAT(result.out, Not(HasSubstr("beginDataScan")));
}

TEST_F(GroupLevels, PairsWithoutCommonContactsAreWarnedOf) {
  dataset(cliques(12));
  kernelTags["CutoffFrom"] = "AllPairs";
  kernelTags["SparsityLevel"] = "0.01";
  analyse("groups", 2);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("Warning;|5012;|SparsityLevel;|QUVENKernelData::endDataScan: the cutoff "));
  EXPECT_THAT(result.out, HasSubstr(" keeps 11 pairs without a contact in common; a higher SparsityLevel or "
                                    "CutoffAmong Common drops them"));
  removeResults();
  analyse("groups", 2, {"--strict"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|4608;|5012;|--strict: "));
  EXPECT_FALSE(exists("found_1.nodes.csv"));
  kernelTags["CutoffAmong"] = "Common";
  analyse("groups", 2, {"--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("Pairs: compared 155, with common contacts 144, kept 144, of these without common "
                                    "contacts 0; share below the cutoff: asked 0.01, reached 0, cutoff "));
}

TEST_F(GroupLevels, WithoutACommonContactThereIsNoCutoffAmongThem) {
  dataset({{1, {2}}, {2, {3}}, {3, {4}}, {4, {1}}});
  kernelTags["CutoffFrom"] = "AllPairs";
  kernelTags["CutoffAmong"] = "Common";
  analyse("groups", 2);
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("Warning;|5007;|CutoffAmong;|QUVENKernelData: 4 pairs of subscribers were compared, "
                        "and none of them has a contact in common; CutoffAmong All takes all pairs"));
  EXPECT_THAT(result.out, HasSubstr("Error;|3503;|"));
}

TEST_F(GroupLevels, ThePopulationMayBeTheNumberOfCallers) {
  dataset(cliques(5));
  kernelTags["NormalizingFactor"] = "Callers";
  for (const char* from : {"Workers", "AllPairs"}) {
    for (const int workers : {1, 3}) {
      for (const char* memory : {"0", "1G"}) {
        kernelTags["CutoffFrom"] = from;
        analyse("groups", workers, {"--results", "results.xml", "--memory", memory});
        ASSERT_EQ(result.status, 0) << result.out;
        EXPECT_THAT(result.out, HasSubstr("Log;|1;|NormalizingFactor: 20 callers;|LogEnd"));
        EXPECT_THAT(content("results.xml"), AllOf(HasSubstr("<NormalizingFactor>20</NormalizingFactor>"),
                                                  HasSubstr("<NormalizingFactor>Callers</NormalizingFactor>")));
        const std::string counted = content("found_1.nodes.csv");
        analyse("groups", workers, {"--set", "KernelParams/NormalizingFactor=20", "--memory", memory});
        EXPECT_EQ(content("found_1.nodes.csv"), counted);
      }
    }
  }
}

TEST_F(GroupLevels, FromAKernelValuesFileNoCallersAreCounted) {
  dataset(cliques(3));
  writeFile("values", "11,12,1\n");
  tags["KernelValuesFileName"] = "values";
  kernelTags["NormalizingFactor"] = "Callers";
  analyse("groups", 1, {"--results", "results.xml"});
  ASSERT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(content("results.xml"), Not(HasSubstr("<NormalizingFactor>-")));
}

TEST_F(GroupLevels, CommonPairsWithoutAllPairsAreWarnedOf) {
  dataset(cliques(12));
  kernelTags["CutoffAmong"] = "Common";
  const std::string warning =
      "Warning;|2202;|CutoffAmong;|QUVENKernelData: Common has no effect without CutoffFrom "
      "AllPairs;|WarningEnd";
  for (const int workers : {1, 2}) {
    analyse("groups", workers);
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, HasSubstr(warning));
    EXPECT_EQ(result.out.find(warning), result.out.rfind(warning));
    analyse("groups", workers, {"--strict"});
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Error;|4608;|2202;|--strict: "));
    analyse("groups", workers, {"--levels", "auto", "--strict"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, Not(HasSubstr(warning)));
  }
}

TEST_F(GroupLevels, OtherWordsAreIllegal) {
  dataset(cliques(3));
  const std::vector<std::pair<std::string, std::string>> settings = {
      {"KernelParams/CutoffFrom=all", "QUVENKernelData: illegal value of CutoffFrom"},
      {"KernelParams/CutoffAmong=common", "QUVENKernelData: illegal value of CutoffAmong"},
      {"KernelParams/NormalizingFactor=callers", "QUVENKernelData: illegal value of NormalizingFactor"},
      {"ConnectOrder=number", "QUVENCGAData::open, illegal ConnectOrder value"}};
  for (const auto& [setting, text] : settings) {
    analyse("groups", 1, {"--set", setting});
    EXPECT_EQ(result.status, 99) << setting;
    EXPECT_THAT(result.out, HasSubstr("Error;|2202;|" + setting.substr(0, setting.find('=')) + ";|the value \""));
    EXPECT_THAT(result.out, HasSubstr("Error;|2202;|" + text + ";|ErrorEnd"));
  }
}

TEST_F(GroupLevels, KeysThatAreNotGivenAreNotListed) {
  dataset(cliques(3));
  analyse("groups", 1, {"--results", "results.xml"});
  EXPECT_THAT(content("results.xml"), AllOf(Not(HasSubstr("CutoffFrom")), Not(HasSubstr("CutoffAmong")),
                                            Not(HasSubstr("ConnectOrder")), Not(HasSubstr("<Level>"))));
  kernelTags["CutoffFrom"] = "Workers";
  analyse("groups", 1, {"--results", "results.xml"});
  EXPECT_THAT(content("results.xml"), HasSubstr("<CutoffFrom>Workers</CutoffFrom>"));
}

}  // namespace
}  // namespace vesk_e2e
