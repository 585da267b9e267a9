#include "csv/column_choice.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "command.h"
#include "control/quven_csv_reader.h"

namespace vesk {

namespace {

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

}  // namespace

char findDelimiter(std::string_view line, const std::string& file) {
  constexpr std::array<char, 3> known = {',', ';', '\t'};
  std::array<std::size_t, 3> counts{};
  bool isQuoted = false;
  for (const char c : line) {
    if (c == '"') isQuoted = !isQuoted;
    if (isQuoted) continue;
    for (std::size_t i = 0; i < known.size(); ++i) counts[i] += c == known[i] ? 1 : 0;
  }
  const auto most = std::ranges::max_element(counts);
  if (*most == 0) refuse(file + ": no comma, semicolon or tab in the first line; use --delimiter");
  if (std::ranges::count(counts, *most) > 1) {
    refuse(file + ": the first line has as many of one delimiter as of another; use --delimiter");
  }
  return known[static_cast<std::size_t>(most - counts.begin())];
}

std::size_t placeOfColumn(const std::vector<std::string>& headings, bool hasHeader, const std::string& column,
                          const std::string& file) {
  std::size_t number = 0;
  const char* const end = column.data() + column.size();
  const auto [stop, error] = std::from_chars(column.data(), end, number);
  if (error == std::errc{} && stop == end) {
    if (number >= 1 && number <= headings.size()) return number - 1;
    refuse(file + " has " + std::to_string(headings.size()) + " columns and no column " + column);
  }
  if (!hasHeader) refuse(file + " has no header: a column is a number from 1, not " + column);
  const auto place = std::ranges::find(headings, column);
  if (place == headings.end()) {
    std::string known;
    for (const std::string& heading : headings) known += (known.empty() ? "" : ", ") + heading.substr(0, 40);
    refuse(file + " has no column " + column + "; it has " + known.substr(0, 400));
  }
  if (std::find(place + 1, headings.end(), column) != headings.end()) refuse(file + " has two columns " + column);
  return static_cast<std::size_t>(place - headings.begin());
}

std::string csvCell(std::string_view text, char delimiter) {
  if (delimiter == ',' || text.find(delimiter) == std::string_view::npos) return quvenCsvCell(text);
  std::string cell = "\"";
  for (const char c : text) cell.append(c == '"' ? 2 : 1, c);
  return cell + '"';
}

}  // namespace vesk
