#include "control/quven_table_labels.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include "control/quven_csv_reader.h"
#include "vesk-common/quven_reports.h"

namespace {

constexpr int FileUnusable = 2302;
constexpr std::array<std::string_view, 3> headings = {"column", "code", "label"};

/// The code of a text of digits alone.
std::optional<std::uint64_t> codeOf(std::string_view text) {
  std::uint64_t code = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (code > QUVENTableLabels::LargestCode) return std::nullopt;
  return code;
}

}  // namespace

bool QUVENTableLabels::add(std::string_view column, std::uint64_t code, std::string_view label) {
  auto place = places.find(column);
  if (place == places.end()) {
    place = places.emplace(column, columns.size()).first;
    columns.push_back({std::string(column), {}});
  }
  const auto [entry, isNew] = columns[place->second].labels.emplace(code, label);
  return isNew || entry->second == label;
}

const QUVENTableLabels::Column* QUVENTableLabels::findColumn(std::string_view column) const {
  const auto place = places.find(column);
  return place == places.end() ? nullptr : &columns[place->second];
}

const std::string* QUVENTableLabels::find(std::string_view column, double code) const {
  if (!(code >= 0 && code <= static_cast<double>(LargestCode)) || std::trunc(code) != code) return nullptr;
  const Column* found = findColumn(column);
  if (found == nullptr) return nullptr;
  const auto entry = found->labels.find(static_cast<std::uint64_t>(code));
  return entry == found->labels.end() ? nullptr : &entry->second;
}

const std::string* QUVENTableLabels::findByText(std::string_view column, std::string_view text) const {
  const std::optional<std::uint64_t> code = codeOf(text);
  if (!code) return nullptr;
  const double number = static_cast<double>(*code);
  return QUVENCategoryText(number).get() == text ? find(column, number) : nullptr;
}

std::string QUVENTableLabels::readFrom(std::istream& text) {
  QUVENTableLabels found;
  QUVENCsvReader reader(text);
  const auto mistakeAt = [&reader](const std::string& what) {
    return std::string("line ").append(std::to_string(reader.getLine())).append(": ").append(what);
  };
  if (reader.next()) {
    if (!std::ranges::equal(reader.getCells(), headings)) return mistakeAt("the headings are not column,code,label");
    while (reader.next()) {
      const std::vector<std::string_view>& cells = reader.getCells();
      if (cells.size() != headings.size()) return mistakeAt("not three cells");
      if (cells[0].empty()) return mistakeAt("no name of a column");
      const std::optional<std::uint64_t> code = codeOf(cells[1]);
      if (!code) return mistakeAt(std::string("'").append(cells[1]).append("' is no code of a category"));
      if (found.find(cells[0], static_cast<double>(*code)) != nullptr) {
        return mistakeAt("a second label of code " + std::to_string(*code) + " of column " + std::string(cells[0]));
      }
      static_cast<void>(found.add(cells[0], *code, cells[2]));
    }
  } else if (reader.getMistake().empty() && !text.bad()) {
    return "line 1: the headings are not column,code,label";
  }
  if (!reader.getMistake().empty()) return mistakeAt(reader.getMistake());
  if (text.bad()) return "cannot be read";
  *this = std::move(found);
  return {};
}

bool QUVENTableLabels::read(const std::string& path, const QUVENEnvHandle& env) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    *this = QUVENTableLabels();
    return false;
  }
  std::ifstream file;
  if (!std::filesystem::is_directory(status)) file.open(path, std::ios::binary);
  const std::string mistake = file.is_open() ? readFrom(file) : "The labels cannot be opened";
  if (!mistake.empty()) report_error(FileUnusable, path, mistake, QUVEN_ENV, true);
  return true;
}

void QUVENTableLabels::write(std::ostream& out) const {
  out << "column,code,label\n";
  for (const Column& column : columns) {
    const std::string name = quvenCsvCell(column.name);
    for (const auto& [code, label] : column.labels) {
      out << name << ',' << std::to_string(code) << ',' << quvenCsvCell(label) << '\n';
    }
  }
}
