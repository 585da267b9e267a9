#ifndef NUMBER_HASH_H
#define NUMBER_HASH_H

// Hash, equality and order of ids held as doubles, shared by the key index and the pair store.

#include <bit>
#include <cstddef>
#include <cstdint>

namespace vesk_loader {

__extension__ using Wide = unsigned __int128;

/// Both halves of the 128-bit product, folded: every bit of the input reaches every bit of the result.
inline std::uint64_t fold_multiply(std::uint64_t a, std::uint64_t b) {
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Equal ids have equal bits: 0.0 is added because -0.0 equals 0.0, and every NaN counts as one.
inline std::uint64_t id_bits(double id) {
  return id == id ? std::bit_cast<std::uint64_t>(id + 0.0) : ~std::uint64_t{0};
}

inline std::uint64_t hash_bits(std::uint64_t bits) {
  return fold_multiply(bits ^ 0x9E3779B97F4A7C15ULL, 0xD6E8FEB86659FD93ULL);
}

/// Equal ids have equal hashes.
inline std::uint64_t hash_id(double id) { return hash_bits(id_bits(id)); }

/// Plain comparison; a NaN equals a NaN, so that every id can be found again.
inline bool same_id(double a, double b) { return a == b || (a != a && b != b); }

/// Unsigned integers in the order of the doubles, NaN last.
inline std::uint64_t ordered_bits(double id) {
  if (id != id) return ~std::uint64_t{0};
  const auto bits = std::bit_cast<std::uint64_t>(id + 0.0);
  return bits >> 63 != 0 ? ~bits : bits | std::uint64_t{1} << 63;
}

}  // namespace vesk_loader

#endif  // NUMBER_HASH_H
