#include "groups/group_matching.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <queue>
#include <tuple>
#include <utility>

#include "groups/contingency.h"

namespace vesk_groups {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::int64_t unreached = std::numeric_limits<std::int64_t>::max();

/// The Hungarian method. Rows are earlier groups, columns are current groups. Each row has a column of its own of
/// weight 0 beside them, so that every row is assigned and a row in its own column is a group without a partner.
///
/// With the potentials of rows and columns it holds at all times: row + column >= weight for each pair, with equality
/// for assigned pairs; a column has a potential of at least 0, and 0 if it is not assigned.
class Assignment {
 public:
  Assignment(std::size_t rows, std::size_t columns, const std::vector<GroupOverlap>& overlaps)
      : pairs(rows),
        columnOf(rows, noGroup),
        rowOf(columns + rows, noGroup),
        rowPotential(rows, 0),
        columnPotential(columns + rows, 0),
        distance(columns + rows, unreached),
        cameFrom(columns + rows, noGroup),
        isRowFixed(rows, false),
        isColumnFixed(columns + rows, false) {
    for (const GroupOverlap& overlap : overlaps) pairs[overlap.previous].push_back({overlap.current, overlap.weight});
    for (std::size_t row = 0; row < rows; ++row) pairs[row].push_back({columns + row, 0});
    for (std::size_t column = 0; column < columns; ++column) rowsOfColumn.emplace_back();
    for (const GroupOverlap& overlap : overlaps) rowsOfColumn[overlap.current].push_back(overlap.previous);
  }

  std::vector<std::size_t> solve(std::size_t columns) {
    for (std::size_t row = 0; row < pairs.size(); ++row) assign(row);
    for (std::size_t row = 0; row < pairs.size(); ++row) preferSmallColumn(row);
    rowOf.resize(columns);
    return rowOf;
  }

 private:
  struct Pair {
    std::size_t column;
    std::int64_t weight;
  };

  std::int64_t slack(std::size_t row, const Pair& pair) const {
    return rowPotential[row] + columnPotential[pair.column] - pair.weight;
  }

  // The greatest sum

  /// Assigns one more row along a shortest path of slacks to a column that is free.
  void assign(std::size_t source) {
    for (const Pair& pair : pairs[source]) rowPotential[source] = std::max(rowPotential[source], pair.weight);
    // Distance, whether the column is assigned, and the column: of equal distances a free column ends the search.
    using Entry = std::tuple<std::int64_t, bool, std::size_t>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
    std::vector<std::pair<std::size_t, std::int64_t>> rowsSeen;
    std::vector<std::size_t> columnsSeen;
    std::vector<std::size_t> columnsReached;
    const auto scan = [&](std::size_t row, std::int64_t length) {
      rowsSeen.emplace_back(row, length);
      for (const Pair& pair : pairs[row]) {
        const std::int64_t candidate = length + slack(row, pair);
        if (candidate >= distance[pair.column]) continue;
        if (distance[pair.column] == unreached) columnsReached.push_back(pair.column);
        distance[pair.column] = candidate;
        cameFrom[pair.column] = row;
        queue.emplace(candidate, rowOf[pair.column] != noGroup, pair.column);
      }
    };
    scan(source, 0);
    std::size_t end = noGroup;
    while (end == noGroup) {
      const auto [length, isAssigned, column] = queue.top();  // there is one: the row's own column is free
      queue.pop();
      if (length > distance[column]) continue;
      if (!isAssigned) {
        end = column;
      } else {
        columnsSeen.push_back(column);
        scan(rowOf[column], length);
      }
    }
    const std::int64_t total = distance[end];
    for (const auto& [row, length] : rowsSeen) rowPotential[row] -= total - length;
    for (const std::size_t column : columnsSeen) columnPotential[column] += total - distance[column];
    moveAlongPath(end, source);
    for (const std::size_t column : columnsReached) distance[column] = unreached;
  }

  /// Assigns each row of the path from `source` to its next column, the last to `end`.
  void moveAlongPath(std::size_t end, std::size_t source) {
    for (std::size_t column = end;;) {
      const std::size_t row = cameFrom[column];
      const std::size_t next = columnOf[row];
      columnOf[row] = column;
      rowOf[column] = row;
      if (row == source) return;
      column = next;
    }
  }

  // The order among equal sums. An assignment has the greatest sum if each of its pairs has slack 0 and each column
  // with a positive potential is assigned.

  /// Gives the row the smallest column that it has in an assignment of the greatest sum in which the rows before it
  /// keep their columns.
  void preferSmallColumn(std::size_t row) {
    for (const Pair& pair : pairs[row]) {
      if (pair.column == columnOf[row]) break;
      if (isColumnFixed[pair.column] || slack(row, pair) != 0) continue;
      if (moveTo(row, pair.column)) break;
    }
    isRowFixed[row] = true;
    isColumnFixed[columnOf[row]] = true;
  }

