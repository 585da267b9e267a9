#include "literal_rows.h"

namespace literal {

std::uint64_t sampleOf(const Line& line) { return static_cast<std::uint64_t>(line.caller); }

double seen(double stored) { return stored == -99999.0 ? 0 : stored; }

std::vector<Line> shareOf(const std::vector<Line>& lines, int rank, int numWorkers) {
  std::vector<Line> share;
  for (const Line& line : lines) {
    if (sampleOf(line) % static_cast<std::uint64_t>(numWorkers) == static_cast<std::uint64_t>(rank))
      share.push_back(line);
  }
  return share;
}

std::optional<Record> SparseToDense::update(const Line& line) {
  const double x2 = seen(line.x2);
  const int position = static_cast<int>(seen(line.x1));
  const int size = static_cast<int>(row.size());
  const std::uint64_t sample = sampleOf(line);
  if (!filling) {
    if (position != 0 || !(x2 > 0)) return std::nullopt;
    row.resize(static_cast<std::size_t>(static_cast<int>(x2)));
    filling = true;
    currentRow = sample;
  } else if (sample != currentRow && position == 0) {
    // A new record overrides one without an end; the cells that are there keep what they hold.
    if (static_cast<int>(x2) >= 0) row.resize(static_cast<std::size_t>(static_cast<int>(x2)));
    currentRow = sample;
  } else if (position <= size) {
    if (position >= 1) row[static_cast<std::size_t>(position - 1)] = x2;
  } else {
    Record record{currentRow, row};
    row.clear();
    filling = false;
    return record;
  }
  return std::nullopt;
}

}  // namespace literal
