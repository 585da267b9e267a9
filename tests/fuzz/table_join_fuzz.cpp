// Joins an arbitrary base table and right side, a CSV file or a table. Either the result has the records of the base
// and the cells that a linear search of the right side finds, or the files are refused and nothing is written. The
// first byte chooses options; bytes of value 30 divide the rest into description, labels and numbers of the base, then
// those of the right side, or its CSV text.

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "control/quven_csv_reader.h"
#include "fuzz_numbers.h"
#include "fuzz_support.h"
#include "support/binary_numbers.h"
#include "table/cell_value.h"
#include "table/join_table.h"

namespace {

using Row = std::vector<double>;

constexpr double missing = -99999.0;

std::vector<std::string> sectionsOf(const std::string& text) {
  std::vector<std::string> sections(1);
  for (const char c : text) {
    if (c == '\x1e') {
      sections.emplace_back();
    } else {
      sections.back() += c;
    }
  }
  sections.resize(6);
  return sections;
}

std::string numbersOf(const std::string& section) {
  std::vector<double> numbers;
  for (const char c : section) numbers.push_back(fuzzNumber(static_cast<std::uint8_t>(c)));
  return bytesOfNumbers(numbers);
}

void writeTable(const FuzzFolder& folder, const std::string& name, const std::string* sections) {
  folder.write(name + ".info", sections[0]);
  if (!sections[1].empty()) folder.write(name + ".labels", sections[1]);
  folder.write(name, numbersOf(sections[2]));
}

std::vector<dataset_info::Column> columnsOf(const std::string& info) {
  std::istringstream text(info);
  std::vector<dataset_info::Column> columns;
  REQUIRE(dataset_info::readFrom(text, columns).empty());
  return columns;
}

std::size_t placeOf(const std::vector<dataset_info::Column>& columns, const std::string& name) {
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (columns[c].name == name) return c;
  }
  REQUIRE(false);
}

std::vector<Row> rowsOf(const std::string& bytes, std::size_t width) {
  const std::vector<double> numbers = numbersOfBytes(bytes);
  REQUIRE(numbers.size() % width == 0);
  std::vector<Row> rows;
  for (auto at = numbers.begin(); at != numbers.end(); at += static_cast<std::ptrdiff_t>(width)) {
    rows.emplace_back(at, at + static_cast<std::ptrdiff_t>(width));
  }
  return rows;
}

/// The rows of the right side, each with its key first.
std::vector<Row> rightTable(const std::string* sections) {
  const std::vector<dataset_info::Column> columns = columnsOf(sections[0]);
  const std::size_t key = placeOf(columns, "k");
  std::vector<Row> rows = rowsOf(numbersOf(sections[2]), columns.size());
  for (Row& row : rows)
    std::rotate(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(key),
                row.begin() + static_cast<std::ptrdiff_t>(key) + 1);
  return rows;
}

/// The number that a cell must have in a column of the result.
double valueOf(std::string_view text, const dataset_info::Column& column, const QUVENTableLabels& labels) {
  const vesk::CellValue cell = vesk::CellReader({"NA", "NaN", "null", "?"}).read(text);
  if (cell.kind == vesk::CellKind::Missing) return missing;
  if (column.type == dataset_info::Categorical) return static_cast<double>(quvenCategoryCode(text));
  for (const double code : {0.0, 1.0}) {
    const std::string* label = labels.find(column.name, code);
    if (label != nullptr && *label == text) return code;
  }
  return cell.number;
}

std::vector<Row> rightCsv(const std::string& csv, const vesk::JoinTable& table, bool isCategoricalKey) {
  std::istringstream text(csv);
  QUVENCsvReader reader(text);
  REQUIRE(reader.next());
  std::size_t key = 0;
  for (std::size_t i = reader.getCells().size(); i-- > 0;) {
    if (reader.getCells()[i] == "k") key = i;
  }
  std::vector<Row> rows;
  while (reader.next()) {
    const dataset_info::Column keyColumn{"k", isCategoricalKey ? dataset_info::Categorical : dataset_info::Numeric};
    Row row{valueOf(reader.getCells()[key], keyColumn, QUVENTableLabels())};
    for (std::size_t i = 0; i < reader.getCells().size(); ++i) {
      if (i != key) row.push_back(valueOf(reader.getCells()[i], table.sides[0].columns[row.size() - 1], table.labels));
    }
    rows.push_back(row);
  }
  return rows;
}

/// All columns of the result, by a linear search of the right side for each record.
std::vector<double> joined(const std::vector<Row>& base, std::size_t key, const std::vector<Row>& right) {
  std::vector<double> result;
  for (const Row& record : base) {
    result.insert(result.end(), record.begin(), record.end());
    Row cells(right.front().size() - 1, missing);
    for (const Row& row : right) {
      if (row[0] == record[key]) cells.assign(row.begin() + 1, row.end());
    }
    result.insert(result.end(), cells.begin(), cells.end());
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const FuzzFolder folder;
  const std::vector<std::string> sections = sectionsOf(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
  const bool isCsv = (data[0] & 1) == 0;
  writeTable(folder, "base", sections.data());
  if (isCsv) {
    folder.write("right", sections[3]);
  } else {
    writeTable(folder, "right", sections.data() + 3);
  }
  vesk::JoinOptions options;
  options.base = folder.path("base");
  options.output = folder.path("out");
  options.key = "k";
  options.with = {{folder.path("right"), (data[0] & 2) == 0 ? "r_" : ""}};
  if ((data[0] & 4) != 0) options.target = "r_t";

  try {
    const vesk::JoinTable table = vesk::makeJoinTable(options);
    const std::vector<dataset_info::Column> columns = columnsOf(sections[0]);
    const std::size_t key = placeOf(columns, "k");
    const bool isCategoricalKey = columns[key].type == dataset_info::Categorical;
    const std::vector<Row> base = rowsOf(numbersOf(sections[2]), columns.size());
    const std::vector<Row> right =
        isCsv ? rightCsv(sections[3], table, isCategoricalKey) : rightTable(sections.data() + 3);
    REQUIRE(table.records == base.size() && table.sides.at(0).keys == right.size());
    REQUIRE(columnsOf(folder.read("out.info")).size() == table.columns);
    std::istringstream labels(folder.read("out.labels"));
    REQUIRE(QUVENTableLabels().readFrom(labels).empty());
    REQUIRE(folder.read("out") == bytesOfNumbers(joined(base, key, right)));
  } catch (const std::runtime_error& error) {
    REQUIRE(std::string(error.what()).find('\n') == std::string::npos);
    REQUIRE(!folder.has("out"));
  }
  std::size_t others = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename();
    if (!name.starts_with("base") && !name.starts_with("right") && !name.starts_with("out")) ++others;
    REQUIRE(name.find(".partial") == std::string::npos);
  }
  REQUIRE(others == 0);
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) std::filesystem::remove(entry.path());
  return 0;
}
