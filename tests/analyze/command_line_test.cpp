#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "analyze.h"

namespace vesk_analyze {
namespace {

using ::testing::HasSubstr;

class AnalyzeCommandLine : public ::testing::Test {
 protected:
  CommandLine read(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "vesk-analyze");
    options = {};
    out.str("");
    err.str("");
    return readCommandLine(static_cast<int>(arguments.size()), arguments.data(), options, out, err);
  }

  AnalyzeOptions options;
  std::ostringstream out;
  std::ostringstream err;
};

TEST_F(AnalyzeCommandLine, EveryAnalysisIsACommand) {
  for (const char* command : {"diffusion", "groups", "kernel"}) {
    EXPECT_EQ(read({command, "p.xml", "calls.bin"}), CommandLine::Run);
    ASSERT_NE(options.kind, nullptr);
    EXPECT_STREQ(options.kind->command, command);
    EXPECT_EQ(options.parameterFile, "p.xml");
    EXPECT_EQ(options.dataset, "calls.bin");
    EXPECT_EQ(options.resultsFile, "");
    EXPECT_FALSE(options.timings);
  }
  EXPECT_EQ(read({"groups", "p.xml", "calls.bin", "--timings", "--results", "run.xml"}), CommandLine::Run);
  EXPECT_EQ(options.resultsFile, "run.xml");
  EXPECT_EQ(options.resultsJsonFile, "");
  EXPECT_TRUE(options.timings);
  EXPECT_FALSE(options.verifies);
  EXPECT_EQ(read({"groups", "p.xml", "calls.bin", "--verify"}), CommandLine::Run);
  EXPECT_TRUE(options.verifies);
  EXPECT_EQ(read({"groups", "p.xml", "calls.bin", "--results-json", "run.json"}), CommandLine::Run);
  EXPECT_EQ(options.resultsJsonFile, "run.json");
  EXPECT_EQ(read({"score", "m", "table.bin", "out.csv", "--verify"}), CommandLine::Run);
  EXPECT_TRUE(options.verifies);
}

TEST_F(AnalyzeCommandLine, SettingsStayInTheirOrder) {
  EXPECT_EQ(read({"groups", "-", "calls.bin", "--set", "MaxClusterSize=3", "--set=SparsityLevel=0.1", "--set",
                  "MaxClusterSize=4", "--strict"}),
            CommandLine::Run);
  std::string settings;
  for (const ParameterSetting& setting : options.settings) settings += setting.path + " " + setting.value + "\n";
  EXPECT_EQ(settings, "MaxClusterSize 3\nSparsityLevel 0.1\nMaxClusterSize 4\n");
  EXPECT_EQ(options.parameterFile, "-");
  EXPECT_TRUE(options.isStrict);
  EXPECT_EQ(read({"groups", "p.xml", "calls.bin"}), CommandLine::Run);
  EXPECT_TRUE(options.settings.empty());
  EXPECT_FALSE(options.isStrict);
  EXPECT_EQ(read({"diffusion", "-", "calls.bin", "--set", "MaxClusterSize=3"}), CommandLine::Wrong);
  EXPECT_EQ(err.str(), "vesk-analyze: --set: \"MaxClusterSize=3\" is not KEY=VALUE with a parameter of diffusion\n");
}

TEST_F(AnalyzeCommandLine, TimingsAreATableOrAFile) {
  const auto expect = [&](std::vector<const char*> arguments, bool isTable, const std::string& file) {
    EXPECT_EQ(read(std::move(arguments)), CommandLine::Run) << err.str();
    EXPECT_EQ(options.timings, isTable);
    EXPECT_EQ(options.timingsFile, file);
    EXPECT_EQ(options.dataset, "calls.bin");
  };
  expect({"groups", "p.xml", "calls.bin"}, false, "");
  expect({"groups", "--timings", "p.xml", "calls.bin"}, true, "");
  expect({"groups", "--timings=json", "t.json", "p.xml", "calls.bin"}, false, "t.json");
  expect({"groups", "p.xml", "calls.bin", "--timings=json", "t.json"}, false, "t.json");
  expect({"train", "p.xml", "--timings", "calls.bin", "--timings=json", "t.json"}, true, "t.json");
  expect({"score", "m", "calls.bin", "p.csv", "--timings=json", "t.json"}, false, "t.json");
  expect({"correlations", "--", "--timings=json", "calls.bin"}, false, "");
  EXPECT_EQ(options.parameterFile, "--timings=json");
  const auto expectWrong = [&](const std::vector<const char*>& arguments) {
    EXPECT_EQ(read(arguments), CommandLine::Wrong) << ::testing::PrintToString(arguments);
    EXPECT_THAT(err.str(), HasSubstr("--timings"));
    EXPECT_THAT(err.str(), ::testing::Not(HasSubstr("--timings-json")));
  };
  expectWrong({"groups", "p.xml", "calls.bin", "--timings=json"});
  expectWrong({"groups", "p.xml", "calls.bin", "--timings=xml", "t.xml"});
  expectWrong({"--timings=json", "t.json", "groups", "p.xml", "calls.bin"});
  EXPECT_EQ(read({"groups", "--help"}), CommandLine::Done);
  EXPECT_THAT(out.str(), HasSubstr("--timings=json TEXT"));
  EXPECT_THAT(out.str(), ::testing::Not(HasSubstr("--timings-json")));
}

TEST_F(AnalyzeCommandLine, NetworkAnalysesTakeASizeOfMemory) {
  for (const char* command : {"diffusion", "groups", "kernel"}) {
    EXPECT_EQ(read({command, "p.xml", "calls.bin"}), CommandLine::Run);
    EXPECT_EQ(options.memoryBytes, -1);
    EXPECT_EQ(read({command, "p.xml", "calls.bin", "--memory", "1.5G"}), CommandLine::Run);
    EXPECT_EQ(options.memoryBytes, 3LL << 29);
    EXPECT_EQ(read({command, "--memory=0", "p.xml", "calls.bin"}), CommandLine::Run);
    EXPECT_EQ(options.memoryBytes, 0);
    EXPECT_EQ(read({command, "p.xml", "calls.bin", "--memory", "-1"}), CommandLine::Wrong);
    EXPECT_EQ(read({command, "p.xml", "calls.bin", "--memory", "much"}), CommandLine::Wrong);
    EXPECT_EQ(err.str(), "vesk-analyze: --memory: \"much\" is not a size such as 500M, 1.5G or 0\n");
    EXPECT_EQ(read({command, "--help"}), CommandLine::Done);
    EXPECT_THAT(out.str(), HasSubstr("--memory SIZE"));
  }
  EXPECT_EQ(read({"train", "p.xml", "calls.bin", "--memory", "1G"}), CommandLine::Wrong);
  EXPECT_EQ(read({"score", "m", "calls.bin", "p.csv", "--memory", "1G"}), CommandLine::Wrong);
}

TEST_F(AnalyzeCommandLine, AnExampleNeedsNoFiles) {
  EXPECT_EQ(read({"diffusion", "--example"}), CommandLine::Done);
  EXPECT_THAT(out.str(), ::testing::StartsWith("<AnalysisParams>\n"));
  EXPECT_THAT(out.str(), ::testing::EndsWith("\n</AnalysisParams>\n"));
  EXPECT_EQ(err.str(), "");
}

TEST_F(AnalyzeCommandLine, HelpNamesAllAnalyses) {
  EXPECT_EQ(read({"--help"}), CommandLine::Done);
  for (const AnalysisKind& kind : analysisKinds()) {
    EXPECT_THAT(out.str(), HasSubstr(kind.command));
    EXPECT_THAT(out.str(), HasSubstr(kind.summary));
  }
  EXPECT_EQ(err.str(), "");
  EXPECT_EQ(read({"groups", "--help"}), CommandLine::Done);
  for (const char* word : {"PARAMETER_FILE", "DATASET", "--results", "--timings", "--set", "--example", "--strict"}) {
    EXPECT_THAT(out.str(), HasSubstr(word));
  }
}

TEST_F(AnalyzeCommandLine, HelpEndsWithAnExampleOfTheAnalysis) {
  const auto expectEnd = [&](const std::string& command, const std::string& dataset) {
    const std::string start = "\nExample:\n  mpirun -n 2 vesk-analyze ";
    EXPECT_THAT(out.str(), HasSubstr(start + command + " " + command + ".xml " + dataset + " --timings\n"));
    EXPECT_EQ(out.str().find(start), out.str().rfind(start));
  };
  read({"--help"});
  expectEnd("diffusion", "pairsum.bin");
  read({"diffusion", "--help"});
  expectEnd("diffusion", "pairsum.bin");
  read({"groups", "--help"});
  expectEnd("groups", "table.bin");
  read({"kernel", "--help"});
  expectEnd("kernel", "table.bin");
}

TEST_F(AnalyzeCommandLine, AnythingElseIsWrong) {
  const std::vector<std::vector<const char*>> lines = {{},
                                                       {"group", "a", "b"},
                                                       {"groups"},
                                                       {"groups", "a"},
                                                       {"groups", "a", "b", "c"},
                                                       {"kernel", "a", "b", "--result"}};
  for (const auto& line : lines) {
    EXPECT_EQ(read(line), CommandLine::Wrong);
    EXPECT_THAT(err.str(), ::testing::StartsWith("vesk-analyze: "));
    EXPECT_EQ(out.str(), "");
  }
}

}  // namespace
}  // namespace vesk_analyze
