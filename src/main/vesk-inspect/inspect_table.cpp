#include "inspect_table.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <system_error>

#include "control/quven_file_formats.h"
#include "dataset_report.h"
#include "number_format.h"

namespace vesk_inspect {

namespace {

/// How many columns a line of the table of records shows.
constexpr std::size_t shownColumns = 12;
constexpr std::size_t shownBytes = 24;

/// A label on one line and not too long, cut between characters of UTF-8.
std::string shownLabel(const std::string& label) {
  std::size_t end = std::min(label.size(), shownBytes);
  const auto continuesCharacter = [&](std::size_t place) { return (label[place] & 0xC0) == 0x80; };
  while (end < label.size() && end > 0 && continuesCharacter(end)) --end;
  std::string shown = label.substr(0, end);
  std::ranges::replace_if(
      shown, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
  return end < label.size() ? shown + "..." : shown;
}

/// A column of the table while its values are read.
class TableColumnReport {
 public:
  TableColumnReport(const dataset_info::Column& itsColumn, const QUVENTableLabels& labels)
      : column(itsColumn), columnLabels(labels.findColumn(itsColumn.name)) {}

  /// What is wrong with a value; empty when nothing is.
  std::string take(double value) {
    if (value == dataset_format::missingValue) {
      ++missing;
      return {};
    }
    const bool hasLabels = columnLabels != nullptr || column.type == dataset_info::Categorical;
    if (hasLabels && labelOf(value) == nullptr) {
      return "column " + column.name + " has no label for " + formatNumber(value);
    }
    if (hasLabels) return {};
    if (!std::isfinite(value)) return "column " + column.name + " has no finite number";
    smallest = std::min(smallest, value);
    largest = std::max(largest, value);
    return {};
  }

  std::string cell(double value) const {
    if (value == dataset_format::missingValue) return "(missing)";
    const std::string* label = labelOf(value);
    return label == nullptr ? formatNumber(value) : shownLabel(*label);
  }

  std::vector<std::string> row() const {
    constexpr const char* purposes[] = {"", "explanatory", "target", "line number"};
    const bool hasRange = smallest <= largest;
    return {column.name,
            column.type == dataset_info::Numeric ? "numeric" : "categorical",
            purposes[column.purpose],
            std::to_string(missing),
            hasRange ? formatNumber(smallest) : "",
            hasRange ? formatNumber(largest) : "",
            columnLabels == nullptr ? "" : std::to_string(columnLabels->labels.size())};
  }

 private:
  const std::string* labelOf(double value) const {
    if (columnLabels == nullptr || !(value >= 0 && value <= static_cast<double>(QUVENTableLabels::LargestCode)) ||
        std::trunc(value) != value) {
      return nullptr;
    }
    const auto entry = columnLabels->labels.find(static_cast<std::uint64_t>(value));
    return entry == columnLabels->labels.end() ? nullptr : &entry->second;
  }

  const dataset_info::Column& column;
  const QUVENTableLabels::Column* columnLabels;  // null without labels
  std::uint64_t missing = 0;
  double smallest = std::numeric_limits<double>::infinity();
  double largest = -std::numeric_limits<double>::infinity();
};

void checkLabelledColumns(const DatasetShape& shape, const QUVENTableLabels& labels, DefectList& defects) {
  for (const QUVENTableLabels::Column& column : labels.getColumns()) {
    const auto found = std::ranges::find(shape.description, column.name, &dataset_info::Column::name);
    if (found == shape.description.end()) defects.add("labels of a column " + column.name + " that is not there");
  }
}

TextTable tableOfRecords(const DatasetShape& shape) {
  std::vector<std::string> headings{"record"};
  const std::size_t shown = std::min(shape.description.size(), shownColumns);
  for (std::size_t c = 0; c < shown; ++c) headings.push_back(shape.description[c].name);
  if (shape.description.size() > shown) {
    headings.push_back("and " + std::to_string(shape.description.size() - shown) + " more");
  }
  return TextTable(headings);
}

std::vector<std::string> cellsOf(const RecordFile& file, const std::vector<TableColumnReport>& columns) {
  std::vector<std::string> cells{std::to_string(file.getCount())};
  for (std::size_t c = 0; c < std::min(columns.size(), shownColumns); ++c) {
    cells.push_back(columns[c].cell(file.values()[c]));
  }
  return cells;
}

}  // namespace

std::optional<QUVENTableLabels> readTableLabels(const std::string& path, const DatasetShape& shape) {
  if (shape.description.empty()) return std::nullopt;
  const std::string labelsPath = QUVENTableLabels::pathOf(path);
  errno = 0;
  std::ifstream file(labelsPath, std::ios::binary);
  if (!file) {
    if (errno == ENOENT) return std::nullopt;
    throw std::runtime_error("cannot open " + labelsPath + ": " + std::generic_category().message(errno));
  }
  QUVENTableLabels labels;
  const std::string mistake = labels.readFrom(file);
  if (!mistake.empty()) throw std::runtime_error(labelsPath + ", " + mistake);
  return labels;
}

bool inspectTable(const DatasetOptions& options, const DatasetShape& shape, const QUVENTableLabels& labels,
                  std::ostream& out) {
  DefectList defects(options.shownDefects);
  checkLabelledColumns(shape, labels, defects);
  std::vector<TableColumnReport> columns;
  for (const dataset_info::Column& column : shape.description) columns.emplace_back(column, labels);
  TextTable records = tableOfRecords(shape);
  RecordFile file(options.path, shape.columns);
  while (file.next()) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const std::string defect = columns[c].take(file.values()[c]);
      if (!defect.empty()) defects.add(file.getCount(), file.beginBytes(), defect);
    }
    if (file.getCount() <= options.rows) records.addRow(cellsOf(file, columns));
  }
  checkSize(file, shape.columns, defects);

  printHead(out, options.path, shape, file, "table with named columns");
  out << "records   " << file.getCount() << "\n";
  out << "columns   " << shape.columns << "\n\n";
  TextTable description({"column", "type", "purpose", "missing", "smallest", "largest", "labels"});
  for (const TableColumnReport& column : columns) description.addRow(column.row());
  description.print(out);
  printTail(out, records, defects);
  return defects.getCount() == 0;
}

}  // namespace vesk_inspect
