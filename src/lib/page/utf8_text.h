#ifndef VESK_PAGE_UTF8_TEXT_H
#define VESK_PAGE_UTF8_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vesk_page {

/// U+FFFD, which takes the place of what is not UTF-8.
inline constexpr std::string_view utf8Replacement = "\xEF\xBF\xBD";

struct Utf8Character {
  std::size_t numBytes = 1;
  bool isValid = false;
  std::uint32_t code = 0;
};

/// The first character of a text. A byte that is not UTF-8 is an invalid character of one byte. Overlong forms,
/// surrogates and codes above 0x10FFFF are not UTF-8.
/// Requires: the text is not empty.
Utf8Character firstUtf8Character(std::string_view text);

}  // namespace vesk_page

#endif  // VESK_PAGE_UTF8_TEXT_H
