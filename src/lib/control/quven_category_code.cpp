#include "control/quven_category_code.h"

#include <charconv>
#include <cmath>

namespace {

constexpr std::size_t mostDigits = 14;
constexpr std::uint64_t firstHashedCode = 100000000000000U;
constexpr std::uint64_t hashedCodes = 900000000000000U;

bool isPlainWholeNumber(std::string_view text) {
  if (text.empty() || text.size() > mostDigits || (text.size() > 1 && text.front() == '0')) return false;
  return text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return hash;
}

}  // namespace

std::uint64_t quvenCategoryCode(std::string_view text) {
  if (!isPlainWholeNumber(text)) return firstHashedCode + fnv1a(text) % hashedCodes;
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

QUVENCategoryText::QUVENCategoryText(double value) {
  constexpr double limit = 1e15;
  const bool isWhole = std::fabs(value) < limit && std::trunc(value) == value;
  const std::to_chars_result end = isWhole ? std::to_chars(text, text + sizeof text, static_cast<std::int64_t>(value))
                                           : std::to_chars(text, text + sizeof text, value);
  length = static_cast<std::size_t>(end.ptr - text);
}
