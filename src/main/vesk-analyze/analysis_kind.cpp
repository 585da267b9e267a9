#include "analysis_kind.h"

#include "control/quven_multifileoutput.h"
#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"

namespace vesk_analyze {

namespace {

constexpr const char* diffusionParameters[] = {"isSparseData", "VerbosityLevel",    "SpreadCoefficient",
                                               "Seed",         "OutputFileName",    "OutputFormat",
                                               "TagPrefix",    "EndConditionValue", "MaxNumIterations"};

constexpr const char* groupParameters[] = {"MinClusterSize",
                                           "MaxClusterSize",
                                           "NumIterations",
                                           "NumIterationsCollectingEdges",
                                           "MaxNodesCollectingEdges",
                                           "NumIterationsConnectingNodes",
                                           "VerbosityLevel",
                                           "OutputFileName",
                                           "OutputFormat",
                                           "TagPrefix",
                                           "OutputNamespace",
                                           "KernelValuesFileName",
                                           "KernelParams"};

constexpr const char* kernelBranch[] = {"KernelParams"};

constexpr const char* kernelParameters[] = {"KernelVerbosity",
                                            "KernelType",
                                            "OutputFileName",
                                            "FilterSimilarities",
                                            "NumberOfComputeIterations",
                                            "isSparseData",
                                            "IsSparseKernel",
                                            "SparsityLevel",
                                            "Degree",
                                            "Bias",
                                            "Multiplier",
                                            "Gamma",
                                            "IndicesData",
                                            "EmptyMarker",
                                            "NormalizingFactor",
                                            "NumberOfBins"};

constexpr const char* outputUnwritable = "vesk-analyze: Unable to write output file";

std::string textOf(const QUVENXMLTag& parameters, const char* path, const QUVENEnvHandle& env) {
  return parameters.hasTag(path, QUVEN_ENV) ? parameters.getTag(path, QUVEN_ENV).getValue() : "";
}

std::vector<OutputFile> outputOfDiffusion(const QUVENXMLTag& parameters, int, const QUVENEnvHandle& env) {
  return {{textOf(parameters, "OutputFileName", QUVEN_ENV)}};
}

/// A file of each worker, if any.
std::vector<OutputFile> outputOfKernel(const QUVENXMLTag& parameters, int numWorkers, const QUVENEnvHandle& env) {
  const bool hasBranch = parameters.hasTag("KernelParams", QUVEN_ENV);
  const std::string name = textOf(parameters, hasBranch ? "KernelParams/OutputFileName" : "OutputFileName", QUVEN_ENV);
  std::vector<OutputFile> files;
  for (int rank = 0; rank < numWorkers && !name.empty(); ++rank) {
    files.push_back({QUVENMultifileOutput::pathOf(name, rank), false});
  }
  return files;
}

std::vector<OutputFile> outputOfGroups(const QUVENXMLTag& parameters, int numWorkers, const QUVENEnvHandle& env) {
  std::vector<OutputFile> files;
  // A kernel that is read from a file is not computed.
  if (!parameters.hasTag("KernelValuesFileName", QUVEN_ENV)) files = outputOfKernel(parameters, numWorkers, QUVEN_ENV);
  const std::string name = textOf(parameters, "OutputFileName", QUVEN_ENV) + "_1";
  files.push_back({name + ".clusters.csv"});
  files.push_back({name + ".nodes.csv"});
  return files;
}

std::string noFailedFile(const QUVENSimpleAlgorithmAbstractData&) { return ""; }

std::string failedFileOfGroups(const QUVENSimpleAlgorithmAbstractData& data) {
  return static_cast<const QUVENCGAData&>(data).getFailedFile();
}

constexpr AnalysisKind kinds[] = {
    {.command = "diffusion",
     .summary = "Energy that spreads from seed subscribers over a pair sum dataset",
     .modelId = QUVENSimpleAlgorithmModel::DiffusionModel,
     .parameters = diffusionParameters,
     .kernelParameters = {},
     .explanatoryColumns = 2,
     .readsTableRows = false,
     .outputError = "QUVENSNAData::writeDataOutputFile: Unable to open output file",
     .outputFiles = outputOfDiffusion,
     .failedFile = noFailedFile},
    {.command = "groups",
     .summary = "Groups of subscribers with their leaders over a table dataset",
     .modelId = QUVENSimpleAlgorithmModel::GroupModel,
     .parameters = groupParameters,
     .kernelParameters = kernelParameters,
     .explanatoryColumns = 2,
     .readsTableRows = true,
     .outputError = outputUnwritable,
     .outputFiles = outputOfGroups,
     .failedFile = failedFileOfGroups},
    {.command = "kernel",
     .summary = "Similarities of subscribers over a table dataset, from which groups can start",
     .modelId = QUVENSimpleAlgorithmModel::KernelModel,
     .parameters = kernelBranch,
     .kernelParameters = kernelParameters,
     .explanatoryColumns = 2,
     .readsTableRows = true,
     .outputError = outputUnwritable,
     .outputFiles = outputOfKernel,
     .failedFile = noFailedFile},
};

}  // namespace

std::span<const AnalysisKind> analysisKinds() { return kinds; }

}  // namespace vesk_analyze
