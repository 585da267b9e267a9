#ifndef TESTS_SUPPORT_STREAM_TEXT_H
#define TESTS_SUPPORT_STREAM_TEXT_H

#include <string>
#include <string_view>

// Bytes of a stream as text: two hexadecimal digits a byte, texts in quotes, blanks anywhere.

/// The bytes of such a text.
inline std::string bytesOf(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == ' ') {
      ++i;
    } else if (text[i] == '\'') {
      const std::size_t end = text.find('\'', i + 1);
      bytes += text.substr(i + 1, end - i - 1);
      i = end + 1;
    } else {
      bytes += static_cast<char>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16));
      i += 2;
    }
  }
  return bytes;
}

/// The bytes as hexadecimal digits, two a byte, with blanks between.
inline std::string hexOf(std::string_view bytes) {
  constexpr const char* digits = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (!text.empty()) text += ' ';
    text += {digits[byte >> 4], digits[byte & 15U]};
  }
  return text;
}

inline std::string hexOfText(std::string_view text) { return hexOf(bytesOf(text)); }

#endif  // TESTS_SUPPORT_STREAM_TEXT_H
