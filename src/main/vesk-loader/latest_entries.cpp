#include "latest_entries.h"

#include <algorithm>
#include <array>
#include <bit>

#include "number_hash.h"

namespace vesk_loader {

std::span<const std::uint32_t> LatestEntries::select(const double* values, std::size_t count, std::size_t stride,
                                                     std::size_t most) {
  if (kept.size() < count) kept.resize(count);
  return count <= mostCompared ? selectByComparison(values, count, stride, most)
                               : selectByHash(values, count, stride, most);
}

// Each entry is compared with all later ones: repeats among these change nothing.
std::span<const std::uint32_t> LatestEntries::selectByComparison(const double* values, std::size_t count,
                                                                 std::size_t stride, std::size_t most) {
  std::array<std::uint64_t, mostCompared> ids;
  std::size_t first = count;
  for (std::size_t i = count; i > 0 && count - first < most;) {
    --i;
    ids[i] = id_bits(values[i * stride]);
    bool isNew = true;
    for (std::size_t later = i + 1; later < count; ++later) isNew &= ids[later] != ids[i];
    kept[first - 1] = static_cast<std::uint32_t>(i);
    first -= isNew ? 1 : 0;
  }
  return std::span(kept).subspan(first, count - first);
}

std::span<const std::uint32_t> LatestEntries::selectByHash(const double* values, std::size_t count, std::size_t stride,
                                                           std::size_t most) {
  const std::size_t slotCount = std::bit_ceil(4 * count);  // few collisions
  if (slots.size() < slotCount) slots.assign(slotCount, Slot{});
  if (++selection == 0) {  // the numbers have wrapped: old slots would look filled
    std::fill(slots.begin(), slots.end(), Slot{});
    selection = 1;
  }
  const std::size_t mask = slotCount - 1;
  const int shift = 64 - std::countr_zero(slotCount);
  std::size_t first = count;  // kept[first] to kept[count - 1] are the selected entries
  for (std::size_t i = count; i > 0 && count - first < most;) {
    --i;
    const double callee = values[i * stride];
    const std::uint64_t id = id_bits(callee);
    std::size_t slot = hash_bits(id) >> shift;
    while (slots[slot].selection == selection && slots[slot].id != id) slot = (slot + 1) & mask;
    // Whether a callee is met again cannot be predicted, so the index is stored in any case and kept by arithmetic.
    const bool isNew = slots[slot].selection != selection;
    slots[slot] = {id, selection};
    kept[first - 1] = static_cast<std::uint32_t>(i);
    first -= isNew ? 1 : 0;
  }
  return std::span(kept).subspan(first, count - first);
}

}  // namespace vesk_loader
