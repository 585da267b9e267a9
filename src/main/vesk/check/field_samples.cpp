#include "check/field_samples.h"

#include <algorithm>
#include <cmath>

#include "number_reading.h"  // of vesk-loader

namespace vesk {

namespace {

constexpr std::string_view separators = " ,\t\n";
constexpr double largestWhole = 9007199254740992.0;  // 2^53
constexpr std::size_t sampleCount = 3;
constexpr std::size_t longestRun = 3;
constexpr std::size_t longestColumn = 10000;  // no line of the loader is longer

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(separators);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(separators) - first + 1);
}

bool isWhole(std::string_view text) { return !text.empty() && std::ranges::all_of(text, isDigit); }

bool isFraction(std::string_view text) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return isWhole(text);
  const std::string_view behind = text.substr(point + 1);
  return (point > 0 || !behind.empty()) && (point == 0 || isWhole(text.substr(0, point))) &&
         (behind.empty() || isWhole(behind));
}

bool isHexadecimal(std::string_view word) {
  const bool isMarked = word.starts_with("0x") || word.starts_with("0X");
  const std::string_view digits = isMarked ? word.substr(2) : word;
  constexpr std::size_t leastDigits = 4;  // a short word such as "bad" is rather a text
  return std::ranges::all_of(digits, isHexDigit) &&
         (isMarked ? !digits.empty() : digits.size() >= leastDigits && std::ranges::any_of(digits, isDigit));
}

}  // namespace

WordKind kindOf(std::string_view word) {
  if (isWhole(word)) return WordKind::Plain;
  const bool isSigned = word.starts_with('+') || word.starts_with('-');
  const std::string_view number = isSigned ? word.substr(1) : word;
  if (isWhole(number)) return WordKind::Signed;
  if (isFraction(number)) return WordKind::Fraction;
  const std::size_t exponent = number.find_first_of("eE");
  if (exponent != std::string_view::npos && exponent > 0 && isFraction(number.substr(0, exponent))) {
    std::string_view power = number.substr(exponent + 1);
    if (power.starts_with('+') || power.starts_with('-')) power.remove_prefix(1);
    constexpr std::size_t mostDigits = 3;  // 12345e6789 is rather hexadecimal
    if (isWhole(power) && power.size() <= mostDigits) return WordKind::Exponent;
  }
  return isHexadecimal(word) ? WordKind::Hexadecimal : WordKind::Text;
}

FieldSampler::FieldSampler(const std::vector<std::int32_t>& starts, const std::vector<std::int32_t>& ends)
    : fields(starts.size()), covered(longestColumn) {
  for (std::size_t i = 0; i < starts.size(); ++i) {
    const auto first = static_cast<std::size_t>(std::max(starts[i], 0));
    const auto last = static_cast<std::size_t>(std::max(ends[i], 0));
    columns.push_back({first, last});
    for (std::size_t column = first; column <= last && column < covered.size(); ++column) covered[column] = true;
  }
}

std::string_view FieldSampler::wordOf(std::string_view line, std::size_t field) const {
  const Columns& range = columns[field];
  if (range.first >= line.size() || range.last < range.first) return {};
  return trimmed(line.substr(range.first, range.last - range.first + 1));
}

void FieldSampler::add(std::string_view line) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const Columns& range = columns[i];
    if (range.first >= line.size() || range.last < range.first) continue;
    addText(line.substr(range.first, range.last - range.first + 1), fields[i]);
    addEdges(line, range, fields[i]);
  }
}

void FieldSampler::addText(std::string_view text, FieldSamples& samples) const {
  ++samples.lines;
  if (text.find_first_of(",\t") != std::string_view::npos) ++samples.separators;
  const std::string_view word = trimmed(text);
  if (word.empty()) {
    ++samples.blanks;
    return;
  }
  samples.longest = std::max(samples.longest, word.size());
  if (samples.samples.size() < sampleCount && std::ranges::find(samples.samples, word) == samples.samples.end()) {
    samples.samples.emplace_back(word);
  }
  if (word.find_first_of(separators) != std::string_view::npos) {
    ++samples.innerBlanks;
    return;
  }
  const WordKind kind = kindOf(word);
  ++samples.kinds[static_cast<std::size_t>(kind)];
  if (kind == WordKind::Hexadecimal || kind == WordKind::Text) return;
  const double number = vesk_loader::read_double_by_library(word);
  if (std::abs(number) > largestWhole) ++samples.above53;
  samples.smallest = samples.numbers == 0 ? number : std::min(samples.smallest, number);
  samples.largest = samples.numbers == 0 ? number : std::max(samples.largest, number);
  ++samples.numbers;
}

void FieldSampler::addEdges(std::string_view line, const Columns& range, FieldSamples& samples) const {
  if (trimmed(line.substr(range.first, range.last - range.first + 1)).empty()) return;
  const auto isOutside = [&](std::size_t column) {
    return column < line.size() && isDigit(line[column]) && !isCovered(column);
  };
  // `step` leads away from the field; columns below 0 wrap around and lie beyond every line.
  const auto count = [&](EdgeSamples& edge, std::size_t inside, std::size_t step) {
    const std::size_t beside = inside + step;
    const bool isOpen = isOutside(beside);
    if (inside >= line.size() || line[inside] == ' ') ++(isOpen ? edge.detached : edge.apart);
    if (inside >= line.size() || !isDigit(line[inside])) return;
    ++edge.full;
    if (!isOpen) return;
    std::size_t run = 1;
    while (run <= longestRun && isOutside(beside + run * step)) ++run;
    ++edge.digits;
    ++edge.values[static_cast<std::size_t>(line[beside] - '0')];
    if (run <= longestRun) ++edge.shortRuns;
  };
  count(samples.after, range.last, 1);
  count(samples.before, range.first, static_cast<std::size_t>(-1));
}

}  // namespace vesk
