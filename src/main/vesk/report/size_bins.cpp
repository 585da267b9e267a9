#include "report/size_bins.h"

#include <algorithm>
#include <cmath>

namespace vesk {

namespace {

std::vector<SizeBin> emptyBins(std::uint64_t smallest, std::uint64_t largest) {
  constexpr std::uint64_t mostPlainBins = 30;
  constexpr double numGrowingBins = 24;
  std::vector<SizeBin> bins;
  if (largest - smallest < mostPlainBins) {
    for (std::uint64_t size = smallest; size <= largest; ++size) bins.push_back({.from = size, .to = size});
    return bins;
  }
  const double factor = std::pow(static_cast<double>(largest + 1) / static_cast<double>(smallest), 1 / numGrowingBins);
  double end = static_cast<double>(smallest);
  for (std::uint64_t from = smallest; from <= largest;) {
    end *= factor;
    const std::uint64_t to = std::max(from, static_cast<std::uint64_t>(std::max(0.0, std::round(end) - 1)));
    bins.push_back({.from = from, .to = std::min(to, largest)});
    from = to + 1;
  }
  return bins;
}

double roundTop(double largest) {
  for (const double top : {0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0}) {
    if (largest <= top) return top;
  }
  return largest;
}

}  // namespace

double medianOf(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

SizesAndDensities binGroups(const FoundGroups& found) {
  SizesAndDensities result;
  if (found.groups.empty()) return result;
  const auto [smallest, largest] = std::ranges::minmax(found.groups, {}, &FoundGroup::size);
  result.bins = emptyBins(smallest.size, largest.size);
  result.densityTop = roundTop(std::ranges::max(found.groups, {}, &FoundGroup::density).density);
  std::vector<std::vector<double>> densities(result.bins.size());
  for (SizeBin& bin : result.bins) bin.ofDensity.resize(SizesAndDensities::numDensitySteps);
  for (const FoundGroup& group : found.groups) {
    const auto place = std::ranges::lower_bound(result.bins, group.size, {}, &SizeBin::to);
    ++place->groups;
    place->members += group.size;
    const double step = group.density / result.densityTop * static_cast<double>(SizesAndDensities::numDensitySteps);
    ++place->ofDensity[std::min(static_cast<std::size_t>(step), SizesAndDensities::numDensitySteps - 1)];
    densities[static_cast<std::size_t>(place - result.bins.begin())].push_back(group.density);
  }
  for (std::size_t i = 0; i < densities.size(); ++i) {
    if (!densities[i].empty()) result.bins[i].medianDensity = medianOf(densities[i]);
  }
  return result;
}

}  // namespace vesk
