#include "counted.h"

namespace vesk {

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t place = text.size(); place > 3;) {
    place -= 3;
    text.insert(place, 1, ',');
  }
  return text;
}

std::string counted(std::uint64_t number, const std::string& noun) {
  return grouped(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace vesk
