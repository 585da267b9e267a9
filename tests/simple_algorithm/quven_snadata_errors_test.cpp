// What a diffusion analysis refuses: parameters, rows, files.

#include <algorithm>
#include <filesystem>
#include <limits>

#include "diffusion_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class DiffusionErrors : public DiffusionTest {
 protected:
  /// The report of an analysis opened with these tags, or "opened".
  std::string opening(const std::string& tags) {
    Data data = open(tags, "1\n");
    if (!run.threwLibraryException) {
      QUVEN_DELETE(data);
      return "opened";
    }
    return reportIn(run.out);
  }
  static std::string reportIn(const std::string& out) {
    const std::size_t start = out.rfind("Error;|");
    return start == std::string::npos ? out : out.substr(start, out.find('\n', start) - start);
  }
  static std::string error(const std::string& text) { return "Error;|2202;|" + text + ";|ErrorEnd"; }
  static std::string tag(const std::string& name, const std::string& value) {
    return "<" + name + ">" + value + "</" + name + ">\n";
  }

  /// The names of all files in the folder.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  /// The report and the line on standard error of records in the first pass.
  std::string records(const std::vector<std::array<double, 3>>& list) {
    Data data = open("", "1\n");
    run = capturedRun([&] {
      data->initIteration(QUVEN_ENV);
      for (const auto& [caller, x1, x2] : list) record(*data, static_cast<std::uint64_t>(caller), x1, x2);
      data->finishIteration(QUVEN_ENV);
    });
    QUVEN_DELETE(data);
    return reportIn(run.out);
  }
};

TEST_F(DiffusionErrors, DefaultsAreLogged) {
  EXPECT_EQ(opening(""), "opened");
  const auto log = [](const std::string& text) { return "Log;|1;|" + text + ";|LogEnd\n"; };
  EXPECT_EQ(run.out, log("Using default sparse data flag") + log("Defaulting verbosity level to 1") +
                         log("Using default spreading coeeficient value of 0.5 ") +
                         log("Seed file: " + folder.path("seeds")) + log("Output file: " + folder.path("out.csv")) +
                         log("Using default output format - CSV ") + log("Using default tag prefix - empty string") +
                         log("Using default end condition value of 0.01") +
                         log("Using default maximal number of iterations value of 100") + "find seed file: [" +
                         folder.path("seeds") + "]\n");
}

TEST_F(DiffusionErrors, GivenValuesAreLogged) {
  EXPECT_EQ(opening(tag("isSparseData", "1") + tag("VerbosityLevel", "3") + tag("SpreadCoefficient", "0.25") +
                    tag("OutputFormat", "CSV") + tag("TagPrefix", "x") + tag("EndConditionValue", "0.5") +
                    tag("MaxNumIterations", "010")),
            "opened");
  for (const char* text :
       {"Using sparse data - flag set to 1", "Using spreading coefficient: 0.25", "Output format set to CSV",
        "Using tagprefix: x", "Using EndConditionValue of 0.5", "Maximal number of iterations set to 10"}) {
    EXPECT_THAT(run.out, HasSubstr(std::string("Log;|1;|") + text + ";|LogEnd\n"));
  }
  EXPECT_THAT(run.out, Not(HasSubstr("verbosity")));
}

