#include "output_rows.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "loader_common.h"

namespace vesk_loader {

namespace {

constexpr std::size_t readAhead = 8;         // rows whose memory is fetched before they are made
constexpr std::size_t insertionLength = 32;  // rows up to this length are sorted in place

bool has_nan(const std::vector<double>& row) {
  return std::any_of(row.begin(), row.end(), [](double value) { return value != value; });
}

// Sorts a short row in place; the permutation, if there is one, is changed along with it.
void insertion_sort(std::vector<double>& row, std::uint32_t* permutation) {
  for (std::size_t i = 1; i < row.size(); ++i) {
    const double value = row[i];
    std::size_t j = i;
    for (; j > 0 && row[j - 1] > value; --j) row[j] = row[j - 1];
    row[j] = value;
    if (permutation != nullptr) std::rotate(permutation + j, permutation + i, permutation + i + 1);
  }
}

void merge_sort(std::vector<double>& row, std::vector<std::uint32_t>& permutation) {
  std::stable_sort(permutation.begin(), permutation.end(),
                   [&row](std::uint32_t a, std::uint32_t b) { return row[a] < row[b]; });
  std::vector<double> sorted(row.size());
  for (std::size_t i = 0; i < row.size(); ++i) sorted[i] = row[permutation[i]];
  row.swap(sorted);
}

// With a NaN "greater" is no order, and the outcome is that of this sequence of exchanges.
void bubble_sort(std::vector<double>& row, std::vector<std::uint32_t>& permutation) {
  for (std::size_t i = 0; i + 1 < row.size(); ++i) {
    for (std::size_t j = 0; j + 1 < row.size() - i; ++j) {
      if (!(row[j] > row[j + 1])) continue;
      std::swap(row[j], row[j + 1]);
      std::swap(permutation[j], permutation[j + 1]);
    }
  }
}

}  // namespace

void sort(std::vector<double>& row, std::vector<std::uint32_t>& permutation) {
  try {
    permutation.resize(row.size());
    std::iota(permutation.begin(), permutation.end(), 0U);
    if (has_nan(row)) {
      bubble_sort(row, permutation);
    } else if (row.size() <= insertionLength) {
      insertion_sort(row, permutation.data());
    } else {
      merge_sort(row, permutation);
    }
  } catch (const std::bad_alloc&) {
    report_error(1311, "sort: Unexpected memory exception");
  } catch (...) {
    report_error(1324, "sort -- Unexpected exception occured");
  }
}

OutputRows::OutputRows(LoaderTables& tables_, bool sortTables_) : tables(tables_), sortTables(sortTables_) {
  if (tables.pairs != nullptr) tables.pairs->order(tables.keys->size());
  tables.keys->removeRepeats();
  tables.keys->endLookups();
  rows = tables.keys->rowsInOrder();
}

std::size_t OutputRows::width() const {
  std::size_t longest = 0;
  for (std::uint32_t row = 0; row < tables.keys->size(); ++row) {
    const std::size_t length = tables.pairs != nullptr ? tables.pairs->pairs(row).size() : tables.keys->length(row);
    longest = std::max(longest, length);
  }
  return longest;
}

OutputRows::Result OutputRows::make(std::size_t place, OutputRow& row) {
  const KeyTable& keys = *tables.keys;
  keys.prefetchAhead(rows, place);
  if (tables.pairs != nullptr && place + readAhead < rows.size()) {
    tables.pairs->prefetchPairs(rows[place + readAhead]);
  }
  const std::uint32_t number = rows[place];
  row = OutputRow();
  row.key = keys.key(number);
  if (tables.pairs != nullptr) return makePairRow(number, row);
  return keys.getShape().tableSize > 0 ? makeTableRow(number, row) : makePlainRow(number, row);
}

OutputRows::Result OutputRows::makeTableRow(std::uint32_t number, OutputRow& row) {
  tables.keys->read(number, columns);
  if (columns.values.empty()) return Result::Skipped;
  if (sortTables) {
    if (columns.payloads.empty() && columns.values.size() <= insertionLength && !has_nan(columns.values)) {
      insertion_sort(columns.values, nullptr);  // nothing follows the permutation
    } else {
      sort(columns.values, permutation);
    }
    for (auto& payload : columns.payloads) {
      if (payload.size() != permutation.size()) return Result::ReorderFailed;
      column.resize(payload.size());
      for (std::size_t i = 0; i < permutation.size(); ++i) column[i] = payload[permutation[i]];
      payload.swap(column);
    }
  }
  row.values = columns.values;
  row.payloads = columns.payloads;
  return Result::Row;
}

// Position 0, which Output 1 addresses, goes to the process file but never to the output. On purpose.
OutputRows::Result OutputRows::makePlainRow(std::uint32_t number, OutputRow& row) {
  if (const RowColumns* const irregular = tables.keys->irregularRow(number)) {
    row.values = irregular->values;
    row.payloads = irregular->payloads;
  } else {
    row.values = tables.keys->sumsOfRow(number);
  }
  if (!row.values.empty()) row.values = row.values.subspan(1);
  return Result::Row;
}

OutputRows::Result OutputRows::makePairRow(std::uint32_t number, OutputRow& row) {
  if (!tables.pairs->hasMap(number)) return Result::Skipped;
  const auto pairs = tables.pairs->pairs(number);
  columns.values.resize(pairs.size());
  weights.resize(pairs.size());
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    columns.values[i] = pairs[i].callee;
    weights[i] = pairs[i].weight;
  }
  row.values = columns.values;
  row.weights = weights;
  row.pairSum = true;
  return Result::Row;
}

}  // namespace vesk_loader
