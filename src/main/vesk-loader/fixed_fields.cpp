#include "fixed_fields.h"

#include <algorithm>
#include <bit>
#include <limits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vesk_loader {

namespace {

constexpr std::uint32_t maskWidth = 64;

/// One bit a character of a piece of a line.
struct SeparatorMask {
  std::uint64_t all = 0;        // blank, comma or tab; a line feed cannot stand inside a line
  std::uint64_t notBlanks = 0;  // comma or tab
};

#ifdef __SSE2__

// 16 characters at a time; what is read beyond the field lies in the line or its margin.
SeparatorMask separators(const char* text, std::uint32_t length) {
  const __m128i blank = _mm_set1_epi8(' ');
  const __m128i comma = _mm_set1_epi8(',');
  const __m128i tab = _mm_set1_epi8('\t');
  SeparatorMask mask;
  for (std::uint32_t i = 0; i < length; i += 16) {
    const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const __m128i other = _mm_or_si128(_mm_cmpeq_epi8(part, comma), _mm_cmpeq_epi8(part, tab));
    const auto notBlanks = static_cast<std::uint32_t>(_mm_movemask_epi8(other));
    const auto blanks = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(part, blank)));
    mask.all |= static_cast<std::uint64_t>(notBlanks | blanks) << i;
    mask.notBlanks |= static_cast<std::uint64_t>(notBlanks) << i;
  }
  return mask;
}

#else

SeparatorMask separators(const char* text, std::uint32_t length) {
  SeparatorMask mask;
  for (std::uint32_t i = 0; i < length; ++i) {
    const std::uint64_t bit = std::uint64_t{1} << i;
    if (text[i] == ',' || text[i] == '\t') mask.notBlanks |= bit;
    if (text[i] == ' ') mask.all |= bit;
  }
  mask.all |= mask.notBlanks;
  return mask;
}

#endif

bool is_separator(char character) { return character == ' ' || character == ',' || character == '\t'; }

bool find_word_in_long_field(FieldText& field) {
  const char* const end = field.begin + field.length;
  const char* const first = std::find_if_not(field.begin, end, is_separator);
  const char* const behind = std::find_if(first, end, is_separator);
  field.wordLength = 0;  // the value is read from the text
  return first != end && std::find_if_not(behind, end, is_separator) == end;
}

}  // namespace

FixedFields::FixedFields(const std::vector<std::int32_t>& starts, const std::vector<std::int32_t>& ends)
    : fields(starts.size()) {
  for (std::size_t i = 0; i < starts.size(); ++i) {
    const bool exists = starts[i] >= 0;
    const std::int64_t length = std::int64_t{ends[i]} - starts[i] + 1;
    Column column{};
    column.exists = exists;
    column.start = exists ? static_cast<std::size_t>(starts[i]) : 0;
    column.length = static_cast<std::uint32_t>(std::max<std::int64_t>(length, 0));
    columns.push_back(column);
    fullLength = exists ? std::max(fullLength, column.start + column.length) : std::numeric_limits<std::size_t>::max();
    if (!exists) break;  // the cut never gets further
  }
}

bool FixedFields::splitShortLine(const Line& line) {
  for (cut = 0; cut < fields.size(); ++cut) {
    const Column& column = columns[cut];
    if (!column.exists || column.start > line.length) return false;
    fields[cut].begin = line.text + column.start;
    fields[cut].length = static_cast<std::uint32_t>(std::min<std::size_t>(column.length, line.length - column.start));
  }
  return true;
}

bool FixedFields::findWord(std::size_t index) {
  FieldText& field = fields[index];
  if (field.length > maskWidth) return find_word_in_long_field(field);
  if (field.length == 0) return false;
  const SeparatorMask mask = separators(field.begin, field.length);
  const std::uint64_t word = ~mask.all & (~std::uint64_t{0} >> (maskWidth - field.length));
  if (word == 0) return false;
  // Adding the lowest bit to one run of bits carries out of the run; to more than one it leaves bits behind.
  const std::uint64_t lowest = word & (~word + 1);
  if (((word + lowest) & word) != 0) return false;
  const auto start = static_cast<std::uint32_t>(std::countr_zero(word));
  const auto length = maskWidth - static_cast<std::uint32_t>(std::countl_zero(word)) - start;
  field.wordStart = start;
  // atof steps over blanks and tabs but not over commas: then the library reads the text.
  field.wordLength = (mask.notBlanks & (lowest - 1)) != 0 ? 0 : length;
  return true;
}

}  // namespace vesk_loader