TEST_F(DiffusionErrors, EachParameterHasItsReport) {
  const std::string sparse = error("QUVENSNAData::open: illegal value: isSparseData flag must be 0 or 1 ");
  EXPECT_EQ(opening(tag("isSparseData", "2")), sparse);
  EXPECT_EQ(opening(tag("isSparseData", "x")), sparse);
  EXPECT_EQ(opening(tag("isSparseData", "")), sparse);
  EXPECT_EQ(opening(tag("isSparseData", "0")), error("QUVENSNAData::open: Data must be sparse!"));
  for (const char* level : {"-1", "101", "1.5", "x"}) {
    EXPECT_EQ(opening(tag("VerbosityLevel", level)), error("QUVENCGAData::open, illegal verbosity level")) << level;
  }
  for (const char* share : {"0", "1", "-0.5", "1.5", "x", "nan", "inf", ""}) {
    EXPECT_EQ(opening(tag("SpreadCoefficient", share)),
              error("QUVENSNAData::open: Illegal value. Spreading coefficient must be in the range (0,1)"))
        << share;
  }
  EXPECT_EQ(opening(tag("OutputFormat", "XML")), error("QUVENSNAData::open: Data format must be CSV"));
  for (const char* value : {"0", "-1", "x", "nan", ""}) {
    EXPECT_EQ(opening(tag("EndConditionValue", value)),
              error("QUVENSNAData::open: Illegal value. End condition value must be positive"))
        << value;
  }
  for (const char* number : {"0", "-1", "1.5", "x", ""}) {
    EXPECT_EQ(opening(tag("MaxNumIterations", number)),
              error("QUVENSNAData::open: Illegal value. Maximal number of iterations must be a positive integer"))
        << number;
  }
  // A prefix passes the check, and the number is read as a decimal behind it: 0.
  EXPECT_EQ(opening(tag("VerbosityLevel", "0x10")), "opened");
  EXPECT_EQ(opening(tag("MaxNumIterations", "0x10")),
            error("QUVENSNAData::open: Illegal value. Maximal number of iterations must be a positive integer"));
}

TEST_F(DiffusionErrors, SeedAndOutputAreRequired) {
  openFile("<AnalysisParams>\n<OutputFileName>x</OutputFileName>\n</AnalysisParams>\n");
  EXPECT_EQ(reportIn(run.out), error("QUVENSNAData::open: No seed file specified"));
  openFile("<AnalysisParams>\n<Seed>x</Seed>\n</AnalysisParams>\n");
  EXPECT_EQ(reportIn(run.out), error("QUVENSNAData::open: No output file name specified"));
}

TEST_F(DiffusionErrors, EveryFaultIsNamedWithItsValueBeforeTheReport) {
  openFile(
      "<AnalysisParams>\n<SpreadCoefficient>2</SpreadCoefficient>\n<EndConditionValue>x</EndConditionValue>\n"
      "<isSparseData>0</isSparseData>\n</AnalysisParams>\n");
  EXPECT_THAT(run.out,
              ::testing::StartsWith(
                  "Error;|2202;|isSparseData;|the value \"0\" is illegal, legal is 1;|ErrorEnd\n"
                  "Error;|2202;|SpreadCoefficient;|the value \"2\" is illegal, legal is a number above 0 and below "
                  "1;|ErrorEnd\n"
                  "Error;|2202;|Seed;|the parameter is missing, legal is a file name;|ErrorEnd\n"
                  "Error;|2202;|OutputFileName;|the parameter is missing, legal is a file name;|ErrorEnd\n"
                  "Error;|2202;|EndConditionValue;|the value \"x\" is illegal, legal is a number above 0;|ErrorEnd\n"
                  "Error;|2202;|QUVENSNAData::open: Data must be sparse!;|ErrorEnd\nTerminating VESK\n"));
}

TEST_F(DiffusionErrors, WithoutAParameterFileTheTagNamesTheSeeds) {
  folder.write("seeds", "7\n");
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  tree->resetTree(QUVEN_ENV);
  QUVENXMLTag& tag = tree->getTag("", QUVEN_ENV).addBranchTag("AnalysisParams", QUVEN_ENV);
  tag.addLeafTag("Seed", QUVEN_ENV).setValue(folder.path("seeds"), QUVEN_ENV);
  tag.addLeafTag("OutputFileName", QUVEN_ENV).setValue(folder.path("out.csv"), QUVEN_ENV);
  auto data = quvenMake<QUVENSNAData>(QUVEN_ENV);
  run = capturedRun([&] { data->open(tag, "", QUVEN_ENV); });
  EXPECT_FALSE(run.threwLibraryException) << run.out;
  runPasses(data, {{1, {{2, 1}}}}, 1);
  EXPECT_EQ(results().count(7), 1);
  QUVEN_DELETE(data);
  QUVEN_DELETE(tree);
}

