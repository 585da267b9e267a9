#ifndef QUVEN_HASH_H
#define QUVEN_HASH_H

#include <concepts>
#include <cstddef>
#include <cstdint>

/// Hash of a block of bytes, which enter as signed numbers. All arithmetic is modulo 2 to the 32, shifts are logical.
/// The values are part of the system: they decide dense indices, and with them the order of visits.
/// A null pointer counts as an empty block.
std::uint32_t hashBytes(const void* data, std::size_t length, std::uint32_t seed);

namespace quven_hash {
inline constexpr std::uint32_t factor = 1354167659U;
inline constexpr std::uint32_t offset = 775096599U;
inline constexpr std::uint32_t origin = 3519870697U;
inline constexpr std::uint32_t lowFactor = 0x0A950000U;
}  // namespace quven_hash

/// Hash of an integer key of a table: the first step of hashInt. A wider key is cut to its low 32 bits.
template <std::integral Integer>
constexpr std::uint32_t hashIntegerKey(Integer key) {
  return quven_hash::origin - static_cast<std::uint32_t>(key) * quven_hash::factor;
}

/// Hash of a 32-bit number.
constexpr std::uint32_t hashInt(std::uint32_t x) {
  const auto mix = [](std::uint32_t v) {
    return v * quven_hash::lowFactor - (v >> 16) * quven_hash::factor - quven_hash::offset;
  };
  return mix(mix(hashIntegerKey(x)));
}

#endif  // QUVEN_HASH_H
