#ifndef QUVEN_CATEGORY_NUMBERS_H
#define QUVEN_CATEGORY_NUMBERS_H

#include <bit>
#include <cstdint>
#include <deque>
#include <string_view>
#include <vector>

#include "util/quven_string.h"

/// The categories of a field that is filled with numbers: from a number to its text and to the index of its category,
/// so that neither is worked out again for each record.
///
/// Numbers are told apart by their bits. The first MostEntries different numbers are kept; all others share one entry,
/// which each of them overwrites.
/// Lifetime: an entry keeps its place as long as the object lives.
class QUVENCategoryNumbers {
 public:
  static constexpr std::size_t MostEntries = 4096;

  struct Entry {
    QUVENStringWithHash text;
    std::int32_t index = 0;  ///< of the category, or what the field takes for an index that is not known
  };

  QUVENCategoryNumbers() = default;
  QUVENCategoryNumbers(const QUVENCategoryNumbers&) = delete;
  QUVENCategoryNumbers& operator=(const QUVENCategoryNumbers&) = delete;

  /// Null for a number that is not kept.
  Entry* find(double number) {
    if (slots.empty()) return nullptr;
    const std::uint64_t bits = std::bit_cast<std::uint64_t>(number);
    for (std::size_t place = placeOf(bits);; place = (place + 1) & (slots.size() - 1)) {
      const Slot& slot = slots[place];
      if (slot.bits == bits || slot.entry == nullptr) return slot.entry;
    }
  }
  /// Requires: the number is not kept.
  Entry& add(double number, std::string_view text, std::int32_t unknownIndex);
  void setAllIndices(std::int32_t index);

 private:
  struct Slot {
    std::uint64_t bits = 0;
    Entry* entry = nullptr;  // null for a free slot
  };
  static constexpr std::size_t FewestSlots = 16;

  /// Codes that rise by a step must not meet in few slots, so the bits are mixed twice.
  std::size_t placeOf(std::uint64_t bits) const {
    bits = (bits ^ bits >> 32) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ bits >> 32) * 0x94D049BB133111EBU;
    return static_cast<std::size_t>(bits >> shift);
  }
  void grow();
  void putIn(std::uint64_t bits, Entry* entry);

  std::vector<Slot> slots;  // a power of two, at most half of them taken
  int shift = 64;           // 64 less the logarithm of slots.size()
  std::deque<Entry> entries;
  Entry shared;
};

#endif  // QUVEN_CATEGORY_NUMBERS_H
