#include "table/keyed_rows.h"

#include <bit>

#include "table/key_value.h"

namespace vesk {

KeyedRows::KeyedRows(std::size_t columnCount, std::uint64_t mostRows) : width(columnCount + 1) {
  // At most two thirds of the slots are used, so that a search visits only a few.
  const std::uint64_t slotCount = std::bit_ceil(mostRows + mostRows / 2 + 1);
  slots.assign(slotCount, NoRow);
  shift = std::countl_zero(slotCount) + 1;
  rows.reserve(mostRows * width);
}

std::uint32_t KeyedRows::add(double key, std::span<const double> cells) {
  std::uint32_t& slot = slots[slotOf(key)];
  if (slot != NoRow) return slot;
  slot = count++;
  rows.push_back(key);
  rows.insert(rows.end(), cells.begin(), cells.end());
  return NoRow;
}

std::uint32_t KeyedRows::find(double key) const { return isKey(key) ? slots[slotOf(key)] : NoRow; }

std::size_t KeyedRows::slotOf(double key) const {
  // A single multiplication would map keys at some distances from each other to a few slots.
  constexpr std::uint64_t multiplier = 0x9E3779B97F4A7C15ULL;
  constexpr int halfBits = 32;
  std::uint64_t hash = static_cast<std::uint64_t>(static_cast<std::int64_t>(key)) * multiplier;
  hash = (hash ^ hash >> halfBits) * multiplier;
  std::size_t slot = shift == 64 ? 0 : hash >> shift;
  while (slots[slot] != NoRow && keyOf(slots[slot]) != key) slot = (slot + 1) & (slots.size() - 1);
  return slot;
}

}  // namespace vesk
