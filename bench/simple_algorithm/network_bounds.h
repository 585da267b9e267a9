#ifndef BENCH_SIMPLE_ALGORITHM_NETWORK_BOUNDS_H
#define BENCH_SIMPLE_ALGORITHM_NETWORK_BOUNDS_H

// The least work of the network analyses, by hand over arrays: nothing is read, checked or looked up, and nothing of
// the library is used.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/call_network.h"

/// Spreads energy over a network in steps: each subscriber with callees passes a share of what it received in the step
/// before to them, in proportion to the calls, and keeps the rest.
class SpreadingBound {
 public:
  explicit SpreadingBound(const CallNetwork& callNetwork) : network(callNetwork), shares(callNetwork.calls) {
    for (std::size_t i = 0; i < network.getNumSubscribers(); ++i) {
      double sum = 0;
      for (std::size_t k = network.begins[i]; k < network.begins[i + 1]; ++k) sum += shares[k];
      for (std::size_t k = network.begins[i]; k < network.begins[i + 1]; ++k) shares[k] *= spreadShare / sum;
    }
  }

  /// The energies after the steps, which begin with 1 at each of the seeds.
  const std::vector<double>& spread(int numSteps, std::span<const std::uint32_t> seeds) {
    const std::size_t n = network.getNumSubscribers();
    kept.assign(n, 0);
    moving.assign(n, 0);
    for (const std::uint32_t seed : seeds) moving[seed] = 1;
    for (int step = 0; step < numSteps; ++step) {
      arriving.assign(n, 0);
      for (std::size_t i = 0; i < n; ++i) {
        const double energy = moving[i];
        const std::size_t end = network.begins[i + 1];
        kept[i] += network.begins[i] == end ? energy : (1 - spreadShare) * energy;
        for (std::size_t k = network.begins[i]; k < end; ++k) arriving[network.callees[k]] += shares[k] * energy;
      }
      moving.swap(arriving);
    }
    for (std::size_t i = 0; i < n; ++i) kept[i] += moving[i];
    return kept;
  }

 private:
  static constexpr double spreadShare = 0.5;

  const CallNetwork& network;
  std::vector<double> shares;  // of each pair
  std::vector<double> kept;
  std::vector<double> moving;
  std::vector<double> arriving;
};

/// Counts the common contacts of each subscriber and each of its contacts; two that call each other are one pair.
/// Returns: the sum over all pairs.
inline std::uint64_t countCommonByMarks(const CallNetwork& network) {
  constexpr std::size_t longerBy = 16;  // from here on searches in a row cost less than a walk
  std::vector<std::uint32_t> markedBy(network.getNumSubscribers(), 0);
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < network.getNumSubscribers(); ++i) {
    const std::span<const std::uint32_t> own = network.getRow(i);
    const auto mark = static_cast<std::uint32_t>(i + 1);
    for (const std::uint32_t contact : own) markedBy[contact] = mark;
    for (const std::uint32_t contact : own) {
      const std::span<const std::uint32_t> other = network.getRow(contact);
      const auto isCalledBack = [&] { return std::binary_search(other.begin(), other.end(), i); };
      if (contact == i || (contact < i && isCalledBack())) continue;
      if (other.size() > longerBy * own.size()) {
        for (const std::uint32_t mine : own) sum += std::binary_search(other.begin(), other.end(), mine) ? 1 : 0;
      } else {
        for (const std::uint32_t theirs : other) sum += markedBy[theirs] == mark ? 1 : 0;
      }
    }
  }
  return sum;
}

#endif  // BENCH_SIMPLE_ALGORITHM_NETWORK_BOUNDS_H
