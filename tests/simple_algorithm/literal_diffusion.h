#ifndef TESTS_SIMPLE_ALGORITHM_LITERAL_DIFFUSION_H
#define TESTS_SIMPLE_ALGORITHM_LITERAL_DIFFUSION_H

// Diffusion as it is told, with ordered maps and without passes over workers: the slow twin of the analysis.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

struct LiteralRow {
  std::uint64_t caller;
  std::vector<std::pair<double, double>> callees;  ///< callee and weight
};

struct LiteralResult {
  double energy = 0;
  std::int32_t inDegree = 0;
  std::int32_t outDegree = 0;
  std::int32_t weightedInDegree = 0;
  std::int32_t weightedOutDegree = 0;
};

struct LiteralDiffusion {
  std::map<std::uint64_t, LiteralResult> nodes;
  int iterations = 0;
  double diffVal = 100000.0;
};

/// The energies of the seeds at the start.
using LiteralSeeds = std::map<std::uint64_t, double>;

inline LiteralDiffusion literalDiffusionFrom(const std::vector<LiteralRow>& rows, const LiteralSeeds& seeds,
                                             double coefficient, double epsilon, int maxIterations) {
  LiteralDiffusion result;
  std::map<std::uint64_t, double> rowSum;
  std::map<std::uint64_t, double> total = seeds;
  std::map<std::uint64_t, double> fresh = seeds;
  for (const LiteralRow& row : rows) {
    rowSum[row.caller] = 0;
    for (const auto& [callee, weight] : row.callees) {
      if (callee == 0) continue;
      const auto node = static_cast<std::uint64_t>(callee);
      rowSum[row.caller] += weight;
      ++result.nodes[node].inDegree;
      ++result.nodes[row.caller].outDegree;
      result.nodes[node].weightedInDegree += static_cast<std::int32_t>(weight);
      result.nodes[row.caller].weightedOutDegree += static_cast<std::int32_t>(weight);
    }
  }
  while (result.iterations == 0 || (result.diffVal > epsilon && result.iterations < maxIterations)) {
    ++result.iterations;
    std::map<std::uint64_t, double> received;
    for (const LiteralRow& row : rows) {
      for (const auto& [callee, weight] : row.callees) {
        if (callee == 0) continue;
        const double share = fresh.contains(row.caller) ? fresh.at(row.caller) : 0;
        received[static_cast<std::uint64_t>(callee)] += weight / rowSum[row.caller] * share;
      }
    }
    for (auto& [node, energy] : received) energy *= coefficient;
    std::map<std::uint64_t, double> next = total;
    for (const auto& [node, energy] : received) next[node] += energy;
    for (const auto& [node, values] : result.nodes) {
      if (values.outDegree >= 1) next[node] -= coefficient * (fresh.contains(node) ? fresh.at(node) : 0);
    }
    result.diffVal = 0;
    for (const auto& [node, energy] : next) {
      result.diffVal = std::max(result.diffVal, std::fabs(energy - (total.contains(node) ? total.at(node) : 0)));
    }
    total = next;
    fresh = received;
  }
  for (const auto& [node, energy] : total) result.nodes[node].energy = energy;
  return result;
}

/// Each seed has 1 for each time it is named.
inline LiteralDiffusion literalDiffusion(const std::vector<LiteralRow>& rows, const std::vector<std::uint64_t>& seeds,
                                         double coefficient, double epsilon, int maxIterations) {
  LiteralSeeds energies;
  for (const std::uint64_t seed : seeds) energies[seed] += 1;
  return literalDiffusionFrom(rows, energies, coefficient, epsilon, maxIterations);
}

/// What a diffusion of as many passes gives when every subscriber of the result is a seed, all with the same energy and
/// together with that of the seeds.
inline LiteralDiffusion literalExpected(const std::vector<LiteralRow>& rows, const LiteralSeeds& seeds,
                                        const LiteralDiffusion& result, double coefficient) {
  double sum = 0;
  for (const auto& [seed, energy] : seeds) sum += energy;
  LiteralSeeds all;
  for (const auto& [node, values] : result.nodes) all[node] = sum / static_cast<double>(result.nodes.size());
  constexpr double never = -1;
  return literalDiffusionFrom(rows, all, coefficient, never, result.iterations);
}

#endif  // TESTS_SIMPLE_ALGORITHM_LITERAL_DIFFUSION_H
