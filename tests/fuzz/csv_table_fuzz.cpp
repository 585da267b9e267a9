// Any bytes as a CSV file: a table is made of it whose three files agree with the cells, or it is refused and nothing
// is written. The first byte chooses options.

#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "control/quven_csv_reader.h"
#include "control/quven_dataset_info.h"
#include "control/quven_file_formats.h"
#include "fuzz_support.h"
#include "table/csv_table.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

/// The rows up to the end or to a mistake.
Rows rowsOf(const std::string& text, char delimiter, bool& isSound) {
  std::istringstream stream(text);
  QUVENCsvReader reader(stream, delimiter);
  Rows rows;
  std::uint64_t lastLine = 0;
  while (reader.next()) {
    REQUIRE(reader.getLine() > lastLine);
    lastLine = reader.getLine();
    REQUIRE(!reader.getCells().empty());
    rows.emplace_back(reader.getCells().begin(), reader.getCells().end());
  }
  isSound = reader.getMistake().empty();
  REQUIRE(isSound || reader.getLine() >= 1);
  return rows;
}

/// Written out again, the rows read back.
void checkRoundTrip(const Rows& rows) {
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) text.append(i == 0 ? "" : ",").append(quvenCsvCell(row[i]));
    // A row of one empty cell is an empty line, which is no row at the end, and one for all before a row.
    if (row.size() == 1 && row[0].empty()) text += "\"\"";
    text += '\n';
  }
  bool isSound = false;
  const Rows again = rowsOf(text, ',', isSound);
  REQUIRE(isSound);
  // A mark of the byte order at the start of the first cell would be taken for that of the text.
  if (!text.starts_with("\xEF\xBB\xBF")) REQUIRE(again == rows);
}

void checkFiles(const vesk::CsvTable& table, const FuzzFolder& folder, const QUVENEnvHandle& env) {
  const std::string data = folder.read("out");
  REQUIRE(data.size() == table.rows * table.columns.size() * sizeof(double));
  std::istringstream info(folder.read("out.info"));
  std::vector<dataset_info::Column> columns;
  REQUIRE(dataset_info::read(info, columns, QUVEN_ENV));
  REQUIRE(columns.size() == table.columns.size());
  std::istringstream labelsText(folder.read("out.labels"));
  QUVENTableLabels labels;
  REQUIRE(labels.readFrom(labelsText).empty());
  for (std::size_t i = 0; i < data.size() / sizeof(double); ++i) {
    double value = 0;
    std::memcpy(&value, data.data() + i * sizeof value, sizeof value);
    const dataset_info::Column& column = columns[i % columns.size()];
    REQUIRE(std::isfinite(value));
    if (value == dataset_format::missingValue) continue;
    const std::string* label = labels.find(column.name, value);
    REQUIRE(label == labels.findByText(column.name, QUVENCategoryText(value).get()) || column.type == 1);
    if (column.type == dataset_info::Categorical) {
      REQUIRE(label != nullptr && static_cast<double>(quvenCategoryCode(*label)) == value);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  static const FuzzFolder folder;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  vesk::CsvTableOptions options;
  options.input = folder.write("in", text);
  options.output = folder.path("out");
  options.hasHeader = (data[0] & 1) == 0;
  options.delimiter = (data[0] & 2) == 0 ? ',' : ';';
  if ((data[0] & 4) != 0) options.target = options.hasHeader ? "y" : "C2";
  if ((data[0] & 8) != 0) options.categorical = {options.hasHeader ? "a" : "C1"};
  if ((data[0] & 16) != 0) options.drop = {options.hasHeader ? "d" : "C3"};

  bool isSound = false;
  const Rows rows = rowsOf(text, options.delimiter, isSound);
  if (isSound) checkRoundTrip(rows);
  try {
    const vesk::CsvTable table = vesk::makeCsvTable(options);
    REQUIRE(isSound && table.rows + (options.hasHeader ? 1 : 0) == rows.size());
    checkFiles(table, folder, QUVEN_ENV);
    for (const char* name : {"out", "out.info", "out.labels"}) std::filesystem::remove(folder.path(name));
  } catch (const std::runtime_error& error) {
    REQUIRE(std::string(error.what()).find('\n') == std::string::npos);
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) REQUIRE(entry.path().filename() == "in");
  return 0;
}
