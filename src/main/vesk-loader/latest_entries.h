#ifndef LATEST_ENTRIES_H
#define LATEST_ENTRIES_H

// The entries that stay in a row of distinct callees.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vesk_loader {

/// Selects, among the entries of a row, the latest one of each callee.
///
/// Callees are compared by same_id. The object keeps its memory from one selection to the next.
/// Cost:   one probe of a small hash table per entry, from the latest entry back until `most` are found. A few entries
///         are compared with each other instead.
/// Errors: std::bad_alloc when memory ends.
class LatestEntries {
 public:
  /// The indices, 0-based and ascending, of the latest entry of each callee, and of these the latest `most`.
  /// The callee of entry i is values[i * stride]. Valid until the next call.
  std::span<const std::uint32_t> select(const double* values, std::size_t count, std::size_t stride, std::size_t most);

 private:
  static constexpr std::size_t mostCompared = 16;

  std::span<const std::uint32_t> selectByComparison(const double* values, std::size_t count, std::size_t stride,
                                                    std::size_t most);
  std::span<const std::uint32_t> selectByHash(const double* values, std::size_t count, std::size_t stride,
                                              std::size_t most);

  struct Slot {
    std::uint64_t id = 0;         // idBits of a callee
    std::uint32_t selection = 0;  // number of the selection that has filled the slot; any other: empty
  };

  std::vector<Slot> slots;
  std::vector<std::uint32_t> kept;  // filled from the end
  std::uint32_t selection = 0;
};

}  // namespace vesk_loader

#endif  // LATEST_ENTRIES_H
