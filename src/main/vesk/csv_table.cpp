#include "csv_table.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "column_names.h"
#include "control/quven_csv_reader.h"
#include "control/quven_dataset_info.h"
#include "table_files.h"

namespace vesk {

namespace {

constexpr std::size_t mostColumns = 25000;  // of a dataset

[[noreturn]] void fail(const std::string& path, const std::string& what) { throw std::runtime_error(path + what); }

[[noreturn]] void failAt(const std::string& path, std::uint64_t line, const std::string& what) {
  fail(path, std::string(", line ").append(std::to_string(line)).append(": ").append(what));
}

/// One reading of the rows of the file; the names of the columns are taken from the first row.
class CsvFile {
 public:
  explicit CsvFile(const CsvTableOptions& options)
      : path(options.input), stream(path, std::ios::binary), reader(open(), options.delimiter) {
    hasRow = reader.next();
    check();
    if (!hasRow) fail(path, " is empty");
    const std::vector<std::string_view>& first = reader.getCells();
    width = first.size();
    if (width == 1) fail(path, std::string(" has one column; it is cut at '") + options.delimiter + "'");
    if (width > mostColumns) fail(path, " has more than " + std::to_string(mostColumns) + " columns");
    takeNames(options.hasHeader ? first : std::vector<std::string_view>(width));
    firstIsWaiting = !options.hasHeader;
  }

  const std::vector<std::string>& getNames() const { return names; }

  /// False at the end of the file.
  bool next() {
    if (std::exchange(firstIsWaiting, false)) return true;
    hasRow = reader.next();
    check();
    if (hasRow && getCells().size() != width) {
      failAt(path, getLine(), std::to_string(getCells().size()) + " cells, not " + std::to_string(width));
    }
    return hasRow;
  }
  const std::vector<std::string_view>& getCells() const { return reader.getCells(); }
  std::uint64_t getLine() const { return reader.getLine(); }

 private:
  std::istream& open() {
    if (!stream) fail("cannot open " + path, ": " + std::generic_category().message(errno));
    return stream;
  }
  void check() const {
    if (!reader.getMistake().empty()) failAt(path, reader.getLine(), reader.getMistake());
    if (stream.bad()) fail("cannot read ", path);
  }
  void takeNames(const std::vector<std::string_view>& headings) {
    try {
      names = columnNames(headings);
    } catch (const std::runtime_error& error) {
      fail(path, std::string(": ") + error.what());
    }
  }

