// vesk-analyze from outside, alone and under mpirun.

#include <gmock/gmock.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using Strings = std::vector<std::string>;

class AnalyzeRun : public LoaderCase {
 protected:
  AnalyzeRun() {
    writeFile("seeds", "1\n20\n");
    parameterFile("");
    writeFile("calls.bin.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  }

  void parameterFile(const std::string& tags) {
    writeFile("diffusion.xml", "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n" +
                                   tags + "</AnalysisParams>\n");
  }

  /// The triples of callers first..last, each with three callees of the numbers up to 60.
  static std::vector<double> rows(int first, int last) {
    std::vector<double> numbers;
    for (int caller = first; caller <= last; ++caller) {
      const double key = caller;
      numbers.insert(numbers.end(), {key, 0, 3});
      for (int i = 1; i <= 3; ++i)
        numbers.insert(numbers.end(), {key, static_cast<double>(caller * i % 60 + 1), 0.5 + i});
      numbers.insert(numbers.end(), {key, 0, 7788});
    }
    return numbers;
  }

  void diffusion(int workers, const Strings& more = {}, const std::string& dataset = "calls.bin") {
    std::filesystem::remove(path("energy.csv"));
    Strings arguments{"-n",        std::to_string(workers), std::string(VESK_BIN_DIR) + "/vesk-analyze",
                      "diffusion", "diffusion.xml",         dataset};
    arguments.insert(arguments.end(), more.begin(), more.end());
    result = runOther(VESK_MPIRUN, arguments);
  }

  /// A run on one and on two workers that must end with this report and leave no result.
  void expectFailure(const std::string& report, const std::string& dataset = "calls.bin") {
    for (const int workers : {1, 2}) {
      SCOPED_TRACE(std::to_string(workers) + " workers: " + report);
      diffusion(workers, {}, dataset);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr(report));
      EXPECT_FALSE(exists("energy.csv"));
      for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
        EXPECT_THAT(entry.path().filename().string(), Not(::testing::StartsWith("energy")));
      }
    }
  }
};

