#include "check/tag_values.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

#include "number_reading.h"  // of vesk-loader

namespace vesk {

namespace {

bool isInteger(std::string_view text) {
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether the whole text is one number in decimal notation; strtod takes hexadecimal numbers and words as well.
bool isDecimal(std::string_view text) {
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  const std::size_t exponent = text.find_first_of("eE");
  if (exponent != std::string_view::npos) {
    if (!isInteger(text.substr(exponent + 1))) return false;
    text = text.substr(0, exponent);
  }
  const std::size_t point = text.find('.');
  std::string digits(text);
  if (point != std::string_view::npos) digits.erase(point, 1);
  return !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::string inBrackets(std::string_view text) {
  constexpr std::size_t longest = 60;
  std::string result("[");
  return result.append(text.substr(0, longest)).append(text.size() > longest ? "...]" : "]");
}

std::string placed(const std::string& name, TextPlace place) {
  if (place.line == 0) return name;
  std::string result = name;
  return result.append(":").append(std::to_string(place.line)).append(":").append(std::to_string(place.column));
}

std::string TagValues::pathOf(std::size_t tag) const {
  std::string path = tree.tags[tag].name;
  for (std::size_t at = tree.tags[tag].parent; at != 0 && tree.tags[at].parent != 0; at = tree.tags[at].parent) {
    path.insert(0, tree.tags[at].name + "/");
  }
  return path;
}

std::int32_t TagValues::integer(std::size_t tag, std::int32_t smallest, std::int32_t largest) {
  const std::string& text = tree.tags[tag].text;
  const std::int32_t value = vesk_loader::read_integer_by_library(text);
  if (text.empty()) {
    errorInText(tag, "the number is missing");
  } else if (!isInteger(text)) {
    errorInText(tag, inBrackets(text) + " is no whole number; the loader would take " + std::to_string(value));
  } else if (value < smallest || value > largest ||
             std::strtold(text.c_str(), nullptr) != static_cast<long double>(value)) {
    errorInText(tag, inBrackets(text) + " is not from " + std::to_string(smallest) + " to " + std::to_string(largest));
  }
  return value;
}

std::int32_t TagValues::index(std::size_t tag, std::int32_t largest) {
  const std::int32_t number = integer(tag, 1, largest);
  return number == std::numeric_limits<std::int32_t>::min() ? number : number - 1;
}

std::int32_t TagValues::fieldIndex(std::size_t tag, std::size_t fieldCount) {
  const std::size_t before = countFindings();
  const std::int32_t field = index(tag, std::numeric_limits<std::int32_t>::max());
  if (countFindings() > before || static_cast<std::size_t>(field) < fieldCount) return field;
  errorInText(tag, "there is no Field" + std::to_string(std::int64_t{field} + 1) + "; the file has " +
                       std::to_string(fieldCount) + (fieldCount == 1 ? " field" : " fields"));
  return field;
}

double TagValues::real(std::size_t tag) {
  const std::string& text = tree.tags[tag].text;
  const double value = vesk_loader::read_double_by_library(text);
  if (text.empty()) {
    errorInText(tag, "the number is missing");
  } else if (!isDecimal(text)) {
    errorInText(tag, inBrackets(text) + " is no decimal number");
  } else if (!std::isfinite(value)) {
    errorInText(tag, inBrackets(text) + " is beyond the largest number");
  }
  return value;
}

void TagValues::refuseForeignText(std::size_t tag) {
  if (!tree.tags[tag].hasForeignText) return;
  errorInText(tag, "a character that is not ASCII; the loader reads a blank in its place");
}

std::vector<ParameterFinding> TagValues::takeFindings() {
  std::ranges::stable_sort(findings, [](const ParameterFinding& a, const ParameterFinding& b) {
    return std::tuple(a.line == 0, a.line, a.column) < std::tuple(b.line == 0, b.line, b.column);
  });
  return std::move(findings);
}

void TagValues::add(bool isError, TextPlace place, const std::string& text) {
  findings.push_back({isError, placed(name, place) + ": " + text, place.line, place.column});
}

}  // namespace vesk
