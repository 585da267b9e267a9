// The parameters of the group analysis, and what it says of itself.

#include "group_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class QUVENCGADataOpen : public GroupTest {
 protected:
  static std::string illegal(const std::string& what) { return error(2202, "QUVENCGAData::open, illegal " + what); }

  /// The value at a path of what the analysis writes to a tag, or "none".
  std::string result(const Data& data, const std::string& path) {
    QUVENXMLTag tag;
    data->writeResultsToTag(tag, QUVEN_ENV);
    const std::string value = tag.hasTag(path, QUVEN_ENV) ? tag.getTag(path, QUVEN_ENV).getValue() : "none";
    tag.destroyPrimitive(QUVEN_ENV);
    return value;
  }
};

TEST_F(QUVENCGADataOpen, DefaultsAreLoggedInOneLine) {
  EXPECT_EQ(opening({}), "opened");
  const std::string start = log(0, "Starting reading parameter file.") + log(0, "Starting reading kernel params");
  EXPECT_EQ(run.out.substr(0, start.size()), start);
  const std::string end = log(0, "Reading kernel params is done.") +
                          log(1,
                              "Defaulting min cluster size to: 1\n"
                              "Defaulting number iterations to: 1\n"
                              "Defaulting number iterations for collecting edges: 1\n"
                              "Defaulting number iterations for connecting nodes to: 1\n") +
                          log(0, "Reading parameter file is done.");
  EXPECT_THAT(run.out, ::testing::EndsWith(end));
}

TEST_F(QUVENCGADataOpen, GivenValuesAreNotLogged) {
  EXPECT_EQ(opening({{"MinClusterSize", "2"},
                     {"NumIterations", "1"},
                     {"NumIterationsCollectingEdges", "3"},
                     {"NumIterationsConnectingNodes", "4"}}),
            "opened");
  EXPECT_THAT(run.out, Not(HasSubstr("Defaulting min")));
  EXPECT_THAT(run.out, Not(HasSubstr("Defaulting max")));
  EXPECT_THAT(run.out, Not(HasSubstr("Defaulting number")));
  EXPECT_THAT(run.out, ::testing::EndsWith(log(0, "Reading kernel params is done.") +
                                           log(0, "Reading parameter file is done.")));
}

TEST_F(QUVENCGADataOpen, EachIntegerHasItsReport) {
  const struct {
    const char* key;
    std::string report;
  } cases[] = {{"MinClusterSize", illegal("min cluster size")},
               {"MaxClusterSize", illegal("max cluster size")},
               {"NumIterationsCollectingEdges", illegal("NumIterationsCollectingEdges value")},
               {"NumIterationsConnectingNodes", illegal("NumIterationsConnectingNodes value")}};
  for (const auto& [key, report] : cases) {
    for (const char* value : {"0", "-1", "x", "1.5", "", "5x", "nan"}) {
      EXPECT_EQ(opening({{key, value}}), report) << key << " " << value;
    }
    EXPECT_EQ(opening({{key, "1"}}), "opened") << key;
    EXPECT_EQ(opening({{key, "100"}}), "opened") << key;
  }
  for (const char* value : {"0", "2", "-1", "x", "1.5", ""}) {
    EXPECT_EQ(opening({{"NumIterations", value}}), error(2204, "QUVENCGAData::open, number of iterations must be 1"));
  }
  EXPECT_EQ(opening({{"NumIterations", "1"}}), "opened");
  for (const char* value : {"-1", "101", "x", "0.5", ""}) {
    EXPECT_EQ(opening({{"VerbosityLevel", value}}), illegal("verbosity level")) << value;
  }
  for (const char* value : {"0", "100"}) EXPECT_EQ(opening({{"VerbosityLevel", value}}), "opened") << value;
  for (const char* value : {"x", "0.5", ""}) {
    EXPECT_EQ(opening({{"MaxNodesCollectingEdges", value}}), illegal("MaxNodesCollectingEdges value")) << value;
  }
  for (const char* value : {"0", "-5", "7"}) EXPECT_EQ(opening({{"MaxNodesCollectingEdges", value}}), "opened");
}

TEST_F(QUVENCGADataOpen, TheMaximalSizeIsRequired) {
  tags.erase("MaxClusterSize");
  EXPECT_EQ(opening({}), illegal("max cluster size"));
}

TEST_F(QUVENCGADataOpen, AnIllegalValueIsShownBeforeItsReport) {
  opening({{"MinClusterSize", "x7"}});
  EXPECT_THAT(run.out, HasSubstr("TestInputStringType, illegal int value found: x7\nError;|2202;|"));
}