TEST_F(AnalyzeRun, GivesTheSameResultOnAnyNumberOfWorkers) {
  writeNumbers("calls.bin", rows(1, 50));
  diffusion(1);
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_THAT(result.out, EndsWith("Log;|0;|SNA Terminated Successfully;|LogEnd\n"));
  EXPECT_EQ(result.err, "");
  const std::string alone = content("energy.csv");
  std::set<int> numbers;
  for (int caller = 1; caller <= 50; ++caller) {
    numbers.insert(caller);
    for (int i = 1; i <= 3; ++i) numbers.insert(caller * i % 60 + 1);
  }
  EXPECT_EQ(std::count(alone.begin(), alone.end(), '\n'), static_cast<long>(numbers.size()) + 1);
  for (const int workers : {2, 3, 4}) {
    SCOPED_TRACE(workers);
    diffusion(workers);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(content("energy.csv"), alone);
  }
  // Without a launcher.
  std::filesystem::remove(path("energy.csv"));
  result = runOther("vesk-analyze", {"diffusion", "diffusion.xml", "calls.bin"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(content("energy.csv"), alone);
}

TEST_F(AnalyzeRun, MoreWorkersThanCallersAreAnOrdinaryCase) {
  writeNumbers("calls.bin", rows(1, 1));
  diffusion(1);
  const std::string alone = content("energy.csv");
  diffusion(4);
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(content("energy.csv"), alone);
  writeFile("calls.bin", "");
  diffusion(3);
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(content("energy.csv"), EndsWith("\n1,1,0,0,0,0\n20,1,0,0,0,0\n"));
}

TEST_F(AnalyzeRun, PartsAreOneDataset) {
  writeNumbers("calls.bin", rows(1, 50));
  diffusion(1);
  const std::string whole = content("energy.csv");
  for (const char* name : {"parts.0.info", "parts.1.info"}) writeFile(name, content("calls.bin.info"));
  writeNumbers("parts.0", rows(1, 33));
  writeNumbers("parts.1", rows(34, 50));
  for (const int workers : {1, 3}) {
    diffusion(workers, {}, "parts");
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_EQ(content("energy.csv"), whole);
  }
}

TEST_F(AnalyzeRun, WritesTheResultsOfTheRunAndItsTimings) {
  writeNumbers("calls.bin", rows(1, 50));
  diffusion(2, {"--timings", "--results", "run.xml"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(content("run.xml"), HasSubstr("<AnalysisResults>\n  <InputParameters>\n    <SpreadingCoefficient>0.5</"));
  EXPECT_THAT(content("run.xml"), HasSubstr("<IsSparse>1</IsSparse>"));
  EXPECT_THAT(content("run.xml"), HasSubstr("    <MaxNumberofIterations>100</MaxNumberofIterations>\n"));
  EXPECT_THAT(content("run.xml"), HasSubstr("    <Seeds>\n      <LinesRead>2</LinesRead>\n      <Taken>2</Taken>\n"
                                            "      <DifferentSubscribers>2</DifferentSubscribers>\n"
                                            "      <OccurringInTheData>2</OccurringInTheData>\n"
                                            "      <CallingSomebody>2</CallingSomebody>\n    </Seeds>\n"));
  // The keys as they are read, given or not.
  EXPECT_THAT(content("run.xml"),
              HasSubstr("  <Parameters>\n    <isSparseData>1</isSparseData>\n    <VerbosityLevel>1</VerbosityLevel>\n"
                        "    <SpreadCoefficient>0.5</SpreadCoefficient>\n    <Seed>seeds</Seed>\n"));
  EXPECT_THAT(content("run.xml"), HasSubstr("    <MaxNumIterations>100</MaxNumIterations>\n"));
  EXPECT_THAT(content("run.xml"),
              HasSubstr("  <Run>\n    <Version>2.0.6</Version>\n    <Analysis>diffusion</Analysis>\n"
                        "    <Dataset>calls.bin</Dataset>\n    <Ranks>2</Ranks>\n    <Start>20"));
  EXPECT_THAT(content("run.xml"), HasSubstr("      <Pass-1>\n        <Records>"));
  EXPECT_THAT(content("run.xml"), HasSubstr("    <Warnings>\n      <Count>0</Count>\n    </Warnings>\n"));
  EXPECT_THAT(result.err, HasSubstr("seconds of worker 0\n"));
  EXPECT_THAT(result.err, HasSubstr("seconds of worker 1\n"));
  EXPECT_THAT(result.err, HasSubstr("read     update  transport      merge        end     Mrec/s    MB read\n"));
  EXPECT_THAT(result.err, HasSubstr("\npeak memory: "));
  EXPECT_THAT(result.err, HasSubstr("\nmost time: "));
  // Report lines stand alone on standard output.
  EXPECT_THAT(result.out, Not(HasSubstr("seconds")));
}

// The JSON file has what the XML file has, as numbers and texts, and the defaults of the parameters.
TEST_F(AnalyzeRun, WritesTheResultsAsJsonToo) {
  writeNumbers("42", rows(1, 50));
  std::filesystem::copy_file(path("calls.bin.info"), path("42.info"));
  parameterFile("<SpreadCoeficient>0.4</SpreadCoeficient>\n<SpreadCoefficient>.25</SpreadCoefficient>\n");
  diffusion(2, {"--results", "run.xml", "--results-json", "run.json"}, "42");
  ASSERT_EQ(result.status, 0) << result.out;
  const nlohmann::json results = nlohmann::json::parse(content("run.json"));
  std::vector<std::string> branches;
  for (const auto& branch : results.items()) branches.push_back(branch.key());
  EXPECT_THAT(branches,
              ::testing::UnorderedElementsAre("InputParameters", "RunParameters", "Parameters", "Defaults", "Run"));
  EXPECT_EQ(results["InputParameters"]["SpreadingCoefficient"], 0.25);
  EXPECT_EQ(results["RunParameters"]["Seeds"]["LinesRead"], 2);
  EXPECT_EQ(results["Parameters"]["SpreadCoefficient"], 0.25);
  EXPECT_EQ(results["Parameters"]["Seed"], "seeds");
  EXPECT_EQ(results["Defaults"]["SpreadCoefficient"], 0.5);
  EXPECT_EQ(results["Defaults"]["Seed"], "");
  EXPECT_EQ(results["Parameters"].size(), results["Defaults"].size());
  const nlohmann::json& run = results["Run"];
  EXPECT_EQ(run["Version"], "2.0.6");
  EXPECT_EQ(run["Dataset"], "42");  // a name, and no number
  EXPECT_EQ(run["Ranks"], 2);
  EXPECT_TRUE(run["Seconds"].is_number());
  EXPECT_EQ(run["Passes"]["Pass"][0]["Records"], 125);  // those of rank 0
  EXPECT_EQ(run["Warnings"]["Count"], 1);
  EXPECT_EQ(run["Warnings"]["Warning"][0], "2202;|SpreadCoeficient;|vesk-analyze: unknown parameter is ignored");
  EXPECT_THAT(content("run.xml"), HasSubstr("    <SpreadCoefficient>.25</SpreadCoefficient>\n"));
  EXPECT_THAT(content("run.xml"), Not(HasSubstr("Defaults")));
}

TEST_F(AnalyzeRun, TheJsonFileTakesNoOtherName) {
  writeNumbers("calls.bin", rows(1, 50));
  diffusion(2, {"--results-json", "no/run.json"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|no/run.json;|vesk-analyze: Unable to write results file;|"));
  EXPECT_FALSE(exists("energy.csv"));
  const auto expectRefusal = [&](const Strings& options, const std::string& report) {
    diffusion(2, options);
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Error;|2302;|" + report));
    EXPECT_FALSE(exists("energy.csv"));
  };
  const std::string twice = ";|vesk-analyze: two outputs have one name;|";
  expectRefusal({"--results-json", "energy.csv"}, "energy.csv" + twice);
  expectRefusal({"--results", "run", "--results-json", "./run"}, "./run" + twice);
  expectRefusal({"--results-json", "run", "--timings=json", "run"}, "run" + twice);
  expectRefusal({"--results-json", "seeds"}, "seeds;|vesk-analyze: the output would take the place of what is read;|");
  EXPECT_EQ(content("seeds"), "1\n20\n");
}

TEST_F(AnalyzeRun, WritesTheTimingsOfAllRanksToOneFile) {
  writeNumbers("calls.bin", rows(1, 50));
  for (const int workers : {1, 3}) {
    diffusion(workers, {"--timings=json", "t.json"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(content("t.json"), HasSubstr("\"command\": \"diffusion\",\n  \"dataset\": \"calls.bin\",\n"));
    for (int rank = 0; rank < 4; ++rank) {
      const auto ofRank = HasSubstr("{\"rank\": " + std::to_string(rank) + ", \"seconds\": ");
      if (rank < workers) {
        EXPECT_THAT(content("t.json"), ofRank);
      } else {
        EXPECT_THAT(content("t.json"), Not(ofRank));
      }
    }
    EXPECT_THAT(result.err, Not(HasSubstr("seconds")));
  }
  diffusion(2, {"--timings=json", "no/t.json"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|no/t.json;|vesk-analyze: Unable to write timings file;|"));
  EXPECT_FALSE(exists("energy.csv"));
  diffusion(2, {"--timings=json", "energy.csv"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|energy.csv;|vesk-analyze: two outputs have one name;|"));
}

TEST_F(AnalyzeRun, AnUnknownParameterIsNamed) {
  writeNumbers("calls.bin", rows(1, 5));
  parameterFile("<SpreadCoeficient>0.4</SpreadCoeficient>\n");
  diffusion(2);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("Warning;|2202;|SpreadCoeficient;|vesk-analyze: unknown parameter is ignored;|"));
  diffusion(2, {"--results", "run.xml", "--set", "SpreadCoefficient=0.25"});
  EXPECT_THAT(
      content("run.xml"),
      HasSubstr("    <Warnings>\n      <Count>1</Count>\n      <Warning-1>2202;|SpreadCoeficient;|vesk-analyze: "
                "unknown parameter is ignored</Warning-1>\n    </Warnings>\n"));
  EXPECT_THAT(content("run.xml"), HasSubstr("    <SpreadCoefficient>0.25</SpreadCoefficient>\n"));
}

// A header and empty lines are no lost seeds.
TEST_F(AnalyzeRun, AStrictRunEndsAtSeedsThatAreNoNumbers) {
  writeNumbers("calls.bin", rows(1, 50));
  for (const char* seeds : {"id\n1\n2\n", "1\n\n2\n\n"}) {
    writeFile("seeds", seeds);
    diffusion(2, {"--strict"});
    EXPECT_EQ(result.status, 0) << seeds << result.out;
  }
  for (const char* seeds : {"+2\n1\n", "1\n\"2\"\n", "1\nx\n", "1\n1e2\n", "1,5\n1\n"}) {
    writeFile("seeds", seeds);
    std::filesystem::remove(path("energy.csv"));
    diffusion(2, {"--strict"});
    EXPECT_EQ(result.status, 99) << seeds;
    EXPECT_THAT(result.out,
                HasSubstr("Warning;|5003;|seeds;|QUVENSNAData::readSeedFile: 1 line is no subscriber number"));
    EXPECT_FALSE(exists("energy.csv"));
    diffusion(2);
    EXPECT_EQ(result.status, 0) << seeds;
    EXPECT_THAT(result.out, Not(HasSubstr("Warning;|5003;|seeds;|")));
  }
}

TEST_F(AnalyzeRun, AStrictRunEndsAtADoubt) {
  writeNumbers("calls.bin", rows(1, 50));
  const auto expectStrict = [&](const std::string& code, const std::string& warning) {
    for (const int workers : {1, 3}) {
      SCOPED_TRACE(warning + std::to_string(workers));
      diffusion(workers);
      EXPECT_EQ(result.status, 0) << result.out;
      EXPECT_THAT(result.out, HasSubstr("Warning;|" + code + ";|" + warning));
      EXPECT_TRUE(exists("energy.csv"));
      diffusion(workers, {"--strict", "--results", "run.xml"});
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr("Warning;|" + code + ";|" + warning));
      EXPECT_THAT(result.out, HasSubstr("Error;|4608;|" + code + ";|--strict: "));
      EXPECT_FALSE(exists("energy.csv"));
      EXPECT_FALSE(exists("run.xml"));
    }
  };
  diffusion(2, {"--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
  parameterFile("<SpreadCoeficient>0.4</SpreadCoeficient>\n");
  expectStrict("2202", "SpreadCoeficient;|vesk-analyze: unknown parameter is ignored;|");
  parameterFile("");
  writeFile("seeds", "");
  expectStrict("5009", "seeds;|QUVENSNAData::readSeedFile: no line of the seed file is a subscriber number");
  writeFile("seeds", "777\n");
  expectStrict("5009", "seeds;|QUVENSNAData::endDataScan: no seed occurs in the data");
  writeFile("seeds", "1\n010\n");
  expectStrict("5010", "010;|QUVENSNAData::readSeedFile: the seed is read in base 8");
}

// A strict run used to end at the first unknown parameter and to hide all other mistakes.
TEST_F(AnalyzeRun, AStrictRunNamesAllParameterMistakes) {
  writeNumbers("calls.bin", rows(1, 50));
  const auto unknown = [](const std::string& key) {
    return "Warning;|2202;|" + key + ";|vesk-analyze: unknown parameter is ignored;|WarningEnd\n";
  };
  parameterFile("<SpreadCoeficient>0.4</SpreadCoeficient>\n<Other>1</Other>\n<MaxNumIterations>0</MaxNumIterations>\n");
  for (const int workers : {1, 3}) {
    diffusion(workers, {"--strict"});
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr(unknown("SpreadCoeficient") + unknown("Other")));
    EXPECT_THAT(result.out, HasSubstr("Error;|2202;|MaxNumIterations;|the value \"0\" is illegal"));
  }
  parameterFile("<SpreadCoeficient>0.4</SpreadCoeficient>\n<Other>1</Other>\n");
  diffusion(1, {"--strict"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr(unknown("SpreadCoeficient") + unknown("Other")));
  const std::string end = "Error;|4608;|2202;|--strict: ";
  EXPECT_THAT(result.out, HasSubstr(end));
  EXPECT_EQ(result.out.find(end), result.out.rfind(end));
  EXPECT_FALSE(exists("energy.csv"));
}

TEST_F(AnalyzeRun, WrongFilesEndTheRunOnAllWorkers) {
  writeNumbers("calls.bin", rows(1, 5));
  expectFailure("Error;|2305;|nothing;|Failed to open input data file !!;|ErrorEnd\n", "nothing");
  writeNumbers("bare.bin", rows(1, 5));
  expectFailure("Error;|2306;|bare.bin.info;|Failed to open input data file info !!;|ErrorEnd\n", "bare.bin");
  writeFile("seeds", "");
  std::filesystem::remove(path("seeds"));
  expectFailure("Error;|2307;|QUVENSNAData::readSeedFile: Unable to open seed file;|ErrorEnd\n");
  writeFile("seeds", "1\n");
  parameterFile("<SpreadCoefficient>2</SpreadCoefficient>\n");
  expectFailure("Error;|2202;|QUVENSNAData::open: Illegal value. Spreading coefficient must be in the range (0,1);|");
  writeFile("diffusion.xml", "<Other>1</Other>\n");
  expectFailure("Error;|2202;|diffusion.xml;|vesk-analyze: the parameter file has no element AnalysisParams;|");
  std::filesystem::remove(path("diffusion.xml"));
  expectFailure("Error;|2302;|diffusion.xml;|vesk-analyze: Unable to read parameter file;|ErrorEnd\n");
  std::filesystem::create_directory(path("diffusion.xml"));
  expectFailure("Error;|2302;|diffusion.xml;|vesk-analyze: Unable to read parameter file;|ErrorEnd\n");
}

TEST_F(AnalyzeRun, DatasetsOfAnotherFormAreRefused) {
  std::vector<double> cut = rows(1, 9);
  writeNumbers("calls.bin", cut, "1234");
  expectFailure("Error;|2302;|calls.bin;|vesk-analyze: the dataset ends inside a record;|ErrorEnd\n");
  cut.resize(cut.size() - 3);  // the last footer
  writeNumbers("calls.bin", cut);
  expectFailure("QUVENSNAData::finishIteration: the data end without the footer of a caller;|ErrorEnd\n");
  // The triples of a table: caller, position, callee.
  writeNumbers("calls.bin", {1, 0, 2, 1, 1, 5, 1, 2, 0, 2, 0, 2, 2, 1, 7, 2, 2, 0});
  expectFailure("Error;|4603;|");
  writeNumbers("calls.bin", {1, 5, 2, 1, 0, 7788});
  expectFailure("Error;|4602;|1;|QUVENSNAData::checkMatStateValidity: Expected to see header;|ErrorEnd\n");
  writeFile("calls.bin.info", "Col1 Numeric Explanatory\nCol2 Numeric Explanatory\n");
  writeNumbers("calls.bin", {1, 5, 2, 1});
  expectFailure("Sparse mode requires a line number column in the data. No such column detected.");
  writeFile("calls.bin.info", "Col1 Number LineNumber\n");
  expectFailure("Unknown attribute type ");
}

TEST_F(AnalyzeRun, ColumnsOfAnotherKindAreRefused) {
  writeNumbers("calls.bin", rows(1, 9));
  const std::string line = "Col1 Numeric LineNumber\n";
  const std::string values = "Col2 Numeric Explanatory\nCol3 Numeric Explanatory\n";
  const auto refused = [](const std::string& text) {
    return "Error;|2302;|calls.bin;|vesk-analyze: " + text + ";|ErrorEnd\n";
  };
  const std::string shape = refused("the dataset must have one line number column and 2 explanatory columns");
  for (const std::string& info :
       {line, line + "Col2 Numeric Explanatory\n", line + values + "Col4 Numeric Explanatory\n",
        line + "Col2 Numeric LineNumber\nCol3 Numeric Explanatory\n", line + values + "Col4 Numeric LineNumber\n",
        line + "Col2 Numeric Explanatory\nCol3 Numeric Target\n", std::string()}) {
    writeFile("calls.bin.info", info);
    expectFailure(shape);
  }
  writeFile("calls.bin.info", line + "Col2 Categorical Explanatory\nCol3 Numeric Explanatory\n");
  expectFailure(refused("column Col2 is not numeric"));
  writeFile("calls.bin.info", "Col1 Categorical LineNumber\n" + values);
  expectFailure(refused("column Col1 is not numeric"));
}

TEST_F(AnalyzeRun, AGapInThePartsIsRefused) {
  for (const char* name : {"parts.0", "parts.1", "parts.2"}) {
    writeFile(std::string(name) + ".info", content("calls.bin.info"));
    writeNumbers(name, rows(1, 9));
  }
  const std::string missing = "Error;|2305;|parts.1;|vesk-analyze: a part of the dataset is missing;|ErrorEnd\n";
  std::filesystem::remove(path("parts.1"));
  expectFailure(missing, "parts");
  std::filesystem::remove(path("parts.2"));
  std::filesystem::create_directory(path("parts.1"));
  expectFailure(missing, "parts");
  std::filesystem::remove(path("parts.1"));
  for (const char* name : {"parts.02", "parts.2x", "parts.", "part.3"}) writeFile(name, "");  // no parts
  diffusion(2, {}, "parts");
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(AnalyzeRun, AFailureLeavesTheResultOfAnEarlierRun) {
  const std::vector<double> whole = rows(1, 9);
  const std::vector<double> withoutFooter(whole.begin(), whole.end() - 3);
  std::vector<double> withoutHeader(whole.begin() + 3, whole.end());
  writeFile("energy.csv", "earlier");
  writeFile("run.xml", "earlier");
  const Strings arguments{"diffusion", "diffusion.xml", "calls.bin", "--results", "run.xml"};
  for (const std::vector<double>& numbers : {withoutFooter, withoutHeader, std::vector<double>{1, 0}}) {
    writeNumbers("calls.bin", numbers);
    EXPECT_EQ(runOther("vesk-analyze", arguments).status, 99);
    EXPECT_EQ(content("energy.csv"), "earlier");
    EXPECT_EQ(content("run.xml"), "earlier");
  }
}

TEST_F(AnalyzeRun, WeightsThatShareNothingOutEndTheRun) {
  std::vector<double> numbers = rows(1, 9);
  numbers.insert(numbers.end(), {77, 0, 1, 77, 5, 0, 77, 0, 7788});
  writeNumbers("calls.bin", numbers);
  expectFailure(";|QUVENSNAData::update: the weights of caller 77 have no usable sum, but 0;|ErrorEnd\n");
}

TEST_F(AnalyzeRun, AResultThatCannotBeWrittenEndsTheRun) {
  writeNumbers("calls.bin", rows(1, 50));
  const auto outputTo = [&](const std::string& name) {
    writeFile("diffusion.xml", "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>" + name +
                                   "</OutputFileName>\n</AnalysisParams>\n");
  };
  outputTo("/dev/full");
  expectFailure("Error;|2302;|/dev/full;|QUVENSNAData::writeDataOutputFile: Unable to write output file;|ErrorEnd\n");
  outputTo("no/such/folder/energy.csv");
  expectFailure("QUVENSNAData::writeDataOutputFile: Unable to open output file;|ErrorEnd\n");
  parameterFile("");
  diffusion(2, {"--results", "no/such/folder/run.xml"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("Error;|2302;|no/such/folder/run.xml;|vesk-analyze: Unable to write results file;|"));
}

TEST_F(AnalyzeRun, TheCommandLineIsChecked) {
  for (const Strings& arguments :
       {Strings{}, Strings{"diffusio", "a", "b"}, Strings{"diffusion", "a"}, Strings{"diffusion", "a", "b", "--x"}}) {
    result = runOther("vesk-analyze", arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, ::testing::StartsWith("vesk-analyze: "));
  }
  result = runOther("vesk-analyze", {"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("diffusion"));
  result = runOther("vesk-analyze", {"--version"});
  EXPECT_EQ(result.out, "vesk-analyze 2.0.6\n");
  // Under a launcher one worker speaks.
  result = runOther(VESK_MPIRUN, {"-n", "2", std::string(VESK_BIN_DIR) + "/vesk-analyze", "--version"});
  EXPECT_EQ(result.out, "vesk-analyze 2.0.6\n");
}

}  // namespace
}  // namespace vesk_e2e
