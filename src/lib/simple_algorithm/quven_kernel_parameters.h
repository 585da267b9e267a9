#ifndef QUVEN_KERNEL_PARAMETERS_H
#define QUVEN_KERNEL_PARAMETERS_H

#include "control/quven_XML_tag.h"
#include "simple_algorithm/quven_kernel_function.h"

/// The parameters of a kernel analysis.
struct QUVENKernelParameters {
  std::int32_t verbosityLevel = 1;
  std::string outputFileName;  ///< empty for none
  std::int32_t filterSimilarities = 1;
  std::int32_t numberOfComputeIterations = 1;
  std::int32_t isSparseData = 1;
  std::int32_t isSparseKernel = 1;
  double sparsityLevel = 0;
  QUVENKernelSettings function;
};

/// Reads the parameters below "KernelParams" of a tag or, without that, below the tag itself.
/// Errors: the terminating reports 2202, 2203 and 2204.
QUVENKernelParameters quvenReadKernelParameters(const QUVENXMLTag& tag, const QUVENEnvHandle& env);

#endif  // QUVEN_KERNEL_PARAMETERS_H
