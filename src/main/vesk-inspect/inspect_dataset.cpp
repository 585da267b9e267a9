#include "inspect_dataset.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "dataset_report.h"
#include "defect_list.h"
#include "inspect_table.h"
#include "number_format.h"
#include "sparse_check.h"
#include "text_table.h"

namespace vesk_inspect {

namespace {

/// How many cells of a dense row a line of the table shows.
constexpr std::uint32_t shownColumns = 12;

bool inspectSparse(const DatasetOptions& options, const DatasetShape& shape, std::ostream& out) {
  const SparseKind kind = findSparseKind(options.path);
  const bool pairSum = kind == SparseKind::PairSum;
  DefectList defects(options.shownDefects);
  SparseCheck check(kind, defects);
  TextTable table({"record", "byte", "caller", pairSum ? "callee" : "position", pairSum ? "weight" : "value", ""});
  RecordFile file(options.path, shape.columns);
  while (file.next()) {
    const auto& v = file.values();
    const TripleRole role = check.take({v[0], v[1], v[2]});
    if (file.getCount() > options.rows) continue;
    table.addRow({std::to_string(file.getCount()), std::to_string(file.beginBytes()), formatNumber(v[0]),
                  formatNumber(v[1]), formatNumber(v[2]), std::string(nameOf(role))});
  }
  check.finish();
  checkSize(file, shape.columns, defects);

  printHead(out, options.path, shape, file, "sparse");
  out << "kind      " << (pairSum ? "pair sum" : "table or sums") << "\n";
  out << "triples   " << check.getTriples() << "\n";
  out << "callers   " << check.getRows() << "\n";
  out << "entries   " << check.getEntries() << ", longest row " << check.getLongestRow() << "\n";
  out << "width     " << (check.getWidth() ? formatNumber(*check.getWidth()) : "none") << "\n";
  printTail(out, table, defects);
  return defects.getCount() == 0;
}

TextTable denseTable(std::uint32_t columns) {
  std::vector<std::string> headings{"record", "byte", "caller"};
  for (std::uint32_t i = 1; i < std::min(columns, shownColumns); ++i) headings.push_back("Col" + std::to_string(i));
  if (columns > shownColumns) headings.push_back("and " + std::to_string(columns - shownColumns) + " more");
  return TextTable(headings);
}

std::vector<std::string> denseCells(const RecordFile& file) {
  std::vector<std::string> cells{std::to_string(file.getCount()), std::to_string(file.beginBytes())};
  const std::size_t shown = std::min<std::size_t>(file.values().size(), shownColumns);
  for (std::size_t i = 0; i < shown; ++i) cells.push_back(formatNumber(file.values()[i]));
  return cells;
}

bool inspectDense(const DatasetOptions& options, const DatasetShape& shape, std::ostream& out) {
  DefectList defects(options.shownDefects);
  TextTable table = denseTable(shape.columns);
  RecordFile file(options.path, shape.columns);
  for (std::optional<double> lastKey; file.next(); lastKey = file.values()[0]) {
    const double key = file.values()[0];
    if (lastKey && !(key > *lastKey)) {
      defects.add(file.getCount(), file.beginBytes(),
                  "key " + formatNumber(key) + " does not rise above key " + formatNumber(*lastKey));
    }
    if (file.getCount() <= options.rows) table.addRow(denseCells(file));
  }
  checkSize(file, shape.columns, defects);

  printHead(out, options.path, shape, file, "dense");
  out << "rows      " << file.getCount() << "\n";
  out << "callers   " << file.getCount() << "\n";
  out << "width     " << shape.columns - 1 << "\n";
  printTail(out, table, defects);
  return defects.getCount() == 0;
}

}  // namespace

bool inspectDataset(const DatasetOptions& options, std::ostream& out) {
  const DatasetShape shape = findDatasetShape(options.path, options.form, options.columns);
  if (shape.form == DatasetForm::Sparse) return inspectSparse(options, shape, out);
  const std::optional<QUVENTableLabels> labels = readTableLabels(options.path, shape);
  return labels ? inspectTable(options, shape, *labels, out) : inspectDense(options, shape, out);
}

}  // namespace vesk_inspect
