#ifndef VESK_REPORT_SIZE_BINS_H
#define VESK_REPORT_SIZE_BINS_H

#include <cstdint>
#include <vector>

#include "report/found_groups.h"

namespace vesk {

/// The groups of a range of sizes.
struct SizeBin {
  std::uint64_t from = 0;
  std::uint64_t to = 0;  ///< inclusive
  std::uint64_t groups = 0;
  std::uint64_t members = 0;
  double medianDensity = 0;                   ///< 0 without a group
  std::vector<std::uint64_t> ofDensity = {};  ///< groups in each of the steps of the density
};

/// How many groups there are of which size and density.
struct SizesAndDensities {
  static constexpr std::size_t numDensitySteps = 20;

  std::vector<SizeBin> bins;  ///< ascending, without gaps; empty without groups
  double densityTop = 1;      ///< the steps divide 0 to densityTop; at least the largest density
};

/// One bin per size where the sizes differ by less than 30, otherwise about 24 bins whose ends grow by one factor.
SizesAndDensities binGroups(const FoundGroups& found);

/// The median; of an even number of values the mean of the two in the middle. Changes their order.
/// Requires: the values are not empty.
double medianOf(std::vector<double>& values);

}  // namespace vesk

#endif  // VESK_REPORT_SIZE_BINS_H
