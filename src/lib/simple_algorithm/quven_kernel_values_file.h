#ifndef QUVEN_KERNEL_VALUES_FILE_H
#define QUVEN_KERNEL_VALUES_FILE_H

#include <cstdint>
#include <string>

#include "util/quven_env.h"
#include "util/quven_xaray.h"

/// Reads the pairs of a kernel values file behind those that are there: a line a pair, "number, number, value".
///
/// The numbers are unsigned ones of 64 bits with their base by their prefix; of each item 29 characters count; the
/// value is not looked at. A line without numbers gives zeros, and is a pair all the same. Shapes: pairs stand flat: a,
/// b, a, b. Errors: the terminating report 2304; the warnings 5001 for a line of 0 and the largest 32-bit number, and
/// 5005 with
///         the first line that is not two numbers and a value.
void quvenReadKernelValuesFile(const std::string& fileName, QUVENXaRay<std::uint64_t>& pairs,
                               const QUVENEnvHandle& env);

#endif  // QUVEN_KERNEL_VALUES_FILE_H
