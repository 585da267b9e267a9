// vesk-analyze groups and kernel with files that somebody has cut, named twice or filled with nonsense.

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Cliques of four callers, 1 to 4 and 11 to 14, in a dataset "calls.bin".
class GroupsAttack : public LoaderCase {
 protected:
  using Strings = std::vector<std::string>;

  GroupsAttack() {
    writeFile("calls.bin.info", info);
    writeNumbers("calls.bin", cliques());
  }

  static std::vector<double> cliques() {
    std::vector<double> numbers;
    for (const double first : {1.0, 11.0}) {
      for (double caller = first; caller < first + 4; ++caller) {
        numbers.insert(numbers.end(), {caller, 0, 3});
        double position = 0;
        for (double contact = first; contact < first + 4; ++contact) {
          if (contact != caller) numbers.insert(numbers.end(), {caller, ++position, contact});
        }
        numbers.insert(numbers.end(), {caller, 4, 0});
      }
    }
    return numbers;
  }

  void analyse(const std::string& kind, int workers, const Strings& more = {}) {
    writeFile("params.xml", "<AnalysisParams>\n<MaxClusterSize>4</MaxClusterSize>\n<OutputFileName>" + outputName +
                                "</OutputFileName>\n<OutputFormat>CSV</OutputFormat>\n" + tags + "<KernelParams>\n" +
                                "<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n" +
                                "<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n" +
                                kernelTags + "</KernelParams>\n</AnalysisParams>\n");
    Strings arguments{
        "-n", std::to_string(workers), std::string(VESK_BIN_DIR) + "/vesk-analyze", kind, "params.xml", "calls.bin"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    result = runOther(VESK_MPIRUN, arguments);
  }
  void expectFailure(const std::string& report, const Strings& more = {}) {
    for (const int workers : {1, 2}) {
      SCOPED_TRACE(std::to_string(workers) + " workers: " + report);
      analyse("groups", workers, more);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr("Error;|2302;|" + report + ";|ErrorEnd\n"));
      EXPECT_THAT(result.out, Not(HasSubstr("Entering initIteration")));
    }
  }

  static constexpr const char* info = "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n";
  std::string outputName = "found";
  std::string tags;
  std::string kernelTags = "<isSparseData>1</isSparseData>\n<NormalizingFactor>1000</NormalizingFactor>\n";
};

