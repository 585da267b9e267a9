#include "record_layout.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "number_text.h"

namespace vesk_generate {

namespace {

constexpr std::uint32_t maxLineColumns = 9000;  // the loader reads no line of 10000 characters
constexpr std::uint32_t dateDigits = 8;
constexpr std::uint32_t durationDigits = 6;
constexpr std::uint32_t minIdColumns = 3;  // room for "1 2", the bad line with a blank inside a field

ColumnRange parseRange(std::string_view text) {
  const std::size_t dash = text.find('-');
  const auto first = readNumber<std::uint32_t>(text.substr(0, dash));
  const auto last = dash == text.npos ? std::nullopt : readNumber<std::uint32_t>(text.substr(dash + 1));
  if (!first || !last)
    throw std::invalid_argument("'" + std::string(text) + "' is not a range of columns (FIRST-LAST)");
  return {*first, *last};
}

}  // namespace

std::uint64_t ColumnRange::largest() const {
  std::uint64_t power = 1;
  for (std::uint32_t i = 0; i < std::min(width(), 19U); ++i) power *= 10;
  return power - 1;
}

std::size_t RecordLayout::lineBytes() const {
  std::size_t columns = 0;
  for (const ColumnRange& field : fields()) columns = std::max<std::size_t>(columns, field.last);
  return columns + 1;
}

void checkLayout(const RecordLayout& layout) {
  auto fields = layout.fields();
  for (const ColumnRange& field : fields) {
    if (field.first < 1 || field.last < field.first || field.last > maxLineColumns) {
      throw std::invalid_argument("the columns of a field must rise and lie from 1 to 9000");
    }
  }
  if (layout.caller.width() < minIdColumns || layout.callee.width() < minIdColumns) {
    throw std::invalid_argument("caller and callee need at least 3 columns");
  }
  if (layout.date.width() < dateDigits) throw std::invalid_argument("the date needs at least 8 columns");
  if (layout.duration.width() < durationDigits) throw std::invalid_argument("the duration needs at least 6 columns");
  std::sort(fields.begin(), fields.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 1; i < fields.size(); ++i) {
    if (fields[i].first <= fields[i - 1].last) throw std::invalid_argument("the columns of two fields overlap");
  }
}

RecordLayout parseLayout(std::string_view text) {
  std::vector<ColumnRange> ranges;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t comma = std::min(text.find(',', begin), text.size());
    ranges.push_back(parseRange(text.substr(begin, comma - begin)));
    begin = comma + 1;
  }
  if (ranges.size() != 5) {
    throw std::invalid_argument("a layout has 5 ranges of columns: caller,callee,date,duration,multiplicity");
  }
  const RecordLayout layout{ranges[0], ranges[1], ranges[2], ranges[3], ranges[4]};
  checkLayout(layout);
  return layout;
}

}  // namespace vesk_generate
