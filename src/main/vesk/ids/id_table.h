#ifndef VESK_ID_TABLE_H
#define VESK_ID_TABLE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace vesk {

/// Texts and their numbers in memory, found by a hash.
///
/// Memory: 10 bytes and the text for each entry, and 8 bytes for each of the slots, of which at most 3 of 4 are used.
/// Limits: texts of at most 255 bytes.
class IdTable {
 public:
  IdTable();

  /// Makes room for so many entries.
  void reserve(std::uint64_t entries);

  static std::uint64_t hashOf(std::string_view text) { return std::hash<std::string_view>{}(text); }

  /// The number of a text with this hash; 0 if it has none.
  std::uint64_t find(std::string_view text, std::uint64_t hash) const;
  std::uint64_t find(std::string_view text) const { return find(text, hashOf(text)); }
  /// Adds a text with this hash. False if it is there already.
  /// Requires: number > 0. Errors: std::length_error for a text that is too long.
  bool insert(std::string_view text, std::uint64_t hash, std::uint64_t number);
  bool insert(std::string_view text, std::uint64_t number) { return insert(text, hashOf(text), number); }

  // A large table is in main memory. To look up many texts, first prefetch the slots of all of them,
  // then the entries, and then find them: the fetches overlap.
  void prefetchSlot(std::uint64_t hash) const { __builtin_prefetch(&slots[hash & (slots.size() - 1)]); }
  void prefetchEntry(std::uint64_t hash) const;

  std::uint64_t getSize() const { return size; }

  /// The place after the last entry; see forEachSince.
  std::uint64_t getEnd() const { return endOfEntries; }

  /// Calls take(text, number) for each entry since the place, in the order of the insertions.
  template <class Take>
  void forEachSince(std::uint64_t place, const Take& take) const {
    while (place != endOfEntries) {
      if (isChunkEnd(place)) {
        place = nextChunk(place);
        continue;
      }
      const Entry entry = entryAt(place);
      take(entry.text, entry.number);
      place += entryBytes(entry.text.size());
    }
  }

 private:
  struct Entry {
    std::uint64_t number;
    std::string_view text;
  };
  static constexpr std::size_t headBytes = 9;  // the number and the length
  static constexpr unsigned chunkBits = 22;
  static constexpr std::size_t chunkBytes = std::size_t{1} << chunkBits;

  static std::size_t entryBytes(std::size_t textBytes) { return headBytes + textBytes; }
  static std::uint64_t nextChunk(std::uint64_t place) { return (place / chunkBytes + 1) * chunkBytes; }
  /// Whether the chunk of the place has no more entries. A number of 0 marks the end unless too few bytes are left.
  bool isChunkEnd(std::uint64_t place) const;
  Entry entryAt(std::uint64_t place) const;
  std::uint64_t addEntry(std::string_view text, std::uint64_t number);
  void resize(std::size_t newSlots);
  std::size_t slotOf(std::string_view text, std::uint64_t hash) const;

  // A slot has the high 24 bits of the hash and the place of the entry plus 1 in 40 bits; 0 is an empty slot.
  std::vector<std::uint64_t> slots;
  std::vector<std::unique_ptr<char[]>> chunks;  // of chunkBytes; no entry is in two
  std::uint64_t endOfEntries = 0;
  std::uint64_t size = 0;
};

}  // namespace vesk

#endif  // VESK_ID_TABLE_H
