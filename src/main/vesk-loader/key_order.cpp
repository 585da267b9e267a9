#include "key_order.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vesk_loader {

void sort_by_key(std::vector<OrderedRow>& rows) {
  const auto ascending = [](const OrderedRow& a, const OrderedRow& b) { return a.key < b.key; };
  if (std::is_sorted(rows.begin(), rows.end(), ascending)) return;

  constexpr std::size_t digits = 8;
  std::array<std::array<std::size_t, 256>, digits> counts{};
  for (const OrderedRow& row : rows) {
    for (std::size_t digit = 0; digit < digits; ++digit) ++counts[digit][row.key >> (8 * digit) & 255];
  }
  std::vector<OrderedRow> other(rows.size());
  for (std::size_t digit = 0; digit < digits; ++digit) {
    auto& places = counts[digit];
    if (std::find(places.begin(), places.end(), rows.size()) != places.end()) continue;
    std::size_t place = 0;
    for (std::size_t& count : places) {
      const std::size_t start = place;
      place += count;
      count = start;
    }
    for (const OrderedRow& row : rows) other[places[row.key >> (8 * digit) & 255]++] = row;
    rows.swap(other);
  }
}

}  // namespace vesk_loader
