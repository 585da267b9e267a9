#ifndef VESK_INSPECT_NETWORK_CALLS_H
#define VESK_INSPECT_NETWORK_CALLS_H

#include <cstdint>
#include <functional>
#include <string>

namespace vesk_inspect {

/// Who calls whom in a network dataset.
struct NetworkCall {
  std::uint64_t caller = 0;
  std::uint64_t callee = 0;
  double weight = 1.0;  ///< of a pair sum its value; 1 for an entry of a table
};

/// Calls take(call) for each entry of a sparse dataset of a table run or a pair sum run, in the order of the file or of
/// the parts `name`.0, `name`.1, ...
///
/// Errors: std::runtime_error naming the file: it cannot be read, a part is missing, it is not sparse, its rows are not
///         those of a sparse dataset, parts are of different kinds, a subscriber is no whole number from 0 to below
///         2^64, a weight is negative or not finite. A dataset of sums has the form of a table and is not recognised.
void forEachCall(const std::string& name, const std::function<void(const NetworkCall&)>& take);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_NETWORK_CALLS_H
