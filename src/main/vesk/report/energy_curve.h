#ifndef VESK_REPORT_ENERGY_CURVE_H
#define VESK_REPORT_ENERGY_CURVE_H

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "report/found_groups.h"

namespace vesk {

/// The first subscribers by energy; of equal ones those with the smaller number.
struct EnergyPoint {
  std::uint64_t rank = 0;   ///< their number
  double energy = 0;        ///< of the last of them
  double share = 0;         ///< of the sum of all energies
  std::uint64_t seeds = 0;  ///< among them
};

struct EnergyCurve {
  std::uint64_t subscribers = 0;
  std::uint64_t withEnergy = 0;  ///< above 0
  double sum = 0;
  double largest = 0;
  double median = 0;                 ///< of those with energy
  std::vector<EnergyPoint> points;   ///< 20 in each decade of the ranks, and the last subscriber with energy
  std::vector<EnergyPoint> decades;  ///< ranks 1, 10, 100, ..., and the last subscriber with energy

  std::uint64_t seeds = 0;         ///< different ones in their file
  std::uint64_t seedsInCalls = 0;  ///< that call or are called; the energy file has the others, too
  std::uint64_t seedsWithEnergy = 0;
  double seedShare = 0;  ///< of the sum of all energies
};

/// Reads the CSV file of a diffusion. Adds the energies to the groups of their subscribers; groups: null for none.
///
/// Memory: 16 bytes per row.
/// Errors: CommandFailure with Status::Data and the file: as ResultRows; a subscriber twice, none of the seeds, none of
///         the members of the groups.
EnergyCurve readEnergyCurve(const std::string& file, const std::unordered_set<std::uint64_t>& seeds,
                            FoundGroups* groups);

}  // namespace vesk

#endif  // VESK_REPORT_ENERGY_CURVE_H
