#ifndef QUVEN_VARINT_H
#define QUVEN_VARINT_H

#include <cstddef>
#include <cstdint>

// Integers of variable length. Groups of 7 bits, the least significant first; the bit 0x80 marks the LAST byte. The
// first byte of a signed number holds its sign in bit 0x40 and 6 bits of the number, or of its complement if it is
// negative.

inline constexpr std::size_t quvenMaxVarintBytes = 10;

namespace quven_varint {
inline constexpr unsigned lastMark = 0x80;
inline constexpr unsigned signMark = 0x40;
inline constexpr unsigned groupMask = 0x7f;
inline constexpr unsigned firstMask = 0x3f;
inline constexpr unsigned groupBits = 7;
inline constexpr unsigned firstBits = 6;
}  // namespace quven_varint

/// Encodes into room for quvenMaxVarintBytes and returns the number of bytes.
inline std::size_t quvenEncodeUnsigned(std::uint64_t value, char* bytes) {
  using namespace quven_varint;
  std::size_t count = 0;
  while (value > groupMask) {
    bytes[count++] = static_cast<char>(value & groupMask);
    value >>= groupBits;
  }
  bytes[count++] = static_cast<char>(value | lastMark);
  return count;
}

inline std::size_t quvenEncodeSigned(std::int64_t value, char* bytes) {
  using namespace quven_varint;
  const std::uint64_t magnitude = static_cast<std::uint64_t>(value < 0 ? ~value : value);
  const unsigned first = static_cast<unsigned>(magnitude & firstMask) | (value < 0 ? signMark : 0U);
  const std::uint64_t rest = magnitude >> firstBits;
  if (rest == 0) {
    bytes[0] = static_cast<char>(first | lastMark);
    return 1;
  }
  bytes[0] = static_cast<char>(first);
  return 1 + quvenEncodeUnsigned(rest, bytes + 1);
}

/// Decodes the number that begins at a place, which moves behind it; false for a number beyond 64 bits.
/// Requires: quvenMaxVarintBytes readable bytes, or fewer with a last mark among them.
inline bool quvenDecodeGroups(const char*& at, unsigned shift, std::uint64_t& value) {
  using namespace quven_varint;
  // Of either kind the tenth byte of a number is its last, and has one bit left.
  constexpr unsigned lastShift = 62;
  for (; shift < lastShift; shift += groupBits) {
    const unsigned byte = static_cast<unsigned char>(*at++);
    value |= static_cast<std::uint64_t>(byte & groupMask) << shift;
    if ((byte & lastMark) != 0) return true;
  }
  const unsigned byte = static_cast<unsigned char>(*at++);
  value |= static_cast<std::uint64_t>(byte & 1U) << shift;
  return (byte & ~1U) == lastMark;
}

inline bool quvenDecodeUnsigned(const char*& at, std::uint64_t& value) {
  value = 0;
  return quvenDecodeGroups(at, 0, value);
}

inline bool quvenDecodeSigned(const char*& at, std::int64_t& value) {
  using namespace quven_varint;
  const unsigned first = static_cast<unsigned char>(*at++);
  std::uint64_t magnitude = first & firstMask;
  if ((first & lastMark) == 0 && !quvenDecodeGroups(at, firstBits, magnitude)) return false;
  value = static_cast<std::int64_t>((first & signMark) != 0 ? ~magnitude : magnitude);
  return true;
}

#endif  // QUVEN_VARINT_H
