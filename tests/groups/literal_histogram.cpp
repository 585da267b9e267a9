#include "literal_histogram.h"

#include <iterator>

namespace literal {

void Histogram::add(double value) {
  const auto bin = bins.find(value);
  if (bin != bins.end()) {
    ++bin->second;
    return;
  }
  if (bins.size() >= limit) compress();
  // After a compress the value may stand there: its count starts again, on purpose.
  bins[value] = 1;
}

void Histogram::compress() {
  auto best = bins.begin();
  for (auto low = bins.begin(); std::next(low) != bins.end(); ++low) {
    const double gap = std::next(low)->first - low->first;
    if (gap < std::next(best)->first - best->first) best = low;
  }
  const auto [l1, c1] = *best;
  const auto [l2, c2] = *std::next(best);
  bins.erase(best, std::next(best, 2));
  // A bin that stands exactly there loses its own count, on purpose.
  bins[(c1 * l1 + c2 * l2) / (c1 + c2)] = c1 + c2;
}

Bins Histogram::merge(const Bins& first, const Bins& second, std::size_t limit) {
  Histogram merged(limit);
  for (const auto& [location, count] : first) merged.bins[location] = count;
  for (const auto& [location, count] : second) merged.bins[location] += count;
  while (merged.bins.size() > limit) merged.compress();
  return merged.getBins();
}

Bins mergeWorkers(std::vector<Bins> byRank, std::size_t limit) {
  const std::size_t numHelpers = byRank.size() - 1;
  if (numHelpers == 0) return byRank[0];
  for (std::size_t step = 1; step < numHelpers; step *= 2) {
    for (std::size_t position = 0; position + step < numHelpers; position += 2 * step) {
      Bins& taking = byRank[1 + position];
      taking = Histogram::merge(taking, byRank[1 + position + step], limit);
    }
  }
  return Histogram::merge(byRank[0], byRank[1], limit);
}

}  // namespace literal
