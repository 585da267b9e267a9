#ifndef TESTS_GROUPS_LITERAL_ROWS_H
#define TESTS_GROUPS_LITERAL_ROWS_H

// Records of a sparse dataset, and the assembly of a subscriber's row from them.

#include <cstdint>
#include <optional>
#include <vector>

namespace literal {

/// A record: header (caller, 0, n), (caller, j, value) for j = 1..n, footer (caller, n + 1, 0).
struct Line {
  double caller;
  double x1;
  double x2;
};

/// A row; the element at position j, from 1, is [j - 1]. What is written to position 0 is not kept: nobody sees it.
using Row = std::vector<double>;

std::uint64_t sampleOf(const Line& line);

/// What an analysis sees in place of a stored value: a missing one is 0.
double seen(double stored);

/// The records that a worker sees when callers are dealt over the workers, in file order.
std::vector<Line> shareOf(const std::vector<Line>& lines, int rank, int numWorkers);

struct Record {
  std::uint64_t sample;
  Row row;
};

class SparseToDense {
 public:
  /// Feeds a record; the row when this was its closing record.
  std::optional<Record> update(const Line& line);

 private:
  Row row;
  std::uint64_t currentRow = 0;
  bool filling = false;
};

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_ROWS_H