/// Such a file has whole records only; its last row was left out, and the calls of its caller.
TEST_F(GroupsAttack, ADatasetThatEndsInsideARowIsRefused) {
  std::vector<double> cut = cliques();
  const std::size_t all = cut.size();
  for (const std::size_t records : {1U, 2U, 4U}) {  // the footer, an entry, all but the header
    cut.resize(all - 3 * records);
    writeNumbers("calls.bin", cut);
    expectFailure("calls.bin;|vesk-analyze: the dataset ends inside the row of caller 14");
  }
  writeNumbers("calls.bin", {1, 0, 0});  // a header looks like a footer but for its position
  expectFailure("calls.bin;|vesk-analyze: the dataset ends inside the row of caller 1");
  writeNumbers("calls.bin.0", cliques());
  writeNumbers("calls.bin.1", {21, 0, 1, 21, 1, 1});
  writeFile("calls.bin.2", "");
  std::filesystem::remove(path("calls.bin"));
  expectFailure("calls.bin.1;|vesk-analyze: the dataset ends inside the row of caller 21");
  writeNumbers("calls.bin.1", {21, 0, 1, 21, 1, 1, 21, 2, 0});
  analyse("groups", 1);
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(GroupsAttack, NoOutputTakesThePlaceOfAnotherFile) {
  const std::string taken = ";|vesk-analyze: the output would take the place of what is read";
  for (const char* name : {"calls.bin", "./calls.bin", "calls.bin.info", "params.xml"}) {
    expectFailure(name + taken, {"--results", name});
  }
  expectFailure("found_1.nodes.csv;|vesk-analyze: two outputs have one name", {"--results", "found_1.nodes.csv"});
  expectFailure("./found_1.nodes.csv;|vesk-analyze: two outputs have one name", {"--results", "./found_1.nodes.csv"});
  outputName = "values";
  tags = "<KernelValuesFileName>values_1.nodes.csv</KernelValuesFileName>\n";
  writeFile("values_1.nodes.csv", "1,2,0\n");
  expectFailure("values_1.nodes.csv" + taken);
  EXPECT_EQ(content("values_1.nodes.csv"), "1,2,0\n");
  EXPECT_EQ(content("calls.bin.info"), info);
  // A device is nobody's place.
  tags.clear();
  analyse("groups", 1, {"--results", "/dev/null"});
  EXPECT_EQ(result.status, 0) << result.out;
}

/// The one that could be written stood there like the result of the run that failed.
TEST_F(GroupsAttack, OfTheTwoFilesOfAResultThereAreBothOrNone) {
  for (const char* full : {"found_1.clusters.csv", "found_1.nodes.csv"}) {
    SCOPED_TRACE(full);
    std::filesystem::create_symlink("/dev/full", path(full));
    analyse("groups", 1);
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Error;|2302;|/dev/full;|vesk-analyze: Unable to write output file;|"));
    std::filesystem::remove(path(full));
    EXPECT_FALSE(exists("found_1.clusters.csv"));
    EXPECT_FALSE(exists("found_1.nodes.csv"));
  }
}

TEST_F(GroupsAttack, ParametersWithoutAMeaningAreWarnedOf) {
  const std::string population =
      "Warning;|2202;|NormalizingFactor;|vesk-analyze: similarities over a population that is not a number above 0 "
      "mean nothing;|WarningEnd\n";
  const std::string records =
      "Warning;|2202;|isSparseData;|vesk-analyze: the records of a sparse dataset are compared one by one, as if each "
      "were a subscriber;|WarningEnd\n";
  const auto outputOf = [&](const std::string& sparse, const std::string& factor) {
    kernelTags = "<isSparseData>" + sparse + "</isSparseData>\n<NormalizingFactor>" + factor + "</NormalizingFactor>\n";
    analyse("groups", 1);
    return result.out;
  };
  for (const char* factor : {"0", "-5", "", "nan", "inf", "1e400"}) {
    EXPECT_THAT(outputOf("1", factor), HasSubstr(population)) << factor;
  }
  for (const char* factor : {"1000", "1e-300", "many"}) {
    EXPECT_THAT(outputOf("1", factor), Not(HasSubstr(population))) << factor;
  }
  for (const char* sparse : {"0", "", "0.0"}) EXPECT_THAT(outputOf(sparse, "1000"), HasSubstr(records)) << sparse;
  EXPECT_THAT(outputOf("2", "1000"), Not(HasSubstr(records)));
}

/// A number that does not fit became another subscriber without a word.
TEST_F(GroupsAttack, NumbersOfAValuesFileThatDoNotFitAreWarnedOf) {
  tags = "<KernelValuesFileName>values</KernelValuesFileName>\n";
  const auto outputOf = [&](const std::string& line) {
    writeFile("values", "1,2,0\n" + line + "\n");
    analyse("groups", 1);
    EXPECT_EQ(result.status, 0) << result.out;
    return result.out;
  };
  for (const char* line : {"18446744073709551616,1,0", "1,18446744073709551616,0", "-1,2,0", "1, -2,0"}) {
    EXPECT_THAT(outputOf(line), HasSubstr("Warning;|5005;|2;|")) << line;
  }
  for (const char* line : {"18446744073709551615,1,0", "1,2,-0.5"}) {
    EXPECT_THAT(outputOf(line), Not(HasSubstr("Warning;|5005;|"))) << line;
  }
}

/// One position far out made each of the others as long, a second a caller; with all of them in memory it was
/// gigabytes.
TEST_F(GroupsAttack, APositionFarOutCostsItsOwnRowOnly) {
  std::vector<double> numbers;
  constexpr double numCallers = 20000;
  for (double caller = 1; caller <= numCallers; ++caller) {
    const double position = caller == 1 ? 1000000 : 1;
    numbers.insert(numbers.end(),
                   {caller, 0, 1, caller, position, caller == numCallers ? 1 : caller + 1, caller, 2, 0});
  }
  writeNumbers("calls.bin", numbers);
  const auto start = std::chrono::steady_clock::now();
  analyse("kernel", 1);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_LT(seconds.count(), 15);  // it took 20000 times the 8 MB of the longest row
}

}  // namespace
}  // namespace vesk_e2e
