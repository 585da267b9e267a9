#include "page/utf8_text.h"

#include <array>

namespace vesk_page {

Utf8Character firstUtf8Character(std::string_view text) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byteAt(0);
  if (first < 0x80) return {1, true, first};
  const std::size_t numBytes = first >= 0xF0 && first < 0xF8   ? 4
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xC0 && first < 0xE0 ? 2
                                                               : 0;
  if (numBytes == 0 || numBytes > text.size()) return {};
  std::uint32_t code = first & (0xFFU >> (numBytes + 1));
  for (std::size_t i = 1; i < numBytes; ++i) {
    if ((byteAt(i) & 0xC0U) != 0x80U) return {};
    code = code << 6U | (byteAt(i) & 0x3FU);
  }
  static constexpr std::array<std::uint32_t, 5> smallestCodes{0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < smallestCodes[numBytes] || code > 0x10FFFF || isSurrogate) return {};
  return {numBytes, true, code};
}

}  // namespace vesk_page
