#include "kernel/quven_string_manip.h"

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>
#include <utility>

#include "util/quven_debug.h"

namespace {

constexpr std::string_view Blanks = " \t";

bool isBlank(char character) { return Blanks.find(character) != std::string_view::npos; }

/// One table drives both directions.
constexpr std::array<std::pair<std::string_view, char>, 5> NamedEntities = {
    {{"quot", '"'}, {"amp", '&'}, {"apos", '\''}, {"lt", '<'}, {"gt", '>'}}};

constexpr int CodeLimit = 128;         // codes are those of ASCII
constexpr char FirstDigitLimit = '8';  // the first digit must lie below it, in decimal and in hexadecimal codes

/// The value of a digit in base 36, or nothing for another character.
std::optional<int> digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'z') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'Z') return digit - 'A' + 10;
  return std::nullopt;
}

/// The character of a numeric code, read from its last digit to its first.
std::optional<char> decodeNumber(std::string_view digits, int base) {
  if (digits.empty() || digits.front() >= FirstDigitLimit) return std::nullopt;
  int value = 0;
  int weight = 1;  // of the digit at hand; held at the limit, where any digit but 0 is too much
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    const std::optional<int> one = digitValue(*digit);
    if (!one || *one > base) return std::nullopt;  // a digit equal to the base passes, on purpose
    value += *one * weight;
    if (value >= CodeLimit) return std::nullopt;
    weight = weight * base < CodeLimit ? weight * base : CodeLimit;
  }
  return static_cast<char>(value);
}

/// The character of an entity, given without its ampersand and semicolon.
std::optional<char> decodeEntity(std::string_view entity) {
  if (entity.starts_with("#x") || entity.starts_with("#X")) return decodeNumber(entity.substr(2), 16);
  if (entity.starts_with('#')) return decodeNumber(entity.substr(1), 10);
  for (const auto& [name, character] : NamedEntities) {
    if (entity == name) return character;
  }
  return std::nullopt;
}

template <class Number>
void readNumbers(std::string_view text, QUVENXaRay<Number>& numbers, const QUVENEnvHandle& env) {
  std::string blanked(text);
  std::replace(blanked.begin(), blanked.end(), ',', ' ');
  numbers.deleteMemory(QUVEN_ENV);
  numbers.setSize(std::count(text.begin(), text.end(), ',') + 1, QUVEN_ENV);
  std::istringstream words(blanked);
  for (Number& number : numbers) {
    if (!(words >> number)) break;
  }
}

}  // namespace

bool scan_token(std::string_view line, std::size_t& position, int mode, std::string& token, std::string_view stopSet,
                int want, const QUVENEnvHandle& env) {
  if (mode != ScanDroppingBlanks && mode != ScanPlain && mode != ScanWord) quvenNotImplemented(QUVEN_ENV);
  if (want != WantNothing && want != WantToken) quvenNotImplemented(QUVEN_ENV);

  const bool blanksVanish = mode == ScanDroppingBlanks || (mode == ScanWord && token.empty());
  std::size_t here = position;
  std::string read;
  for (; here < line.size(); ++here) {
    const char character = line[here];
    if (mode != ScanPlain && isBlank(character)) {
      if (blanksVanish) continue;
      break;
    }
    if (stopSet.find(character) != std::string_view::npos) break;
    read += character;
  }

  token = trim(read);
  const bool found = (want == WantToken) == !token.empty();
  if (found) position = here;
  return found;
}

std::string_view trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(Blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

void read_number_list(std::string_view text, QUVENXaRay<std::int32_t>& numbers, const QUVENEnvHandle& env) {
  readNumbers(text, numbers, QUVEN_ENV);
}

void read_number_list(std::string_view text, QUVENXaRay<double>& numbers, const QUVENEnvHandle& env) {
  readNumbers(text, numbers, QUVEN_ENV);
}

std::string escape_entities(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char character : text) {
    std::string_view entity;
    for (const auto& [name, meant] : NamedEntities) {
      if (character == meant) entity = name;
    }
    if (entity.empty()) {
      escaped += character;
    } else {
      escaped.append("&").append(entity).append(";");
    }
  }
  return escaped;
}

bool decode_entities(std::string& token) {
  std::string decoded;
  decoded.reserve(token.size());
  const std::string_view text = token;
  for (std::size_t here = 0; here < text.size();) {
    if (text[here] != '&') {
      decoded += text[here++];
      continue;
    }
    const std::size_t end = text.find(';', here);
    if (end == std::string_view::npos) return false;
    const std::optional<char> character = decodeEntity(text.substr(here + 1, end - here - 1));
    if (!character) return false;
    decoded += *character;
    here = end + 1;
  }
  token = std::move(decoded);
  return true;
}
