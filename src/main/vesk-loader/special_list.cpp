#include "special_list.h"

#include <algorithm>
#include <utility>

namespace vesk_loader {

void SpecialList::assign(std::vector<double> values) {
  numbers = std::move(values);
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

bool SpecialList::contains(double number) const {
  const auto place = std::lower_bound(numbers.begin(), numbers.end(), number);
  return place != numbers.end() && *place == number;
}

}  // namespace vesk_loader
