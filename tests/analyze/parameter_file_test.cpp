#include "parameter_file.h"

#include <gmock/gmock.h>

#include "parameter_help.h"
#include "support/captured_run.h"
#include "support/temporary_folder.h"

namespace vesk_analyze {
namespace {

using ::testing::HasSubstr;
using Settings = std::vector<ParameterSetting>;

class ParameterFileTest : public ::testing::Test {
 protected:
  ParameterFileTest() { environment.activate(); }
  ~ParameterFileTest() override { EXPECT_EQ(environment.getBytesInUse(), 0); }

  static const AnalysisKind& kindOf(const std::string& command) {
    for (const AnalysisKind& kind : analysisKinds()) {
      if (command == kind.command) return kind;
    }
    throw std::invalid_argument(command);
  }

  /// Reads a parameter file of these tags, "-" for none, and calls the check with it and its tag.
  template <class Check>
  void with(const std::string& command, const std::string& tags, const Settings& settings, Check check) {
    const std::string path =
        tags == "-" ? tags : folder.write("params.xml", "<AnalysisParams>\n" + tags + "</AnalysisParams>\n");
    ParameterFile file(kindOf(command), path, settings, QUVEN_ENV);
    const QUVENXMLTag* tag = nullptr;
    run = capturedRun([&] { tag = &file.read(QUVEN_ENV); });
    ASSERT_NE(tag, nullptr) << run.out;
    check(file, *tag);
    file.release(QUVEN_ENV);
  }
  /// The parameters of such a file as the debug listing.
  std::string listing(const std::string& command, const std::string& tags, const Settings& settings) {
    std::ostringstream text;
    with(command, tags, settings, [&](ParameterFile&, const QUVENXMLTag& tag) { tag.write(text, 0, QUVEN_ENV); });
    return text.str();
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  CapturedRun run;
};

TEST_F(ParameterFileTest, ASettingIsAKeyOfTheAnalysisAndAValue) {
  ParameterSetting setting;
  EXPECT_TRUE(readSetting(kindOf("diffusion"), "Seed=a=b", setting));
  EXPECT_EQ(setting.path, "Seed");
  EXPECT_EQ(setting.value, "a=b");
  EXPECT_TRUE(readSetting(kindOf("diffusion"), "TagPrefix=", setting));
  EXPECT_EQ(setting.value, "");
  for (const char* text : {"Seed", "seed=a", "=a", "", "MaxClusterSize=3", "KernelParams/Seed=a", "Seed/=a"}) {
    EXPECT_FALSE(readSetting(kindOf("diffusion"), text, setting)) << text;
  }
  for (const char* text : {"KernelParams/SparsityLevel=1", "SparsityLevel=1", "MaxClusterSize=1", "OutputFileName=x"}) {
    EXPECT_TRUE(readSetting(kindOf("groups"), text, setting)) << text;
  }
  for (const char* text : {"KernelParams/MaxClusterSize=1", "KernelParams=1", "Kernel/SparsityLevel=1", "Seed=1"}) {
    EXPECT_FALSE(readSetting(kindOf("groups"), text, setting)) << text;
  }
  EXPECT_FALSE(readSetting(kindOf("kernel"), "MaxClusterSize=1", setting));
}

TEST_F(ParameterFileTest, ASettingReplacesTheValueOfTheFile) {
  EXPECT_EQ(listing("diffusion", "<Seed>a</Seed>\n<TagPrefix>p</TagPrefix>\n",
                    {{"Seed", "b"}, {"MaxNumIterations", "7"}, {"Seed", "c"}}),
            "<AnalysisParams>\n  <Seed>c</Seed>\n  <TagPrefix>p</TagPrefix>\n"
            "  <MaxNumIterations>7</MaxNumIterations>\n</AnalysisParams>\n");
  EXPECT_EQ(listing("diffusion", "-", {{"Seed", "a&<b>\"'"}}),
            "<AnalysisParams>\n  <Seed>a&amp;&lt;b&gt;&quot;&apos;</Seed>\n</AnalysisParams>\n");
}

TEST_F(ParameterFileTest, AParameterOfABranchIsSetWhereTheOthersAre) {
  const std::string inBranch =
      "<AnalysisParams>\n  <KernelParams>\n    <SparsityLevel>0.8</SparsityLevel>\n"
      "  </KernelParams>\n</AnalysisParams>\n";
  const std::string branch = "<KernelParams>\n<SparsityLevel>0.5</SparsityLevel>\n</KernelParams>\n";
  EXPECT_EQ(listing("groups", branch, {{"KernelParams/SparsityLevel", "0.8"}}), inBranch);
  EXPECT_EQ(listing("groups", branch, {{"SparsityLevel", "0.8"}}), inBranch);
  EXPECT_EQ(listing("groups", "-", {{"KernelParams/SparsityLevel", "0.8"}}), inBranch);
  const std::string beside = "<AnalysisParams>\n  <SparsityLevel>0.8</SparsityLevel>\n</AnalysisParams>\n";
  EXPECT_EQ(listing("groups", "<SparsityLevel>0.5</SparsityLevel>\n", {{"KernelParams/SparsityLevel", "0.8"}}), beside);
  EXPECT_EQ(listing("groups", "-", {{"SparsityLevel", "0.8"}}), beside);
  // The name of the results and that of the kernel's file are two parameters.
  EXPECT_EQ(listing("groups", "-", {{"OutputFileName", "a"}, {"KernelParams/OutputFileName", "b"}}),
            "<AnalysisParams>\n  <KernelParams>\n    <OutputFileName>b</OutputFileName>\n  </KernelParams>\n"
            "  <OutputFileName>a</OutputFileName>\n</AnalysisParams>\n");
}

TEST_F(ParameterFileTest, AMinusIsAFileNameWithoutSettings) {
  ParameterFile file(kindOf("diffusion"), "-", {}, QUVEN_ENV);
  run = capturedRun([&] { file.read(QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr("Error;|2302;|-;|vesk-analyze: Unable to read parameter file; without one, --set is "
                                 "needed;|ErrorEnd\n"));
  file.release(QUVEN_ENV);
}

TEST_F(ParameterFileTest, TheTextOfTheFileIsReadUnlessTheValueIsSet) {
  const auto textOf = [&](const std::string& tags, const Settings& settings) {
    std::string name;
    with("diffusion", tags, settings, [&](ParameterFile& file, const QUVENXMLTag&) { name = file.fileOfText(); });
    return name;
  };
  EXPECT_EQ(textOf("<Seed>a</Seed>\n", {}), folder.path("params.xml"));
  EXPECT_EQ(textOf("<Seed>a</Seed>\n", {{"TagPrefix", "x"}}), folder.path("params.xml"));
  EXPECT_EQ(textOf("<Seed>a</Seed>\n", {{"Seed", "b"}}), "");
  EXPECT_EQ(textOf("-", {{"TagPrefix", "x"}}), "");
}

TEST_F(ParameterFileTest, InputsAreTheFileAndWhatItNames) {
  using Names = std::vector<std::string>;
  const auto inputsOf = [&](const std::string& command, const std::string& tags, const Settings& settings) {
    Names names;
    with(command, tags, settings, [&](ParameterFile& file, const QUVENXMLTag&) { names = file.inputFiles(QUVEN_ENV); });
    return names;
  };
  const std::string params = folder.path("params.xml");
  EXPECT_EQ(inputsOf("diffusion", "<Seed>a</Seed>\n", {}), (Names{params, "a"}));
  EXPECT_EQ(inputsOf("diffusion", "<Seed>a</Seed>\n", {{"Seed", "b"}}), (Names{params, "b"}));
  EXPECT_EQ(inputsOf("diffusion", "-", {{"Seed", "b"}}), Names{"b"});
  EXPECT_EQ(inputsOf("groups", "<KernelValuesFileName>v</KernelValuesFileName>\n", {}), (Names{params, "v"}));
}

TEST_F(ParameterFileTest, TheKernelPassesOverTheParametersOfGroups) {
  const std::string groups = parameterExample(kindOf("groups"));
  const std::size_t start = groups.find('\n') + 1;
  const std::string tags = groups.substr(start, groups.rfind('\n') + 1 - start);
  for (const char* command : {"groups", "kernel"}) {
    listing(command, tags, {});
    EXPECT_EQ(run.out, "") << command;
  }
  listing("kernel", "<Seed>a</Seed>\n<KernelParams>\n<MaxClusterSize>1</MaxClusterSize>\n</KernelParams>\n", {});
  for (const char* key : {"Seed", "MaxClusterSize"}) {
    EXPECT_THAT(run.out, HasSubstr(std::string("Warning;|2202;|") + key + ";|vesk-analyze: unknown parameter is ign"));
  }
}

}  // namespace
}  // namespace vesk_analyze
