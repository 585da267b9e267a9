#include "simple_algorithm/quven_kernel_parameters.h"

#include <map>
#include <optional>

#include "control/quven_XML_handler.h"
#include "kernel_tools_fixture.h"
#include "support/temporary_folder.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class QUVENKernelParametersTest : public KernelToolsTest {
 protected:
  using Keys = std::vector<std::pair<std::string, std::string>>;

  QUVENKernelParametersTest() {
    keys = {{"KernelType", "Friends"},
            {"FilterSimilarities", "1"},
            {"isSparseData", "1"},
            {"IsSparseKernel", "1"},
            {"SparsityLevel", "0.5"}};
  }

  void set(const std::string& key, const std::string& value) {
    remove(key);
    keys.emplace_back(key, value);
  }
  void remove(const std::string& key) {
    std::erase_if(keys, [&](const auto& pair) { return pair.first == key; });
  }

  /// Reads the keys below the branch, or below the tag itself; nothing if they were refused.
  std::optional<QUVENKernelParameters> read(bool inBranch = true, const std::string& beside = "") {
    std::string tags;
    for (const auto& [key, value] : keys) tags += "<" + key + ">" + value + "</" + key + ">\n";
    if (inBranch) tags = "<KernelParams>\n" + tags + "</KernelParams>\n";
    const std::string path = folder.write("params.xml", "<AnalysisParams>\n" + beside + tags + "</AnalysisParams>\n");
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    EXPECT_EQ(tree->readXMLFile(path, QUVEN_ENV), 1);
    std::optional<QUVENKernelParameters> parameters;
    run = capturedRun([&] {
      const QUVENParameterSections sections(&quvenKernelParameterSection(), 1);
      parameters = quvenReadKernelParameters(tree->getTag("AnalysisParams", QUVEN_ENV), sections, QUVEN_ENV);
    });
    EXPECT_EQ(run.threwLibraryException, !parameters.has_value());
    QUVEN_DELETE(tree);
    quvenDebugWords = QUVENDebugWords();
    return parameters;
  }
  /// The report with a key set to a value, or "read".
  std::string reportWith(const std::string& key, const std::string& value) {
    const Keys before = keys;
    set(key, value);
    const std::string report = read() ? "read" : reportIn(run.out);
    keys = before;
    return report;
  }
  std::string reportWithout(const std::string& key) {
    const Keys before = keys;
    remove(key);
    const std::string report = read() ? "read" : reportIn(run.out);
    keys = before;
    return report;
  }
  static std::string error(int code, const std::string& text) {
    return "Error;|" + std::to_string(code) + ";|" + text + ";|ErrorEnd";
  }

  TemporaryFolder folder;
  Keys keys;
};

const std::string onlyFriends = "UVENKernelDataParameters::readParameters: only Friends Kernel is supported";
const std::string filterMissing = "UVENKernelDataParameters::readParameters: filter similarities must me true";
const std::string oneIteration = "UVENKernelDataParameters::readParameters: number of computing iterations must be 1";
const std::string dataSparse = "UVENKernelDataParameters::readParameters: data must be sparse";
const std::string kernelSparse =
    "QUVENCGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided";
const std::string levelRange =
    "QUVENCGAData::readKernelValuesFile: sparsity level must stricltly greater than 0 and strictly less than 1";
const std::string illegalVerbosity = "QUVENKernelData:, illegal verbosity level";

TEST_F(QUVENKernelParametersTest, WhatIsNotGivenHasItsDefault) {
  const auto parameters = read();
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->verbosityLevel, 1);
  EXPECT_EQ(parameters->outputFileName, "");
  EXPECT_EQ(parameters->filterSimilarities, 1);
  EXPECT_EQ(parameters->numberOfComputeIterations, 1);
  EXPECT_EQ(parameters->sparseData, 1);
  EXPECT_EQ(parameters->isSparseKernel, 1);
  EXPECT_EQ(parameters->sparsityLevel, 0.5);
  const QUVENKernelSettings& function = parameters->function;
  EXPECT_EQ(function.type, "Friends");
  EXPECT_EQ(function.degree, 1);
  EXPECT_EQ(function.bias, 1);
  EXPECT_EQ(function.multiplier, 1);
  EXPECT_EQ(function.gamma, 1);
  EXPECT_EQ(function.isIndicesData, 1);
  EXPECT_EQ(function.emptyMarker, 0);
  EXPECT_EQ(function.normalizingFactor, 50000000);
  EXPECT_EQ(run.out, log(0, "Starting reading kernel params") + log(1, "Defaulting empty space marker to zero") +
                         log(1,
                             "Defaulting normalizing factor to 50000000. In general, this must be in the order of the "
                             "population size, otherwise results might get skewed!") +
                         log(1, "Reading sparse mode data : 1") + log(1, "Sparsifying kernel: 1") +
                         log(1, "Defaulting verbosity level to 1") + log(0, "Reading kernel params is done."));
}