TEST_F(QUVENCGADataOpen, AHighMaximalSizeIsWarnedOf) {
  EXPECT_EQ(opening({{"MaxClusterSize", "800"}}), "opened");
  EXPECT_THAT(run.out, Not(HasSubstr("Warning;|")));
  EXPECT_EQ(opening({{"MaxClusterSize", "801"}}), "opened");
  EXPECT_THAT(run.out, HasSubstr("Warning;|5002;|801;|Warning: Cluster size maybe too high. 801. This might reflect on "
                                 "the performance of the algorithm;|WarningEnd\n"));
}

TEST_F(QUVENCGADataOpen, TheOutputIsRequiredAndItsFormatIsCsv) {
  const std::string missing = error(2202, "QUVENCGAData::open, output file is illegal or not provided");
  EXPECT_EQ(opening({{"OutputFileName", ""}}), missing);
  tags.erase("OutputFileName");
  EXPECT_EQ(opening({}), missing);
  tags["OutputFileName"] = "out";
  const std::string onlyCsv = error(2204, "QUVENCGAData::open, only CSV format is supported in this version");
  EXPECT_EQ(opening({{"OutputFormat", "Compact"}}), onlyCsv);
  EXPECT_EQ(opening({{"OutputFormat", "Normal"}}), onlyCsv);
  for (const char* format : {"XML", "csv", "", "CSV2"}) {
    EXPECT_EQ(opening({{"OutputFormat", format}}), error(2202, "QUVENCGAData::open, unknown format")) << format;
  }
  tags.erase("OutputFormat");
  EXPECT_EQ(opening({}), onlyCsv);  // the default is refused too
}

