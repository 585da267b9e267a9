#include "check/column_ruler.h"

#include <algorithm>
#include <cstddef>

namespace vesk {

namespace {

constexpr std::size_t sliceColumns = 90;
constexpr std::size_t mostColumns = 360;
constexpr std::size_t mostRows = 8;  // of bars of fields that overlap

std::string barOf(std::size_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  if (width < digits.size() + 2) return (digits + std::string(width, '-')).substr(0, width);
  std::string bar(width, '=');
  bar.front() = '[';
  bar.back() = ']';
  return bar.replace((width - digits.size()) / 2, digits.size(), digits);
}

std::vector<std::string> drawBars(const vesk_loader::LoaderSettings& settings, std::size_t columns) {
  std::vector<std::string> rows;
  for (std::size_t field = 0; field < settings.fieldStarts.size(); ++field) {
    const auto first = static_cast<std::size_t>(std::max(settings.fieldStarts[field], 0));
    const auto last = static_cast<std::size_t>(std::max(settings.fieldEnds[field], 0));
    if (last < first || first >= columns) continue;
    const std::size_t width = std::min(last, columns - 1) - first + 1;
    const auto isFree = [&](const std::string& row) { return row.find_first_not_of(' ', first) >= first + width; };
    auto row = std::ranges::find_if(rows, isFree);
    if (row == rows.end() && rows.size() == mostRows) continue;
    if (row == rows.end()) row = rows.insert(rows.end(), std::string(columns, ' '));
    row->replace(first, width, barOf(field + 1, width));
  }
  return rows;
}

std::string printableAscii(std::string line) {
  std::ranges::replace_if(
      line, [](char c) { return c < ' ' || c > '~'; }, '?');
  return line;
}

void addSlice(std::string& text, const std::string& row, std::size_t begin) {
  if (begin >= row.size()) return;
  std::string slice = row.substr(begin, sliceColumns);
  slice.erase(slice.find_last_not_of(' ') + 1);
  if (!slice.empty()) text.append("  ").append(slice).append("\n");
}

}  // namespace

std::string drawRuler(const vesk_loader::LoaderSettings& settings, const std::vector<std::string>& lines) {
  std::size_t columns = 1;
  for (const std::string& line : lines) columns = std::max(columns, line.size());
  for (const std::int32_t end : settings.fieldEnds) {
    columns = std::max(columns, static_cast<std::size_t>(std::clamp(end, 0, 10000)) + 1);
  }
  columns = std::min(columns, mostColumns);
  std::string tens(columns, ' ');
  std::string units(columns, ' ');
  for (std::size_t column = 1; column <= columns; ++column) {
    units[column - 1] = static_cast<char>('0' + column % 10);
    if (column % 10 != 0) continue;
    const std::string digits = std::to_string(column / 10);
    tens.replace(column - digits.size(), digits.size(), digits);
  }
  const std::vector<std::string> bars = drawBars(settings, columns);
  std::string text;
  for (std::size_t begin = 0; begin < columns; begin += sliceColumns) {
    if (begin > 0) text += "\n";
    addSlice(text, tens, begin);
    addSlice(text, units, begin);
    for (const std::string& row : bars) addSlice(text, row, begin);
    for (const std::string& line : lines) addSlice(text, printableAscii(line), begin);
  }
  return text;
}

}  // namespace vesk
