#include "pair_sum_table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vesk_loader {

namespace {

constexpr std::size_t firstSlotBits = 12;

}  // namespace

PairSumTable::PairSumTable()
    : slots(std::size_t{1} << firstSlotBits), mask(slots.size() - 1), shift(64 - firstSlotBits) {}

double& PairSumTable::insert(std::uint32_t row, double callee, std::uint64_t hash, std::size_t slot) {
  if (pairCount >= slots.size() / 4 * 3) {
    grow();
    for (slot = hash >> shift; slots[slot].rowPlusOne != 0;) slot = (slot + 1) & mask;
  }
  ++pairCount;
  slots[slot] = {callee, 0.0, row + 1};
  return slots[slot].weight;
}

void PairSumTable::grow() {
  const PageArray<Slot> smaller = std::exchange(slots, PageArray<Slot>(slots.size() * 2));
  mask = slots.size() - 1;
  --shift;
  // Slots follow the top bits of the hash, so the old slots are taken over almost in order of the new ones.
  for (const Slot& entry : smaller) {
    if (entry.rowPlusOne == 0) continue;
    std::size_t slot = hash(entry.rowPlusOne - 1, entry.callee) >> shift;
    while (slots[slot].rowPlusOne != 0) slot = (slot + 1) & mask;
    slots[slot] = entry;
  }
}

void PairSumTable::makeMap(std::uint32_t row) { emptyMaps.push_back(row); }

void PairSumTable::order(std::uint32_t rowCount) {
  if (isOrdered) return;
  starts.assign(std::size_t{rowCount} + 1, 0);
  for (const Slot& slot : slots) {
    if (slot.rowPlusOne != 0) ++starts[slot.rowPlusOne];
  }
  maps.assign(rowCount, 0);
  for (std::uint32_t row = 0; row < rowCount; ++row) maps[row] = starts[row + 1] != 0;
  for (const std::uint32_t row : emptyMaps) maps[row] = 1;
  std::partial_sum(starts.begin(), starts.end(), starts.begin());

  ordered.resize(pairCount);
  std::vector<std::size_t> places(starts.begin(), starts.end() - 1);
  for (const Slot& slot : slots) {
    if (slot.rowPlusOne != 0) ordered[places[slot.rowPlusOne - 1]++] = {slot.callee, slot.weight};
  }
  slots.release();
  const auto ascending = [](const CalleeWeight& a, const CalleeWeight& b) {
    return ordered_bits(a.callee) < ordered_bits(b.callee);
  };
  for (std::uint32_t row = 0; row < rowCount; ++row) {
    const auto begin = ordered.begin() + static_cast<std::ptrdiff_t>(starts[row]);
    const auto end = ordered.begin() + static_cast<std::ptrdiff_t>(starts[row + 1]);
    std::sort(begin, end, ascending);
  }
  isOrdered = true;
}

}  // namespace vesk_loader
