// The parameters of the group analysis, and what it says of itself.

#include <ostream>
#include <sstream>

#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_kernel_parameters.h"
#include "simple_algorithm/quven_parameters.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { IllegalParameter = 2202, Unsupported = 2204, ClusterSizeHigh = 5002 };

constexpr const char* kernelValuesKey = "KernelValuesFileName";

bool isPositive(double value) { return value >= 1; }

void warnOfHighSize(double value) {
  constexpr std::int32_t highClusterSize = 800;
  if (value <= highClusterSize) return;
  const std::string size = std::to_string(static_cast<std::int32_t>(value));
  report_warning(
      ClusterSizeHigh, size,
      "Warning: Cluster size maybe too high. " + size + ". This might reflect on the performance of the algorithm");
}

std::vector<std::string> resultFiles(const std::string& name, int) {
  return {name + "_1.clusters.csv", name + "_1.nodes.csv"};
}

}  // namespace

std::span<const QUVENParameter> QUVENCGAData::ownParameters() {
  using D = QUVENCGAData;
  static constexpr QUVENParameter rows[] = {
      {.key = "MinClusterSize",
       .target = quvenParameterTarget<&D::ivMinClusterSize>(),
       .defaultValue = "1",
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal min cluster size",
       .defaultNote = "Defaulting min cluster size to: 1",
       .meaning = "smaller clusters get no output; at most MaxClusterSize",
       .legalValues = "an integer of at least 1",
       .example = "3"},
      {.key = "MaxClusterSize",
       .target = quvenParameterTarget<&D::ivMaxClusterSize>(),
       .defaultValue = "100",
       .isRequired = true,
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal max cluster size",
       .remark = warnOfHighSize,
       .meaning = "most members of a cluster; ranking takes time and memory with the square of it",
       .legalValues = "an integer of at least 1",
       .example = "15"},
      {.key = "NumIterations",
       .target = quvenParameterTarget<&D::ivNumIterations>(),
       .defaultValue = "1",
       .isLegal = [](double value) { return value == 1; },
       .errorCode = Unsupported,
       .errorText = "QUVENCGAData::open, number of iterations must be 1",
       .defaultNote = "Defaulting number iterations to: 1",
       .meaning = "cycles of the whole analysis",
       .legalValues = "1"},
      {.key = "NumIterationsCollectingEdges",
       .target = quvenParameterTarget<&D::ivNumIterationsCollectingEdges>(),
       .defaultValue = "1",
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal NumIterationsCollectingEdges value",
       .defaultNote = "Defaulting number iterations for collecting edges: 1",
       .meaning = "slices in which the calls inside clusters are collected",
       .legalValues = "an integer of at least 1"},
      {.key = "MaxNodesCollectingEdges",
       .target = quvenParameterTarget<&D::ivMaxNodesCollectingEdges>(),
       .defaultValue = "0",
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal MaxNodesCollectingEdges value",
       .meaning = "members of the clusters of a slice; 0: NumIterationsCollectingEdges counts",
       .legalValues = "an integer"},
      {.key = "NumIterationsConnectingNodes",
       .target = quvenParameterTarget<&D::ivNumIterationsConnectingNodes>(),
       .defaultValue = "1",
       .isLegal = isPositive,
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal NumIterationsConnectingNodes value",
       .defaultNote = "Defaulting number iterations for connecting nodes to: 1",
       .meaning = "passes that connect isolated subscribers",
       .legalValues = "an integer of at least 1"},
      {.key = "ConnectOrder",
       .target = quvenParameterTarget<&D::connectOrder>(),
       .defaultValue = "Merge",
       .isLegalText = [](const std::string& order) { return order == "Merge" || order == "Numbers"; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal ConnectOrder value",
       .isOptional = true,
       .meaning = "the order in which proposals of the workers are decided and groups are written: that of the ranks, "
                  "or that of the numbers, which is the same for any number of ranks; CutoffFrom AllPairs implies it",
       .legalValues = "Merge or Numbers"},
      {.key = "VerbosityLevel",
       .target = quvenParameterTarget<&D::ivVerbosityLvl>(),
       .defaultValue = "1",
       .isLegal = [](double level) { return level >= 0 && level <= 100; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, illegal verbosity level",
       .meaning = "from 6 on some records are traced on standard output, at 100 all",
       .legalValues = "an integer from 0 to 100"},
      {.key = "OutputFileName",
       .target = quvenParameterTarget<&D::ivOutputFileName>(),
       .isRequired = true,
       .isLegalText = [](const std::string& name) { return !name.empty(); },
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, output file is illegal or not provided",
       .file = QUVENParameterFile::Output,
       .outputNames = resultFiles,
       .meaning = "the beginning of the names of the results, _1.clusters.csv and _1.nodes.csv",
       .legalValues = "a text that is not empty",
       .example = "found"},
      {.key = "OutputFormat",
       .defaultValue = "Normal",
       .isLegalText =
           [](const std::string& format) { return format == "Compact" || format == "Normal" || format == "CSV"; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENCGAData::open, unknown format",
       .isSupportedText = [](const std::string& format) { return format == "CSV"; },
       .unsupportedCode = Unsupported,
       .unsupportedText = "QUVENCGAData::open, only CSV format is supported in this version",
       .meaning = "must be given, because only CSV is written: the default is refused too",
       .legalValues = "CSV",
       .example = "CSV"},
      {.key = "TagPrefix",
       .target = quvenParameterTarget<&D::ivTagPrefix>(),
       .meaning = "of tagged results; not used by CSV"},
      {.key = "OutputNamespace",
       .target = quvenParameterTarget<&D::ivOutputNamespace>(),
       .meaning = "of tagged results; not used by CSV"},
      {.key = kernelValuesKey,
       .target = quvenParameterTarget<&D::ivKernelFileName>(),
       .note = "Starting from kernel values file",
       .noteHasValue = false,
       .file = QUVENParameterFile::Input,
       .meaning = "starts from the kept pairs in this file instead of a kernel"},
  };
  return rows;
}

QUVENParameterSections QUVENCGAData::parameterSections() {
  static const QUVENParameterSection sections[] = {
      {.branch = quvenKernelParameterSection().branch,
       .rows = quvenKernelParameterSection().rows,
       .unusedWith = kernelValuesKey},
      {.rows = ownParameters()},
  };
  return sections;
}

void QUVENCGAData::open(const QUVENXMLTag& tag, const QUVENEnvHandle& env) {
  report_log(0, "Starting reading parameter file.");
  const QUVENParameterSections sections = parameterSections();
  ivKernelPtr = quvenMake<QUVENKernelData>(QUVEN_ENV);
  ivKernelPtr->open(tag, sections, QUVEN_ENV);

  std::ostringstream notes;  // they are one log line
  QUVENParameterReader reader(tag, sections);
  reader.collectNotes(notes);
  reader.read(sections.back(), *this, QUVEN_ENV);
  ivOutputFormat = QUVENGroupFormat::Csv;
  if (tag.hasTag(kernelValuesKey, QUVEN_ENV)) ivState = StartFromKernel;
  connectsInOrder = connectOrder == "Numbers" || ivKernelPtr->usesAllPairs() ? 1 : 0;
  if (ivMinClusterSize > ivMaxClusterSize) {
    report_error(IllegalParameter, "QUVENCGAData::open: Min cluster size is larger than max cluster size", QUVEN_ENV,
                 true);
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
  if (ivKernelPtr) {
    ivKernelPtr->writeFunctionToTag(kernel, QUVEN_ENV);
  } else {
    for (const QUVENXMLTag& key : kernelTag.getChildren()) {
      kernel.addLeafTag(key.getName(), QUVEN_ENV).setValue(key.getValue(), QUVEN_ENV);
    }
  }
  tag.addBranchTagPath("RunParameters", QUVEN_ENV);
  if (comparesLevels != 0 && !goesOnWithBestLevel) {  // such a run has neither one cutoff nor groups
    set("RunParameters/ComparedLevels", static_cast<std::int32_t>(levelResults.size()));
    return;
  }
  const auto valueOf = [](const Numbers& values, long i) { return i <= values.getSize() ? values[i] : 0; };
  for (long i = 1; i <= ivIterationCounter; ++i) {
    const std::string path = "RunParameters/Iteration-" + std::to_string(i);
    set(path + "/NumEdgesInGraph", valueOf(ivNumEdgesInGraph, i));
    set(path + "/NumClustersInGraph", valueOf(ivNumCCInGraph, i));
    set(path + "/NumNodesInRelevantClusters", valueOf(ivNodesInRelevantClusters, i));
  }
  if (hasCutoff != 0) tag.addLeafTagPath("RunParameters/Cutoff", QUVEN_ENV).setValue(cutoff, QUVEN_ENV);
  if (!chosenLevel) return;
  tag.addLeafTagPath("RunParameters/Level", QUVEN_ENV).setValue(chosenLevel->level, QUVEN_ENV);
  tag.addLeafTagPath("RunParameters/Modularity", QUVEN_ENV).setValue(chosenLevel->modularity, QUVEN_ENV);
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
