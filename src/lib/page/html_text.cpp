#include "page/html_text.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <vector>

#include "page/utf8_text.h"

namespace vesk_page {

namespace {

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
    const Utf8Character character = firstUtf8Character(text);
    const bool isBlank =
        character.isValid && (character.code == '\t' || character.code == '\n' || character.code == '\r');
    if (isBlank) {
      clean += ' ';
    } else if (character.isValid && isShown(character.code)) {
      clean += text.substr(0, character.numBytes);
    } else {
      clean += utf8Replacement;
    }
    text.remove_prefix(character.numBytes);
  }
  return clean;
}

std::string shortenedText(std::string_view clean, std::size_t numCharacters) {
  std::vector<std::size_t> begins;  // of the characters
  for (std::size_t place = 0; place < clean.size(); place += firstUtf8Character(clean.substr(place)).numBytes) {
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

}  // namespace vesk_page