TEST_F(QUVENKernelParametersTest, WhatIsGivenIsTaken) {
  keys = {{"KernelVerbosity", "42"},
          {"KernelType", "Friends"},
          {"OutputFileName", "some/values.csv"},
          {"FilterSimilarities", "0"},
          {"NumberOfComputeIterations", "1"},
          {"isSparseData", "0"},
          {"IsSparseKernel", "7"},
          {"SparsityLevel", "0.125"},
          {"Degree", "3"},
          {"Bias", "-0.5"},
          {"Multiplier", "2.5"},
          {"Gamma", "0.25"},
          {"IndicesData", "1"},
          {"EmptyMarker", "-1"},
          {"NormalizingFactor", "1e6"},
          {"NumberOfBins", "12"}};
  const auto parameters = read();
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->verbosityLevel, 42);
  EXPECT_EQ(parameters->outputFileName, "some/values.csv");
  EXPECT_EQ(parameters->filterSimilarities, 0);
  EXPECT_EQ(parameters->numberOfComputeIterations, 1);
  EXPECT_EQ(parameters->sparseData, 0);
  EXPECT_NE(parameters->isSparseKernel, 0);
  EXPECT_EQ(parameters->sparsityLevel, 0.125);
  const QUVENKernelSettings& function = parameters->function;
  EXPECT_EQ(function.degree, 3);
  EXPECT_EQ(function.bias, -0.5);
  EXPECT_EQ(function.multiplier, 2.5);
  EXPECT_EQ(function.gamma, 0.25);
  EXPECT_EQ(function.emptyMarker, -1);
  EXPECT_EQ(function.normalizingFactor, 1e6);
  EXPECT_EQ(function.numberOfBins, 12);
  // Data that are not sparse have no line of their own.
  EXPECT_EQ(run.out, log(0, "Starting reading kernel params") + log(1, "Sparsifying kernel: 7") +
                         log(1, "Verbosity level 42") + log(0, "Reading kernel params is done."));
}

TEST_F(QUVENKernelParametersTest, TheBranchIsReadIfThereIsOne) {
  ASSERT_TRUE(read(true, "<KernelType>RBF</KernelType>\n<KernelVerbosity>9</KernelVerbosity>\n"));
  EXPECT_THAT(run.out, HasSubstr("Defaulting verbosity level to 1"));  // what stands beside the branch does not count
  ASSERT_TRUE(read(false, "<KernelVerbosity>9</KernelVerbosity>\n"));
  EXPECT_THAT(run.out, HasSubstr("Verbosity level 9"));
  keys.clear();
  EXPECT_FALSE(read(true, "<KernelType>Friends</KernelType>\n"));
  EXPECT_EQ(reportIn(run.out), error(2204, onlyFriends));
}

TEST_F(QUVENKernelParametersTest, TheVerbosityIsANumberFromZeroToAHundred) {
  for (const char* value : {"-1", "101", "x", "1.5", ""}) {
    EXPECT_EQ(reportWith("KernelVerbosity", value), error(2202, illegalVerbosity)) << value;
  }
  for (const char* value : {"0", "1", "100"}) EXPECT_EQ(reportWith("KernelVerbosity", value), "read") << value;
}

TEST_F(QUVENKernelParametersTest, OnlyFriendsIsLetThrough) {
  for (const char* type : {"Poly", "RBF", "Sigmoid", "Cosine", "Precomputed", "Information", "friends", ""}) {
    EXPECT_EQ(reportWith("KernelType", type), error(2204, onlyFriends)) << type;
  }
  EXPECT_EQ(reportWithout("KernelType"), error(2204, onlyFriends));
  EXPECT_THAT(run.out, Not(HasSubstr("Defaulting KernelType")));
}

TEST_F(QUVENKernelParametersTest, TheFilterHasToBeGivenWhateverItIs) {
  EXPECT_EQ(reportWithout("FilterSimilarities"), error(2204, filterMissing));
  for (const char* value : {"0", "1", "-3"}) EXPECT_EQ(reportWith("FilterSimilarities", value), "read") << value;
}

TEST_F(QUVENKernelParametersTest, ThereIsOneComputeIteration) {
  for (const char* value : {"0", "2", "-1", "x", ""}) {
    EXPECT_EQ(reportWith("NumberOfComputeIterations", value), error(2204, oneIteration)) << value;
  }
  EXPECT_EQ(reportWith("NumberOfComputeIterations", "1"), "read");
}

TEST_F(QUVENKernelParametersTest, TheFormOfTheDataHasToBeGiven) {
  EXPECT_EQ(reportWithout("isSparseData"), error(2204, dataSparse));
  EXPECT_EQ(reportWith("isSparseData", "x"), error(2204, dataSparse));
  set("isSparseData", "0.5");  // any number but 0
  const auto parameters = read();
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->sparseData, 0.5);
  EXPECT_THAT(run.out, HasSubstr(log(1, "Reading sparse mode data : 0.5")));
}

TEST_F(QUVENKernelParametersTest, TheKernelIsSparseAndHasALevel) {
  EXPECT_EQ(reportWithout("IsSparseKernel"), error(2203, kernelSparse));
  EXPECT_EQ(reportWithout("SparsityLevel"), error(2203, kernelSparse));
  EXPECT_EQ(reportWith("IsSparseKernel", "0"), error(2203, kernelSparse));
  EXPECT_EQ(reportWith("IsSparseKernel", "x"), error(2203, kernelSparse));
  EXPECT_EQ(reportWith("SparsityLevel", "x"), error(2203, kernelSparse));
}

