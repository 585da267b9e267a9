#include "top/result_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "command.h"
#include "convert/call_values.h"

namespace vesk {

ResultRows::ResultRows(const std::string& path, const std::vector<std::string>& columns, const std::string& source)
    : file(path),
      names(columns),
      bytes(path),
      rows([this](char* data, std::size_t size) { return bytes.read(data, size); }) {
  const bool hasHeader = rows.next() && rows.getFault() == RowFault::None;
  const std::vector<std::string_view> headings = hasHeader ? rows.getCells() : std::vector<std::string_view>{};
  width = headings.size();
  for (const std::string& column : columns) {
    const auto place = std::ranges::find(headings, column);
    if (place == headings.end()) {
      throw CommandFailure(Status::Data, file + " has no column " + column + "; it must be " + source);
    }
    places.push_back(static_cast<std::size_t>(place - headings.begin()));
  }
}

bool ResultRows::next() {
  if (!rows.next()) return false;
  if (rows.getFault() != RowFault::None) refuse("a quote that is not closed, or a row that is too long");
  if (rows.getCells().size() != width) {
    refuse(std::to_string(rows.getCells().size()) + " cells, not " + std::to_string(width));
  }
  return true;
}

std::uint64_t ResultRows::getWhole(std::size_t column) const {
  const std::optional<std::uint64_t> number = readPlainId(cellOf(column));
  if (!number)
    refuse(names[column] + " is no whole number up to 2^53: [" + std::string(cellOf(column).substr(0, 40)) + "]");
  return *number;
}

bool ResultRows::getFlag(std::size_t column) const {
  const std::string_view cell = cellOf(column);
  if (cell != "0" && cell != "1")
    refuse(names[column] + " is neither 0 nor 1: [" + std::string(cell.substr(0, 40)) + "]");
  return cell == "1";
}

double ResultRows::getNumber(std::size_t column) const {
  const std::string_view cell = cellOf(column);
  double number = 0;
  const auto [stop, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
  if (error != std::errc{} || stop != cell.data() + cell.size() || !std::isfinite(number)) {
    refuse(names[column] + " is no number: [" + std::string(cell.substr(0, 40)) + "]");
  }
  return number;
}

void ResultRows::refuse(const std::string& why) const {
  throw CommandFailure(Status::Data, file + ", line " + std::to_string(rows.getLine()) + ": " + why);
}

}  // namespace vesk
