#include "html_text.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <vector>

namespace vesk_analyze {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

struct Character {
  std::size_t numBytes = 1;
  bool isValid = false;
  std::uint32_t code = 0;
};

/// The first character of a text. A byte that is not UTF-8 is an invalid character of one byte. Overlong forms,
/// surrogates and codes above 0x10FFFF are not UTF-8.
Character firstCharacter(std::string_view text) {
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

bool isShown(std::uint32_t code) {
  const bool isControl = code < 0x20 || (code >= 0x7F && code < 0xA0);
  const bool turnsDirection = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  const bool isNoCharacter = (code & 0xFFFEU) == 0xFFFE;
  return !isControl && !turnsDirection && !isNoCharacter;
}

std::string printed(const char* format, double value) {
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), format, value == 0 ? 0.0 : value);  // no "-0"
  return text.data();
}

}  // namespace

std::string cleanText(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const bool isBlank =
        character.isValid && (character.code == '\t' || character.code == '\n' || character.code == '\r');
    if (isBlank) {
      clean += ' ';
    } else if (character.isValid && isShown(character.code)) {
      clean += text.substr(0, character.numBytes);
    } else {
      clean += replacement;
    }
    text.remove_prefix(character.numBytes);
  }
  return clean;
}

std::string shortenedText(std::string_view clean, std::size_t numCharacters) {
  std::vector<std::size_t> begins;  // of the characters
  for (std::size_t place = 0; place < clean.size(); place += firstCharacter(clean.substr(place)).numBytes) {
    begins.push_back(place);
  }
  if (begins.size() <= numCharacters) return std::string(clean);
  const std::size_t numLast = numCharacters / 3;
  const std::size_t numFirst = numCharacters - numLast - 1;
  std::string text(clean.substr(0, begins[numFirst]));
  text += "…";
  if (numLast > 0) text += clean.substr(begins[begins.size() - numLast]);
  return text;
}

std::string htmlText(std::string_view text) {
  std::string escaped;
  for (const char c : cleanText(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string shortNumber(double value) {
  if (std::isnan(value) || value == std::numeric_limits<double>::lowest()) return "none";
  if (std::isinf(value)) return value > 0 ? "infinite" : "-infinite";
  return printed(std::fabs(value) < 10000 ? "%.5g" : "%.6g", value);
}

std::string countNumber(double value) {
  if (!std::isfinite(value) || std::floor(value) != value || std::fabs(value) > 0x1p53) return shortNumber(value);
  return printed("%.0f", value);
}

std::string percentText(double share) {
  if (!std::isfinite(share)) return shortNumber(share);
  return printed("%.4g", 100 * share) + " %";
}

}  // namespace vesk_analyze