TEST_F(QUVENKernelParametersTest, TheLevelLiesStrictlyBetweenZeroAndOne) {
  for (const char* value : {"0", "1", "-0.1", "1.5", "nan", "inf", ""}) {
    EXPECT_EQ(reportWith("SparsityLevel", value), error(2203, levelRange)) << value;
  }
  for (const char* value : {"1e-300", "0.999999", "5e-1"}) EXPECT_EQ(reportWith("SparsityLevel", value), "read");
}

TEST_F(QUVENKernelParametersTest, IndicesDataMustBeOne) {
  for (const char* value : {"0", "2", "x"}) {
    EXPECT_EQ(reportWith("IndicesData", value), error(2204, "Indeces data must be 1")) << value;
  }
  EXPECT_EQ(reportWith("IndicesData", "1"), "read");
}

TEST_F(QUVENKernelParametersTest, WhatIsNoNumberIsRefusedByItsKey) {
  for (const char* key :
       {"Degree", "Bias", "Multiplier", "Gamma", "EmptyMarker", "NormalizingFactor", "NumberOfBins"}) {
    EXPECT_EQ(reportWith(key, "x"), error(2202, std::string("QUVENKernelData: illegal value of ") + key));
  }
}

TEST_F(QUVENKernelParametersTest, EachGivenMarkerSilencesItsNote) {
  EXPECT_EQ(reportWith("EmptyMarker", "0"), "read");
  EXPECT_THAT(run.out, Not(HasSubstr("empty space marker")));
  EXPECT_THAT(run.out, HasSubstr("Defaulting normalizing factor"));
  EXPECT_EQ(reportWith("NormalizingFactor", "5"), "read");
  EXPECT_THAT(run.out, HasSubstr("empty space marker"));
  EXPECT_THAT(run.out, Not(HasSubstr("Defaulting normalizing factor")));
}

/// The first check that fails gives the report that ends the run.
TEST_F(QUVENKernelParametersTest, TheChecksHaveAnOrder) {
  keys = {{"KernelVerbosity", "x"},  {"NumberOfComputeIterations", "2"},
          {"IsSparseKernel", "0"},   {"SparsityLevel", "2"},
          {"Degree", "x"},           {"IndicesData", "0"},
          {"NormalizingFactor", "x"}};
  const auto next = [&] {
    EXPECT_FALSE(read());
    return reportIn(run.out);
  };
  EXPECT_EQ(next(), error(2202, illegalVerbosity));
  EXPECT_THAT(run.out, StartsWith(log(0, "Starting reading kernel params")));
  EXPECT_THAT(run.out, HasSubstr("Terminating VESK"));
  remove("KernelVerbosity");
  EXPECT_EQ(next(), error(2204, onlyFriends));
  set("KernelType", "Friends");
  EXPECT_EQ(next(), error(2204, filterMissing));
  set("FilterSimilarities", "1");
  EXPECT_EQ(next(), error(2204, oneIteration));
  set("NumberOfComputeIterations", "1");
  EXPECT_EQ(next(), error(2204, dataSparse));
  set("isSparseData", "1");
  EXPECT_EQ(next(), error(2203, kernelSparse));
  set("IsSparseKernel", "1");
  EXPECT_EQ(next(), error(2203, levelRange));
  set("SparsityLevel", "0.5");
  EXPECT_EQ(next(), error(2202, "QUVENKernelData: illegal value of Degree"));
  set("Degree", "1");
  EXPECT_EQ(next(), error(2204, "Indeces data must be 1"));
  set("IndicesData", "1");
  EXPECT_EQ(next(), error(2202, "QUVENKernelData: illegal value of NormalizingFactor"));
  set("NormalizingFactor", "1");
  EXPECT_TRUE(read());
}

TEST_F(QUVENKernelParametersTest, EveryFaultIsNamedWithItsValueBeforeTheReport) {
  set("SparsityLevel", "2");
  set("IndicesData", "x");
  remove("FilterSimilarities");
  EXPECT_FALSE(read());
  const auto fault = [](int code, const std::string& path, const std::string& text) {
    return error(code, path + ";|" + text) + "\n";
  };
  EXPECT_THAT(run.out, HasSubstr(log(0, "Starting reading kernel params") +
                                 fault(2204, "KernelParams/FilterSimilarities",
                                       "the parameter is missing, legal is an integer") +
                                 fault(2203, "KernelParams/SparsityLevel",
                                       "the value \"2\" is illegal, legal is a number above 0 and below 1") +
                                 fault(2204, "KernelParams/IndicesData", "the value \"x\" is illegal, legal is 1") +
                                 error(2204, filterMissing) + "\nTerminating VESK\n"));
  EXPECT_FALSE(read(false));
  EXPECT_THAT(run.out, HasSubstr("Error;|2203;|SparsityLevel;|the value \"2\""));
}

}  // namespace
