// The parameters of vesk-analyze from outside: examples, settings of the command line, and what is said of faults.

#include <gmock/gmock.h>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Strings = std::vector<std::string>;

class AnalyzeParameters : public LoaderCase {
 protected:
  /// A dataset of the loader in this form of vesk-generate, "table" or "pairsum".
  void load(const std::string& form) {
    expectEnd(runOther("vesk-generate",
                       {"-n", "20000", "-c", "600", "--group-count", "40", "--group-size", "10", "-o", "in/calls"}));
    const ProgramRun settings = runOther("vesk-generate", {"--params", form});
    expectEnd(settings);
    writeFile("load.xml", settings.out);
    expectEnd(runOther("vesk-loader", {"in", "load.xml", "none", "calls.bin", "2", "20203001"}));
  }
  static void expectEnd(const ProgramRun& program) { ASSERT_EQ(program.status, 0) << program.out << program.err; }
  void analyse(const Strings& arguments) { result = runOther("vesk-analyze", arguments); }

  /// The example of an analysis as the parameter file.
  void example(const std::string& kind) {
    analyse({kind, "--example"});
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    writeFile("params.xml", result.out);
  }
};

TEST_F(AnalyzeParameters, TheExampleOfDiffusionWorks) {
  load("pairsum");
  writeFile("seeds.txt", "100\n101\n102\n");
  example("diffusion");
  analyse({"diffusion", "params.xml", "calls.bin", "--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, Not(HasSubstr("Warning;|2202")));
  EXPECT_TRUE(exists("energy.csv"));
  const std::string ofFile = content("energy.csv");
  // The same run without a file.
  std::filesystem::remove(path("energy.csv"));
  analyse({"diffusion", "--set", "Seed=seeds.txt", "--set", "OutputFileName=energy.csv", "-", "calls.bin"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(content("energy.csv"), ofFile);
  // A setting counts, and a seed file with a name that is no XML is found.
  writeFile("s<&>.txt", "100\n");
  analyse({"diffusion", "params.xml", "calls.bin", "--set", "Seed=s<&>.txt", "--set", "SpreadCoefficient=0.25"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("Using spreading coefficient: 0.25"));
  EXPECT_THAT(result.out, HasSubstr("Seed file: s<&>.txt;|"));
  EXPECT_NE(content("energy.csv"), ofFile);
}

TEST_F(AnalyzeParameters, TheExamplesOfGroupsAndKernelWork) {
  load("table");
  example("kernel");
  analyse({"kernel", "params.xml", "calls.bin", "--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_TRUE(exists("values_worker_0.txt"));
  std::filesystem::remove(path("values_worker_0.txt"));
  example("groups");
  for (const char* kind : {"kernel", "groups"}) {
    analyse({kind, "params.xml", "calls.bin", "--set", "KernelParams/SparsityLevel=0.8"});  // kernel: to no file
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, Not(HasSubstr("unknown parameter")));
    EXPECT_FALSE(exists("values_worker_0.txt"));
  }
  EXPECT_GT(std::filesystem::file_size(path("found_1.nodes.csv")), 1000U);
  analyse({"groups", "params.xml", "calls.bin", "--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(AnalyzeParameters, ASettingIsCheckedLikeTheFile) {
  writeFile("params.xml",
            "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>o</OutputFileName>\n"
            "</AnalysisParams>\n");
  writeFile("calls.bin.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  writeFile("calls.bin", "");
  analyse({"diffusion", "params.xml", "calls.bin", "--set", "MaxNumIterations=0"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("Error;|2202;|MaxNumIterations;|the value \"0\" is illegal, legal is an integer of at least 1;|"
                        "ErrorEnd\nError;|2202;|QUVENSNAData::open: Illegal value. Maximal number of"));
  for (const char* setting : {"MaxIterations=3", "MaxNumIterations", "=3"}) {
    analyse({"diffusion", "params.xml", "calls.bin", "--set", setting});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "vesk-analyze: --set: \"" + std::string(setting) + "\" is not KEY=VALUE with a parameter of diffusion\n");
  }
  // An output that is set is not written over an input.
  writeFile("seeds", "1\n");
  analyse({"diffusion", "params.xml", "calls.bin", "--set", "OutputFileName=seeds"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|seeds;|vesk-analyze: the output would take the place of what"));
}

}  // namespace
}  // namespace vesk_e2e
