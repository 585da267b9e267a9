#include "util/quven_hash.h"

namespace {

/// A window on the bytes of the block at hand: b(k) is byte k as a signed number, modulo 2 to the 32.
struct Bytes {
  const signed char* at;
  std::uint32_t operator()(int k) const { return static_cast<std::uint32_t>(static_cast<std::int32_t>(at[k])); }
};

std::uint32_t mixSixteen(Bytes b, std::uint32_t h) {
  return ((b(14) << 8) + b(15)) * 1664525U + (b(8) * 13U + b(12)) * 0x0D000000U + (b(3) + h) * 158984081U -
         b(4) * 0x6B000000U - b(7) * 1354167659U - b(1) * 0x186F0000U + b(2) * 2045219072U + b(13) * 0x660D0000U +
         b(9) * 0x5CA90000U + b(6) * 1225430272U + b(11) * 389569705U - b(0) * 0x6F000000U + b(10) * 945596672U +
         b(5) * 0x0A950000U - 1426500812U;
}

std::uint32_t mixEight(Bytes b, std::uint32_t h) {
  return ((b(6) << 8) + b(7)) * 1664525U + (b(0) * 13U + b(4)) * 0x0D000000U + (b(3) + h) * 389569705U +
         b(5) * 0x660D0000U + b(1) * 0x5CA90000U + b(2) * 945596672U + 0x47502932U;
}

std::uint32_t mixFour(Bytes b, std::uint32_t h) {
  return (b(3) + (b(2) << 8) + h) * 1664525U + b(1) * 0x660D0000U + b(0) * 0x0D000000U + 1013904223U;
}

}  // namespace

std::uint32_t hashBytes(const void* data, std::size_t length, std::uint32_t seed) {
  // An empty block is hashInt of the seed, as every other block is hashInt of what its bytes left.
  if (data == nullptr || length == 0) return hashInt(seed);
  Bytes b{static_cast<const signed char*>(data)};
  std::uint32_t h = seed;
  for (; length >= 16; length -= 16, b.at += 16) h = mixSixteen(b, h);
  if (length >= 8) {
    h = mixEight(b, h);
    length -= 8, b.at += 8;
  }
  if (length >= 4) {
    h = mixFour(b, h);
    length -= 4, b.at += 4;
  }
  std::uint32_t v = 0;
  if (length >= 2) {
    v = (b(0) << 8) + b(1);
    length -= 2, b.at += 2;
  }
  if (length == 1) v = (v << 8) + b(0);
  return hashInt(v + h);
}