  std::string path;
  std::ifstream stream;
  QUVENCsvReader reader;
  std::vector<std::string> names;
  std::size_t width = 0;
  bool hasRow = false;
  bool firstIsWaiting = false;
};

/// The columns of the dataset, each with its place in a row of the file.
struct ColumnChoice {
  std::vector<std::size_t> places;
  std::vector<TableColumn> columns;
};

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

ColumnChoice chooseColumns(const CsvTableOptions& options, const std::vector<std::string>& names) {
  const std::vector<std::string> targets =
      options.target ? std::vector<std::string>{*options.target} : std::vector<std::string>{};
  const NameList target(targets, names, options.input);
  const NameList categorical(options.categorical, names, options.input);
  const NameList numeric(options.numeric, names, options.input);
  const NameList dropped(options.drop, names, options.input);
  ColumnChoice choice;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (dropped.has(i)) continue;
    const TableColumn::Wish wish = categorical.has(i) ? TableColumn::Wish::Categorical
                                   : numeric.has(i)   ? TableColumn::Wish::Numeric
                                                      : TableColumn::Wish::Any;
    choice.places.push_back(i);
    choice.columns.emplace_back(names[i], wish, target.has(i));
  }
  if (choice.columns.size() < 2) {
    fail(options.input, " has " + std::to_string(choice.columns.size()) +
                            " columns without the dropped ones; a table "
                            "has two or more");
  }
  return choice;
}

/// First reading: the types of the columns. The result is the number of rows.
std::uint64_t findTypes(const CsvTableOptions& options, const CellReader& cells, CsvFile& file, ColumnChoice& choice) {
  std::uint64_t rows = 0;
  for (; file.next(); ++rows) {
    for (std::size_t c = 0; c < choice.columns.size(); ++c) {
      const std::string_view text = file.getCells()[choice.places[c]];
      choice.columns[c].look(text, cells.read(text), file.getLine());
    }
  }
  if (rows == 0) fail(options.input, " has no rows");
  std::optional<CellMistake> first;
  for (TableColumn& column : choice.columns) {
    const std::optional<CellMistake> mistake = column.decide();
    if (mistake && (!first || mistake->line < first->line)) first = mistake;
  }
  if (first && first->line == 0) fail(options.input, ": " + first->what);
  if (first) failAt(options.input, first->line, first->what);
  return rows;
}

/// Second reading: the numbers.
void writeRows(const CsvTableOptions& options, const CellReader& cells, std::uint64_t rows, ColumnChoice& choice,
               TableFiles& files) {
  constexpr const char* changed = " was changed while it was read";
  CsvFile file(options);
  std::vector<double> record(choice.columns.size());
  std::uint64_t written = 0;
  for (; file.next(); ++written) {
    for (std::size_t c = 0; c < choice.columns.size(); ++c) {
      if (choice.places[c] >= file.getCells().size()) fail(options.input, changed);
      const std::string_view text = file.getCells()[choice.places[c]];
      std::optional<double> value;
      try {
        value = choice.columns[c].take(text, cells.read(text));
      } catch (const std::runtime_error& error) {
        failAt(options.input, file.getLine(), error.what());
      }
      if (!value) fail(options.input, changed);
      record[c] = *value;
    }
    files.writeRecord(record);
  }
  if (written != rows) fail(options.input, changed);
}

std::vector<dataset_info::Column> descriptionOf(const std::vector<TableColumn>& columns) {
  std::vector<dataset_info::Column> description;
  for (const TableColumn& column : columns) {
    const bool isCategorical = column.getType() == TableColumn::Type::Categorical;
    description.push_back({column.getName(), isCategorical ? dataset_info::Categorical : dataset_info::Numeric,
                           column.isTarget() ? dataset_info::Target : dataset_info::Explanatory});
  }
  return description;
}

/// Names that are numbers: a file without a header loses its first record.
void remarkOnNames(const std::vector<std::string>& names, const CellReader& cells, CsvTable& table) {
  const auto isNumber = [&cells](const std::string& name) { return cells.read(name).kind == CellKind::Number; };
  const auto found = std::ranges::find_if(names, isNumber);
  if (found == names.end()) return;
  table.remarks.push_back("a column has the number " + *found +
                          " for a name; if the first row is a record, use --no-header");
}

}  // namespace

CsvTable makeCsvTable(const CsvTableOptions& options) {
  std::error_code unknown;
  const std::filesystem::file_status status = std::filesystem::status(options.input, unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    fail(options.input, " is not a regular file; a table is read twice");
  }
  const CellReader cells(options.missing);
  CsvTable table;
  ColumnChoice choice;
  {
    CsvFile file(options);
    remarkOnNames(file.getNames(), cells, table);
    choice = chooseColumns(options, file.getNames());
    TableFiles::refuseInput(options.output, options.input);
    table.rows = findTypes(options, cells, file, choice);
  }
  TableFiles files(options.output);
  writeRows(options, cells, table.rows, choice, files);
  QUVENTableLabels labels;
  for (const TableColumn& column : choice.columns) column.addLabels(labels);
  files.complete(descriptionOf(choice.columns), labels);
  for (const TableColumn& column : choice.columns) {
    if (std::string remark = column.remark(); !remark.empty()) table.remarks.push_back(std::move(remark));
  }
  table.columns = std::move(choice.columns);
  return table;
}

}  // namespace vesk
