// What a diffusion analysis refuses: parameters, rows, files.

#include <filesystem>

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
    const std::size_t start = out.find("Error;|");
    return start == std::string::npos ? out : out.substr(start, out.find('\n', start) - start);
  }
  static std::string error(const std::string& text) { return "Error;|2202;|" + text + ";|ErrorEnd"; }
  static std::string tag(const std::string& name, const std::string& value) {
    return "<" + name + ">" + value + "</" + name + ">\n";
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
}

TEST_F(DiffusionErrors, NothingBesideTheResultIsLeft) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 1}}}}, 1);
  QUVEN_DELETE(data);
  EXPECT_TRUE(std::filesystem::exists(folder.path("out.csv")));
  EXPECT_FALSE(std::filesystem::exists(folder.path("out.csv.partial")));
}

}  // namespace