TEST_F(DiffusionErrors, ARowBeginsWithItsHeader) {
  EXPECT_EQ(records({{1, 2, 3}}),
            "Error;|4602;|1;|QUVENSNAData::checkMatStateValidity: Expected to see header;|ErrorEnd");
  EXPECT_EQ(run.err, "worker: 0 ERROR in row 1, caller: 1, callee: 2, weight: 3\n");
  EXPECT_EQ(records({{1, 0, 0}, {1, 0, 7788}, {2, 3, 1}}),
            "Error;|4602;|3;|QUVENSNAData::checkMatStateValidity: Expected to see header;|ErrorEnd");
}

TEST_F(DiffusionErrors, ARowEndsWithItsFooter) {
  const std::string text = ";|QUVENSNAData::checkMatStateValidity: Caller changed without proper footer;|ErrorEnd";
  EXPECT_EQ(records({{1, 0, 1}, {1, 2, 1}, {2, 0, 1}}), "Error;|4603;|3" + text);
  EXPECT_EQ(run.err, "worker: 0 ERROR in row 3, caller: 2, callee: 0, weight: 1\n");
  EXPECT_EQ(records({{1, 0, 1}, {2, 0, 7788}}), "Error;|4603;|2" + text);  // the footer of another caller
  EXPECT_EQ(records({{1, 0, 1}, {1, 2, 1}}),
            "Error;|4603;|2;|QUVENSNAData::finishIteration: the data end without the footer of a caller;|ErrorEnd");
}

TEST_F(DiffusionErrors, ARowHasNoMoreCalleesThanItsHeaderSays) {
  EXPECT_EQ(records({{1, 0, 1}, {1, 2, 1}, {1, 3, 1}}),
            "Error;|4604;|3;|QUVENSNAData::checkMatStateValidity: number of callees exceeded bound;|ErrorEnd");
  EXPECT_EQ(run.err, "worker: 0 ERROR in row 3, caller: 1, callee: 3, weight: 1\nExpected 1 callees\n");
  // Any other "footer" counts as callee 0.
  EXPECT_EQ(records({{1, 0, 1}, {1, 0, 7787}, {1, 0, 7787}}),
            "Error;|4604;|3;|QUVENSNAData::checkMatStateValidity: number of callees exceeded bound;|ErrorEnd");
  EXPECT_THAT(records({{1, 0, 5}, {1, 0, 7787}, {1, 2, 1}, {1, 0, 7788}}), Not(HasSubstr("Error;|")));
}

TEST_F(DiffusionErrors, AnOutputThatCannotBeWrittenIsReportedAndLeavesNothing) {
  const auto outputTo = [&](const std::string& path) {
    folder.write("seeds", "1\n");
    Data data = openFile("<AnalysisParams>\n<Seed>" + folder.path("seeds") + "</Seed>\n<OutputFileName>" + path +
                         "</OutputFileName>\n</AnalysisParams>\n");
    runPasses(data, {{1, {{2, 1}}}}, 1);
    EXPECT_TRUE(run.threwLibraryException);
    QUVEN_DELETE(data);
    return reportIn(run.out);
  };
  const std::string nowhere = folder.path("no/such/folder/out.csv");
  EXPECT_EQ(outputTo(nowhere),
            "Error;|2302;|" + nowhere + ";|QUVENSNAData::writeDataOutputFile: Unable to open output file;|ErrorEnd");
  EXPECT_EQ(outputTo("/dev/full"),
            "Error;|2302;|/dev/full;|QUVENSNAData::writeDataOutputFile: Unable to write output file;|ErrorEnd");
  EXPECT_THAT(run.out, Not(HasSubstr("SNA Terminated Successfully")));
  EXPECT_EQ(outputTo(""), "Error;|2302;|;|QUVENSNAData::writeDataOutputFile: Unable to open output file;|ErrorEnd");
}

TEST_F(DiffusionErrors, NothingBesideTheResultIsLeft) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 1}}}}, 1);
  QUVEN_DELETE(data);
  EXPECT_EQ(files(), (std::vector<std::string>{"out.csv", "params.xml", "seeds"}));
}

