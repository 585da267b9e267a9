#ifndef QUVEN_CATEGORY_CODE_H
#define QUVEN_CATEGORY_CODE_H

// A categorical column of a dataset holds numbers: each text is replaced by its code.

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The code of a text: itself for a whole number of at most 14 digits in its usual form (no sign, no leading zero),
/// else 100000000000000 + h mod 900000000000000, where h is the 64-bit FNV-1a hash of its bytes. Codes are below 10^15,
/// so a double holds each of them exactly. Different texts can have one code. Source: Fowler, Noll, Vo, Eastlake, "The
/// FNV Non-Cryptographic Hash Algorithm".
std::uint64_t quvenCategoryCode(std::string_view text);

/// The text that a number of a categorical column has in a data point: digits alone for a whole number, else the
/// shortest text that reads back as the number.
class QUVENCategoryText {
 public:
  explicit QUVENCategoryText(double value);
  std::string_view get() const { return {text, length}; }

 private:
  char text[32];
  std::size_t length;
};

#endif  // QUVEN_CATEGORY_CODE_H
