#include "inspect_dataset.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "defect_list.h"
#include "number_file.h"
#include "number_format.h"
#include "sparse_check.h"
#include "text_table.h"

namespace vesk_inspect {

namespace {

/// How many cells of a dense row a line of the table shows.
constexpr std::uint32_t shownColumns = 12;

/// Reads whole records; the last one of a file may be cut.
class RecordFile {
 public:
  RecordFile(const std::string& path, std::uint32_t columns) : file(path), record(columns) {}

  /// False at the end of the file and when it ends within a record.
  bool next() {
    begin = file.offsetBytes();
    for (taken = 0; taken < record.size(); ++taken) {
      if (!file.next(record[taken])) return false;
    }
    ++count;
    return true;
  }

  const std::vector<double>& values() const { return record; }
  std::uint64_t getCount() const { return count; }
  std::uint64_t beginBytes() const { return begin; }  ///< of the record, or at the end of the cut one

  /// At the end: the bytes behind the last whole record.
  std::uint64_t leftoverBytes() const { return taken * sizeof(double) + file.leftoverBytes(); }

  std::uint64_t sizeBytes() const { return begin + leftoverBytes(); }  ///< at the end

 private:
  NumberFile file;
  std::vector<double> record;
  std::size_t taken = 0;
  std::uint64_t begin = 0;
  std::uint64_t count = 0;
};

void checkSize(const RecordFile& file, std::uint32_t columns, DefectList& defects) {
  if (file.leftoverBytes() == 0) return;
  defects.add(file.getCount() + 1, file.beginBytes(),
              "the size " + std::to_string(file.sizeBytes()) + " is not a multiple of " +
                  std::to_string(columns * sizeof(double)) + ", " + std::to_string(file.leftoverBytes()) +
                  " bytes are left over");
}

void printHead(std::ostream& out, const DatasetOptions& options, const DatasetShape& shape, const RecordFile& file) {
  out << "file      " << options.path << "\n";
  out << "form      " << (shape.form == DatasetForm::Sparse ? "sparse" : "dense") << " (" << shape.source << ")\n";
  out << "bytes     " << file.sizeBytes() << "\n";
}

void printTail(std::ostream& out, const TextTable& table, const DefectList& defects) {
  if (!table.isEmpty()) {
    out << "\n";
    table.print(out);
  }
  out << "\n";
  defects.print(out);
}

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

  printHead(out, options, shape, file);
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

  printHead(out, options, shape, file);
  out << "rows      " << file.getCount() << "\n";
  out << "callers   " << file.getCount() << "\n";
  out << "width     " << shape.columns - 1 << "\n";
  printTail(out, table, defects);
  return defects.getCount() == 0;
}

}  // namespace

bool inspectDataset(const DatasetOptions& options, std::ostream& out) {
  const DatasetShape shape = findDatasetShape(options.path, options.form, options.columns);
  return shape.form == DatasetForm::Sparse ? inspectSparse(options, shape, out) : inspectDense(options, shape, out);
}

}  // namespace vesk_inspect
