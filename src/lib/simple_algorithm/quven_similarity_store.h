#ifndef QUVEN_SIMILARITY_STORE_H
#define QUVEN_SIMILARITY_STORE_H

#include <cstdint>
#include <span>

#include "util/quven_env.h"
#include "util/quven_xaray.h"

/// A sparse matrix of values by column and row. A cell that is set again has the later value.
///
/// Shapes:   columns and rows are numbers from 1.
/// Memory:   16 bytes a cell, and as much again while they are put in order.
/// Cost:     setting is appending; the first look after it puts the cells in order.
/// Lifetime: deleteMemory(env) before it ends.
class QUVENSimilarityStore {
 public:
  struct Cell {
    std::int32_t column;
    std::uint32_t row : 31;
    std::uint32_t mark : 1;  ///< what the owner wants to know of the value
    double value;
  };

  void set(std::int32_t column, std::int32_t row, double value, const QUVENEnvHandle& env) {
    set(column, row, value, false, QUVEN_ENV);
  }
  void set(std::int32_t column, std::int32_t row, double value, bool mark, const QUVENEnvHandle& env) {
    cells.append({column, static_cast<std::uint32_t>(row) & 0x7fffffffU, mark ? 1U : 0U, value}, QUVEN_ENV);
    isOrdered = false;
  }
  /// The cells by ascending column and, in a column, by ascending row; valid until the next change.
  std::span<const Cell> getCells(const QUVENEnvHandle& env) const;
  /// The cells in the order in which they were set, as long as none has been looked at in another way.
  std::span<const Cell> getCellsAsSet() const { return {cells.begin(), cells.end()}; }
  /// Keeps the cells for which keep(cell) holds.
  template <class Keep>
  void keepIf(Keep keep, const QUVENEnvHandle& env) {
    long numKept = 0;
    for (long i = 1; i <= cells.getSize(); ++i) {
      if (keep(cells[i])) cells[++numKept] = cells[i];
    }
    cells.setSize(numKept, QUVEN_ENV);
  }
  /// The value of a cell; null when it was never set.
  const double* find(std::int32_t column, std::int32_t row, const QUVENEnvHandle& env) const;
  /// The number of columns that have a cell.
  long getNumColumns(const QUVENEnvHandle& env) const;

  void copyFrom(const QUVENSimilarityStore& other, const QUVENEnvHandle& env);
  void swap(QUVENSimilarityStore& other) noexcept;
  void deleteMemory(const QUVENEnvHandle& env);

 private:
  void order(const QUVENEnvHandle& env) const;

  mutable QUVENXaRay<Cell> cells;
  mutable bool isOrdered = true;
};

#endif  // QUVEN_SIMILARITY_STORE_H
