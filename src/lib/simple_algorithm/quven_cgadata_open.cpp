// The parameters of the group analysis, and what it says of itself.

#include <iostream>
#include <sstream>

#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_parameters.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { IllegalParameter = 2202, Unsupported = 2204, ClusterSizeHigh = 5002 };

constexpr std::int32_t highClusterSize = 800;

bool isPositive(const std::int32_t& value) { return value >= 1; }

}  // namespace

void QUVENCGAData::open(const QUVENXMLTag& tag, const QUVENEnvHandle& env) {
  std::ostringstream notes;
  const auto has = [&](const char* key) { return tag.hasTag(key, QUVEN_ENV); };
  const auto fail = [&](int code, const char* text) { report_error(code, text, QUVEN_ENV, true); };
  // The notes of defaults stand in one log line.
  const auto readInt = [&](const char* key, std::int32_t byDefault, const char* note, auto isLegal, const char* text,
                           int code = IllegalParameter) {
    if (!has(key) && *note != '\0') notes << note << byDefault << '\n';
    return quvenReadParameter(tag, QUVENParameter<std::int32_t>{key, byDefault, "", isLegal, code, text, ""},
                              QUVEN_ENV);
  };
  const auto readText = [&](const char* key, const char* byDefault = "") {
    return quvenReadParameter(tag, QUVENParameter<std::string>{key, byDefault, "", nullptr, 0, "", ""}, QUVEN_ENV);
  };

  report_log(0, "Starting reading parameter file.");
  ivKernelPtr = quvenMake<QUVENKernelData>(QUVEN_ENV);
  ivKernelPtr->open(tag, QUVEN_ENV);
  ivKernelPtr->writeResultsToTag(kernelTag, QUVEN_ENV);

  ivMinClusterSize = readInt("MinClusterSize", 1, "Defaulting min cluster size to: ", isPositive,
                             "QUVENCGAData::open, illegal min cluster size");
  constexpr const char* illegalMax = "QUVENCGAData::open, illegal max cluster size";
  ivMaxClusterSize = readInt("MaxClusterSize", 100, "Defaulting max cluster size to: ", isPositive, illegalMax);
  if (!has("MaxClusterSize")) fail(IllegalParameter, illegalMax);  // the key is required, whatever the note says
  if (ivMaxClusterSize > highClusterSize) {
    const std::string size = std::to_string(ivMaxClusterSize);
    report_warning(
        ClusterSizeHigh, size,
        "Warning: Cluster size maybe too high. " + size + ". This might reflect on the performance of the algorithm");
  }
  ivNumIterations = readInt(
      "NumIterations", 1, "Defaulting number iterations to: ", [](const std::int32_t& value) { return value == 1; },
      "QUVENCGAData::open, number of iterations must be 1", Unsupported);
  ivNumIterationsCollectingEdges =
      readInt("NumIterationsCollectingEdges", 1, "Defaulting number iterations for collecting edges: ", isPositive,
              "QUVENCGAData::open, illegal NumIterationsCollectingEdges value");
  ivMaxNodesCollectingEdges = readInt(
      "MaxNodesCollectingEdges", 0, "", [](const std::int32_t&) { return true; },
      "QUVENCGAData::open, illegal MaxNodesCollectingEdges value");
  ivNumIterationsConnectingNodes =
      readInt("NumIterationsConnectingNodes", 1, "Defaulting number iterations for connecting nodes to: ", isPositive,
              "QUVENCGAData::open, illegal NumIterationsConnectingNodes value");
  ivVerbosityLvl = readInt(
      "VerbosityLevel", 1, "", [](const std::int32_t& level) { return level >= 0 && level <= 100; },
      "QUVENCGAData::open, illegal verbosity level");
  ivOutputFileName = readText("OutputFileName");
  if (ivOutputFileName.empty()) fail(IllegalParameter, "QUVENCGAData::open, output file is illegal or not provided");
  const std::string format = readText("OutputFormat", "Normal");
  if (format != "Compact" && format != "Normal" && format != "CSV") {
    fail(IllegalParameter, "QUVENCGAData::open, unknown format");
  }
  if (format != "CSV") fail(Unsupported, "QUVENCGAData::open, only CSV format is supported in this version");
  ivOutputFormat = QUVENGroupFormat::Csv;
  ivTagPrefix = readText("TagPrefix");
  ivOutputNamespace = readText("OutputNamespace");
  if (has("KernelValuesFileName")) {
    ivKernelFileName = readText("KernelValuesFileName");
    ivState = StartFromKernel;
    notes << "Starting from kernel values file\n";
  }
  if (ivMinClusterSize > ivMaxClusterSize) {
    fail(IllegalParameter, "QUVENCGAData::open: Min cluster size is larger than max cluster size");
  }
  if (!notes.str().empty()) report_log(1, notes);
  report_log(0, "Reading parameter file is done.");
}

