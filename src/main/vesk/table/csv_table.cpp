#include "table/csv_table.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "table/column_names.h"
#include "table/csv_columns.h"
#include "table/table_files.h"

namespace vesk {

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& what) { throw std::runtime_error(path + what); }

/// Finds columns by the names that options give.
class NameList {
 public:
  NameList(const std::vector<std::string>& names, const std::vector<std::string>& fileNames, const std::string& path)
      : chosen(fileNames.size()) {
    for (const std::string& name : names) {
      const auto place = std::ranges::find(fileNames, plainColumnName(name));
      if (place == fileNames.end()) fail(path, " has no column " + name);
      chosen[static_cast<std::size_t>(place - fileNames.begin())] = true;
    }
  }
  bool has(std::size_t place) const { return chosen[place]; }

 private:
  std::vector<bool> chosen;
};

void chooseColumns(const CsvTableOptions& options, CsvColumns& csv) {
  const std::vector<std::string>& names = csv.getNames();
  const std::vector<std::string> targets =
      options.target ? std::vector<std::string>{*options.target} : std::vector<std::string>{};
  const NameList target(targets, names, options.input);
  const NameList categorical(options.categorical, names, options.input);
  const NameList numeric(options.numeric, names, options.input);
  const NameList dropped(options.drop, names, options.input);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (dropped.has(i)) continue;
    const TableColumn::Wish wish = categorical.has(i) ? TableColumn::Wish::Categorical
                                   : numeric.has(i)   ? TableColumn::Wish::Numeric
                                                      : TableColumn::Wish::Any;
    csv.choose(i, TableColumn(names[i], wish, target.has(i)));
  }
  if (csv.getColumns().size() < 2) {
    fail(options.input, " has " + std::to_string(csv.getColumns().size()) +
                            " columns without the dropped ones; a table "
                            "has two or more");
  }
}

std::vector<dataset_info::Column> descriptionOf(const std::vector<TableColumn>& columns) {
  std::vector<dataset_info::Column> description;
  for (const TableColumn& column : columns) {
    description.push_back(column.describe());
  }
  return description;
}

}  // namespace

CsvTable makeCsvTable(const CsvTableOptions& options) {
  CsvColumns csv({options.input, options.delimiter, options.hasHeader, options.missing});
  CsvTable table;
  if (const std::optional<std::string> number = csv.findNumberForName()) {
    table.remarks.push_back("a column has the number " + *number +
                            " for a name; if the first row is a record, use --no-header");
  }
  chooseColumns(options, csv);
  TableFiles::refuseInput(options.output, options.input);
  table.rows = csv.findTypes();
  TableFiles files(options.output);
  csv.readRows([&files](std::span<const double> numbers, std::uint64_t) { files.writeRecord(numbers); });
  QUVENTableLabels labels;
  for (const TableColumn& column : csv.getColumns()) column.addLabels(labels);
  files.complete(descriptionOf(csv.getColumns()), labels);
  for (const TableColumn& column : csv.getColumns()) {
    if (std::string remark = column.remark(); !remark.empty()) table.remarks.push_back(std::move(remark));
  }
  table.columns = csv.releaseColumns();
  return table;
}

}  // namespace vesk
