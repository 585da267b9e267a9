#ifndef BENCH_SUPPORT_CALL_NETWORK_H
#define BENCH_SUPPORT_CALL_NETWORK_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <random>
#include <span>
#include <vector>

/// Who calls whom: the rows of all subscribers side by side.
///
/// Subscribers are counted from 0. Row i has the callees from begins[i] up to begins[i + 1], ascending and different
/// from each other, with the number of calls to each.
struct CallNetwork {
  std::vector<std::size_t> begins = {0};
  std::vector<std::uint32_t> callees;
  std::vector<double> calls;

  std::size_t getNumSubscribers() const { return begins.size() - 1; }
  std::size_t getNumPairs() const { return callees.size(); }
  std::size_t getLength(std::size_t subscriber) const { return begins[subscriber + 1] - begins[subscriber]; }
  std::span<const std::uint32_t> getRow(std::size_t subscriber) const {
    return std::span(callees).subspan(begins[subscriber], getLength(subscriber));
  }
  std::size_t getLongestRow() const {
    std::size_t longest = 0;
    for (std::size_t i = 0; i < getNumSubscribers(); ++i) longest = std::max(longest, getLength(i));
    return longest;
  }
  /// The records of a sparse dataset of these rows, with headers and footers.
  std::size_t getNumRecords() const { return getNumPairs() + 2 * getNumSubscribers(); }

  /// Appends the row of the next subscriber; a callee that is there more than once is one pair with the sum of its
  /// calls.
  void addRow(std::vector<std::uint32_t> made) {
    std::sort(made.begin(), made.end());
    for (const std::uint32_t callee : made) {
      if (callees.size() > begins.back() && callees.back() == callee) {
        ++calls.back();
      } else {
        callees.push_back(callee);
        calls.push_back(1);
      }
    }
    begins.push_back(callees.size());
  }
};

/// A network as operators see it: the subscriber of rank r in activity makes calls, and the one of rank r in popularity
/// gets calls from other communities, in proportion to r^-0.75. The ranks are independent of each other. Communities
/// have 20 to 60 subscribers with neighbouring numbers; 80 % of all calls stay in the community.
inline CallNetwork heavyTailNetwork(std::size_t numSubscribers, double meanCalls) {
  constexpr double exponent = 0.75;
  constexpr double shareInside = 0.8;
  constexpr std::size_t smallest = 20;
  constexpr std::size_t largest = 60;
  std::mt19937_64 random(20240722);
  std::uniform_real_distribution<double> share(0, 1);
  const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  const auto shuffled = [&] {
    std::vector<std::uint32_t> numbers(numSubscribers);
    std::iota(numbers.begin(), numbers.end(), 0U);
    std::shuffle(numbers.begin(), numbers.end(), random);
    return numbers;
  };
  const std::vector<std::uint32_t> activityRanks = shuffled();
  const std::vector<std::uint32_t> popular = shuffled();  // by rank
  const auto activityOf = [&](std::size_t rank) { return std::pow(static_cast<double>(rank + 1), -exponent); };
  double sum = 0;
  for (std::size_t rank = 0; rank < numSubscribers; ++rank) sum += activityOf(rank);
  const double callsPerActivity = meanCalls * static_cast<double>(numSubscribers) / sum;
  // The share of the ranks up to r of all popularity is about (r / n)^(1 - exponent).
  const auto popularCallee = [&] {
    const double place = std::pow(share(random), 1 / (1 - exponent)) * static_cast<double>(numSubscribers);
    return popular[std::min(static_cast<std::size_t>(place), numSubscribers - 1)];
  };
  CallNetwork network;
  std::size_t community = 0;
  std::size_t communityEnd = 0;
  for (std::size_t caller = 0; caller < numSubscribers; ++caller) {
    if (caller == communityEnd) {
      community = caller;
      communityEnd = std::min(numSubscribers, caller + smallest + below(largest - smallest + 1));
    }
    // A fraction of a call is made with its own probability, so that the mean is kept among the quiet subscribers.
    const double calls = callsPerActivity * activityOf(activityRanks[caller]);
    const auto numCalls = static_cast<std::size_t>(std::max(1.0, std::floor(calls + share(random))));
    std::vector<std::uint32_t> row;
    while (row.size() < numCalls) {
      const bool isInside = share(random) < shareInside && communityEnd - community > 1;
      const std::size_t callee = isInside ? community + below(communityEnd - community) : popularCallee();
      if (callee != caller) row.push_back(static_cast<std::uint32_t>(callee));
    }
    network.addRow(std::move(row));
  }
  return network;
}

/// A network in which each subscriber has about 20 callees, 14 of them in its group of 25. The subscriber in the middle
/// has the given number of callees if that is not 0, which are spread evenly.
/// Requires: longRow < numSubscribers.
inline CallNetwork evenNetwork(std::size_t numSubscribers, std::size_t longRow) {
  constexpr std::size_t groupSize = 25;
  constexpr int numInside = 14;
  constexpr int numCallees = 20;
  std::mt19937_64 random(20240722);
  CallNetwork network;
  for (std::size_t caller = 0; caller < numSubscribers; ++caller) {
    std::vector<std::uint32_t> row;
    if (longRow > 0 && caller == numSubscribers / 2) {
      for (std::size_t i = 0; i < longRow; ++i) row.push_back(static_cast<std::uint32_t>(i * numSubscribers / longRow));
    } else {
      const std::size_t group = caller / groupSize * groupSize;
      const std::size_t size = std::min(groupSize, numSubscribers - group);
      for (int i = 0; i < numInside; ++i) row.push_back(static_cast<std::uint32_t>(group + random() % size));
      for (int i = numInside; i < numCallees; ++i) row.push_back(static_cast<std::uint32_t>(random() % numSubscribers));
    }
    network.addRow(std::move(row));
  }
  return network;
}

#endif  // BENCH_SUPPORT_CALL_NETWORK_H