void QUVENCGAData::writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  tag.addBranchTagPath("InputParameters", QUVEN_ENV);
  const auto set = [&](const std::string& path, std::int32_t value) {
    tag.addLeafTagPath(path, QUVEN_ENV).setValue(value, QUVEN_ENV);
  };
  set("InputParameters/MinClusterSize", ivMinClusterSize);
  set("InputParameters/MaxClusterSize", ivMaxClusterSize);
  set("InputParameters/NumIterationsConnectingNodes", ivNumIterationsConnectingNodes);
  QUVENXMLTag& kernel = tag.addBranchTagPath("InputParameters/Kernel", QUVEN_ENV);
  for (const QUVENXMLTag& key : kernelTag.getChildren()) {
    kernel.addLeafTag(key.getName(), QUVEN_ENV).setValue(key.getValue(), QUVEN_ENV);
  }
  tag.addBranchTagPath("RunParameters", QUVEN_ENV);
  const auto valueOf = [](const Numbers& values, long i) { return i <= values.getSize() ? values[i] : 0; };
  for (long i = 1; i <= ivIterationCounter; ++i) {
    const std::string path = "RunParameters/Iteration-" + std::to_string(i);
    set(path + "/NumEdgesInGraph", valueOf(ivNumEdgesInGraph, i));
    set(path + "/NumClustersInGraph", valueOf(ivNumCCInGraph, i));
    set(path + "/NumNodesInRelevantClusters", valueOf(ivNodesInRelevantClusters, i));
  }
}

void QUVENCGAData::dump(std::ostream& out) const {
  const auto size = [&](const char* name, long value) { out << " <- " << name << ": " << value << '\n'; };
  out << "[CGADataObjectStarts]\n";
  size("ivState", ivState);
  size("ivIterationCounter", ivIterationCounter);
  size("ivKernelEdges", ivKernelEdges.getSize());
  size("ivNodeToCCMap", ivNodeToCCMap.getCount());
  size("ivNodesBuffer", ivNodesBuffer.getSize());
  size("ivCCBuffer", ivCCBuffer.getSize());
  size("ivCoveredNodes", ivCoveredNodes.getSize());
  size("ivCoveredNodesBuffer", ivCoveredNodesBuffer.getSize());
  size("ivClusterSizes", ivClusterSizes.getSize());
  size("ivNodeToIterationConnectedMap", ivNodeToIterationConnectedMap.getCount());
  size("ivNodesToConnect", ivNodesToConnect.getSize());
  size("ivClustersToConnectNodesTo", ivClustersToConnectNodesTo.getSize());
  size("ivConnectingNodesIterationCounter", ivConnectingNodesIterationCounter);
  size("ivCCEdges", ivCCEdges.getSize());
  size("ivCCEdgesNum", ivCCEdgesNum.getSize());
  size("ivCCNodesNum", ivCCNodesNum.getSize());
  size("ivCCNodesByPageRank", ivCCNodesByPageRank.getSize());
  size("ivCCNodesByPageRankTransposed", ivCCNodesByPageRankTransposed.getSize());
  size("ivPageRanks", ivPageRanks.getSize());
  size("ivPageRanksTransposed", ivPageRanksTransposed.getSize());
  size("ivIterationCounterCollectingEdges", ivIterationCounterCollectingEdges);
  size("ivMinIndRelevantClusters", ivMinIndRelevantClusters);
  size("ivMaxIndRelevantClusters", ivMaxIndRelevantClusters);
  out << "[CGADataObjectEnds]\n";
}
