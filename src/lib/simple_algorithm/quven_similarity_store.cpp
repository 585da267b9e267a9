#include "simple_algorithm/quven_similarity_store.h"

#include <algorithm>

namespace {

bool isBefore(const QUVENSimilarityStore::Cell& a, const QUVENSimilarityStore::Cell& b) {
  return a.column != b.column ? a.column < b.column : a.row < b.row;
}

}  // namespace

void QUVENSimilarityStore::order(const QUVENEnvHandle& env) const {
  if (isOrdered) return;
  if (!std::is_sorted(cells.begin(), cells.end(), isBefore)) {
    // Into their columns in the order of their coming, which mostly is that of the rows.
    std::int32_t numColumns = 0;
    for (const Cell& cell : cells) numColumns = std::max(numColumns, cell.column);
    QUVENXaRay<std::int64_t> places;  // cell c+1: where the next cell of column c goes
    QUVENXaRay<Cell> sorted;
    try {
      places.setSize(numColumns + 2L, QUVEN_ENV);
      sorted.setSize(cells.getSize(), QUVEN_ENV);
    } catch (...) {
      places.deleteMemory(QUVEN_ENV);
      throw;
    }
    for (const Cell& cell : cells) ++places[cell.column + 2L];
    for (long i = 2; i <= places.getSize(); ++i) places[i] += places[i - 1];
    for (const Cell& cell : cells) sorted.begin()[places[cell.column + 1L]++] = cell;
    cells.swap(sorted);
    sorted.deleteMemory(QUVEN_ENV);
    places.deleteMemory(QUVEN_ENV);
    if (!std::is_sorted(cells.begin(), cells.end(), isBefore)) {
      std::stable_sort(cells.begin(), cells.end(), isBefore);
    }
  }
  // Of cells that were set twice the last one stays.
  long numCells = 0;
  for (long i = 1; i <= cells.getSize(); ++i) {
    const bool isAgain = numCells > 0 && !isBefore(cells[numCells], cells[i]);
    cells[isAgain ? numCells : ++numCells] = cells[i];
  }
  cells.setSize(numCells, QUVEN_ENV);
  isOrdered = true;
}

std::span<const QUVENSimilarityStore::Cell> QUVENSimilarityStore::getCells(const QUVENEnvHandle& env) const {
  order(QUVEN_ENV);
  return {cells.begin(), cells.end()};
}

const double* QUVENSimilarityStore::find(std::int32_t column, std::int32_t row, const QUVENEnvHandle& env) const {
  const std::span<const Cell> ordered = getCells(QUVEN_ENV);
  const auto found = std::lower_bound(ordered.begin(), ordered.end(),
                                      Cell{column, static_cast<std::uint32_t>(row) & 0x7fffffffU, 0, 0}, isBefore);
  const bool isThere =
      found != ordered.end() && found->column == column && static_cast<std::int32_t>(found->row) == row;
  return isThere ? &found->value : nullptr;
}

long QUVENSimilarityStore::getNumColumns(const QUVENEnvHandle& env) const {
  long numColumns = 0;
  std::int32_t last = 0;
  for (const Cell& cell : getCells(QUVEN_ENV)) {
    if (numColumns == 0 || cell.column != last) ++numColumns;
    last = cell.column;
  }
  return numColumns;
}

void QUVENSimilarityStore::copyFrom(const QUVENSimilarityStore& other, const QUVENEnvHandle& env) {
  if (&other == this) return;
  cells.copyFrom(other.cells, QUVEN_ENV);
  isOrdered = other.isOrdered;
}

void QUVENSimilarityStore::swap(QUVENSimilarityStore& other) noexcept {
  cells.swap(other.cells);
  std::swap(isOrdered, other.isOrdered);
}

void QUVENSimilarityStore::deleteMemory(const QUVENEnvHandle& env) {
  cells.deleteMemory(QUVEN_ENV);
  isOrdered = true;
}
