#ifndef TESTS_GROUPS_CSV_ROWS_H
#define TESTS_GROUPS_CSV_ROWS_H

// The result files of groups as fields.

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace literal {

using CsvRows = std::vector<std::vector<std::string>>;

constexpr std::size_t GroupOfCluster = 0;  ///< column of the group number in the file of clusters
constexpr std::size_t GroupOfNode = 1;     ///< and in that of nodes

/// The lines behind the header.
inline CsvRows fieldsOf(const std::string& csv) {
  CsvRows rows;
  std::istringstream lines(csv);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    rows.emplace_back();
    for (std::string field; std::getline(fields, field, ',');) rows.back().push_back(field);
  }
  return rows;
}

/// The rows without one column, in ascending order.
inline CsvRows withoutColumn(const std::string& csv, std::size_t column) {
  CsvRows rows = fieldsOf(csv);
  for (auto& row : rows) row.erase(row.begin() + static_cast<std::ptrdiff_t>(column));
  std::sort(rows.begin(), rows.end());
  return rows;
}

}  // namespace literal

#endif  // TESTS_GROUPS_CSV_ROWS_H
