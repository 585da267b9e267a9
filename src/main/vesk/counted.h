#ifndef VESK_COUNTED_H
#define VESK_COUNTED_H

#include <cstdint>
#include <string>

namespace vesk {

/// 1234567 as "1,234,567".
std::string grouped(std::uint64_t number);

/// "1 line", "2,000 lines".
std::string counted(std::uint64_t number, const std::string& noun);

}  // namespace vesk

#endif  // VESK_COUNTED_H
