#ifndef NUMBER_READING_H
#define NUMBER_READING_H

// Numbers out of fields, with the values that atof and atoi give for the same text.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vesk_loader {

/// The value of atof for the text.
double read_double_by_library(std::string_view text);

/// The value of atoi for the text; a number beyond 32 bits gives the nearest 32-bit one.
std::int32_t read_integer_by_library(std::string_view text);

/// If the 8 bytes at `text` are all decimal digits, their value; otherwise a value of 100000000 or more.
/// Source: the digits are checked and joined pairwise inside one 64-bit word (Lemire, "Quickly parsing eight digits").
inline std::uint64_t eight_digits(std::uint64_t word) {
  const std::uint64_t high = word & 0xF0F0F0F0F0F0F0F0ULL;
  const std::uint64_t carried = (word + 0x0606060606060606ULL) & 0xF0F0F0F0F0F0F0F0ULL;
  if ((high ^ 0x3030303030303030ULL) | (carried ^ 0x3030303030303030ULL)) return ~std::uint64_t{0};
  word = (word & 0x0F0F0F0F0F0F0F0FULL) * 2561 >> 8;
  word = (word & 0x00FF00FF00FF00FFULL) * 6553601 >> 16;
  return (word & 0x0000FFFF0000FFFFULL) * 42949672960001ULL >> 32;
}

/// Reads a token of 1 to 16 decimal digits that ends before `end`. The 16 bytes before `end` must be readable (the
/// contents of those before the token do not matter). False if there is anything but digits. Works on 64-bit words.
inline bool read_digits_by_words(const char* end, std::size_t length, std::uint64_t& value) {
  std::uint64_t low = 0;
  std::memcpy(&low, end - 8, 8);
  if (length < 8) {
    // The bytes before the token become "0" digits.
    const unsigned foreign = 8 * (8 - static_cast<unsigned>(length));
    low = (low >> foreign << foreign) | (0x3030303030303030ULL >> (64 - foreign));
  }
  const std::uint64_t lowValue = eight_digits(low);
  if (lowValue > 99999999) return false;
  value = lowValue;
  if (length <= 8) return true;
  std::uint64_t high = 0;
  std::memcpy(&high, end - 16, 8);
  if (length < 16) {
    const unsigned foreign = 8 * (16 - static_cast<unsigned>(length));
    high = (high >> foreign << foreign) | (0x3030303030303030ULL >> (64 - foreign));
  }
  const std::uint64_t highValue = eight_digits(high);
  if (highValue > 99999999) return false;
  value += highValue * 100000000;
  return true;
}

#ifdef __SSE2__

/// The same with vector instructions: all 16 digits are joined pairwise at once.
inline bool read_digits_by_vectors(const char* end, std::size_t length, std::uint64_t& value) {
  // From byte `length` on: as many zero bytes as lie before the token, then bytes of ones.
  alignas(16) static constexpr std::array<std::uint8_t, 32> tokenMasks = [] {
    std::array<std::uint8_t, 32> masks{};
    for (std::size_t i = 16; i < masks.size(); ++i) masks[i] = 0xFF;
    return masks;
  }();
  const __m128i token = _mm_loadu_si128(reinterpret_cast<const __m128i*>(tokenMasks.data() + length));
  const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(end - 16));
  const __m128i digits = _mm_and_si128(_mm_sub_epi8(text, _mm_set1_epi8('0')), token);
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(digits, _mm_set1_epi8(9)), digits)) != 0xFFFF) return false;
  const __m128i tens = _mm_mullo_epi16(_mm_and_si128(digits, _mm_set1_epi16(0xFF)), _mm_set1_epi16(10));
  const __m128i pairs = _mm_add_epi16(tens, _mm_srli_epi16(digits, 8));
  const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16 | 100));
  const __m128i packed = _mm_packs_epi32(fours, fours);
  const auto eights =
      static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_madd_epi16(packed, _mm_set1_epi32(1 << 16 | 10000))));
  value = (eights & 0xFFFFFFFF) * 100000000 + (eights >> 32);
  return true;
}

inline bool read_digits(const char* end, std::size_t length, std::uint64_t& value) {
  return read_digits_by_vectors(end, length, value);
}

#else

inline bool read_digits(const char* end, std::size_t length, std::uint64_t& value) {
  return read_digits_by_words(end, length, value);
}

#endif

/// A field as the cut found it: its text, and the one word in it if the word is preceded by blanks only.
struct FieldText {
  const char* begin = nullptr;   ///< first character of the field
  std::uint32_t length = 0;      ///< characters of the field
  std::uint32_t wordStart = 0;   ///< of the word, from begin
  std::uint32_t wordLength = 0;  ///< 0: the word is not known, read the text

  std::string_view text() const { return {begin, length}; }
};

/// The value of atof for the field. Integers below 10 to the power 16 take a path without the library: as 64-bit
/// integers they are converted by one correctly rounded operation, which is the value that atof gives.
inline double read_double(const FieldText& field) {
  std::uint64_t value = 0;
  if (field.wordLength - 1 < 16 &&
      read_digits(field.begin + field.wordStart + field.wordLength, field.wordLength, value)) {
    return static_cast<double>(static_cast<std::int64_t>(value));
  }
  return read_double_by_library(field.text());
}

/// The value of atoi for the field.
inline std::int32_t read_integer(const FieldText& field) {
  std::uint64_t value = 0;
  if (field.wordLength - 1 < 9 &&
      read_digits(field.begin + field.wordStart + field.wordLength, field.wordLength, value)) {
    return static_cast<std::int32_t>(value);
  }
  return read_integer_by_library(field.text());
}

}  // namespace vesk_loader

#endif  // NUMBER_READING_H
