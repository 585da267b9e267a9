#ifndef PAIR_SUM_TABLE_H
#define PAIR_SUM_TABLE_H

// The callees of each caller with their weights, in a pair sum run.

#include <cstdint>
#include <span>
#include <vector>

#include "number_hash.h"
#include "page_memory.h"

namespace vesk_loader {

struct CalleeWeight {
  double callee;
  double weight;
};

/// A map from (row of the caller, callee) to a weight, filled by the scan, then ordered once for output.
///
/// Memory: while filling 24 bytes a slot at 3/8 to 3/4 load; ordered 16 bytes a pair, both together only while
///         the order is made.
/// Cost:   one probe a record.
/// Errors: std::bad_alloc when memory ends.
class PairSumTable {
 public:
  PairSumTable();

  static std::uint64_t hash(std::uint32_t row, double callee) {
    return hash_id(callee) ^ fold_multiply(row + 1, 0xA0761D6478BD642FULL);
  }

  [[gnu::always_inline]] void prefetch(std::uint64_t hash) const { __builtin_prefetch(&slots[hash >> shift], 1); }

  /// The weight of a pair, made with 0.0 if the pair is new. Valid until the next call.
  double& weight(std::uint32_t row, double callee, std::uint64_t hash) {
    for (std::size_t slot = hash >> shift;; slot = (slot + 1) & mask) {
      Slot& found = slots[slot];
      if (found.rowPlusOne == 0) return insert(row, callee, hash, slot);
      if (found.rowPlusOne == row + 1 && same_id(found.callee, callee)) return found.weight;
    }
  }

  /// Gives a row a map without callees, if it has none yet: a process file can hold one.
  void makeMap(std::uint32_t row);

  /// Number of pairs.
  std::size_t size() const { return pairCount; }

  /// Ends the filling: orders the pairs by row and callee. Does nothing the second time.
  void order(std::uint32_t rowCount);

  /// Whether a row has a map, be it an empty one. After order.
  bool hasMap(std::uint32_t row) const { return maps[row] != 0; }

  /// The callees of a row in ascending order with their weights. After order.
  std::span<const CalleeWeight> pairs(std::uint32_t row) const {
    return std::span(ordered).subspan(starts[row], starts[row + 1] - starts[row]);
  }
  [[gnu::always_inline]] void prefetchPairs(std::uint32_t row) const {
    __builtin_prefetch(ordered.data() + starts[row]);
  }

 private:
  struct Slot {
    double callee = 0.0;
    double weight = 0.0;
    std::uint32_t rowPlusOne = 0;  // 0: empty
  };

  double& insert(std::uint32_t row, double callee, std::uint64_t hash, std::size_t slot);
  void grow();

  PageArray<Slot> slots;
  std::size_t mask;
  unsigned shift;
  std::size_t pairCount = 0;
  std::vector<std::uint32_t> emptyMaps;  // rows that were given a map without a callee

  bool isOrdered = false;
  std::vector<CalleeWeight> ordered;
  std::vector<std::size_t> starts;  // by row, one more at the end
  std::vector<char> maps;           // by row
};

}  // namespace vesk_loader

#endif  // PAIR_SUM_TABLE_H
