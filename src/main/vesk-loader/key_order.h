#ifndef KEY_ORDER_H
#define KEY_ORDER_H

#include <cstdint>
#include <vector>

namespace vesk_loader {

/// A row with its key in the form of ordered_bits.
struct OrderedRow {
  std::uint64_t key;
  std::uint32_t row;
};

/// Ascending by key, rows of equal keys in their order. Bytes that all keys share cost nothing, and neither do rows in
/// order already, as they come from a process file.
/// Source: Knuth, The Art of Computer Programming 3, section 5.2.5 (radix sort, least significant byte first).
void sort_by_key(std::vector<OrderedRow>& rows);

}  // namespace vesk_loader

#endif  // KEY_ORDER_H
