#include "ids/id_table.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace vesk {

namespace {

constexpr std::size_t firstSlots = std::size_t{1} << 16;
constexpr std::size_t longestText = 255;
constexpr unsigned placeBits = 40;
constexpr std::uint64_t placeMask = (std::uint64_t{1} << placeBits) - 1;

}  // namespace

IdTable::IdTable() : slots(firstSlots) {}

bool IdTable::isChunkEnd(std::uint64_t place) const {
  const std::size_t offset = place % chunkBytes;
  if (offset + headBytes > chunkBytes) return true;
  return entryAt(place).number == 0;
}

IdTable::Entry IdTable::entryAt(std::uint64_t place) const {
  const char* at = chunks[place >> chunkBits].get() + place % chunkBytes;
  std::uint64_t number = 0;
  std::memcpy(&number, at, sizeof number);
  return {number, {at + headBytes, static_cast<unsigned char>(at[sizeof number])}};
}

/// Appends the entry and returns its place.
std::uint64_t IdTable::addEntry(std::string_view text, std::uint64_t number) {
  std::uint64_t place = endOfEntries;
  if (place % chunkBytes + entryBytes(text.size()) > chunkBytes) place = nextChunk(place);
  if (place / chunkBytes == chunks.size()) chunks.push_back(std::make_unique<char[]>(chunkBytes));
  char* at = chunks[place >> chunkBits].get() + place % chunkBytes;
  std::memcpy(at, &number, sizeof number);
  at[sizeof number] = static_cast<char>(text.size());
  std::memcpy(at + headBytes, text.data(), text.size());
  endOfEntries = place + entryBytes(text.size());
  return place;
}

/// The slot of the text, or the empty slot where it belongs.
std::size_t IdTable::slotOf(std::string_view text, std::uint64_t hash) const {
  const std::size_t mask = slots.size() - 1;
  for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const std::uint64_t value = slots[slot];
    if (value == 0) return slot;
    if ((value ^ hash) >> placeBits == 0 && entryAt((value & placeMask) - 1).text == text) return slot;
  }
}

std::uint64_t IdTable::find(std::string_view text, std::uint64_t hash) const {
  const std::uint64_t value = slots[slotOf(text, hash)];
  return value == 0 ? 0 : entryAt((value & placeMask) - 1).number;
}

bool IdTable::insert(std::string_view text, std::uint64_t hash, std::uint64_t number) {
  if (text.size() > longestText) throw std::length_error("a text of more than 255 bytes");
  const std::size_t slot = slotOf(text, hash);
  if (slots[slot] != 0) return false;
  slots[slot] = (hash & ~placeMask) | (addEntry(text, number) + 1);
  if (++size > slots.size() / 4 * 3) resize(2 * slots.size());
  return true;
}

void IdTable::prefetchEntry(std::uint64_t hash) const {
  const std::uint64_t value = slots[hash & (slots.size() - 1)];
  if (value == 0) return;
  const std::uint64_t place = (value & placeMask) - 1;
  __builtin_prefetch(chunks[place >> chunkBits].get() + place % chunkBytes);
}

void IdTable::reserve(std::uint64_t entries) {
  std::size_t wanted = slots.size();
  while (wanted / 4 * 3 <= entries) wanted *= 2;
  if (wanted > slots.size()) resize(wanted);
}

void IdTable::resize(std::size_t newSlots) {
  std::vector<std::uint64_t> wider(newSlots);
  slots.swap(wider);
  const std::size_t mask = slots.size() - 1;
  for (const std::uint64_t value : wider) {
    if (value == 0) continue;
    const std::uint64_t hash = hashOf(entryAt((value & placeMask) - 1).text);
    std::size_t slot = hash & mask;
    while (slots[slot] != 0) slot = (slot + 1) & mask;
    slots[slot] = value;
  }
}

}  // namespace vesk
