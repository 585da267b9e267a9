#ifndef QUVEN_KERNEL_PARAMETERS_H
#define QUVEN_KERNEL_PARAMETERS_H

#include <limits>

#include "control/quven_XML_tag.h"
#include "simple_algorithm/quven_kernel_function.h"
#include "simple_algorithm/quven_parameters.h"

/// The normalizing factor for which a parameter file has "Callers".
inline constexpr double quvenCountedCallers = std::numeric_limits<double>::lowest();

/// The parameters of a kernel analysis.
struct QUVENKernelParameters {
  std::int32_t verbosityLevel = 1;
  std::string outputFileName;  ///< empty for none
  std::int32_t filterSimilarities = 1;
  std::int32_t numberOfComputeIterations = 1;
  double sparseData = 1;  ///< not 0: the data are sparse
  std::int32_t isSparseKernel = 1;
  double sparsityLevel = 0;
  std::string cutoffFrom = "Workers";  ///< or "AllPairs"
  std::string cutoffAmong = "All";     ///< or "Common"
  QUVENKernelSettings function;        ///< with quvenCountedCallers the population is the number of callers
};

/// The parameters of a kernel: below "KernelParams" or, without that tag, beside the others.
const QUVENParameterSection& quvenKernelParameterSection();

/// Reads the parameters of the kernel below a tag. The sections are all that are read from the tag, the kernel's among
/// them: their faults are reported too.
/// Errors: the terminating reports 2202, 2203 and 2204.
QUVENKernelParameters quvenReadKernelParameters(const QUVENXMLTag& tag, QUVENParameterSections sections,
                                                const QUVENEnvHandle& env);

#endif  // QUVEN_KERNEL_PARAMETERS_H
