#include "kernel/quven_category_numbers.h"

#include <utility>

QUVENCategoryNumbers::Entry& QUVENCategoryNumbers::add(double number, std::string_view text,
                                                       std::int32_t unknownIndex) {
  if (entries.size() == MostEntries) {
    shared.text.assign(text);
    shared.index = unknownIndex;
    return shared;
  }
  if (2 * (entries.size() + 1) > slots.size()) grow();
  entries.push_back({QUVENStringWithHash(text), unknownIndex});
  putIn(std::bit_cast<std::uint64_t>(number), &entries.back());
  return entries.back();
}

void QUVENCategoryNumbers::setAllIndices(std::int32_t index) {
  for (Entry& entry : entries) entry.index = index;
  shared.index = index;
}

void QUVENCategoryNumbers::grow() {
  std::vector<Slot> old(slots.empty() ? FewestSlots : 2 * slots.size());
  slots.swap(old);
  shift = 64 - std::countr_zero(slots.size());
  for (const Slot& slot : old) {
    if (slot.entry != nullptr) putIn(slot.bits, slot.entry);
  }
}

void QUVENCategoryNumbers::putIn(std::uint64_t bits, Entry* entry) {
  std::size_t place = placeOf(bits);
  while (slots[place].entry != nullptr) place = (place + 1) & (slots.size() - 1);
  slots[place] = {bits, entry};
}