TEST_F(DiffusionErrors, ALinkStaysAndWhatItPointsToIsReplaced) {
  const auto resultIn = [&] {
    Data data = open("", "1\n");
    runPasses(data, {{1, {{2, 1}}}}, 1);
    QUVEN_DELETE(data);
    return run.threwLibraryException ? reportIn(run.out) : folder.read("out.csv");
  };
  const std::string result = resultIn();
  std::filesystem::remove(folder.path("out.csv"));
  std::filesystem::create_symlink("second", folder.path("out.csv"));
  std::filesystem::create_symlink(folder.path("target"), folder.path("second"));
  for (int round = 1; round <= 2; ++round) {  // the target is made, and replaced
    EXPECT_EQ(resultIn(), result);
    EXPECT_EQ(files(), (std::vector<std::string>{"out.csv", "params.xml", "second", "seeds", "target"}));
    EXPECT_FALSE(std::filesystem::is_symlink(folder.path("target")));
    folder.write("target", "old");
  }
  std::filesystem::remove(folder.path("second"));
  std::filesystem::create_symlink("out.csv", folder.path("second"));  // goes round
  EXPECT_EQ(resultIn(), "Error;|2302;|" + folder.path("out.csv") +
                            ";|QUVENSNAData::writeDataOutputFile: Unable to open output file;|ErrorEnd");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("out.csv")));
}

TEST_F(DiffusionErrors, AnotherRunsUnfinishedFileIsLeftAlone) {
  folder.write("out.csv.partial", "of another run");
  folder.write("out.csv.partial1", "of another run");
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 1}}}}, 1);
  QUVEN_DELETE(data);
  EXPECT_EQ(files(),
            (std::vector<std::string>{"out.csv", "out.csv.partial", "out.csv.partial1", "params.xml", "seeds"}));
  EXPECT_EQ(folder.read("out.csv.partial1"), "of another run");
}

TEST_F(DiffusionErrors, ACallerWhoseWeightsHaveNoUsableSumIsRefused) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const auto refused = [](int record, const std::string& sum) {
    return "Error;|4605;|" + std::to_string(record) +
           ";|QUVENSNAData::update: the weights of caller 4 have no usable sum, but " + sum + ";|ErrorEnd";
  };
  EXPECT_EQ(records({{4, 0, 2}, {4, 2, 0}, {4, 3, 0}, {4, 0, 7788}}), refused(4, "0"));
  EXPECT_EQ(run.err, "worker: 0 ERROR in row 4, caller: 4, callee: 0, weight: 7788\n");
  EXPECT_EQ(records({{4, 0, 2}, {4, 2, 1}, {4, 3, -1}, {4, 0, 7788}}), refused(4, "0"));
  EXPECT_EQ(records({{4, 0, 1}, {4, 2, infinity}, {4, 0, 7788}}), refused(3, "inf"));
  EXPECT_EQ(records({{4, 0, 1}, {4, 2, nan}, {4, 0, 7788}}), refused(3, "nan"));
  // The second header begins a sum of 0 for the callees of the first.
  EXPECT_EQ(records({{4, 0, 1}, {4, 2, 1}, {4, 0, 7788}, {4, 0, 0}, {4, 0, 7788}}), refused(5, "0"));
  // Who calls nobody shares nothing out.
  EXPECT_THAT(records({{4, 0, 0}, {4, 0, 7788}, {5, 0, 1}, {5, 0, 9}, {5, 0, 7788}}), Not(HasSubstr("Error;|")));
  EXPECT_THAT(records({{4, 0, 2}, {4, 2, 0}, {4, 3, 1e-320}, {4, 0, 7788}}), Not(HasSubstr("Error;|")));
}

TEST_F(DiffusionErrors, ASumBelowAllNumbersIsWarnedOfAndItsEnergyRefused) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, -std::numeric_limits<double>::infinity()}}}}, 1);
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr("Warning;|5004;|Warning: Row sum smaller than min real value;|WarningEnd\n"));
  EXPECT_EQ(reportIn(run.out),
            "Error;|4606;|2;|QUVENSNAData::endDataScan: the energy of a subscriber is no number;|ErrorEnd");
  EXPECT_EQ(files(), (std::vector<std::string>{"params.xml", "seeds"}));
  QUVEN_DELETE(data);
}

}  // namespace
