#include "fixed_fields.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>

namespace vesk_loader {

namespace {

bool is_separator(char character) { return character == ' ' || character == ',' || character == '\t'; }

bool find_word_in_long_field(FieldText& field) {
  const char* const end = field.begin + field.length;
  const char* const first = std::find_if_not(field.begin, end, is_separator);
  const char* const behind = std::find_if(first, end, is_separator);
  field.wordLength = 0;  // the value is read from the text
  return first != end && std::find_if_not(behind, end, is_separator) == end;
}

}  // namespace

FixedFields::FixedFields(const std::vector<std::int32_t>& starts, const std::vector<std::int32_t>& ends)
    : fields(starts.size()) {
  for (std::size_t i = 0; i < starts.size(); ++i) {
    const bool exists = starts[i] >= 0;
    const std::int64_t length = std::int64_t{ends[i]} - starts[i] + 1;
    Column column{};
    column.exists = exists;
    column.start = exists ? static_cast<std::size_t>(starts[i]) : 0;
    column.length = static_cast<std::uint32_t>(std::max<std::int64_t>(length, 0));
    columns.push_back(column);
    fullLength = exists ? std::max(fullLength, column.start + column.length) : std::numeric_limits<std::size_t>::max();
    if (!exists) return;  // the cut never gets further
  }
  spreadOverWindows();
}

// In the order of the columns, a field that does not fit into the window of the one before it begins a new window.
void FixedFields::spreadOverWindows() {
  std::vector<std::size_t> order(columns.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [this](std::size_t a, std::size_t b) { return columns[a].start < columns[b].start; });
  for (const std::size_t field : order) {
    Column& column = columns[field];
    if (column.length == 0 || column.length > FieldWindow::columns) {
      separateFields.push_back(field);
      continue;
    }
    if (!windows.empty()) column.mask = windows.back().add(column.start, column.length);
    if (column.mask == 0) column.mask = windows.emplace_back(column.start).add(column.start, column.length);
    column.window = static_cast<std::uint32_t>(windows.size() - 1);
  }
}

bool FixedFields::splitShortLine(const Line& line) {
  for (cut = 0; cut < fields.size(); ++cut) {
    const Column& column = columns[cut];
    if (!column.exists || column.start > line.length) return false;
    fields[cut].begin = line.text + column.start;
    fields[cut].length = static_cast<std::uint32_t>(std::min<std::size_t>(column.length, line.length - column.start));
  }
  return true;
}

bool FixedFields::findWord(std::size_t index, FieldText& field) const {
  const std::string_view characters = text(index);
  field = {characters.data(), static_cast<std::uint32_t>(characters.size()), 0, 0};
  if (field.length > FieldWindow::columns) return find_word_in_long_field(field);
  if (field.length == 0) return false;
  const SeparatorMask mask = separators(field.begin, field.length);
  const std::uint64_t word = ~mask.all & (~std::uint64_t{0} >> (FieldWindow::columns - field.length));
  if (word == 0) return false;
  // Adding the lowest bit to one run of bits carries out of the run; to more than one it leaves bits behind.
  const std::uint64_t lowest = word & (~word + 1);
  if (((word + lowest) & word) != 0) return false;
  const auto start = static_cast<std::uint32_t>(std::countr_zero(word));
  const auto length = FieldWindow::columns - static_cast<std::uint32_t>(std::countl_zero(word)) - start;
  field.wordStart = start;
  // atof steps over blanks and tabs but not over commas: then the library reads the text.
  field.wordLength = (mask.notBlanks & (lowest - 1)) != 0 ? 0 : length;
  return true;
}

bool FixedFields::findWordsOfShortLine() {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (!findWord(i, fields[i])) return false;
  }
  return true;
}

bool FixedFields::findSeparateWords() {
  for (const std::size_t field : separateFields) {
    if (!findWord(field, fields[field])) return false;
  }
  return true;
}

}  // namespace vesk_loader
