// Any bytes as a CSV file of calls: the rows are the same in pieces of any size, and those of the strict reader where
// it finds no mistake; every row becomes a record or a bad row; every record has its columns. The first byte chooses
// options.

#include <algorithm>
#include <cstring>
#include <sstream>

#include "command.h"
#include "control/quven_csv_reader.h"
#include "convert/convert.h"
#include "csv/csv_rows.h"
#include "fuzz_support.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

vesk::CsvRows::Read pieces(const std::string& text, std::size_t pieceBytes) {
  return [&text, pieceBytes, at = std::size_t{0}](char* data, std::size_t size) mutable {
    const std::size_t count = std::min({size, pieceBytes, text.size() - at});
    std::memcpy(data, text.data() + at, count);
    at += count;
    return count;
  };
}

/// The sound rows but for those of one empty cell; counts the rows with a fault.
Rows rowsOf(const std::string& text, std::size_t pieceBytes, std::uint64_t& faults) {
  vesk::CsvRows reader(pieces(text, pieceBytes));
  Rows rows;
  std::uint64_t lastLine = 0;
  std::uint64_t lastByte = 0;
  faults = 0;
  while (reader.next()) {
    REQUIRE(reader.getLine() > lastLine);
    REQUIRE(lastLine == 0 || reader.getByte() > lastByte);
    REQUIRE(reader.getByte() < text.size());
    lastLine = reader.getLine();
    lastByte = reader.getByte();
    if (reader.getFault() != vesk::RowFault::None) {
      ++faults;
      REQUIRE(reader.getCells().empty());
      continue;
    }
    const auto& cells = reader.getCells();
    REQUIRE(!cells.empty());
    if (cells.size() > 1 || !cells[0].empty()) rows.emplace_back(cells.begin(), cells.end());
  }
  return rows;
}

/// False if the strict reader finds a mistake. `hasLines` tells whether a cell has line feeds.
bool strictRows(const std::string& text, Rows& rows, bool& hasLines) {
  std::istringstream stream(text);
  QUVENCsvReader reader(stream);
  while (reader.next()) {
    const auto& cells = reader.getCells();
    for (const std::string_view cell : cells) hasLines = hasLines || cell.find('\n') != std::string_view::npos;
    if (cells.size() > 1 || !cells[0].empty()) rows.emplace_back(cells.begin(), cells.end());
  }
  return reader.getMistake().empty();
}

/// The number that fills the columns, with blanks before it; 0 for other text.
std::uint64_t numberIn(std::string_view field) {
  field.remove_prefix(std::min(field.find_first_not_of(' '), field.size()));
  return vesk::readPlainId(field).value_or(0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const FuzzFolder folder;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);

  std::uint64_t faults = 0;
  std::uint64_t faultsInPieces = 0;
  const Rows rows = rowsOf(text, 1 << 20, faults);
  REQUIRE(rowsOf(text, 1 + data[0] % 7, faultsInPieces) == rows);
  REQUIRE(faultsInPieces == faults);
  Rows expected;
  bool hasLines = false;
  if (strictRows(text, expected, hasLines)) {
    REQUIRE(faults == 0 || hasLines);  // a cell may have lines that look like rows
    if (faults == 0) REQUIRE(rows == expected);
  }

  vesk::ConvertOptions options;
  options.inputs = {folder.write("in", text)};
  options.output = folder.path("out");
  options.rejects = folder.path("rejects");
  options.hasHeader = (data[0] & 1) == 0;
  options.caller = std::to_string(1);
  options.callee = std::to_string(2);
  if ((data[0] & 2) != 0) options.time = std::to_string(3);
  if ((data[0] & 4) != 0) options.duration = std::to_string(4);
  if ((data[0] & 8) != 0) options.count = std::to_string(5);
  if ((data[0] & 16) != 0) options.idMap = folder.path("map");
  if ((data[0] & 32) != 0) options.timeForm = vesk::TimeForm::YearDayMonth;
  options.maxBad = 1;
  try {
    const vesk::ConvertResult result = vesk::convertCalls(options);
    REQUIRE(result.records > 0 && result.records + result.badCount == result.rows);
    const std::string lines = folder.read("out");
    const std::size_t lineBytes = 34 + (options.time.empty() ? 0U : 9U) + (options.duration.empty() ? 0U : 13U) +
                                  (options.count.empty() ? 0U : 11U);
    REQUIRE(lines.size() == result.records * lineBytes);
    for (std::size_t at = 0; at < lines.size(); at += lineBytes) {
      const std::string_view line = std::string_view(lines).substr(at, lineBytes);
      REQUIRE(numberIn(line.substr(0, 16)) != 0 && numberIn(line.substr(17, 16)) != 0);
      REQUIRE(line[16] == ' ' && line.back() == '\n');
      if (!options.time.empty()) REQUIRE(numberIn(line.substr(34, 8)) != 0);
    }
    for (const char* name : {"out", "out.xml", "out.pairs.xml", "out.sums.xml"}) REQUIRE(folder.has(name));
  } catch (const vesk::CommandFailure& failure) {
    REQUIRE(failure.getStatus() == vesk::Status::Data);
    REQUIRE(!folder.has("out"));
  } catch (const std::runtime_error&) {
    REQUIRE(!folder.has("out"));  // compressed bytes that are damaged
  }
  std::filesystem::remove(folder.path("in"));
  for (const char* name : {"out", "out.xml", "out.pairs.xml", "out.sums.xml", "rejects", "map"}) {
    std::filesystem::remove(folder.path(name));
  }
  REQUIRE(folder.isEmpty());
  return 0;
}