  /// Moves the row to the column if the others can be arranged so that the sum stays the same.
  bool moveTo(std::size_t row, std::size_t column) {
    const std::size_t left = columnOf[row];
    const std::size_t displaced = rowOf[column];
    isRowFixed[row] = true;
    isColumnFixed[column] = true;
    // Both searches are made before anything is moved. They cannot meet: a displaced row that meets a path from the
    // left column could also reach this column.
    bool isPossible = true;
    std::vector<std::pair<std::size_t, std::size_t>> moves;  // row and its new column
    bool takesLeft = false;
    if (displaced != noGroup) isPossible = findColumnFor(displaced, left, moves, takesLeft);
    if (isPossible && !takesLeft && columnPotential[left] > 0) isPossible = findRowFor(left, moves);
    isRowFixed[row] = false;
    isColumnFixed[column] = false;
    if (!isPossible) return false;
    rowOf[left] = noGroup;
    for (const auto& [mover, unused] : moves) rowOf[columnOf[mover]] = noGroup;
    moves.emplace_back(row, column);
    for (const auto& [mover, target] : moves) columnOf[mover] = target;
    for (const auto& [mover, target] : moves) rowOf[target] = mover;
    return true;
  }

  /// Moves for a row that has lost its column, along pairs of slack 0: to the column `wanted` if it can be reached,
  /// otherwise to a free one.
  bool findColumnFor(std::size_t start, std::size_t wanted, std::vector<std::pair<std::size_t, std::size_t>>& moves,
                     bool& takesWanted) {
    std::deque<std::size_t> queue{start};
    std::vector<std::size_t> reached;
    std::size_t end = noGroup;
    while (!queue.empty() && end != wanted) {
      const std::size_t row = queue.front();
      queue.pop_front();
      for (const Pair& pair : pairs[row]) {
        const std::size_t column = pair.column;
        if (isColumnFixed[column] || isReached(column) || slack(row, pair) != 0) continue;
        distance[column] = 0;
        cameFrom[column] = row;
        reached.push_back(column);
        if (column == wanted) {
          end = wanted;
          break;
        }
        if (rowOf[column] == noGroup) {
          if (end == noGroup) end = column;
        } else {
          queue.push_back(rowOf[column]);
        }
      }
    }
    takesWanted = end == wanted;
    if (end != noGroup) {
      for (std::size_t column = end;;) {
        const std::size_t row = cameFrom[column];
        moves.emplace_back(row, column);
        if (row == start) break;
        column = columnOf[row];
      }
    }
    for (const std::size_t column : reached) distance[column] = unreached;
    return end != noGroup;
  }

  bool isReached(std::size_t column) const { return distance[column] != unreached; }

  /// Moves that assign a row to a column that must not be free, along pairs of slack 0: the last row that moves leaves
  /// a column that may be free.
  bool findRowFor(std::size_t start, std::vector<std::pair<std::size_t, std::size_t>>& moves) {
    std::deque<std::size_t> queue{start};
    std::vector<std::size_t> reached{start};
    distance[start] = 0;
    std::size_t end = noGroup;
    while (!queue.empty() && end == noGroup) {
      const std::size_t column = queue.front();
      queue.pop_front();
      for (const std::size_t row : rowsOfColumn[column]) {
        const std::size_t next = columnOf[row];
        if (isRowFixed[row] || isReached(next) || slackOf(row, column) != 0) continue;
        distance[next] = 0;
        cameFrom[next] = column;  // the column that the row of `next` moves to
        reached.push_back(next);
        queue.push_back(next);
        if (columnPotential[next] == 0) {
          end = next;
          break;
        }
      }
    }
    for (std::size_t column = end; end != noGroup && column != start; column = cameFrom[column]) {
      moves.emplace_back(rowOf[column], cameFrom[column]);
    }
    for (const std::size_t column : reached) distance[column] = unreached;
    return end != noGroup;
  }

  std::int64_t slackOf(std::size_t row, std::size_t column) const {
    const auto pair = std::ranges::find(pairs[row], column, &Pair::column);
    return slack(row, *pair);
  }

  std::vector<std::vector<Pair>> pairs;                // by row, ascending by column
  std::vector<std::vector<std::size_t>> rowsOfColumn;  // not of the rows' own columns, whose potential stays 0
  std::vector<std::size_t> columnOf;
  std::vector<std::size_t> rowOf;
  std::vector<std::int64_t> rowPotential;
  std::vector<std::int64_t> columnPotential;
  // Of the current search.
  std::vector<std::int64_t> distance;
  std::vector<std::size_t> cameFrom;
  std::vector<bool> isRowFixed;
  std::vector<bool> isColumnFixed;
};

}  // namespace

std::vector<std::size_t> assignGroups(std::size_t numPrevious, std::size_t numCurrent,
                                      const std::vector<GroupOverlap>& overlaps) {
  return Assignment(numPrevious, numCurrent, overlaps).solve(numCurrent);
}

std::vector<GroupOverlap> findOverlaps(const Grouping& previous, const Grouping& current) {
  constexpr std::uint64_t unitsOfOne = 1000000000000;
  const std::vector<std::uint64_t> previousSizes = sizesOf(previous);
  const std::vector<std::uint64_t> currentSizes = sizesOf(current);
  std::vector<GroupOverlap> overlaps;
  for (const SharedMembers& shared : findSharedMembers(previous, current)) {
    const std::uint64_t either = previousSizes[shared.first] + currentSizes[shared.second] - shared.members;
    if (10 * shared.members <= 3 * either) continue;
    const auto weight = static_cast<std::int64_t>(static_cast<Wide>(unitsOfOne) * shared.members / either);
    overlaps.push_back({shared.first, shared.second, weight});
  }
  return overlaps;
}

}  // namespace vesk_groups
