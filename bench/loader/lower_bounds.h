#ifndef BENCH_LOWER_BOUNDS_H
#define BENCH_LOWER_BOUNDS_H

// Lower bounds of a whole run: programs that make the same output from well-formed records of one fixed layout, with
// no test of a line, no settings and no general table. What a run costs above them is what exactness costs.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "block_file.h"
#include "key_order.h"
#include "number_hash.h"
#include "number_reading.h"

namespace lower_bounds {

using vesk_loader::BlockWriter;
using vesk_loader::fold_multiply;

// The layout of the benchmark's records, 0-based, end exclusive.
inline constexpr std::size_t callerStart = 0, callerEnd = 15;
inline constexpr std::size_t calleeStart = 16, calleeEnd = 31;
inline constexpr std::size_t dateStart = 32, dateEnd = 40;
inline constexpr std::size_t durationStart = 41, durationEnd = 47;
inline constexpr std::size_t multiplicityStart = 48, multiplicityEnd = 50;

/// Calls a function with each line of a file, read in blocks of 1 MiB.
template <class Use>
std::size_t for_each_line(const std::string& path, Use use) {
  constexpr std::size_t block = std::size_t{1} << 20;
  constexpr std::size_t margin = 64;
  std::vector<char> buffer(margin + block + block + margin);
  vesk_loader::FileHandle file;
  if (!file.openForReading(path)) return 0;
  char* const start = buffer.data() + margin;
  std::size_t left = 0;
  std::size_t lines = 0;
  while (const std::size_t count = file.read(start + left, block)) {
    const char* position = start;
    const char* const end = start + left + count;
    while (const auto* feed =
               static_cast<const char*>(std::memchr(position, '\n', static_cast<std::size_t>(end - position)))) {
      use(position, feed);
      ++lines;
      position = feed + 1;
    }
    left = static_cast<std::size_t>(end - position);
    std::memmove(start, position, left);
  }
  return lines;
}

/// A right-aligned integer behind blanks.
inline std::uint64_t number_at(const char* line, std::size_t start, std::size_t end) {
  while (line[start] == ' ') ++start;
  std::uint64_t value = 0;
  vesk_loader::read_digits(line + end, end - start, value);
  return value;
}

/// An open-addressing table with linear probing from keys above 0 to values, at most 3/4 full.
template <class Value>
class FlatTable {
 public:
  struct Slot {
    std::uint64_t key = 0;
    Value value{};
  };

  Value& operator[](std::uint64_t key) {
    std::size_t slot = find(key);
    if (slots[slot].key == 0) {
      if (count >= slots.size() / 4 * 3) {
        grow();
        slot = find(key);
      }
      ++count;
      slots[slot].key = key;
    }
    return slots[slot].value;
  }

  /// The slots in use in ascending order of their keys.
  std::vector<std::pair<std::uint64_t, Value>> sorted() const {
    std::vector<vesk_loader::OrderedRow> order;
    order.reserve(count);
    for (std::size_t i = 0; i < slots.size(); ++i) {
      if (slots[i].key != 0) order.push_back({slots[i].key, static_cast<std::uint32_t>(i)});
    }
    vesk_loader::sort_by_key(order);
    std::vector<std::pair<std::uint64_t, Value>> result;
    result.reserve(order.size());
    for (const auto& entry : order) result.emplace_back(entry.key, slots[entry.row].value);
    return result;
  }

 private:
  std::size_t find(std::uint64_t key) const {
    std::size_t slot = fold_multiply(key, 0x9E3779B97F4A7C15ULL) >> shift;
    while (slots[slot].key != 0 && slots[slot].key != key) slot = (slot + 1) & (slots.size() - 1);
    return slot;
  }

  void grow() {
    std::vector<Slot> old(slots.size() * 2);
    old.swap(slots);
    --shift;
    for (const Slot& entry : old) {
      if (entry.key != 0) slots[find(entry.key)] = entry;
    }
  }