TEST_F(QUVENCGADataOpen, AKernelValuesFileIsAStateOfItsOwn) {
  Data data = open();
  EXPECT_EQ(data->getState(), QUVENCGAData::BuildingKernel);
  QUVEN_DELETE(data);
  for (const char* name : {"values", ""}) {
    tags["KernelValuesFileName"] = name;
    data = open();
    EXPECT_EQ(data->getState(), QUVENCGAData::StartFromKernel);
    EXPECT_THAT(run.out, HasSubstr("connecting nodes to: 1\nStarting from kernel values file\n;|LogEnd\n"));
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENCGADataOpen, TheLeastSizeIsNoMoreThanTheMaximum) {
  EXPECT_EQ(opening({{"MinClusterSize", "5"}, {"MaxClusterSize", "5"}}), "opened");
  EXPECT_EQ(opening({{"MinClusterSize", "6"}, {"MaxClusterSize", "5"}}),
            error(2202, "QUVENCGAData::open: Min cluster size is larger than max cluster size"));
}

/// Everything is wrong at first; each report names what is put right next.
TEST_F(QUVENCGADataOpen, ChecksStandInTheirOrder) {
  kernelTags["KernelType"] = "Poly";
  tags = {{"MinClusterSize", "x"},          {"MaxClusterSize", "x"},
          {"NumIterations", "2"},           {"NumIterationsCollectingEdges", "0"},
          {"MaxNodesCollectingEdges", "x"}, {"NumIterationsConnectingNodes", "0"},
          {"VerbosityLevel", "101"},        {"OutputFileName", ""},
          {"OutputFormat", "XML"}};
  EXPECT_EQ(opening({}), error(2204, "UVENKernelDataParameters::readParameters: only Friends Kernel is supported"));
  kernelTags["KernelType"] = "Friends";
  const struct {
    std::string report;
    const char* key;
    const char* right;
  } steps[] = {
      {illegal("min cluster size"), "MinClusterSize", "900"},
      {illegal("max cluster size"), "MaxClusterSize", "850"},
      {error(2204, "QUVENCGAData::open, number of iterations must be 1"), "NumIterations", "1"},
      {illegal("NumIterationsCollectingEdges value"), "NumIterationsCollectingEdges", "1"},
      {illegal("MaxNodesCollectingEdges value"), "MaxNodesCollectingEdges", "0"},
      {illegal("NumIterationsConnectingNodes value"), "NumIterationsConnectingNodes", "1"},
      {illegal("verbosity level"), "VerbosityLevel", "1"},
      {error(2202, "QUVENCGAData::open, output file is illegal or not provided"), "OutputFileName", "out"},
      {error(2202, "QUVENCGAData::open, unknown format"), "OutputFormat", "Normal"},
      {error(2204, "QUVENCGAData::open, only CSV format is supported in this version"), "OutputFormat", "CSV"},
      {error(2202, "QUVENCGAData::open: Min cluster size is larger than max cluster size"), "MinClusterSize", "850"},
  };
  for (const auto& [report, key, right] : steps) {
    EXPECT_EQ(opening({}), report);
    tags[key] = right;
  }
  EXPECT_EQ(opening({}), "opened");
  EXPECT_THAT(run.out, HasSubstr("Warning;|5002;|850;|"));
}

/// Those of the kernel too, though its parameters are read first.
TEST_F(QUVENCGADataOpen, EveryFaultIsNamedWithItsValueBeforeTheReport) {
  kernelTags.erase("SparsityLevel");
  tags["MinClusterSize"] = "x";
  tags["OutputFormat"] = "Compact";
  tags.erase("OutputFileName");
  opening({});
  const std::string faults =
      "Error;|2203;|KernelParams/SparsityLevel;|the parameter is missing, legal is a number above 0 and below 1;|"
      "ErrorEnd\n"
      "Error;|2202;|MinClusterSize;|the value \"x\" is illegal, legal is an integer of at least 1;|ErrorEnd\n"
      "Error;|2202;|OutputFileName;|the parameter is missing, legal is a text that is not empty;|ErrorEnd\n"
      "Error;|2204;|OutputFormat;|the value \"Compact\" is illegal, legal is CSV;|ErrorEnd\n"
      "Error;|2203;|QUVENCGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided;|"
      "ErrorEnd\nTerminating VESK\n";
  EXPECT_THAT(run.out, HasSubstr(faults));
  // After the kernel is right, the faults of the rest come before the report of the first of them.
  kernelTags["SparsityLevel"] = "0.5";
  tags.erase("OutputFormat");
  opening({});
  EXPECT_THAT(run.out, HasSubstr("Error;|2202;|MinClusterSize;|the value \"x\""));
  EXPECT_THAT(run.out, HasSubstr("Error;|2204;|OutputFormat;|the default \"Normal\" is illegal, legal is CSV;|"));
}

TEST_F(QUVENCGADataOpen, WritesParametersAndCountersToATag) {
  tags["MinClusterSize"] = "2";
  tags["NumIterationsConnectingNodes"] = "3";
  kernelTags["EmptyMarker"] = "-1";
  Data data = open();
  EXPECT_EQ(result(data, "InputParameters/MinClusterSize"), "2");
  EXPECT_EQ(result(data, "InputParameters/MaxClusterSize"), "100");
  EXPECT_EQ(result(data, "InputParameters/NumIterationsConnectingNodes"), "3");
  EXPECT_EQ(result(data, "InputParameters/Kernel/KernelType"), "Friends");
  EXPECT_EQ(result(data, "InputParameters/Kernel/IsIndicesData"), "1");
  EXPECT_EQ(result(data, "InputParameters/Kernel/EmptyMarker"), "-1");
  EXPECT_EQ(result(data, "InputParameters/Kernel/NormalizingFactor"), "50");
  for (const char* name : {"NumEdgesInGraph", "NumClustersInGraph", "NumNodesInRelevantClusters"}) {
    EXPECT_EQ(result(data, std::string("RunParameters/Iteration-1/") + name), "0");
    EXPECT_EQ(result(data, std::string("RunParameters/Iteration-2/") + name), "none");
  }
  QUVEN_DELETE(data);
}

/// Three clusters of 3, 2 and 2; nobody calls in the last one, so it is not among the relevant ones.
TEST_F(QUVENCGADataOpen, CountersAreThoseOfTheRun) {
  for (const char* slices : {"1", "3"}) {  // they add up over slices
    tags["NumIterationsCollectingEdges"] = slices;
    Data data = connecting("1,2,0\n2,3,0\n11,12,0\n21,22,0\n");
    passesTo(QUVENCGAData::AnalysisDone, data, {{1, {2, 3}}, {2, {1}}, {11, {12}}, {21, {1}}});
    EXPECT_EQ(result(data, "RunParameters/Iteration-1/NumEdgesInGraph"), "4");
    EXPECT_EQ(result(data, "RunParameters/Iteration-1/NumClustersInGraph"), "3");
    EXPECT_EQ(result(data, "RunParameters/Iteration-1/NumNodesInRelevantClusters"), "5");
    // The kernel is gone, and what it says of itself stays.
    EXPECT_EQ(result(data, "InputParameters/Kernel/NormalizingFactor"), "50");
    QUVEN_DELETE(data);
  }
}

}  // namespace
