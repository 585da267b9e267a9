#include "simple_algorithm/quven_kernel_parameters.h"

#include <cmath>
#include <sstream>

#include "control/quven_multifileoutput.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { IllegalParameter = 2202, IllegalSparsity = 2203, Unsupported = 2204 };

constexpr int stepLevel = 0;
constexpr int noteLevel = 1;

// Fixed texts, which name another class; do not correct.
constexpr const char* sparsityMissing =
    "QUVENCGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided";

template <auto... members>
constexpr QUVENParameterTarget target = quvenParameterTarget<members...>();

using P = QUVENKernelParameters;
using F = QUVENKernelSettings;

bool isOne(double value) { return value == 1; }
bool isNotZero(double value) { return value != 0; }
bool isLevel(double value) { return value >= 0 && value <= 100; }

/// The file of every worker, none without a name.
std::vector<std::string> valuesFiles(const std::string& name, int numWorkers) {
  std::vector<std::string> files;
  for (int rank = 0; rank < numWorkers && !name.empty(); ++rank) {
    files.push_back(QUVENMultifileOutput::pathOf(name, rank));
  }
  return files;
}

constexpr QUVENParameter rows[] = {
    {.key = "KernelVerbosity",
     .target = target<&P::verbosityLevel>,
     .defaultValue = "1",
     .isLegal = isLevel,
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData:, illegal verbosity level",
     .meaning = "how much of the kernel is traced on standard output; from 6 on some records, at 100 all",
     .legalValues = "an integer from 0 to 100"},
    {.key = "KernelType",
     .target = target<&P::function, &F::type>,
     .isRequired = true,
     .isLegalText = [](const std::string& type) { return type == "Friends"; },
     .errorCode = Unsupported,
     .errorText = "UVENKernelDataParameters::readParameters: only Friends Kernel is supported",
     .meaning = "how two callers are compared: by the contacts that they have in common",
     .legalValues = "Friends",
     .example = "Friends"},
    {.key = "OutputFileName",
     .target = target<&P::outputFileName>,
     .file = QUVENParameterFile::Output,
     .outputNames = valuesFiles,
     .isReplaced = false,
     .meaning = "file of the kept pairs, one per worker; none without a name",
     .example = "values.txt"},
    {.key = "FilterSimilarities",
     .target = target<&P::filterSimilarities>,
     .isRequired = true,
     .errorCode = Unsupported,
     .errorText = "UVENKernelDataParameters::readParameters: filter similarities must me true",
     .meaning = "not 0: a caller is compared with its contacts; 0: with all callers",
     .legalValues = "an integer",
     .example = "1"},
    {.key = "NumberOfComputeIterations",
     .target = target<&P::numberOfComputeIterations>,
     .defaultValue = "1",
     .isLegal = isOne,
     .errorCode = Unsupported,
     .errorText = "UVENKernelDataParameters::readParameters: number of computing iterations must be 1",
     .meaning = "blocks in which the similarities are computed",
     .legalValues = "1"},
    {.key = "isSparseData",
     .target = target<&P::sparseData>,
     .isRequired = true,
     .errorCode = Unsupported,
     .errorText = "UVENKernelDataParameters::readParameters: data must be sparse",
     .isMeaningful = [](double number) { return number != 0 && !std::isnan(number); },
     .notMeaningful =
         "vesk-analyze: the records of a sparse dataset are compared one by one, as if each were a subscriber",
     .meaning = "1 for the sparse dataset of a table run",
     .legalValues = "a number",
     .example = "1"},
    {.key = "IsSparseKernel",
     .target = target<&P::isSparseKernel>,
     .isRequired = true,
     .isLegal = isNotZero,
     .errorCode = IllegalSparsity,
     .errorText = sparsityMissing,
     .meaning = "not 0: only the pairs at or above the cutoff are kept",
     .legalValues = "an integer other than 0",
     .example = "1"},
    {.key = "SparsityLevel",
     .target = target<&P::sparsityLevel>,
     .isRequired = true,
     .errorCode = IllegalSparsity,
     .errorText = sparsityMissing,
     .isSupported = [](double level) { return level > 0 && level < 1; },
     .unsupportedCode = IllegalSparsity,
     .unsupportedText = "QUVENCGAData::readKernelValuesFile: sparsity level must stricltly greater than 0 and strictly "
                        "less than 1",
     .meaning = "share of the similarities that is below the cutoff",
     .legalValues = "a number above 0 and below 1",
     .example = "0.5"},
    {.key = "CutoffFrom",
     .target = target<&P::cutoffFrom>,
     .defaultValue = "Workers",
     .isLegalText = [](const std::string& from) { return from == "Workers" || from == "AllPairs"; },
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of CutoffFrom",
     .isOptional = true,
     .meaning = "which similarities the level is a share of: an estimate by the pairs that fall to one worker, or "
                "exactly those of all compared pairs",
     .legalValues = "Workers or AllPairs"},
    {.key = "CutoffAmong",
     .target = target<&P::cutoffAmong>,
     .defaultValue = "All",
     .isLegalText = [](const std::string& among) { return among == "All" || among == "Common"; },
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of CutoffAmong",
     .isOptional = true,
     .meaning = "with CutoffFrom AllPairs: the pairs of which the level is a share and some are kept, all or those "
                "with a contact in common",
     .legalValues = "All or Common"},
    {.key = "Degree",
     .target = target<&P::function, &F::degree>,
     .defaultValue = "1",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of Degree",
     .meaning = "of other kernels; read, not used",
     .legalValues = "an integer"},
    {.key = "Bias",
     .target = target<&P::function, &F::bias>,
     .defaultValue = "1",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of Bias",
     .meaning = "of other kernels; read, not used",
     .legalValues = "a number"},
    {.key = "Multiplier",
     .target = target<&P::function, &F::multiplier>,
     .defaultValue = "1",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of Multiplier",
     .meaning = "of other kernels; read, not used",
     .legalValues = "a number"},
    {.key = "Gamma",
     .target = target<&P::function, &F::gamma>,
     .defaultValue = "1",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of Gamma",
     .meaning = "of other kernels; read, not used",
     .legalValues = "a number"},
    {.key = "IndicesData",
     .target = target<&P::function, &F::isIndicesData>,
     .defaultValue = "1",
     .isLegal = isOne,
     .errorCode = Unsupported,
     .errorText = "Indeces data must be 1",
     .meaning = "the rows are lists of contacts",
     .legalValues = "1"},
    {.key = "EmptyMarker",
     .target = target<&P::function, &F::emptyMarker>,
     .defaultValue = "0",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of EmptyMarker",
     .defaultNote = "Defaulting empty space marker to zero",
     .meaning = "the number that means no contact",
     .legalValues = "a number"},
    {.key = "NormalizingFactor",
     .target = target<&P::function, &F::normalizingFactor>,
     .defaultValue = "50000000",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of NormalizingFactor",
     .defaultNote =
         "Defaulting normalizing factor to 50000000. In general, this must be in the order of the population "
         "size, otherwise results might get skewed!",
     .isMeaningful = [](double number) { return number > 0 && std::isfinite(number); },
     .notMeaningful = "vesk-analyze: similarities over a population that is not a number above 0 mean nothing",
     .word = "Callers",
     .wordValue = quvenCountedCallers,
     .meaning = "the population, of the order of the number of subscribers; Callers: the callers of the dataset",
     .legalValues = "a number or Callers",
     .example = "50000"},
    {.key = "NumberOfBins",
     .target = target<&P::function, &F::numberOfBins>,
     .defaultValue = "0",
     .errorCode = IllegalParameter,
     .errorText = "QUVENKernelData: illegal value of NumberOfBins",
     .meaning = "of other kernels; read, not used",
     .legalValues = "an integer"},
};

