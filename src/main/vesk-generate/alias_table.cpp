#include "alias_table.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <stdexcept>

namespace vesk_generate {

AliasTable::AliasTable(std::span<const std::uint64_t> weights) {
  const std::size_t n = weights.size();
  const bool tooHeavy = std::any_of(weights.begin(), weights.end(), [](std::uint64_t w) { return w > (1ULL << 32); });
  if (n == 0 || n > (1ULL << 31) || tooHeavy) throw std::invalid_argument("alias table: weights out of range");
  const std::uint64_t total = std::accumulate(weights.begin(), weights.end(), std::uint64_t{0});
  if (total == 0) throw std::invalid_argument("alias table: all weights are 0");

  // Scaled by n, a weight of the average fills its cell exactly: total. 2^32 * 2^31 stays below 2^64.
  std::vector<std::uint64_t> scaled(n);
  std::transform(weights.begin(), weights.end(), scaled.begin(), [n](std::uint64_t w) { return w * n; });

  // One array serves both stacks: the cells with room grow from the front, the overfull ones from the back.
  std::vector<std::uint32_t> stacks(n);
  std::size_t roomyEnd = 0;
  std::size_t overfullBegin = n;
  cells.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    const auto index = static_cast<std::uint32_t>(i);
    cells[i] = {0, index};  // a full cell gives its own index on either side of any threshold
    if (scaled[i] < total) stacks[roomyEnd++] = index;
    if (scaled[i] > total) stacks[--overfullBegin] = index;
  }
  while (roomyEnd > 0) {
    const std::uint32_t roomy = stacks[--roomyEnd];
    const std::uint32_t donor = stacks[overfullBegin];
    const double share = static_cast<double>(scaled[roomy]) / static_cast<double>(total);
    cells[roomy] = {static_cast<std::uint32_t>(std::min(share * 0x1p32, 0x1p32 - 1.0)), donor};
    scaled[donor] -= total - scaled[roomy];
    if (scaled[donor] > total) continue;
    ++overfullBegin;
    if (scaled[donor] < total) stacks[roomyEnd++] = donor;
  }
}

}  // namespace vesk_generate
