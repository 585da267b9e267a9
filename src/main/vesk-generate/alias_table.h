#ifndef VESK_GENERATE_ALIAS_TABLE_H
#define VESK_GENERATE_ALIAS_TABLE_H

#include <cstdint>
#include <span>
#include <vector>

#include "random.h"

namespace vesk_generate {

/// Draws an index with a probability in proportion to its weight, by one random number and one look-up.
///
/// Accuracy: the share of an index within its cell is kept in units of 2^-32.
/// Cost:     8 bytes an index; building is linear, with 12 bytes an index on top while it lasts.
/// Source:   Walker, "An efficient method for generating discrete random variables with general distributions",
///           ACM TOMS 3(3), 1977; built as in Vose, IEEE Trans. Software Eng. 17(9), 1991, in integers.
class AliasTable {
 public:
  /// Requires: 1 to 2^31 weights, each from 0 to 2^32, not all 0.
  explicit AliasTable(std::span<const std::uint64_t> weights);

  std::uint32_t draw(Xoshiro256& random) const {
    // The high half of the product is the cell, the low half the place within the cell.
    const Uint128 product = Uint128{random.next()} * cells.size();
    const auto index = static_cast<std::uint32_t>(product >> 64);
    const auto place = static_cast<std::uint32_t>(static_cast<std::uint64_t>(product) >> 32);
    const Cell cell = cells[index];
    return place < cell.threshold ? index : cell.alias;
  }

  std::size_t size() const { return cells.size(); }

 private:
  struct Cell {
    std::uint32_t threshold;  // of 2^32: below it the cell gives its own index
    std::uint32_t alias;
  };

  std::vector<Cell> cells;
};

}  // namespace vesk_generate

#endif  // VESK_GENERATE_ALIAS_TABLE_H
