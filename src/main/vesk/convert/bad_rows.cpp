#include "convert/bad_rows.h"

#include <algorithm>

#include "control/quven_csv_reader.h"

namespace vesk {

namespace {

constexpr std::size_t longestText = 200;

std::string printable(std::string_view text) {
  std::string clean(text.substr(0, longestText));
  std::ranges::replace_if(
      clean, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
  return clean;
}

}  // namespace

void BadRows::add(const BadRow& row) {
  ++total;
  Group& group = groups[{std::string(row.field), row.cause}];
  const bool isFirst = group.count++ == 0;
  if (isFirst) {
    group.words = std::string(row.field).append(row.field.empty() ? "" : ": ").append(wordsOf(row.cause));
    group.example = std::string(row.file) + ", line " + std::to_string(row.line) + ": [" + printable(row.text) + "]";
  }
  if (!keepsRows || group.count > most) return;
  fileText += quvenCsvCell(row.file) + "," + std::to_string(row.line) + "," + std::to_string(row.byte) + "," +
              quvenCsvCell(wordsOf(row.cause)) + "," + quvenCsvCell(row.field) + "," +
              quvenCsvCell(printable(row.text)) + "\n";
}

std::vector<BadRows::Group> BadRows::getGroups() const {
  std::vector<Group> sorted;
  for (const auto& [key, group] : groups) sorted.push_back(group);
  std::ranges::stable_sort(sorted, std::ranges::greater(), &Group::count);
  return sorted;
}

}  // namespace vesk
