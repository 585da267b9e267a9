#include "simple_algorithm/quven_kernel_parameters.h"

#include <sstream>

#include "simple_algorithm/quven_parameters.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { IllegalParameter = 2202, IllegalSparsity = 2203, Unsupported = 2204 };

constexpr int stepLevel = 0;
constexpr int noteLevel = 1;
constexpr const char* branch = "KernelParams";

// The texts name another class, on purpose: they have always done so.
constexpr const char* sparsityMissing =
    "QUVENCGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided";

/// Parameters that are read below one tag.
class Reader {
 public:
  Reader(const QUVENXMLTag& parameterTag, const QUVENEnvHandle& handle) : tag(parameterTag), env(handle) {}

  bool has(const char* key) const { return tag.hasTag(key, QUVEN_ENV); }
  void require(bool condition, int code, const char* text) const {
    if (!condition) report_error(code, text, QUVEN_ENV, true);
  }
  template <class T>
  T read(const char* key, T defaultValue, const char* defaultNote = "") const {
    return quvenReadParameter(tag,
                              QUVENParameter<T>{key, defaultValue, defaultNote, nullptr, IllegalParameter,
                                                std::string("QUVENKernelData: illegal value of ") + key, ""},
                              QUVEN_ENV);
  }
  /// A number that stands there and is one.
  template <class T>
  T readRequired(const char* key, int code, const char* text) const {
    require(has(key), code, text);
    return quvenReadParameter(tag, QUVENParameter<T>{key, T(), "", nullptr, code, text, ""}, QUVEN_ENV);
  }
  /// An integer that has to be 1.
  void requireOne(const char* key, const char* text) const {
    const auto isOne = [](const std::int32_t& value) { return value == 1; };
    quvenReadParameter(tag, QUVENParameter<std::int32_t>{key, 1, "", isOne, Unsupported, text, ""}, QUVEN_ENV);
  }

 private:
  const QUVENXMLTag& tag;
  const QUVENEnvHandle& env;
};

void logValue(const char* text, double value) {
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << text << value;
  report_log(noteLevel, line);
}

}  // namespace

QUVENKernelParameters quvenReadKernelParameters(const QUVENXMLTag& tag, const QUVENEnvHandle& env) {
  report_log(stepLevel, "Starting reading kernel params");
  const QUVENXMLTag& own = tag.hasTag(branch, QUVEN_ENV) ? tag.getTag(branch, QUVEN_ENV) : tag;
  const Reader reader(own, env);
  QUVENKernelParameters parameters;
  QUVENKernelSettings& function = parameters.function;

  const auto isLevel = [](const std::int32_t& level) { return level >= 0 && level <= 100; };
  parameters.verbosityLevel =
      quvenReadParameter(own,
                         QUVENParameter<std::int32_t>{"KernelVerbosity", 1, "", isLevel, IllegalParameter,
                                                      "QUVENKernelData:, illegal verbosity level", ""},
                         QUVEN_ENV);
  function.type = reader.read<std::string>("KernelType", "");
  reader.require(function.type == "Friends", Unsupported,
                 "UVENKernelDataParameters::readParameters: only Friends Kernel is supported");
  parameters.outputFileName = reader.read<std::string>("OutputFileName", "");
  parameters.filterSimilarities = reader.readRequired<std::int32_t>(
      "FilterSimilarities", Unsupported, "UVENKernelDataParameters::readParameters: filter similarities must me true");
  reader.requireOne("NumberOfComputeIterations",
                    "UVENKernelDataParameters::readParameters: number of computing iterations must be 1");
  const double sparseData = reader.readRequired<double>(
      "isSparseData", Unsupported, "UVENKernelDataParameters::readParameters: data must be sparse");
  parameters.isSparseData = static_cast<std::int32_t>(sparseData != 0);
  parameters.isSparseKernel = reader.readRequired<std::int32_t>("IsSparseKernel", IllegalSparsity, sparsityMissing);
  parameters.sparsityLevel = reader.readRequired<double>("SparsityLevel", IllegalSparsity, sparsityMissing);
  reader.require(parameters.isSparseKernel != 0, IllegalSparsity, sparsityMissing);
  reader.require(parameters.sparsityLevel > 0 && parameters.sparsityLevel < 1, IllegalSparsity,
                 "QUVENCGAData::readKernelValuesFile: sparsity level must stricltly greater than 0 and strictly less "
                 "than 1");
  function.degree = reader.read("Degree", function.degree);
  function.bias = reader.read("Bias", function.bias);
  function.multiplier = reader.read("Multiplier", function.multiplier);
  function.gamma = reader.read("Gamma", function.gamma);
  reader.requireOne("IndicesData", "Indeces data must be 1");
  function.emptyMarker = reader.read("EmptyMarker", 0.0, "Defaulting empty space marker to zero");
  function.normalizingFactor =
      reader.read("NormalizingFactor", 50000000.0,
                  "Defaulting normalizing factor to 50000000. In general, this must be in the order of the population "
                  "size, otherwise results might get skewed!");
  function.numberOfBins = reader.read<std::int32_t>("NumberOfBins", 0);

  if (parameters.isSparseData != 0) logValue("Reading sparse mode data : ", sparseData);
  logValue("Sparsifying kernel: ", parameters.isSparseKernel);
  logValue(reader.has("KernelVerbosity") ? "Verbosity level " : "Defaulting verbosity level to ",
           parameters.verbosityLevel);
  report_log(stepLevel, "Reading kernel params is done.");
  return parameters;
}
