#include "table/csv_columns.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "control/quven_csv_reader.h"
#include "table/column_names.h"

namespace vesk {

namespace {

constexpr const char* changed = " was changed while it was read";

[[noreturn]] void fail(const std::string& path, const std::string& what) { throw std::runtime_error(path + what); }

[[noreturn]] void failAt(const std::string& path, std::uint64_t line, const std::string& what) {
  fail(path, std::string(", line ").append(std::to_string(line)).append(": ").append(what));
}

/// Returns the form. Refuses a file that is not a regular file before it is opened.
CsvForm formOfRegularFile(CsvForm form) {
  std::error_code unknown;
  const std::filesystem::file_status status = std::filesystem::status(form.path, unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    fail(form.path, " is not a regular file; a table is read twice");
  }
  return form;
}

}  // namespace

/// One reading of the rows of the file. The names of the columns come from the first row.
class CsvFile {
 public:
  explicit CsvFile(const CsvForm& form)
      : path(form.path), stream(path, std::ios::binary), reader(open(), form.delimiter) {
    hasRow = reader.next();
    check();
    if (!hasRow) fail(path, " is empty");
    const std::vector<std::string_view>& first = reader.getCells();
    width = first.size();
    if (width == 1) fail(path, std::string(" has one column; it is cut at '") + form.delimiter + "'");
    if (width > MostColumns) fail(path, " has more than " + std::to_string(MostColumns) + " columns");
    takeNames(form.hasHeader ? first : std::vector<std::string_view>(width));
    firstIsWaiting = !form.hasHeader;
  }

  const std::vector<std::string>& getNames() const { return names; }

  /// Reads the next row; false at the end of the file.
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

CsvColumns::CsvColumns(CsvForm csvForm)
    : form(formOfRegularFile(std::move(csvForm))), cells(form.missing), first(std::make_unique<CsvFile>(form)) {
  names = first->getNames();
}

CsvColumns::~CsvColumns() = default;

std::optional<std::string> CsvColumns::findNumberForName() const {
  const auto isNumber = [this](const std::string& name) { return cells.read(name).kind == CellKind::Number; };
  const auto found = std::ranges::find_if(names, isNumber);
  return found == names.end() ? std::nullopt : std::optional<std::string>(*found);
}

void CsvColumns::choose(std::size_t place, TableColumn column) {
  places.push_back(place);
  columns.push_back(std::move(column));
}

std::uint64_t CsvColumns::findTypes() {
  for (; first->next(); ++rows) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const std::string_view text = first->getCells()[places[c]];
      columns[c].look(text, cells.read(text), first->getLine());
    }
  }
  first.reset();
  if (rows == 0) fail(form.path, " has no rows");
  std::optional<CellMistake> earliest;
  for (TableColumn& column : columns) {
    const std::optional<CellMistake> mistake = column.decide();
    if (mistake && (!earliest || mistake->line < earliest->line)) earliest = mistake;
  }
  if (earliest && earliest->line == 0) fail(form.path, ": " + earliest->what);
  if (earliest) failAt(form.path, earliest->line, earliest->what);
  return rows;
}

void CsvColumns::readRows(const TakeRow& take) {
  CsvFile file(form);
  std::vector<double> numbers(columns.size());
  std::uint64_t taken = 0;
  for (; file.next(); ++taken) {
    if (taken == rows) fail(form.path, changed);
    for (std::size_t c = 0; c < columns.size(); ++c) {
      if (places[c] >= file.getCells().size()) fail(form.path, changed);
      const std::string_view text = file.getCells()[places[c]];
      std::optional<double> value;
      try {
        value = columns[c].take(text, cells.read(text));
      } catch (const std::runtime_error& error) {
        failAt(form.path, file.getLine(), error.what());
      }
      if (!value) fail(form.path, changed);
      numbers[c] = *value;
    }
    take(numbers, file.getLine());
  }
  if (taken != rows) fail(form.path, changed);
}

std::vector<std::string> CsvColumns::readRow(std::uint64_t row, std::uint64_t& line) const {
  CsvFile file(form);
  for (std::uint64_t i = 0; i <= row; ++i) {
    if (!file.next()) fail(form.path, changed);
  }
  line = file.getLine();
  return {file.getCells().begin(), file.getCells().end()};
}

}  // namespace vesk
