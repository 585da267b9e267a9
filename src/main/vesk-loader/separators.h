#ifndef SEPARATORS_H
#define SEPARATORS_H

// The separators of a piece of text as bit masks. Both functions give the same masks; one uses vector instructions.

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vesk_loader {

/// Bit i belongs to character i of a piece of at most 64 characters. Bits beyond the piece mean nothing.
struct SeparatorMask {
  std::uint64_t all = 0;        ///< blank, comma or tab; a line feed cannot be inside a line
  std::uint64_t notBlanks = 0;  ///< comma or tab
};

/// 8 characters at a time in a 64-bit word. Requires: 1 to 64 characters; 64 can be read.
inline SeparatorMask separators_by_words(const char* text, std::uint32_t length) {
  constexpr std::uint64_t ones = 0x0101010101010101ULL;
  constexpr std::uint64_t low = 0x7F * ones;
  // The lowest bit of each byte that equals `character`.
  const auto equal = [](std::uint64_t word, char character) {
    const std::uint64_t other = word ^ (ones * static_cast<unsigned char>(character));
    return ~(((other & low) + low) | other | low) >> 7;
  };
  // Gathers the lowest bits of the 8 bytes; every partial product has a place of its own.
  const auto gather = [](std::uint64_t bytes) { return bytes * 0x0102040810204080ULL >> 56; };
  SeparatorMask mask;
  for (std::uint32_t i = 0; i < length; i += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text + i, sizeof word);
    const std::uint64_t notBlanks = gather(equal(word, ',') | equal(word, '\t'));
    mask.notBlanks |= notBlanks << i;
    mask.all |= (notBlanks | gather(equal(word, ' '))) << i;
  }
  return mask;
}

#ifdef __SSE2__

/// 16 characters at a time. Requires: 1 to 64 characters; 64 can be read.
inline SeparatorMask separators_by_vectors(const char* text, std::uint32_t length) {
  const __m128i blank = _mm_set1_epi8(' ');
  const __m128i comma = _mm_set1_epi8(',');
  const __m128i tab = _mm_set1_epi8('\t');
  SeparatorMask mask;
  const auto take = [&](unsigned place) {
    const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + place));
    const __m128i other = _mm_or_si128(_mm_cmpeq_epi8(part, comma), _mm_cmpeq_epi8(part, tab));
    const __m128i any = _mm_or_si128(other, _mm_cmpeq_epi8(part, blank));
    mask.all |= std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(any))} << place;
    mask.notBlanks |= std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(other))} << place;
  };
  // The length is the same for most calls, and the shifts are constants.
  take(0);
  if (length > 16) take(16);
  if (length > 32) {
    take(32);
    take(48);
  }
  return mask;
}

inline SeparatorMask separators(const char* text, std::uint32_t length) { return separators_by_vectors(text, length); }

#else

inline SeparatorMask separators(const char* text, std::uint32_t length) { return separators_by_words(text, length); }

#endif

}  // namespace vesk_loader

#endif  // SEPARATORS_H