  std::vector<Slot> slots = std::vector<Slot>(1024);
  std::size_t count = 0;
  unsigned shift = 54;
};

inline void put(BlockWriter& file, double a, double b, double c) {
  const double triple[3] = {a, b, c};
  file.put(std::span<const double>(triple));
}

inline void write_sparse_info(const std::string& stem) {
  std::ofstream(stem + ".info") << "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n";
}

/// Reading the bytes and finding line ends.
inline std::size_t read_lines(const std::string& path) {
  std::size_t bytes = 0;
  for_each_line(path, [&bytes](const char* line, const char* feed) { bytes += static_cast<std::size_t>(feed - line); });
  return bytes;
}

/// That, the needed numbers of each record, and one insert into a table of callers.
inline std::uint64_t read_and_insert(const std::string& path) {
  FlatTable<std::uint64_t> table;
  std::uint64_t sum = 0;
  for_each_line(path, [&](const char* line, const char*) {
    table[number_at(line, callerStart, callerEnd)] += number_at(line, calleeStart, calleeEnd);
    sum += number_at(line, multiplicityStart, multiplicityEnd);
  });
  return sum;
}

/// Pair sums: one insert a record under (caller, callee), the pairs sorted, the sparse file written.
inline void pair_sums(const std::string& path, const std::string& stem) {
  FlatTable<double> table;  // ids of the benchmark fit into 32 bits
  for_each_line(path, [&table](const char* line, const char*) {
    const std::uint64_t caller = number_at(line, callerStart, callerEnd);
    const std::uint64_t callee = number_at(line, calleeStart, calleeEnd);
    table[caller << 32 | callee] += static_cast<double>(number_at(line, multiplicityStart, multiplicityEnd));
  });
  const auto pairs = table.sorted();
  std::size_t width = 0;
  for (std::size_t i = 0, begin = 0; i < pairs.size(); ++i) {
    if (pairs[i].first >> 32 != pairs[begin].first >> 32) begin = i;
    width = std::max(width, i - begin + 1);
  }
  BlockWriter file;
  if (!file.open(stem)) return;
  for (std::size_t i = 0; i < pairs.size();) {
    const auto caller = static_cast<double>(pairs[i].first >> 32);
    const std::uint64_t first = pairs[i].first >> 32;
    put(file, caller, 0.0, static_cast<double>(width));
    for (; i < pairs.size() && pairs[i].first >> 32 == first; ++i) {
      put(file, caller, static_cast<double>(pairs[i].first & 0xFFFFFFFF), pairs[i].second);
    }
    put(file, caller, 0.0, 7788.0);
  }
  file.close();
  write_sparse_info(stem);
}

/// The table: one insert a record for its caller, the entry into a ring of 20 that is the caller's from the start.
inline void table_of_20(const std::string& path, const std::string& stem) {
  constexpr std::size_t tableSize = 20;
  struct Entry {
    double callee, date, duration;
  };
  struct Ring {
    std::uint32_t count = 0;
    std::uint32_t next = 0;
    Entry entries[tableSize];
  };
  FlatTable<std::uint32_t> table;
  std::vector<std::unique_ptr<Ring[]>> slabs;
  std::uint32_t rings = 0;
  constexpr std::uint32_t slab = 1024;
  for_each_line(path, [&](const char* line, const char*) {
    std::uint32_t& number = table[number_at(line, callerStart, callerEnd)];
    if (number == 0) {
      if (rings % slab == 0) slabs.push_back(std::make_unique_for_overwrite<Ring[]>(slab));
      number = ++rings;
    }
    Ring& ring = slabs[(number - 1) / slab][(number - 1) % slab];
    ring.entries[ring.next] = {static_cast<double>(number_at(line, calleeStart, calleeEnd)),
                               static_cast<double>(number_at(line, dateStart, dateEnd)),
                               static_cast<double>(number_at(line, durationStart, durationEnd))};
    if (++ring.next == tableSize) ring.next = 0;
    if (ring.count < tableSize) ++ring.count;
  });
  const auto keys = table.sorted();
  std::size_t width = 0;
  for (const auto& [key, number] : keys)
    width = std::max<std::size_t>(width, slabs[(number - 1) / slab][(number - 1) % slab].count);
  BlockWriter payload;
  BlockWriter file;
  if (!payload.open(stem + "_payload_1") || !file.open(stem)) return;
  std::vector<Entry> row;
  for (const auto& [caller, number] : keys) {
    const Ring& ring = slabs[(number - 1) / slab][(number - 1) % slab];
    row.clear();
    const std::size_t first = ring.count == tableSize ? ring.next : 0;
    for (std::size_t i = 0; i < ring.count; ++i) row.push_back(ring.entries[(first + i) % tableSize]);
    for (std::size_t i = 1; i < row.size(); ++i) {
      for (std::size_t j = i; j > 0 && row[j - 1].callee > row[j].callee; --j) std::swap(row[j - 1], row[j]);
    }
    const auto key = static_cast<double>(caller);
    put(file, key, 0.0, static_cast<double>(width));
    put(payload, key, 0.0, static_cast<double>(width));
    for (std::size_t i = 0; i < row.size(); ++i) {
      put(file, key, static_cast<double>(i + 1), row[i].callee);
      put(payload, key, static_cast<double>(i + 1), row[i].duration);
    }
    put(file, key, static_cast<double>(width + 1), 0.0);
    put(payload, key, static_cast<double>(width + 1), 0.0);
  }
  file.close();
  payload.close();
  write_sparse_info(stem);
}

/// Sums: one insert a record, the sums in the slot itself.
inline void sums(const std::string& path, const std::string& stem) {
  struct Sums {
    double calls = 0.0, seconds = 0.0, longCalls = 0.0;
  };
  FlatTable<Sums> table;
  for_each_line(path, [&table](const char* line, const char*) {
    Sums& row = table[number_at(line, callerStart, callerEnd)];
    const auto multiplicity = static_cast<double>(number_at(line, multiplicityStart, multiplicityEnd));
    const auto duration = static_cast<double>(number_at(line, durationStart, durationEnd));
    row.calls += multiplicity;
    row.seconds += duration;
    if (duration >= 300.0) row.longCalls += multiplicity;
  });
  BlockWriter file;
  if (!file.open(stem)) return;
  for (const auto& [caller, row] : table.sorted()) {
    const auto key = static_cast<double>(caller);
    put(file, key, 0.0, 4.0);
    put(file, key, 1.0, row.calls);
    put(file, key, 2.0, row.seconds);
    put(file, key, 3.0, row.longCalls);
    put(file, key, 5.0, 0.0);
  }
  file.close();
  write_sparse_info(stem);
}

}  // namespace lower_bounds

#endif  // BENCH_LOWER_BOUNDS_H