constexpr const char* verbosityKey = rows[0].key;

void logValue(const char* text, double value) {
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << text << value;
  report_log(noteLevel, line);
}

}  // namespace

const QUVENParameterSection& quvenKernelParameterSection() {
  static constexpr QUVENParameterSection section{.branch = "KernelParams", .rows = rows};
  return section;
}

QUVENKernelParameters quvenReadKernelParameters(const QUVENXMLTag& tag, QUVENParameterSections sections,
                                                const QUVENEnvHandle& env) {
  const QUVENParameterSection& section = quvenKernelParameterSection();
  report_log(stepLevel, "Starting reading kernel params");
  QUVENKernelParameters parameters;
  QUVENParameterReader(tag, sections).read(section, parameters, QUVEN_ENV);

  if (parameters.sparseData != 0) logValue("Reading sparse mode data : ", parameters.sparseData);
  logValue("Sparsifying kernel: ", parameters.isSparseKernel);
  const bool hasVerbosity = quvenSectionTag(tag, section, QUVEN_ENV).hasTag(verbosityKey, QUVEN_ENV);
  logValue(hasVerbosity ? "Verbosity level " : "Defaulting verbosity level to ", parameters.verbosityLevel);
  report_log(stepLevel, "Reading kernel params is done.");
  return parameters;
}
